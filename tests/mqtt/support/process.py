"""Programs that end with the test, however that ends."""

import subprocess
import time

# The kernel kills it with the test.
WITH_TEST = ["setpriv", "--pdeathsig", "KILL"]

# Only what is broken makes a test wait as long: nothing is decided by how long something takes.
DEADLINE_S = 60
POLL_S = 0.01


def start(command, **options):
    return subprocess.Popen([*WITH_TEST, *command], stdin=subprocess.DEVNULL, **options)


def run(command):
    """Its output; an error where it fails."""
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
