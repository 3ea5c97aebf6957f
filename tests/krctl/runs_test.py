"""krctl runs: the list of runs and the rows of one."""

import datetime
import os

from support.case import KrctlTest
from support.recorder import START_TM

UTC = datetime.timezone.utc
# Half an hour off the hour, so that the offset has minutes.
INDIA = {**os.environ, "TZ": "IST-5:30"}
IN_UTC = {**os.environ, "TZ": "UTC0"}
DAY_TM = int(datetime.datetime(2026, 1, 1, 12, tzinfo=UTC).timestamp())


class Runs(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")

    def test_times_are_local_for_people_and_in_utc_in_json(self):
        self.krctl("run", "-e")
        start_tm, = self.recorder.query("system.db", "SELECT start_tm FROM run")[0]
        utc = datetime.datetime.fromtimestamp(start_tm, UTC)
        local = utc.astimezone(datetime.timezone(datetime.timedelta(hours=5, minutes=30)))
        self.assertIn(local.isoformat(), self.krctl("runs", env=INDIA).out)
        document = self.krctl("runs", "--json", env=INDIA).json()
        self.assert_matches_schema(document, "runs")
        self.assertEqual(document["runs"][0]["start"], f"{utc:%Y-%m-%dT%H:%M:%S}Z")


class Selection(KrctlTest):
    """Five runs, each a day after the previous one; the record of the third is lost."""

    def setUp(self):
        super().setUp()
        self.recorder.volume()
        storage = self.recorder.camera(1, "Front")
        for number in range(1, 6):
            self.recorder.recording(storage, START_TM + number)
            self.krctl("run", "-r", "1")
        self.recorder.query("system.db", "UPDATE run SET start_tm = ? + id * 86400", DAY_TM)
        self.recorder.query("system.db", "DELETE FROM run WHERE id = 3")

    def numbers(self, *options, **more):
        document = self.krctl("runs", "--json", *options, **more).json()
        self.assert_matches_schema(document, "runs")
        return [run["run"] for run in document["runs"]]

    def test_limit_selects_the_newest_runs(self):
        self.assertEqual(self.numbers("--limit", "2"), [5, 4])
        self.assertEqual(self.numbers("--limit", "9"), [5, 4, 3, 2, 1])
        self.assertEqual(len(self.krctl("runs", "--limit", "1").out.splitlines()), 2)

    def test_since_selects_by_the_start(self):
        """The start of a run without a record is unknown; run 3 is between selected ones."""
        for text, expected in (("2026-01-03", [5, 4, 3, 2]), ("2026-01-05T12:00:00Z", [5, 4]),
                               ("2026-01-05T12:00:01Z", [5]), ("2026-01-07", []),
                               ("0d", []), ("99999w", [5, 4, 3, 2, 1])):
            with self.subTest(text):
                self.assertEqual(self.numbers("--since", text, env=IN_UTC), expected)
        self.assertEqual(self.numbers("--since", "2026-01-03", "--limit", "1"), [5])

    def test_since_is_in_local_time(self):
        self.assertEqual(self.numbers("--since", "2026-01-05T17:30:00", env=INDIA), [5, 4])
        self.assertEqual(self.numbers("--since", "2026-01-05T17:30:01", env=INDIA), [5])

    def test_refuses_wrong_values(self):
        for options in (("--limit", "0"), ("--limit", "-1"), ("--since", "yesterday"),
                        ("--since", "2026-02-30")):
            with self.subTest(options):
                self.assertIn(options[0], self.krctl("runs", *options, status=64).err)
