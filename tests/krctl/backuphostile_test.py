"""Backups and restores in hostile surroundings: full disks, wrong clocks, other users, edited sets."""

import hashlib
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import sys
import threading

from support import process
from support.case import KrctlTest
from support.recorder import PACKAGE_ROOT, Recorder

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../fault"))

from injection import databases  # noqa: E402 (the path above comes first)

BACKUPS = Recorder.inside("backups")
DATABASES = ("system", "recording", "snapshot")
OTHER_USER = 4711
RESTRICTED = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]
RUN_IN_PROGRESS = 75


class BackupCase(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1)
        os.mkdir(self.recorder.path("backups"))
        self.recorder.row("event", camera_id=1, path="20140312AM/first.mp4")

    def outside(self, path):
        return self.recorder.path(os.path.relpath(path, PACKAGE_ROOT))

    def back_up(self, *options, folder=BACKUPS, **how):
        made = self.krctl("backup", "--to", folder, "--json", *options, **how).json()["sets"]
        return made[0]["set"] if made else None

    def sets(self):
        return sorted(os.listdir(self.recorder.path("backups")))

    def listed(self, status=0):
        found = self.krctl("backup", "--list", "--to", BACKUPS, "--json", status=status).json()
        self.assert_matches_schema(found, "backup")
        return [each["set"] for each in found["sets"]], {each["folder"]: each["reason"]
                                                         for each in found["failures"]}

    def contents(self, folder="var/db"):
        return databases.contents(self.recorder.path(folder), self.recorder.path("copy"))

    def edit(self, made, name, old, new):
        """Edits the description or a database of a set, and its checksum."""
        path = pathlib.Path(self.outside(made), name)
        if name == "set":
            text = path.read_text()
            self.assertRegex(text, old)
            path.write_text(re.sub(old, new, text))
        else:
            connection = sqlite3.connect(path)
            connection.execute(old, new)
            connection.commit()
            connection.close()
        self.sign(made)

    def sign(self, made):
        folder = pathlib.Path(self.outside(made))
        names = [*(f"{name}.db" for name in DATABASES), "set"]
        (folder / "SHA256SUMS").write_text("".join(
            f"{hashlib.sha256((folder / name).read_bytes()).hexdigest()}  {name}\n" for name in names))

    def refused(self, made, *reasons, status=1):
        before = self.contents()
        outcome = self.krctl("restore", made, status=status)
        for reason in reasons:
            self.assertIn(reason, outcome.err)
        self.assertEqual(self.contents(), before)
        self.assertFalse(os.path.exists(self.recorder.path("var/db/replaced")))
        self.krctl("runs")


class FullDisk(BackupCase):
    def shell(self, script, *arguments):
        sandbox, root, krctl = self.recorder.command("krctl")
        return process.run([sandbox, root, "sh", "-c", script, krctl, *arguments])

    def test_of_one_folder_does_not_prevent_the_others_and_leaves_nothing(self):
        os.mkdir(self.recorder.path("full"))
        os.mkdir(self.recorder.path("full-later"))
        folders = [Recorder.inside(name) for name in ("full", "missing", "full-later", "backups")]
        self.recorder.settings("[backup]\nfolder = %s" % json.dumps(folders))
        outcome = self.shell('mount -t tmpfs -o size=8k,mode=700 none "$1" && '
                             'mount -t tmpfs -o size=200k,mode=700 none "$2" && "$0" backup --json; '
                             'status=$?; ls -A "$1" "$2" >&2; exit $status', folders[0], folders[2])
        self.assertEqual(outcome.status, 1, outcome)
        made, = outcome.json()["sets"]
        self.assertEqual(os.path.dirname(made["set"]), BACKUPS)
        reasons = {each["folder"]: each["reason"] for each in outcome.json()["failures"]}
        self.assertEqual(list(reasons), folders[:3])
        for folder in (folders[0], folders[2]):
            self.assertRegex(reasons[folder], "full|No space left")
        self.assertIn("does not exist", reasons[folders[1]].replace("No such file", "does not exist"))
        self.assertIn(f"{folders[0]}:\n\n{folders[2]}:\n", outcome.err)
        self.assertEqual(databases.problems_of_set(self.outside(made["set"])), [])
        self.assertIn(f"{folders[0]}: ", self.krctl("status").out)

    def test_leaves_the_databases_as_they_were_or_restored(self):
        made = self.back_up()
        restored = self.contents()
        for table, columns in (("event", {"camera_id": 1, "path": "b"}), ("snapshot", {"filename": "b"}),
                               ("emap", {"filename": "b"})):
            self.recorder.row(table, **columns)
        before = self.contents()
        os.rename(self.recorder.path("var/db"), self.recorder.path("kept"))
        os.mkdir(self.recorder.path("var/db"))
        size_kib = sum(os.stat(self.recorder.path(f"kept/{name}.db")).st_size for name in DATABASES) // 1024
        states = []
        for more_kib in range(64, 4 * size_kib + 1400, 72):
            with self.subTest(more_kib=more_kib):
                states.append(self.restored_with(size_kib + more_kib, made, before, restored))
        self.assertEqual(set(states), {False, True})

    def restored_with(self, size_kib, made, before, restored):
        """Restores on a disk of this size. Returns true if it was restored; otherwise nothing is changed."""
        shutil.rmtree(self.recorder.path("left"), ignore_errors=True)
        outcome = self.shell('mount -t tmpfs -o size="$1k",mode=750 none "$3/var/db" && cp "$3/kept/"*.db '
                             '"$3/var/db" && "$0" restore "$2"; status=$?; cp -r "$3/var/db" "$3/left"; '
                             'umount "$3/var/db"; exit $status', str(size_kib), made, PACKAGE_ROOT)
        self.assertIn(outcome.status, (0, 1, 74), outcome)
        left = os.listdir(self.recorder.path("left"))
        self.assertNotIn("restoring", left)
        self.assertEqual([name for name in left if name.startswith("restoring")], [])
        now = self.contents("left")
        self.assertIn(now, (before, restored))
        if now == before:
            self.assertRegex(outcome.err, "full|No space left|disk I/O error")
        return now == restored


class Clock(BackupCase):
    YEARS = {1970: -1795000000, 2055: 900000000, 1990: -1160000000}

    def at(self, year):
        """The environment of a program whose clock shows that year."""
        return {**os.environ, "LD_PRELOAD": os.path.join(Recorder.bin_dir, "../lib/clockfake.so"),
                "CLOCKFAKE_S": str(self.YEARS[year]), "ASAN_OPTIONS": "verify_asan_link_order=0"}

    def test_does_not_decide_which_set_is_the_newest(self):
        self.recorder.settings("[backup]\nkeep = 2")
        taken = [self.back_up(env=self.at(year)) for year in (2055, 1970, 1990)] + [self.back_up()]
        years = [os.path.basename(made).split("-")[2][:4] for made in taken]
        self.assertEqual((years[0][:3], years[1][:2], years[2][:3]), ("205", "19", "199"))
        self.assertEqual(self.listed()[0], [taken[3], taken[2]])
        self.assertEqual(self.sets(), [os.path.basename(made) for made in taken[2:]])

    def test_does_not_decide_whether_a_set_can_be_restored(self):
        for year in self.YEARS:
            made = self.back_up(env=self.at(year))
            before = self.contents()
            self.recorder.row("event", camera_id=1, path=str(year))
            self.krctl("restore", made)
            self.assertEqual(self.contents(), before)


class Sets(BackupCase):
    def test_the_set_just_taken_is_kept_whatever_numbers_others_have(self):
        self.recorder.settings("[backup]\nkeep = 1")
        old = self.back_up()
        self.edit(old, "set", r"number \d+", "number 7")
        os.rename(self.outside(old), self.recorder.path("backups/kestora-copied"))
        made = self.back_up()
        self.assertEqual(self.sets(), [os.path.basename(made)])
        self.edit(made, "set", r"number \d+", f"number {10 ** 12}")
        outcome = self.krctl("backup", "--to", BACKUPS, status=1)
        self.assertIn("has the highest possible number", outcome.err)
        self.assertEqual(self.sets(), [os.path.basename(made)])

    def test_the_set_just_taken_has_the_highest_number(self):
        old = self.back_up()
        self.edit(old, "set", r"number \d+", "number 7")
        os.rename(self.outside(old), self.recorder.path("backups/kestora-copied"))
        made = self.back_up()
        self.assertEqual(self.listed()[0], [made, f"{BACKUPS}/kestora-copied"])

    def test_hostile_names_in_the_folder_are_neither_sets_nor_in_the_way(self):
        folder = pathlib.Path(self.recorder.path("backups"))
        names = ["kestora-", "kestora-999999999999999999999-x", "kestora--7", "kestora-000009-\n\x1b[31m",
                 "kestora-" + "x" * 247, "kestora-\udcff", "-rf", "kestora-999999998-20550101T000000Z"]
        for name in names:
            (folder / name).mkdir()
        os.mkfifo(folder / "kestora-000012-20261123T000000Z")
        (folder / "kestora-000013-20261123T000000Z").symlink_to("/nowhere")
        made = [self.back_up() for _ in range(3)]
        self.assertEqual(self.listed()[0], made[::-1])
        for name in names:
            self.assertTrue((folder / name).is_dir())

    def test_a_set_that_cannot_be_read_is_named(self):
        good, fifo, cut = (self.back_up() for _ in range(3))
        os.unlink(self.outside(fifo) + "/set")
        os.mkfifo(self.outside(fifo) + "/set")
        os.truncate(self.outside(cut) + "/set", 30)
        sets, failures = self.listed(status=1)
        self.assertEqual(sets, [good])
        self.assertEqual(set(failures), {fifo, cut})
        self.assertIn("not a regular file", failures[fifo])
        self.assertIn("not the description of a backup set", failures[cut])
        self.recorder.settings(f'[backup]\nfolder = "{BACKUPS}"')
        messages = [check["message"] for check in self.recorder.krctl("doctor", "--json").json()["checks"]]
        for made in (fifo, cut):
            self.assertTrue(any(message.startswith(f"{made} can't be used: ") for message in messages))
            self.assertTrue(os.path.exists(self.outside(made)))

    def test_a_set_that_is_a_link_is_not_listed_or_removed_but_can_be_restored(self):
        self.recorder.settings("[backup]\nkeep = 1")
        made = self.back_up()
        os.rename(self.outside(made), self.recorder.path("elsewhere"))
        os.symlink(Recorder.inside("elsewhere"), self.outside(made))
        newest = [self.back_up() for _ in range(2)][-1]
        self.assertEqual(self.sets(), sorted([os.path.basename(made), os.path.basename(newest)]))
        self.assertEqual(databases.problems_of_set(self.recorder.path("elsewhere")), [])
        before = self.contents()
        self.recorder.row("event", camera_id=1, path="b")
        self.krctl("restore", made)
        self.assertEqual(self.contents(), before)

    def test_a_link_in_the_path_of_the_folder_is_followed_if_only_root_could_have_made_it(self):
        os.symlink(Recorder.inside("backups"), self.recorder.path("link"))
        made = self.back_up(folder=Recorder.inside("link"))
        before = self.contents()
        self.recorder.row("event", camera_id=1, path="b")
        self.krctl("restore", made)
        self.assertEqual(self.contents(), before)
        os.mkdir(self.recorder.path("open"))
        os.chmod(self.recorder.path("open"), 0o777)
        os.symlink(Recorder.inside("backups"), self.recorder.path("open/link"))
        for arguments in (("backup", "--to", Recorder.inside("open/link")),
                          ("restore", Recorder.inside("open/link/") + os.path.basename(made))):
            self.assertIn("open may be written by", self.krctl(*arguments, status=1).err)

    def test_what_cannot_be_removed_is_named_and_removed_by_the_next_backup(self):
        self.recorder.settings("[backup]\nkeep = 1")
        self.back_up()
        command = self.recorder.command("krctl", "backup", "--to", BACKUPS)
        outcome = process.run_traced(command, "-o", "/dev/null", "-e", "trace=unlinkat",
                                     "-e", "inject=unlinkat:error=EIO:when=1+")
        self.assertEqual(outcome.status, 1, outcome)
        self.assertRegex(outcome.err, f"can't remove {BACKUPS}/.kestora-backup-.*/SHA256SUMS: Input/output")
        self.assertEqual(len([name for name in self.sets() if not name.startswith(".")]), 1)
        self.back_up()
        self.assertEqual(len(self.sets()), 1)

    def test_something_else_under_the_name_of_an_unfinished_set_is_moved_aside(self):
        recorder = pathlib.Path(self.outside(self.back_up()), "set").read_text().split()[4]
        for number, make in enumerate((lambda path: path.write_text("mine"),
                                       lambda path: path.symlink_to("/nowhere")), 1):
            make(pathlib.Path(self.recorder.path("backups"), f".kestora-backup-{recorder}.tmp"))
            outcome = self.recorder.krctl("backup", "--to", BACKUPS)
            self.assertEqual(outcome.status, 1, outcome)
            self.assertIn(f"it is now in kestora-backup-left-{number}", outcome.err)
            self.assertTrue(os.path.lexists(self.recorder.path(f"backups/kestora-backup-left-{number}")))
            self.assertEqual(len(self.listed()[0]), number + 1)


    def test_a_backup_removes_what_a_killed_restore_left(self):
        for name in ("recording.db", "recording.db-wal", "reserve"):
            pathlib.Path(self.recorder.path(f"var/db/restoring.tmp.{name}")).touch()
        self.back_up()
        self.assertEqual([name for name in os.listdir(self.recorder.path("var/db"))
                          if name.startswith("restoring")], [])

    def test_a_set_with_a_damaged_database_is_not_up_to_date(self):
        for content in (b"", b"no database" * 999):
            pathlib.Path(self.outside(self.back_up()), "recording.db").write_bytes(content)
            self.assertIsNotNone(self.back_up("--if-changed"))
            self.assertIsNone(self.back_up("--if-changed"))


class EditedSet(BackupCase):
    def test_of_a_newer_format_is_refused_with_the_remedy(self):
        made = self.back_up()
        self.edit(made, "set", "kestora backup 1", "kestora backup 2\nshards 3")
        self.refused(made, "format 2", "newer version of krctl", "use the newer krctl")
        self.assertIn("newer version of krctl", self.listed(status=1)[1][made])

    def test_of_another_schema_is_refused_with_the_remedy(self):
        for version, what in ((2, "newer version 2"), (0, "older version 0")):
            made = self.back_up()
            self.edit(made, "set", "schema 1", f"schema {version}")
            self.refused(made, "has tables of version 1, but the description")
            for name in DATABASES:
                self.edit(made, f"{name}.db", f"PRAGMA user_version = {version}", ())
            self.refused(made, what, "restore it with the krctl that took it")

    def test_of_another_recorder_is_refused_though_the_description_says_otherwise(self):
        made = self.back_up()
        self.edit(made, "system.db", "UPDATE recorder SET uuid = ?", ("0" * 8 + "-0000-4000-8000-" + "0" * 12,))
        self.refused(made, "is that of another recorder")

    def test_with_other_databases_than_described_is_refused(self):
        self.recorder.row("event", camera_id=9, path="20140312AM/gone.mp4")
        self.recorder.do("krindexer", "-r", "-1")
        for name, what in (("run", "run 1"), ("outbox", "message ")):
            made = self.back_up()
            if name == "outbox":
                self.edit(made, "recording.db", "INSERT OR REPLACE INTO sqlite_sequence (name, seq) "
                          "VALUES ('outbox', ?)", (77,))
            self.edit(made, "set", rf"\n{name} \d+\n", f"\n{name} 0\n")
            self.refused(made, "holds the " + what, "says that the highest is 0")

    def test_with_swapped_databases_is_refused(self):
        made = self.back_up()
        folder = self.outside(made)
        os.rename(f"{folder}/snapshot.db", f"{folder}/x")
        os.rename(f"{folder}/recording.db", f"{folder}/snapshot.db")
        os.rename(f"{folder}/x", f"{folder}/recording.db")
        self.refused(made, "is damaged: its SHA-256")
        self.sign(made)
        self.refused(made, "database ")

    def test_without_one_of_its_files_is_refused(self):
        for name in ("system.db", "SHA256SUMS", "set"):
            made = self.back_up()
            os.unlink(f"{self.outside(made)}/{name}")
            self.refused(made, f"{made}/{name}")

    def test_whose_files_others_may_write_is_refused(self):
        made = self.back_up()
        os.chmod(self.outside(made) + "/recording.db", 0o666)
        self.refused(made, "may be written by its group or by others")


class AnotherUser(BackupCase):
    def setUp(self):
        super().setUp()
        if os.geteuid() != 0:
            self.skipTest("needs root to become another user")

    def test_owns_the_set(self):
        made = self.back_up()
        for name in ("recording.db", ""):
            os.chown(os.path.join(self.outside(made), name), OTHER_USER, OTHER_USER)
            self.refused(made, f"belongs to user {OTHER_USER}")

    def test_owns_the_folder(self):
        os.chown(self.recorder.path("backups"), OTHER_USER, OTHER_USER)
        self.assertIn(f"belongs to user {OTHER_USER}", self.krctl("backup", "--to", BACKUPS, status=1).err)
        self.assertEqual(self.sets(), [])

    def restricted(self, *arguments):
        sandbox, root, krctl = self.recorder.command("krctl")
        return process.run([sandbox, root, *RESTRICTED, krctl, *arguments])

    def test_a_set_that_may_not_be_read_is_refused(self):
        made = self.back_up()
        before = self.contents()
        for name in ("recording.db", "set", "."):
            os.chmod(os.path.join(self.outside(made), name), 0)
            outcome = self.restricted("restore", made)
            self.assertEqual(outcome.status, 1, outcome)
            self.assertIn("Permission denied", outcome.err)
            self.assertEqual(self.contents(), before)
        listed = self.restricted("backup", "--list", "--to", BACKUPS)
        self.assertEqual(listed.status, 1)
        self.assertIn(f"{made}: ", listed.err)

    def test_a_folder_that_may_not_be_written_gets_no_set(self):
        os.chmod(self.recorder.path("backups"), 0o500)
        outcome = self.restricted("backup", "--to", BACKUPS)
        self.assertEqual(outcome.status, 1)
        self.assertIn(f"krctl: {BACKUPS}: can't ", outcome.err)
        self.assertIn("Permission denied", outcome.err)
        self.assertEqual(self.sets(), [])


class Beside(BackupCase):
    """Programs that run during a backup or a restore."""

    def stopped(self, *arguments, until):
        """Starts krctl and stops it when the file exists."""
        running = self.started("krctl", *arguments, stdout=process.subprocess.DEVNULL)
        process.until(lambda: list(pathlib.Path(self.recorder.root).glob(until)), f"{until} never existed")
        os.kill(running.pid, signal.SIGSTOP)
        self.assertIsNone(running.poll())
        return running

    def ends(self, running, status=0):
        os.kill(running.pid, signal.SIGCONT)
        self.assertEqual(running.wait(process.DEADLINE_S), status)

    def fill(self, rows=60000):
        """Makes the recordings' database so large that its copy takes a while."""
        self.recorder.query("recording.db", "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                            "WHERE i < ?) INSERT INTO event (camera_id, path) SELECT 1, '20140312AM/' || "
                            "hex(randomblob(60)) || i FROM n", rows)

    def test_recording_goes_on_while_a_backup_hangs(self):
        self.fill()
        running = self.stopped("backup", "--to", BACKUPS, until="backups/.kestora-backup-*.tmp/recording.db")
        self.assertEqual(self.listed()[0], [])
        for name, sql in (("system", "INSERT INTO emap (filename) VALUES ('b')"),
                          ("recording", "INSERT INTO event (camera_id, path) VALUES (1, 'b')"),
                          ("snapshot", "INSERT INTO snapshot (filename) VALUES ('b')")):
            connection = sqlite3.connect(self.recorder.path(f"var/db/{name}.db"), timeout=0, isolation_level=None)
            connection.execute(sql)
            connection.close()
        self.krctl("backup", "--to", BACKUPS, status=RUN_IN_PROGRESS)
        self.recorder.do("krindexer", "-e")
        self.ends(running)
        made, = self.listed()[0]
        self.assertEqual(databases.problems_of_set(self.outside(made)), [])
        rows = sqlite3.connect(self.outside(made) + "/recording.db").execute(
            "SELECT count(*) FROM event WHERE path = 'b'").fetchall()
        self.assertEqual(rows, [(0,)])

    def test_neither_a_run_nor_a_backup_starts_during_a_restore(self):
        self.fill()
        made = self.back_up()
        restored = self.contents()
        self.recorder.query("recording.db", "DELETE FROM event")
        running = self.stopped("restore", made, until="var/db/restoring.tmp.recording.db")
        self.assertIn("in progress", self.krctl("run", "-r", "-1", status=RUN_IN_PROGRESS).err)
        self.assertIn("in progress", self.krctl("backup", "--to", BACKUPS, status=RUN_IN_PROGRESS).err)
        self.krctl("restore", made, status=RUN_IN_PROGRESS)
        self.ends(running)
        self.assertEqual(self.contents(), restored)
        self.assertEqual(len(self.listed()[0]), 1)

    def test_a_restore_does_not_start_during_a_backup(self):
        self.fill()
        made = self.back_up()
        running = self.stopped("backup", "--to", BACKUPS, until="backups/.kestora-backup-*.tmp/recording.db")
        before = self.contents()
        self.assertIn("another backup or a restore is in progress", self.krctl("restore", made, status=RUN_IN_PROGRESS).err)
        self.assertEqual(self.contents(), before)
        self.ends(running)

    def test_no_id_that_is_given_during_a_restore_is_given_again(self):
        self.fill(3000)
        made = self.back_up()
        given, stop = [], threading.Event()

        def give():
            connection = sqlite3.connect(self.recorder.path("var/db/recording.db"), timeout=60,
                                         isolation_level=None)
            while not stop.is_set():
                given.extend(number for number, in connection.execute(
                    "INSERT INTO event (camera_id, path) VALUES (1, ?) RETURNING id", (f"{len(given)}",)))
            connection.close()

        writer = threading.Thread(target=give)
        writer.start()
        try:
            for _ in range(5):
                self.krctl("restore", made)
        finally:
            stop.set()
            writer.join()
        self.assertGreater(len(given), 20)
        self.assertEqual(len(set(given)), len(given))

    def test_a_set_taken_during_a_run_lacks_the_changes_after_it(self):
        """The backup after the run is not skipped because a set has the run's number."""
        self.back_up()
        self.recorder.recording(self.storage)
        self.recorder.do("krindexer", "-r", "-1")
        made = self.back_up()
        # As if this set had been taken when the run had begun but not yet added the row.
        for name in DATABASES:
            self.edit(made, f"{name}.db", "DELETE FROM run_count", ())
        self.assertIsNotNone(self.back_up("--if-changed"))
        self.assertIsNone(self.back_up("--if-changed"))
