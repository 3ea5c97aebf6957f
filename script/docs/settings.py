"""The valid keys of the settings file, from the source that reads it, and the keys that a text sets."""

import re
import tomllib

SOURCE = "recorder/settings/settings.cpp"
HEADER = "recorder/settings/settings.h"
READERS = "Integer|IntegerOrWord|Size|Flag|Text|AbsolutePaths?|RequiredInteger|Sections"


class Key:
    """A key. `least` and `most` are the range of a number, `defaults` its values if it is not set."""

    def __init__(self, name, least=None, most=None, defaults=()):
        self.name, self.least, self.most, self.defaults = name, least, most, list(defaults)


def _arguments(text, start):
    """Returns the arguments of a call whose "(" is before `start`."""
    depth, begin, found = 1, start, []
    for at in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[at], 0)
        if depth == 0 or (depth == 1 and text[at] == ","):
            found.append(text[begin:at].strip())
            begin = at + 1
        if depth == 0:
            return found
    raise ValueError("unbalanced")


class _Source:
    def __init__(self, project):
        self.text = project.read(SOURCE)
        self.numbers = {"INT_MAX": 2**31 - 1}
        enums = project.read("platform/logging.h")
        self.numbers |= {name: int(value) for name, value in re.findall(r"(LOG_\w+) = (\d+)", enums)}
        for name, value in re.findall(r"constexpr [\w:]+ (k\w+) = ([^;]+);", self.text):
            self.numbers[name] = self.value(value)
        members = re.findall(r"\b(\w+) = (\d+);", project.read(HEADER))
        self.defaults = {name: int(value) for name, value in members}
        names = project.read("recorder/logging/enumnames.cpp")
        self.names = dict(re.findall(r'pair{(LOG_CATEG_\w+), "(\w+)"}', names))

    def value(self, expression):
        terms = [re.sub(r"(?<=\d)[UL]+$", "", term.strip()) for term in expression.split("*")]
        product = 1
        for term in terms:
            product *= self.numbers[term] if term in self.numbers else int(term)
        return product

    def default(self, expression):
        """Returns the values of a literal, a member of the settings, or a choice of constants."""
        if expression.isdigit():
            return [int(expression)]
        member = re.fullmatch(r"\w+\.(\w+)", expression)
        if member:
            return [self.defaults[member[1]]]
        return [self.value(name) for name in re.findall(r"\bk\w+", expression)]

    def function(self, name):
        body = re.search(rf"^[\w:<>]+ {name}\(Section&? section\) {{\n(.*?)^}}", self.text, re.M | re.S)
        return body[1]

    def keys(self, function, section):
        body = self.function(function)
        parts = {"section": section}
        for loop in re.finditer(r'for \(Section& (\w+) : section\.Sections\("(\w+)"\)\)', body):
            parts[loop[1]] = f"{section}.{loop[2]}"
        for call in re.finditer(rf"(\w+)\s*\.\s*({READERS})\(", body):
            arguments = _arguments(body, call.end())
            name = re.fullmatch(r'"(\w+)"', arguments[0])
            category = re.fullmatch(r"Enum2String\((\w+)\)", arguments[0])
            full = f"{parts[call[1]]}.{name[1] if name else self.names[category[1]]}"
            if call[2] in ("Integer", "Size", "RequiredInteger"):
                defaults = [] if call[2] == "RequiredInteger" else self.default(arguments[1])
                yield Key(full, self.value(arguments[-2]), self.value(arguments[-1]), defaults)
            elif call[2] == "IntegerOrWord":
                yield Key(full, self.value(arguments[-2]), self.value(arguments[-1]))
            else:
                yield Key(full)
        for other in re.findall(r"(Read\w+)\(section\)", body):
            yield from self.keys(other, section)


def keys(project):
    """Returns all keys by name, SECTION.KEY."""
    source = _Source(project)
    found = {}
    for function, section in re.findall(r'(Read\w+)\(root\.Subsection\("(\w+)"\)\)', source.text):
        found |= {key.name: key for key in source.keys(function, section)}
    # Every key in the source is the argument of a call. Comparing the numbers detects overlooked ones.
    calls = len(re.findall(rf"\.\s*({READERS})\(", source.text))
    if not found or calls != len(found):
        raise SystemExit(f"check-docs: {SOURCE} has {calls} keys, of which {len(found)} were understood")
    return found


def set_in(block):
    """Yields SECTION. and SECTION.KEY of all keys in a block of TOML. Raises ValueError if it is invalid."""
    for section, values in tomllib.loads(block).items():
        yield section + "."
        for key, value in values.items():
            yield f"{section}.{key}"
            for table in value if isinstance(value, list) else []:
                yield from (f"{section}.{key}.{inner}" for inner in table)
