"""One point of krctl backup or krctl restore: the command with a fault, what it left, and the command again."""

import os
import re
import signal

from injection import calls, databases

# tools/common/exitstatus.h: done, failed, databases missing, another run in progress, settings.
KNOWN_STATUSES = (0, 1, 74, 75, 78)
UNUSABLE = 74
# The status of the loader if a library can't be loaded, and its end if it gets no memory.
STARTUP_STATUSES = (127, -signal.SIGSEGV)
SIGNALS = {calls.KILL: signal.SIGKILL, calls.TERMINATED: signal.SIGTERM}

MARK = "var/db/restoring"
REPLACED = "var/db/replaced"
NUMBERED = re.compile(r"(?<=/)(kestora-|files-)\d{6}(-\d{8}T\d{6}Z)?")
# SQLite's files beside a database, which it removes when the last connection is closed.
BESIDE = re.compile(r"-(wal|shm)$")


class Undisturbed:
    """The recorder before and after the command without faults."""

    def __init__(self, recorder):
        recorder.restore()
        self.before = recorder.databases()
        self.sets = {name: _set_of(recorder, name) for name in recorder.sets()}
        recorder.do(recorder.command)
        self.after = recorder.databases()
        self.files = _names(recorder)
        if recorder.name != "backup" and self.after != self.sets[recorder.sets()[-1]]:
            raise RuntimeError("the undisturbed restore did not restore the set")


def try_point(recorder, undisturbed, point, trace_file):
    """Tries a point; returns the problems found. No rule excuses a difference."""
    recorder.restore()
    try:
        status, failed = calls.inject(recorder.command, point, trace_file)
        if not failed:
            return _result([f"the call was not reached (status {status})"])
        problems = _status_problems(point, status)
        check = _problems_of_backup if recorder.name == "backup" else _problems_of_restore
        return _result(problems + check(recorder, undisturbed, status))
    except calls.Hung as hung:
        return _result([f"a command {hung}"])


def _result(problems):
    return {"problems": problems, "rules": []}


def _status_problems(point, status):
    if point["fault"] in SIGNALS:
        known = (-SIGNALS[point["fault"]],)
    else:
        known = (*KNOWN_STATUSES, *(STARTUP_STATUSES if point["startup"] else ()))
    return [] if status in known else [f"the faulty command ended with status {status}"]


def _problems_of_backup(recorder, undisturbed, status):
    problems = _unlike("the databases", recorder.databases(), undisturbed.before)
    problems += _problems_of_sets(recorder, undisturbed)
    made = [name for name in recorder.sets() if name not in undisturbed.sets]
    if status == 0 and not made:
        problems.append("the faulty command reported a set that does not exist")
    newest = recorder.sets()[-1]
    problems += _repeat(recorder)
    problems += _unlike("the databases after the clean command", recorder.databases(), undisturbed.before)
    problems += _problems_of_sets(recorder, undisturbed)
    problems += _left_over(recorder, undisturbed)
    if newest not in recorder.sets() or recorder.sets()[-1] == newest:
        problems.append(f"the sets are now {recorder.sets()}")
    # The set that was the newest after the fault passes krctl's own check, and is what it was.
    status = calls.run_program([recorder.krctl, "restore", f"{recorder.folder}/{newest}"])
    if status != 0:
        problems.append(f"the restore of {newest} ended with status {status}")
    return problems + _unlike(f"{newest}, restored,", recorder.databases(),
                              undisturbed.sets.get(newest, undisturbed.before))


def _problems_of_sets(recorder, undisturbed):
    """Checks that each set is whole, and that none but the oldest is missing."""
    problems = []
    for name in recorder.sets():
        problems += databases.problems_of_set(f"{recorder.folder}/{name}")
        problems += _unlike(f"the set {name}", _set_of(recorder, name),
                            undisturbed.sets.get(name, undisturbed.before))
    if len(recorder.sets()) < len(undisturbed.sets):
        problems.append(f"a set is missing: {recorder.sets()}")
    return problems


def _problems_of_restore(recorder, undisturbed, status):
    problems = problems_of_state(recorder, undisturbed, status)
    problems += _problems_of_sets(recorder, undisturbed)
    if recorder.databases() != undisturbed.before:
        problems += _problems_of_kept(recorder, undisturbed)
    problems += _repeat(recorder)
    problems += _unlike("the databases after the clean command", recorder.databases(), undisturbed.after)
    problems += _problems_of_sets(recorder, undisturbed)
    problems += _problems_of_kept(recorder, undisturbed)
    return problems + _left_over(recorder, undisturbed)


def problems_of_state(recorder, undisturbed, status):
    """Checks that each database is as before or restored, and that no program uses a mixture of them. A damaged
    database is moved away, so it may be missing or empty in between."""
    now, before, after = recorder.databases(), undisturbed.before, undisturbed.after
    problems = [f"{name}.db is neither as before nor restored" for name in databases.NAMES
                if now[name] not in (before[name], after[name]) and before[name] != databases.DAMAGED]
    is_closed = os.path.exists(recorder.path(MARK))
    if now not in (before, after) and not is_closed:
        problems.append("the databases are of different times, but open")
    if status == 0 and (now != after or is_closed):
        problems.append("the faulty command reported a restore that is not complete")
    if is_closed:
        for command in ([recorder.krctl, "runs"], [recorder.krctl, "backup"], recorder.krindexer):
            status = calls.run_program(command)
            if status not in (1, UNUSABLE):
                problems.append(f"the databases are closed, but {command} ended with status {status}")
        if recorder.databases() != now:
            problems.append("a closed database was changed")
    return problems


def _problems_of_kept(recorder, undisturbed):
    """Checks that the replaced databases are kept, whole, at least once."""
    folder, found = recorder.path(REPLACED), []
    for name in sorted(os.listdir(folder)) if os.path.isdir(folder) else ():
        kept = os.path.join(folder, name)
        if name.startswith("kestora-") and (problems := databases.problems_of_set(kept)):
            return problems
        found.append(recorder.contents(kept))
    return [] if undisturbed.before in found else ["the replaced databases are not kept"]


def _repeat(recorder):
    status = calls.run_program(recorder.command)
    return [] if status == 0 else [f"the clean command ended with status {status}"]


def _left_over(recorder, undisturbed):
    names = _names(recorder)
    return ([f"{name} is left over" for name in sorted(names - undisturbed.files)]
            + [f"{name} is missing" for name in sorted(undisturbed.files - names)])


def _names(recorder):
    """Returns the names of all files and folders, without the numbers and times of sets. Each restore keeps
    what it replaces: an interrupted one has kept a set, or the files of another state, too."""
    paths = [os.fsdecode(path) for path in recorder.files()]
    return {NUMBERED.sub("SET", path) for path in paths
            if not BESIDE.search(path) and not path.startswith(REPLACED + "/kestora-")}


def _set_of(recorder, name):
    return recorder.contents(f"{recorder.folder}/{name}")


def _unlike(what, actual, expected):
    return [f"{what}: {name}.db is {_seen(actual[name])}" for name in databases.NAMES
            if actual[name] != expected[name]]


def _seen(content):
    return content if content in (None, databases.DAMAGED) else "different"
