"""The base class of the tests: a recorder without cameras, and checks of outcomes."""

import json
import os
import re
import tempfile
import unittest

import jsonschema

from support import process
from support.recorder import Recorder

SCHEMAS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../docs/json")

# What a run that takes longer than a moment shows of its progress, and of a backup after it.
PROGRESS = re.compile(r"^.*  \+\d+ -\d+  (\d+/s  )?\d+%(  .* left)?\n"
                      r"|^krctl: the run has ended; taking a backup\n", re.M)


class KrctlTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestora-krctl-")
        self.addCleanup(folder.cleanup)
        self.recorder = self.new_recorder(os.path.join(folder.name, "recorder"))
        if self.recorder:
            self.addCleanup(self.recorder.end)

    def new_recorder(self, root):
        os.mkdir(root)
        return Recorder(root)

    def started(self, program, *arguments, **options):
        """Starts a program that is ended with the test."""
        running = self.recorder.start(program, *arguments, **options)
        self.addCleanup(process.end, running)
        return running

    def krctl(self, *arguments, status=0, **options):
        """Runs krctl and returns its outcome. On success standard error must have only progress."""
        outcome = self.recorder.krctl(*arguments, **options)
        self.assertEqual(outcome.status, status, outcome)
        if status == 0:
            self.assertEqual(PROGRESS.sub("", outcome.err), "")
        return outcome

    def assert_matches_schema(self, document, name):
        """Checks the document against docs/json/NAME.schema.json. Its first key names the schema."""
        self.assertEqual(next(iter(document.items())), ("schema", f"krctl.{name}/1"))
        with open(os.path.join(SCHEMAS, f"{name}.schema.json"), encoding="utf-8") as file:
            schema = json.load(file)
        jsonschema.Draft202012Validator.check_schema(schema)
        jsonschema.validate(document, schema, jsonschema.Draft202012Validator)
