"""The numbers of system calls. /proc/PID/syscall has the number of the call in which a process sleeps."""

import os

from runner.text import NotPossibleHere

# The numbers for native programs. A machine that lacks one of these calls has another for the same purpose.
NUMBERS = {
    "x86_64": {"nanosleep": 35, "clock_nanosleep": 230, "poll": 7, "ppoll": 271},
    "aarch64": {"nanosleep": 101, "clock_nanosleep": 115, "ppoll": 73},
}


def numbers_of(names, machine=None):
    """Returns the numbers of these calls in the form of /proc, without those that the machine lacks."""
    machine = machine or os.uname().machine
    if machine not in NUMBERS:
        raise NotPossibleHere(f"the numbers of system calls on {machine} are not known")
    return {str(NUMBERS[machine][name]) for name in names if name in NUMBERS[machine]}


def is_in_call(pid, names):
    """Returns true if the process is in one of these calls, false if it isn't or has ended."""
    try:
        with open(f"/proc/{pid}/syscall", encoding="ascii") as file:
            return not numbers_of(names).isdisjoint(file.read().split()[:1])
    except (FileNotFoundError, ProcessLookupError):
        return False
