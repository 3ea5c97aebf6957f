"""krctl run --max-removed: rows stay if a run would remove more of them than allowed."""

import os
import subprocess

from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import START_TM, Recorder

REFUSED = 3
ROWS = 5


class BrakeTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.front = self.recorder.camera(1, "Front")
        self.back = self.recorder.camera(2, "Back")

    def recordings(self, storage, subfolder=""):
        return [self.recorder.recording(storage + subfolder, START_TM + number)
                for number in range(ROWS)]

    def remove(self, names):
        for name in names:
            os.remove(self.recorder.path(name))

    def run_json(self, *arguments, status=0, **options):
        document = self.krctl("run", "--json", *arguments, status=status, **options).json()
        self.assert_matches_schema(document, "run")
        return document

    def part(self, document, kind, camera=None):
        found, = (part for part in document["parts"]
                  if part["kind"] == kind and part["camera"] == camera)
        return found

    def rows_before(self):
        """The number of rows of each kind and camera, as a run that removes nothing counts them."""
        return {(part["kind"], part["camera"]): part["rows_before"]
                for part in self.run_json("--max-removed", "0", status=REFUSED)["parts"]}


class Brake(BrakeTest):
    def test_holds_one_camera_and_the_rest_is_done(self):
        front, back = self.recordings(self.front), self.recordings(self.back)
        self.run_json()
        self.remove(front[:2] + back[:1])
        self.recorder.recording(self.front, START_TM + ROWS)

        document = self.run_json("--max-removed", "20%", status=REFUSED)

        held = self.part(document, "recordings", 1)
        self.assertEqual((held["added"], held["removed"], held["refusals"]), (1, 0, 1))
        self.assertEqual(held["failures"], 0)
        self.assertEqual(self.part(document, "recordings", 2)["removed"], 1)
        self.assertIn("2 of 5 recordings of camera 1 would be removed, more than 20%",
                      held["refusal"])
        self.assertIn("krctl run --kind recordings --camera 1 --max-removed 40%", held["refusal"])

    def test_says_before_the_run_what_stays(self):
        self.remove(self.indexed_recordings()[:3])
        outcome = self.krctl("run", "--max-removed", "2", status=REFUSED)
        self.assertIn("krctl: recordings of camera 1 Front: 3 of 5 rows would be removed, "
                      "more than 2: they stay\n", outcome.err)
        self.assertIn("REFUSED: camera 1 Front: 3 of 5 recordings", outcome.out)
        self.assertIn("--max-removed 3", outcome.out)
        self.assertIn("run 2: 1 refusal; see the log", outcome.out)

    def test_counts_what_it_holds_as_a_refusal_and_a_missing_folder_as_a_failure(self):
        self.recorder.snapshot()
        self.run_json()
        folder = self.recorder.path("var/snapshot")
        os.rename(folder, folder + ".away")
        outcome = self.krctl("run", "-s", "--max-removed", "0", status=REFUSED)
        self.assertIn("REFUSED: snapshots: 1 of 1 snapshots would be removed, more than 0", outcome.out)
        self.assertIn(f"FAILED: snapshots: {self.recorder.inside('var/snapshot')}: unreadable: No such file or "
                      "directory", outcome.out)
        self.assertIn("run 2: 1 failure, 1 refusal, 1 known finding; see the log", outcome.out)

    def indexed_recordings(self):
        names = self.recordings(self.front)
        self.run_json()
        return names

    def test_names_the_kind_if_it_has_no_cameras(self):
        name = self.recorder.snapshot()
        self.run_json()
        self.remove([name])
        outcome = self.krctl("run", "--max-removed", "0", status=REFUSED)
        self.assertIn("krctl: snapshots: 1 of 1 rows would be removed, more than 0: they stay\n",
                      outcome.err)
        self.assertIn("REFUSED: snapshots: 1 of 1 snapshots would be removed, more than 0",
                      outcome.out)

    def test_without_a_plan_no_run_is_started(self):
        self.indexed_recordings()
        planner = self.recorder.file("krplan", mode=0o755, content="#!/bin/sh\n"
                                     "printf 'no-plan\\t\\t0\\tout of luck\\t0\\t0\\nend\\t\\t0\\t\\t1\\t0\\n'; exit 75\n")
        sandbox, root, *command = self.recorder.command("krctl", "run", "--max-removed", "2")
        outcome = process.run([sandbox, root, "sh", "-c", 'mount --bind "$0" "$1" && shift && exec "$@"', planner,
                               f"{self.recorder.bin_dir}/krplan", *command])
        self.assertEqual((outcome.status, outcome.out), (75, ""), outcome)
        self.assertEqual(outcome.err, "krctl: no plan, so nothing was changed: out of luck\n")
        self.assertEqual(len(self.krctl("runs", "--json").json()["runs"]), 1)

    def test_lets_rows_through_up_to_the_limit(self):
        self.remove(self.indexed_recordings()[:3])
        for limit in ("3", "60%"):
            document = self.run_json("--max-removed", limit)
            self.assertEqual(document["total"]["refusals"], 0)
        self.assertEqual(self.run_json()["parts"][2]["rows_before"], 2)

    def test_holds_every_kind(self):
        names = self.recordings(self.front, "/laRec")
        names += [self.recorder.snapshot(number) for number in range(ROWS)]
        names += [self.recorder.medium(f"target/@KREmap/{number}.jpg", "picture.jpg")
                  for number in range(ROWS)]
        for number in range(ROWS):
            self.add_emap_row(f"{number}.jpg")
        self.run_json()
        self.remove(names)
        document = self.run_json("--max-removed", "99%", status=REFUSED)
        for kind, camera in (("alert-recordings", 1), ("snapshots", None), ("e-maps", None)):
            part = self.part(document, kind, camera)
            self.assertEqual((part["removed"], part["refusals"], part["failures"]), (0, 1, 0))
            self.assertIn("--max-removed 100%", part["refusal"])
        document = self.run_json("--max-removed", "100%")
        self.assertEqual(document["total"]["removed"], 3 * ROWS)

    def add_emap_row(self, name):
        self.recorder.row("emap", filename=name)

    def test_holds_the_rows_of_deleted_cameras_each_by_itself(self):
        self.recorder.camera(3, "Yard")
        few = self.recorder.recording("volume1/cam3")
        many = self.recordings(self.back)
        self.run_json()
        for camera in ("2", "3"):
            self.krctl("camera", "remove", "--id", camera)
        document = self.run_json("--max-removed", "1", status=REFUSED)
        gone = self.part(document, "recordings")
        self.assertEqual((gone["refusals"], gone["failures"]), (1, 0))
        self.assertEqual(document["total"]["removed"], 1)
        self.assertIn(f"{ROWS} of {ROWS} recordings of camera 2 would be removed",
                      gone["refusal"])
        self.assertIn(f"krctl run --kind recordings --max-removed {ROWS}", gone["refusal"])
        document = self.run_json("--max-removed", "100%")
        self.assertEqual(document["total"]["removed"], ROWS)
        for name in (few, *many):
            self.assertTrue(os.path.exists(self.recorder.path(name)))

    def test_applies_to_a_run_that_krctl_did_not_start(self):
        self.remove(self.indexed_recordings()[:3])
        for limit in ("2", "two"):
            self.recorder.run("krindexer", "-r", "-1",
                              env={**os.environ, "KESTORA_MAX_REMOVED": limit})
            self.assertEqual(self.rows_before()["recordings", 1], ROWS)
        self.assertIn('"two": expected a number of rows', "\n".join(self.recorder.log()))

    def test_wrong_limit_is_wrong_usage(self):
        for limit in ("", "-1", "101%", "all"):
            outcome = self.krctl("run", "--max-removed", limit, status=64)
            self.assertIn("expected a number of rows, or a share of them from 0% to 100%",
                          outcome.err)


class BrakeOnSqlite(BrakeTest):
    def test_holds_rows_whose_files_went_after_the_plan(self):
        names = self.recordings(self.front)
        self.run_json()
        holder = subprocess.Popen(["sqlite3", self.recorder.path("var/db/system.db")],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(process.end, holder)
        self.addCleanup(holder.stdin.close)
        holder.stdin.write(b"BEGIN IMMEDIATE;\nSELECT 'held';\n")
        holder.stdin.flush()
        self.assertEqual(holder.stdout.readline(), b"held\n")
        run = self.started("krctl", "run", "--max-removed", "50%", "--json",
                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.until(lambda: self.is_run_waiting(run.pid), "krindexer was not started")
        self.remove(names)
        holder.stdin.write(b"ROLLBACK;\n.quit\n")
        holder.stdin.flush()
        out, err = run.communicate(timeout=process.DEADLINE_S)
        self.assertEqual(run.returncode, REFUSED)
        self.assertEqual(err, b"") # the plan found nothing to hold
        self.assertIn(b"5 of 5 recordings of camera 1 would be removed, more than 50%", out)

    def is_run_waiting(self, ancestor):
        """Returns true if krindexer runs below this process."""
        waiting = [ancestor]
        while waiting:
            pid = waiting.pop()
            try:
                with open(f"/proc/{pid}/comm", encoding="ascii") as comm:
                    if comm.read() == "krindexer\n":
                        return True
                with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
                    waiting += children.read().split()
            except FileNotFoundError:
                pass
        return False

    def test_run_without_a_plan_changes_nothing(self):
        self.remove(self.recordings_of_a_run()[:3])
        self.recorder.query("system.db", "ALTER TABLE task RENAME TO kept")
        self.krctl("run", "--max-removed", "20%", status=74)
        self.recorder.query("system.db", "ALTER TABLE kept RENAME TO task")
        self.assertEqual(self.rows_before()["recordings", 1], ROWS)

    def recordings_of_a_run(self):
        names = self.recordings(self.front)
        self.run_json()
        return names


class BrakeOnPostgresql(Brake):
    def new_recorder(self, root):
        self.server = ServedDatabase()
        return Recorder(root, [f'dsn = "{self.server.dsn}"'])

    def add_emap_row(self, name):
        self.server.psql("SET search_path TO kestora",
                         f"INSERT INTO emap (filename) VALUES ('{name}')")
