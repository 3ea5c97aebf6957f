"""The completions of bash, zsh and fish for each command of krctl, and of bash for krindexer, on a recorder with
cameras and runs."""

import os
import shutil
import subprocess
import tempfile
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


# Reads a line of words from standard input, and prints what zsh would offer for the last one of them.
ASK_ZSH = r"""
zmodload zsh/zpty
zpty inner zsh -f -i
setup='PROMPT=; unset zle_bracketed_paste; stty -echo
    fpath=($COMPLETION $fpath); autoload -Uz compinit; compinit -u -D
    bindkey "^I" complete-word; LISTMAX=100000
    zstyle ":completion:*" insert-tab false
    compadd() {
        local -a offered
        if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
        builtin compadd -A offered "$@"
        print -rl -- ${offered/#/offered:} >>$OFFERED
        builtin compadd "$@"
    }
    finish() { print end >>$OFFERED; exit }
    comppostfuncs=(finish); print ready >>$OFFERED'
print -r -- $setup >$OFFERED.setup
zpty -w inner "source $OFFERED.setup"
until grep -q ready $OFFERED 2>/dev/null; do sleep 0.02; done
IFS= read -r line
zpty -w -n inner "$line"$'\t'
until grep -q end $OFFERED; do sleep 0.02; done
zpty -d inner
"""


class CompletionTest(KrctlTest):
    shell = "bash"

    def setUp(self):
        if not shutil.which(self.shell):
            self.skipTest(f"{self.shell} is not installed")
        super().setUp()
        for number in (1, 7, 12):
            self.storage = self.recorder.camera(number, name='"id": 5,\n     "run": 6')
        self.recorder.recording(self.storage)
        for _ in range(2):
            self.recorder.reindex("-r", "12")

    def ask(self, *command, **options):
        """Runs a shell within the recorder's sandbox, and returns its output."""
        environment = {**os.environ, "COMPLETION": os.path.realpath(COMPLETION), "COLUMNS": "40",
                       "PATH": f"{os.path.abspath(Recorder.bin_dir)}:{os.environ['PATH']}",
                       **options.pop("environment", {})}
        done = subprocess.run(self.recorder.command("krctl")[:2] + list(command), env=environment,
                              capture_output=True, text=True, check=True, timeout=60,
                              **{"stdin": None if "input" in options else subprocess.DEVNULL, **options})
        self.assertEqual(done.stderr, "")
        return done.stdout


class OtherShell:
    """The tests that both other shells share. What a shell offers for a word is known from offered()."""

    def test_has_no_syntax_errors(self):
        self.assertEqual(subprocess.run([self.shell, "-n", self.file], check=False).returncode, 0)

    def test_after_each_command_its_own_options_and_commands_are_offered(self):
        everything = programs.krctl(os.path.join(Recorder.bin_dir, "krctl"))
        for command in commands(everything):
            if command.words.startswith("help"):
                continue
            with self.subTest(command=command.words):
                words = ("krctl", *command.words.split())
                dashed = {word for word in command.options if word.startswith("--")}
                self.assertEqual({word for word in self.offered(*words, "--") if word.startswith("--")}, dashed)
                if command.commands:
                    self.assertEqual({word for word in self.offered(*words, "") if word[0] != "-"},
                                     set(command.commands))

    def test_values_are_offered(self):
        for words, values in (
                (["undo", ""], {"1", "2"}),
                (["undo", "1", "--camera", ""], {"1", "7", "12"}),
                (["camera", "bind", "--id", ""], {"1", "7", "12"}),
                (["camera", "add", "--id", ""], set()),
                (["plan", "-r", ""], {"-1", "1", "7", "12"}),
                (["plan", "--camera", "1", "--camera", ""], {"1", "7", "12"}),
                (["plan", "--kind", "s"], {"snapshots"}),
                (["plan", "--reason", "row"], {"row-renewed", "row-without-file"})):
            with self.subTest(words=words):
                self.assertEqual(self.offered("krctl", *words), values)

    def test_commands_are_offered_after_help(self):
        self.assertLessEqual({"plan", "camera"}, self.offered("krctl", "help", ""))


class Zsh(OtherShell, CompletionTest):
    shell = "zsh"
    file = os.path.join(COMPLETION, "_krctl")

    def offered(self, *words):
        with tempfile.TemporaryDirectory() as folder:
            found = os.path.join(folder, "offered")
            self.ask("zsh", "-f", "-c", ASK_ZSH, input=" ".join(words) + "\n",
                     environment={"OFFERED": found, "TERM": "xterm", "ZDOTDIR": folder})
            with open(found, encoding="utf-8") as file:
                offers = [line[8:] for line in file.read().splitlines() if line.startswith("offered:")]
        return {offer.rstrip("=") for offer in offers if offer.startswith(words[-1])}


class Fish(OtherShell, CompletionTest):
    shell = "fish"
    file = os.path.join(COMPLETION, "krctl.fish")

    def offered(self, *words):
        out = self.ask("fish", "--no-config", "-c", 'source $argv[1]; complete -C "$argv[2]"', self.file,
                       " ".join(words))
        return {line.split("\t")[0] for line in out.splitlines()}


class Bash(CompletionTest):
    def offered(self, *words):
        """The words that bash offers, sorted."""
        return sorted(self.ask("bash", "-c", ASK_BASH, "bash", *words).split())

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
        for words in (["undo", "1", "--camera"], ["plan", "--camera"], ["camera", "bind", "--id"], ["camera", "remove", "--id"]):
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

    def test_commands_are_offered_after_help(self):
        self.assertIn("plan", self.offered("krctl", "help", "p"))
        self.assertEqual(self.offered("krctl", "help", "camera", ""), ["add", "adopt", "bind", "list", "remove"])
        self.assertEqual(self.offered("krctl", "help", "plan", ""), [])

    def test_options_of_krindexer_are_offered(self):
        self.assertEqual(self.offered("krindexer", ""), ["-a", "-e", "-h", "-n", "-r", "-s"])


if __name__ == "__main__":
    unittest.main()
