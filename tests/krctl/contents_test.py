"""krctl check --contents: files against what earlier checks have read."""

import os

from support import process
from support.checkcase import FINDINGS, OTHER_HALF_DAY, CheckTest, OnPostgresql
from support.recorder import HALF_DAY, PACKAGE_ROOT, START_TM


class Contents(CheckTest):
    def setUp(self):
        super().setUp()
        for name in self.media():
            self.age(name)

    def media(self):
        return [*self.names, f"{self.storage}/laRec/{HALF_DAY}/" + os.path.basename(self.names[0]),
                self.snapshot]

    def do(self, sql):
        self.recorder.query("recording.db", sql)

    def contents(self, *arguments, status=0):
        """The numbers of files with the same contents, read for the first time, and not read."""
        parts = self.check("--contents", *arguments, status=status)["parts"]
        return tuple(sum(part["contents"][key] for part in parts)
                     for key in ("same", "first", "not_read"))

    def change(self, name, keep_time):
        status = os.stat(self.path(name))
        with open(self.path(name), "r+b") as file:
            byte = file.read(1)
            file.seek(0)
            file.write(bytes([byte[0] ^ 1]))
        times = (status.st_atime_ns, status.st_mtime_ns + (0 if keep_time else 1))
        os.utime(self.path(name), ns=times)

    def test_first_check_compares_with_nothing(self):
        outcome = self.krctl("check", "--contents")
        self.assertIn("Contents: 0 files were the same as when first read; 5 files were read for "
                      "the first time.\n", outcome.out)
        self.assertEqual(self.contents(), (5, 0, 0))

    def test_rot_stays_on_record_until_the_contents_are_back(self):
        self.contents()
        for name in (self.names[1], self.snapshot):
            self.change(name, keep_time=True)
        for _ in range(2):
            self.assertEqual(self.found("--contents"),
                             [f"recordings 1 {self.row_path(self.names[1])} rot",
                              f"snapshots None {os.path.basename(self.snapshot)} rot"])
        self.assertEqual(self.found(status=0), [])
        self.assertEqual(len(self.krctl("findings", "--json", status=FINDINGS)
                             .json()["findings"]), 2)
        for name in (self.names[1], self.snapshot):
            self.change(name, keep_time=True)
        self.assertEqual(self.contents(), (5, 0, 0))
        self.krctl("findings")

    def test_changed_contents(self):
        self.contents()
        self.change(self.names[0], keep_time=False)
        finding, = self.check("--contents")["findings"]
        self.assertEqual(finding["finding"], "changed")
        self.assertRegex(finding["detail"], r"^other contents than at \d{4}-.*Z$")

    def test_new_time_alone_is_no_finding_and_hides_no_rot(self):
        self.contents()
        os.utime(self.path(self.names[0]), (START_TM + 1, START_TM + 1))
        self.assertEqual(self.contents(), (5, 0, 0))
        self.change(self.names[0], keep_time=True)
        finding, = self.check("--contents")["findings"]
        self.assertEqual(finding["finding"], "rot")

    def test_moved_file_and_its_row_keep_their_contents(self):
        self.contents()
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        self.do(f"UPDATE event SET path = '{self.row_path(moved)}' "
                f"WHERE path = '{self.row_path(self.names[0])}'")
        self.change(moved, keep_time=True)
        self.assertEqual([text.split()[-1] for text in self.found("--contents")], ["rot"])

    def test_without_time_nothing_is_read_or_claimed(self):
        outcome = self.krctl("check", "--contents", "--budget", "0s")
        self.assertIn("5 files were not read; the next check of contents begins here.\n",
                      outcome.out)
        self.assertEqual(self.contents("--budget", "0s"), (0, 0, 5))
        self.assertEqual(self.contents("--budget", "1h"), (0, 5, 0))

    def test_budget_alone_and_a_wrong_one_are_refused(self):
        self.krctl("check", "--budget", "1h", status=64)
        self.krctl("check", "--contents", "--budget", "1 hour", status=64)

    def test_file_that_is_being_written_is_not_read(self):
        self.set_time(self.names[0], 30)
        self.assertEqual(self.contents(), (0, 4, 1))

    def test_missing_file_and_something_else_are_not_read(self):
        os.remove(self.path(self.names[0]))
        os.remove(self.path(self.names[1]))
        os.mkfifo(self.path(self.names[1]))
        self.assertEqual(self.contents(status=FINDINGS), (0, 3, 2))

    def test_disk_that_can_not_read_a_file(self):
        self.contents()
        document = self.with_failing_read("EIO", FINDINGS)
        finding, = document["findings"]
        self.assertEqual((finding["finding"], finding["path"]),
                         ("read-error", self.row_path(self.names[0])))
        self.assertIn("Input/output error", finding["detail"])
        self.assertEqual(self.contents(), (5, 0, 0))
        self.krctl("findings")

    def test_file_that_can_not_be_read_for_another_reason_is_no_finding(self):
        document = self.with_failing_read("ENOMEM", 1)
        self.assertEqual(document["findings"], [])
        self.assertIn("Cannot allocate memory", str(document["parts"]))

    def with_failing_read(self, error, status):
        command = self.recorder.command("krctl", "check", "--contents", "--json")
        outcome = process.run_traced(command, "-o", "/dev/null", "-P",
                                     f"{PACKAGE_ROOT}/{self.names[0]}", "-e", "trace=pread64",
                                     "-e", f"inject=pread64:error={error}")
        self.assertEqual(outcome.status, status, outcome)
        return outcome.json()

    def test_missing_volume_is_no_change(self):
        self.contents()
        os.remove(self.path("volume1/.kestora-volume"))
        self.assertEqual(self.contents(status=1), (1, 0, 4))

    def test_no_file_is_changed(self):
        before = {name: os.stat(self.path(name)) for name in self.media()}
        self.contents()
        self.contents()
        for name, status in before.items():
            now = os.stat(self.path(name))
            self.assertEqual((now.st_mtime_ns, now.st_ctime_ns, now.st_size),
                             (status.st_mtime_ns, status.st_ctime_ns, status.st_size))


class ContentsOnPostgresql(OnPostgresql, Contents):
    pass
