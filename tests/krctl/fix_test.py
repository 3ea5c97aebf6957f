"""krctl check --fix: rows are brought up to date with their files, and krctl undo reverses it."""

import fcntl
import os

from support import process
from support.checkcase import FINDINGS, OTHER_HALF_DAY, CheckTest, OnPostgresql
from support.recorder import START_TM

COLUMNS = "id, path, start_tm, end_tm, size, vdo_type, aud_fmt, img_w, img_h"


class Fix(CheckTest):
    def rows(self, table="event", columns=COLUMNS):
        database = "snapshot.db" if table == "snapshot" else "recording.db"
        return self.select(database, f"SELECT {columns} FROM {table} ORDER BY start_tm")

    def select(self, database, sql):
        return [tuple(value.decode() if isinstance(value, bytes) else value for value in row)
                for row in self.recorder.query(database, sql)]

    def do(self, sql):
        self.recorder.query("recording.db", sql)

    def fix(self, types, status=0):
        document = self.check("--fix", types, status=status)
        self.assertEqual(sum(part["fixed"] for part in document["parts"]),
                         len([each for each in document["findings"] if each["fixed"]]))
        return document

    def not_fixed(self, types):
        """The reason why the only finding was not fixed."""
        before = self.rows()
        finding, = self.fix(types, FINDINGS)["findings"]
        self.assertIs(finding["fixed"], False)
        self.assertEqual(self.rows(), before)
        self.assertEqual(len(self.krctl("findings", "--json", status=FINDINGS)
                             .json()["findings"]), 1)
        return finding["reason"]

    def assert_undone(self, run, before):
        self.assertNotEqual(self.rows(), before)
        document = self.krctl("undo", str(run), "--json").json()
        self.assert_matches_schema(document, "undo")
        self.assertEqual(self.rows(), before)

    def append(self, name):
        with open(self.path(name), "ab") as file:
            file.write(b"\0\0\0\x08free")
        self.age_status(name)

    def age_status(self, name):
        self.age(name)
        self.wait_for_next_second(name)

    def test_moved_file(self):
        before = self.rows()
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        document = self.fix("moved")
        changed = list(before[0])
        changed[1] = self.row_path(moved)
        self.assertEqual(self.rows(), [tuple(changed), *before[1:]])
        self.assertEqual(self.found(status=0), [])
        self.krctl("findings")
        self.assert_undone(document["run"], before)
        self.assertEqual([text.split()[-1] for text in self.found()], ["moved"])

    def test_other_size(self):
        before = self.rows()
        self.append(self.names[1])
        document = self.fix("size")
        self.assertEqual(self.rows()[1][4], before[1][4] + 8)
        self.assertEqual(self.found(status=0), [])
        self.assert_undone(document["run"], before)

    def test_other_length_and_codecs(self):
        before = self.rows()
        self.do("UPDATE event SET end_tm = end_tm + 5, vdo_type = 1, img_w = 2, aud_fmt = 'MP3' "
                f"WHERE start_tm = {START_TM + 1}")
        wrong = self.rows()
        document = self.fix("length")
        self.assertEqual(document["levels"], ["names", "containers"])
        self.assertEqual(self.rows(), before)
        self.assertEqual(self.found("--containers", status=0), [])
        self.assert_undone(document["run"], wrong)

    def test_all_that_is_selected_is_fixed_at_once(self):
        before = self.rows()
        self.append(self.names[0])
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        self.do("UPDATE event SET end_tm = end_tm + 5 "
                f"WHERE start_tm = {START_TM}")
        self.fix("moved,size,length")
        self.assertEqual(self.rows()[0], (before[0][0], self.row_path(moved), *before[0][2:4],
                                          before[0][4] + 8, *before[0][5:]))
        self.assertEqual(self.found("--containers", status=0), [])

    def test_what_is_not_selected_stays_a_finding(self):
        before = self.rows()
        self.append(self.names[0])
        document = self.fix("moved", FINDINGS)
        self.assertEqual([finding["fixed"] for finding in document["findings"]], [None])
        self.assertIsNone(document["run"])
        self.assertEqual(self.rows(), before)

    def test_recording_that_can_no_longer_be_read_is_not_fixed(self):
        self.truncate(self.names[0])
        self.assertIn("can't be read now, but could be before", self.not_fixed("size"))

    def test_recording_that_can_no_longer_be_read_keeps_its_length(self):
        before = self.rows()
        self.truncate(self.names[0])
        findings = self.fix("moved,size,length", FINDINGS)["findings"]
        self.assertEqual([(finding["finding"], finding["fixed"]) for finding in findings],
                         [("size", False), ("unreadable", None)])
        self.assertEqual(self.rows(), before)

    def test_moved_recording_that_can_no_longer_be_read_is_not_fixed(self):
        self.truncate(self.names[0])
        self.move(self.names[0], OTHER_HALF_DAY)
        self.assertIn("can't be read now, but could be before", self.not_fixed("moved"))

    def test_file_in_two_other_folders_is_not_fixed(self):
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        third = self.names[0].replace("20140312AM", "20140313AM")
        os.makedirs(os.path.dirname(self.path(third)))
        os.link(self.path(moved), self.path(third))
        self.assertEqual(self.not_fixed("moved"), "several files have this name")

    def test_snapshot_of_another_size(self):
        before = self.rows("snapshot", "id, filename, start_tm, size")
        self.truncate(self.snapshot)
        document = self.fix("size")
        self.assertEqual(self.rows("snapshot", "id, filename, start_tm, size"),
                         [(*before[0][:3], 100)])
        self.krctl("undo", str(document["run"]))
        self.assertEqual(self.rows("snapshot", "id, filename, start_tm, size"), before)

    def test_changed_contents_are_accepted(self):
        for name in self.names:
            self.age(name)
        self.krctl("check", "--contents")
        self.append(self.names[0])
        self.fix("size")
        self.assertEqual([text.split()[-1] for text in self.found("--contents")], ["changed"])
        outcome = self.krctl("check", "--fix", "changed")
        self.assertIn("1 file was changed, and accepted as right.", outcome.out)
        self.assertEqual(self.found("--contents", status=0), [])
        self.krctl("findings")

    def test_no_file_is_changed(self):
        self.append(self.names[0])
        moved = self.move(self.names[1], OTHER_HALF_DAY)
        names = [self.names[0], moved, self.names[2]]
        before = [os.stat(self.path(name)) for name in names]
        self.fix("moved,size,length")
        for name, status in zip(names, before):
            now = os.stat(self.path(name))
            self.assertEqual((now.st_ino, now.st_mtime_ns, now.st_ctime_ns, now.st_size),
                             (status.st_ino, status.st_mtime_ns, status.st_ctime_ns,
                              status.st_size))

    def test_text_names_the_command_that_reverses_it(self):
        self.move(self.names[0], OTHER_HALF_DAY)
        outcome = self.krctl("check", "--fix", "moved")
        self.assertRegex(outcome.out, r"(?m)^fixed: recordings of camera 1 Front: .*: moved: ")
        self.assertIn("1 row brought up to date; to reverse this: krctl undo 2\n", outcome.out)
        self.assertIn("Nothing else found; ", outcome.out)

    def test_runs_list_a_fix_which_is_not_the_last_run(self):
        self.move(self.names[0], OTHER_HALF_DAY)
        self.fix("moved")
        fix, run = self.krctl("runs", "--json").json()["runs"]
        self.assertEqual((fix["purpose"], run["purpose"]), ("fix", "run"))
        self.assertEqual(fix["changes"], [{"kind": "recordings", "added": 0, "removed": 0,
                                           "changed": 1, "undoable": 1}])
        self.assertRegex(self.krctl("runs").out, r"(?m)removed  changed  undoable$")
        self.assertRegex(self.krctl("runs").out, r"(?m)^  2 .*  fix  +recordings +0 +0 +1 +1$")
        self.assertEqual(self.krctl("status", "--json").json()["last"]["run"], 1)
        rows = self.krctl("runs", "2", "--json").json()
        self.assert_matches_schema(rows, "runrows")
        self.assertEqual([(row["change"], row["file"]) for row in rows["rows"]],
                         [("changed", self.row_path(self.names[0]))])
        self.assertEqual(rows["unlisted"], {"added": 0, "removed": 0, "changed": 0})
        self.assertNotIn("changed", [row["change"] for row in
                                     self.krctl("runs", "1", "--json").json()["rows"]])

    def test_undo_reverses_no_later_change(self):
        first = self.rows()
        self.append(self.names[0])
        self.fix("size")
        second = self.rows()
        self.append(self.names[0])
        self.fix("size")
        self.assertIn("the row was changed again", self.krctl("undo", "2", status=1).out)
        self.krctl("undo", "3")
        self.assertEqual(self.rows(), second)
        self.krctl("undo", "2")
        self.assertEqual(self.rows(), first)

    def test_undo_leaves_a_row_that_was_removed_since(self):
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        self.fix("moved")
        os.remove(self.path(moved))
        self.krctl("run")
        before = self.rows()
        self.assertEqual(len(before), 2)
        self.assertIn("the row was removed after it was changed",
                      self.krctl("undo", "2", status=1).out)
        self.assertEqual(self.rows(), before)

    def test_undo_never_takes_the_path_of_another_row(self):
        self.move(self.names[0], OTHER_HALF_DAY)
        self.fix("moved")
        self.recorder.recording(self.storage, START_TM)
        self.do("INSERT INTO event (camera_id, path) VALUES "
                f"(1, '{self.row_path(self.names[0])}')")
        before = self.rows()
        self.assertIn("a newer row exists for its file", self.krctl("undo", "2", status=1).out)
        self.assertEqual(self.rows(), before)

    def test_while_a_run_is_registered_nothing_is_changed(self):
        self.move(self.names[0], OTHER_HALF_DAY)
        before = self.rows()
        with open(self.path("var/db/reindex.lock"), "r+b") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            outcome = self.krctl("check", "--fix", "moved", status=75)
        self.assertIn("nothing was changed", outcome.err)
        self.assertEqual(self.rows(), before)

    def test_killed_fix_leaves_rows_whole_and_can_be_undone(self):
        before = self.rows()
        for name in self.names:
            self.move(name, OTHER_HALF_DAY)
        for call in ("pwrite64", "sendto"):
            for count in (5, 9, 14, 20):
                self.kill_fix(call, count)
                for row, was in zip(self.rows(), before):
                    self.assertIn(row[1], (was[1], was[1].replace("AM", "PM")))
        runs = self.krctl("runs", "--json").json()["runs"]
        for run in runs:
            if run["purpose"] == "fix":
                self.krctl("undo", str(run["run"]))
        self.assertEqual(self.rows(), before)

    def kill_fix(self, call, count):
        command = self.recorder.command("krctl", "check", "--fix", "moved")
        process.run_traced(command, "-o", "/dev/null", "-e", f"trace={call}", "-e",
                           f"inject={call}:signal=KILL:when={count}")

    def test_wrong_type_is_refused(self):
        self.krctl("check", "--fix", "missing", status=64)


class FixOnPostgresql(OnPostgresql, Fix):
    def select(self, database, sql):
        return [tuple(int(value) if value.lstrip("-").isdigit() else value
                      for value in line.split("|"))
                for line in self.server.psql("SET search_path TO kestora", sql).splitlines()]
