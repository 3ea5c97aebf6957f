"""The base of all tests: a recorder with three cameras, each with a new recording."""

import os
import tempfile
import unittest

from support import process
from support.broker import Broker
from support.recorder import Recorder

CAMERAS = (1, 2, 3)
TIMEOUT_MS = 300  # for tests in which no answer comes; the duration does not decide the result


class MqttTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestora-mqtt-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        os.mkdir(os.path.join(self.folder, "recorder"))
        self.recorder = Recorder(os.path.join(self.folder, "recorder"), CAMERAS)
        for camera in CAMERAS:
            self.recorder.record(camera)

    def broker(self, *lines):
        return self.until_end(Broker(self.folder, *lines))

    def until_end(self, broker):
        self.addCleanup(broker.end)
        return broker

    def reindex(self, *options, **environment):
        """Runs the tool, which never fails because of a broker; returns its lines of the log."""
        status, log = self.recorder.reindex(*options, **environment)
        self.assertEqual(status, 0)
        return log

    def assert_one_warning(self, log, *parts):
        """Checks that the run logged one warning with these parts, and no other warning or error."""
        complaints = [line for line in log if "[warning]" in line or "[error]" in line]
        self.assertEqual(len(complaints), 1, log)
        for part in (*parts, "queued in the outbox and go", " out with the next run"):
            self.assertIn(part, complaints[0])

    def assert_no_complaint(self, log):
        self.assertEqual([line for line in log if "[notice]" not in line], [])

    def assert_due(self, *ids):
        self.assertEqual([(row[0], row[3]) for row in self.recorder.outbox()],
                         [(number, 1) for number in ids])

    def assert_delivered(self, messages, *ids):
        """Checks that these messages were delivered, in this order, each once."""
        self.assertEqual([message[2]["id"] for message in messages], list(ids))

    def assert_ended(self, run):
        process.until(lambda: run.poll() is not None, "the run did not end")
