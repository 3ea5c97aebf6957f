"""Commands without a stated writing effect write nothing: no file, no row, no time of a file."""

import os
import re

from support.checkcase import CheckTest, OnPostgresql
from support.recorder import PACKAGE_ROOT
from support.state import differences, state_of

# The commands that only read, with arguments that make them read as much as they can.
READING = {
    "camera list": [[], ["--json"]],
    "volume list": [[], ["--json"]],
    "plan": [[], ["--list", "--json"], ["--exit-code"]],
    "findings": [[], ["--json"]],
    "gaps": [["--since", "2014-03-01", "--until", "2014-04-01"], ["--json", "--since", "2014-03-01"]],
    "status": [[], ["--json"], ["--exit-code"]],
    "runs": [[], ["--json"], ["1"], ["1", "--json"]],
    "undo": [["2", "--dry-run"], ["2", "--dry-run", "--json"]],
    "report": [["--html", "REPORT"]],
    "metrics": [[]],
    "doctor": [[], ["--json"], ["--settings"]],
    "help": [[], ["plan"]],
    "version": [[]],
}
# The others, and what they write.
WRITING = {
    "init": "databases and folders", "camera add": "a row", "camera bind": "a row",
    "camera remove": "rows", "camera adopt": "rows", "volume init": "an identity",
    "run": "rows", "check": "findings", "backup": "a backup set",
    "restore": "databases",
}


class ReadOnly(CheckTest):
    def setUp(self):
        super().setUp()
        os.remove(self.path(self.names[0]))
        with open(self.path(self.names[1]), "ab") as file:
            file.write(b"more")
        self.wait_for_next_second(self.names[1])
        self.krctl("run")
        os.remove(self.path(self.names[2]))
        self.krctl("check", status=2)

    def commands(self, *words):
        """The names of all commands, from the help."""
        text = self.krctl("help", *words).out
        listed = re.search(r"(?ms)^Commands:\n(.*?)\n\n", text)
        if not listed:
            return [" ".join(words)]
        names = re.findall(r"(?m)^  (\S+)", listed.group(1))
        return [each for name in names for each in self.commands(*words, name)]

    def test_every_command_is_known_to_read_or_to_write(self):
        self.assertEqual(sorted(self.commands()), sorted(READING.keys() | WRITING.keys()))

    def test_what_is_left_by_reading_commands(self):
        before = self.state()
        for command, variants in READING.items():
            for arguments in variants:
                words = [*command.split(), *(self.recorder.root + "-report.html" if each == "REPORT" else each
                                             for each in arguments)]
                with self.subTest(" ".join(words)):
                    outcome = self.recorder.krctl(*words)
                    self.assertIn(outcome.status, (0, 2), outcome)
                    self.assert_unchanged(before)

    def state(self):
        return state_of(self.recorder.root), self.rows()

    def rows(self):
        """What else there is; the databases are files."""

    def assert_unchanged(self, before):
        files, rows = self.state()
        self.assertEqual(differences(before[0], files), [])
        self.assertEqual(rows, before[1])

    def test_the_proof_can_fail(self):
        before = self.state()
        self.krctl("check", status=2)
        with self.assertRaises(AssertionError):
            self.assert_unchanged(before)


class ListOfBackups(CheckTest):
    """krctl backup --list, for which there must be backups."""

    def test_is_read_only(self):
        os.mkdir(self.path("backups"))
        folder = os.path.join(PACKAGE_ROOT, "backups")
        self.krctl("backup", "--to", folder)
        before = state_of(self.recorder.root)
        self.krctl("backup", "--list", "--to", folder)
        self.assertEqual(differences(before, state_of(self.recorder.root)), [])


class ReadOnlyOnPostgresql(OnPostgresql, ReadOnly):
    def rows(self):
        tables = self.server.psql("SELECT table_name FROM information_schema.tables WHERE "
                                  "table_schema = 'kestora' ORDER BY 1").split()
        return {table: self.server.psql(f"SELECT t.*, t.xmin FROM kestora.{table} AS t ORDER BY t::text")
                for table in tables}
