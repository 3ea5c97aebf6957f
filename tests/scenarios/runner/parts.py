"""The first and the last log line of each part of a run, for which a case writes `part KIND COUNT`."""

import re

FUNCTIONS = {"emap": "DoReindexEmap", "snapshot": "DoReindexSnapshot", "event": "DoReindexEvent",
             "alert event": "DoReindexAlertEvent"}
PART = re.compile(rf"part ({'|'.join(FUNCTIONS)}) (\S+)$")
INDENT = "  "


def start_of(kind):
    return f"[reindex] [notice] krindexer {FUNCTIONS[kind]}: Start to re-index {kind}."


def end_of(kind, count):
    return (f"[reindex] [notice] krindexer {FUNCTIONS[kind]}: Re-index {kind} complete with re-indexed "
            f"record cnt [{count}].")


def unfold(lines):
    """Returns the log lines that a case describes; indented lines are within the part above them."""
    found, open_end = [], []
    for line in lines:
        if line.startswith(INDENT) and open_end:
            found.append(line.removeprefix(INDENT))
            continue
        found += open_end
        part = PART.match(line)
        open_end = [end_of(*part.groups())] if part else []
        found.append(start_of(part[1]) if part else line)
    return found + open_end


def fold(lines):
    """Returns the shortest description of a log; the reverse of `unfold`."""
    found, at = [], 0
    while at < len(lines):
        kind = next((kind for kind in FUNCTIONS if lines[at] == start_of(kind)), None)
        length = _length_of_part(lines[at + 1:], kind) if kind else None
        if length is None:
            found.append(lines[at])
            at += 1
        else:
            end = lines[at + 1 + length]
            count = end[end.rindex("[") + 1:end.rindex("]")]
            found += [f"part {kind} {count}", *(INDENT + line for line in lines[at + 1:at + 1 + length])]
            at += length + 2
    return found


def _length_of_part(lines, kind):
    """Returns the number of lines before the part's last one; None if that is missing or within a group."""
    before, after = end_of(kind, "\0").split("\0")
    grouped = False
    for length, line in enumerate(lines):
        if line.startswith(before) and line.endswith(after):
            return None if grouped else length
        if " krindexer " in line:
            return None
        grouped = (grouped or line == "{") and line != "}"
    return None
