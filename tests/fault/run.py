#!/usr/bin/env python3
"""Kills the shipped tool or makes one of its system calls fail; a clean run must then repair the result.

run.py BIN_DIR                                  every call, every point, every fault
run.py --most 8 --fault SIGKILL --fault EIO BIN_DIR
run.py --on sqlite --call openat --fault EIO --at 170 BIN_DIR    one point

README.md describes the comparison and the rules of the tool that affect it.
"""

import argparse
import contextlib
import json
import os
import queue
import signal
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SCENARIOS = os.path.join(HERE, "../scenarios")
MQTT = os.path.join(HERE, "../mqtt")
SANDBOX = os.path.join(HERE, "../../script/sandbox")
sys.path[:0] = [HERE, SCENARIOS, MQTT]

# pylint: disable=wrong-import-position
from injection import calls  # noqa: E402
from injection.kinds import RECORDERS  # noqa: E402
from runner import media  # noqa: E402
from server import Server  # noqa: E402  runner adds its folder to the path


class BrokenWorker(Exception):
    """A worker ended; it has printed the reason."""


class Worker:
    """A process with a recorder in its own sandbox, on which it tries one point after the other."""

    def __init__(self, folder, options, kind, address):
        root, scratch = os.path.join(folder, "recorder"), os.path.join(folder, "scratch")
        os.makedirs(root)
        os.makedirs(scratch)
        self.process = subprocess.Popen(
            [SANDBOX, root, sys.executable, "-m", "injection.worker", kind,
             os.path.abspath(options.bin_dir), options.media, scratch, address],
            env={**os.environ, "PYTHONPATH": f"{HERE}:{SCENARIOS}:{MQTT}"}, text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            start_new_session=True)  # only this process receives Ctrl-C; it ends its workers

    def ask(self, what):
        self.process.stdin.write(json.dumps(what) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        if not answer:
            raise BrokenWorker(f"the worker ended when it was asked for {what}")
        return json.loads(answer)

    def end(self):
        """Ends the worker after its current point, by closing its input."""
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


def selected_points(kind, options, plan):
    """Returns the points to try, by call."""
    selected = {}
    for call in plan:
        if call not in (options.call or calls.CALLS) or call in options.without:
            continue
        points = [{"call": call, "at": at, **point} for at, point in enumerate(plan[call], 1)]
        if options.at:
            points = [point for point in points if point["at"] == options.at]
        elif options.most:
            points = _spread([point for point in points if not point["startup"]], options.most)
        selected[call] = [{**point, "fault": fault} for point in points
                          for fault in options.fault or RECORDERS[kind].faults_of(call)]
    return selected


def _spread(points, most):
    """Returns at most so many points, evenly spread, with the first and the last one."""
    if len(points) <= most:
        return points
    return [points[number * (len(points) - 1) // max(most - 1, 1)] for number in range(most)]


def try_all(points, workers):
    """Yields each point with its result. Each worker has a thread."""
    waiting, done = queue.SimpleQueue(), queue.SimpleQueue()
    for point in points:
        waiting.put(point)

    def work(worker):
        try:
            while True:
                point = waiting.get_nowait()
                done.put((point, worker.ask(point)))
        except queue.Empty:
            pass
        except (BrokenWorker, OSError, ValueError) as error:
            done.put((None, error))

    for worker in workers:
        threading.Thread(target=work, args=(worker,), daemon=True).start()
    for _ in points:
        point, result = done.get()
        if point is None:
            raise result
        yield point, result


def report(kind, call, results, bin_dir):
    """Prints the results of a call's points; returns how many failed."""
    failed = [(point, result) for point, result in results if result["problems"]]
    for point, result in sorted(failed, key=lambda entry: (entry[0]["at"], entry[0]["fault"])):
        print(f"FAILED call={call} fault={point['fault']} at={point['at']}"
              f" ({point['name']} number {point['nth']})")
        for problem in result["problems"]:
            print(f"    {problem}")
        print(f"    repeat: tests/fault/run.py --on {kind} --call {call}"
              f" --fault {point['fault']} --at {point['at']} {bin_dir}")
    ruled = sum(1 for _, result in results if result["rules"] and not result["problems"])
    converged = len(results) - len(failed) - ruled
    print(f"fault: call={call} points={len(results)} converged={converged}"
          + (f" by_rule={ruled}" if ruled else ""))
    for rule in sorted({rule for _, result in results for rule in result["rules"]}):
        met = sum(1 for _, result in results if rule in result["rules"])
        print(f"  rule: {rule}, at {met} points")
    sys.stdout.flush()
    return len(failed)


def run(options, folder):
    start = time.monotonic()
    if not options.media:
        options.media = os.path.join(folder, "media")
    options.media = os.path.abspath(options.media)
    if not os.path.isdir(options.media):
        media.make_all(options.media)
    failures = sum(run_on(kind, os.path.join(folder, kind), options)
                   for kind in options.on or kinds_that_try(options.call))
    print(f"fault: {'FAILED at ' + str(failures) + ' points' if failures else 'OK'}"
          f" ({time.monotonic() - start:.0f} s)")
    return 1 if failures else 0


def kinds_that_try(wanted):
    """Returns the kinds of recorder on which at least one of these calls, or of all, is tried."""
    return [name for name, kind in RECORDERS.items() if {*kind.tried} & {*(wanted or calls.CALLS)}]


def run_on(kind, folder, options):
    """Tries the calls on one kind of recorder; returns the number of failed points."""
    workers, failures = [], 0
    with addresses(kind, options.j) as workers_addresses:
        try:
            for number, address in enumerate(workers_addresses):
                workers.append(Worker(os.path.join(folder, str(number)), options, kind, address))
            plan = workers[0].ask("plan")
            print(f"fault: on {RECORDERS[kind].title}", flush=True)
            for call, points in selected_points(kind, options, plan).items():
                if not plan[call]:
                    print(f"FAILED call={call}: the run doesn't make this call")
                    failures += 1
                failures += report(kind, call, list(try_all(points, workers)), options.bin_dir)
            return failures
        finally:
            for worker in workers:
                worker.end()


@contextlib.contextmanager
def addresses(kind, count):
    """Yields the address of a database for each worker, on one server; empty texts if the kind has none."""
    if not RECORDERS[kind].on_server:
        yield [""] * count
        return
    with Server() as server:
        names = [f"worker{number}" for number in range(count)]
        server.psql(*(f"CREATE DATABASE {name}" for name in names))
        yield [server.dsn_of(name) for name in names]


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("bin_dir", help="the folder of krindexer and krctl")
    parser.add_argument("--on", action="append", choices=RECORDERS,
                        help="the kind of recorder; default: all that make such calls")
    parser.add_argument("--call", action="append", choices=calls.CALLS, help="default: all")
    parser.add_argument("--without", action="append", choices=calls.CALLS, default=[])
    parser.add_argument("--fault", action="append", choices=(*calls.FAULTS, calls.TERMINATED), help="default: all")
    which = parser.add_mutually_exclusive_group()
    which.add_argument("--at", type=int, help="only the Nth point of a call")
    which.add_argument("--most", type=int,
                       help="at most so many points of a call, spread evenly, without the start-up")
    parser.add_argument("--media", help="the folder of the media; created if it does not exist")
    parser.add_argument("-j", type=int, default=len(os.sched_getaffinity(0)),
                        help="the number of workers; default: the number of processors")
    return parser.parse_args()


def main():
    options = parse_arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    with tempfile.TemporaryDirectory(prefix="fault-") as folder:
        try:
            return run(options, folder)
        except KeyboardInterrupt:
            return 128 + signal.SIGINT
        except BrokenWorker as error:
            print(f"fault: {error}")
            return 1


if __name__ == "__main__":
    sys.exit(main())
