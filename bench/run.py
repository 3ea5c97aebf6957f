#!/usr/bin/env python3
"""Measures krindexer against floor programs: ours, floor, ours, floor, ... on one tree in one run."""

import argparse
import json
import sys
import tempfile
from pathlib import Path

from benchlib import measure, report
from benchlib.cases import CASES
from benchlib.workshop import Workshop

ENGINES = ("sqlite", "postgresql")
LEAST_RUNS_OF_MS = 21  # a difference of milliseconds needs many


def result_of(name, engine, cache, files, timing):
    case = CASES[name]
    aim = case.aims.get(engine) if cache == "warm" else None
    figure = timing.difference_s * 1000 if case.unit == "ms" else timing.ratio
    return {"case": name, "engine": engine, "cache": cache, "files": files, "runs": len(timing.ours),
            "ours_s": timing.ours_s, "floor_s": timing.floor_s, "figure": figure, "unit": case.unit,
            "aim": aim, "kept": None if aim is None else figure <= aim, "peak_kib": timing.peak_kib}


def measure_case(workshop, name, engine, files, runs, cold=False):
    case = CASES[name]
    runs = max(runs, LEAST_RUNS_OF_MS) if case.unit == "ms" else runs
    with workshop.recorder(engine) as recorder:
        pair = case.prepare(recorder, workshop, files)
        before = (lambda: measure.drop_caches(recorder)) if cold else (lambda: None)
        timing = measure.in_turn(recorder, pair, runs, before)
    return result_of(name, engine, "cold" if cold else "warm", files, timing)


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="script/bench", description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="cases:\n" + "".join(f"  {name:20}{case.told}\n" for name, case in CASES.items()))
    parser.add_argument("cases", nargs="*", metavar="CASE", help="see below; all of them")
    parser.add_argument("--bin", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--engine", choices=(*ENGINES, "both"), default="both")
    parser.add_argument("--files", type=int, help="instead of each case's own number")
    parser.add_argument("--cameras", type=int, default=1, help="that the files are spread over")
    parser.add_argument("--runs", type=int, default=5, help="counted runs of each program")
    parser.add_argument("--json", type=Path, metavar="FILE", help="write the results there, too")
    options = parser.parse_args()
    unknown = set(options.cases) - set(CASES)
    if unknown:
        parser.error(f"there is no case {', '.join(sorted(unknown))}")
    options.engines = ENGINES if options.engine == "both" else (options.engine,)
    return options


def measure_all(workshop, options):
    for name in options.cases or CASES:
        for engine in options.engines:
            if engine not in CASES[name].engines:
                continue
            files = CASES[name].files if options.files is None else options.files
            files = 0 if CASES[name].unit == "ms" else files
            result = measure_case(workshop, name, engine, files, options.runs)
            print(report.table([result]).splitlines()[-1], file=sys.stderr, flush=True)
            yield result


def main():
    options = parse_arguments()
    with (tempfile.TemporaryDirectory(prefix="kestora-bench-") as folder,
          Workshop(Path(folder), options.bin.resolve(), options.cameras) as workshop):
        results = list(measure_all(workshop, options))
    print(report.table(results))
    if options.json:
        options.json.write_text(json.dumps(results, indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    try:
        main()
    except measure.Unequal as problem:
        sys.exit(f"bench: {problem}")
