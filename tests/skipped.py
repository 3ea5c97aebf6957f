#!/usr/bin/env python3
"""Prints the skipped tests and the reasons: skipped.py LOG.

LOG is CTest's Testing/Temporary/LastTest.log. A test may contain many cases, of which some are skipped and
the others pass. The skipped ones are printed as well.
"""

import re
import sys

TEST = re.compile(r"^\d+/\d+ Testing: (.+)$")
# patterns of case and reason
SKIPPED = [
    re.compile(r"^\w+ \((?P<case>[\w.]+)\) \.\.\. skipped (?P<reason>['\"].*['\"])$"),  # unittest
    re.compile(r"^skipped (?P<case>\S+) \([\d.]+ s\)\n {2}(?P<reason>.+)$"),  # tests/scenarios/run.py
    re.compile(r"^.+:\d+: Skipped\n(?P<reason>.+)\n(?:.*\n)??\[  SKIPPED \] (?P<case>\S+) "),  # GoogleTest
]


def cases(lines):
    """(case, reason), as printed by the programs of the tests."""
    for at in range(len(lines)):
        text = "\n".join(lines[at:at + 4])
        for pattern in SKIPPED:
            found = re.match(pattern.pattern, text, re.M)
            if found:
                yield found["case"], found["reason"].strip("'\"")


def by_test(text):
    """A map from tests to the lines of their output."""
    outputs, lines = {}, []
    for line in text.splitlines():
        test = TEST.match(line)
        if test:
            lines = outputs.setdefault(test[1], [])
        lines.append(line)
    return outputs


def skipped(text):
    """One line for each case, with its reason, and for each test without a reason."""
    for test, lines in by_test(text).items():
        found = list(dict.fromkeys(cases(lines)))
        for case, reason in found:
            yield f"{test}: {reason}" if case in test else f"{test}: {case}: {reason}"
        if not found and "Test Skipped." in lines:
            yield f"{test}: gives no reason"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8", errors="replace") as log:
        lines = list(skipped(log.read()))
    print("Skipped, with the reason:" if lines else "No case was skipped.")
    for line in lines:
        print(f"  {line}")


if __name__ == "__main__":
    main()
