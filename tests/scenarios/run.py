#!/usr/bin/env python3
"""Runs scenarios on the shipped programs: run.py BIN_DIR CASE..., each case twice.

A case is a folder with the files `given`, `run` and `then`; README.md tells how to write one. The
recorder of a case lies in a temporary folder that appears as the package's root to the programs.
"""

import argparse
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SANDBOX = os.path.join(HERE, "../../script/sandbox")
EXIT_SKIPPED = 77  # of a case that this machine grants too little for


def make_media(folder):
    """Before any case: they may run at the same time."""
    from runner import media
    media.make_all(folder)


def run_case(case, bin_dir, media_dir, show):
    """Starts the case in a sandbox of its own; its status, and what it has to say."""
    with tempfile.TemporaryDirectory(prefix="scenario-") as folder:
        recorder, scratch = os.path.join(folder, "recorder"), os.path.join(folder, "scratch")
        os.mkdir(recorder)
        os.mkdir(scratch)
        done = subprocess.run(
            [SANDBOX, recorder, sys.executable, "-m", "runner.scenario", bin_dir,
             os.path.abspath(case), media_dir, scratch, *(["--show"] if show else [])],
            cwd=HERE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout.decode(errors="backslashreplace")


def run_cases(options, media_dir):
    outcomes = set()
    for case in options.cases:
        start = time.monotonic()
        status, output = run_case(case, os.path.abspath(options.bin_dir), media_dir, options.show)
        name = ".".join(os.path.abspath(case).split(os.sep)[-2:])
        outcome = {0: "passed", EXIT_SKIPPED: "skipped"}.get(status, "FAILED")
        print(f"{outcome} {name} ({time.monotonic() - start:.1f} s)")
        print(output, end="", flush=True)
        outcomes.add(outcome)
    return 1 if "FAILED" in outcomes else EXIT_SKIPPED if "skipped" in outcomes else 0


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("bin_dir", help="the folder of krindexer and krctl")
    parser.add_argument("cases", nargs="*", help="folders of cases")
    parser.add_argument("--media", help="the folder of the media; made where it isn't there")
    parser.add_argument("--make-media", action="store_true", help="make the media and end")
    parser.add_argument("--show", action="store_true", help="print what came of the first run")
    return parser.parse_intermixed_args()


def main():
    options = parse_arguments()
    if options.media:
        media_dir = os.path.abspath(options.media)
        if options.make_media or not os.path.isdir(media_dir):
            make_media(media_dir)
        return run_cases(options, media_dir)
    with tempfile.TemporaryDirectory(prefix="scenario-media-") as folder:
        make_media(folder)
        return run_cases(options, folder)


if __name__ == "__main__":
    sys.exit(main())
