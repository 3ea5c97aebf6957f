"""Trees of media: cameras × half days × files, with names like those of a recorder."""

import os
import struct
import subprocess
import time

CAMERA_NAME = "FrontDoor"  # makes names of 40 bytes
FILES_PER_HALF_DAY = 1000
TEN_MINUTES_PER_HALF_DAY = 72  # recordings of ten minutes, without a gap
HALF_DAY_S = 43200
FIRST_START = 1_699_920_000  # a midnight
LINKED_SOURCES = 256  # a file can't have enough hard links for a whole tree
PICTURES = 20
TEN_MINUTES_BYTES = 150_000_000

KINDS = ("empty", "small", "ten-minute")


def start_of(number, per_half_day=FILES_PER_HALF_DAY):
    """The start of the recording with this number."""
    half_day, place = divmod(number, per_half_day)
    return FIRST_START + half_day * HALF_DAY_S + place * (HALF_DAY_S // per_half_day)


def half_day_of(number, per_half_day=FILES_PER_HALF_DAY):
    half_day = number // per_half_day
    day = time.strftime("%Y%m%d", time.gmtime(FIRST_START + half_day * HALF_DAY_S))
    return day + ("AM" if half_day % 2 == 0 else "PM")


def recording_path(number, per_half_day=FILES_PER_HALF_DAY):
    """The path as in the row of a recording."""
    start = start_of(number, per_half_day)
    moment = time.strftime("%Y%m%d-%H%M%S", time.gmtime(start))
    return f"{half_day_of(number, per_half_day)}/{CAMERA_NAME}-{moment}-{start:010}.mp4"


def snapshot_name(number):
    start = FIRST_START + number
    return f"{CAMERA_NAME}-{time.strftime('%Y%m%d', time.gmtime(start))}-{start:010}.jpg"


class Media:
    """The contents of the files of the trees, created once."""

    def __init__(self, folder):
        self.folder = folder
        self.made = {}

    def write(self, kind, path):
        """Makes one file."""
        if kind not in self.made:
            self.made[kind] = {"empty": lambda: [(0, b"x")], "small": self._small,
                               "ten-minute": self._ten_minutes}[kind]()
        with open(path, "wb") as file:
            for offset, content in self.made[kind]:
                file.seek(offset)
                file.write(content)

    def pictures(self):
        """Real pictures of 1280x720."""
        paths = [self.folder / f"picture{number:02}.jpg" for number in range(1, PICTURES + 1)]
        if not paths[0].exists():
            self._ffmpeg("-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=1", "-frames:v",
                         str(PICTURES), "-q:v", "4", self.folder / "picture%02d.jpg")
        return paths

    def _small(self):
        """A second of H.264 and AAC."""
        return [(0, self._film(1, "64x48", 5))]

    def _ten_minutes(self):
        """Ten minutes of H.264 and AAC, with the index of 15,000 pictures and 9,000 pieces of sound
        at the end. The pictures and sound before it are a hole."""
        self._film(10, "640x360", 25)
        path = self.folder / "ten-minutes.mp4"
        self._ffmpeg("-stream_loop", "59", "-i", self.folder / "film.mp4", "-c", "copy", path)
        head, index = split_at_media(path.read_bytes())
        size = TEN_MINUTES_BYTES - len(head)
        return [(0, head + struct.pack(">I4s", size, b"mdat")), (len(head) + size, index)]

    def _film(self, seconds, size, rate):
        path = self.folder / "film.mp4"
        self._ffmpeg("-y", "-f", "lavfi", "-i", f"color=size={size}:rate={rate}:duration={seconds}",
                     "-f", "lavfi", "-i", f"sine=duration={seconds}:sample_rate=16000",
                     "-c:v", "libx264", "-preset", "ultrafast", "-g", str(2 * rate), "-c:a", "aac",
                     "-b:a", "8k", path)
        return path.read_bytes()

    @staticmethod
    def _ffmpeg(*arguments):
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", *arguments], check=True)


def split_at_media(film):
    """Splits an mp4 into the boxes before and after its media."""
    offset = 0
    while offset < len(film):
        size, kind = struct.unpack_from(">I4s", film, offset)
        if kind == b"mdat":
            return film[:offset], film[offset + size:]
        offset += size
    raise ValueError("the film has no media")


class Tree:
    """The storage folders of some cameras, numbered from 1, with `files` recordings altogether.

    Most files are hard links, so that a million can be created in a minute. With `distinct`, each file has its own
    place on the disk, for measurements with a cold cache.
    """

    def __init__(self, root, media, kind, cameras, files, distinct=False, per_half_day=FILES_PER_HALF_DAY):
        self.root, self.kind, self.cameras, self.files = root, kind, cameras, files
        self.per_half_day = per_half_day
        self.per_camera = files // cameras
        self.stores = [root / f"camera{camera}" for camera in range(1, cameras + 1)]
        sources = files if distinct else min(files, LINKED_SOURCES)
        self._make_sources(media, sources)
        for camera, store in enumerate(self.stores):
            self._fill(store, camera * self.per_camera, sources, distinct)

    def _make_sources(self, media, count):
        (self.root / "sources").mkdir(parents=True)
        for number in range(count):
            media.write(self.kind, self.root / "sources" / str(number))

    def _fill(self, store, first, sources, distinct):
        put = os.rename if distinct else os.link
        store.mkdir()
        for number in range(self.per_camera):
            if number % self.per_half_day == 0:
                (store / half_day_of(number, self.per_half_day)).mkdir()
            put(f"{self.root}/sources/{(first + number) % sources}",
                f"{store}/{recording_path(number, self.per_half_day)}")

    def size_of_a_file(self):
        return os.stat(self.stores[0] / recording_path(0)).st_size


def rows_of(cameras, per_camera, size=1, per_half_day=FILES_PER_HALF_DAY, length_s=1):
    """Camera, path, start, end and size of the recordings of such a tree."""
    for camera in range(1, cameras + 1):
        for number in range(per_camera):
            start = start_of(number, per_half_day)
            yield camera, recording_path(number, per_half_day), start, start + length_s, size


def fill_with_snapshots(folder, media, count):
    """Many names for a few real pictures."""
    pictures = media.pictures()
    folder.mkdir(exist_ok=True)
    for number in range(count):
        os.link(pictures[number % len(pictures)], folder / snapshot_name(number))
