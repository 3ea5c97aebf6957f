"""The commands and options that the programs understand, from their help."""

import functools
import re
import subprocess


class Command:
    """One command of krctl, or the program itself."""

    def __init__(self, words):
        self.words = words  # "camera add"; empty for the program
        self.options = set()
        self.arguments = set()
        self.commands = {}

    def leaves(self):
        """Yields the commands without subcommands, and the program."""
        if not self.words or not self.commands:
            yield self
        for command in self.commands.values():
            yield from command.leaves()

    def all_options(self):
        options = set(self.options)
        for command in self.commands.values():
            options |= command.all_options()
        return options


@functools.lru_cache(maxsize=None)
def krctl(program, words=()):
    """Reads the help of the program and of every command."""
    text = subprocess.run([program, *words, "--help"], check=True, capture_output=True, text=True).stdout
    command = Command(" ".join(words))
    names = {}
    section = None
    for line in text.splitlines():
        heading = re.fullmatch(r"(\w[\w -]*):", line)
        if heading:
            section = heading[1]
        entry = re.match(r"  ([^\s,]+(?:, [^\s,]+)*)", line)  # continued lines are indented further
        if entry and section:
            kind = "Options" if section.startswith("Options") else section
            names.setdefault(kind, []).extend(entry[1].split(", "))
    command.options.update(names.get("Options", []))
    command.arguments.update(names.get("Arguments", []))
    if "--help" not in command.options:
        raise SystemExit(f"check-docs: can't read the help of krctl {command.words}")
    for name in names.get("Commands", []):
        command.commands[name] = krctl(program, (*words, name))
    return command


def krindexer(project):
    """Reads the options from the source, because the usage omits one that is meant for other programs."""
    letters = re.search(r'getopt\(argc, argv, "([a-z:]+)"\)', project.read("driver/krindexer.cpp"))
    command = Command("")
    command.options.update("-" + letter for letter in letters[1].replace(":", ""))
    return command
