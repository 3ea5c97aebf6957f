"""Compares the demo's recorder with its databases. It does not use the tool: it reads the disk, the
databases and, for the properties of recordings, ffprobe.

audit.py count WORK            prints the number of files and rows
audit.py table WORK            prints files and rows side by side
audit.py planned WORK PLAN     fails unless PLAN, printed by krctl plan --json, has as many rows to add and
                               to remove as there are files without row and rows without file
audit.py save WORK STATE       saves all rows and the state of all files to the file STATE
audit.py agree WORK            fails unless every file has a row and every row a file
audit.py found FINDINGS TYPE...
                               fails unless FINDINGS, printed by krctl findings --json, has one
                               finding of each of these types and no other
audit.py same STATE STATE      fails unless nothing changed between the two
audit.py report WORK STATE STATE
                               fails unless files, rows and their contents are correct, and no file
                               was harmed; STATE: before and after the run
"""

import json
import os
import re
import sys
from concurrent.futures import ThreadPoolExecutor

import probe
from layout import ALERT_CAMERAS, CAMERAS, THUMBNAIL_FOLDER, Recorder

HALF_DAY = re.compile(r"[0-9]{8}[AP]M")
RECORDING = re.compile(r".*[0-9]{8}-[0-9]{6}-([0-9]{10})(-LOCK)?\.(mp4|avi|mxg)")
SNAPSHOT = re.compile(r".*-[0-9]{8}-[0-9]{10}(-Modified-[0-9]+)?\.jpg")
# These tables hold the progress of runs and the age of the ledger, not their results.
CHANGING_TABLES = ("task", "outbox", "run", "run_part", "ledger_age")
SECONDS_PER_DAY = 86400
# The kinds' keys in krctl's JSON, by table.
KEYS = {"event": "recordings", "alert_event": "alert-recordings", "snapshot": "snapshots",
        "emap": "e-maps"}


class Kind:
    """One line of the table: the media files of a kind, and their rows."""

    def __init__(self, label, title, root, files, others, table, column, camera=None):
        self.label, self.title, self.root = label, title, root
        self.files, self.others = files, others
        self.table, self.column, self.camera = table, column, camera

    def of_this_kind(self, row):
        return self.camera is None or row["camera_id"] == self.camera.id

    def rows(self, tables):
        """The rows of this kind among those of `tables`: name to row."""
        return {row[self.column]: row for row in tables[self.table] if self.of_this_kind(row)}


def plain_files(folder):
    if not os.path.isdir(folder):
        return []
    return sorted(entry.name for entry in os.scandir(folder) if entry.is_file())


def half_days(root):
    if not os.path.isdir(root):
        return []
    return sorted(name for name in os.listdir(root) if HALF_DAY.fullmatch(name))


def recordings(root):
    """The files in the half-day folders: those with valid names, and the others."""
    files = [f"{folder}/{name}" for folder in half_days(root)
             for name in plain_files(os.path.join(root, folder))]
    named = [file for file in files if RECORDING.fullmatch(os.path.basename(file))]
    return named, sorted(set(files) - set(named))


def recording_kind(label, title, root, table, camera):
    return Kind(label, title, root, *recordings(root), table, "path", camera)


def all_kinds(recorder):
    kinds = [recording_kind(f"camera={camera.id}", f"camera {camera.id} {camera.name} recordings",
                            recorder.storage(camera), "event", camera) for camera in CAMERAS]
    kinds += [recording_kind(f"alerts camera={camera.id}",
                             f"camera {camera.id} {camera.name} alerts",
                             recorder.alerts(camera), "alert_event", camera)
              for camera in ALERT_CAMERAS]
    pictures = plain_files(recorder.snapshots)
    snapshots = [name for name in pictures if SNAPSHOT.fullmatch(name)]
    kinds.append(Kind("snapshots", "snapshots", recorder.snapshots, snapshots,
                      sorted(set(pictures) - set(snapshots)), "snapshot", "filename"))
    emaps = [name for name in plain_files(recorder.emaps) if not name.startswith("thumb_")]
    kinds.append(Kind("emaps", "e-maps", recorder.emaps, emaps, [], "emap", "filename"))
    return kinds


def read_disk(recorder):
    """All files below the media folders, and the empty folders."""
    files, empty = {}, []
    for root in [recorder.storage(camera) for camera in CAMERAS] + [recorder.snapshots,
                                                                   recorder.emaps]:
        for folder, folders, names in os.walk(root):
            if not folders and not names:
                empty.append(folder)
            for name in names:
                path = os.path.join(folder, name)
                status = os.stat(path)
                files[path] = [status.st_ino, status.st_size, status.st_mtime_ns]
    return files, sorted(empty)


def show_count(recorder):
    tables = recorder.rows.tables()
    kinds = all_kinds(recorder)
    print(f"  {sum(len(kind.files) for kind in kinds)} files, "
          f"{sum(len(kind.rows(tables)) for kind in kinds)} rows")


def show_table(recorder):
    tables = recorder.rows.tables()
    print(f"  {'':28}{'files':>6}{'rows':>6}{'file, no row':>14}{'row, no file':>14}")
    for kind in all_kinds(recorder):
        files_only, rows_only = difference(kind, tables)
        print(f"  {kind.title:28}{len(kind.files):6}{len(kind.rows(tables)):6}"
              f"{files_only:14}{rows_only:14}")
    others = sum(len(kind.others) for kind in all_kinds(recorder))
    print(f"  not counted above: files with invalid names: {others}, "
          f"empty half-day folders: {len(read_disk(recorder)[1])}")


def save(recorder, state):
    files, empty = read_disk(recorder)
    tables = {name: rows for name, rows in recorder.rows.tables().items()
              if name not in CHANGING_TABLES}
    tables["next ids"] = [row for row in tables["next ids"] if row["name"] not in CHANGING_TABLES]
    with open(state, "w", encoding="utf-8") as out:
        json.dump({"tables": tables, "files": files, "empty": empty}, out)


def load(state):
    with open(state, encoding="utf-8") as text:
        return json.load(text)


def name_faults(kind, tables):
    files, rows = set(kind.files), kind.rows(tables)
    entries = sum(kind.of_this_kind(row) for row in tables[kind.table])
    faults = [f"{kind.title}: file without row: {name}" for name in sorted(files - set(rows))]
    faults += [f"{kind.title}: row without file: {name}" for name in sorted(set(rows) - files)]
    if entries != len(rows):
        faults.append(f"{kind.title}: {entries} rows for {len(rows)} names")
    return faults


def change_faults(before, after):
    faults = [f"table {table}: its rows changed" for table in before["tables"]
              if before["tables"][table] != after["tables"][table]]
    faults += [f"changed, new or gone: {path}"
               for path in sorted({*before["files"], *after["files"]})
               if before["files"].get(path) != after["files"].get(path)]
    return faults + (["empty folders changed"] if before["empty"] != after["empty"] else [])


def harm_faults(recorder, before, after):
    """A run makes thumbnails of snapshots and removes empty folders. Nothing else on the disk may change."""
    thumbnails = os.path.join(recorder.snapshots, THUMBNAIL_FOLDER, "")
    faults = [f"file harmed: {path}" for path, status in before["files"].items()
              if after["files"].get(path) != status]
    faults += [f"file made: {path}" for path in after["files"]
               if path not in before["files"] and not path.startswith(thumbnails)]
    return faults + [f"empty folder left: {folder}" for folder in after["empty"]]


def differing(kind, name, row, expected):
    return [f"{kind.title}: {name}: {column} is {row[column]!r}, expected {value!r}"
            for column, value in expected.items() if row[column] != value]


def recording_faults(kind, tables):
    rows = kind.rows(tables)
    names = [name for name in kind.files if name in rows]
    paths = [os.path.join(kind.root, name) for name in names]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        facts = list(pool.map(probe.recording, paths))
    faults = []
    for name, path, fact in zip(names, paths, facts):
        start = int(RECORDING.fullmatch(os.path.basename(name)).group(1))
        faults += differing(kind, name, rows[name], {
            "size": os.path.getsize(path), "start_tm": start, "end_tm": start + fact.seconds,
            "vdo_type": fact.video, "aud_fmt": fact.audio,
            "img_w": fact.width, "img_h": fact.height})
    return faults


def has_thumbnail(kind, name):
    path = os.path.join(kind.root, THUMBNAIL_FOLDER, name)
    if not os.path.isfile(path):
        return False
    with open(path, "rb") as picture:
        content = picture.read()
    return content.startswith(b"\xff\xd8") and content.endswith(b"\xff\xd9")


def taken_at(status):
    """A picture is no newer than the oldest of its file's times."""
    return int(min(status.st_mtime, status.st_ctime, status.st_atime))


def snapshot_faults(kind, tables):
    rows = kind.rows(tables)
    faults = [f"{kind.title}: no whole thumbnail: {name}" for name in kind.files
              if not has_thumbnail(kind, name)]
    for name in kind.files:
        status = os.stat(os.path.join(kind.root, name))
        if name in rows:
            faults += differing(kind, name, rows[name],
                                {"size": status.st_size, "start_tm": taken_at(status)})
    return faults


def count_faults(tables):
    counted = {}
    for row in tables["event"]:
        day = (row["camera_id"], row["start_tm"] // SECONDS_PER_DAY)
        counted[day] = counted.get(day, 0) + 1
    stored = {(row["camera_id"], row["day"]): row["count"] for row in tables["recording_count"]}
    return [] if stored == counted else [f"recording counts: {stored}, expected {counted}"]


def difference(kind, tables):
    """The number of files without a row, and of rows without a file."""
    files, rows = set(kind.files), set(kind.rows(tables))
    return len(files - rows), len(rows - files)


def plan_faults(recorder, plan):
    tables = recorder.rows.tables()
    planned = {(part["kind"], part["camera"] or 0): (part["file_without_row"],
                                                     part["row_without_file"])
               for part in plan["parts"]}
    found = {(KEYS[kind.table], kind.camera.id if kind.camera else 0): difference(kind, tables)
             for kind in all_kinds(recorder)}
    return [f"plan of {name}: to add and to remove {planned.get(name)}, expected {expected}"
            for name, expected in found.items() if planned.get(name) != expected]


def finding_faults(document, expected):
    found = sorted(finding["finding"] for finding in document["findings"])
    return [] if found == sorted(expected) else [f"findings: {found}, expected {sorted(expected)}"]


def report_line(kind, before, after):
    old, new = set(kind.rows(before["tables"])), set(kind.rows(after["tables"]))
    line = f"demo: {kind.label} files={len(kind.files)} rows={len(new)}"
    if kind.table == "snapshot":
        thumbnails = sum(has_thumbnail(kind, name) for name in kind.files)
        line += f" thumbnails={thumbnails}"
    return f"{line} added={len(new - old)} removed={len(old - new)}"


def report(recorder, before, after):
    tables = recorder.rows.tables()
    faults = harm_faults(recorder, before, after) + count_faults(tables)
    for kind in all_kinds(recorder):
        faults += name_faults(kind, tables)
        if kind.table in ("event", "alert_event"):
            faults += recording_faults(kind, tables)
        if kind.table == "snapshot":
            faults += snapshot_faults(kind, tables)
        print(report_line(kind, before, after))
    return faults


def agree(recorder):
    tables = recorder.rows.tables()
    return [fault for kind in all_kinds(recorder) for fault in name_faults(kind, tables)]


def main():
    command, *arguments = sys.argv[1:]
    faults = []
    if command == "same":
        before, after = map(load, arguments)
        faults = change_faults(before, after)
        if not faults:
            print(f"  {sum(map(len, after['tables'].values()))} rows and {len(after['files'])} "
                  "files compared: unchanged")
    elif command == "found":
        faults = finding_faults(load(arguments[0]), arguments[1:])
    else:
        recorder = Recorder(arguments[0])
        if command == "count":
            show_count(recorder)
        elif command == "table":
            show_table(recorder)
        elif command == "save":
            save(recorder, arguments[1])
        elif command == "planned":
            faults = plan_faults(recorder, load(arguments[1]))
        elif command == "agree":
            faults = agree(recorder)
        elif command == "report":
            faults = report(recorder, load(arguments[1]), load(arguments[2]))
        else:
            raise SystemExit(__doc__)
    for fault in faults:
        print("demo: WRONG: " + fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
