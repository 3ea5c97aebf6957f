"""What README.md and kestora.toml(5) say of the settings, against the code that reads them."""

import os
import re
import unittest

from docs import manual, settings
from docs.project import Project

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
PROJECT = Project(ROOT, krctl=None, files=set())


def readme_keys():
    """(SECTION.KEY, value, comment) of the settings in README.md, also of those commented out."""
    block = re.search(r"^```toml\n(.*?)^```", PROJECT.read("README.md"), re.M | re.S)[1]
    section = None
    for line in block.splitlines():
        heading = re.match(r"(?:# )?\[(\w+)\]", line)
        key = re.match(r"(# )?(\w+) = (\S+)(?:\s+#\s*(.*))?$", line)
        if heading:
            section = heading[1]
        elif key:
            yield f"{section}.{key[2]}", key[3], key[4] or "", bool(key[1])


class SettingsTest(unittest.TestCase):
    def setUp(self):
        self.keys = settings.keys(PROJECT)

    def test_the_readme_names_defaults_and_ranges_of_the_code(self):
        numbers = 0
        for name, value, comment, is_example in readme_keys():
            key = self.keys[name]
            if key.least is None:
                continue
            with self.subTest(key=name):
                numbers += 1
                self.assertIn(f"{key.least} to {key.most}", comment)
                if not is_example:
                    self.assertIn(int(value), key.defaults)
        self.assertGreaterEqual(numbers, 4)

    def test_the_manual_page_names_every_key_with_its_default_and_range(self):
        said = manual.settings(PROJECT.read("packaging/man/kestora.toml.5"))
        self.assertEqual(set(said), set(self.keys))
        for name, key in self.keys.items():
            words = " ".join(said[name].split())
            with self.subTest(key=name):
                if key.least is not None:
                    self.assertIn(f"{key.least} to {key.most}", words)
                for default in key.defaults:
                    self.assertRegex(words, rf"default\b.*\b{default}\b")


if __name__ == "__main__":
    unittest.main()
