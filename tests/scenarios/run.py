#!/usr/bin/env python3
"""Runs scenarios on the shipped programs: run.py BIN_DIR CASE..., each case twice.

A case is a folder with the files `given`, `run` and `then`; README.md describes how to write one. The
recorder of a case is a temporary folder that appears to the programs as the package's root.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

from runner.text import CaseError, blocks
from server import Server  # the path is set by runner

HERE = os.path.dirname(os.path.abspath(__file__))
ENGINES = ("sqlite", "postgresql")
SANDBOX = os.path.join(HERE, "../../script/sandbox")
EXIT_SKIPPED = 77  # the machine lacks something that a case needs, or the case is for another engine


def make_media(folder):
    """Makes the media before any case, because cases may run at the same time."""
    from runner import media
    media.make_all(folder)


class Run:
    """How the cases are run: programs, media and options, on one engine."""

    def __init__(self, bin_dir, media_dir, options, address):
        self.bin_dir, self.media_dir = os.path.abspath(bin_dir), media_dir
        self.options = [*(["--show"] if options.show else []),
                        *(["--helpers", options.helpers] if options.helpers else []),
                        *(["--postgresql", address] if address else [])]
        self.engine = "postgresql" if address else "sqlite"


def reason_to_leave_out(case, engine):
    """Returns why a case does not apply to this engine, None if it does."""
    given = os.path.join(case, "given")
    if not os.path.exists(given):
        return None
    with open(given, encoding="utf-8") as file:
        for _, line, _ in blocks(file.read()):
            match = re.match(r"only (\w+) because (.+)$", line)
            if match and match[1] not in ENGINES:
                raise CaseError(f"{case}: no such engine: {match[1]}")
            if match and match[1] != engine:
                return match[2]
    return None


def run_case(case, run):
    """Runs the case in its own sandbox; returns the exit status and the output."""
    with tempfile.TemporaryDirectory(prefix="scenario-") as folder:
        recorder, scratch = os.path.join(folder, "recorder"), os.path.join(folder, "scratch")
        os.mkdir(recorder)
        os.mkdir(scratch)
        done = subprocess.run(
            [SANDBOX, recorder, sys.executable, "-m", "runner.scenario", run.bin_dir,
             os.path.abspath(case), run.media_dir, scratch, *run.options],
            cwd=HERE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout.decode(errors="backslashreplace")


def run_cases(cases, run):
    """Runs each case; returns EXIT_SKIPPED if all that ran passed, but some could not be run."""
    counts = {"passed": 0, "FAILED": 0, "skipped": 0, "not for this engine": 0}
    for case in cases:
        name = ".".join(os.path.abspath(case).split(os.sep)[-2:])
        reason = reason_to_leave_out(case, run.engine)
        if reason:
            counts["not for this engine"] += 1
            print(f"not for this engine: {name}: {reason}")
            continue
        start = time.monotonic()
        status, output = run_case(case, run)
        outcome = {0: "passed", EXIT_SKIPPED: "skipped"}.get(status, "FAILED")
        counts[outcome] += 1
        print(f"{outcome} {name} ({time.monotonic() - start:.1f} s)")
        print(output, end="", flush=True)
    print(f"on {run.engine}:", ", ".join(f"{number} {what}" for what, number in counts.items()))
    if counts["FAILED"]:
        return 1
    return 0 if counts["passed"] and not counts["skipped"] else EXIT_SKIPPED


def run_on_engine(options, media_dir):
    if not options.postgresql:
        return run_cases(options.cases, Run(options.bin_dir, media_dir, options, None))
    with Server() as server:
        return run_cases(options.cases,
                         Run(options.bin_dir, media_dir, options, server.dsn))


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("bin_dir", help="the folder of krindexer and krctl")
    parser.add_argument("cases", nargs="*", help="folders of cases")
    parser.add_argument("--media", help="the folder of the media; created if it does not exist")
    parser.add_argument("--make-media", action="store_true", help="only create the media")
    parser.add_argument("--postgresql", action="store_true",
                        help="use a PostgreSQL server started for this, instead of SQLite")
    parser.add_argument("--helpers", metavar="N",
                        help="let N helpers work ahead of the tool, from the first file on")
    parser.add_argument("--show", action="store_true",
                        help="print the result of the first run, in the notation of a then file")
    return parser.parse_intermixed_args()


def main():
    options = parse_arguments()
    if options.media:
        media_dir = os.path.abspath(options.media)
        if options.make_media or not os.path.isdir(media_dir):
            make_media(media_dir)
        return 0 if options.make_media else run_on_engine(options, media_dir)
    with tempfile.TemporaryDirectory(prefix="scenario-media-") as folder:
        make_media(folder)
        return run_on_engine(options, folder)


if __name__ == "__main__":
    sys.exit(main())
