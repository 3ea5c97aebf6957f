"""The project as the checks see it: its files, its documents, and the built krctl."""

import functools
import os
import re
import subprocess

PAGES = "packaging/man/"


class Project:
    """`root` holds the files to read; `files`, if given, is the list of them."""

    def __init__(self, root, krctl, files=None):
        self.root = root
        self.krctl = krctl
        self._files = files

    @functools.cached_property
    def files(self):
        if self._files is not None:
            return self._files
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=self.root,
                                check=True, capture_output=True, text=True).stdout
        return {name for name in listed.split("\0") if name and os.path.exists(self.path(name))}

    @functools.cached_property
    def folders(self):
        folders = set()
        for name in self.files:
            while "/" in name:
                name = name.rpartition("/")[0]
                folders.add(name)
        return folders

    def path(self, name):
        return os.path.join(self.root, name)

    def read(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def texts(self):
        """Returns the names of the Markdown documents to check."""
        return sorted(name for name in self.files
                      if re.fullmatch(r"(README|CHANGELOG)\.md|docs/[^/]+\.md", name))

    def pages(self):
        return sorted(name for name in self.files if name.startswith(PAGES))

    def schemas(self):
        return sorted(name for name in self.files if re.fullmatch(r"docs/json/.+\.json", name))

    @functools.cached_property
    def tests(self):
        """The cases of GoogleTest, SUITE.NAME."""
        cases = set()
        for name in self.files:
            if re.fullmatch(r"tests/.+_test\.cpp", name):
                found = re.findall(r"^(?:TYPED_)?TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", self.read(name), re.M)
                cases.update(f"{suite}.{case}" for suite, case in found)
        return cases

    @functools.cached_property
    def scripts(self):
        """The text of all scripts in the project."""
        return "\n".join(self.read(name) for name in sorted(self.files)
                         if re.match(r"(script|\.ci|bench|packaging|tests)/", name)
                         and self._is_script(name))

    def _is_script(self, name):
        with open(self.path(name), "rb") as file:
            return file.read(2) == b"#!"
