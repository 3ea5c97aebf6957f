"""Folders and files that a run can't open are findings until a run or a check could."""

import os

from support import process
from support.case import KrctlTest
from support.checkcase import FINDINGS, OnPostgresql
from support.recorder import HALF_DAY, START_TM

FAILED = 1
OTHER_HALF_DAY = "20140312PM"


class UnreadableFolder(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")
        self.recording = self.recorder.recording(self.storage, folder=OTHER_HALF_DAY)
        self.locked = os.path.join(self.storage, HALF_DAY)
        self.recorder.recording(self.storage, START_TM + 1)

    def with_failing(self, call, path, *arguments, error="EACCES", status=FAILED):
        """Runs krctl, with a system call that fails for a path."""
        outcome = process.run_traced(
            self.recorder.command("krctl", *arguments), "-o", "/dev/null", "-P",
            self.recorder.inside(path), "-e", f"trace={call}", "-e", f"inject={call}:error={error}")
        self.assertEqual(outcome.status, status, outcome)
        return outcome

    def with_locked(self, *arguments):
        return self.with_failing("openat", self.locked, *arguments)

    def with_unlisted(self, path, *arguments):
        return self.with_failing("getdents64", path, *arguments, error="EIO")

    def paths(self, *arguments):
        """The findings as paths and reasons."""
        outcome = self.recorder.krctl("findings", "--json", *arguments)
        document = outcome.json()
        self.assertEqual(outcome.status, FINDINGS if document["findings"] else 0, outcome)
        return [(finding["path"], finding["detail"]) for finding in document["findings"]]

    def test_is_named_with_the_reason(self):
        inside = self.recorder.inside(self.locked)
        outcome = self.with_locked("run", "-r", "1")
        self.assertIn(f"FAILED: recordings of camera 1 Front: {inside}: unreadable: Permission denied\n",
                      outcome.out)
        self.assertIn("run 1: 1 failure, 1 known finding", outcome.out)
        self.assertEqual(self.paths(), [(inside, "Permission denied")])
        self.assertEqual(self.paths("--camera", "1", "--kind", "recordings"),
                         [(inside, "Permission denied")])
        self.krctl("report", "--html", self.recorder.inside("report.html"))
        with open(self.recorder.path("report.html"), encoding="utf-8") as page:
            self.assertIn(inside, page.read())

    def test_is_in_the_json_of_the_run(self):
        document = self.with_locked("run", "--json", "-r", "1").json()
        self.assert_matches_schema(document, "run")
        self.assertEqual([(finding["path"], finding["detail"]) for finding in document["unreadable"]],
                         [(self.recorder.inside(self.locked), "Permission denied")])

    def test_goes_when_a_run_lists_the_folder(self):
        self.with_locked("run", "-r", "1")
        self.assertIn("run 2: complete\n", self.krctl("run", "-r", "1").out)
        self.assertEqual(self.paths(), [])

    def test_goes_when_a_run_lists_the_folder_and_fails_elsewhere(self):
        self.with_locked("run", "-r", "1")
        self.recorder.recording(self.storage, START_TM + 2, medium="cut.mp4")
        self.krctl("run", "-r", "1", status=FAILED)
        self.assertEqual([path for path, _ in self.paths()],
                         [f"{HALF_DAY}/rec-20140312-101500-{START_TM + 2}.mp4"])

    def test_stays_while_another_folder_is_read(self):
        self.with_locked("run", "-r", "1")
        self.with_locked("run", "-r", "1")
        self.assertEqual(len(self.paths()), 1)

    def test_stays_when_only_other_kinds_and_cameras_are_run(self):
        self.recorder.camera(2)
        self.with_locked("run", "-r", "1")
        self.krctl("run", "-a", "1")
        self.krctl("run", "-r", "2")
        self.assertEqual(len(self.paths()), 1)

    def test_goes_when_a_check_lists_the_folder(self):
        self.with_locked("run", "-r", "1")
        self.krctl("check", "--kind", "alert-recordings")
        self.assertEqual(len(self.paths()), 1)
        self.krctl("check", "--kind", "recordings")
        self.assertEqual(self.paths(), [])

    def test_stays_when_a_check_can_not_list_the_folder(self):
        self.with_locked("run", "-r", "1")
        self.with_unlisted(self.locked, "check")
        self.assertEqual(len(self.paths()), 1)

    def test_goes_when_a_check_lists_it_but_not_another_folder(self):
        self.with_locked("run", "-r", "1")
        self.with_unlisted(os.path.dirname(self.recording), "check")
        self.assertEqual(self.paths(), [])

    def test_goes_with_the_folder(self):
        self.with_locked("run", "-r", "1")
        os.rename(self.recorder.path(self.locked), self.recorder.path("elsewhere"))
        self.krctl("run", "-r", "1")
        self.assertEqual(self.paths(), [])

    def test_missing_snapshot_folder(self):
        os.rmdir(self.recorder.path("var/snapshot"))
        outcome = self.krctl("run", "-s", status=FAILED)
        folder = self.recorder.inside("var/snapshot")
        self.assertIn(f"FAILED: snapshots: {folder}: unreadable: No such file or directory", outcome.out)
        os.mkdir(self.recorder.path("var/snapshot"))
        self.krctl("run", "-s")
        self.assertEqual(self.paths(), [])

    def test_folder_of_the_half_day_folders_of_alert_recordings(self):
        alerts = os.path.join(self.storage, "laRec")
        os.mkdir(self.recorder.path(alerts))
        self.with_unlisted(alerts, "run", "-a", "1")
        (path, reason), = self.paths("--kind", "alert-recordings")
        self.assertEqual(path, self.recorder.inside(alerts))
        self.assertIn("Input/output error", reason)
        self.krctl("run", "-a", "1")
        self.assertEqual(self.paths(), [])

    def test_file_whose_status_can_not_be_read(self):
        self.with_failing("newfstatat", self.recording, "run", "-r", "1", error="EIO")
        self.assertEqual(self.paths(), [(self.recorder.inside(self.recording), "Input/output error")])
        self.krctl("check")
        self.assertEqual(len(self.paths()), 1)  # a check does not examine files without rows
        self.krctl("run", "-r", "1")
        self.assertEqual(self.paths(), [])

    def test_plan_names_known_findings(self):
        self.recorder.recording(self.storage, START_TM + 2, medium="cut.mp4")
        self.krctl("run", "-r", "1", status=FAILED)
        outcome = self.krctl("plan", "-r", "1")
        self.assertIn("\nIn line, 1 known finding: a run would change nothing.\n", outcome.out)
        self.recorder.recording(self.storage, START_TM + 3)
        self.assertIn("\nA run would add 1 row; 1 known finding.\n", self.krctl("plan").out)
        document = self.krctl("plan", "--json").json()
        self.assert_matches_schema(document, "plan")
        self.assertEqual(document["known_findings"], 1)

    def test_plan_without_findings_names_none(self):
        self.krctl("run", "-r", "1")
        outcome = self.krctl("plan", "-r", "1")
        self.assertNotIn("finding", outcome.out)
        self.assertEqual(self.krctl("plan", "--json", "-r", "1").json()["known_findings"], 0)


class UnreadableFolderOnPostgresql(OnPostgresql, UnreadableFolder):
    pass
