"""The recorders that the faults are tried on: made once, brought back for each point."""

import json
import os
import shutil

from injection import calls
from runner import tree
from runner.database import MEDIA_TABLES, TABLES
from runner.given import PACKAGE_ROOT, Given
from runner.sqlite import Sqlite, connect
from runner.then import show_rows

HERE = os.path.dirname(os.path.abspath(__file__))

# Legitimately different from run to run.
UNCOMPARED_COLUMNS = {"recording_count": {"stamp"}}

SETTINGS_FOLDER = os.fsdecode(PACKAGE_ROOT) + "/etc"


class Recorder:
    """What lies within the package's root. Where the rows are, and who is told, is of each kind.

    What a point needs of a recorder is to make it, to bring it back as it was made, and to look at
    it.
    """

    on_server = False
    given = os.path.join(HERE, "../given")
    options = ["-e", "-s", "-r", "-1", "-a", "-1"]

    def __init__(self, bin_dir, media, scratch):
        self.bin_dir, self.media = bin_dir, media
        self.krindexer = [os.path.join(bin_dir, "krindexer"), *self.options]
        self.made = os.path.join(os.fsencode(scratch), b"made")

    def build(self, engine):
        with open(self.given, encoding="utf-8") as file:
            Given(PACKAGE_ROOT, self.media, self.bin_dir, engine).build(file.read())

    def keep(self):
        """What lies there now is what each point begins with."""
        shutil.copytree(PACKAGE_ROOT, self.made, symlinks=True)

    def what_follows(self, _point):
        """What is to be done once the call has failed, where a failure has consequences."""
        return None

    def end(self):
        """Nothing outlives the sandbox that somebody would have to end."""

    def restore(self):
        """As it was made, file times included; the status times are now, before any run's start."""
        for entry in os.scandir(PACKAGE_ROOT):
            shutil.rmtree(entry.path)
        shutil.copytree(self.made, PACKAGE_ROOT, symlinks=True, dirs_exist_ok=True)

    def files(self):
        """Path to a description. The times of what a run makes are its own."""
        entries = tree.without_folder_times(tree.listing(PACKAGE_ROOT))
        return {os.fsdecode(path): {key: value for key, value in entry.items()
                                    if key != "mtime" or not _is_made_by_a_run(path)}
                for path, entry in entries.items()}

    def log(self):
        """All that is left of it, rotated or not."""
        folder, text = os.path.join(PACKAGE_ROOT, b"var/log"), ""
        for name in sorted(os.listdir(folder)):
            with open(os.path.join(folder, name), encoding="utf-8", errors="replace") as file:
                text += file.read()
        return text


class SqliteRecorder(Recorder):
    """On SQLite, all of it within the package's root, and nobody is told."""

    name, title = "sqlite", "SQLite, no broker"
    # There is nobody to talk to.
    tried = tuple(call for call in calls.CALLS if call not in ("sendto", "recvfrom"))

    def __init__(self, bin_dir, media, scratch, _address):
        super().__init__(bin_dir, media, scratch)
        self.copy = os.path.join(os.fsencode(scratch), b"copy")

    def make(self):
        self.build(Sqlite(PACKAGE_ROOT))
        self.keep()

    def rows(self):
        """Table to its rows as (id, the rest), and what other tables tell of the runs. Read from a
        copy: to open a database may mend it."""
        folder = os.path.join(self.copy, b"var/db")
        os.makedirs(folder)
        try:
            for entry in os.scandir(os.path.join(PACKAGE_ROOT, b"var/db")):
                if entry.name.endswith((b".db", b".db-wal")):
                    shutil.copyfile(entry.path, os.path.join(folder, entry.name))
            copy = Sqlite(self.copy)
            return {**{table: rows_of(copy, table) for table in MEDIA_TABLES},
                    "task": copy.select("task", ["registered", "done"]),
                    "told": recordings_in(copy.select("outbox", ["topic", "payload"])),
                    "removed": _removed(self.copy), "words": [], "waiting": [], "delivered": []}
        finally:
            shutil.rmtree(self.copy)


def _is_made_by_a_run(path):
    return b"/@Thumbnail/" in path or path.endswith((b"/outbox.lock", b"/numbers"))


def recordings_in(words):
    """The ids of the recordings that words, as the outbox has them, tell of."""
    return [number for topic, payload in words
            if topic == b"event/list" for number in json.loads(payload)["ids"]]


def _removed(root):
    """Table and id of the rows in the ledger."""
    found = []
    for name in sorted(set(TABLES.values())):
        connection = connect(root, name)
        found += [(kind.decode(), number) for kind, number in
                  connection.execute("SELECT kind, row_id FROM removed")]
        connection.close()
    return found


def rows_of(databases, table):
    """The rows of a table as (id, the rest)."""
    columns, rows = databases.dump(table)
    if columns == ["unreadable"]:
        raise RuntimeError(f"table {table}: {rows[0][0].decode()}")
    left_out = UNCOMPARED_COLUMNS.get(table, set())
    at = [number for number, column in enumerate(columns)
          if column != "id" and column not in left_out]
    ids = columns.index("id") if "id" in columns else None
    return [(None if ids is None else int(row[ids]),
             show_rows([], [[row[number] for number in at]])[1]) for row in rows]
