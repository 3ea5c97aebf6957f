"""One point: a run with a fault, the state that it left, a clean run, and the comparison."""

import json
import signal

from injection import calls, rules

# sysexits.h: the task store can't be used; the settings can't be read.
KNOWN_STATUSES = (0, 74, 78)
# The status of the loader if a library can't be loaded.
STARTUP_STATUSES = (127,)

COMPARED = ("camera", "emap", "event", "alert_event", "recording_count", "snapshot")
WITH_LEDGER = ("emap", "event", "alert_event", "snapshot")


class Undisturbed:
    """The recorder before and after a run without faults."""

    def __init__(self, recorder):
        recorder.restore()
        before = recorder.rows()
        status = calls.run_program(recorder.command)
        if status != 0:
            raise RuntimeError(f"the undisturbed run ended with status {status}")
        self.rows, self.files = recorder.rows(), recorder.files()
        # Rows whose file exists. No fault may remove them or change their ids.
        self.kept = {table: set(before[table]) & set(self.rows[table]) for table in COMPARED}
        self.before = {table: {number for number, _ in before[table]} for table in WITH_LEDGER}


def try_point(recorder, undisturbed, point, trace_file):
    """Tries a point; returns the problems found, and the rules that excused differences."""
    recorder.restore()
    result = {"problems": [], "rules": []}
    try:
        status, failed = calls.inject(recorder.command, point, trace_file,
                                    recorder.what_follows(point))
    except calls.Hung as hung:
        return {**result, "problems": [f"the faulty run: {hung}"]}
    if not failed:
        return {**result, "problems": [f"the call was not reached (status {status})"]}
    result["problems"] += _status_problems(point, status)
    excuses = [] if point["fault"] == calls.KILL else failed
    log = recorder.log() if excuses else ""
    vanished = _vanished(undisturbed, recorder.rows())
    result["problems"] += [f"the faulty run removed a row of {table} whose file exists: {text}"
                           for table, texts in vanished.items() for text in sorted(texts)
                           if not rules.may_vanish(excuses, table)]
    try:
        status = calls.run_program(recorder.command)
    except calls.Hung as hung:
        return {**result, "problems": [*result["problems"], f"the clean run: {hung}"]}
    if status != 0:
        result["problems"].append(f"the clean run ended with status {status}")
    rows = recorder.rows()
    for difference in _differences(undisturbed, rows, recorder.files()):
        rule = rules.excuse(difference, excuses, log, vanished)
        (result["rules"] if rule else result["problems"]).append(rule or " ".join(difference))
    result["problems"] += _ending_problems(undisturbed, rows, vanished)
    result["problems"] += announcement_problems(undisturbed, rows) + delivery_problems(rows)
    return result


def _status_problems(point, status):
    if point["fault"] == calls.KILL:
        known = (-signal.SIGKILL,)
    elif point["startup"]:  # before the tool's own first call
        known = (*KNOWN_STATUSES, *STARTUP_STATUSES)
    else:
        known = KNOWN_STATUSES
    return [] if status in known else [f"the faulty run ended with status {status}"]


def _vanished(undisturbed, rows):
    return {table: {text for _, text in kept - set(rows[table])}
            for table, kept in undisturbed.kept.items()}


def _differences(undisturbed, rows, files):
    """Returns (sign, table or "file", text): - for what is missing, + for what is superfluous or duplicated."""
    found = []
    for table in COMPARED:
        found += _unlike(table, [text for _, text in undisturbed.rows[table]],
                         [text for _, text in rows[table]])
    return found + _unlike("file", *([f"{path} {json.dumps(entry)}" for path, entry in some.items()]
                                     for some in (undisturbed.files, files)))


def _unlike(where, expected, actual):
    missing, extra = list(expected), []
    for text in actual:
        if text in missing:
            missing.remove(text)
        else:
            extra.append(text)
    return [("-", where, text) for text in missing] + [("+", where, text) for text in extra]


def _ending_problems(undisturbed, rows, vanished):
    """Checks that rows that were never removed have kept their ids, that each removed row is in the ledger
    exactly once, and that the task has ended."""
    problems = [f"a row of {table} changed its id: {text}"
                for table, texts in _vanished(undisturbed, rows).items()
                for text in sorted(texts - vanished[table])]
    for table, before in undisturbed.before.items():
        gone = before - {number for number, _ in rows[table]}
        problems += _unlike_ledger(table, gone, [number for kind, number in rows["removed"]
                                                 if kind == table and number in before])
    if rows["task"] != [(0, 1)]:
        problems.append(f"the task has not ended: registered and done are {rows['task']}")
    return problems


def _unlike_ledger(table, gone, entered):
    return [f"row {text} of {table} is {'not' if sign == '-' else 'too often'} in the ledger"
            for sign, _, text in _unlike(table, sorted(gone), entered)]


def announcement_problems(undisturbed, rows):
    """Checks that each recording whose row was added is announced once, and no other recording."""
    kept = {number for number, _ in undisturbed.kept["event"]}
    added = [number for number, _ in rows["event"] if number not in kept]
    return [f"recording {number} is {'not' if sign == '-' else 'too often'} announced"
            for sign, _, number in _unlike("event", added, rows["announced"])]


def delivery_problems(rows):
    """Checks that all messages were delivered, in the order of their ids except for repetitions."""
    messages, first = sorted(rows["messages"]), list(dict.fromkeys(rows["delivered"]))
    problems = [f"message {number} {'was not' if sign == '-' else 'should not have been'} delivered"
                for sign, _, number in _unlike("message", messages, first)]
    if first != sorted(first):
        problems.append(f"messages were delivered in the order {rows['delivered']}")
    return problems + [f"message {number} is still queued" for number in rows["queued"]]
