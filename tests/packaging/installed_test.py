"""The installed files: the links of the documents, and the libraries that `copyright` names."""

import glob
import os
import re
import subprocess
import tempfile
import unittest

from docs import markdown
from support.recorder import Recorder

ROOT = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
COMPILED_IN = {"CLI11": "CLI::", "nlohmann-json": "nlohmann::", "spdlog": "spdlog::", "fmt": "fmt::",
               "toml++": "toml::"}
SANITIZERS = re.compile(r"lib(asan|ubsan|lsan|clang_rt)")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=120).stdout


def package_of(library):
    """The Debian package of a shared library, by its name within a program."""
    path = re.search(rf"^\s*{re.escape(library)} .*=> (\S+)", output("/sbin/ldconfig", "-p"), re.M)[1]
    # Some packages install it below /lib, which is a link to /usr/lib.
    real = os.path.realpath(path).removeprefix("/usr")
    owners = subprocess.run(["dpkg", "-S", real, f"/usr{real}"], check=False, capture_output=True,
                            text=True, timeout=120).stdout
    return owners.split(":")[0]


class InstalledTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="kestora-installed-")
        cls.addClassCleanup(folder.cleanup)
        build = os.path.dirname(os.path.abspath(Recorder.bin_dir))
        subprocess.run(["cmake", "--install", build, "--prefix", f"{folder.name}/usr"], check=True,
                       capture_output=True, timeout=120)
        cls.usr = f"{folder.name}/usr"
        cls.documents = f"{cls.usr}/share/doc/kestora-reindex"

    def read(self, name):
        with open(os.path.join(self.documents, name), encoding="utf-8") as file:
            return file.read()

    def programs(self):
        """The path below the root, and the actual path, of each compiled file."""
        for pattern in ("sbin/*", "libexec/kestora/*", "lib/kestora/*.so"):
            found = glob.glob(f"{self.usr}/{pattern}")
            self.assertTrue(found, pattern)
            yield from ((f"usr/{os.path.relpath(path, self.usr)}", path) for path in found)

    def test_every_link_of_a_document_leads_somewhere(self):
        documents = glob.glob(f"{self.documents}/**/*.md", recursive=True)
        self.assertGreaterEqual(len(documents), 7)
        links = 0
        for document in documents:
            for target in markdown.links(self.read(document)):
                links += 1
                path = os.path.join(os.path.dirname(document), target)
                self.assertTrue(os.path.exists(path), f"{document}: {target}")
        self.assertGreaterEqual(links, 8)

    def test_a_document_has_the_text_of_its_source(self):
        for name in ("README.md", "docs/operations.md"):
            with open(os.path.join(ROOT, name), encoding="utf-8") as file:
                words = re.sub(r"\]\([^)]*\)|\[", "", file.read())
            self.assertEqual(re.sub(r"\]\([^)]*\)|\[", "", self.read(name)), words)

    def test_files_that_the_manual_pages_name_exist(self):
        for page in glob.glob(f"{ROOT}/packaging/man/*"):
            with open(page, encoding="utf-8") as file:
                for path in re.findall(r"^\.(?:It )?Pa /usr/(\S+)", file.read(), re.M):
                    self.assertTrue(os.path.exists(f"{self.usr}/{path}"), f"{page}: /usr/{path}")

    def test_copyright_names_the_libraries_that_are_linked_dynamically_and_no_other(self):
        names = set()
        for _, path in self.programs():
            names.update(re.findall(r"NEEDED\s+(\S+)", output("objdump", "-p", path)))
        needed = {package_of(name) for name in names if not SANITIZERS.match(name)}
        paragraph = re.search(r"^ Linked dynamically(.*?)^ Compiled into", self.read("copyright"),
                              re.M | re.S)[1]
        listed = {name.strip() for line in re.findall(r"^  \* ([^:]+):", paragraph, re.M)
                  for name in line.split(",")}
        self.assertEqual(listed, needed | {"libgcc-s1", "libstdc++6"})

    def test_copyright_names_the_libraries_that_are_compiled_into_each_program(self):
        stanzas = {}
        for stanza in re.split(r"\n\n", self.read("copyright")):
            files = re.match(r"Files: (usr/\S+)\n", stanza)
            if files:
                stanzas[files[1]] = stanza
        for name, path in self.programs():
            symbols = output("nm", "-C", path)
            contained = {library for library, prefix in COMPILED_IN.items()
                         if re.search(rf"[ (<]{prefix}", symbols)}
            comment = stanzas.get(name, "").partition("Comment:")[2]
            said = {library for library in COMPILED_IN
                    if re.search(rf"\b{re.escape(library)}(?!\w)", comment)}
            self.assertEqual(said, contained, name)


if __name__ == "__main__":
    unittest.main()
