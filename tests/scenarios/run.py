#!/usr/bin/env python3
"""Runs scenarios on the shipped programs: run.py BIN_DIR CASE..., each case twice.

A case is a folder with the files `given`, `run` and `then`; README.md tells how to write one. The
recorder of a case lies in a temporary folder that appears as the package's root to the programs.
"""

import argparse
import contextlib
import ctypes
import os
import subprocess
import sys
import tempfile
import time

from runner import media
from runner.given import Given
from runner.steps import StepFailed, Steps
from runner.text import CaseError
from runner.then import Moment, Then, diff, read_log, show_files, show_rows

HERE = os.path.dirname(os.path.abspath(__file__))
SANDBOX = os.path.join(HERE, "../../script/sandbox")
INSIDE = "KESTORA_SCENARIO_NAMESPACE"
PR_SET_CHILD_SUBREAPER = 36


def enter_namespace():
    """Starts the runner anew in mounts of its own, for the small disks that cases ask for."""
    if INSIDE in os.environ:
        return
    user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    os.environ[INSIDE] = "1"
    os.execvp("unshare", ["unshare", *user, "--mount", "--propagation", "private", sys.executable,
                          os.path.abspath(__file__), *sys.argv[1:]])


def adopt_orphans():
    """The tool's child outlives its parent; the runner must learn of the child's end."""
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def read(case, name):
    with open(os.path.join(case, name), encoding="utf-8") as file:
        return file.read()


def read_or(case, name, otherwise):
    return read(case, name) if os.path.exists(os.path.join(case, name)) else otherwise


class Scenario:
    """One case in its temporary folder."""

    def __init__(self, case, bin_dir, media_dir, scratch):
        self.case, self.bin_dir, self.media_dir, self.scratch = case, bin_dir, media_dir, scratch
        self.root = os.path.join(os.fsencode(scratch), b"recorder")
        os.mkdir(self.root)
        self.given = Given(self.root, media_dir, self.sandboxed)

    def sandboxed(self, program, *arguments, before=()):
        """The command line of a shipped program on this case's recorder."""
        return [SANDBOX, self.root, *before, os.path.join(self.bin_dir, program), *arguments]

    def carry_out(self, run):
        steps = Steps(self.given, self.sandboxed, self.scratch)
        steps.carry_out(run)
        return steps

    def problems(self, show):
        """Runs the case twice; what went wrong, empty when nothing did."""
        try:
            self.given.build(read_or(self.case, "given", ""))
            before = Moment(self.root)
            steps = self.carry_out(read(self.case, "run"))
            first = Moment(self.root)
            if show:
                show_moment(self.root, first, steps)
            then = Then(read(self.case, "then"), self.media_dir)
            return (titled("after the first run", then.problems(self.root, before, first, steps))
                    or titled("after the second run", self.second_problems(first)))
        except (CaseError, StepFailed) as error:
            return [str(error)]
        finally:
            self.given.tear_down()

    def second_problems(self, first):
        """The same once more: it must find nothing to do, unless the case says why it does."""
        again = read_or(self.case, "again-then", None)
        clear_log(self.root)
        steps = self.carry_out(read_or(self.case, "again-run", read(self.case, "run")))
        second = Moment(self.root)
        if again is None:
            return unchanged_problems(first, second)
        then = Then(again, self.media_dir)
        if not then.reason:
            raise CaseError("again-then: doesn't say because of what the first run was not enough")
        return then.problems(self.root, first, second, steps)


def clear_log(root):
    path = os.path.join(root, b"var/log/kestora.log")
    if os.path.exists(path):
        os.truncate(path, 0)


def titled(title, problems):
    return [f"{title}, {problem}" for problem in problems]


def unchanged_problems(first, second):
    found = diff("files", show_files(first.files), show_files(second.files))
    for table, content in first.tables.items():
        found += diff(f"table {table}", show_rows(*content), show_rows(*second.tables[table]))
    return found


def show_moment(root, moment, steps):
    """What came of a run, in the words of a `then` file: for those who write a new case."""
    for label, process in steps.processes.items():
        print(f"exit {label} {process.status}")
        for stream in ("stdout", "stderr"):
            show_block(f"{stream} {label}", process.output(stream).split("\n")[:-1])
    show_block("log", read_log(root))
    for table, content in moment.tables.items():
        show_block(f"rows {table}", show_rows(*content) if content[1] else [])
    show_block("files", show_files(moment.files))
    show_block("commits", [f"{name} {number}" for name, number in steps.commits.items()])


def show_block(title, lines):
    if lines:
        print(title, *lines, sep="\n  ")


@contextlib.contextmanager
def folder_in_memory():
    """A temporary folder without a disk's waits. Only this runner's namespace sees its content."""
    with tempfile.TemporaryDirectory(prefix="scenario-") as folder:
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=700", "scenario", folder], check=True)
        try:
            yield folder
        finally:
            subprocess.run(["umount", folder], check=True)


def run_case(case, bin_dir, media_dir, show):
    with folder_in_memory() as scratch:
        return Scenario(case, bin_dir, media_dir, scratch).problems(show)


def report(case, problems, seconds):
    name = ".".join(os.path.abspath(case).split(os.sep)[-2:])
    print(f"{'FAILED' if problems else 'passed'} {name} ({seconds:.1f} s)", flush=True)
    for problem in problems:
        print(f"  {problem}", flush=True)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("bin_dir", help="the folder of krindexer and krctl")
    parser.add_argument("cases", nargs="*", help="folders of cases")
    parser.add_argument("--media", help="the folder of the media; made anew where it isn't given")
    parser.add_argument("--make-media", action="store_true", help="make the media and end")
    parser.add_argument("--show", action="store_true", help="print what came of the first run")
    return parser.parse_intermixed_args()


def run_cases(options, media_dir):
    media.make_all(media_dir)
    failures = 0
    for case in [] if options.make_media else options.cases:
        start = time.monotonic()
        problems = run_case(case, os.path.abspath(options.bin_dir), media_dir, options.show)
        report(case, problems, time.monotonic() - start)
        failures += bool(problems)
    return 1 if failures else 0


def main():
    options = parse_arguments()
    enter_namespace()
    adopt_orphans()
    os.umask(0o022)
    if options.media:
        return run_cases(options, os.path.abspath(options.media))
    with tempfile.TemporaryDirectory(prefix="scenario-media-") as folder:
        return run_cases(options, folder)


if __name__ == "__main__":
    sys.exit(main())
