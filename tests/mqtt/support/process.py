"""Programs that end with the test, however that ends."""

import ctypes
import signal
import subprocess
import time

PR_SET_PDEATHSIG = 1

# Only what is broken makes a test wait as long: nothing is decided by how long something takes.
DEADLINE_S = 60
POLL_S = 0.01

_libc = ctypes.CDLL(None, use_errno=True)


def _die_with_test():
    _libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)


def start(command, **options):
    return subprocess.Popen(command, stdin=subprocess.DEVNULL, preexec_fn=_die_with_test, **options)


def run(command):
    """Its output; an error where it fails."""
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, preexec_fn=_die_with_test, check=True,
                          timeout=DEADLINE_S).stdout


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
