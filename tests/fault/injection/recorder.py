"""The recorders on which the faults are tried. Each is created once, and restored for each point."""

import json
import os
import shutil

from injection import calls, point
from runner import tree
from runner.database import MEDIA_TABLES, TABLES
from runner.given import PACKAGE_ROOT, Given
from runner.sqlite import Sqlite, connect
from runner.then import show_rows

HERE = os.path.dirname(os.path.abspath(__file__))

# Columns that differ from run to run.
UNCOMPARED_COLUMNS = {"recording_count": {"stamp"}}

SETTINGS_FOLDER = os.fsdecode(PACKAGE_ROOT) + "/etc"


class Recorder:
    """The recorder's files below the package's root. A subclass adds the databases and the broker."""

    on_server = False
    trial = point  # what tries a point
    given = os.path.join(HERE, "../given")
    options = ["-e", "-s", "-r", "-1", "-a", "-1"]

    def __init__(self, bin_dir, media, scratch):
        self.bin_dir, self.media = bin_dir, media
        self.command = [os.path.join(bin_dir, "krindexer"), *self.options]
        self.made = os.path.join(os.fsencode(scratch), b"made")

    @classmethod
    def faults_of(cls, _call):
        """Returns the faults that are tried at the points of a call."""
        return calls.FAULTS

    def build(self, engine):
        with open(self.given, encoding="utf-8") as file:
            Given(PACKAGE_ROOT, self.media, self.bin_dir, engine).build(file.read())

    def keep(self):
        """Saves the present files as the state with which each point begins."""
        shutil.copytree(PACKAGE_ROOT, self.made, symlinks=True)

    def what_follows(self, _point):
        """Returns the function to call after the call has failed; None if there is none."""
        return None

    def end(self):
        """Ends what would outlive the sandbox; here nothing."""

    def restore(self):
        """Restores the saved files with their times. Only the status times are those of now."""
        for entry in os.scandir(PACKAGE_ROOT):
            shutil.rmtree(entry.path)
        shutil.copytree(self.made, PACKAGE_ROOT, symlinks=True, dirs_exist_ok=True)

    def files(self):
        """Returns a description of each file by path, without the times of files that a run creates."""
        entries = tree.without_folder_times(tree.listing(PACKAGE_ROOT))
        return {os.fsdecode(path): {key: value for key, value in entry.items()
                                    if key != "mtime" or not _is_made_by_a_run(path)}
                for path, entry in entries.items()}

    def log(self):
        """Returns the log, including rotated files."""
        folder, text = os.path.join(PACKAGE_ROOT, b"var/log"), ""
        for name in sorted(os.listdir(folder)):
            with open(os.path.join(folder, name), encoding="utf-8", errors="replace") as file:
                text += file.read()
        return text


class SqliteRecorder(Recorder):
    """A recorder on SQLite, entirely within the package's root, without a broker."""

    name, title = "sqlite", "SQLite, no broker"
    # Without a server and a broker the tool makes no connections.
    tried = ("openat", "getdents64", "stat", "pwrite64", "write", "fsync", "fdatasync", "rename", "unlink",
             "rmdir", "mkdir")

    def __init__(self, bin_dir, media, scratch, _address):
        super().__init__(bin_dir, media, scratch)
        self.copy = os.path.join(os.fsencode(scratch), b"copy")

    def make(self):
        self.build(Sqlite(PACKAGE_ROOT))
        self.keep()

    def rows(self):
        """Returns the rows of each table as (id, the rest), the task, the announced recordings, the removed
        rows and the messages. Reads a copy, because opening a database may repair it."""
        folder = os.path.join(self.copy, b"var/db")
        os.makedirs(folder)
        try:
            for entry in os.scandir(os.path.join(PACKAGE_ROOT, b"var/db")):
                if entry.name.endswith((b".db", b".db-wal")):
                    shutil.copyfile(entry.path, os.path.join(folder, entry.name))
            copy = Sqlite(self.copy)
            return {**{table: rows_of(copy, table) for table in MEDIA_TABLES},
                    "task": copy.select("task", ["registered", "done"]),
                    "announced": recordings_in(copy.select("outbox", ["topic", "payload"])),
                    "removed": _removed(self.copy), "messages": [], "queued": [], "delivered": []}
        finally:
            shutil.rmtree(self.copy)


def _is_made_by_a_run(path):
    return b"/@Thumbnail/" in path or path.endswith((b"/outbox.lock", b"/numbers"))


def recordings_in(messages):
    """Returns the ids of the recordings that messages, as (topic, payload), announce."""
    return [number for topic, payload in messages
            if topic == b"event/list" for number in json.loads(payload)["ids"]]


def _removed(root):
    """Returns the table and the id of each row in the ledger."""
    found = []
    for name in sorted(set(TABLES.values())):
        connection = connect(root, name)
        found += [(kind.decode(), number) for kind, number in
                  connection.execute("SELECT kind, row_id FROM removed")]
        connection.close()
    return found


def rows_of(databases, table):
    """Returns the rows of a table as (id, the rest)."""
    columns, rows = databases.dump(table)
    if columns == ["unreadable"]:
        raise RuntimeError(f"table {table}: {rows[0][0].decode()}")
    left_out = UNCOMPARED_COLUMNS.get(table, set())
    at = [number for number, column in enumerate(columns)
          if column != "id" and column not in left_out]
    ids = columns.index("id") if "id" in columns else None
    return [(None if ids is None else int(row[ids]),
             show_rows([], [[row[number] for number in at]])[1]) for row in rows]
