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


def described(work):
    """One line: processor, memory, kernel, and the file system of the working folder."""
    file_system = subprocess.run(["findmnt", "-n", "--first-only", "-o", "FSTYPE", "--target", work],
                                 check=True, text=True, stdout=subprocess.PIPE).stdout.strip()
    kernel = platform.release().split("-")[0]
    return (f"{len(os.sched_getaffinity(0))} cores ({_cpu()}), {_memory_gib():.0f} GiB, "
            f"Linux {kernel}, {file_system}")
