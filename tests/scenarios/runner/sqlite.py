"""Access to the recorder's databases on SQLite by a second process: rows, locks, commits."""

import os
import sqlite3
import struct

from runner.database import TABLES, UNREADABLE
from runner.systemcalls import is_in_call

TIMEOUT_S = 30

SLEEPS = ("nanosleep", "clock_nanosleep")


def path_of(root, name):
    return os.path.join(os.fsdecode(root), "var/db", name)


def connect(root, name):
    """Connects to an existing database, and never creates one."""
    uri = f"file:{path_of(root, name)}?mode=rw"
    connection = sqlite3.connect(uri, uri=True, timeout=TIMEOUT_S, isolation_level=None)
    connection.text_factory = bytes
    return connection


class Sqlite:
    """The databases of one recorder."""

    name = "sqlite"
    settings = b""  # SQLite is the default
    locked = "database is locked"

    def __init__(self, root):
        self.root = root

    def begin(self):
        """Does nothing, because krctl init creates the files."""

    def end(self):
        pass

    def name_in_log(self, name):
        return f"database {path_of(self.root, name)}"

    def insert(self, table, columns, rows, unchecked):
        """Adds rows. `unchecked` admits what the schema's CHECKs would refuse, as old data may be."""
        connection = self._connection(table)
        connection.execute(f"PRAGMA ignore_check_constraints = {int(unchecked)}")
        for row in rows:
            # Python binds bytes as BLOB. The cast stores them as TEXT, even if they are not UTF-8.
            marks = ["CAST(? AS TEXT)" if isinstance(value, bytes) else "?" for value in row]
            connection.execute(
                f"INSERT INTO {table} ({', '.join(columns)}) VALUES ({', '.join(marks)})", row)
        connection.close()

    def run_script(self, name, script):
        connection = connect(self.root, name)
        connection.executescript(script)
        connection.close()

    def select(self, table, columns):
        """Returns the given columns of all rows."""
        connection = self._connection(table)
        try:
            return connection.execute(f"SELECT {', '.join(columns)} FROM {table}").fetchall()
        finally:
            connection.close()

    def dump(self, table):
        """All columns and rows of a table, or why they can't be read."""
        try:
            connection = self._connection(table)
            try:
                cursor = connection.execute(f"SELECT * FROM {table}")
                return [column[0] for column in cursor.description], cursor.fetchall()
            finally:
                connection.close()
        except sqlite3.Error as error:
            return UNREADABLE, [(str(error).encode(),)]

    def dump_all(self, tables):
        return {table: self.dump(table) for table in tables}

    def hold(self, name, exclusively):
        return Lock(self.root, name, exclusively)

    def writer(self, name):
        return Writer(self.root, name)

    def watch(self, name):
        return CommitWatch(self.root, name)

    def waits(self, pid, _number, locked):
        return waits_for_lock(pid, locked)

    def _connection(self, table):
        """Connects to the table's database; a table that a case created is in system.db."""
        return connect(self.root, TABLES.get(table, "system.db"))


def waits_for_lock(pid, databases):
    """Returns true if the process waits for the lock of one of these databases.

    SQLite sleeps then, with the database open. Without it, the tool may sleep for another reason: a database
    that was written to this moment is read a moment later.
    """
    try:
        opened = {os.path.basename(os.readlink(f"/proc/{pid}/fd/{fd}"))
                  for fd in os.listdir(f"/proc/{pid}/fd")}
    except (FileNotFoundError, ProcessLookupError):  # the process ended, or closed a file
        return False
    return not opened.isdisjoint(databases) and is_in_call(pid, SLEEPS)


class Writer:
    """Another program that writes, without holding a lock."""

    def __init__(self, root, name):
        self.root, self.name = root, name

    def write(self, sql):
        connection = connect(self.root, self.name)
        connection.execute(sql)
        connection.close()


class Lock:
    """A lock on a database, held by the runner as another program."""

    def __init__(self, root, name, exclusively):
        self.connection = connect(root, name)
        if exclusively:  # readers wait too
            self.connection.execute("PRAGMA locking_mode = EXCLUSIVE")
            self.connection.execute("BEGIN EXCLUSIVE")
            self.connection.execute("PRAGMA user_version").fetchall()
        else:
            self.connection.execute("BEGIN IMMEDIATE")

    def write(self, sql):
        """Writes within the lock's transaction; others see the result after the release."""
        self.connection.execute(sql)

    def release(self):
        if self.connection.in_transaction:
            self.connection.execute("COMMIT")
        self.connection.close()


class CommitWatch:
    """Counts the transactions that wrote to a database.

    In the write-ahead log, the last frame of each transaction holds the new size of the database. A reader
    that stays in its transaction prevents the engine from resetting the log.
    """

    def __init__(self, root, name):
        self.wal = path_of(root, name) + "-wal"
        self.connection = connect(root, name)
        self.connection.execute("BEGIN")
        self.connection.execute("SELECT count(*) FROM sqlite_master").fetchall()
        self.before = self._commits()

    def count(self):
        return self._commits() - self.before

    def close(self):
        self.connection.close()

    def _commits(self):
        try:
            with open(self.wal, "rb") as file:
                log = file.read()
        except FileNotFoundError:
            return 0
        if len(log) < 32:
            return 0
        page_size, salts = struct.unpack(">I", log[8:12])[0], log[16:24]
        frames = range(32, len(log) - page_size - 23, page_size + 24)
        return sum(1 for at in frames if log[at + 8:at + 16] == salts
                   and struct.unpack(">I", log[at + 4:at + 8])[0] != 0)
