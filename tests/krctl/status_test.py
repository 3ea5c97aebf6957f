"""krctl status and krctl runs."""

import os
import re
import sqlite3

from support import process
from support.terminal import Terminal
from run_test import RunTest


class Status(RunTest):
    def running(self):
        return self.krctl("status", "--json").json()["running"]

    def run_in_background(self):
        """Starts a run in the background, without waiting for the end of its output."""
        parent = self.started("krindexer", "-n", "-r", "1")
        self.assertEqual(parent.wait(process.DEADLINE_S), 0)

    def test_of_a_recorder_without_runs(self):
        self.assertEqual(self.krctl("status").out,
                         "No run in progress. No run on record.\n")
        document = self.krctl("status", "--json").json()
        self.assert_matches_schema(document, "status")
        self.assertEqual(document, {"schema": "krctl.status/1",
                                    "in_progress": False, "unknown_because": None,
                                    "running": None, "last": None, "backup_failure": None})

    def test_shows_the_result_of_the_last_run(self):
        self.lose_volume()
        self.krctl("run", status=3)
        outcome = self.krctl("status")
        self.assertIn("No run in progress. Last run, ", outcome.out)
        self.assertIn("run 1: 2 refusals", outcome.out)
        document = self.krctl("status", "--json").json()
        self.assert_matches_schema(document, "status")
        self.assertEqual(document["last"]["total"]["refusals"], 2)

    def test_shows_a_run_in_the_background(self):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        self.run_in_background()
        live = process.until(lambda: (found := self.running()) and found["files"] and found,
                             "no run began")
        self.assert_matches_schema({"schema": "krctl.status/1",
                                    "in_progress": True, "unknown_because": None,
                                    "running": live, "last": None, "backup_failure": None},
                                   "status")
        self.assertEqual((live["kind"], live["camera"], live["files"]), ("recordings", 1, 1))
        outcome = self.krctl("status")
        release()
        self.assertRegex(outcome.out, rf"A run is in progress, process {live['pid']}, since ")
        self.assertIn("recordings of camera 1 Front  1 file  +0 -0", outcome.out)
        process.until(lambda: not self.running(), "the run never ended")

    def test_sees_a_run_that_waits_to_be_registered(self):
        holder = sqlite3.connect(self.recorder.path("var/db/system.db"), isolation_level=None)
        self.addCleanup(holder.close)
        holder.execute("BEGIN IMMEDIATE")
        running = self.started("krindexer", "-e")
        process.until(self.running, "the run that holds the lock is not seen")
        holder.execute("ROLLBACK")
        self.assertEqual(running.wait(process.DEADLINE_S), 0)
        self.assertIn("No run in progress.", self.krctl("status").out)

    def test_sees_an_unregistered_run_that_waits_to_be_recorded(self):
        self.assertIn("No run in progress.", self.krctl("status").out)
        holder = sqlite3.connect(self.recorder.path("var/db/system.db"), isolation_level=None)
        self.addCleanup(holder.close)
        holder.execute("BEGIN IMMEDIATE")
        running = self.started("krindexer", "-o", "-e")
        said = "Could not determine whether a run is in progress: a krindexer that is not registered"
        process.until(lambda: said in self.recorder.run("krctl", "status").out,
                      "the run is not seen")
        holder.execute("ROLLBACK")
        self.assertEqual(running.wait(process.DEADLINE_S), 0)
        self.assertIn("No run in progress.", self.krctl("status").out)

    def test_shows_a_killed_run_as_unfinished(self):
        release = self.hold_up()
        running = self.started("krindexer", "-r", "1")
        live = process.until(lambda: (found := self.running()) and found["run"] and found,
                             "no run began")
        os.kill(live["pid"], 9)
        running.wait(process.DEADLINE_S)
        release()
        self.assertIn("run 1: unfinished", self.krctl("status").out)

    def test_sees_a_run_whose_open_files_are_hidden_from_it(self):
        """As those of another user or namespace: /proc doesn't list them."""
        release = self.hold_up()
        running = self.started("krindexer", "-r", "1")
        process.until(self.running, "no run began")
        sandbox, root, *command = self.recorder.command("krctl", "status")
        elsewhere = process.run([sandbox, root, "unshare", "--user", "--map-root-user", *command])
        self.assertEqual((elsewhere.status, elsewhere.err), (0, ""))
        self.assertIn("A run is in progress, process ", elsewhere.out)
        metrics = process.run([sandbox, root, "unshare", "--user", "--map-root-user",
                               command[0], "metrics"])
        self.assertIn("\nkestora_reindex_running 1\n", metrics.out)
        release()
        self.assertEqual(running.wait(process.DEADLINE_S), 0)

    def test_says_that_it_could_not_determine_whether_a_run_is_in_progress(self):
        self.krctl("run")
        lock = self.recorder.path("var/db/reindex.lock")
        os.rename(lock, lock + ".away")
        os.symlink(lock + ".away", lock)
        outcome = self.krctl("status", status=1)
        self.assertRegex(outcome.out, r"^Could not determine whether a run is in progress: can't open "
                                      r"the file \S+/reindex\.lock: it is a symbolic link\. "
                                      r"Last run, ")
        self.assertNotIn("No run", outcome.out)
        document = self.krctl("status", "--json", status=1).json()
        self.assert_matches_schema(document, "status")
        self.assertEqual((document["in_progress"], document["running"], document["last"]["run"]),
                         (None, None, 1))
        self.assertIn("symbolic link", document["unknown_because"])
        self.assertNotIn("kestora_reindex_running", self.krctl("metrics").out)
        self.assertIn("kestora_reindex_last_run_id 1", self.krctl("metrics").out)
        self.assertIn("Could not determine", self.krctl("status", "--watch", status=1).out)
        self.assertRegex(self.krctl("plan").out,
                         r"(?m)^Could not determine whether a run is in progress: .*symbolic link$")
        self.assertIsNone(self.krctl("plan", "--json").json()["run_in_progress"])

    def test_of_an_unregistered_run_is_not_determined_by_its_process_alone(self):
        release = self.hold_up()
        running = self.started("krindexer", "-o", "-r", "1")
        process.until(lambda: self.rows("SELECT id FROM run;", "system"), "no run began")
        outcome = self.krctl("status", status=1)
        self.assertIn("Could not determine whether a run is in progress: run 1 is not registered",
                      outcome.out)
        self.assertIn("run 1: unfinished", outcome.out)
        release()
        self.assertEqual(running.wait(process.DEADLINE_S), 0)
        self.assertIn("No run in progress.", self.krctl("status").out)

    def test_detects_that_an_unregistered_run_was_killed(self):
        release = self.hold_up()
        running = self.started("krindexer", "-o", "-r", "1")
        process.until(lambda: self.rows("SELECT id FROM run;", "system"), "no run began")
        pid = int(self.rows("SELECT pid FROM run;", "system")[0])
        os.kill(pid, 9)
        running.wait(process.DEADLINE_S)
        release()
        outcome = self.krctl("status")
        self.assertIn("No run in progress.", outcome.out)
        self.assertIn("run 1: unfinished", outcome.out)

    def test_watch_follows_the_run_to_its_end(self):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        self.run_in_background()
        process.until(lambda: (found := self.running()) and found["files"], "no run began")
        terminal = Terminal(self.recorder.command("krctl", "status", "--watch"), 80)
        self.addCleanup(terminal.end)
        terminal.read_until(b"recordings of camera 1 Front")
        release()
        self.assertEqual(terminal.finish(), 0)
        self.assertIn(b"run 1: ", terminal.shown)
        self.assertIn(b"complete", terminal.shown)

    def test_refuses_to_watch_as_json(self):
        outcome = self.krctl("status", "--watch", "--json", status=64)
        self.assertIn("--watch", outcome.err)

    def test_leaves_the_file_of_the_run_lock_as_it_was(self):
        self.krctl("run")
        before = self.lock_state()
        self.krctl("status")
        self.assertEqual(self.lock_state(), before)

    def lock_state(self):
        path = self.recorder.path("var/db/reindex.lock")
        with open(path, "rb") as file:
            return file.read(), os.stat(path).st_mtime_ns


class Runs(RunTest):
    def test_lists_them_newest_first(self):
        self.recorder.recording(self.storage)
        self.krctl("run")
        self.krctl("run")
        lines = self.krctl("runs").out.splitlines()
        self.assertEqual(lines[0].split(), ["run", "start", "end", "outcome", "kind", "added",
                                            "removed", "undoable"])
        self.assertRegex(lines[1], r"^ +2 .* no changes +- +0 +0 +0$")
        self.assertRegex(lines[2], r"^ +1 .* complete +recordings +1 +0 +0$")

    def test_as_json_are_what_their_schema_says(self):
        name = self.recorder.recording(self.storage)
        self.krctl("run")
        os.remove(self.recorder.path(name))
        self.krctl("run")
        document = self.krctl("runs", "--json").json()
        self.assert_matches_schema(document, "runs")
        self.assertEqual(document["runs"][0]["changes"],
                         [{"kind": "recordings", "added": 0, "removed": 1, "changed": 0,
                           "undoable": 1}])

    def test_have_one_name_and_one_key_for_each_kind(self):
        self.recorder.row("event", camera_id=1, path="gone")
        self.recorder.row("alert_event", camera_id=1, path="gone")
        self.recorder.row("snapshot", filename="gone")
        self.recorder.row("emap", filename="gone")
        self.krctl("run")
        keys = ["recordings", "alert-recordings", "snapshots", "e-maps"]
        names = ["recordings", "alert recordings", "snapshots", "e-maps"]
        run, = self.krctl("runs", "--json").json()["runs"]
        self.assertEqual([change["kind"] for change in run["changes"]], keys)
        self.assertEqual(re.findall(r"complete  ([a-z -]*[a-z]) +0 +1 +1\n", self.krctl("runs").out),
                         names)
        for key, name in zip(keys, names):
            self.assertEqual(self.krctl("undo", "1", "--kind", key).out, f"{name}: 1 restored\n")

    def test_changes_of_two_cameras_are_added_up(self):
        self.recorder.recording(self.storage)
        self.recorder.recording(self.recorder.camera(2))
        self.krctl("run")
        self.assertRegex(self.krctl("runs").out, r"recordings +2 +0 +0")
        self.assertEqual(self.rows("SELECT camera_id FROM run_count ORDER BY 1;"), ["1", "2"])

    def test_forgets_the_parts_of_runs_as_old_as_the_ledger(self):
        self.krctl("run")
        self.recorder.query("system.db", "UPDATE ledger_age SET age_s = age_s + 91 * 86400")
        self.krctl("run", "-e")
        self.assertEqual(self.rows("SELECT DISTINCT run FROM run_part;", "system"), ["2"])


del RunTest  # its tests belong to its module
