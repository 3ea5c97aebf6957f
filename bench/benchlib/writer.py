"""How long a recorder that adds a recording every 20 ms waits during a run and during krctl undo."""

import contextlib
import subprocess
import sys

from benchlib import report
from benchlib import tree as trees
from benchlib.measure import require

ROWS = 1_000_000
AIM_MS = 250
PATIENCE = {"sqlite": "PRAGMA busy_timeout = 10000", "postgresql": "SET lock_timeout TO 10000"}


class Writer:
    """A recorder that writes while a block of code runs."""

    longest_ms = 0.0

    @contextlib.contextmanager
    def during(self, recorder):
        program = recorder.programs / f"writer_{recorder.engine}"
        with subprocess.Popen(recorder.inside(program, recorder.store.address("recording"),
                                              PATIENCE[recorder.engine]),
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
            require(process.stdout.readline(), "began\n", "the writer")
            yield
            result = process.communicate()[0].split()
        require(process.returncode, 0, "the status of the writer")
        require(int(result[0]) > 1, True, "the writer wrote")
        self.longest_ms = float(result[1])


def measure_all(workshop, engines, rows):
    """Measures during the removal of so many rows, and during their restoration."""
    figures = []
    for engine in engines:
        with workshop.recorder(engine) as recorder:
            figures += _on(recorder, workshop, rows or ROWS)
    return figures


def _on(recorder, workshop, rows):
    recorder.add_cameras([workshop.folder("gone"), workshop.folder("writer")])
    recorder.insert_recordings(trees.rows_of(1, rows))
    yield from _during(recorder, "removal", rows, recorder.ours("-r", "1"))
    require(recorder.number("SELECT count(*) FROM removed"), rows, "rows in the ledger")
    run = recorder.number("SELECT max(run) FROM removed")
    yield from _during(recorder, "undo", rows, [recorder.programs / "krctl", "undo", run])
    require(recorder.number("SELECT count(*) FROM removed"), 0, "rows in the ledger")


def _during(recorder, work, rows, command):
    writer = Writer()
    with writer.during(recorder):
        subprocess.run(recorder.inside(*command), check=True, stdout=subprocess.DEVNULL)
    result = {"case": f"writer: longest wait during {work}", "engine": recorder.engine,
              "cache": "warm", "files": rows, "figure": writer.longest_ms, "unit": "ms waited",
              "aim": AIM_MS, "kept": writer.longest_ms <= AIM_MS}
    print(report.plain(result), file=sys.stderr, flush=True)
    yield result
