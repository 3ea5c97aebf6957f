#!/usr/bin/env python3
"""tools/krplan/seam.h against the program: seam_test.py OBJECT...

The objects are those of krplan's own sources. Each function of platform/ or recorder/ that they
implement has to be named in the header, by the file that implements it, and nothing else."""

import os
import re
import subprocess
import sys

HEADER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/krplan/seam.h")
ENTRY = re.compile(r"^//   (?:(\w+\.cpp)| {10})((?: +[\w:]+,?)+)$", re.MULTILINE)


def listed():
    """Returns (file, name) for each entry in the header."""
    with open(HEADER, encoding="utf-8") as header:
        entries = ENTRY.findall(header.read())
    found, file = set(), None
    for of, names in entries:
        file = of or file
        found |= {(file, name) for name in re.findall(r"[\w:]+", names)}
    return found


def implemented(path):
    """Returns the operations that an object implements, except those of namespace plan."""
    lines = subprocess.run(["nm", "-C", "--defined-only", "--extern-only", path], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    names = {re.sub(r"\(.*", "", line.split(" ", 2)[2]) for line in lines
             if line.split(" ", 2)[1] in "TDBR"}
    return {name for name in names if not name.startswith(("plan::", "__"))}  # "__": the compiler's


def main():
    found = {(os.path.basename(path).removesuffix(".o"), name)
             for path in sys.argv[1:] for name in implemented(path)}
    if not found:
        sys.exit("expected the objects of krplan's sources")
    for file, name in sorted(found - listed()):
        print(f"tools/krplan/seam.h: lacks {name}, which {file} implements")
    for file, name in sorted(listed() - found):
        print(f"tools/krplan/seam.h: has {name}, which {file} doesn't implement")
    return 1 if found != listed() else 0


if __name__ == "__main__":
    sys.exit(main())
