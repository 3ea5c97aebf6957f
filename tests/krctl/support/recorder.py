"""A recorder in a folder, on which the shipped programs run."""

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
    """Its files are in `root`, which its programs see as /var/packages/Kestora. All file names are
    relative to it."""

    bin_dir = media_dir = None  # modules.py sets them

    def __init__(self, root, database=()):
        """`database`: lines of the section of that name in the settings."""
        self.root = root
        self.sandbox = None
        self.database = list(database)
        for folder in ("etc", "target/@KREmap", "var/snapshot", "var/log"):
            os.makedirs(self.path(folder))
        self.settings()
        self.do("krctl", "init")

    # Files

    def path(self, name):
        """Returns the path of a file for the test."""
        return os.path.join(self.root, name)

    @staticmethod
    def inside(name):
        """Returns the path of a file for the programs."""
        return os.path.join(PACKAGE_ROOT, name)

    def file(self, name, content=b"", mode=0o640):
        """Writes a file, creates its folders, and returns its path for the programs."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(content.encode() if isinstance(content, str) else content)
        os.chmod(self.path(name), mode)
        return self.inside(name)

    def settings(self, text=""):
        """Writes the settings with these further sections."""
        lines = ["[database]", *self.database] if self.database else []
        self.file("etc/kestora.toml", "\n".join([*lines, text, ""]))

    def medium(self, name, medium):
        """Adds a file that is one of the media of tests/scenarios/runner/media.py."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        shutil.copyfile(os.path.join(self.media_dir, medium), self.path(name))
        return name

    # Contents of a recorder

    def volume(self, name="volume1"):
        """Adds a disk with an identity."""
        os.makedirs(self.path(name), exist_ok=True)
        self.do("krctl", "volume", "init", "--force", self.inside(name))
        return name

    def camera(self, number, name=None, volume="volume1"):
        """Adds a camera. It is bound to the volume if that has an identity."""
        storage = f"{volume}/cam{number}"
        os.makedirs(self.path(storage), exist_ok=True)
        name = name or f"cam{number}"
        is_proper = name.isprintable() and name.strip()
        self.do("krctl", "camera", "add", "--id", str(number), "--name", name if is_proper else f"cam{number}",
                "--storage", self.inside(storage))
        if not is_proper:  # as an older version could store it
            quoted = name.encode(errors="surrogateescape").hex()
            self.query("system.db", f"UPDATE camera SET name = CAST(x'{quoted}' AS TEXT) WHERE id = {number}")
        return storage

    def recording(self, storage, start_tm=START_TM, folder=HALF_DAY, medium="h264.mp4"):
        """Adds a recording without a row and returns its name. Alert recordings are in "laRec" of the
        storage folder."""
        extension = os.path.splitext(medium)[1]
        return self.medium(f"{storage}/{folder}/rec-20140312-101500-{start_tm}{extension}", medium)

    def snapshot(self, number=1, medium="picture.jpg"):
        return self.medium(f"var/snapshot/cam-20140312-{START_TM + number}.jpg", medium)

    # Programs

    def command(self, program, *arguments):
        """Returns a command that runs the program in a separate sandbox, in which it may mount."""
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
        """Runs a program that must succeed, and returns its output."""
        outcome = self.run(program, *arguments)
        if outcome.status != 0:
            raise AssertionError(f"{program} {arguments} ended with {outcome}")
        return outcome.out

    def krctl(self, *arguments, **options):
        return self.run("krctl", *arguments, **options)

    def reindex(self, *options):
        """Runs the tool, and returns the lines that it added to the log."""
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

    # SQLite databases

    def query(self, database, sql, *values):
        """Returns rows of "system.db", "recording.db" or "snapshot.db"; texts are bytes. The connection
        is in another process, so that the database files stay as they are."""
        connection = sqlite.connect(self.root, database)
        try:
            return connection.execute(sql, values).fetchall()
        finally:
            connection.close()

    def row(self, table, **columns):
        """Adds a row and returns its id. Texts may be bytes."""
        marks = ", ".join("CAST(? AS TEXT)" if isinstance(value, bytes) else "?"
                          for value in columns.values())
        (number,), = self.query(
            TABLES[table], f"INSERT INTO {table} ({', '.join(columns)}) VALUES ({marks}) "
            "RETURNING id", *columns.values())
        return number
