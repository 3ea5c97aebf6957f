#!/usr/bin/env python3
"""Tests that the fault tests can fail: tools that do harm when a call fails must be detected.

Each tool makes a folder. If that fails, it runs a shell command, which is the harm.
"""

import os
import sys
import tempfile
import types

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "../scenarios")]

from injection import backuppoint, calls, databases, point, rules  # noqa: E402  pylint: disable=wrong-import-position

# The tool itself makes the folder, because faults apply only to its own calls.
TOOL = """
import os, subprocess, sys

def shell(text):
    status = subprocess.run(["sh", "-c", text]).returncode
    if status < 0:
        os.kill(os.getpid(), -status)
    if status != 0:
        sys.exit(status)

folder, late, harm = sys.argv[1:]
os.chdir(folder)
with open("thumbnail", "w", encoding="ascii") as file:
    file.write("picture\\n")
shell(late)
try:
    os.mkdir("made")
except OSError:
    if harm.startswith("again: "):
        try:
            os.mkdir("made")
            harm = "rmdir made"
        except OSError:
            harm = harm.removeprefix("again: ")
    shell(harm)
else:
    os.rmdir("made")
"""

# Harm that appears only in the clean run: the command that it runs if the faulty run left such a file.
LATE = {"twice": "echo '2 kept' >>event", "new-id": "echo '2 kept' >event",
        "blurred": "echo blur >thumbnail", "broken": "exit 1"}

DEADLINE_OF_A_TOOL_THAT_HANGS_S = 3

HARMLESS = {"fault": "EIO", "name": "mkdir", "nth": 1, "startup": False}

# The harm of a tool, the point, and the expected problem.
CASES = [
    ("exit 74", {}, None),
    ("touch harmless; rm harmless", {}, None),
    (">event", {}, "removed a row of event whose file exists"),
    (">event", {}, "row 1 of event is not in the ledger"),
    (">event; touch ledger1 ledger2", {}, "row 1 of event is too often in the ledger"),
    ("touch ledger1", {}, "row 1 of event is too often in the ledger"),
    ("echo '2 kept' >>event", {}, "+ event kept"),
    ("touch twice", {}, "+ event kept"),
    ("touch new-id", {}, "a row of event changed its id"),
    ("touch left-over", {}, "+ file left-over"),
    ("touch blurred", {}, "+ file thumbnail"),
    ("touch broken", {}, "the clean run ended with status 1"),
    ("echo 1 >>announced", {}, "recording 1 is too often announced"),
    ("echo 7 >>messages", {}, "message 7 was not delivered"),
    ("exit 3", {}, "the faulty run ended with status 3"),
    ("exit 127", {}, "the faulty run ended with status 127"),
    ("exit 127", {"startup": True}, None),
    ("kill -ABRT $$", {}, "the faulty run ended with status -6"),
    ("kill -ABRT $$", {"startup": True}, "the faulty run ended with status -6"),
    ("kill -SEGV $$", {"startup": True}, "the faulty run ended with status -11"),
    ("sleep 60", {}, "did not end"),
    ("again: >event", {}, None),
    ("again: >event", {"fault": "EIO+"}, "removed a row of event whose file exists"),
    ("exit 0", {"nth": 2}, "the call was not reached"),
    ("exit 0", {"name": "symlink"}, "the call was not reached"),
]

EMAP_FOLDER = 'openat(3</>, "/r/target/@KREmap") = -1 EIO (Input/output error) (INJECTED)'
THUMBNAIL = "var/snapshot/@Thumbnail/a.jpg {}"
NO_THUMBNAIL = "Failed to create thumbnail for snapshot [/r/var/snapshot/a.jpg].\n"
NO_INFO = "Failed to get rec info of event [/r/cam/20260101AM/a-1767255300.mp4]\n"
SHORT_ROW = "0 | 1 | 20260101AM/a-1767255300.mp4 | 1767255300 | 1767255300"
DAYLESS_ROW = "0 | 1 | 20260101AM/a-1767255300.mp4 | 0 | 0"
INTERRUPTED = 'fsync(3</r>) = -1 EINTR (Interrupted system call) (INJECTED)'
TEMPORARY = 'write(5</r/var/snapshot/@Thumbnail/.kestora-1.tmp>) = -1 EIO (Input/output error) (INJECTED)'
THUMBNAIL_FOLDER = "var/snapshot/@Thumbnail {}"
FAILED = 'fsync(3</r>) = -1 EIO (Input/output error) (INJECTED)'

# A difference, the failed calls, the log, the removed rows, and whether a rule excuses the difference.
EXCUSES = [
    (("-", "emap", "a.png"), EMAP_FOLDER, "", {"emap": {"a.png"}}, True),
    (("-", "emap", "a.png"), EMAP_FOLDER, "", {}, False),
    (("-", "emap", "a.png"), FAILED, "", {"emap": {"a.png"}}, False),
    (("-", "emap", "a.png"), "", "", {"emap": {"a.png"}}, False),
    (("-", "snapshot", "a.jpg | 1 | 2"), EMAP_FOLDER, "", {"snapshot": {"a.jpg | 1 | 2"}}, False),
    (("-", "event", SHORT_ROW), EMAP_FOLDER, "", {"event": {SHORT_ROW}}, False),
    (("-", "file", THUMBNAIL), FAILED, NO_THUMBNAIL, {}, True),
    (("-", "file", THUMBNAIL), INTERRUPTED, NO_THUMBNAIL, {}, False),
    (("-", "file", THUMBNAIL), FAILED, "", {}, False),
    (("-", "file", THUMBNAIL), TEMPORARY, "", {}, False),
    (("-", "file", THUMBNAIL), f"{TEMPORARY}\n{TEMPORARY}", "", {}, True),
    (("-", "file", THUMBNAIL), f"{FAILED}\n{FAILED}", "", {}, False),
    (("-", "file", THUMBNAIL_FOLDER), f"{FAILED}\n{FAILED}", NO_THUMBNAIL, {}, True),
    (("-", "file", THUMBNAIL_FOLDER), f"{FAILED}\n{FAILED}", "", {}, False),
    (("-", "emap", "a.png"), f"{TEMPORARY}\n{EMAP_FOLDER}", "", {"emap": {"a.png"}}, True),
    (("+", "file", THUMBNAIL), FAILED, "", {"snapshot": {"a.jpg | 1 | 2"}}, True),
    (("+", "file", THUMBNAIL), FAILED, NO_THUMBNAIL, {}, False),
    (("+", "event", SHORT_ROW), FAILED, NO_INFO, {}, True),
    (("+", "event", SHORT_ROW), FAILED, "", {}, False),
    (("+", "event", SHORT_ROW), INTERRUPTED, NO_INFO, {}, False),
    (("+", "event", DAYLESS_ROW), FAILED, NO_INFO, {}, False),
]

# Recording 1 had its row before, 2 and 3 were added. The announced recordings, the ids of all messages, of the
# queued and of the delivered ones, and the expected problem.
MESSAGES = [
    ([2, 3], [], [], [], None),
    ([2], [], [], [], "recording 3 is not announced"),
    ([2, 3, 2], [], [], [], "recording 2 is too often announced"),
    ([1, 2, 3], [], [], [], "recording 1 is too often announced"),
    ([2, 3], [7, 9], [], [7, 9], None),
    ([2, 3], [7, 9], [], [7, 7, 9], None),
    ([2, 3], [7, 9], [], [7, 9, 7, 9], None),
    ([2, 3], [7, 9], [], [7], "message 9 was not delivered"),
    ([2, 3], [7], [], [7, 9], "message 9 should not have been delivered"),
    ([2, 3], [7, 9], [], [9, 7], "messages were delivered in the order [9, 7]"),
    ([2, 3], [7, 9], [9], [7, 9], "message 9 is still queued"),
]


# The three databases after an interrupted restore (before, after or else), whether they are closed, the status of
# the restore, and the expected problem.
RESTORES = [
    ("bbb", False, 1, None),
    ("aaa", False, 0, None),
    ("aab", True, 1, None),
    ("aab", False, 1, "of different times, but open"),
    ("axb", True, 1, "recording.db is neither as before nor restored"),
    ("bbb", False, 0, "reported a restore that is not complete"),
    ("aaa", True, 0, "reported a restore that is not complete"),
]

# A shell command in a set, and the expected problem.
SETS = [
    ("true", None),
    ("echo >>snapshot.db", "snapshot.db differs from its checksum"),
    ("rm system.db", "has the files"),
    ("touch recording.db-wal", "has the files"),
    ("sed -i '/ set$/d' SHA256SUMS", "has checksums of"),
]


class ScriptedRecorder:
    """A folder with a table in a file, and a tool that does the harm of a case."""

    def __init__(self, folder, harm):
        self.folder = folder
        late = "".join(f"if [ -e {mark} ]; then {then}; fi; " for mark, then in LATE.items())
        self.command = [sys.executable, "-ISB", "-c", TOOL, folder, late, harm]

    def restore(self):
        for name in os.listdir(self.folder):
            os.unlink(os.path.join(self.folder, name))
        with open(os.path.join(self.folder, "event"), "w", encoding="ascii") as file:
            file.write("1 kept\n")

    def what_follows(self, _point):
        return None

    def rows(self):
        events = [(int(number), text) for number, text in self.lines("event")]
        removed = [("event", 1)] * len([name for name in os.listdir(self.folder)
                                        if name.startswith("ledger")])
        return {**{table: [] for table in point.COMPARED}, "event": events,
                "removed": removed, "task": [(0, 1)], "queued": [], "delivered": [],
                **{name: [int(number) for number, in self.lines(name)]
                   for name in ("announced", "messages")}}

    def lines(self, name):
        path = os.path.join(self.folder, name)
        if not os.path.exists(path):
            return []
        with open(path, encoding="ascii") as file:
            return [line.split() for line in file]

    def files(self):
        found = {}
        for name in os.listdir(self.folder):
            if name not in ("event", "announced", "messages"):
                with open(os.path.join(self.folder, name), encoding="ascii") as file:
                    found[name] = file.read()
        return found

    def log(self):
        return ""


def verdict(harm, changes):
    with tempfile.TemporaryDirectory(prefix="fault-selftest-") as scratch:
        folder = os.path.join(scratch, "recorder")
        os.mkdir(folder)
        recorder = ScriptedRecorder(folder, harm)
        undisturbed = point.Undisturbed(recorder)
        if harm.startswith("sleep"):
            calls.DEADLINE_S = DEADLINE_OF_A_TOOL_THAT_HANGS_S
        return point.try_point(recorder, undisturbed, {**HARMLESS, **changes},
                               os.path.join(scratch, "trace"))["problems"]


def verdict_on_messages(announced, messages, queued, delivered):
    undisturbed = types.SimpleNamespace(kept={"event": {(1, "kept")}})
    rows = {"event": [(1, "kept"), (2, "added"), (3, "added")], "announced": announced,
            "messages": messages, "queued": queued, "delivered": delivered}
    return point.announcement_problems(undisturbed, rows) + point.delivery_problems(rows)


def verdict_on_restore(now, is_closed, status):
    with tempfile.TemporaryDirectory(prefix="fault-selftest-") as folder:
        mark = os.path.join(folder, "mark")
        if is_closed:
            with open(mark, "wb"):
                pass
        recorder = types.SimpleNamespace(databases=lambda: dict(zip(databases.NAMES, now)),
                                         path=lambda _: mark, krctl="false", krindexer=["false"])
        undisturbed = types.SimpleNamespace(before=dict.fromkeys(databases.NAMES, "b"),
                                            after=dict.fromkeys(databases.NAMES, "a"))
        return backuppoint.problems_of_state(recorder, undisturbed, status)


def verdict_on_set(harm):
    with tempfile.TemporaryDirectory(prefix="fault-selftest-") as folder:
        make = "for file in system.db recording.db snapshot.db set; do echo $file >$file; done; sha256sum *.db set >SHA256SUMS"
        calls.run_program(["sh", "-c", f"{{ {make}; }} 2>&1; {harm}"], cwd=folder)
        return databases.problems_of_set(folder)


def main():
    failures, deadline = 0, calls.DEADLINE_S
    for harm, changes, expected in CASES:
        calls.DEADLINE_S = deadline
        problems = verdict(harm, changes)
        right = not problems if expected is None else any(expected in text for text in problems)
        if not right:
            print(f"FAILED {harm} {changes}: expected {expected}, found {problems}")
            failures += 1
    for difference, call, log, vanished, expected in EXCUSES:
        gone = {table: vanished.get(table, set()) for table in point.COMPARED}
        if (rules.excuse(difference, call.split("\n"), log, gone) is not None) != expected:
            print(f"FAILED {difference} after {call}: expected {expected}")
            failures += 1
    for *given, expected in MESSAGES:
        problems = verdict_on_messages(*given)
        if bool(problems) != bool(expected) or expected and not any(expected in text
                                                                    for text in problems):
            print(f"FAILED {given}: expected {expected}, found {problems}")
            failures += 1
    for check, cases in ((verdict_on_restore, RESTORES), (verdict_on_set, SETS)):
        for *given, expected in cases:
            problems = check(*given)
            if bool(problems) != bool(expected) or expected and not any(expected in text
                                                                        for text in problems):
                print(f"FAILED {given}: expected {expected}, found {problems}")
                failures += 1
    judged = len(CASES) + len(EXCUSES) + len(MESSAGES) + len(RESTORES) + len(SETS)
    print(f"{judged - failures} of {judged} judged correctly")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
