"""A run that is killed between two writes that belong together: the finding of a recording that can't
be read, and its row. The next run completes both."""

import os

from support import process
from support.case import KrctlTest
from support.checkcase import OnPostgresql
from support.recorder import HALF_DAY, PACKAGE_ROOT, START_TM

FINDINGS = 2


class KilledRun(KrctlTest):
    CALL = "pwrite64"
    FILE = f"{PACKAGE_ROOT}/var/db/recording.db-wal"

    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")
        self.names = []
        self.krctl("run", "-r", "1")

    def run_killed_at(self, number):
        """Kills a run at one of its writes. Returns False if it has fewer."""
        outcome = process.run_traced(
            self.recorder.command("krindexer", "-r", "1"), "-o", "/dev/null",
            *(["-P", self.FILE] if self.FILE else []), "-e", f"trace={self.CALL}", "-e", f"inject={self.CALL}:signal=SIGKILL:when={number}")
        return outcome.status != 0

    def test_leaves_one_finding_and_one_row_to_the_next_run(self):
        number = 0
        is_killed = True
        while is_killed:
            number += 1
            self.names.append(self.recorder.recording(self.storage, START_TM + number, medium="cut.mp4"))
            is_killed = self.run_killed_at(number)
            self.check_after_the_next_run(f"killed at write {number}")
        self.assertGreater(number, 3)
        self.check_undo()

    def check_after_the_next_run(self, point):
        self.recorder.run("krindexer", "-r", "1")
        paths = [f"{HALF_DAY}/{os.path.basename(name)}" for name in self.names]
        findings = self.krctl("findings", "--json", status=FINDINGS).json()["findings"]
        self.assertEqual([(finding["path"], finding["finding"]) for finding in findings],
                         [(path, "unreadable") for path in paths], point)
        self.assertEqual(self.rows(), len(paths), point)

    def rows(self):
        document = self.recorder.krctl("check", "--json", "--kind", "recordings").json()
        self.assertEqual(document["findings"], [])
        return document["parts"][0]["rows"]

    def check_undo(self):
        path = self.recorder.path(self.names[-1])
        os.rename(path, path + ".away")
        removed = self.krctl("run", "--json", "-r", "1").json()
        self.assertEqual(removed["total"]["removed"], 1)
        os.rename(path + ".away", path)
        self.krctl("undo", str(removed["run"]))
        self.assertEqual(self.rows(), len(self.names))


class KilledRunOnPostgresql(OnPostgresql, KilledRun):
    CALL = "sendto"
    FILE = None
