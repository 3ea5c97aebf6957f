"""Runs the programs of a case alternately and measures them."""

import os
import statistics
import subprocess
from dataclasses import dataclass, field
from typing import Callable

DROP_CACHES = "/proc/sys/vm/drop_caches"
PATIENCE_S = 60


class Unequal(Exception):
    """The tool and its floor didn't do the same work, so they can't be compared."""


def require(found, expected, what):
    if found != expected:
        raise Unequal(f"{what}: {found}; expected {expected}")


@dataclass
class Pair:
    """A tool and its floor. `before` is called before each run. The checks are called after the first run of
    each, with its output."""

    ours: list
    floor: list
    before: Callable = lambda: None
    check_ours: Callable = lambda out: None
    check_floor: Callable = lambda out: None


@dataclass
class Timing:
    """The seconds of the counted runs, in pairs."""

    ours: list = field(default_factory=list)
    floor: list = field(default_factory=list)
    peak_kib: int = 0

    def add(self, pair):
        self.ours += pair.ours
        self.floor += pair.floor
        self.peak_kib = max(self.peak_kib, pair.peak_kib)

    @property
    def ours_s(self):
        return statistics.median(self.ours)

    @property
    def floor_s(self):
        return statistics.median(self.floor)

    @property
    def ratio(self):
        return statistics.median(ours / floor for ours, floor in zip(self.ours, self.floor))

    @property
    def difference_s(self):
        return self.ours_s - self.floor_s


def run_once(recorder, command):
    """Seconds, peak KiB and output of one run in the sandbox. The sandbox itself is not counted."""
    result = recorder.folder / "stopwatch"
    done = subprocess.run(recorder.inside(recorder.programs / "stopwatch", result, *command),
                          check=True, stdout=subprocess.PIPE, text=True)
    seconds, peak, status = result.read_text(encoding="utf-8").split()
    require(int(status), 0, f"the status of {' '.join(command)[:200]}")
    return float(seconds), int(peak), done.stdout


def in_turn(recorder, pair, runs, before=lambda: None):
    """Ours, floor, ours, floor, ..., after one run of each that is checked but not counted. If those two take
    too long, only one more pair is run."""
    first = _one_pair(recorder, pair, before, (pair.check_ours, pair.check_floor))
    timing = Timing(peak_kib=first.peak_kib)
    for _ in range(runs if first.ours[0] + first.floor[0] <= PATIENCE_S else 1):
        timing.add(_one_pair(recorder, pair, before))
    return timing


def _one_pair(recorder, pair, before, checks=(None, None)):
    def run(command, check):
        pair.before()
        os.sync()  # writes of the preparation don't count for the run
        before()
        seconds, peak, out = run_once(recorder, command)
        if check:
            check(out)
        return seconds, peak

    ours, peak = run(pair.ours, checks[0])
    floor, _ = run(pair.floor, checks[1])
    return Timing([ours], [floor], peak)


def can_drop_caches():
    return os.access(DROP_CACHES, os.W_OK)


def drop_caches(recorder):
    """Drops the caches of the server and the kernel, so that every page comes from the disk."""
    recorder.store.cool_down()
    os.sync()
    with open(DROP_CACHES, "w", encoding="ascii") as file:
        file.write("3\n")
