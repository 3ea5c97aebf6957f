"""The journal, as systemd connects a service's standard error to it."""

import os
import re

from support.case import KrctlTest
from support import process


class Journal(KrctlTest):
    def run_with_stderr(self, stream_of):
        """What the tool writes to standard error, which is the journal if the environment names
        it: the file `stream_of`, or standard error itself."""
        path = self.recorder.path("stderr")
        with open(path, "w+", encoding="utf-8") as file:
            status = os.stat(stream_of or path)
            environment = {**os.environ,
                           "JOURNAL_STREAM": f"{status.st_dev}:{status.st_ino}"}
            program = self.started("krindexer", "-e", stderr=file, env=environment)
            self.assertEqual(program.wait(process.DEADLINE_S), 0)
            file.seek(0)
            return file.read().splitlines()

    def test_gets_every_line_of_the_log_with_its_priority(self):
        os.rmdir(self.recorder.path("target/@KREmap"))
        lines = self.run_with_stderr(None)
        self.assertEqual([re.sub(r"^\S+ \[\d+\] ", "", line) for line in self.recorder.log()],
                         [line[3:] for line in lines])
        self.assertTrue(lines[0].startswith("<5>[reindex] [notice] "), lines)
        self.assertTrue(lines[1].startswith("<3>[reindex] [error] "), lines)

    def test_gets_nothing_if_standard_error_is_something_else(self):
        self.assertEqual(self.run_with_stderr("/dev/null"), [])
