"""Programs that end with the test, however that ends."""

import json
import subprocess
import time
from dataclasses import dataclass

# The kernel kills it with the test.
WITH_TEST = ["setpriv", "--pdeathsig", "KILL"]

# Only what is broken makes a test wait as long: nothing is decided by how long something takes.
DEADLINE_S = 60
POLL_S = 0.01


@dataclass
class Outcome:
    """How a program ended. Texts are the bytes that it wrote; those of no encoding are escaped, as
    os.fsdecode does."""

    status: int  # below 0: the signal that killed it
    out: str
    err: str

    def json(self):
        return json.loads(self.out)


def start(command, **options):
    """The caller ends it: addCleanup(process.end, ...)."""
    return subprocess.Popen([*WITH_TEST, *command], stdin=subprocess.DEVNULL, **options)


def run(command, **options):
    done = subprocess.run([*WITH_TEST, *command], stdin=subprocess.DEVNULL, capture_output=True,
                          check=False, timeout=DEADLINE_S, **options)
    return Outcome(done.returncode, done.stdout.decode(errors="surrogateescape"),
                   done.stderr.decode(errors="surrogateescape"))


def end(process):
    if process.poll() is None:
        process.kill()
    process.wait()
    for stream in (process.stdout, process.stderr):
        if stream:
            stream.close()


def until(condition, otherwise):
    """Its first value that is true."""
    deadline = time.monotonic() + DEADLINE_S
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(otherwise)
        time.sleep(POLL_S)
    return value
