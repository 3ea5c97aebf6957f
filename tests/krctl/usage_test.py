"""What krctl says and ends with when it is called wrongly, or asked about itself."""

import os
import unittest

from support.case import KrctlTest

WRONG_USAGE = 64


class Usage(KrctlTest):
    def test_that_is_wrong_is_told_on_standard_error_and_ends_with_64(self):
        for arguments, said in (
                ([], "A subcommand is required"),
                (["camera"], "A subcommand is required"),
                (["plann"], 'there is no command "plann"'),
                (["camera", "forget"], 'there is no command "forget"'),
                (["init", "now"], "The following argument was not expected: now"),
                (["camera", "add", "--name", "a", "--storage", "/a"], "--id is required"),
                (["camera", "add", "--id", "7", "--storage", "/a"], "--name is required"),
                (["camera", "add", "--id", "7", "--name", "a"], "--storage is required"),
                (["camera", "bind", "--id", "0"], "--id: Value 0 not in range 1 to 2147483647"),
                (["camera", "remove", "--id", "2147483648"], "--id: Value 2147483648 not in range"),
                (["camera", "remove", "--id", "seven"], "--id: Value seven not in range"),
                (["camera", "adopt"], "DIR is required"),
                (["undo", "1", "--kind", "event"], "--kind: event not in {recordings,"),
                (["undo", "1", "--kind", "alert_event"], "--kind: alert_event not in"),
                (["undo", "1", "--kind", "snapshot"], "--kind: snapshot not in"),
                (["undo", "1", "--kind", "emap"], "--kind: emap not in"),
                (["doctor", "--jsno"], "The following argument was not expected: --jsno")):
            outcome = self.krctl(*arguments, status=WRONG_USAGE)

            self.assertEqual(outcome.out, "")
            self.assertIn(said, outcome.err)
            self.assertIn("--help", outcome.err)

    def test_help_and_version_are_no_failure(self):
        self.assertRegex(self.krctl("--version").out, r"^krctl \d+\.\d+\.\d+\n$")
        for arguments in ([], ["camera"], ["camera", "adopt"], ["doctor"]):
            self.assertIn("Usage:", self.krctl(*arguments, "--help").out)

    def test_of_volumes_is_one_line_a_volume_whatever_its_folder_is_named(self):
        self.recorder.volume("a\tb\nc")
        os.makedirs(self.recorder.path("a\tb\nc/cam7"))
        self.recorder.do("krctl", "camera", "add", "--id", "7", "--name", "Front", "--storage",
                         self.recorder.inside("a\tb\nc/cam7"))

        lines = self.krctl("volume", "list").out.splitlines()

        self.assertEqual([line.split("\t")[1:] for line in lines],
                         [[self.recorder.inside(r"a\tb\nc"), "7", "mounted"]])

    def test_of_a_hostile_path_is_one_line_on_standard_error(self):
        outcome = self.krctl("camera", "adopt", "/no\nwhere\x1b[31m", status=1)

        self.assertEqual(outcome.err, "krctl: /no\\nwhere\\x1b[31m: expected a folder that exists\n")


if __name__ == "__main__":
    unittest.main()
