"""The notation of all files of a case: names as bytes, cells, placeholders, blocks."""

import re


class CaseError(Exception):
    """A case has an invalid line: an error of its author, not of the tool."""


class NotPossibleHere(Exception):
    """A case needs something that this machine lacks: it neither passed nor failed."""


ESCAPES = {b"n": b"\n", b"t": b"\t", b"r": b"\r", b'"': b'"', b"\\": b"\\"}
TOKEN = re.compile(r'(?:[^\s"]|"(?:[^"\\]|\\.)*")+')
QUOTED = re.compile(rb'"((?:[^"\\]|\\.)*)"')
REPEAT = re.compile(rb"\{([^{}*]+)\*(\d+)\}")
RANGE = re.compile(rb"\{(\d+)\.\.(\d+)\}")
PLACEHOLDER = re.compile(
    r"<(any|number|some text|uuid|locked|(?:size|database):[^<>]+)>")


def unescape(body):
    """Returns the bytes that the inside of a quoted text stands for; {a*200} means 200 times a."""
    plain = re.sub(rb"\\x([0-9a-fA-F]{2})|\\(.)", _escaped, body, flags=re.DOTALL)
    return REPEAT.sub(lambda m: m[1] * int(m[2]), plain)


def _escaped(match):
    if match[1]:
        return bytes([int(match[1], 16)])
    if match[2] not in ESCAPES:
        raise CaseError(f"no such escape: \\{match[2].decode()}")
    return ESCAPES[match[2]]


def unquote(token):
    """Returns a token as bytes, with its quoted parts unescaped."""
    return QUOTED.sub(lambda m: unescape(m[1]), token.encode())


def tokens(line):
    """Splits a directive at blanks, except those within quotes."""
    return TOKEN.findall(line)


def split_options(words):
    """Separates key=value words from plain ones; returns both as bytes."""
    plain, options = [], {}
    for word in words:
        match = re.match(r"([a-z]+)=(.*)$", word, re.DOTALL)
        if match:
            options[match[1]] = unquote(match[2])
        else:
            plain.append(unquote(word))
    return plain, options


def expand(name):
    """Returns all names that a name with a range such as {1..1000} stands for."""
    match = RANGE.search(name)
    if not match:
        return [name]
    width = len(match[1])
    return [name[:match.start()] + str(n).zfill(width).encode() + name[match.end():]
            for n in range(int(match[1]), int(match[2]) + 1)]


def shown(raw):
    """Returns bytes in the notation of a case, quoted if necessary."""
    if re.fullmatch(rb'[!-~]+', raw) and not re.search(rb'["|{\\]|^NULL$', raw):
        return raw.decode()
    return '"' + "".join(_shown_byte(b) for b in raw) + '"'


def _shown_byte(byte):
    named = {10: "\\n", 9: "\\t", 13: "\\r", 34: '\\"', 92: "\\\\"}
    if byte in named:
        return named[byte]
    return chr(byte) if 0x20 <= byte < 0x7F else f"\\x{byte:02x}"


def show_cell(value):
    """Returns a column's value in the notation of a case, quoted only if it would be ambiguous."""
    if value is None:
        return "NULL"
    if not isinstance(value, bytes):
        return str(value)
    if re.fullmatch(rb'[!-~]([ -~]*[!-~])?', value) and not re.search(rb'^"|[|\\]|^NULL$', value):
        return value.decode()
    return shown(value)


def cell_value(text):
    """Returns the value that a cell without placeholders stands for."""
    if text == "NULL":
        return None
    if text.startswith('"'):
        return unquote(text)
    return int(text) if re.fullmatch(r"-?\d+", text) else text.encode()


def split_cells(line):
    """Splits a line of a table into its cells; a quoted cell may contain the separator."""
    cells = re.split(r'\s*\|\s*(?=(?:[^"]*"(?:[^"\\]|\\.)*")*[^"]*$)', line.strip())
    return cells


def pattern_of(text, fact):
    """Compiles the pattern of a line or cell that may contain placeholders such as <number>."""
    parts, end = [], 0
    for match in PLACEHOLDER.finditer(text):
        parts.append(re.escape(text[end:match.start()]) + _placeholder(match[1], fact))
        end = match.end()
    return re.compile("".join(parts) + re.escape(text[end:]), re.DOTALL)


def _placeholder(name, fact):
    plain = {"any": ".*", "some text": ".+", "number": r"-?\d+",
             "uuid": "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"}
    if name in plain:
        return plain[name]
    kind, _, rest = name.partition(":")
    return re.escape(fact(kind, rest))


def blocks(text):
    """Splits a case's file into (line number, directive, its indented lines)."""
    found = []
    for number, line in enumerate(text.split("\n"), 1):
        if line.startswith("  ") and found:
            found[-1][2].append(line[2:])
        elif line == "" and found and found[-1][2]:
            found[-1][2].append("")
        elif line and not line.startswith("#"):
            found.append((number, line, []))
    for _, _, lines in found:
        while lines and lines[-1] == "":
            lines.pop()
    return found
