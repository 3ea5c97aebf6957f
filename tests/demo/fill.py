"""fill.py WORK: creates the recordings, snapshots and e-maps of the demo's recorder, and the rows of the
e-maps. The tool adds all other rows."""

import os
import sys

import media
from layout import ALERT_CAMERAS, CAMERAS, Recorder, moment, recording_path, snapshot_name

# Weeks of a few recordings a day; camera 1 was off for two days.
EARLIER_DAYS = range(1, 19)
OFF = {(1, 9), (1, 10)}
# Three half-day folders for each camera: (day, hours).
RECORDING_HOURS = ((19, range(14, 21)), (20, range(3, 12)), (20, range(13, 20)))
LOCKED_HOUR = (20, 8)
ALERT_HOURS = ((20, range(6, 10)), (20, range(14, 17)))
SNAPSHOT_HOURS = range(5, 19)
EMAPS = ("ground-floor.jpg", "first-floor.jpg", "cellar.jpg", "car-park.jpg", "roof.jpg")


def earlier_recordings(camera):
    return [recording_path(camera, moment(day, hour, 15 * camera.id))
            for day in EARLIER_DAYS if (camera.id, day) not in OFF
            for hour in range(6, 8 + day * (camera.id + 2) % 6)]


def make_recordings(recorder, camera):
    files = earlier_recordings(camera)
    for day, hours in RECORDING_HOURS:
        for hour in hours:
            when = moment(day, hour, 15 * camera.id)
            locked = camera.id == 1 and (day, hour) == LOCKED_HOUR
            files.append(recording_path(camera, when, suffix="-LOCK" if locked else ""))
    storage = recorder.storage(camera)
    media.record(os.path.join(recorder.masters, f"{camera.name}.{camera.kind}"),
                 [os.path.join(storage, file) for file in files], first_number=camera.id)


def make_alerts(recorder, camera):
    files = [recording_path(camera, moment(day, hour, 7 * camera.id), "mp4")
             for day, hours in ALERT_HOURS for hour in hours]
    media.record(os.path.join(recorder.masters, "alert.mp4"),
                 [os.path.join(recorder.alerts(camera), file) for file in files])


def make_snapshots(recorder, camera):
    times = [moment(20, hour, 10 * camera.id) for hour in SNAPSHOT_HOURS]
    names = [snapshot_name(camera, when) for when in times]
    names.append(snapshot_name(camera, times[2], "-Modified-2"))
    paths = [os.path.join(recorder.snapshots, name) for name in names]
    media.take_pictures(os.path.join(recorder.masters, f"{camera.name}.{camera.kind}"), paths)
    for path, when in zip(paths, times + [times[2]]):
        media.take_at(path, when)


def make_emaps(recorder):
    master = os.path.join(recorder.masters, "alert.mp4")
    media.take_pictures(master, [os.path.join(recorder.emaps, name) for name in EMAPS], "800x450")
    media.take_pictures(master, [os.path.join(recorder.emaps, "thumb_" + name) for name in EMAPS],
                        "160x90")
    recorder.rows.add_emaps(EMAPS)


def main():
    recorder = Recorder(sys.argv[1])
    media.encode_masters(recorder.masters)
    for camera in CAMERAS:
        make_recordings(recorder, camera)
        make_snapshots(recorder, camera)
    for camera in ALERT_CAMERAS:
        make_alerts(recorder, camera)
    make_emaps(recorder)


if __name__ == "__main__":
    main()
