"""The completions of bash for each command of krctl and krindexer, on a recorder with cameras and runs."""

import os
import subprocess
import unittest

from docs import programs
from support.case import KrctlTest
from support.recorder import Recorder

HERE = os.path.dirname(os.path.abspath(__file__))
COMPLETION = os.path.join(HERE, "../../packaging/completion")

# $1: the program; the other arguments: its words, the last of which is completed. compopt works only in
# completions that readline has started.
ASK_BASH = """
compopt() { :; }
. "$COMPLETION/$1"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
"_$1"
printf '%s\\n' "${COMPREPLY[@]}"
"""


def commands(command):
    yield command
    for inner in command.commands.values():
        yield from commands(inner)


class CompletionTest(KrctlTest):
    def setUp(self):
        super().setUp()
        for number in (1, 7, 12):
            self.storage = self.recorder.camera(number, name='"id": 5,\n     "run": 6')
        self.recorder.recording(self.storage)
        for _ in range(2):
            self.recorder.reindex("-r", "12")

    def offered(self, *words):
        """The words that bash offers, sorted."""
        environment = {**os.environ, "COMPLETION": os.path.realpath(COMPLETION), "COLUMNS": "40",
                       "PATH": f"{os.path.abspath(Recorder.bin_dir)}:{os.environ['PATH']}"}
        command = self.recorder.command("krctl")[:2] + ["bash", "-c", ASK_BASH, "bash", *words]
        done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=True, timeout=60)
        self.assertEqual(done.stderr, "")
        return sorted(done.stdout.split())

    def test_after_each_command_its_own_options_and_commands_are_offered(self):
        everything = programs.krctl(os.path.join(Recorder.bin_dir, "krctl"))
        for command in commands(everything):
            with self.subTest(command=command.words):
                understood = (command.options | set(command.commands) | {"--help"}) - {"-h"}
                dashed = sorted(word for word in understood if word.startswith("-"))
                self.assertEqual(self.offered("krctl", *command.words.split(), "-"), dashed)
                if command.commands:
                    self.assertEqual(self.offered("krctl", *command.words.split(), ""), sorted(understood))

    def test_undo_offers_the_numbers_of_runs_and_nothing_else(self):
        self.assertEqual(self.offered("krctl", "undo", ""), ["1", "2"])

    def test_options_of_cameras_offer_their_ids(self):
        for words in (["undo", "1", "--camera"], ["camera", "bind", "--id"], ["camera", "remove", "--id"]):
            with self.subTest(words=words):
                self.assertEqual(self.offered("krctl", *words, ""), ["1", "12", "7"])
        for words in (["krctl", "run", "-r"], ["krctl", "plan", "-a"], ["krindexer", "-r"], ["krindexer", "-a"]):
            with self.subTest(words=words):
                self.assertEqual(self.offered(*words, ""), ["-1", "1", "12", "7"])

    def test_no_used_id_is_offered_for_a_new_camera(self):
        self.assertEqual(self.offered("krctl", "camera", "add", "--id", ""), [])

    def test_kinds_are_offered(self):
        self.assertEqual(self.offered("krctl", "undo", "1", "--kind", ""),
                         ["alert-recordings", "e-maps", "recordings", "snapshots"])

    def test_options_of_krindexer_are_offered(self):
        self.assertEqual(self.offered("krindexer", ""), ["-a", "-e", "-h", "-n", "-r", "-s"])


if __name__ == "__main__":
    unittest.main()
