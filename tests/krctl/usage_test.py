"""Messages and exit status of krctl on wrong usage, and its help and version."""

import os
import shutil
import unittest

from support.case import KrctlTest
from support.terminal import Terminal

WRONG_USAGE = 64


class Usage(KrctlTest):
    def test_that_is_wrong_is_an_error_on_standard_error_and_status_64(self):
        for arguments, said in (
                ([], "krctl: expected a command; see"),
                (["camera"], "krctl: camera: expected a command; see"),
                (["plann"], 'krctl: unknown command "plann"; did you mean "plan"? See "krctl --help"'),
                (["plna"], '; did you mean "plan"?'),
                (["camera", "lst"], 'krctl: camera: unknown command "lst"; did you mean "list"? See "krctl camera'),
                (["plan", "--camra", "3"], 'krctl: plan: unexpected argument "--camra"; did you mean "--camera"?'),
                (["report", "--htlm=x"], 'unexpected argument "--htlm=x"; did you mean "--html"?'),
                (["runs", "-json"], 'unexpected argument "-json"; did you mean "--json"?'),
                (["quite", "different"], 'krctl: unknown command "quite"; see "krctl --help"'),
                (["help", "camera", "lst"], 'krctl: help: unknown command "lst"; did you mean "list"? See "krctl camera'),
                (["camera", "forget"], 'krctl: camera: unknown command "forget"'),
                (["init", "now"], 'krctl: init: unexpected argument "now"'),
                (["camera", "add", "--name", "a", "--storage", "/a"], "--id is required"),
                (["camera", "add", "--id", "7", "--storage", "/a"], "--name is required"),
                (["camera", "add", "--id", "7", "--name", "a"], "--storage is required"),
                (["camera", "bind", "--id", "0"], '--id: expected an integer from 1 to 2147483647, not "0"'),
                (["camera", "remove", "--id", "2147483648"], "--id: expected an integer from 1 to"),
                (["camera", "remove", "--id", "seven"], 'not "seven"'),
                (["camera", "adopt"], "DIR is required"),
                (["undo", "1", "--camera", "1", "--kind", "e-maps"], "snapshots and e-maps have no cameras"),
                (["undo", "1", "--kind", "event"], "--kind: expected one of recordings, alert-recordings, snapshots, e-maps, not "),
                (["undo", "1", "--kind", "alert_event"], 'not "alert_event"'),
                (["undo", "1", "--kind", "snapshot"], 'not "snapshot"'),
                (["undo", "1", "--kind", "emap"], 'not "emap"'),
                (["doctor", "--jsno"], 'krctl: doctor: unexpected argument "--jsno"; did you mean "--json"? See')):
            outcome = self.krctl(*arguments, status=WRONG_USAGE)

            self.assertEqual(outcome.out, "")
            self.assertIn(said, outcome.err)
            self.assertIn("--help", outcome.err)

    def test_values_that_are_missing_or_exclude_each_other_are_errors(self):
        for arguments, error in (
                (["undo", "1", "--kind"], "krctl: undo: --kind requires a value; see "),
                (["undo", "0"], 'krctl: undo: RUN: expected a positive integer, not "0"; see '),
                (["status", "--watch", "--json"], "krctl: status: --watch can't be used with --json; "),
                (["report", "--html", "a", "-r", "1"], "krctl: report: -r requires --plan; see ")):
            self.assertIn(error, self.krctl(*arguments, status=WRONG_USAGE).err)

    def test_help_lists_arguments_and_options_with_their_values(self):
        self.assertEqual(self.krctl("undo", "--help").out, """\
krctl undo - restore rows that a run removed or a fix changed

Usage: krctl undo RUN [OPTIONS]

Arguments:
  RUN  the run's number, as listed by "krctl runs"

Options:
  -h, --help           show this help
  --identity IDENTITY  the run's identity, if several runs have this number
  --camera CAMERA      only this camera; can be repeated
  --kind KIND          only this kind: recordings, alert-recordings, snapshots,
                       e-maps; can be repeated
  --dry-run            show what would be restored; changes nothing
  --json               print JSON
""")

    def test_help_of_a_command_is_shown_by_either_way_to_ask_for_it(self):
        for words in ([], ["plan"], ["camera"], ["camera", "add"], ["help"]):
            self.assertEqual(self.krctl("help", *words).out, self.krctl(*words, "--help").out)

    def test_help_and_version_need_no_settings_and_no_databases(self):
        shutil.rmtree(self.recorder.path("var/db"))
        self.recorder.settings("[nonsense]")
        self.assertIn("Usage: krctl plan", self.krctl("help", "plan").out)
        self.assertIn("Usage: krctl plan", self.krctl("plan", "--help").out)
        self.assertEqual(len({self.krctl(*words).out for words in (["version"], ["-V"], ["--version"])}), 1)

    def test_help_fits_the_terminal(self):
        for words in ([], ["camera"], ["camera", "add"], ["undo"], ["plan"], ["report"]):
            for columns in (80, 40):
                terminal = Terminal(self.recorder.command("krctl", *words, "--help"), columns)
                self.addCleanup(terminal.end)
                self.assertEqual(terminal.finish(), 0)
                self.assertLessEqual(max(map(len, terminal.lines())), columns, terminal.lines())

    def test_help_that_can_t_be_printed_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            outcome = self.started("krctl", "--help", stdout=full, stderr=-1, text=True)
            _, err = outcome.communicate(timeout=60)
        self.assertEqual((outcome.returncode, err), (1, "krctl: can't write to standard output\n"))

    def test_output_that_can_t_be_written_is_a_failure_whatever_the_command_found(self):
        self.recorder.row("snapshot", filename="gone.jpg", start_tm=1, size=1)
        self.krctl("check", status=2)
        for command, expected in ((["check"], 1), (["check", "--json"], 1), (["findings"], 1), (["findings", "--json"], 1),
                                  (["plan", "--exit-code"], 1), (["run", "-s", "--max-removed", "0"], 3)):
            with open("/dev/full", "wb") as full:
                running = self.started("krctl", *command, stdout=full, stderr=-1, text=True)
                _, err = running.communicate(timeout=60)
            self.assertEqual(running.returncode, expected, command)
            self.assertTrue(err.endswith("krctl: can't write to standard output\n"), (command, err))

    def test_help_and_version_succeed(self):
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
                         [[self.recorder.inside(r"a\tb\nc"), "7", "mounted", "-"]])

    def test_of_a_hostile_path_is_one_line_on_standard_error(self):
        outcome = self.krctl("camera", "adopt", "/no\nwhere\x1b[31m", status=1)

        self.assertEqual(outcome.err, "krctl: /no\\nwhere\\x1b[31m: expected a folder that exists\n")


if __name__ == "__main__":
    unittest.main()
