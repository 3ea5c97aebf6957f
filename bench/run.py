#!/usr/bin/env python3
"""Measures krindexer against floor programs: ours, floor, ours, floor, ... on one tree in one run.

Each case prints
    bench: NAME files=N ours=SECONDS floor=SECONDS ratio=R peak_kib=K
where the seconds are medians of whole-process wall time (page cache warm), R is the median of the
ratios pair by pair, and K is the largest peak memory of the tool.
"""

import argparse
import os
import shutil
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SANDBOX = ROOT / "script" / "sandbox"
FILES_PER_FOLDER = 1000
FIRST_START = 1_700_000_000


class Recorder:
    """A recorder with one camera, in a folder of its own."""

    def __init__(self, folder, bin_dir):
        self.package = folder / "package"
        self.store = folder / "store"
        self.bin = bin_dir
        self.package.mkdir()
        self.store.mkdir()
        self.run("krctl", "init")
        self.run("krctl", "volume", "init", folder)
        self.run("krctl", "camera", "add", "--id", "1", "--name", "Bench", "--storage", self.store)

    def command(self, program, *args):
        return [SANDBOX, self.package, self.bin / program, *args]

    def run(self, program, *args):
        subprocess.run(self.command(program, *args), check=True, stdout=subprocess.DEVNULL)

    def database(self, name):
        return self.package / "var" / "db" / name


def half_day(number):
    day = time.gmtime(FIRST_START + number // 2 * 86400)
    return time.strftime("%Y%m%d", day) + ("AM" if number % 2 == 0 else "PM")


def recording_name(number):
    start = FIRST_START + number
    return time.strftime("Bench-%Y%m%d-%H%M%S-", time.gmtime(start)) + f"{start:010}.mp4"


def make_recordings(store, count, content):
    """Writes `count` recordings in half-day folders and returns their row paths."""
    paths = []
    for number in range(count):
        folder = half_day(number // FILES_PER_FOLDER)
        if number % FILES_PER_FOLDER == 0:
            (store / folder).mkdir()
        path = f"{folder}/{recording_name(number)}"
        (store / path).write_bytes(content)
        paths.append(path)
    return paths


def insert_rows(database, paths, size):
    rows = ((1, path, FIRST_START + number, FIRST_START + number + 1, size)
            for number, path in enumerate(paths))
    with sqlite3.connect(database) as connection:
        connection.executemany(
            "INSERT INTO event (camera_id, path, start_tm, end_tm, size) VALUES (?, ?, ?, ?, ?)",
            rows)
    connection.close()


def small_mp4(folder):
    """A real recording of a second: H.264 and AAC."""
    path = folder / "sample.mp4"
    subprocess.run(
        ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=64x48:rate=5:duration=1",
         "-f", "lavfi", "-i", "sine=duration=1:sample_rate=8000", "-c:v", "libx264", "-preset",
         "ultrafast", "-c:a", "aac", "-b:a", "8k", path], check=True)
    return path.read_bytes()


def make_snapshots(folder, count):
    """Fills the snapshot folder: many names for a few real pictures of 1280x720."""
    pictures = 20
    folder.mkdir()
    subprocess.run(
        ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=1", "-frames:v",
         str(pictures), "-q:v", "4", folder.parent / "picture%02d.jpg"], check=True)
    names = []
    for number in range(count):
        start = FIRST_START + number
        name = time.strftime("Bench-%Y%m%d-", time.gmtime(start)) + f"{start:010}.jpg"
        os.link(folder.parent / f"picture{number % pictures + 1:02}.jpg", folder / name)
        names.append(name)
    return names


def restorer(database, copy):
    """Keeps a copy of a database; returns what brings it back."""
    shutil.copy(database, copy)

    def restore():
        for suffix in ("", "-wal", "-shm"):
            Path(f"{database}{suffix}").unlink(missing_ok=True)
        shutil.copy(copy, database)

    return restore


def measure(command):
    """Seconds of wall time and peak KiB of one run, its output thrown away."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - begin
    if status != 0:
        sys.exit(f"bench: {command} ended with {status}")
    return seconds, usage.ru_maxrss


def compare(name, files, runs, ours, floor, before=lambda: None):
    """Runs both commands in turn, after one warm-up of each, and prints the case's line."""
    pairs = []
    for number in range(runs + 1):
        before()
        our_seconds, peak = measure(ours)
        before()
        floor_seconds, _ = measure(floor)
        if number > 0:
            pairs.append((our_seconds, floor_seconds, peak))
    ratio = statistics.median(our / floor for our, floor, _ in pairs)
    print(f"bench: {name} files={files} ours={statistics.median(p[0] for p in pairs):.3f} "
          f"floor={statistics.median(p[1] for p in pairs):.3f} ratio={ratio:.2f} "
          f"peak_kib={max(p[2] for p in pairs)}", flush=True)


def bench_known(folder, bin_dir, files, runs):
    """All recordings have rows: there is nothing to do."""
    recorder = Recorder(folder, bin_dir)
    paths = make_recordings(recorder.store, files, b"x")
    insert_rows(recorder.database("recording.db"), paths, 1)
    select = "SELECT id, path FROM event WHERE camera_id = 1"
    compare("known", files, runs, recorder.command("krindexer", "-r", "1"),
            recorder.command("floor_walk", "/var/packages/Kestora/var/db/recording.db", select,
                             *sorted(recorder.store.iterdir())))


def bench_new(folder, bin_dir, files, runs):
    """No recording has a row: every container is read, every row added."""
    recorder = Recorder(folder, bin_dir)
    make_recordings(recorder.store, files, small_mp4(folder))
    database = recorder.database("recording.db")
    restore = restorer(database, folder / "empty.db")

    recorder.run("krindexer", "-r", "1")
    statements = folder / "statements.sql"
    with open(statements, "wb") as out:
        subprocess.run([bin_dir / "dump_statements", database], check=True, stdout=out)
    compare("new", files, runs, recorder.command("krindexer", "-r", "1"),
            recorder.command("floor_insert", "/var/packages/Kestora/var/db/recording.db",
                             statements), restore)


def bench_known_snapshots(folder, bin_dir, files, runs):
    """All snapshots have rows: there is nothing to do."""
    recorder = Recorder(folder, bin_dir)
    snapshots = recorder.package / "var" / "snapshot"
    names = make_snapshots(snapshots, files)
    with sqlite3.connect(recorder.database("snapshot.db")) as connection:
        connection.executemany("INSERT INTO snapshot (filename) VALUES (?)",
                               ((name,) for name in names))
    connection.close()
    compare("known-snapshots", files, runs, recorder.command("krindexer", "-s"),
            recorder.command("floor_walk", "/var/packages/Kestora/var/db/snapshot.db",
                             "SELECT id, filename FROM snapshot", snapshots))


def bench_new_snapshots(folder, bin_dir, files, runs):
    """No snapshot has a row or a thumbnail."""
    recorder = Recorder(folder, bin_dir)
    snapshots = recorder.package / "var" / "snapshot"
    make_snapshots(snapshots, files)
    restore = restorer(recorder.database("snapshot.db"), folder / "empty.db")

    def restore_and_forget():
        restore()
        shutil.rmtree(snapshots / "@Thumbnail", ignore_errors=True)

    compare("new-snapshots", files, runs, recorder.command("krindexer", "-s"),
            recorder.command("floor_thumbnails", snapshots), restore_and_forget)


def bench_plan(folder, bin_dir, files, runs):
    """All recordings have rows: a plan (ours) finds so, and a run (floor) does."""
    recorder = Recorder(folder, bin_dir)
    paths = make_recordings(recorder.store, files, b"x")
    insert_rows(recorder.database("recording.db"), paths, 1)
    compare("plan", files, runs, recorder.command("krctl", "plan", "-r", "1"),
            recorder.command("krindexer", "-r", "1"))


CASES = {
    "known": (bench_known, 200_000),
    "plan": (bench_plan, 100_000),
    "new": (bench_new, 20_000),
    "known-snapshots": (bench_known_snapshots, 20_000),
    "new-snapshots": (bench_new_snapshots, 20_000),
}


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cases", nargs="*", metavar="CASE", help=f"of {', '.join(CASES)}; all")
    parser.add_argument("--bin", type=Path, required=True, help="where the built programs are")
    parser.add_argument("--runs", type=int, default=5, help="counted runs of each program")
    parser.add_argument("--scale", type=float, default=1.0, help="of the number of files")
    options = parser.parse_args()
    unknown = set(options.cases) - set(CASES)
    if unknown:
        parser.error(f"unknown case {', '.join(unknown)}; expected some of {', '.join(CASES)}")
    for name in options.cases or CASES:
        case, files = CASES[name]
        with tempfile.TemporaryDirectory(prefix="kestora-bench-") as folder:
            case(Path(folder), options.bin.resolve(), int(files * options.scale), options.runs)


if __name__ == "__main__":
    main()
