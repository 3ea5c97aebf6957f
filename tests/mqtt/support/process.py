"""Programs that end with the test, even if the test is killed."""

import subprocess
import time

# The kernel kills the program when the test ends.
WITH_TEST = ["setpriv", "--pdeathsig", "KILL"]

# A deadline is reached only if a program is broken. No duration decides a result.
DEADLINE_S = 60
POLL_S = 0.01


def start(command, **options):
    return subprocess.Popen([*WITH_TEST, *command], stdin=subprocess.DEVNULL, **options)


def run(command):
    """Runs a program; returns its output. Raises an error if it fails."""
    return subprocess.run([*WITH_TEST, *command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=True, timeout=DEADLINE_S).stdout


def end(process):
    if process.poll() is None:
        process.kill()
    process.wait()


def until(condition, otherwise):
    deadline = time.monotonic() + DEADLINE_S
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(otherwise)
        time.sleep(POLL_S)
