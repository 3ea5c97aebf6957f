"""The folders of the demo's recorder, and the names of its files."""

import datetime
import os
from dataclasses import dataclass

from database import open_databases


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
    """A recorder in a separate folder, in which `package` is the package's root for the tool."""

    def __init__(self, work):
        self.work = work
        self.masters = os.path.join(work, "masters")
        package = os.path.join(work, "package")
        self.rows = open_databases(os.path.join(package, "var/db"))
        self.snapshots = os.path.join(package, "var/snapshot")
        self.emaps = os.path.join(package, "target/@KREmap")

    def storage(self, camera):
        return os.path.join(self.work, camera.storage)

    def alerts(self, camera):
        return os.path.join(self.storage(camera), ALERT_FOLDER)


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
