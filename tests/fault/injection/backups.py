"""A recorder with backup sets, on which krctl takes a backup or restores a set."""

import os
import sqlite3

from injection import backuppoint, calls, databases
from injection.recorder import SETTINGS_FOLDER, SqliteRecorder
from runner.given import PACKAGE_ROOT
from runner.sqlite import Sqlite

ROOT = os.fsdecode(PACKAGE_ROOT)
FOLDER = ROOT + "/backups"
KEEP = 2


class BackupRecorder(SqliteRecorder):
    """krctl takes the third set, and removes the oldest one."""

    name, title = "backup", "krctl backup"
    trial = backuppoint
    folder = FOLDER
    faults = (*calls.FAULTS, calls.TERMINATED)
    reading_faults = ("EIO", calls.INTERRUPTED, "EIO" + calls.PERMANENT)
    tried = ("openat", "getdents64", "stat", "pread64", "read", "pwrite64", "write", "fsync", "fdatasync",
             "ftruncate", "fallocate", "rename", "unlink", "rmdir", "mkdir", "fcntl", "flock", "mmap",
             "access", "lseek", "close", "random", "fchown")

    def __init__(self, bin_dir, media, scratch, address):
        super().__init__(bin_dir, media, scratch, address)
        self.krindexer, self.krctl = self.command, os.path.join(bin_dir, "krctl")
        self.command = [self.krctl, "backup"]

    @classmethod
    def faults_of(cls, call):
        return cls.reading_faults if call in calls.READING else cls.faults

    def make(self):
        """All three databases differ from the sets. One of them has a log, as a killed process leaves it."""
        self.build(Sqlite(PACKAGE_ROOT))
        os.mkdir(FOLDER)
        with open(SETTINGS_FOLDER + "/kestora.toml", "a", encoding="utf-8") as file:
            file.write(f'[backup]\nfolder = "{FOLDER}"\nkeep = {KEEP}\n')
        for program in ([self.krctl, "backup"], self.krindexer, [self.krctl, "backup"]):
            self.do(program)
        self.change()
        writer = sqlite3.connect(ROOT + "/var/db/recording.db", isolation_level=None)
        writer.execute("UPDATE event SET size = size + 1")
        self.keep()
        writer.close()
        os.unlink(os.path.join(os.fsdecode(self.made), "var/db/recording.db-shm"))

    def change(self):
        for name, sql in (("system", "DELETE FROM emap"), ("snapshot", "DELETE FROM snapshot"),
                          ("recording", "DELETE FROM removed"), ("recording", "DELETE FROM alert_event")):
            connection = sqlite3.connect(f"{ROOT}/var/db/{name}.db", isolation_level=None)
            connection.execute(sql)
            connection.close()

    @staticmethod
    def do(command):
        status = calls.run_program(command)
        if status != 0:
            raise RuntimeError(f"{command} ended with status {status}")

    def sets(self):
        """Returns the names of the sets, oldest first. A set's folder has no other name at any time."""
        return sorted(name for name in os.listdir(FOLDER) if name.startswith("kestora-0"))

    @staticmethod
    def path(name):
        return os.path.join(ROOT, name)

    def databases(self):
        return self.contents(self.path("var/db"))

    def contents(self, folder):
        """Returns the contents of the databases in a folder, read from copies: opening a database repairs it."""
        return databases.contents(folder, os.fsdecode(self.copy))


class RestoreRecorder(BackupRecorder):
    """krctl restores the newest set."""

    name, title = "restore", "krctl restore"
    tried = tuple(call for call in BackupRecorder.tried if call not in ("rmdir",))

    def make(self):
        super().make()
        self.command = [self.krctl, "restore", f"{FOLDER}/{self.sets()[-1]}"]


class DamagedRecorder(RestoreRecorder):
    """krctl restores the newest set over a damaged database."""

    name, title = "restore-damaged", "krctl restore, over a damaged database"
    faults, reading_faults = (calls.KILL, "EIO", "ENOSPC"), ("EIO",)

    def change(self):
        super().change()
        with open(ROOT + "/var/db/snapshot.db", "r+b") as file:
            file.write(b"no database" * 999)
