"""The machine on which the benchmark ran."""

import os
import platform
import subprocess


def _cpu():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return names[0] if names else platform.machine()


def _memory_gib():
    return os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 1024 ** 3


def use_cores(count):
    """Restricts this process, and all that it starts, to the first cores that it may use."""
    cores = sorted(os.sched_getaffinity(0))[:count]
    subprocess.run(["taskset", "-apc", ",".join(map(str, cores)), str(os.getpid())], check=True,
                   stdout=subprocess.DEVNULL)


def load():
    """The processes that were running or waiting for a disk during the last minute, on average."""
    return os.getloadavg()[0]


def described(work):
    """One line: processor, memory, kernel, and the file system of the working folder."""
    file_system = subprocess.run(["findmnt", "-n", "--first-only", "-o", "FSTYPE", "--target", work],
                                 check=True, text=True, stdout=subprocess.PIPE).stdout.strip()
    kernel = platform.release().split("-")[0]
    return (f"{len(os.sched_getaffinity(0))} cores ({_cpu()}), {_memory_gib():.0f} GiB, "
            f"Linux {kernel}, {file_system}")
