"""System calls: their names, where a run makes them, and how one of them is made to fail."""

import os
import re
import signal
import subprocess
import time

# krcontainers, which the tool starts for an unusual container, is not traced. Other tests cover its end.
STRACE = ["strace", "-f", "--detach-on=execve", "-qq", "-y", "-e", "signal=none"]

# The names that a C library may use for each call. arm64 has only some of them.
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
    "ftruncate": ("ftruncate",),
    "fallocate": ("fallocate",),
    "pread64": ("pread64",),
    "read": ("read",),
    "fcntl": ("fcntl",),
    "flock": ("flock",),
    "mmap": ("mmap",),
    "access": ("access", "faccessat", "faccessat2"),
    "lseek": ("lseek",),
    "close": ("close",),
    "random": ("getrandom",),
    "fchown": ("fchown",),
    "sendto": ("sendto",),
    "recvfrom": ("recvfrom",),
}

KILL = "SIGKILL"
TERMINATED = "SIGTERM"
INTERRUPTED = "EINTR"
PERMANENT = "+"  # that call and every later one of its name fails
ERRORS = ("EIO", "ENOSPC", INTERRUPTED, "EMFILE", "EIO" + PERMANENT)
FAULTS = (KILL, *ERRORS)
SIGNALS = (KILL, TERMINATED)

# Calls that change nothing. A kill at one of them leaves the same as a kill at the next other call.
READING = ("getdents64", "stat", "pread64", "read", "fcntl", "flock", "mmap", "access", "lseek", "close",
           "random")

# The deadline is reached only if the tool hangs. No duration decides a result.
DEADLINE_S = 60

POLL_S = 0.005
INJECTED = "(INJECTED)"

TRACED = re.compile(r"^\d+ +(\w+)\(")


class Hung(Exception):
    """A program did not end by itself."""


def run_program(command, cwd="/", while_running=None):
    """Runs a program; returns its exit status, or -N if signal N ended it. Calls `while_running`, if given,
    again and again while the program runs, until it returns true."""
    with subprocess.Popen(command, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            deadline = time.monotonic() + DEADLINE_S
            while while_running and process.poll() is None and time.monotonic() < deadline:
                if while_running():
                    break
                time.sleep(POLL_S)
            return process.wait(max(deadline - time.monotonic(), 0))
        except subprocess.TimeoutExpired:
            raise Hung(f"did not end within {DEADLINE_S} s") from None
        finally:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)


def trace(command, names, trace_file):
    """Runs a command without faults; returns the lines of its calls, in their order."""
    known = ",".join("?" + name for name in names)  # "?": if the machine has such a call
    status = run_program([*STRACE, "-o", trace_file, "-e", f"trace={known}", *command])
    if status != 0:
        raise RuntimeError(f"the undisturbed run ended with status {status}")
    return _lines(trace_file)


def inject(command, point, trace_file, then=None):
    """Runs a command with one fault, and calls `then`, if given, after a call has failed. Returns the
    status and the lines of the failed calls, only one unless the fault is permanent."""
    name, at, fault = point["name"], point["nth"], point["fault"]
    when = f"{at}{PERMANENT}" if fault.endswith(PERMANENT) else at
    how = f"signal={fault}" if fault in SIGNALS else f"error={fault.removesuffix(PERMANENT)}"
    with open(trace_file, "wb"):
        pass  # removes the trace of the previous point

    def follow():
        failed = _has_failed(trace_file)
        if failed:
            then()
        return failed

    status = run_program([*STRACE, "-o", trace_file, "-e", f"trace={name}",
                          "-e", f"inject={name}:{how}:when={when}", *command],
                         while_running=follow if then else None)
    lines = _lines(trace_file)
    if fault in SIGNALS:
        return status, lines[-1:] if status == -signal.Signals[fault] and len(lines) == at else []
    return status, [line for line in lines if line.endswith(INJECTED)]


def _has_failed(trace_file):
    with open(trace_file, "rb") as file:
        return INJECTED.encode() in file.read()


def _lines(trace_file):
    """Returns the lines of the tool's own calls. strace counts the calls of each process separately. Another
    test covers the process that the tool forks to publish messages."""
    with open(trace_file, encoding="utf-8", errors="backslashreplace") as file:
        lines = [line for line in file.read().split("\n") if TRACED.match(line)]
    tool = lines[0].split(" ", 1)[0] if lines else ""
    return [line for line in lines if line.split(" ", 1)[0] == tool]


def name_of(line):
    return TRACED.match(line)[1]


def family_of(line):
    """Returns the entry of CALLS to which a line belongs."""
    name = name_of(line)
    if name == "unlinkat":
        return "rmdir" if "AT_REMOVEDIR" in line else "unlink"
    return next(call for call, names in CALLS.items() if name in names)
