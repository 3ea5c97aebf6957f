"""A backup or a restore that is killed at any system call leaves the last set and the databases whole."""

import collections
import os
import re
import sqlite3
import subprocess

from support import process
from support.case import KrctlTest
from support.recorder import PACKAGE_ROOT, Recorder

# The calls that change files or their names, by all the names that a C library uses.
CALLS = ("pwrite64", "write", "fsync", "fdatasync", "ftruncate", "rename", "renameat", "renameat2", "unlink",
         "unlinkat", "mkdir", "mkdirat", "openat", "rmdir")
MOST = int(os.environ.get("KILLED_POINTS", "3"))  # points of each call, spread evenly


class Killed(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.recorder.camera(1)
        self.recorder.row("event", camera_id=1, path="good")
        os.makedirs(self.recorder.path("backups"))
        self.recorder.settings("[backup]\nkeep = 10000")
        self.good = self.back_up()

    def back_up(self):
        made = self.krctl("backup", "--to", Recorder.inside("backups"), "--json").json()
        return made["sets"][0]["set"]

    def outside(self, path):
        return self.recorder.path(os.path.relpath(path, PACKAGE_ROOT))

    def points(self, *arguments):
        """Traces the command; yields the calls and the numbers at which to kill it."""
        trace = self.recorder.path("trace")
        traced = process.run_traced(self.recorder.command("krctl", *arguments), "-o", trace, "-e",
                                    "trace=" + ",".join(CALLS))
        self.assertEqual(traced.status, 0, traced)
        with open(trace, encoding="utf-8", errors="replace") as file:
            counts = collections.Counter(re.findall(r"^\d+ +(\w+)\(", file.read(), re.M))
        os.remove(trace)
        self.assertGreater(len(counts), 5)
        for call, count in sorted(counts.items()):
            for number in sorted({1 + i * (count - 1) // max(MOST - 1, 1) for i in range(MOST)}):
                yield call, number

    def kill_at(self, call, number, *arguments):
        killed = process.run_traced(self.recorder.command("krctl", *arguments), "-o", "/dev/null",
                                    "-e", f"trace={call}",
                                    "-e", f"inject={call}:signal=KILL:when={number}")
        return killed.status != 0

    def require_whole_sets(self):
        folder = self.recorder.path("backups")
        for name in os.listdir(folder):
            if not name.startswith("."):
                subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"],
                               cwd=os.path.join(folder, name), check=True)

    def require_whole_databases(self):
        for name in ("system", "recording", "snapshot"):
            connection = sqlite3.connect(self.recorder.path(f"var/db/{name}.db"))
            self.assertEqual(connection.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
            connection.close()

    def paths(self):
        return [path for path, in self.recorder.query("recording.db", "SELECT path FROM event")]

    def test_a_backup(self):
        arguments = ("backup", "--to", Recorder.inside("backups"))
        kills = 0
        for call, number in self.points(*arguments):
            with self.subTest(call=call, number=number):
                kills += self.kill_at(call, number, *arguments)
                self.require_whole_sets()
                self.assertTrue(os.path.exists(self.outside(self.good)))
                self.require_whole_databases()
                self.assertEqual(self.paths(), [b"good"])
        self.assertGreater(kills, 20)
        self.good = self.back_up()
        self.assertEqual([name for name in os.listdir(self.recorder.path("backups"))
                          if name.startswith(".")], [])
        self.krctl("restore", self.good)

    def test_a_restore(self):
        self.recorder.query("recording.db", "UPDATE event SET path = 'replaced'")
        kills = 0
        for call, number in self.points("restore", self.good):
            with self.subTest(call=call, number=number):
                self.recorder.query("recording.db", "UPDATE event SET path = 'replaced'")
                kills += self.kill_at(call, number, "restore", self.good)
                self.require_whole_sets()
                self.require_whole_databases()
                self.assertIn(self.paths(), ([b"replaced"], [b"good"]))
        self.assertGreater(kills, 20)
        self.krctl("restore", self.good)
        self.assertEqual(self.paths(), [b"good"])
