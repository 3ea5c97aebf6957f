"""krctl runs: the list of runs and the rows of one."""

import datetime
import os

from support.case import KrctlTest

UTC = datetime.timezone.utc
# Half an hour off the hour, so that the offset has minutes.
INDIA = {**os.environ, "TZ": "IST-5:30"}


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
