"""Creates a recorder within a sandbox, and answers requests on standard input. run.py starts this program.

Requests and answers are lines of JSON. A request is "plan", or a point of the plan.
"""

import json
import os
import sys

from injection import calls
from injection.kinds import RECORDERS
from injection.recorder import SETTINGS_FOLDER
from runner.given import PACKAGE_ROOT
from runner.scenario import keep_in_memory


# Several runs are traced, because not every run writes the same number of pages.
TRACED_RUNS = 3


def plan(recorder, trace_file):
    """Returns the points of each call that every undisturbed run has: the name, its number among the calls of
    that name, and whether it belongs to the start-up, before the tool reads its settings."""
    runs = [points_of_a_run(recorder, trace_file) for _ in range(TRACED_RUNS)]
    return {call: [point for point in runs[0][call] if all(point in run[call] for run in runs)]
            for call in recorder.tried}


def points_of_a_run(recorder, trace_file):
    recorder.restore()
    names = sorted({name for family in calls.CALLS.values() for name in family})
    points, counts, startup, piped = {call: [] for call in recorder.tried}, {}, True, False
    for line in calls.trace(recorder.command, names, trace_file):
        name = calls.name_of(line)
        counts[name] = counts.get(name, 0) + 1
        # The tool first examines each folder on the way to the settings.
        startup = startup and SETTINGS_FOLDER not in line
        if startup and os.fsdecode(PACKAGE_ROOT) + "/" in line:
            raise RuntimeError(f"the tool uses the recorder before it reads the settings: {line}")
        # How often a helper's output is read depends on its speed, so the later reads have no fixed numbers.
        piped = piped or (name == "read" and "<pipe:" in line)
        if calls.family_of(line) in points and not (piped and name == "read"):
            points[calls.family_of(line)].append({"name": name, "nth": counts[name], "startup": startup})
    return points


def main():
    kind, bin_dir, media, scratch, address = sys.argv[1:]
    os.umask(0o022)
    keep_in_memory(PACKAGE_ROOT)
    recorder = RECORDERS[kind](bin_dir, media, scratch, address)
    try:
        recorder.make()
        answer_all(recorder, os.path.join(scratch, "trace"))
    finally:
        recorder.end()


def answer_all(recorder, trace_file):
    undisturbed = None
    for line in sys.stdin:
        asked = json.loads(line)
        if asked == "plan":
            answer = plan(recorder, trace_file)
        else:
            undisturbed = undisturbed or recorder.trial.Undisturbed(recorder)
            answer = recorder.trial.try_point(recorder, undisturbed, asked, trace_file)
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
