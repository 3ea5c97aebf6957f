"""The parts of manual pages that the checks need: sections, items, examples, named commands."""

import re


def _flags(line):
    return {"-" + flag.replace("\\-", "-") for flag in re.findall(r"Fl (\S+)", line)}


def commands(text, program):
    """Returns options and arguments by command: {"undo": ({"--camera"}, {"RUN"})}; "" is the program."""
    found = {}
    words = None
    for line in text.splitlines():
        if line.startswith(".Sh"):
            words = "" if line == ".Sh DESCRIPTION" else None
        elif line.startswith(f".Ss {program} "):
            words = line.removeprefix(f".Ss {program} ")
        elif line.startswith(".Ss"):
            words = None
        if words is None:
            continue
        options, arguments = found.setdefault(words, (set(), set()))
        if line.startswith(".It Fl"):
            options |= _flags(line)
        elif line.startswith(".It Ar"):
            arguments.add(line.split()[2])
    return found


def settings(text):
    """Returns the text about each key, by SECTION.KEY."""
    found = {}
    section = key = None
    for line in text.splitlines():
        if line.startswith(".Sh"):
            section = key = None
        elif line.startswith(".Ss Section "):
            section, key = line.split()[2], None
        elif line.startswith(".It Va ") and section:
            key = f"{section}.{line.split()[2]}"
            found[key] = ""
        elif line.startswith((".El", ".Bl")):
            key = None
        elif key:
            found[key] += line + "\n"
    return found


def examples(text):
    """Returns the literal blocks that begin with a section of settings."""
    return re.findall(r"^\.Bd -literal.*\n(\[(?s:.*?))^\.Ed", text, re.M)


def references(text):
    """Returns the pages to which a page refers, as NAME.SECTION."""
    return {f"{name}.{section}" for name, section in re.findall(r"^\.Xr (\S+) (\d)", text, re.M)}


def code(text):
    """Yields the pieces of text that are commands or names."""
    literal = False
    for line in text.splitlines():
        line = line.replace("\\-", "-")
        if line.startswith(".Bd -literal"):
            literal = True
        elif line.startswith(".Ed"):
            literal = False
        elif literal:
            yield line
        elif re.match(r"\.(Dl|Ic|Ql|Pa) ", line):
            yield re.sub(r" [.,;:]$", "", line[4:])
        elif line.startswith('.\\"'):
            yield from line[3:].split()
