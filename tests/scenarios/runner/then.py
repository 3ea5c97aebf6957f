"""Compares the result of a run with a case's `then` file."""

import difflib
import os
import re
import subprocess

from runner import tree
from runner.database import MEDIA_TABLES, UNREADABLE
from runner.parts import unfold
from runner.text import (CaseError, blocks, expand, pattern_of, show_cell, shown, split_cells,
                         split_options, tokens, unquote)

LOG_LINE = re.compile(r"^\S+ \[\d+\] (.*)$")
SOURCE_LINE = re.compile(r"^((?:\[\w+\] \[\w+\] )?\w+):\d+ ")

MOST_DIFF_LINES = 60


class Moment:
    """The rows and files of a recorder at one time."""

    def __init__(self, root, engine):
        self.engine = engine
        self.tables = engine.dump_all(MEDIA_TABLES)
        self.files = tree.listing(root)

    def select(self, table, columns):
        """Returns these columns of all rows. Tables that were not saved are read from the database now."""
        known, rows = self.tables.get(table, ([], []))
        if not set(columns) <= set(known):
            return self.engine.select(table, columns)
        places = [known.index(column) for column in columns]
        return [tuple(row[place] for place in places) for row in rows]

    def count(self, table):
        columns, rows = self.tables.get(table, (UNREADABLE, []))
        return len(rows if columns != UNREADABLE else self.engine.select(table, ["1"]))


def read_log(root):
    """Returns the lines of the log without what differs between runs: time, process id, source line."""
    try:
        with open(os.path.join(root, b"var/log/kestora.log"), "rb") as file:
            text = file.read().decode(errors="backslashreplace")
    except FileNotFoundError:
        return []
    return [_bare_log_line(line) for line in text.split("\n")[:-1]]


def _bare_log_line(line):
    match = LOG_LINE.match(line)
    return SOURCE_LINE.sub(r"\1 ", match[1]) if match else f"(no log line) {line}"


def show_rows(columns, rows):
    return [" | ".join(columns)] + sorted(" | ".join(map(show_cell, row)) for row in rows)


def show_files(files):
    return [f"{shown(path)} " + " ".join(f"{key}={value}" for key, value in entry.items())
            for path, entry in sorted(files.items())]


def diff(title, expected, actual):
    """Returns a readable difference as a list of one text; empty if there is none."""
    if expected == actual:
        return []
    lines = list(difflib.unified_diff(expected, actual, "expected", "found", lineterm="", n=2))
    if len(lines) > MOST_DIFF_LINES:
        lines = lines[:MOST_DIFF_LINES] + [f"... and {len(lines) - MOST_DIFF_LINES} more lines"]
    return [f"{title}:\n" + "\n".join("    " + line for line in lines)]


class Then:
    """The expectations of one `then` file."""

    def __init__(self, text, media, engine):
        self.media, self.engine = media, engine
        self.reason = None
        self.exits, self.outputs = {}, {}
        self.log = None
        self.tables, self.counts, self.commits = {}, {}, {}
        self.gone, self.missing = [], []
        self.entries = {"new": {}, "replaced": {}, "check": {}}
        for number, line, lines in blocks(text):
            try:
                self._read(tokens(line), line, lines)
            except (ValueError, IndexError, CaseError) as error:
                raise CaseError(f"then:{number}: {line}: {error}") from error

    def _read(self, words, line, lines):
        match words:
            case ["because", *_]:
                self.reason = line.partition(" ")[2]
            case ["exit", status]:
                self.exits["1"] = status
            case ["exit", label, status]:
                self.exits[label] = status
            case ["stdout" | "stderr" as stream, *label]:
                self.outputs[(label[0] if label else "1", stream)] = lines
            case ["log"]:
                self.log = unfold(lines)
            case ["rows", table]:
                self.tables[table] = lines
            case ["count", table, number]:
                self.counts[table] = int(number)
            case ["commits", name, number]:
                self.commits[name] = int(number)
            case ["gone", path]:
                self.gone += expand(unquote(path))
            case ["missing", path]:
                self.missing.append(unquote(path))
            case ["new" | "replaced" | "check" as kind, path, *options]:
                for name in expand(unquote(path)):
                    self.entries[kind][name] = split_options(options)[1]
            case _:
                raise CaseError("no such expectation")

    def problems(self, root, before, after, steps):
        """Returns all differences from the expected result."""
        return (self._process_problems(steps.processes) + self._log_problems(root)
                + self._table_problems(before, after) + self._commit_problems(steps.commits)
                + self._file_problems(root, before, after))

    def _fact(self, kind, name):
        """Returns the text that a placeholder with a name stands for, such as <size:MEDIUM>."""
        match kind:
            case "size":
                return str(os.path.getsize(os.path.join(self.media, name)))
            case "database":
                return self.engine.name_in_log(name)
            case "locked":
                return self.engine.locked

    def _process_problems(self, processes):
        found = []
        for label, process in processes.items():
            found += diff(f"exit status of run {label}", [self.exits.get(label, "0")],
                          [str(process.status)])
            for stream in ("stdout", "stderr"):
                expected = self.outputs.get((label, stream), [])
                found += self._line_problems(f"{stream} of run {label}", expected,
                                             _lines_of(process.output(stream)))
        unknown = set(self.exits) - set(processes)
        return found + [f"there was no run {label}" for label in sorted(unknown)]

    def _log_problems(self, root):
        if self.log is None:
            return ["then: expected a block `log`"]
        return self._line_problems("log", self.log, read_log(root))

    def _line_problems(self, title, expected, actual):
        if _lines_match(_items(expected, self._fact), actual):
            return []
        return diff(title, self._with_found_values(expected, actual), actual) or [
            f"{title}: the order differs"]

    def _with_found_values(self, expected, actual):
        """Replaces expected lines by the found lines that they match, so that only real differences show."""
        filled = []
        for line in expected:
            pattern = pattern_of(line, self._fact)
            filled.append(next((other for other in actual if pattern.fullmatch(other)), line))
        return filled

    def _table_problems(self, before, after):
        found = []
        for table in MEDIA_TABLES:
            if table not in self.tables and table not in self.counts:
                found += diff(f"table {table}, which must not change",
                              show_rows(*before.tables[table]), show_rows(*after.tables[table]))
        for table, lines in self.tables.items():
            found += self._rows_problems(table, lines, after)
        for table, number in self.counts.items():
            found += diff(f"number of rows of {table}", [str(number)],
                          [str(after.count(table))])
        return found

    def _rows_problems(self, table, lines, after):
        columns = split_cells(lines[0])
        actual = [[show_cell(value) for value in row]
                  for row in after.select(table, columns)]
        expected, left, shown_rows = lines[1:], list(actual), []
        for line in expected:
            row = next((row for row in left if self._row_matches(line, row)), None)
            if row is not None:
                left.remove(row)
            shown_rows.append(" | ".join(row) if row is not None else line + "    <- missing")
        return diff(f"rows of {table} ({' | '.join(columns)})", sorted(shown_rows),
                    sorted(" | ".join(row) for row in actual))

    def _row_matches(self, line, row):
        cells = split_cells(line)
        if len(cells) != len(row):
            raise CaseError(f"{line}: {len(cells)} cells for {len(row)} columns")
        return all(self._cell_matches(cell, value) for cell, value in zip(cells, row))

    def _cell_matches(self, cell, value):
        if cell.startswith('"'):
            return show_cell(unquote(cell)) == value
        return pattern_of(cell, self._fact).fullmatch(value) is not None

    def _commit_problems(self, commits):
        found = []
        for name, number in self.commits.items():
            found += diff(f"transactions that wrote to {name}", [str(number)],
                          [str(commits.get(name, "not watched"))])
        return found

    def _file_problems(self, root, before, after):
        new, replaced = self.entries["new"], self.entries["replaced"]
        found = [f"{shown(path)} is not new: it existed before" for path in new
                 if path in before.files]
        found += [f"{shown(path)} did not exist before" for path in [*self.gone, *replaced]
                  if path not in before.files]
        found += [f"{shown(path)} exists, expected to be missing" for path in self.missing
                  if os.path.lexists(os.path.join(root, path))]
        mentioned = {*self.gone, *replaced, *new}
        found += diff("files", _other_files(before, mentioned),
                      _other_files(after, mentioned - {*self.gone}))
        for path, wanted in {**new, **replaced, **self.entries["check"]}.items():
            found += self._entry_problems(root, path, after.files.get(path), wanted)
        return found

    def _entry_problems(self, root, path, entry, wanted):
        full = os.path.join(root, path)
        if not os.path.lexists(full):
            return [f"{shown(path)} does not exist"]
        facts = dict(entry or tree.describe_unlisted(full))
        if "jpeg" in wanted:
            facts["jpeg"] = jpeg_facts(full)
        found = []
        for key, value in wanted.items():
            if key == "max":
                ok = facts["size"] <= int(value)
                found += [] if ok else [f"{shown(path)} has {facts['size']} bytes, expected at most "
                                        f"{int(value)}"]
            else:
                found += diff(f"{shown(path)}: {key}", [value.decode()], [str(facts.get(key))])
        return found


def _other_files(moment, mentioned):
    """Returns the files that the case doesn't mention, and which therefore must not change."""
    return show_files(tree.without_folder_times(
        {path: entry for path, entry in moment.files.items() if path not in mentioned}))


def _lines_of(text):
    lines = text.split("\n")
    return lines[:-1] if lines[-1] == "" else lines + ["(no newline at the end)"]


def jpeg_facts(full):
    """Returns the width and height of a picture that decodes without a warning, otherwise the warning."""
    decode = subprocess.run(["ffmpeg", "-nostdin", "-v", "warning", "-f", "jpeg_pipe", "-i", full,
                             "-f", "null", "-"], capture_output=True, text=True, check=False)
    complaints = [line for line in decode.stderr.split("\n")
                  if line and "deprecated pixel format" not in line]
    if decode.returncode or complaints:
        return "broken: " + " ".join(complaints)
    probe = subprocess.run(["ffprobe", "-v", "error", "-f", "jpeg_pipe", "-show_entries",
                            "stream=width,height", "-of", "csv=p=0:s=x", full],
                           capture_output=True, text=True, check=True)
    return probe.stdout.strip()


def _items(expected, fact):
    """Compiles expected lines. In the result a list stands for lines in any order, None for any lines."""
    items, group = [], None
    for line in expected:
        if line == "{" and group is None:
            group = []
        elif line == "}" and group is not None:
            items.append(group)
            group = None
        elif line == "..." and group is None:
            items.append(None)
        else:
            (items if group is None else group).append(pattern_of(line, fact))
    return items


def _lines_match(items, actual):
    if not items:
        return not actual
    first, rest = items[0], items[1:]
    if first is None:
        return any(_lines_match(rest, actual[at:]) for at in range(len(actual) + 1))
    if isinstance(first, list):
        return _group_matches(first, actual[:len(first)]) and _lines_match(rest,
                                                                           actual[len(first):])
    return bool(actual) and first.fullmatch(actual[0]) is not None and _lines_match(rest,
                                                                                    actual[1:])


def _group_matches(patterns, lines):
    left = list(lines)
    for pattern in patterns:
        line = next((line for line in left if pattern.fullmatch(line)), None)
        if line is None:
            return False
        left.remove(line)
    return not left
