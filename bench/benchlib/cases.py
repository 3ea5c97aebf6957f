"""The cases: the contents of the recorder, the programs to run, and the expected results of both."""

import json
import os
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Callable

from benchlib import measure
from benchlib import tree as trees
from benchlib.measure import Pair, require

ROW_COLUMNS = ("camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, img_w, img_h")
ALL_ROWS = f"SELECT {ROW_COLUMNS} FROM event ORDER BY camera_id, path"


@dataclass(frozen=True)
class Case:
    """`files`: the default number. `most`: the end of the curve, 0 = no curve. `cold`: the number of files for
    a cold cache, each in its own place on the disk, 0 = not measured."""

    prepare: Callable  # of a recorder, its bench and a number of files; returns a Pair
    summary: str
    files: int
    most: int
    aims: dict  # by engine
    unit: str = "ratio"
    engines: tuple = ("sqlite", "postgresql")
    cold: int = 0


def _walk_arguments(recorder, tree, column="id"):
    arguments = []
    for camera, store in enumerate(tree.stores, 1):
        arguments += [f"SELECT {column}, path FROM {recorder.store.table('event')} "
                      f"WHERE camera_id = {camera}", store]
    return arguments


def _finds_nothing_to_do(recorder, files, database, table):
    """Checks, for the tool and for floor_walk, that all rows were seen with their files."""
    def check_ours(_out):
        require(recorder.store.query("system", "SELECT sum(known), sum(files) FROM run_part "
                                    "WHERE run = (SELECT max(id) FROM run)"),
                f"{files}|{files}", "known rows and files of the run")
        require(recorder.number(f"SELECT count(*) FROM {table}", database), files, "rows")

    def check_floor(out):
        require(out, f"{files} rows, 0 without a file\n", "the floor")

    return {"check_ours": check_ours, "check_floor": check_floor}


def prepare_known(recorder, bench, files):
    tree = bench.tree("empty", files)
    recorder.add_cameras(tree.stores)
    recorder.insert_recordings(trees.rows_of(tree.cameras, tree.per_camera))
    return Pair(recorder.ours("-r", "-1"),
                recorder.floor("walk", recorder.store.address("recording"),
                               *_walk_arguments(recorder, tree)),
                **_finds_nothing_to_do(recorder, files, "recording", "event"))


def prepare_plan(recorder, bench, files):
    pair = prepare_known(recorder, bench, files)
    run = pair.ours
    return Pair([str(recorder.programs / "krctl"), "plan", "-r", "-1"], run,
                check_floor=pair.check_ours)


def prepare_check(recorder, bench, files):
    """On a tree of its own: a check ends with 1 if another recorder has taken over the cameras."""
    tree = trees.Tree(bench.folder("tree"), bench.media, "empty", 1, files)
    recorder.add_cameras(tree.stores)
    recorder.insert_recordings(trees.rows_of(tree.cameras, tree.per_camera, tree.size_of_a_file()))
    krctl = str(recorder.programs / "krctl")

    def check_ours(out):
        document = json.loads(out)
        require(document["complete"] and not document["findings"], True, "a complete check that finds nothing")
        require(sum(part["rows"] for part in document["parts"]), files, "checked rows")

    def check_floor(out):
        require(out.strip() != "", True, "the plan is printed")
        require(sum(part["files"] for part in json.loads(out)["parts"]), files, "files of the plan")

    return Pair([krctl, "check", "--kind", "recordings", "--json"],
                [krctl, "plan", "--kind", "recordings", "--json"],
                check_ours=check_ours, check_floor=check_floor)


def prepare_gaps(recorder, bench, files):
    """Recordings of ten minutes, one after another, on a tree of its own."""
    per_half_day = trees.TEN_MINUTES_PER_HALF_DAY
    cameras = min(GAPS_CAMERAS, files)
    tree = trees.Tree(bench.folder("tree"), bench.media, "empty", cameras, files - files % cameras,
                      per_half_day=per_half_day)
    recorder.add_cameras(tree.stores)
    recorder.insert_recordings(trees.rows_of(tree.cameras, tree.per_camera, 1, per_half_day, TEN_MINUTES_S))
    until = trees.FIRST_START + tree.per_camera * TEN_MINUTES_S

    def check_ours(out):
        document = json.loads(out)
        require((document["complete"], document["gaps"]), (True, []), "completely examined, without a gap")
        require(len(document["cameras"]), tree.cameras, "examined cameras")

    def check_floor(out):
        require(out, f"{tree.files} rows, 0 without a file\n", "the floor")

    return Pair([str(recorder.programs / "krctl"), "gaps", "--json", "--since", _utc(trees.FIRST_START),
                 "--until", _utc(until)],
                recorder.floor("names", recorder.store.address("recording"),
                               *_walk_arguments(recorder, tree, "start_tm")),
                check_ours=check_ours, check_floor=check_floor)


def _utc(moment):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(moment))


def prepare_contents(recorder, _bench, files):
    """Snapshots, because their folder needs no camera. Every run reads them from the disk."""
    folder = recorder.package / "var/snapshot"
    names = [trees.snapshot_name(number) for number in range(files)]
    for name in names:
        (folder / name).write_bytes(os.urandom(CONTENTS_BYTES))
        os.utime(folder / name, (trees.FIRST_START, trees.FIRST_START))
    recorder.store.insert("snapshot", "snapshot", "filename, size",
                          ((name, CONTENTS_BYTES) for name in names))
    krctl = str(recorder.programs / "krctl")
    recorder.run("krctl", "check", "--contents")

    def drop():
        os.sync()
        for name in names:
            with open(folder / name, "rb") as file:
                os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)

    def check_ours(out):
        contents = [part["contents"]["same"] for part in json.loads(out)["parts"]]
        require(sum(contents), files, "files with the same contents")

    def check_floor(out):
        require(len(out.splitlines()), files, "checksums of the floor")

    return Pair([krctl, "check", "--contents", "--kind", "snapshots", "--json"],
                ["sha256sum", *(str(folder / name) for name in names)], drop, check_ours, check_floor)


def _prepare_new(kind):
    def prepare(recorder, bench, files):
        tree = bench.tree(kind, files, cameras=1)
        recorder.add_cameras(tree.stores)
        recorder.store.save()
        rows = []

        def check_ours(_out):
            rows.append(recorder.store.query("recording", ALL_ROWS))
            require(rows[-1].count("\n") + 1, files, "rows of recordings")

        def check_floor(out):
            require(out, f"{files} statements\n", "the floor")
            require(recorder.store.query("recording", ALL_ROWS) == rows.pop(), True,
                    "the floor's rows are the tool's")

        return Pair(recorder.ours("-r", "1"),
                    recorder.floor("insert", recorder.store.address("recording"), 1,
                                   tree.stores[0]),
                    recorder.store.restore, check_ours, check_floor)
    return prepare


def prepare_gone(recorder, bench, files):
    """Removes the half-day folders of all recordings, as a recorder removes the oldest ones."""
    store = bench.folder("gone")
    recorder.add_cameras([store])
    recorder.insert_recordings(trees.rows_of(1, files))
    recorder.store.save()
    removed = "SELECT row_id, camera_id, path, start_tm, end_tm, size FROM removed ORDER BY row_id"
    rows = []

    def check_ours(_out):
        rows.append(recorder.store.query("recording", removed))
        require(rows[-1].count("\n") + 1, files, "rows in the ledger")
        require(recorder.number("SELECT count(*) FROM event"), 0, "rows of recordings")

    def check_floor(out):
        require(out, f"{files} ids\n", "the floor")
        require(recorder.number("SELECT count(*) FROM event"), 0, "rows of recordings")
        require(recorder.store.query("recording", removed) == rows.pop(), True,
                "the floor's ledger is the tool's")

    return Pair(recorder.ours("-r", "1"),
                recorder.floor("remove", recorder.store.address("recording"),
                               recorder.store.ledger, "event", files),
                recorder.store.restore, check_ours, check_floor)


def _snapshots(recorder, bench, files):
    folder = recorder.package / "var/snapshot"
    trees.fill_with_snapshots(folder, bench.media, files)
    return folder


def prepare_known_snapshots(recorder, bench, files):
    folder = _snapshots(recorder, bench, files)
    recorder.store.insert("snapshot", "snapshot", "filename",
                          ((trees.snapshot_name(number),) for number in range(files)))
    select = f"SELECT id, filename FROM {recorder.store.table('snapshot')}"
    return Pair(recorder.ours("-s"),
                recorder.floor("walk", recorder.store.address("snapshot"), select, folder),
                **_finds_nothing_to_do(recorder, files, "snapshot", "snapshot"))


def _prepare_new_snapshots(writes):
    def prepare(recorder, bench, files):
        folder = _snapshots(recorder, bench, files)
        thumbnails, theirs = folder / "@Thumbnail", folder / "@Floor"  # on the same disk
        recorder.store.save()

        def forget():
            # The folders are moved, not removed: whenever ext4 creates a file, it skips each inode that was
            # freed within the last minutes, one by one.
            recorder.store.restore()
            away = Path(tempfile.mkdtemp(dir=recorder.folder))
            for each in (thumbnails, theirs):
                if each.exists():
                    each.rename(away / each.name)
            theirs.mkdir()

        def check_ours(_out):
            require(len(list(thumbnails.glob("*.jpg"))), files, "thumbnails")
            require(recorder.number("SELECT count(*) FROM snapshot", "snapshot"), files, "rows")

        def check_floor(out):
            require(out, f"{files} thumbnails\n", "the floor")
            require(len(list(theirs.glob("*.jpg"))), files if writes else 0, "the floor's thumbnails")

        floor = [str(recorder.programs / "floor_thumbnails"), str(folder)]
        return Pair(recorder.ours("-s"), floor + ([str(theirs)] if writes else []), forget,
                    check_ours, check_floor)
    return prepare


def peak_of_an_empty_run(recorder, bench):
    """The KiB that the process needs before it holds any row."""
    recorder.add_cameras([bench.folder("nothing")])
    return measure.run_once(recorder, recorder.ours("-r", "-1"))[1]


def _prepare_empty(arguments, databases):
    def prepare(recorder, bench, _files):
        recorder.add_cameras([bench.folder("nothing")])
        names = databases if recorder.engine == "sqlite" else databases[:1]
        return Pair(recorder.ours(*arguments),
                    recorder.floor("open", *map(recorder.store.address, names)),
                    check_floor=lambda out: require(out, f"{len(names)} databases\n", "the floor"))
    return prepare


BOTH = ("sqlite", "postgresql")
CONTENTS_BYTES = 4 << 20
TEN_MINUTES_S = 600
GAPS_CAMERAS = 60
GAPS_YEAR = GAPS_CAMERAS * 365 * 2 * trees.TEN_MINUTES_PER_HALF_DAY  # 3,153,600
MILLION = 1_000_000

CASES = {
    "known": Case(prepare_known, "every recording has its row: nothing to do", 200_000, MILLION,
                  dict.fromkeys(BOTH, 1.15), cold=100_000),
    "new": Case(_prepare_new("ten-minute"), "no recording has a row; mp4s of ten minutes, with their "
                "index at the end", 10_000, MILLION, dict.fromkeys(BOTH, 1.3), cold=2000),
    "new-small": Case(_prepare_new("small"), "no recording has a row; mp4s of a second", 10_000, MILLION,
                      dict.fromkeys(BOTH, 1.3), cold=10_000),
    "gone": Case(prepare_gone, "no row has a file", 100_000, MILLION,
                 dict.fromkeys(BOTH, 1.3), cold=100_000),
    "known-snapshots": Case(prepare_known_snapshots, "every snapshot has its row", 100_000, MILLION,
                            {}),
    "new-snapshots": Case(_prepare_new_snapshots(False), "no snapshot has a row or a thumbnail; the "
                          "floor writes nothing", 1000, 0, dict.fromkeys(BOTH, 1.2),
                          engines=("sqlite",)),
    "new-snapshots-kept": Case(_prepare_new_snapshots(True), "no snapshot has a row or a thumbnail; the "
                               "floor writes and flushes each thumbnail", 1000, 0,
                               dict.fromkeys(BOTH, 1.2), engines=("sqlite",)),
    "plan": Case(prepare_plan, "nothing to do: krctl plan, with krindexer as its floor", 100_000, 0,
                 {}),
    "check": Case(prepare_check, "nothing to find: krctl check --names, with krctl plan as its floor", 100_000, 0,
                  dict.fromkeys(BOTH, 1.3)),
    "gaps": Case(prepare_gaps, f"no gap: krctl gaps on {GAPS_CAMERAS} cameras with recordings of ten minutes; a year "
                 f"is --files {GAPS_YEAR}", 315_360, 0, {}),
    "contents": Case(prepare_contents, "nothing to find: krctl check --contents, with sha256sum as its floor; files "
                     "of 4 MiB", 256, 0, {}, engines=("sqlite",)),
    "empty-emaps": Case(_prepare_empty(("-e",), ["system"]), "krindexer -e on an empty recorder", 0,
                        0, dict.fromkeys(BOTH, 5.0), "ms"),
    "empty-camera": Case(_prepare_empty(("-r", "-1"), ["system", "recording"]), "krindexer -r -1 "
                         "with one empty camera", 0, 0, dict.fromkeys(BOTH, 5.0), "ms"),
}
