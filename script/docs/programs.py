"""The commands and options that the programs understand, from their help."""

import dataclasses
import functools
import re
import subprocess


@dataclasses.dataclass(frozen=True)
class Entry:
    """An option, argument or command in a help."""

    names: tuple  # ("-h", "--help")
    value: str    # "CAMERA"; empty for a flag
    text: str


class Command:
    """One command of krctl, or the program itself."""

    def __init__(self, words, text, entries):
        """`entries`: those of each section of the help."""
        self.words = words  # "camera add"; empty for the program
        self.text = text
        self.described = {"Options": [], "Arguments": [], "Commands": [], **entries}
        self.options = {name for entry in self.described["Options"] for name in entry.names}
        self.arguments = {entry.names[0] for entry in self.described["Arguments"]}
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
    head = " ".join(text.partition("\n\n")[0].split()).partition(" - ")[2]
    command = Command(" ".join(words), head, _sections(text))
    if "--help" not in command.options:
        raise SystemExit(f"check-docs: can't read the help of krctl {command.words}")
    for entry in command.described["Commands"]:
        command.commands[entry.names[0]] = krctl(program, (*words, entry.names[0]))
    return command


def _sections(text):
    """Returns the entries by section; the sections of options are one."""
    sections = {}
    for heading, body in re.findall(r"^(\w[\w -]*):\n((?:  .*\n?)+)", text, re.M):
        # Continued lines are indented further.
        for entry in re.split(r"\n(?=  \S)", body.rstrip("\n")):
            names, value, words = re.fullmatch(
                r"  ([^\s,]+(?:, [^\s,]+)*)(?: (\S+))?(?:\s\s+(.*))?", entry, re.S).groups()
            kind = "Options" if heading.startswith("Options") else heading
            sections.setdefault(kind, []).append(
                Entry(tuple(names.split(", ")), value or "", " ".join((words or "").split())))
    return sections


def krindexer(project):
    """Reads the options from the source, because the usage omits one that is meant for other programs."""
    letters = re.search(r'getopt\(argc, argv, "([a-z:]+)"\)', project.read("driver/krindexer.cpp"))
    return Command("", "", {"Options": [Entry(("-" + letter,), "", "")
                                        for letter in letters[1].replace(":", "")]})
