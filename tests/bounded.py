#!/usr/bin/env python3
"""Runs one test: bounded.py SECONDS COMMAND...

The command gets a separate folder for temporary files: in TMPDIR if that is set, otherwise in memory if there is
room. When the command ends, or exceeds its time, its processes are killed and the folder is removed. The exit
status is the command's, or 124 if it exceeded its time.
"""

import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile

PR_SET_CHILD_SUBREAPER = 36
EXIT_TIME_IS_UP = 124

IN_MEMORY = "/dev/shm"
ROOM_BYTES = 1 << 30


def adopt_orphans():
    """Makes orphaned processes children of this one, so that none is overlooked."""
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def children():
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as file:
        return [int(number) for number in file.read().split()]


def kill_all():
    """The children, and their descendants, which become children when their parents end."""
    while found := children():
        for number in found:
            os.kill(number, signal.SIGKILL)
        for number in found:
            os.waitpid(number, 0)


def remove(folder):
    """Removes a folder, also if the test has closed it to its own user."""
    for place, folders, _ in os.walk(folder):
        for name in folders:
            path = os.path.join(place, name)
            if not os.path.islink(path):
                os.chmod(path, 0o700)
    shutil.rmtree(folder)


def place():
    """The place for temporary folders: a file system in memory, because recorders and servers of tests mostly
    wait for the disk. None means the default place. Programs are started from there, too."""
    if "TMPDIR" in os.environ or not os.access(IN_MEMORY, os.W_OK):
        return None
    status = os.statvfs(IN_MEMORY)
    has_room = status.f_bavail * status.f_frsize >= ROOM_BYTES
    return IN_MEMORY if has_room and not status.f_flag & os.ST_NOEXEC else None


def run(seconds, command):
    folder = tempfile.mkdtemp(prefix="kt-", dir=place())
    # If root runs the tests, their servers run as another user.
    os.chmod(folder, 0o755)
    try:
        with subprocess.Popen(command, env={**os.environ, "TMPDIR": folder}) as child:
            try:
                status = child.wait(seconds)
                return status if status >= 0 else 128 - status
            except subprocess.TimeoutExpired:
                print(f"bounded.py: not done after {seconds} s: ended", flush=True)
                return EXIT_TIME_IS_UP
            finally:
                if child.poll() is None:
                    child.kill()
                    child.wait()
    finally:
        kill_all()
        remove(folder)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))
    adopt_orphans()
    return run(float(sys.argv[1]), sys.argv[2:])


if __name__ == "__main__":
    sys.exit(main())
