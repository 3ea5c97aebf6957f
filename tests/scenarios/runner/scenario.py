"""Runs one case within its sandbox, in which the recorder is at the package's root."""

import argparse
import ctypes
import os
import re
import subprocess
import sys

from runner.given import PACKAGE_ROOT, Given
from runner.parts import fold
from runner.postgresql import Postgresql
from runner.sqlite import Sqlite
from runner.steps import StepFailed, Steps
from runner.text import CaseError, NotPossibleHere, shown
from runner.then import Moment, Then, diff, read_log, show_files, show_rows
from runner.tree import without_folder_times

PR_SET_CHILD_SUBREAPER = 36
EXIT_SKIPPED = 77

MAX_SCHEMA_NAME = 63


def adopt_orphans():
    """Makes the runner the parent of the tool's child, which outlives the tool, so that its end is noticed."""
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def keep_in_memory(folder):
    """Keeps the recorder in memory, because disks are slow. The mount ends with the sandbox."""
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "scenario", folder], check=True)


def read(case, name):
    with open(os.path.join(case, name), encoding="utf-8") as file:
        return file.read()


def read_or(case, name, otherwise):
    return read(case, name) if os.path.exists(os.path.join(case, name)) else otherwise


class Scenario:
    """A case, its recorder, and the expected results."""

    def __init__(self, options):
        self.case, self.media, self.scratch = options.case, options.media, options.scratch
        self.bin_dir, self.show = options.bin_dir, options.show
        self.root = PACKAGE_ROOT
        self.engine = (Postgresql(options.postgresql, schema_of(self.case)) if options.postgresql
                       else Sqlite(self.root))
        self.given = Given(self.root, self.media, self.bin_dir, self.engine, options.helpers)

    def carry_out(self, run):
        steps = Steps(self.given, self.bin_dir, self.scratch)
        steps.carry_out(run)
        return steps

    def problems(self):
        """Runs the case twice; returns the problems found."""
        try:
            self.engine.begin()
            self.given.build(read_or(self.case, "given", ""))
            before = Moment(self.root, self.engine)
            steps = self.carry_out(read(self.case, "run"))
            first = Moment(self.root, self.engine)
            if self.show:
                show_result(self.root, before, first, steps)
            then = Then(self.expected("then") or "", self.media, self.engine)
            return (titled("after the first run", then.problems(self.root, before, first, steps))
                    or titled("after the second run", self.second_problems(first)))
        except (CaseError, StepFailed) as error:
            return [str(error)]
        finally:
            self.engine.end()

    def expected(self, name):
        """Returns the text of an expectation, the engine's own one if there is one."""
        return read_or(self.case, f"{name}-{self.engine.name}", read_or(self.case, name, None))

    def second_problems(self, first):
        """Runs the case again; nothing may change, unless the case says why it does."""
        again = self.expected("again-then")
        clear_log(self.root)
        steps = self.carry_out(read_or(self.case, "again-run", read(self.case, "run")))
        second = Moment(self.root, self.engine)
        if again is None:
            return unchanged_problems(first, second)
        then = Then(again, self.media, self.engine)
        if not then.reason:
            raise CaseError("again-then: expected `because REASON` as its first line")
        return then.problems(self.root, first, second, steps)


def schema_of(case):
    """Returns a name for the case's schema that needs no quotes in PostgreSQL."""
    letters = re.sub("[^a-z0-9]+", "_", os.path.basename(case).lower())
    return f"case_{letters}"[:MAX_SCHEMA_NAME]


def clear_log(root):
    path = os.path.join(root, b"var/log/kestora.log")
    if os.path.exists(path) and not os.path.islink(path):
        os.truncate(path, 0)


def titled(title, problems):
    return [f"{title}, {problem}" for problem in problems]


def unchanged_problems(first, second):
    found = diff("files", show_files(first.files), show_files(second.files))
    for table, content in first.tables.items():
        found += diff(f"table {table}", show_rows(*content), show_rows(*second.tables[table]))
    return found


def show_result(root, before, after, steps):
    """Prints the result of a run in the notation of a `then` file, for authors of new cases."""
    for label, process in steps.processes.items():
        if process.status:
            print(f"exit {label} {process.status}")
        for stream in ("stdout", "stderr"):
            lines = process.output(stream).split("\n")[:-1]
            if lines:
                show_block(f"{stream} {label}", lines)
    show_block("log", fold(read_log(root)))
    for table, (columns, rows) in after.tables.items():
        if (columns, rows) != before.tables[table]:
            show_block(f"rows {table}", show_rows(columns, without_stamps(columns, rows)))
    for name, number in steps.commits.items():
        print(f"commits {name} {number}")
    show_changed_files(*(without_folder_times(moment.files) for moment in (before, after)))


def show_block(title, lines):
    print(title, *lines, sep="\n  ")


def without_stamps(columns, rows):
    """Replaces the stamps of recording counts, which differ from run to run, by a placeholder."""
    return [tuple(b"<number>" if column == "stamp" else value for column, value in zip(columns, row))
            for row in rows]


def show_changed_files(before, after):
    for path in sorted({*before, *after}):
        if path not in after:
            print("gone", shown(path))
        elif before.get(path) != after[path]:
            print("replaced" if path in before else "new", shown(path))


def main():
    parser = argparse.ArgumentParser(description="Runs one case. run.py starts this program.")
    parser.add_argument("bin_dir")
    parser.add_argument("case")
    parser.add_argument("media")
    parser.add_argument("scratch")
    parser.add_argument("--helpers", help="how many helpers work ahead of the tool")
    parser.add_argument("--show", action="store_true")
    parser.add_argument("--postgresql", help="the address of a server")
    options = parser.parse_args()
    os.umask(0o022)
    os.chmod(os.path.dirname(PACKAGE_ROOT), 0o755)  # the sandbox creates it with the caller's umask
    adopt_orphans()
    keep_in_memory(PACKAGE_ROOT)
    try:
        problems = Scenario(options).problems()
    except NotPossibleHere as reason:
        print(f"  {reason}")
        return EXIT_SKIPPED
    for problem in problems:
        print(f"  {problem}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
