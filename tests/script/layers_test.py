"""script/check-layers: finds each include that goes against the layers."""

import os
import subprocess
import tempfile
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
PICTURE = "# Layers\n\n```layers\ntools/krctl\nrecorder/run recorder/snapshot\nrecorder/support\n```\n"


class LayersTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestora-script-")
        self.addCleanup(folder.cleanup)
        self.root = folder.name
        self.write("docs/architecture.md", PICTURE)
        self.write("recorder/support/error.h", "#include <string>\n")
        self.write("recorder/run/run.h", '#include "recorder/support/error.h"\n')
        self.write("recorder/snapshot/jpeg.h", "#pragma once\n")
        self.write("tools/krctl/krctl.cpp",
                   '#include "tools/krctl/commands.h"\n#include "recorder/run/run.h"\n')

    def write(self, name, text):
        path = os.path.join(self.root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def findings(self, root):
        done = subprocess.run([os.path.join(ROOT, "script/check-layers"), root], check=False,
                              capture_output=True, text=True)
        self.assertEqual(done.returncode, 1 if done.stdout else 0, done.stderr)
        self.assertEqual(done.stderr, "")
        return done.stdout.splitlines()

    def test_the_project_keeps_its_layers(self):
        self.assertEqual(self.findings(ROOT), [])

    def test_includes_of_lower_layers_are_allowed(self):
        self.assertEqual(self.findings(self.root), [])

    def test_an_include_of_a_higher_layer_is_a_finding(self):
        self.write("recorder/support/error.cpp", '#include "recorder/run/run.h"\n')
        self.assertEqual(self.findings(self.root), [
            "recorder/support/error.cpp: includes recorder/run/, which is not on a lower layer"])

    def test_an_include_of_the_same_layer_is_a_finding(self):
        self.write("recorder/run/live.h", '#include "recorder/snapshot/jpeg.h"\n')
        self.assertEqual(self.findings(self.root), [
            "recorder/run/live.h: includes recorder/snapshot/, which is not on a lower layer"])

    def test_a_folder_that_is_not_in_the_picture_is_a_finding(self):
        self.write("recorder/camera/volume.h", "#pragma once\n")
        self.assertEqual(self.findings(self.root), [
            "docs/architecture.md: the picture of the layers lacks recorder/camera/"])

    def test_a_folder_without_sources_in_the_picture_is_a_finding(self):
        os.remove(os.path.join(self.root, "recorder/snapshot/jpeg.h"))
        self.assertEqual(self.findings(self.root), [
            "docs/architecture.md: the picture of the layers has recorder/snapshot/, "
            "which has no sources"])


if __name__ == "__main__":
    unittest.main()
