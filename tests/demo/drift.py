"""drift.py WORK: makes files and rows of the demo's recorder differ: adds and deletes files without the
database, and rows without the disk. Prints a line for each change."""

import os
import shutil
import sys

import media
from layout import (ALERT_CAMERAS, CAMERAS, THUMBNAIL_FOLDER, Recorder, half_day, moment,
                    recording_path, snapshot_name)

FRONT, YARD, GATE = CAMERAS
RECORDINGS = ("event", "path")
ALERTS = ("alert_event", "path")
SNAPSHOTS = ("snapshot", "filename")


def listed(folder):
    return sorted(name for name in os.listdir(folder)
                  if os.path.isfile(os.path.join(folder, name)))


def in_folder(root, half_day_name):
    return [f"{half_day_name}/{name}" for name in listed(os.path.join(root, half_day_name))]


def delete_files(root, files):
    for file in files:
        os.remove(os.path.join(root, file))
    return len(files)


def delete_rows(recorder, table, files):
    name, column = table
    for file in files:
        gone = recorder.rows.delete(name, column, file)
        if gone != 1:
            raise SystemExit(f"demo: {name} has {gone} rows of {file}; expected 1")
    return len(files)


def new_recordings(recorder, camera, root, master, times, kind=None):
    paths = [os.path.join(root, recording_path(camera, when, kind)) for when in times]
    media.record(os.path.join(recorder.masters, master), paths, first_number=5)
    return paths


def drift_front(recorder):
    storage = recorder.storage(FRONT)
    morning = in_folder(storage, "20261120AM")
    locked = [file for file in morning if "-LOCK." in file]
    others = [file for file in morning if file not in locked]
    yield f"Front: {delete_files(storage, others[:3])} recordings deleted by hand"
    yield (f"Front: rows of {delete_rows(recorder, RECORDINGS, others[3:6] + locked)} recordings "
           "lost, a locked one among them")
    times = [moment(21, hour, 15) for hour in (8, 9, 10)]
    new = new_recordings(recorder, FRONT, storage, "Front.mp4", times)
    yield f"Front: {len(new)} recordings made while the database was down"
    cut, = new_recordings(recorder, FRONT, storage, "Front.mp4", [moment(21, 11, 15)])
    os.truncate(cut, os.path.getsize(cut) // 2)
    yield "Front: 1 recording truncated by a power failure"


def drift_yard(recorder):
    storage = recorder.storage(YARD)
    gone = in_folder(storage, "20261119PM")
    shutil.rmtree(os.path.join(storage, "20261119PM"))
    yield f"Yard:  half-day folder 20261119PM deleted by hand, {len(gone)} recordings"
    new = new_recordings(recorder, YARD, storage, "Yard.avi",
                         [moment(20, 20, minute) for minute in (5, 25)])
    yield f"Yard:  {len(new)} recordings copied in from a card"
    nameless = os.path.join(storage, half_day(moment(20, 20, 0)), "Yard-last-night.avi")
    media.record(os.path.join(recorder.masters, "Yard.avi"), [nameless])
    yield "Yard:  1 file copied in without a time in its name"
    os.mkdir(os.path.join(storage, "20261121AM"))
    yield "Yard:  1 half-day folder left empty"


def drift_gate(recorder):
    storage = recorder.storage(GATE)
    lost = delete_rows(recorder, RECORDINGS, in_folder(storage, "20261120PM"))
    yield f"Gate:  rows of half-day folder 20261120PM lost, {lost} recordings"
    yield f"Gate:  {delete_files(storage, in_folder(storage, '20261120AM')[:1])} recording deleted"


def drift_alerts(recorder):
    front, yard = (recorder.alerts(camera) for camera in ALERT_CAMERAS)
    yield (f"Front: {delete_files(front, in_folder(front, '20261120AM')[:2])} alert recordings "
           "deleted")
    yield (f"Yard:  rows of {delete_rows(recorder, ALERTS, in_folder(yard, '20261120PM'))} alert "
           "recordings lost")
    new = new_recordings(recorder, YARD, yard, "alert.mp4", [moment(21, 7, 30)], "mp4")
    yield f"Yard:  {len(new)} alert recording new"


def drift_snapshots(recorder):
    known = listed(recorder.snapshots)
    yield (f"snapshots: {delete_files(recorder.snapshots, known[:5])} deleted, "
           f"rows of {delete_rows(recorder, SNAPSHOTS, known[-4:])} lost")
    times = [moment(21, 9, minute) for minute in (1, 2, 3, 4)]
    paths = [os.path.join(recorder.snapshots, snapshot_name(FRONT, when)) for when in times]
    paths.append(os.path.join(recorder.snapshots, snapshot_name(FRONT, times[0], "-Modified-2")))
    master = os.path.join(recorder.masters, "Front.mp4")
    media.take_pictures(master, paths)
    media.take_pictures(master, [thumbnail(path) for path in paths[:2]], "160x90")
    for path, when in zip(paths, times + times[:1]):
        media.take_at(path, when)
    yield f"snapshots: {len(paths)} new, 2 of them already with a thumbnail"
    media.take_pictures(master, [os.path.join(recorder.snapshots, "Front-holiday.jpg")])
    yield "snapshots: 1 picture copied in without a time in its name"


def thumbnail(path):
    return os.path.join(os.path.dirname(path), THUMBNAIL_FOLDER, os.path.basename(path))


def drift_emaps(recorder):
    os.remove(os.path.join(recorder.emaps, "cellar.jpg"))
    yield "e-maps: 1 image deleted, but not its row"


def main():
    recorder = Recorder(sys.argv[1])
    for drift in (drift_front, drift_yard, drift_gate, drift_alerts, drift_snapshots, drift_emaps):
        for done in drift(recorder):
            print("  " + done)


if __name__ == "__main__":
    main()
