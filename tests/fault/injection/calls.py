"""System calls: which there are, where a run makes them, and how one of them is made to fail."""

import os
import re
import signal
import subprocess
import time

# krcontainers, which the tool starts for a container out of the ordinary, is left alone: what becomes
# of that one is a test of its own.
STRACE = ["strace", "-f", "--detach-on=execve", "-qq", "-y", "-e", "signal=none"]

# What a C library may turn each of the calls into. arm64 has only some of them.
CALLS = {
    "openat": ("openat", "open", "creat"),
    "getdents64": ("getdents64",),
    "stat": ("newfstatat", "stat", "lstat", "fstat", "statx"),
    "pwrite64": ("pwrite64", "pwritev"),
    "write": ("write", "writev"),
    "fsync": ("fsync",),
    "fdatasync": ("fdatasync",),
    "rename": ("rename", "renameat", "renameat2"),
    "unlink": ("unlink", "unlinkat"),
    "rmdir": ("rmdir", "unlinkat"),
    "mkdir": ("mkdir", "mkdirat"),
    "sendto": ("sendto",),
    "recvfrom": ("recvfrom",),
}

KILL = "SIGKILL"
INTERRUPTED = "EINTR"
FOR_GOOD = "+"  # that call and every later one of its name fails
ERRORS = ("EIO", "ENOSPC", INTERRUPTED, "EMFILE", "EIO" + FOR_GOOD)
FAULTS = (KILL, *ERRORS)

# Only a tool that hangs makes a point wait as long: nothing is decided by how long something takes.
DEADLINE_S = 60

POLL_S = 0.005
INJECTED = "(INJECTED)"

TRACED = re.compile(r"^\d+ +(\w+)\(")


class Hung(Exception):
    """A program that didn't end by itself."""


def run_program(command, cwd="/", meanwhile=None):
    """Its status, as a shell's `$?` would have it, but -N where signal N ended it. What is to happen
    meanwhile is tried again and again until it says that it has."""
    with subprocess.Popen(command, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            deadline = time.monotonic() + DEADLINE_S
            while meanwhile and process.poll() is None and time.monotonic() < deadline:
                if meanwhile():
                    break
                time.sleep(POLL_S)
            return process.wait(max(deadline - time.monotonic(), 0))
        except subprocess.TimeoutExpired:
            raise Hung(f"it didn't end within {DEADLINE_S} s") from None
        finally:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)


def trace(command, names, trace_file):
    """Runs a command undisturbed; the lines of its calls, in their order."""
    known = ",".join("?" + name for name in names)  # those that the machine has
    status = run_program([*STRACE, "-o", trace_file, "-e", f"trace={known}", *command])
    if status != 0:
        raise RuntimeError(f"the undisturbed run ended with status {status}")
    return _lines(trace_file)


def inject(command, point, trace_file, then=None):
    """Runs a command with one fault, and does something once a call has failed; its status and the
    lines of the calls that it hit, one where it isn't for good."""
    name, at, fault = point["name"], point["nth"], point["fault"]
    when = f"{at}{FOR_GOOD}" if fault.endswith(FOR_GOOD) else at
    how = f"signal={fault}" if fault == KILL else f"error={fault.removesuffix(FOR_GOOD)}"
    with open(trace_file, "wb"):
        pass  # what failed at another point is forgotten

    def follow():
        failed = _has_failed(trace_file)
        if failed:
            then()
        return failed

    status = run_program([*STRACE, "-o", trace_file, "-e", f"trace={name}",
                          "-e", f"inject={name}:{how}:when={when}", *command],
                         meanwhile=follow if then else None)
    lines = _lines(trace_file)
    if fault == KILL:
        return status, lines[-1:] if status == -signal.SIGKILL and len(lines) == at else []
    return status, [line for line in lines if line.endswith(INJECTED)]


def _has_failed(trace_file):
    with open(trace_file, "rb") as file:
        return INJECTED.encode() in file.read()


def _lines(trace_file):
    """Of the tool's own calls: strace counts those of each process by themselves, and the process
    that publishes, which the tool forks, is ended in a test of its own."""
    with open(trace_file, encoding="utf-8", errors="backslashreplace") as file:
        lines = [line for line in file.read().split("\n") if TRACED.match(line)]
    tool = lines[0].split(" ", 1)[0] if lines else ""
    return [line for line in lines if line.split(" ", 1)[0] == tool]


def name_of(line):
    return TRACED.match(line)[1]


def family_of(line):
    """Which of CALLS the line of a call belongs to."""
    name = name_of(line)
    if name == "unlinkat":
        return "rmdir" if "AT_REMOVEDIR" in line else "unlink"
    return next(call for call, names in CALLS.items() if name in names)
