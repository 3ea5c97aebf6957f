"""Backup sets of the databases, and what a restore brings back and refuses."""

import fcntl
import os
import pathlib
import shutil
import sqlite3
import subprocess
import threading

from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import PACKAGE_ROOT, Recorder

FILES = {"system.db", "recording.db", "snapshot.db", "set", "SHA256SUMS"}


class BackupTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1)
        self.backups = self.folder("backups")

    def folder(self, name, recorder=None):
        """A folder of the recorder; its path as the programs see it."""
        os.makedirs((recorder or self.recorder).path(name))
        return Recorder.inside(name)

    def outside(self, path):
        """The path as the test sees it."""
        return self.recorder.path(os.path.relpath(path, PACKAGE_ROOT))

    def back_up(self, folder=None, **options):
        """Takes a backup; the path of the set."""
        made = self.krctl("backup", "--to", folder or self.backups, "--json", **options).json()
        self.assert_matches_schema(made, "backup")
        return made["sets"][0]["set"] if made["sets"] else None

    def sets(self, folder=None):
        return sorted(os.listdir(self.outside(folder or self.backups)))

    def events(self):
        return self.recorder.query("recording.db", "SELECT id, path FROM event ORDER BY id")


class Backup(BackupTest):
    def test_a_set_is_complete_and_its_checksums_are_right(self):
        made = self.outside(self.back_up())
        self.assertEqual(set(os.listdir(made)), FILES)
        subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"], cwd=made, check=True)
        for name in ("system.db", "recording.db", "snapshot.db"):
            connection = sqlite3.connect(f"file:{made}/{name}?immutable=1", uri=True)
            self.assertEqual(connection.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
            connection.close()

    def test_a_file_of_somebody_in_a_set_is_kept_and_stops_no_backup(self):
        self.recorder.settings("[backup]\nkeep = 1")
        for number in range(4):
            made = self.outside(self.back_up())
            self.assertEqual(os.path.exists(made), True)
            pathlib.Path(made, "notes").write_text(str(number))
        aside = [f"kestora-backup-left-{number}" for number in (1, 2, 3)]
        self.assertEqual(self.sets(), [os.path.basename(made), *aside])
        self.assertEqual([pathlib.Path(self.outside(self.backups), name, "notes").read_text()
                          for name in aside], ["0", "1", "2"])
        listed = self.krctl("backup", "--list", "--to", self.backups, "--json").json()
        self.assertEqual(len(listed["sets"]), 1)

    def test_others_cannot_read_a_set(self):
        made = self.outside(self.back_up())
        for path in (made, *(os.path.join(made, name) for name in os.listdir(made))):
            self.assertEqual(os.stat(path).st_mode & 0o007, 0, path)

    def test_the_databases_are_copied_as_of_one_moment(self):
        """A writer counts in the system database first, then in the recordings': no copy may have
        the second count without the first."""
        stop = threading.Event()

        def count():
            first, second = (
                sqlite3.connect(self.recorder.path(f"var/db/{name}.db"), timeout=60,
                                isolation_level=None) for name in ("system", "recording"))
            number = 0
            while not stop.is_set():
                number += 1
                first.execute("UPDATE camera SET ds_id = ? WHERE id = 1", (number,))
                second.execute("INSERT OR REPLACE INTO event (id, camera_id, path, size) "
                               "VALUES (1, 1, 'count', ?)", (number,))
            first.close()
            second.close()

        writer = threading.Thread(target=count)
        writer.start()
        try:
            counts = []
            for _ in range(15):
                made = self.outside(self.back_up())
                counts.append([self.value(made, "system.db", "SELECT ds_id FROM camera"),
                               self.value(made, "recording.db", "SELECT size FROM event")])
        finally:
            stop.set()
            writer.join()
        self.assertGreater(counts[-1][0], counts[0][0])
        for first, second in counts:
            self.assertIn(first - (second or 0), (0, 1), counts)

    def value(self, made, name, sql):
        connection = sqlite3.connect(f"file:{made}/{name}?immutable=1", uri=True)
        row = connection.execute(sql).fetchone()
        connection.close()
        return row[0] if row else None

    def test_the_newest_sets_are_kept_whatever_the_clock_showed(self):
        self.recorder.settings('[backup]\nfolder = "%s"\nkeep = 2' % self.backups)
        first = self.back_up()
        # As if it had been taken in the future.
        folder, name = os.path.split(self.outside(first))
        os.rename(f"{folder}/{name}", f"{folder}/{name.replace('-2', '-9')}")
        for _ in range(3):
            self.krctl("backup")
        self.assertEqual([name.split("-")[1] for name in self.sets()], ["000003", "000004"])

    def test_what_is_not_a_set_of_this_recorder_is_never_removed(self):
        self.recorder.settings('[backup]\nfolder = "%s"\nkeep = 1' % self.backups)
        damaged = self.back_up()
        os.truncate(os.path.join(self.outside(damaged), "set"), 10)
        other = self.back_up()
        text = pathlib.Path(self.outside(other), "set")
        text.write_text(text.read_text().replace("recorder ", "recorder 0")[:-1])
        os.makedirs(self.outside(self.backups) + "/kestora-holiday")
        for _ in range(2):
            self.krctl("backup")
        self.assertLessEqual({os.path.basename(damaged), os.path.basename(other),
                              "kestora-holiday"}, set(self.sets()))
        self.assertEqual(len(self.sets()), 4)

    def test_a_killed_backups_rest_is_removed_by_the_next_one(self):
        made = self.back_up()
        with open(os.path.join(self.outside(made), "set"), encoding="utf-8") as file:
            recorder = file.read().split("recorder ")[1].split()[0]
        rest = os.path.join(self.outside(self.backups), f".kestora-backup-{recorder}.tmp")
        shutil.copytree(self.outside(made), rest)
        pathlib.Path(rest, "recording.db-journal").touch()
        self.back_up()
        self.assertFalse(os.path.exists(rest))
        self.assertEqual(len(self.sets()), 2)

    def test_a_folder_that_fails_does_not_keep_the_backup_from_the_others(self):
        good, missing = self.backups, Recorder.inside("missing")
        self.recorder.settings('[backup]\nfolder = ["%s", "%s"]' % (missing, good))
        outcome = self.krctl("backup", status=1)
        self.assertIn(f"krctl: {missing}: ", outcome.err)
        self.assertEqual(len(self.sets()), 1)

    def test_a_folder_that_others_may_write_to_is_refused(self):
        os.chmod(self.outside(self.backups), 0o777)
        outcome = self.krctl("backup", "--to", self.backups, status=1)
        self.assertIn("may be written by its group or by others", outcome.err)
        self.assertEqual(self.sets(), [])

    def test_a_damaged_database_makes_no_set(self):
        self.back_up()
        self.damage("recording.db")
        outcome = self.krctl("backup", "--to", self.backups, status=1)
        self.assertIn("recording.db", outcome.err)
        self.assertEqual(len(self.sets()), 1)

    def damage(self, name):
        with open(self.recorder.path(f"var/db/{name}"), "r+b") as file:
            file.seek(4096)
            file.write(b"\xff" * 8192)

    def test_without_a_folder_the_setting_is_named(self):
        self.assertIn("[backup]", self.krctl("backup", status=64).err)


class AfterRun(BackupTest):
    def setUp(self):
        super().setUp()
        self.recorder.settings('[backup]\nfolder = "%s"\nafter_run = true' % self.backups)

    def test_a_run_that_changed_rows_is_followed_by_a_backup(self):
        self.recorder.recording(self.storage)
        self.recorder.do("krindexer", "-r", "-1")
        made, = self.sets()
        connection = sqlite3.connect(
            f"file:{self.outside(self.backups)}/{made}/recording.db?immutable=1", uri=True)
        self.assertEqual(connection.execute("SELECT count(*) FROM event").fetchone(), (1,))
        connection.close()

    def test_a_run_that_changed_no_rows_is_not(self):
        self.krctl("backup")
        self.recorder.do("krindexer", "-r", "-1")
        self.assertEqual(len(self.sets()), 1)

    def test_a_failed_backup_is_reported_until_one_succeeds(self):
        self.recorder.recording(self.storage)
        os.rename(self.outside(self.backups), self.outside(self.backups) + ".gone")
        outcome = self.krctl("run", "-r", "-1", status=1)
        reason = f"{self.backups}: "
        self.assertIn("krctl: the last backup failed: " + reason, outcome.err)
        self.assertEqual(len(self.events()), 1)
        self.assertIn("The last backup failed: " + reason, self.krctl("status").out)
        status = self.krctl("status", "--json").json()
        self.assert_matches_schema(status, "status")
        self.assertTrue(status["backup_failure"].startswith(reason), status)
        self.assertIn(("problem", f"the last backup failed: {status['backup_failure']}"),
                      self.doctor(1))
        self.assertIn("the backup after the run failed", "\n".join(self.recorder.log()))
        os.rename(self.outside(self.backups) + ".gone", self.outside(self.backups))
        self.assertEqual(self.krctl("run", "-r", "-1").status, 0)
        self.assertIsNone(self.krctl("status", "--json").json()["backup_failure"])

    def doctor(self, status=0):
        outcome = self.recorder.krctl("doctor", "--json")
        self.assertEqual(outcome.status, status, outcome)
        return [(check["state"], check["message"]) for check in outcome.json()["checks"]
                if check["check"] == "backup"]

    def test_a_killed_backup_is_reported(self):
        command = self.recorder.command("krctl", "backup")
        process.run_traced(command, "-o", "/dev/null", "-e", "trace=fdatasync,fsync", "-e",
                           "inject=fdatasync,fsync:signal=KILL:when=4")
        self.assertIn("The last backup failed: the last backup was killed",
                      self.krctl("status").out)

    def test_doctor_warns_of_a_missing_an_old_and_a_future_backup(self):
        self.assertIn(("warning", f"{self.backups} holds no backup"), self.doctor())
        made = self.outside(self.back_up())
        states = [state for state, message in self.doctor() if "last backup: " in message]
        self.assertEqual(states, ["ok"])
        text = pathlib.Path(made, "set")
        for taken, expected in ((86400, "days ago"), (2682374400, "in the future")):
            lines = [f"taken {taken}" if line.startswith("taken ") else line
                     for line in text.read_text().splitlines()]
            text.write_text("\n".join(lines) + "\n")
            warnings = [message for state, message in self.doctor() if state == "warning"]
            self.assertIn(expected, warnings[0])

    def test_doctor_warns_of_a_folder_beside_the_databases(self):
        self.assertIn(("warning", f"{self.backups} is on the same file system as the databases"),
                      self.doctor())

    def test_doctor_names_a_folder_that_does_not_exist(self):
        os.rmdir(self.outside(self.backups))
        self.assertEqual([state for state, _ in self.doctor(1)], ["problem"])


class Restore(BackupTest):
    def test_rows_ids_and_the_ledger_come_back(self):
        self.recorder.recording(self.storage)
        self.recorder.row("emap", filename="hall.png")
        self.recorder.row("event", camera_id=1, path="20140312AM/gone.mp4")
        self.recorder.do("krindexer", "-r", "-1")
        tables = ("event", "removed", "run_count")
        before = [self.recorder.query("recording.db", f"SELECT * FROM {table}")
                  for table in tables]
        emaps = self.recorder.query("system.db", "SELECT * FROM emap")
        self.assertEqual([len(rows) for rows in before[:2]], [1, 1])
        made = self.back_up()
        self.recorder.query("recording.db", "DELETE FROM event")
        self.recorder.query("recording.db", "DELETE FROM removed")
        self.recorder.query("system.db", "DELETE FROM emap")
        self.krctl("restore", made)
        self.assertEqual([self.recorder.query("recording.db", f"SELECT * FROM {table}")
                          for table in tables], before)
        self.assertEqual(self.recorder.query("system.db", "SELECT * FROM emap"), emaps)
        self.assertIn("1 restored", self.krctl("undo", "1").out)

    def test_ids_given_since_the_backup_are_not_given_again(self):
        made = self.back_up()
        given = self.recorder.row("event", camera_id=1, path="a")
        self.recorder.do("krindexer", "-r", "-1")
        self.krctl("restore", made)
        self.assertGreater(self.recorder.row("event", camera_id=1, path="b"), given)
        self.recorder.do("krindexer", "-r", "-1")
        self.assertEqual(self.recorder.query("system.db", "SELECT id FROM run"), [(2,)])

    def test_what_is_replaced_can_be_restored(self):
        made = self.back_up()
        self.recorder.row("event", camera_id=1, path="a")
        out = self.krctl("restore", made).out
        self.assertEqual(self.events(), [])
        replaced = next(line for line in out.splitlines() if "replaced" in line).split()[-1]
        self.krctl("restore", replaced)
        self.assertEqual([path for _, path in self.events()], [b"a"])

    def test_a_lost_folder_of_databases_comes_back(self):
        self.recorder.row("event", camera_id=1, path="a")
        made = self.back_up()
        shutil.rmtree(self.recorder.path("var/db"))
        self.krctl("restore", made)
        self.assertEqual([path for _, path in self.events()], [b"a"])

    def test_a_recorder_that_was_set_up_anew_takes_the_backup(self):
        made = self.back_up()
        shutil.rmtree(self.recorder.path("var/db"))
        self.krctl("init")
        self.krctl("restore", made)
        self.assertEqual(self.recorder.query("system.db", "SELECT id FROM camera"), [(1,)])

    def test_a_damaged_database_is_moved_away_and_replaced(self):
        self.recorder.row("event", camera_id=1, path="a")
        made = self.back_up()
        pathlib.Path(self.recorder.path("var/db/recording.db")).write_bytes(b"no database" * 999)
        out = self.krctl("restore", made).out
        self.assertIn("recording.db was damaged", out)
        self.assertEqual([path for _, path in self.events()], [b"a"])
        kept = self.recorder.path("var/db/replaced/files-000001/recording.db")
        self.assertEqual(pathlib.Path(kept).read_bytes(), b"no database" * 999)

    def test_a_damaged_set_is_refused(self):
        made = self.back_up()
        file = pathlib.Path(self.outside(made), "recording.db")
        content = bytearray(file.read_bytes())
        content[5000] ^= 1
        file.write_bytes(content)
        self.refused(made, "damaged")

    def refused(self, made, reason, status=1):
        self.recorder.row("event", camera_id=1, path="a")
        outcome = self.krctl("restore", made, status=status)
        self.assertIn(reason, outcome.err)
        self.assertEqual(len(self.events()), 1)

    def test_another_recorders_set_is_refused(self):
        other = self.new_recorder(self.recorder.path("other"))
        self.addCleanup(other.end)
        self.folder("backups", other)
        other.do("krctl", "backup", "--to", Recorder.inside("backups"))
        made, = os.listdir(other.path("backups"))
        shutil.copytree(other.path(f"backups/{made}"), self.outside(self.backups) + "/" + made)
        self.refused(f"{self.backups}/{made}", "another recorder")

    def test_a_restore_during_a_run_is_refused(self):
        made = self.back_up()
        with open(self.recorder.path("var/db/reindex.lock"), "ab") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.refused(made, "is in progress", status=75)

    def test_half_restored_databases_are_used_by_nobody_until_a_restore_succeeds(self):
        made = self.back_up()
        pathlib.Path(self.recorder.path("var/db/restoring")).touch()
        self.assertNotEqual(self.recorder.run("krindexer", "-r", "-1").status, 0)
        self.assertIn("run krctl restore again", self.krctl("runs", status=74).err)
        self.krctl("restore", made)
        self.assertEqual(self.krctl("runs", status=0).err, "")
        # What an interrupted restore left is no state to go back to.
        self.assertFalse(os.path.exists(self.recorder.path("var/db/replaced")))


class OnPostgresql(KrctlTest):
    def new_recorder(self, root):
        os.mkdir(root)
        return Recorder(root, [f'dsn = "{ServedDatabase().dsn}"'])

    def test_the_servers_own_tools_are_named(self):
        os.makedirs(self.recorder.path("backups"))
        for command in (("backup", "--to", Recorder.inside("backups")),
                        ("restore", Recorder.inside("backups"))):
            self.assertIn("pg_dump", self.krctl(*command, status=3).err)
