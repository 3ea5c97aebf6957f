"""The work of a run for one file, counted rather than timed: system calls by strace, instructions by
callgrind. Both are measured at two sizes, so that the difference excludes what a run does once."""

import collections
import re
import subprocess

from benchlib.cases import CASES

SIZES = {"known": (1000, 3000), "new": (50, 150), "gone": (1000, 3000)}  # callgrind is slow
CALL = re.compile(r"\d+ +(\w+)\(")
GATE = "indexer/reindexlog.h"
MESSAGE = "KRPrintf("


def calls_of(recorder, command, media):
    """Calls by name, from the output of strace: on recordings, on their folders, on everything else."""
    log = recorder.folder / "strace"
    subprocess.run(recorder.inside("strace", "-f", "-qq", "-y", "-s", "4096", "-o", log, *command),
                   check=True, stdout=subprocess.DEVNULL)
    calls = {"recordings": collections.Counter(), "folders": collections.Counter(),
             "others": collections.Counter()}
    with open(log, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            call = CALL.match(line)
            if call:
                calls[about(line[call.end():], media)][call[1]] += 1
    return calls


def about(arguments, media):
    """The object of a call, by its descriptor, or by its path if it has none."""
    words = re.match(r'(?:\d+<([^>]*)>|(?:AT_FDCWD(?:<[^>]*>)?, )?"([^"]*)")', arguments)
    path = (words[1] or words[2] or "") if words else ""
    if not any(path.startswith(folder) for folder in media):
        return "others"
    return "recordings" if path.endswith(".mp4") else "folders"


def instructions_of(recorder, command):
    """All instructions, those in the gate of the log, and the number of messages that passed it."""
    profile = recorder.folder / "callgrind"
    subprocess.run(recorder.inside("valgrind", "--quiet", "--tool=callgrind", "--compress-strings=no",
                                   "--compress-pos=no", f"--callgrind-out-file={profile}", *command),
                   check=True, stdout=subprocess.DEVNULL)
    total = gate = messages = 0
    source = callee = ""
    called = False
    with open(profile, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            key, _, value = line.rstrip("\n").partition("=")
            if key in ("fl", "fi", "fe"):
                source = value
            elif key == "cfn":
                callee = value
            elif key == "calls":
                messages += int(value.split()[0]) if callee.startswith(MESSAGE) else 0
                called = True  # the next line is what the call cost
            elif line[:1].isdigit():
                cost = 0 if called else int(line.split()[1])
                called = False
                total += cost
                gate += cost if source.endswith(GATE) else 0
    return total, gate, messages


def _at(workshop, name, engine, files):
    with workshop.recorder(engine) as recorder:
        pair = CASES[name].prepare(recorder, workshop, files)
        media = [str(workshop.work / prefix) for prefix in ("tree", "gone")]
        pair.before()
        calls = calls_of(recorder, pair.ours, media)
        pair.before()
        return calls, instructions_of(recorder, pair.ours)


def count(workshop, name, engine):
    few, many = SIZES[name]
    small_calls, small = _at(workshop, name, engine, few)
    large_calls, large = _at(workshop, name, engine, many)
    total, gate, messages = ((more - less) / (many - few) for more, less in zip(large, small))
    per_file = {about: {call: (number - small_calls[about][call]) / (many - few)
                        for call, number in calls.items() if number > small_calls[about][call]}
                for about, calls in large_calls.items()}
    return {"case": name, "engine": engine, "files": many, "calls": per_file,
            "instructions": total, "gate_instructions": gate, "messages": messages}


def figures(counts):
    """The figures that have an aim."""
    for each in counts:
        calls = each["calls"]["recordings"]
        if each["case"] == "new":
            yield _figure(each, "new: reads of a recording", calls.get("pread64", 0), 3)
        if each["case"] == "known":
            yield _figure(each, "known: calls on a recording", sum(calls.values()), 1)
            yield _figure(each, "known: messages of a recording", each["messages"], 0)


def _figure(counted, case, value, aim):
    return {"case": case, "engine": counted["engine"], "cache": "warm", "files": counted["files"],
            "figure": value, "unit": "calls", "aim": aim, "kept": value <= aim}
