#!/usr/bin/env python3
"""The headers of platform/ list the name patterns and the SQL of indexer/."""

import pathlib
import re
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[3]

# The templates of the statements, and the values that replace their %s and %d in the headers.
STATEMENTS = {
    "SELECT %s as id, %s as path FROM %s;": [
        ("id", "filename", "emap"), ("id", "filename", "snapshot")],
    "SELECT %s as id, %s as path FROM %s WHERE camera_id = %d;": [
        ("id", "path", "event", "7"), ("id", "path", "alert_event", "7")],
    "DELETE FROM %s WHERE %s IN (%s);": [
        ("emap", "id", "12,7,30"), ("snapshot", "id", "12,7,30")],
}


def text_of(folder, glob):
    return "\n".join(path.read_text(encoding="utf-8")
                     for path in sorted((PROJECT / folder).glob(glob)))


class Headers(unittest.TestCase):
    def setUp(self):
        self.headers = text_of("platform", "*.h")
        self.code = text_of("indexer", "*.cpp")

    def test_list_the_patterns_of_names(self):
        patterns = re.findall(r'\bk\w*Pattern\s*=\s*"([^"]*)"', self.code)
        self.assertEqual(len(patterns), 4)
        for pattern in patterns:
            self.assertIn(pattern.replace("\\\\", "\\"), self.headers)

    def test_list_the_statements(self):
        self.assertEqual(set(re.findall(r'StringPrintf\(\s*"([^"]*)"', self.code)), set(STATEMENTS))
        for template, uses in STATEMENTS.items():
            for words in uses:
                self.assertIn(template.replace("%d", "%s") % words, self.headers)


if __name__ == "__main__":
    unittest.main()
