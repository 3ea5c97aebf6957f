"""The numbers of system calls, by which /proc/PID/syscall shows where a process sleeps."""

import os

from runner.text import NotPossibleHere

# Of the machine's own programs. A machine without a call of that name has another that does the same.
NUMBERS = {
    "x86_64": {"nanosleep": 35, "clock_nanosleep": 230, "poll": 7, "ppoll": 271},
    "aarch64": {"nanosleep": 101, "clock_nanosleep": 115, "ppoll": 73},
}


def numbers_of(names, machine=None):
    """As /proc shows them, of those calls that the machine has."""
    machine = machine or os.uname().machine
    if machine not in NUMBERS:
        raise NotPossibleHere(f"the numbers of system calls on {machine} are not known")
    return {str(NUMBERS[machine][name]) for name in names if name in NUMBERS[machine]}
