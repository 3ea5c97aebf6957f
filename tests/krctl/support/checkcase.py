"""What tests of krctl check share: a recorder with three recordings, an alert recording and a
snapshot."""

import os

from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import HALF_DAY, START_TM, Recorder

FINDINGS = 2
OTHER_HALF_DAY = "20140312PM"


class CheckTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")
        self.names = [self.recorder.recording(self.storage, START_TM + number)
                      for number in range(3)]
        self.recorder.recording(self.storage + "/laRec")
        self.snapshot = self.recorder.snapshot()
        self.krctl("run")

    def check(self, *arguments, status=FINDINGS):
        document = self.krctl("check", "--json", *arguments, status=status).json()
        self.assert_matches_schema(document, "check")
        self.assertEqual(document["complete"], status != 1)
        return document

    def found(self, *arguments, status=FINDINGS):
        """The findings as texts: "recordings 1 20140312AM/NAME size"."""
        return [f"{finding['kind']} {finding['camera']} {finding['path']} {finding['finding']}"
                for finding in self.check(*arguments, status=status)["findings"]]

    def problems(self, *arguments):
        return [problem for part in self.check(*arguments, status=1)["parts"]
                for problem in part["problems"]]

    def path(self, name):
        return self.recorder.path(name)

    def row_path(self, name):
        return name.removeprefix(self.storage + "/")

    def move(self, name, folder):
        moved = name.replace(HALF_DAY, folder)
        os.makedirs(os.path.dirname(self.path(moved)), exist_ok=True)
        os.rename(self.path(name), self.path(moved))
        return moved

    def age(self, name):
        """Makes the file older than any check."""
        os.utime(self.path(name), (START_TM, START_TM))

    def truncate(self, name, size=100):
        os.truncate(self.path(name), size)
        self.wait_for_next_second(name)

    def wait_for_next_second(self, name):
        """A check leaves out files that changed in the second of its start or later."""
        changed = int(os.stat(self.path(name)).st_ctime)
        # Programs read the second from a clock that is some milliseconds behind.
        process.until(lambda: process.time.time() > changed + 1.05, "the clock stands still")

    def set_time(self, name, from_now_s):
        later = process.time.time() + from_now_s
        os.utime(self.path(name), (later, later))


class OnPostgresql:
    def new_recorder(self, root):
        self.server = ServedDatabase()
        return Recorder(root, [f'dsn = "{self.server.dsn}"'])

    def do(self, sql):
        self.server.psql("SET search_path TO kestora", sql)
