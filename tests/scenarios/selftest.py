#!/usr/bin/env python3
"""Tests that the runner can fail: selftest.py BIN_DIR MEDIA_DIR.

Changes a passing case in one place at a time. Each change must make the case fail. Also compares the
runner's numbers of system calls with the kernel's headers, for each machine.
"""

import os
import platform
import re
import subprocess
import sys
import tempfile
import time

from runner.sqlite import SLEEPS
from runner.steps import DEADLINE_S, POLL_S
from runner.systemcalls import NUMBERS, is_in_call

HERE = os.path.dirname(os.path.abspath(__file__))

GIVEN = """\
camera 1 volume/cam1
file volume/cam1/20140312AM/cam1-20140312-101500-1394590500.mp4 media=h264.mp4
file var/snapshot/cam1-20240101-1704067200.jpg media=picture.jpg
dir volume/cam1/20140312PM
rows emap
  id | filename
  1 | gone.png
"""

RUN = """\
watch snapshot.db
krindexer -e -s -r 1
"""

THEN = """\
log
  part emap 1
    [reindex] [notice] emapindexer Log: Have removed [1] unreferenced emap records.
  [reindex] [notice] krindexer DoReindexSnapshot: Start to re-index snapshot.
  ...
  [reindex] [notice] krindexer DoReindexEvent: Start to re-index event.
  {
  [reindex] [notice] krindexer DoReindexEvent: Re-index event complete with <some text> cnt [1].
  [reindex] [notice] eventindexer Log: Have add [1] event DB records of cam [1].
  }
rows emap
  id
rows event
  camera_id | path | size
  1 | 20140312AM/cam1-20140312-101500-1394590500.mp4 | <size:h264.mp4>
rows recording_count
  camera_id | day | count
  1 | 16141 | 1
count snapshot 1
commits snapshot.db 1
gone volume/cam1/20140312PM
new var/snapshot/@Thumbnail
new var/snapshot/@Thumbnail/cam1-20240101-1704067200.jpg jpeg=320x240
"""

# Each change by the fault that it makes: the file, the text to replace, its replacement.
CHANGES = {
    "a missing log line": ("then", "    [reindex] [notice] emapindexer Log: Have removed [1] "
                                   "unreferenced emap records.\n", ""),
    "a log line outside of its part": ("then", "    [reindex] [notice] emapindexer",
                                       "  [reindex] [notice] emapindexer"),
    "a superfluous part": ("then", "log\n", "log\n  part emap 0\n"),
    "a part of another kind": ("then", "part emap 1", "part event 1"),
    "a wrong number of a part": ("then", "part emap 1", "part emap 2"),
    "a part that is not expected": ("then", "  part emap 1\n    [reindex]", "  [reindex]"),
    "a part of an unknown kind": ("then", "part emap 1", "part map 1"),
    "a superfluous log line": ("then", "  ...\n", "  ...\n  nothing of this kind\n"),
    "a wrong number in the log": (
        "then", "event complete with <some text> cnt [1]",
        "event complete with <some text> cnt [2]"),
    "a superfluous row": ("then", "  id\nrows event", "  id\n  1\nrows event"),
    "a wrong path": ("then", "1 | 20140312AM/", "1 | 20140312PM/"),
    "a wrong size": ("then", "<size:h264.mp4>", "<size:mjpeg.avi>"),
    "a changed table that is not mentioned": (
        "then", "rows recording_count\n  camera_id | day | count\n  1 | 16141 | 1\n", ""),
    "a wrong number of rows": ("then", "count snapshot 1", "count snapshot 2"),
    "a wrong number of transactions": ("then", "commits snapshot.db 1", "commits snapshot.db 2"),
    "a removed folder that is not mentioned": ("then", "gone volume/cam1/20140312PM\n", ""),
    "an existing folder that is expected to be gone": ("then", "20140312PM", "20140312AM"),
    "a new file that is not mentioned": (
        "then", "new var/snapshot/@Thumbnail/cam1-20240101-1704067200.jpg jpeg=320x240\n", ""),
    "a wrong picture size": ("then", "jpeg=320x240", "jpeg=320x241"),
    "a wrong exit status": ("then", "log\n", "exit 1\nlog\n"),
    "an output that was not printed": ("then", "log\n", "stdout\n  hello\nlog\n"),
    "a wrong column of the task": ("run", "-r 1\n", "-r 1\ntask done=0\n"),
    "a change that each run makes again": (
        "run", "-r 1\n", "-r 1\nmake sql recording.db\n"
                         "  UPDATE recording_count SET stamp = stamp + 1;\n"),
    "an unknown directive": ("given", "dir ", "folder "),
}


def passes(bin_dir, media_dir, files, *options):
    with tempfile.TemporaryDirectory(prefix="selftest-") as folder:
        case = os.path.join(folder, "selftest", "case")
        os.makedirs(case)
        for name, text in files.items():
            with open(os.path.join(case, name), "w", encoding="utf-8") as file:
                file.write(text)
        done = subprocess.run([sys.executable, os.path.join(HERE, "run.py"), bin_dir, case,
                               "--media", media_dir, *options],
                              capture_output=True, text=True, check=False)
        return done.returncode == 0, done.stdout + done.stderr


def shown_result_passes(bin_dir, media_dir):
    """Returns true if a `then` with the output of --show makes the case pass."""
    files = {"given": GIVEN, "run": RUN}
    _, output = passes(bin_dir, media_dir, files, "--show")
    shown = re.search(r"^log\n.*?(?=^  after the first run)", output, re.M | re.S)
    return shown is not None and passes(bin_dir, media_dir, {**files, "then": shown[0]})[0]


# The header with each machine's numbers of system calls. arm64 uses the generic table, which is installed on
# every machine. The table of x86-64 is installed only there.
HEADERS = {
    "aarch64": "#include <asm-generic/unistd.h>\n",
    "x86_64": "#include <asm/unistd_64.h>\n",
}


def wrong_system_calls():
    """Returns the runner's numbers that differ from the kernel's, and whether it overlooks a sleep."""
    found = []
    for machine, numbers in NUMBERS.items():
        if machine == "x86_64" and platform.machine() != machine:
            continue
        macros = subprocess.run(["cc", "-E", "-dM", "-"], input=HEADERS[machine], text=True,
                                capture_output=True, check=True).stdout.splitlines()
        found += [f"{machine}: {name} is not {number}" for name, number in numbers.items()
                  if f"#define __NR_{name} {number}" not in macros]
    return found if sleep_is_noticed() else [*found, "a process that sleeps is not noticed"]


def sleep_is_noticed():
    """Returns true if the runner recognises a sleeping process on this machine."""
    with subprocess.Popen(["sleep", "60"]) as sleeper:
        try:
            deadline = time.monotonic() + DEADLINE_S
            while time.monotonic() < deadline:
                if is_in_call(sleeper.pid, SLEEPS):
                    return True
                time.sleep(POLL_S)
            return False
        finally:
            sleeper.kill()


def main():
    wrong = wrong_system_calls()
    if wrong:
        print("system calls:", *wrong, sep="\n  ")
        return 1
    bin_dir, media_dir = sys.argv[1:3]
    files = {"given": GIVEN, "run": RUN, "then": THEN}
    passed, output = passes(bin_dir, media_dir, files)
    if not passed:
        print("the unchanged case fails:", output)
        return 1
    if not shown_result_passes(bin_dir, media_dir):
        print("the output of --show is not a then that passes")
        return 1
    blind = []
    for what, (name, text, other) in CHANGES.items():
        assert text in files[name], what
        changed = files[name].replace(text, other, 1)
        if passes(bin_dir, media_dir, {**files, name: changed})[0]:
            blind.append(what)
    print("not noticed:" if blind else "every change was noticed", *blind, sep="\n  ")
    return 1 if blind else 0


if __name__ == "__main__":
    sys.exit(main())
