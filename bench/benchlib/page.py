"""The figures of docs/performance.md and its picture."""

from benchlib import plot, report
from benchlib.recorder import ROOT

PAGE = ROOT / "docs" / "performance.md"
PICTURE = ROOT / "docs" / "performance.svg"
BEGIN, END = "<!-- The figures, by script/bench --document: -->", "<!-- Up to here. -->"


def figures(runs):
    """The command, machine and tables of each run, and the picture of all curves."""
    parts = [f"`{run['command']}`, on {run['machine']}:\n\n{report.text(run)}" for run in runs]
    if any(run["curve"] for run in runs):
        parts.append("![Time per file by number of files](performance.svg)")
    return "\n\n".join(parts)


def write(runs):
    before, begin, rest = PAGE.read_text(encoding="utf-8").partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        raise SystemExit(f"bench: {PAGE.name}: the markers of the figures are missing")
    PAGE.write_text(f"{before}{BEGIN}\n\n{figures(runs)}\n\n{END}{after}", encoding="utf-8")
    points = [point for run in runs for point in run["curve"]]
    if points:
        PICTURE.write_text(plot.svg(points), encoding="utf-8")
