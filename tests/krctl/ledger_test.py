"""The rows in the ledger and the numbers of runs, with wrong clocks and lost or restored databases."""

import fcntl
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import time

import server
from runner.postgresql import Postgresql
from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import START_TM, Recorder

YEAR_S = 365 * 86400
TO_1970_S = -int(time.time()) + 86400
KEEP_S = 90 * 86400
F_OFD_SETLK = 37  # missing in the module fcntl


class Sqlite:
    """Reads and writes rows of the recorder, and copies its databases."""

    databases = ("system", "recording", "snapshot")

    def __init__(self, recorder):
        self.recorder = recorder

    def rows(self, database, sql):
        return [[str(cell) for cell in row]
                for row in self.recorder.query(f"{database}.db", sql)]

    def do(self, database, sql):
        self.recorder.query(f"{database}.db", sql)

    def _files(self, database):
        folder = self.recorder.path("var/db")
        return [os.path.join(folder, name) for name in os.listdir(folder)
                if name.startswith(f"{database}.db")]

    def copy(self, database):
        return {path: pathlib.Path(path).read_bytes() for path in self._files(database)}

    def restore(self, database, copy):
        self.lose(database)
        for path, content in copy.items():
            with open(path, "wb") as file:
                file.write(content)

    def lose(self, database):
        for path in self._files(database):
            os.remove(path)


class OnPostgresql:
    """All tables are in one database, and are lost and restored together."""

    databases = ("recorder",)

    def __init__(self):
        self.server = ServedDatabase()
        self.engine = Postgresql(self.server.dsn, "kestora")

    def rows(self, _database, sql):
        return [line.split("|") for line in
                self.server.psql("SET search_path TO kestora", sql).splitlines()]

    def do(self, _database, sql):
        self.engine.run(sql + ";")

    def copy(self, _database):
        return subprocess.run(
            [os.path.join(server.bin_dir(), "pg_dump"), "-d", self.server.dsn, "--schema",
             "kestora"], env=server.without_pg_variables(), stdout=subprocess.PIPE,
            check=True).stdout

    def restore(self, database, copy):
        self.lose(database)
        subprocess.run([os.path.join(server.bin_dir(), "psql"), "-q", "-d", self.server.dsn, "-v",
                        "ON_ERROR_STOP=1"], env=server.without_pg_variables(), input=copy,
                       stdout=subprocess.DEVNULL, check=True)

    def lose(self, _database):
        self.server.psql("DROP SCHEMA kestora CASCADE")


class LedgerTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.engine = self.new_engine()
        self.recorder.volume()
        self.recorder.camera(1)

    def new_engine(self):
        return Sqlite(self.recorder)

    def add_rows(self):
        """Adds a row without a file to each database."""
        self.rows_added = getattr(self, "rows_added", 0) + 1
        name = f"gone{self.rows_added}"
        for database, sql in (
                ("recording", f"INSERT INTO event (camera_id, path) VALUES (1, '{name}')"),
                ("snapshot", f"INSERT INTO snapshot (filename) VALUES ('{name}')"),
                ("system", f"INSERT INTO emap (filename) VALUES ('{name}')")):
            self.engine.do(database, sql)
        return name

    def run_tool(self, *jobs, shift_s=0):
        """Runs the tool with a clock that is wrong by `shift_s`."""
        environment = {**os.environ, "LD_PRELOAD": self.clockfake(), "CLOCKFAKE_S": str(shift_s),
                       "ASAN_OPTIONS": "verify_asan_link_order=0"}  # the sanitizer is loaded second
        outcome = self.recorder.run("krindexer", *(jobs or ("-r", "-1", "-s", "-e")),
                                    env=environment)
        self.assertEqual(outcome.status, 0, outcome)

    @classmethod
    def clockfake(cls):
        return os.path.join(Recorder.bin_dir, "../lib/clockfake.so")

    def removal(self, **options):
        """Runs the tool so that it removes a row of each kind; returns the number of the run."""
        self.add_rows()
        self.run_tool(**options)
        return self.newest_run()

    def newest_run(self):
        (number,), = self.engine.rows("system", "SELECT max(id) FROM run")
        return int(number)

    def kept(self, database="recording"):
        kind = {"recording": "event", "snapshot": "snapshot", "system": "emap"}[database]
        return [int(run) for (run,) in self.engine.rows(
            database, f"SELECT run FROM removed WHERE kind = '{kind}' ORDER BY id")]

    def all_kept(self):
        return [self.kept(database) for database in ("recording", "snapshot", "system")]

    def assert_no_number_twice(self):
        """Asserts that no two runs with removed rows have the same number."""
        for kept in self.all_kept():
            self.assertEqual(len(set(kept)), len(kept), self.all_kept())

    def lose(self, database):
        self.engine.lose(database)
        self.krctl("init")
        if not self.engine.rows("system", "SELECT id FROM camera"):
            self.recorder.do("krctl", "camera", "adopt", self.recorder.inside("volume1"))


class Clock(LedgerTest):
    def test_of_1970_and_of_later_years_empties_no_ledger(self):
        self.assertEqual(self.removal(shift_s=TO_1970_S), 1)
        self.removal()
        self.removal(shift_s=30 * YEAR_S)
        for shift_s in (TO_1970_S, 30 * YEAR_S, 0, 60 * YEAR_S, TO_1970_S, 0):
            self.run_tool(shift_s=shift_s)
        self.assertEqual(self.all_kept(), [[1, 2, 3]] * 3)
        parts = self.engine.rows("system", "SELECT count(DISTINCT run) FROM run_part")
        self.assertEqual(parts, [["9"]])

    def test_is_wrong_for_the_program(self):
        """Proves that the test above tests something."""
        self.run_tool(shift_s=30 * YEAR_S)
        (start,), = self.engine.rows("system", "SELECT start_tm FROM run")
        self.assertGreater(int(start), time.time() + 29 * YEAR_S)

    def test_that_was_ahead_once_stops_no_expiry(self):
        self.removal(shift_s=30 * YEAR_S)
        self.let_pass(KEEP_S)
        self.run_tool()
        self.assertEqual(self.all_kept(), [[], [], []])

    def test_is_not_what_a_healthy_recorder_expires_by(self):
        self.removal()
        for _ in range(3):
            self.let_pass(KEEP_S / 3)
            self.assertEqual(self.all_kept(), [[1], [1], [1]])
            self.run_tool()
        self.assertEqual(self.all_kept(), [[], [], []])

    def let_pass(self, seconds):
        """Makes the ledger older by time of this boot, which only the kernel counts."""
        for database in self.engine.databases:
            self.engine.do(database, f"UPDATE ledger_age SET uptime_s = uptime_s - {seconds:.0f}")


class Numbers(LedgerTest):
    def after_loss(self, database):
        self.removal()
        self.removal()
        self.run_tool("-e")  # changes nothing
        before = self.newest_run()
        self.lose(database)
        self.assertGreater(self.removal(), before)
        self.assertGreater(self.removal(), before + 1)
        self.assert_no_number_twice()

    def test_continue_after_the_loss_of_any_database(self):
        for database in self.engine.databases:
            with self.subTest(database):
                self.after_loss(database)

    def test_continue_after_any_database_was_restored(self):
        for database in self.engine.databases:
            with self.subTest(database):
                self.removal()
                copy = self.engine.copy(database)
                self.removal()
                self.run_tool("-e")
                before = self.newest_run()
                self.engine.restore(database, copy)
                self.assertGreater(self.removal(), before)
                self.assert_no_number_twice()

    def test_are_not_used_twice_by_two_runs_at_once(self):
        runs = [self.started("krindexer", "-o", "-e") for _ in range(8)]
        for run in runs:
            self.assertEqual(run.wait(process.DEADLINE_S), 0)
        self.assertEqual(self.engine.rows("system", "SELECT count(DISTINCT id) FROM run"), [["8"]])

    def test_of_a_restored_recorder_are_not_those_of_its_newer_messages(self):
        """A receiver drops a message whose id it has seen."""
        ids = []
        for database in self.engine.databases:
            copy = self.engine.copy(database)
            for _ in range(2):
                self.run_tool("-a", "1")
                ids += self.outbox()
            self.engine.restore(database, copy)
            self.run_tool("-a", "1")
            self.assertGreater(min(self.outbox()[-1:]), max(ids))
            ids += self.outbox()
            self.lose(database)
            self.run_tool("-a", "1")
            self.assertGreater(min(self.outbox()), max(ids) if database in (
                "recording", "recorder") else 0)
            ids += self.outbox()

    def outbox(self):
        return [int(number) for (number,) in
                self.engine.rows("recording", "SELECT id FROM outbox ORDER BY id")]


class LostNote(LedgerTest):
    def test_continue_if_their_note_is_lost_too(self):
        for others in (("system",), ("system", "recording"), ("system", "snapshot")):
            with self.subTest(others):
                self.removal()
                before = self.newest_run()
                os.remove(self.recorder.path("var/db/numbers"))
                for database in others:
                    self.lose(database)
                self.assertGreater(self.removal(), before)
                self.assert_no_number_twice()

    def test_continue_if_their_note_was_restored_with_the_runs(self):
        note = self.recorder.path("var/db/numbers")
        self.removal()
        shutil.copy(note, note + ".old")
        copy = self.engine.copy("system")
        for _ in range(3):
            self.add_rows()
            self.run_tool("-r", "-1", "-s")
        before = self.newest_run()
        self.engine.restore("system", copy)
        os.replace(note + ".old", note)
        self.add_rows()
        self.run_tool("-r", "-1", "-s")
        self.assertGreater(self.newest_run(), before)
        self.assert_no_number_twice()
        self.assertNotIn("error", "".join(self.recorder.log()[-6:]))

    def test_of_a_run_that_changes_nothing_are_in_no_database(self):
        note = self.recorder.path("var/db/numbers")
        self.run_tool("-e")
        shutil.copy(note, note + ".old")
        copy = self.engine.copy("system")
        self.removal()
        self.engine.restore("system", copy)
        os.replace(note + ".old", note)
        self.run_tool("-e")
        self.assertEqual(self.newest_run(), 3)

    def test_are_assigned_although_a_database_cannot_be_read(self):
        self.removal()
        with open(self.recorder.path("var/db/recording.db"), "r+b") as file:
            file.write(b"?" * 4096)
        self.run_tool("-e")
        self.assertEqual(self.newest_run(), 2)


class OtherRun(LedgerTest):
    """Of a number that was used again after system.db and the note of numbers were restored, when
    another database is put back as it was before."""

    def setUp(self):
        super().setUp()
        note = self.recorder.path("var/db/numbers")
        self.run_tool("-e")
        old = {database: self.engine.copy(database) for database in self.engine.databases}
        shutil.copy(note, note + ".old")
        self.removal()
        newer = self.engine.copy("recording")
        for database, copy in old.items():
            self.engine.restore(database, copy)
        os.replace(note + ".old", note)
        self.assertEqual(self.removal(), 2)
        self.engine.restore("recording", newer)

    def listed(self):
        document = self.krctl("runs", "--json").json()
        self.assert_matches_schema(document, "runs")
        return [run for run in document["runs"] if run["run"] == 2]

    def test_is_listed_as_another_run(self):
        record, other = self.listed()
        self.assertNotEqual(record["identity"], other["identity"])
        self.assertEqual([change["kind"] for change in record["changes"]], ["snapshots", "e-maps"])
        self.assertEqual((other["start"], other["changes"]),
                         (None, [{"kind": "recordings", "added": 0, "removed": 1, "changed": 0,
                                  "undoable": 1}]))
        self.assertIn("another run, record lost, " + other["identity"], self.krctl("runs").out)

    def test_is_undone_by_its_identity_only(self):
        other = self.listed()[1]["identity"]
        self.assertEqual(
            self.krctl("undo", "2").out,
            "snapshots: 1 restored\ne-maps: 1 restored\nnot restored: 1 row of another run 2, whose "
            f"record was lost; to restore them: krctl undo 2 --identity {other}\n")
        self.assertEqual(self.all_kept(), [[2], [], []])
        document = self.krctl("undo", "2", "--json").json()
        self.assert_matches_schema(document, "undo")
        self.assertEqual(document["other_runs"], [{"identity": other, "undoable": 1}])
        self.assertEqual(self.krctl("undo", "2", "--identity", other).out, "recordings: 1 restored\n")
        self.assertEqual(self.all_kept(), [[], [], []])

    def test_is_named_if_no_record_shows_which_one_is_meant(self):
        self.engine.do("system", "DELETE FROM run WHERE id = 2")
        identities = [run["identity"] for run in self.listed()]
        message = self.krctl("undo", "2", status=1).err
        self.assertIn("there are 2 runs 2", message)
        for identity in identities:
            self.assertIn(identity, message)
        self.assertEqual(self.all_kept(), [[2], [2], [2]])

    def test_of_an_unknown_identity_is_refused(self):
        self.assertIn("there is no run 2 with the identity 0123456789abcdef",
                      self.krctl("undo", "2", "--identity", "0123456789abcdef", status=64).err)

    def test_expires_as_any_other(self):
        Clock.let_pass(self, KEEP_S)
        self.run_tool()
        self.assertEqual(self.all_kept(), [[], [], []])


class Identity(LedgerTest):
    def test_is_on_the_record_and_with_the_changes(self):
        self.removal()
        self.removal()
        tokens = [token for (token,) in
                  self.engine.rows("system", "SELECT token FROM run ORDER BY id")]
        self.assertEqual(len(set(tokens)), 2)
        for database in ("recording", "snapshot", "system"):
            self.assertEqual(
                [token for (token,) in self.engine.rows(
                    database, "SELECT token FROM run_count GROUP BY run, token ORDER BY run")],
                tokens)

    def test_decides_what_is_undone(self):
        self.removal()
        self.engine.do("recording", "UPDATE run_count SET token = 7 WHERE kind = 'event'")
        self.assertNotIn("recordings", self.krctl("undo", "1").out.split("not restored")[0])
        self.assertEqual(self.krctl("undo", "1", "--identity", "0000000000000007").out,
                         "recordings: 1 restored\n")

    def test_leaves_no_age_if_all_rows_were_restored(self):
        self.removal()
        self.krctl("undo", "1")
        for database in self.engine.databases:
            self.assertEqual(self.engine.rows(database, "SELECT run FROM removal_age"), [])

    def test_leaves_the_age_if_a_row_was_not_restored(self):
        self.removal()
        self.engine.do("recording", "INSERT INTO event (camera_id, path) VALUES (1, 'gone1')")
        self.krctl("undo", "1", status=1)
        self.assertEqual(self.engine.rows("recording", "SELECT run FROM removal_age"), [["1"]])


class IdentityOnPostgresql(Identity):
    def new_engine(self):
        return self.postgresql

    def new_recorder(self, root):
        self.postgresql = OnPostgresql()
        os.mkdir(root)
        return Recorder(root, [f'dsn = "{self.postgresql.server.dsn}"'])


class ClockOnPostgresql(Clock):
    new_engine = IdentityOnPostgresql.new_engine
    new_recorder = IdentityOnPostgresql.new_recorder


class NumbersOnPostgresql(Numbers):
    new_engine = IdentityOnPostgresql.new_engine
    new_recorder = IdentityOnPostgresql.new_recorder


class LostRecord(LedgerTest):
    def test_of_a_run_leaves_it_listed_and_undoable(self):
        self.removal()
        self.lose("system")
        document = self.krctl("runs", "--json").json()
        self.assert_matches_schema(document, "runs")
        run, = document["runs"]
        self.assertEqual((run["run"], run["start"], run["end"]), (1, None, None))
        self.assertIn("record lost", self.krctl("runs").out)
        self.assertIn("recordings: 1 restored", self.krctl("undo", "1").out)


class Failures(LedgerTest):
    """Failures around a run are in its record."""

    def newest(self):
        return self.krctl("runs", "--json").json()["runs"][0]

    def test_to_record_its_beginning_are_the_runs(self):
        self.recorder.settings("[database]\nlock_timeout_ms = 2000")
        holder = self.holder("system")
        run = self.started("krindexer", "-o", "-e")
        process.until(lambda: any("[error]" in line for line in self.recorder.log()),
                      "nothing failed")
        holder.stdin.write(b"ROLLBACK;\n.quit\n")
        holder.stdin.flush()
        holder.wait(process.DEADLINE_S)
        self.assertEqual(run.wait(process.DEADLINE_S), 0)
        self.assertGreaterEqual(self.newest()["failures"], 1)
        self.assertIsNotNone(self.newest()["end"])

    def holder(self, database):
        """Starts a process that holds a write transaction on a database."""
        holder = subprocess.Popen(
            [*process.WITH_TEST, "sqlite3", self.recorder.path(f"var/db/{database}.db")],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(process.end, holder)
        self.addCleanup(holder.stdin.close)
        holder.stdin.write(b"BEGIN IMMEDIATE;\nSELECT 'held';\n")
        holder.stdin.flush()
        self.assertEqual(holder.stdout.readline(), b"held\n")
        return holder

    def test_to_record_its_end_are_the_commands(self):
        self.engine.do("system", "CREATE TRIGGER refuse BEFORE UPDATE OF end_tm ON run "
                                 "BEGIN SELECT RAISE(ABORT, 'refused by the test'); END")
        outcome = self.krctl("run", "-e", status=1)
        self.assertIn("the end of the run could not be recorded", outcome.err)
        self.assertIn("unfinished", outcome.out)

    def test_that_come_after_its_end_are_the_runs(self):
        name = self.recorder.recording("volume1/cam1")
        self.engine.do("recording", "INSERT INTO event (id, camera_id, path) VALUES (1, 1, '" +
                       name.removeprefix("volume1/cam1/") + "')")
        self.engine.do("recording", "INSERT INTO unannounced (id, camera_id) VALUES (1, 1)")
        self.engine.do("recording", "CREATE TRIGGER refuse BEFORE INSERT ON outbox "
                                    "BEGIN SELECT RAISE(ABORT, 'refused by the test'); END")
        self.assertIn("1 failure", self.krctl("run", "-r", "-1", status=1).out)
        self.assertEqual(self.newest()["failures"], 1)

    def test_to_record_a_part_are_repaired_when_the_run_ends(self):
        self.engine.do("system", "CREATE TRIGGER refuse BEFORE INSERT ON run_part WHEN NOT EXISTS "
                                 "(SELECT 1 FROM task WHERE done = 1) "
                                 "BEGIN SELECT RAISE(ABORT, 'refused by the test'); END")
        self.krctl("run", status=1)
        (kinds,), = self.engine.rows("system", "SELECT count(DISTINCT kind) FROM run_part")
        self.assertEqual(kinds, "4")
        self.assertGreaterEqual(self.newest()["failures"], 1)


class Undo(LedgerTest):
    def test_of_rows_whose_ids_are_in_use_names_them(self):
        self.removal()
        self.engine.do("recording", "INSERT INTO event (id, camera_id, path) VALUES (1, 1, 'b')")
        outcome = self.krctl("undo", "1", "--json", status=1)
        self.assert_matches_schema(outcome.json(), "undo")
        self.assertEqual(outcome.json()["kinds"][0], {
            "kind": "recordings", "restored": 0, "not_restored": [
                {"row": 1, "camera": 1, "file": "gone1", "reason": "another row has its id"}]})
        outcome = self.krctl("undo", "1", status=1)
        self.assertEqual(outcome.out.splitlines(), [
            "recordings: 0 restored, 1 not restored",
            "not restored: recordings: row 1, gone1 of camera 1: another row has its id"])
        self.assertEqual(self.kept(), [1])
        self.engine.do("recording", "DELETE FROM event")
        self.assertEqual(self.krctl("undo", "1").out, "recordings: 1 restored\n")
        self.assertEqual(self.krctl("undo", "1", "--kind", "recordings").out,
                         "run 1 removed 1 matching row, but none is left to restore: restored "
                         "before, or expired\n")

    def test_of_a_run_that_removed_nothing_says_so(self):
        self.removal()
        self.run_tool("-r", "-1")
        for options in ([], ["--dry-run"]):
            self.assertEqual(self.krctl("undo", "2", *options).out,
                             "run 2 removed no rows: nothing to restore\n")
        self.assertEqual(self.krctl("undo", "1", "--kind", "alert-recordings").out,
                         "run 1 removed no matching rows: nothing to restore\n")
        document = self.krctl("undo", "2", "--json").json()
        self.assert_matches_schema(document, "undo")
        self.assertEqual((document["removed"], document["kinds"]), (0, []))

    def test_as_a_dry_run_shows_what_would_be_restored_and_changes_nothing(self):
        for name in ("a", "b", "c"):
            self.engine.do("recording", "INSERT INTO event (camera_id, path, start_tm) "
                                        f"VALUES (1, '{name}', 1394590500)")
        self.run_tool("-r", "-1")
        self.engine.do("recording", "INSERT INTO event (camera_id, path) VALUES (1, 'b')")
        before = self.all_kept()
        log = self.recorder.log()
        outcome = self.krctl("undo", "1", "--dry-run", status=1)
        self.assertEqual((outcome.out.splitlines(), outcome.err), ([
            "recordings: 2 would be restored, 1 not",
            "not restored: recordings: row 2, b of camera 1: a newer row exists for its file"], ""))
        planned = self.krctl("undo", "1", "--dry-run", "--json", status=1).json()
        self.assert_matches_schema(planned, "undo")
        self.assertEqual((self.all_kept(), self.recorder.log()), (before, log))
        undone = self.krctl("undo", "1", "--json", status=1).json()
        self.assertEqual((planned.pop("dry_run"), undone.pop("dry_run")), (True, False))
        self.assertEqual(planned, undone)

    def test_as_a_dry_run_knows_that_a_file_is_restored_only_once(self):
        """A run removed a file's row twice, as another program had added it again."""
        self.removal()
        columns = ("run, removed_tm, kind, ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, "
                   "aud_fmt, img_w, img_h")
        self.engine.do("recording", f"INSERT INTO removed (row_id, {columns}) SELECT row_id + 7, "
                                    f"{columns} FROM removed WHERE kind = 'event'")
        planned = self.krctl("undo", "1", "--dry-run", "--json", status=1).json()
        undone = self.krctl("undo", "1", "--json", status=1).json()
        self.assertEqual(planned["kinds"], undone["kinds"])
        self.assertEqual(len(planned["kinds"][0]["not_restored"]), 1)

    def test_as_a_dry_run_needs_no_lock(self):
        self.removal()
        with open(self.recorder.path("var/db/reindex.lock"), "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertEqual(self.krctl("undo", "1", "--dry-run", "--kind", "e-maps").out,
                             "e-maps: 1 would be restored\n")

    def test_of_no_row_corrects_no_counts(self):
        """So that a concurrent writer causes no failure."""
        self.removal()
        self.engine.do("recording", "INSERT INTO event (id, camera_id, path) VALUES (1, 1, 'b')")
        self.refuse_counts()
        outcome = self.krctl("undo", "1", "--kind", "recordings", status=1)
        self.assertEqual((outcome.out.splitlines()[0], outcome.err),
                         ("recordings: 0 restored, 1 not restored", ""))
        self.assertEqual(self.recorder.log(), self.log_before)

    def test_shows_what_was_restored_though_the_counts_are_not_corrected(self):
        for name in ("a", "b"):
            self.engine.do("recording", "INSERT INTO event (camera_id, path, start_tm) "
                                        f"VALUES (1, '{name}', 1394590500)")
        self.run_tool("-r", "-1")
        self.engine.do("recording", "INSERT INTO event (id, camera_id, path) VALUES (1, 1, 'c')")
        self.refuse_counts()
        outcome = self.krctl("undo", "1", status=1)
        self.assertEqual(outcome.out.splitlines(), [
            "recordings: 1 restored, 1 not restored",
            "not restored: recordings: row 1, a of camera 1: another row has its id"])
        self.assertRegex(outcome.err, "^krctl: the recording counts could not be corrected; .*log")

    def test_names_in_json_that_the_counts_are_not_corrected(self):
        self.engine.do("recording", "INSERT INTO event (camera_id, path, start_tm) "
                                    "VALUES (1, 'a', 1394590500)")
        self.run_tool("-r", "-1")
        self.refuse_counts()
        outcome = self.krctl("undo", "1", "--json", status=1)
        self.assert_matches_schema(outcome.json(), "undo")
        self.assertEqual(outcome.json()["kinds"],
                         [{"kind": "recordings", "restored": 1, "not_restored": []}])
        failure, = outcome.json()["failures"]
        self.assertIn("the recording counts could not be corrected", failure)

    def refuse_counts(self):
        self.engine.do("recording", "DROP TABLE recording_count")
        self.log_before = self.recorder.log()

    def test_is_refused_during_another_undo(self):
        self.removal()
        descriptor = os.open(self.recorder.path("var/db/reindex.lock"), os.O_RDONLY)
        self.addCleanup(os.close, descriptor)
        fcntl.flock(descriptor, fcntl.LOCK_EX)
        self.assertEqual(self.krctl("undo", "1", status=75).err,
                         "krctl: an undo, a fix, an adoption, a restore or the removal of a camera is in progress: "
                         "nothing is restored before it has ended\n")
        mark = struct.pack("hhqqi", fcntl.F_WRLCK, os.SEEK_SET, 0, 1, 0)
        writer = os.open(self.recorder.path("var/db/reindex.lock"), os.O_RDWR)
        self.addCleanup(os.close, writer)
        fcntl.fcntl(writer, F_OFD_SETLK, mark)
        self.assertEqual(self.krctl("undo", "1", status=75).err,
                         "krctl: a run is in progress: nothing is restored before it has ended\n")

    def test_without_a_trusted_log_is_refused_with_status_78(self):
        self.removal()
        os.remove(self.recorder.path("var/log/kestora.log"))
        for make, unmake in (
                (lambda log: os.chmod(os.path.dirname(log), 0o777),
                 lambda log: os.chmod(os.path.dirname(log), 0o750)),
                (os.mkfifo, os.remove), (os.mkdir, os.rmdir),
                (lambda log: os.symlink("/dev/null", log), os.remove)):
            log = self.recorder.path("var/log/kestora.log")
            make(log)
            outcome = self.krctl("undo", "1", status=78)
            unmake(log)
            self.assertEqual(outcome.out, "")
            self.assertRegex(outcome.err, "krctl: nothing is logged: .*/var/log")
            self.assertEqual(self.all_kept(), [[1], [1], [1]])
        self.krctl("undo", "1")

    def test_with_invalid_settings_is_refused_with_status_78(self):
        self.removal()
        settings = self.recorder.path("etc/kestora.toml")
        before = pathlib.Path(settings).read_bytes()
        with open(settings, "ab") as file:
            file.write(b"[x]\n")
        self.krctl("undo", "1", status=78)
        pathlib.Path(settings).write_bytes(before)
        self.assertEqual(self.all_kept(), [[1], [1], [1]])


class UndoOnPostgresql(Undo):
    new_engine = IdentityOnPostgresql.new_engine
    new_recorder = IdentityOnPostgresql.new_recorder


class RowsOfRun(LedgerTest):
    """The rows that a run added and removed, listed by krctl runs RUN."""

    def listed(self, run):
        document = self.krctl("runs", str(run), "--json").json()
        self.assert_matches_schema(document, "runrows")
        self.assertEqual(document["run"]["run"], run)
        return document

    def changes(self, run):
        return [(row["change"], row["kind"], row["row"], row["removed_by"])
                for row in self.listed(run)["rows"]]

    def ranges(self, database="recording"):
        return self.engine.rows(database, "SELECT run, first_id, last_id FROM added "
                                          "WHERE kind = 'event' ORDER BY run, first_id")

    def add_recordings(self, *numbers):
        return [self.recorder.recording("volume1/cam1", START_TM + number) for number in numbers]

    def test_are_listed_one_by_one(self):
        self.add_rows()
        files = [os.path.relpath(name, "volume1/cam1") for name in self.add_recordings(1, 2, 3)]
        self.recorder.snapshot()
        self.run_tool()
        document = self.listed(1)
        self.assertEqual(document["unlisted"], {"added": 0, "removed": 0, "changed": 0})
        self.assertCountEqual([row["file"] for row in document["rows"]
                               if (row["change"], row["kind"]) == ("added", "recordings")], files)
        self.assertEqual(sorted(self.changes(1)), [
            ("added", "recordings", 2, None), ("added", "recordings", 3, None),
            ("added", "recordings", 4, None), ("added", "snapshots", 2, None),
            ("removed", "e-maps", 1, None), ("removed", "recordings", 1, None),
            ("removed", "snapshots", 1, None)])
        lines = self.krctl("runs", "1").out.splitlines()
        names = {row["row"]: row["file"] for row in document["rows"] if row["change"] == "added"}
        self.assertIn(f"added\trecordings\t1\t4\t{names[4]}", lines)
        self.assertIn("removed\te-maps\t-\t1\tgone1", lines)
        self.assertRegex(lines[7], "^run +start ")

    def test_are_recorded_as_ranges(self):
        self.add_recordings(*range(1, 6))
        self.run_tool("-r", "1")
        self.assertEqual(self.ranges(), [["1", "1", "5"]])
        self.assertEqual(len(self.changes(1)), 5)

    def test_that_were_removed_later_name_the_run(self):
        first, _ = self.add_recordings(1, 2)
        self.run_tool("-r", "1")
        os.remove(self.recorder.path(first))
        self.run_tool("-r", "1")
        (_, _, left, by), (_, _, gone, remover) = self.changes(1)
        self.assertEqual(({left, gone}, by, remover), ({1, 2}, None, 2))
        self.assertEqual(self.changes(2), [("removed", "recordings", gone, None)])
        self.assertIn("\tremoved by run 2\n", self.krctl("runs", "1").out)

    def test_that_are_not_on_record_are_counted(self):
        self.add_recordings(1, 2)
        self.add_rows()
        self.run_tool()
        self.engine.do("recording", "DELETE FROM event WHERE id = 2")
        self.krctl("undo", "1", "--kind", "e-maps")
        self.assertEqual(self.listed(1)["unlisted"], {"added": 1, "removed": 1, "changed": 0})
        out = self.krctl("runs", "1").out
        self.assertIn("not listed: 1 row added by the run: removed by another program, or expired\n",
                      out)
        self.assertIn("not listed: 1 row removed by the run: restored, or expired\n", out)

    def test_expire_with_the_parts_of_their_run(self):
        self.add_recordings(1)
        self.run_tool("-r", "1")
        self.add_recordings(2)
        self.run_tool("-r", "1")
        self.engine.do("system", "DELETE FROM run_part WHERE run < 2")
        self.add_recordings(3)
        self.run_tool("-r", "1")
        self.assertEqual([run for run, *_ in self.ranges()], ["2", "3"])
        self.assertEqual(self.listed(1)["unlisted"], {"added": 1, "removed": 0, "changed": 0})

    def test_of_an_unknown_run_or_with_options_of_the_list_are_refused(self):
        self.assertIn("there is no run 7", self.krctl("runs", "7", status=64).err)
        self.run_tool("-e")
        for options in (("--limit", "1"), ("--since", "1d")):
            self.assertIn("can't be used with", self.krctl("runs", "1", *options, status=64).err)
        self.assertIn("--identity", self.krctl("runs", "--identity", "0" * 16, status=64).err)


class RowsOfRunOnPostgresql(RowsOfRun):
    new_engine = IdentityOnPostgresql.new_engine
    new_recorder = IdentityOnPostgresql.new_recorder

    def test_leave_out_ids_that_other_programs_took_in_between(self):
        self.engine.do("", "CREATE FUNCTION take() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                           "PERFORM nextval('event_id_seq'); RETURN NEW; END $$")
        self.engine.do("", "CREATE TRIGGER take BEFORE INSERT ON event FOR EACH ROW "
                           "WHEN (NEW.id IN (2, 5)) EXECUTE FUNCTION take()")
        self.add_recordings(*range(1, 7))
        self.run_tool("-r", "1")
        self.assertEqual(self.ranges(), [["1", "1", "2"], ["1", "4", "5"], ["1", "7", "8"]])
        self.engine.do("", "INSERT INTO event (id, camera_id, path) VALUES (3, 2, 'other')")
        self.assertEqual([row for _, _, row, _ in self.changes(1)], [1, 2, 4, 5, 7, 8])


class InterruptedUndo(LedgerTest):
    """Interrupted by a server that stops at a batch."""

    new_engine = IdentityOnPostgresql.new_engine

    def new_recorder(self, root):
        self.postgresql = OnPostgresql()
        os.mkdir(root)
        return Recorder(root, [f'dsn = "{self.postgresql.server.dsn}"',
                               "statement_timeout_ms = 3000"])

    def test_keeps_the_first_failure_and_says_that_the_last_batch_is_unknown(self):
        self.removal()
        self.engine.do("", "CREATE FUNCTION delay() RETURNS trigger LANGUAGE plpgsql AS "
                           "$$ BEGIN PERFORM pg_sleep(60); RETURN NEW; END $$")
        self.engine.do("", "CREATE TRIGGER delay BEFORE INSERT ON event "
                           "FOR EACH ROW EXECUTE FUNCTION delay()")
        undo = self.started("krctl", "undo", "1", stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        backend = int(process.until(self.sleeping_backend, "no row was restored"))
        os.kill(backend, signal.SIGSTOP)
        self.addCleanup(os.kill, backend, signal.SIGCONT)
        out, err = undo.communicate(timeout=process.DEADLINE_S)
        self.assertEqual((undo.returncode, out), (1, b""))
        first = err.decode().splitlines()[0]
        self.assertIn("; at least 0 rows were restored; the outcome of the last batch is unknown",
                      first)
        self.assertNotIn("not tried", first)

    def sleeping_backend(self):
        found = self.engine.rows(
            "", "SELECT pid FROM pg_stat_activity "
                "WHERE wait_event = 'PgSleep' AND datname = current_database()")
        return found[0][0] if found else None
