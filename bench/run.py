#!/usr/bin/env python3
"""Compares krindexer with floor programs, which do only the minimum that the work requires. Tool and
floor run alternately on one tree, each measured from its start to its exit. The figure is the median of
the ratios of the pairs, or a difference of medians. Both must have done the same work. The comparison
is reported and is never a failure."""

import argparse
import json
import os
import shlex
import signal
import sys
import tempfile
from pathlib import Path

from benchlib import containers, counts, machine, measure, page, peers, plot, report, slow, writer
from benchlib.cases import CASES
from benchlib.suite import SIZES, Suite
from benchlib.workshop import Workshop

ENGINES = ("sqlite", "postgresql")


def case_list():
    lines = [f"  {name:20}{case.summary}" for name, case in CASES.items()]
    return "\n".join(["cases:", *lines])


def make_parser():
    parser = argparse.ArgumentParser(
        prog="script/bench", description=__doc__, epilog=case_list(),
        formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cases", nargs="*", metavar="CASE", help="see below (default: all)")
    parser.add_argument("--bin", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--engine", choices=(*ENGINES, "both"), default="both")
    parser.add_argument("--files", type=int, metavar="N", help="the number of files, instead of each case's own")
    parser.add_argument("--cameras", type=int, metavar="N", default=1,
                        help="the number of cameras over which the known files are spread")
    parser.add_argument("--runs", type=int, metavar="N",
                        help="counted runs of each program (5; with --slow, 1 beside each floor); a difference in ms needs at least 21")
    parser.add_argument("--cold", action="store_true",
                        help="also with a cold page cache; requires root")
    parser.add_argument("--counts", action="store_true",
                        help="also system calls and instructions per file")
    parser.add_argument("--curve", action="store_true", help="also by number of files, up to a million")
    parser.add_argument("--sizes", metavar="N,...", default=",".join(map(str, SIZES)),
                        help="the numbers of files of the curve (%(default)s)")
    parser.add_argument("--ten-million", action="store_true",
                        help="also the case 'known' with ten million files of ten cameras")
    parser.add_argument("--writer", action="store_true",
                        help="also how long a recorder that writes waits during the removal of a "
                             "million rows, and during their undo")
    parser.add_argument("--peers", action="store_true",
                        help="also minidlna and plocate's updatedb on the same tree; installs them")
    parser.add_argument("--containers", action="store_true",
                        help="also which recordings are read without krcontainers; installs GStreamer")
    parser.add_argument("--slow", action="store_true",
                        help="only the cases on slow disks, imitated by a file system, with SQLite: " +
                             ", ".join(slow.CASE_NAMES) + "; requires root and " + slow.DEVICE)
    parser.add_argument("--disks", metavar="DISK,...", default=",".join(slow.PROFILES),
                        help="the disks of --slow (%(default)s)")
    parser.add_argument("--cores", type=int, metavar="N",
                        help="run everything on the first N cores, with taskset; thumbnails need cores")
    parser.add_argument("--only", action="store_true",
                        help="only the measurements of options that begin with 'also'")
    parser.add_argument("--work", type=Path, metavar="DIR",
                        help="where to create trees and recorders (default: the folder for temporary files)")
    parser.add_argument("--json", type=Path, metavar="FILE", help="write the results there, too")
    parser.add_argument("--svg", type=Path, metavar="FILE", help="draw the curve there")
    parser.add_argument("--from", type=Path, metavar="FILE", nargs="+", dest="earlier",
                        help="measure nothing: use the results that --json wrote")
    parser.add_argument("--document", action="store_true",
                        help="write tables and plot to docs/performance.md; measures warm and cold, "
                             "counts and curve unless --from is given")
    return parser


def parse_arguments():
    parser = make_parser()
    options = parser.parse_args()
    unknown = set(options.cases) - set(CASES)
    if unknown:
        parser.error(f"no such case: {', '.join(sorted(unknown))}")
    options.engines = ENGINES if options.engine == "both" else (options.engine,)
    if options.runs is None:
        options.runs = 1 if options.slow else 5
    options.disks = options.disks.split(",")
    unknown = set(options.disks) - set(slow.PROFILES)
    if unknown:
        parser.error(f"no such disk: {', '.join(sorted(unknown))}")
    if options.slow and set(options.cases) - set(slow.CASE_NAMES):
        parser.error(f"slow disks have the cases {', '.join(slow.CASE_NAMES)}")
    cores = sorted(os.sched_getaffinity(0))
    if options.cores is not None and not 1 <= options.cores <= len(cores):
        parser.error(f"--cores: expected 1 to {len(cores)}")
    options.sizes = [int(size) for size in options.sizes.split(",")]
    if options.document:
        options.cold = options.counts = options.curve = True
    return options


def measure_all(workshop, options):
    suite = Suite(workshop, options.engines, options.runs)
    names = options.cases or list(CASES)
    run = _new_run(workshop.work)
    if not options.only:
        run["figures"] += suite.cases(names, options.files)
    if options.cold:
        run["figures"] += suite.cold(names, options.files)
    if options.curve:
        run["curve"], growth = suite.curve(names, options.sizes)
        run["figures"] += growth
    if options.counts:
        run["counts"] = [counts.count(workshop, name, engine) for name in counts.SIZES
                         if name in names for engine in options.engines]
        run["figures"] += counts.figures(run["counts"])
    if options.writer:
        run["figures"] += writer.measure_all(workshop, options.engines, options.files)
    if options.peers:
        run["peers"] = peers.measure_all(workshop, options.files)
    if options.containers:
        run["containers"] = containers.measure_all(workshop)
    if options.ten_million:
        run["figures"] += suite.ten_million()
    return run


def measure_slow(work, options):
    return {**_new_run(work), "slow": slow.measure_all(
        work, options.bin.resolve(), options.disks, options.cases or slow.CASE_NAMES, options.runs, options.files)}


def _new_run(work):
    return {"command": shlex.join(["script/bench", *_words_of_interest()]), "machine": machine.described(work),
            "figures": [], "curve": [], "counts": [], "peers": [], "containers": [], "slow": []}


def _words_of_interest():
    """The command line without the options that name files and folders."""
    words = iter(sys.argv[1:])
    for word in words:
        if word in ("--bin", "--json", "--svg", "--work"):
            next(words, None)
        else:
            yield word


def measured(options):
    if options.earlier:
        return [json.loads(path.read_text(encoding="utf-8")) for path in options.earlier]
    load_before = machine.load()
    run = _measured_now(options)
    run["machine"] += f", load average {load_before:.1f} before and {machine.load():.1f} after"
    return [run]


def _measured_now(options):
    if options.slow:
        with tempfile.TemporaryDirectory(prefix="kestora-bench-", dir=options.work) as folder:
            return measure_slow(Path(folder), options)
    with (tempfile.TemporaryDirectory(prefix="kestora-bench-", dir=options.work) as folder,
          Workshop(Path(folder), options.bin.resolve(), options.cameras) as workshop):
        return measure_all(workshop, options)


def main():
    options = parse_arguments()
    if options.cores:
        machine.use_cores(options.cores)
    runs = measured(options)
    for run in runs:
        print(f"{run['machine']}\n\n{report.text(run)}")
    if options.json:
        options.json.write_text(json.dumps(runs[0], indent=1) + "\n", encoding="utf-8")
    if options.svg:
        options.svg.write_text(plot.svg([point for run in runs for point in run["curve"]]),
                               encoding="utf-8")
    if options.document:
        page.write(runs)


if __name__ == "__main__":
    # The exit removes the temporary folders, also if the bench is stopped.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    try:
        main()
    except measure.Unequal as problem:
        sys.exit(f"bench: {problem}")
