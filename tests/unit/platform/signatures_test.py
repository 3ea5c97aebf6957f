#!/usr/bin/env python3
"""signatures.cpp asserts the exact signature of every declaration in platform/*.h."""

import pathlib
import re
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[2]

# The beginning or end of a scope, a function or a use of a macro, and an extern variable.
TOKEN = re.compile(r"""
    (?P<scope>\b(?:namespace|class|struct|enum)\s+(?P<name>\w+)(?:\s*:[^{;]*)?\s*\{)
  | (?P<brace>[{}])
  | (?P<function>~?\w+|operator=)\s*\(
  | \bextern\b[^;]*?(?P<variable>\w+)\s*;
""", re.VERBOSE)
NO_FUNCTIONS = {"alignas", "decltype", "sizeof", "static_assert"}


def declarations(header):
    """The qualified names of the functions and variables that a header declares."""
    text = re.sub(r"//.*", "", header)
    text = re.sub(r"__attribute__\s*\(\(.*?\)\)\s*(?=[;{])", "", text, flags=re.DOTALL)
    scopes = []
    for token in TOKEN.finditer(text):
        if token["scope"]:
            scopes.append(token["name"])
        elif token["brace"] == "{":
            scopes.append(None)  # a body or an initial value
        elif token["brace"] == "}":
            scopes.pop()
        elif None not in scopes and token["function"] not in NO_FUNCTIONS:
            yield "::".join([*scopes, token["function"] or token["variable"]])


def assertion(name):
    """The expression that asserts the signature of this qualified name."""
    scope, _, own = name.rpartition("::")
    if own == scope:
        return rf"is_(default_|copy_|move_)?constructible_v<{scope}\b"
    if own == "operator=":
        return rf"is_(copy|move)_assignable_v<{scope}>"
    if own.startswith("~"):
        return rf"has_virtual_destructor_v<{scope}>"
    return rf"decltype\(&{name}\b"


class Signatures(unittest.TestCase):
    def test_each_declaration_of_the_platform_is_asserted(self):
        asserted = (HERE / "signatures.cpp").read_text(encoding="utf-8")
        headers = sorted((PROJECT / "platform").glob("*.h"))
        self.assertEqual(len(headers), 7)
        for header in headers:
            names = list(declarations(header.read_text(encoding="utf-8")))
            self.assertTrue(names, header.name)
            for name in names:
                with self.subTest(header=header.name, name=name):
                    self.assertRegex(asserted, assertion(name))


if __name__ == "__main__":
    unittest.main()
