"""A recorder in a folder, and the shipped programs at work on it."""

import os
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../../scenarios"))
sys.path.insert(0, os.path.join(HERE, "../../postgresql"))

from runner import sqlite  # noqa: E402 (the path above comes first)
from runner.database import TABLES  # noqa: E402
from support import process  # noqa: E402
from support.sandbox import SANDBOX, Sandbox  # noqa: E402

PACKAGE_ROOT = "/var/packages/Kestora"
HALF_DAY = "20140312AM"
START_TM = 1394590500


class Recorder:
    """Its files lie in `root`; to its programs that is /var/packages/Kestora. Names of files are
    relative to it, everywhere."""

    bin_dir = media_dir = None  # modules.py sets them

    def __init__(self, root, database=()):
        """`database`: lines of that section of the settings."""
        self.root = root
        self.sandbox = None
        self.database = list(database)
        for folder in ("etc", "target/@KREmap", "var/snapshot", "var/log"):
            os.makedirs(self.path(folder))
        self.settings()
        self.do("krctl", "init")

    # Files

    def path(self, name):
        """A file as the test sees it."""
        return os.path.join(self.root, name)

    @staticmethod
    def inside(name):
        """The same as the programs see it."""
        return os.path.join(PACKAGE_ROOT, name)

    def file(self, name, content=b"", mode=0o640):
        """Writes it, and the folders above it; its path as the programs see it."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(content.encode() if isinstance(content, str) else content)
        os.chmod(self.path(name), mode)
        return self.inside(name)

    def settings(self, text=""):
        """Other sections of the settings."""
        lines = ["[database]", *self.database] if self.database else []
        self.file("etc/kestora.toml", "\n".join([*lines, text, ""]))

    def medium(self, name, medium):
        """A file that is one of the media of tests/scenarios/runner/media.py."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        shutil.copyfile(os.path.join(self.media_dir, medium), self.path(name))
        return name

    # What a recorder holds

    def volume(self, name="volume1"):
        """A disk with an identity."""
        os.makedirs(self.path(name), exist_ok=True)
        self.do("krctl", "volume", "init", self.inside(name))
        return name

    def camera(self, number, name=None, volume="volume1"):
        """Makes it known. It is bound to the volume if that has an identity by now."""
        storage = f"{volume}/cam{number}"
        os.makedirs(self.path(storage), exist_ok=True)
        self.do("krctl", "camera", "add", "--id", str(number), "--name", name or f"cam{number}",
                "--storage", self.inside(storage))
        return storage

    def recording(self, storage, start_tm=START_TM, folder=HALF_DAY, medium="h264.mp4"):
        """A recording without a row; its name, relative to the recorder. Alert recordings lie in
        "laRec" of the storage folder."""
        extension = os.path.splitext(medium)[1]
        return self.medium(f"{storage}/{folder}/rec-20140312-101500-{start_tm}{extension}", medium)

    def snapshot(self, number=1, medium="picture.jpg"):
        return self.medium(f"var/snapshot/cam-20140312-{START_TM + number}.jpg", medium)

    # Programs

    def command(self, program, *arguments):
        """With a sandbox of its own, in which it may mount what it likes."""
        return [SANDBOX, self.root, os.path.join(self.bin_dir, program), *arguments]

    def run(self, program, *arguments, **options):
        return process.run(self._entering(options, program, *arguments), **options)

    def start(self, program, *arguments, **options):
        return process.start(self._entering(options, program, *arguments), **options)

    def _entering(self, options, program, *arguments):
        self.sandbox = self.sandbox or Sandbox(self.root)
        return self.sandbox.entering([os.path.join(self.bin_dir, program), *arguments],
                                     options.get("cwd") or os.getcwd())

    def end(self):
        if self.sandbox:
            self.sandbox.end()

    def do(self, program, *arguments):
        """Runs what can't fail; what it printed."""
        outcome = self.run(program, *arguments)
        if outcome.status != 0:
            raise AssertionError(f"{program} {arguments} ended with {outcome}")
        return outcome.out

    def krctl(self, *arguments, **options):
        return self.run("krctl", *arguments, **options)

    def reindex(self, *options):
        """Runs the tool to its end; the lines that it added to the log."""
        before = len(self.log())
        self.do("krindexer", *options)
        return self.log()[before:]

    def log(self):
        try:
            with open(self.path("var/log/kestora.log"), encoding="utf-8",
                      errors="surrogateescape") as file:
                return file.read().splitlines()
        except FileNotFoundError:
            return []

    # SQLite's databases

    def query(self, database, sql, *values):
        """Rows of "system.db", "recording.db" or "snapshot.db"; texts are bytes. The connection is
        another process's: it leaves a database as it found it."""
        connection = sqlite.connect(self.root, database)
        try:
            return connection.execute(sql, values).fetchall()
        finally:
            connection.close()

    def row(self, table, **columns):
        """Adds a row; its id. Texts may be bytes."""
        marks = ", ".join("CAST(? AS TEXT)" if isinstance(value, bytes) else "?"
                          for value in columns.values())
        (number,), = self.query(
            TABLES[table], f"INSERT INTO {table} ({', '.join(columns)}) VALUES ({marks}) "
            "RETURNING id", *columns.values())
        return number
