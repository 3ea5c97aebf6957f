"""What tests of krctl gaps share: a camera with three recordings that begin 100 seconds apart."""

import os

from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import START_TM, Recorder

GAPS = 2
SPACING = 100
IN_BERLIN = {**os.environ, "TZ": "CET-1CEST,M3.5.0,M10.5.0/3"}
IN_UTC = {**os.environ, "TZ": "UTC0"}
# Takes root's privilege to read files that their mode closes.
RESTRICTED = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]


class GapsTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")
        self.names = [self.recording(START_TM + SPACING * number) for number in range(3)]
        self.krctl("run")
        self.length = self.gaps(until=SPACING)[0][1]

    def do(self, sql):
        self.recorder.query("recording.db", sql)

    def recording(self, start_tm, **options):
        """A file that nothing writes any more."""
        name = self.recorder.recording(self.storage, start_tm, **options)
        os.utime(self.recorder.path(name), (start_tm, start_tm))
        return name

    def gaps(self, *arguments, status=GAPS, since=0, until=3 * SPACING):
        """What, begin and end of each gap, in seconds after the first recording's beginning."""
        document = self.krctl("gaps", "--json", "--min", "1s", "--since", self.at(since), "--until",
                              self.at(until), *arguments, status=status).json()
        self.assert_matches_schema(document, "gaps")
        self.assertEqual(document["complete"], status != 1)
        self.assertEqual(len(document["cameras"]), 1)
        return [(gap["what"], self.offset(gap["begin"]), self.offset(gap["end"]))
                for gap in document["gaps"]]

    def at(self, offset):
        return f"2014-03-12T{self.clock(START_TM + offset)}Z"

    @staticmethod
    def clock(moment):
        second = moment % 86400
        return f"{second // 3600:02}:{second // 60 % 60:02}:{second % 60:02}"

    @staticmethod
    def offset(text):
        hour, minute, second = (int(part) for part in text[11:19].split(":"))
        return hour * 3600 + minute * 60 + second - START_TM % 86400

    def path(self, name):
        return self.recorder.path(name)

    def listed(self, since, until, *arguments, status=GAPS, **options):
        """The gaps of a time in the notation of the command."""
        document = self.krctl("gaps", "--json", "--min", "1s", "--since", since, "--until", until,
                              *arguments, status=status, **options).json()
        self.assert_matches_schema(document, "gaps")
        self.assertEqual(document["complete"], status != 1)
        self.assertEqual(len(document["cameras"]), 1)
        return document["gaps"]

    def restricted(self, since, until, status=1):
        """Gaps and problems as another user sees them, to whom modes of files apply."""
        sandbox, root, *program = self.recorder.command(
            "krctl", "gaps", "--json", "--min", "1s", "--since", self.at(since), "--until", self.at(until))
        outcome = process.run([sandbox, root, *RESTRICTED, *program], env=IN_UTC)
        self.assertEqual(outcome.status, status, outcome)
        document = outcome.json()
        self.assertEqual(document["complete"], status != 1)
        return ([(gap["what"], self.offset(gap["begin"]), self.offset(gap["end"]))
                 for gap in document["gaps"]], document["cameras"][0]["problems"])


class GapsPostgresqlTest(GapsTest):
    def new_recorder(self, root):
        self.server = ServedDatabase()
        return Recorder(root, [f'dsn = "{self.server.dsn}"'])

    def do(self, sql):
        self.server.psql("SET search_path TO kestora", sql)
