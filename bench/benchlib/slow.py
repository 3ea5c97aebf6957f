"""The cases on slow disks: a file system that takes its time for each access that isn't cached (slowdisk.cpp)."""

import contextlib
import json
import os
import shutil
import statistics
import subprocess
import sys
import time
from dataclasses import dataclass, field
from pathlib import Path

from benchlib import measure, report
from benchlib.cases import CASES
from benchlib.workshop import Workshop

UNAVAILABLE = 69
DEVICE = "/dev/fuse"
PATIENCE_S = 30


@dataclass(frozen=True)
class Profile:
    """The time of a look-up, listing, read or flush, and the number of requests served at once."""

    access_us: int
    depth: int
    files: dict  # by case: so many that the tool takes some seconds


PROFILES = {
    "hdd": Profile(8000, 4, {"new": 200, "known": 1000, "gone": 1000, "new-snapshots": 100}),
    "raid": Profile(8000, 32, {"new": 500, "known": 2000, "gone": 1000, "new-snapshots": 100}),
    "nas": Profile(1000, 64, {"new": 2000, "known": 10_000, "gone": 1000, "new-snapshots": 200}),
    "ssd": Profile(100, 64, {"new": 5000, "known": 30_000, "gone": 1000, "new-snapshots": 200}),
}
WITHOUT_HELP = "[ahead]\nhelpers = 0\n"
CASE_NAMES = ("new", "known", "gone", "new-snapshots")


def why_not(programs):
    """Why slow disks can't be measured here, as one line; empty if they can."""
    if os.geteuid() != 0 or not measure.can_drop_caches():
        return "slow disks need root, to mount a file system and to drop the kernel's caches"
    if not os.access(DEVICE, os.R_OK | os.W_OK):
        return f"slow disks need {DEVICE}, which is missing or can't be opened"
    if not (programs / "slowdisk").exists():
        return "slow disks need the program slowdisk, which is built only with libfuse3-dev"
    return ""


class Disk:
    """A folder of files on a slow disk; `mounted` mounts it for one run, with nothing in the caches."""

    def __init__(self, programs, folder, options, statistics_file):
        self.folder, self.statistics_file = Path(folder), Path(statistics_file)
        self.command = [str(programs / "slowdisk"), *options, f"--statistics={statistics_file}", str(folder)]
        self.counts = {}

    @contextlib.contextmanager
    def mounted(self):
        with subprocess.Popen(self.command) as server:
            try:
                self._wait_for_mount(server)
                yield
            finally:
                if os.path.ismount(self.folder):
                    subprocess.run(["umount", "-l", self.folder], check=True)
                status = server.wait(PATIENCE_S)
        measure.require(status, 0, "the status of slowdisk")
        self.counts = json.loads(self.statistics_file.read_text(encoding="utf-8"))

    def _wait_for_mount(self, server):
        deadline = time.monotonic() + PATIENCE_S
        while not os.path.ismount(self.folder):
            measure.require(server.poll(), None, "the status of slowdisk before its mount")
            measure.require(time.monotonic() < deadline, True, f"slowdisk has mounted {self.folder} in time")
            time.sleep(0.01)


def options_of(profile):
    return [f"--lookup-us={profile.access_us}", f"--read-us={profile.access_us}", f"--depth={profile.depth}"]


class MediaWorkshop(Workshop):
    """A workshop that remembers the one folder with the media of a case."""

    media_folder = None

    def folder(self, name):
        folder = super().folder(name)
        if name in ("tree", "gone"):
            self.media_folder = folder
            # The volume of the mounted disk: an identity above a mount point doesn't count.
            shutil.copy(self.work / ".kestora-volume", folder)
        return folder


def measure_all(work, programs, profiles, cases, runs, files=None):
    """Measures each case on each disk. Each has its own workshop, whose folders are removed with it."""
    problem = why_not(programs)
    if problem:
        print(f"bench: {problem}", file=sys.stderr)
        sys.exit(UNAVAILABLE)
    results = []
    for name in profiles:
        for case in cases:
            folder = work / f"{name}-{case}"
            folder.mkdir()
            with MediaWorkshop(folder, programs, 1) as workshop:
                results.append(_measure(workshop, name, case, runs, files or PROFILES[name].files[case]))
            shutil.rmtree(folder)
    return results


def _measure(workshop, name, case, runs, files):
    profile = PROFILES[name]
    with workshop.recorder("sqlite") as recorder:
        shown = "new-snapshots-kept" if case == "new-snapshots" else case
        pair = CASES[shown].prepare(recorder, workshop, files)
        folder = workshop.media_folder or recorder.package / "var/snapshot"
        disk = Disk(workshop.programs, folder, options_of(profile), workshop.work / "statistics")
        in_flight = ["env", f"FLOOR_IN_FLIGHT={profile.depth}", *pair.floor]
        # The tool comes before each floor, because the check of a floor compares with the tool's last rows.
        tool, parallel = _alternate(recorder, disk, pair, in_flight, runs)
        recorder.add_settings(WITHOUT_HELP)
        alone, serial = _alternate(recorder, disk, pair, pair.floor, runs)
    result = {"disk": name, "case": case, "files": files, "ours": tool.counts, "in_flight": parallel.counts,
              **{f"{key}_s": statistics.median(each.seconds) for key, each in
                 (("ours", tool), ("alone", alone), ("serial", serial), ("in_flight", parallel))}}
    line = "  ".join(f"{head} {cell}" for head, cell in zip(report.SLOW_HEAD, report.slow_cells(result)))
    print(f"bench: {line}", file=sys.stderr, flush=True)
    return result


@dataclass
class _Runs:
    """The times of a program, and what it asked of the disk in its last run."""

    seconds: list = field(default_factory=list)
    counts: dict = field(default_factory=dict)


def _alternate(recorder, disk, pair, floor, runs):
    """The tool and a floor in turn. Each run begins with a fresh mount, and the same work is checked each time."""
    results = _Runs(), _Runs()
    for _ in range(runs):
        for result, command, check in zip(results, (pair.ours, floor), (pair.check_ours, pair.check_floor)):
            pair.before()
            os.sync()
            with disk.mounted():
                measure.drop_caches(recorder)
                seconds, _peak, out = measure.run_once(recorder, command)
            check(out)
            result.seconds.append(seconds)
            result.counts = disk.counts
    return results
