"""Where things lie on the demo's recorder, and how its files are named."""

import contextlib
import datetime
import os
import sqlite3
from dataclasses import dataclass


@dataclass(frozen=True)
class Camera:
    id: int
    name: str
    kind: str  # of its recordings: the extension
    storage: str  # its storage folder, within the demo's folder


CAMERAS = (
    Camera(1, "Front", "mp4", "volume1/Front"),
    Camera(2, "Yard", "avi", "volume1/Yard"),
    Camera(3, "Gate", "mxg", "volume2/Gate"),
)
ALERT_CAMERAS = CAMERAS[:2]
ALERT_FOLDER = "laRec"
THUMBNAIL_FOLDER = "@Thumbnail"


class Recorder:
    """A recorder in a folder of its own; `package` is what the tool sees as the package's root."""

    def __init__(self, work):
        self.work = work
        self.masters = os.path.join(work, "masters")
        package = os.path.join(work, "package")
        self.databases = os.path.join(package, "var/db")
        self.snapshots = os.path.join(package, "var/snapshot")
        self.emaps = os.path.join(package, "target/@KREmap")

    def storage(self, camera):
        return os.path.join(self.work, camera.storage)

    def alerts(self, camera):
        return os.path.join(self.storage(camera), ALERT_FOLDER)

    @contextlib.contextmanager
    def database(self, name):
        """A database, opened; what was changed is committed at the end."""
        path = os.path.join(self.databases, name + ".db")
        if not os.path.exists(path):
            raise SystemExit(f"demo: there is no database {path}")
        connection = sqlite3.connect(path)
        try:
            with connection:
                yield connection
        finally:
            connection.close()


def moment(day, hour, minute):
    """A time of November 2026, UTC."""
    return datetime.datetime(2026, 11, day, hour, minute, tzinfo=datetime.timezone.utc)


def half_day(when):
    return when.strftime("%Y%m%d%p")


def recording_path(camera, when, kind=None, suffix=""):
    """The half-day folder and the file name: 20261120AM/Front-20261120-081500-1795162500.mp4."""
    stamp = when.strftime("%Y%m%d-%H%M%S")
    name = f"{camera.name}-{stamp}-{int(when.timestamp())}{suffix}.{kind or camera.kind}"
    return f"{half_day(when)}/{name}"


def snapshot_name(camera, when, suffix=""):
    return f"{camera.name}-{when.strftime('%Y%m%d')}-{int(when.timestamp())}{suffix}.jpg"
