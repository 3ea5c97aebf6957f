"""The parts of a benchmark: cases, warm and cold, their curves, and the figures derived from them."""

import sys

from benchlib import measure, report
from benchlib.cases import CASES, GAPS_YEAR, peak_of_an_empty_run

LEAST_RUNS_OF_MS = 21  # a difference of milliseconds needs many
SIZES = (1000, 10_000, 100_000, 200_000, 1_000_000)
GROWTH_FROM, GROWTH_TO, GROWTH_AIM = 100_000, 1_000_000, 1.15
BYTES_PER_ROW_AIM = 150
GAPS_AIM_S = 5
TEN_MILLION, TEN_MILLION_CAMERAS = 10_000_000, 10


def _figure(case, engine, files, value, unit, aim, **others):
    return {"case": case, "engine": engine, "cache": "warm", "files": files, "figure": value,
            "unit": unit, "aim": aim, "kept": None if aim is None else value <= aim, **others}


class Suite:
    """Measures in a workshop according to the options, and reports each result at once."""

    def __init__(self, workshop, engines, runs):
        self.workshop, self.engines, self.runs = workshop, engines, runs

    def cases(self, names, files=None):
        """Each case, by default with its own number of files."""
        results = []
        for name, engine in self._each(names):
            count = CASES[name].files if files is None else files
            count = 0 if CASES[name].unit == "ms" else count
            results.append(self._measure(name, engine, count))
            if name == "known":
                results.append(self._memory(results[-1]))
            if name == "gaps" and engine == "sqlite" and count >= GAPS_YEAR:
                results.append(_figure("gaps: a year of 60 cameras", engine, count, results[-1]["ours_s"], "s",
                                       GAPS_AIM_S))
        return results

    def cold(self, names, files=None):
        if not measure.can_drop_caches():
            print(f"bench: no cold cache without the right to write {measure.DROP_CACHES}",
                  file=sys.stderr)
            return []
        self.workshop.distinct = True
        results = [self._measure(name, engine, min(CASES[name].cold, files or CASES[name].cold), True)
                   for name, engine in self._each(names) if CASES[name].cold]
        self.workshop.distinct = False
        return results

    def curve(self, names, sizes=SIZES):
        """Each case at each size, and the growth of the cost of a file with their number."""
        points, growth = [], []
        for name, engine in self._each(names):
            line = [self._measure(name, engine, size) for size in sizes if size <= CASES[name].most]
            points += line
            cost = {point["files"]: point["ours_s"] / point["files"] for point in line}
            if GROWTH_FROM in cost and GROWTH_TO in cost:
                growth.append(_figure(f"{name}: growth", engine, GROWTH_TO,
                                      cost[GROWTH_TO] / cost[GROWTH_FROM], "ratio", GROWTH_AIM))
        return points, growth

    def ten_million(self):
        """Ten million recordings of ten cameras, all with their rows."""
        self.workshop.cameras = TEN_MILLION_CAMERAS
        return [self._measure("known", engine, TEN_MILLION) for engine in self.engines]

    def _each(self, names):
        return [(name, engine) for name in names for engine in self.engines
                if engine in CASES[name].engines]

    def _measure(self, name, engine, files, cold=False):
        case = CASES[name]
        runs = max(self.runs, LEAST_RUNS_OF_MS) if case.unit == "ms" else self.runs
        with self.workshop.recorder(engine) as recorder:
            pair = case.prepare(recorder, self.workshop, files)
            before = (lambda: measure.drop_caches(recorder)) if cold else (lambda: None)
            timing = measure.in_turn(recorder, pair, runs, before)
        figure = timing.difference_s * 1000 if case.unit == "ms" else timing.ratio
        # With fewer files, the cost of what a run does once dominates.
        aim = None if cold or files < case.files else case.aims.get(engine)
        result = _figure(name, engine, files, figure, case.unit, aim, runs=len(timing.ours),
                         ours_s=timing.ours_s, floor_s=timing.floor_s, peak_kib=timing.peak_kib)
        result["cache"] = "cold" if cold else "warm"
        print(report.plain(result), file=sys.stderr, flush=True)
        return result

    def _memory(self, known):
        with self.workshop.recorder(known["engine"]) as recorder:
            base_kib = peak_of_an_empty_run(recorder, self.workshop)
        per_row = (known["peak_kib"] - base_kib) * 1024 / max(known["files"], 1)
        aim = None if known["aim"] is None else BYTES_PER_ROW_AIM
        return _figure("known: memory", known["engine"], known["files"], per_row, "bytes a row", aim,
                       peak_kib=known["peak_kib"], base_kib=base_kib)
