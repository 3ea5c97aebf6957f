"""krindexer.service and the documents agree with the programs on exit statuses and the umask."""

import configparser
import glob
import os
import re
import unittest

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
ANOTHER_RUN = os.EX_TEMPFAIL  # temporary: the unit tries again


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return file.read()


def sources(*patterns):
    names = [name for pattern in patterns for name in glob.glob(os.path.join(ROOT, pattern))]
    return "\n".join(read(name) for name in sorted(names))


def statuses_of_krctl_run():
    """The exit statuses of `krctl run` except 0: its own, and those of the tool that it passes on."""
    text = sources("tools/*/*.cpp", "tools/*/*.h", "recorder/taskstatus/*.cpp")
    named = {getattr(os, name) for name in re.findall(r"\bEX_[A-Z]+\b", text)}
    own = {int(value) for value in re.findall(r"constexpr int kExit\w+ = (\d+);", text)}
    return (named | own) - {0}


def statuses_in_readme(program):
    """The statuses of the table in README.md with a text in the column of the program."""
    table = re.search(r"^\| status \| .*?\n\n", read("README.md"), re.M | re.S)[0]
    rows = [[cell.strip() for cell in line.split("|")[1:-1]] for line in table.splitlines() if line]
    column = rows[0].index(f"`{program}`")
    return {int(row[0]) for row in rows[2:] if row[column]} - {0}


def statuses_in_manual(program):
    page = read(f"packaging/man/{program}.8")
    section = re.search(r"^\.Sh EXIT STATUS\n(.*?)^\.Sh ", page, re.M | re.S)[1]
    return {int(number) for number in re.findall(r"^\.It (\d+)$", section, re.M)} - {0}


class UnitTest(unittest.TestCase):
    def setUp(self):
        unit = configparser.ConfigParser(strict=False, interpolation=None)
        unit.optionxform = str
        unit.read_string(read("packaging/systemd/krindexer.service"))
        self.service = unit["Service"]

    def statuses(self, key):
        return {int(number) for number in self.service[key].split()}

    def test_readme_names_the_exit_statuses_of_krctl(self):
        self.assertEqual(statuses_in_readme("krctl"), statuses_of_krctl_run())

    def test_the_manual_page_names_the_exit_statuses_of_krctl(self):
        self.assertEqual(statuses_in_manual("krctl"), statuses_of_krctl_run())

    def test_readme_and_manual_page_name_the_same_exit_statuses_of_krindexer(self):
        self.assertEqual(statuses_in_readme("krindexer"), statuses_in_manual("krindexer"))

    def test_every_status_but_another_run_s_fails_the_unit_at_once(self):
        self.assertEqual(self.service["Restart"], "on-failure")
        self.assertEqual(self.statuses("RestartPreventExitStatus"),
                         statuses_of_krctl_run() - {ANOTHER_RUN} - self.statuses("SuccessExitStatus"))

    def test_a_stopped_run_is_not_a_failure(self):
        self.assertEqual(self.statuses("SuccessExitStatus"), {130})
        self.assertIn(130, statuses_of_krctl_run())

    def test_the_umask_is_that_of_the_programs(self):
        own = re.search(r"constexpr mode_t kNotForOthers = (0\d+);", read("recorder/support/privacy.cpp"))[1]
        self.assertEqual(int(self.service["UMask"], 8), int(own, 8))


if __name__ == "__main__":
    unittest.main()
