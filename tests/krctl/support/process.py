"""Programs that end when the test ends, even if it is killed."""

import json
import os
import subprocess
import time
from dataclasses import dataclass

# The kernel kills the program when the test ends.
WITH_TEST = ["setpriv", "--pdeathsig", "KILL"]

# Only a defect makes a test wait that long. No result depends on a duration.
DEADLINE_S = 60
POLL_S = 0.01


@dataclass
class Outcome:
    """The end of a program. Texts are its output; invalid bytes are escaped as by os.fsdecode."""

    status: int  # below 0: the signal that killed it
    out: str
    err: str

    def json(self):
        return json.loads(self.out)


def start(command, **options):
    """Starts a program. The caller must end it: addCleanup(process.end, ...)."""
    return subprocess.Popen([*WITH_TEST, *command], stdin=subprocess.DEVNULL, **options)


def run(command, **options):
    done = subprocess.run([*WITH_TEST, *command], stdin=subprocess.DEVNULL, capture_output=True,
                          check=False, timeout=DEADLINE_S, **options)
    return Outcome(done.returncode, done.stdout.decode(errors="surrogateescape"),
                   done.stderr.decode(errors="surrogateescape"))


def run_traced(command, *options):
    """Runs a program under strace with these options."""
    return run(["strace", "-f", *options, *command],
               env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})  # LeakSanitizer traces, too


def end(process):
    if process.poll() is None:
        process.kill()
    process.wait()
    for stream in (process.stdout, process.stderr):
        if stream:
            stream.close()


def until(condition, otherwise):
    """Calls the function until it returns a true value, and returns that."""
    deadline = time.monotonic() + DEADLINE_S
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(otherwise)
        time.sleep(POLL_S)
    return value
