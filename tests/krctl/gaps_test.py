"""krctl gaps: the times without a recording, and why there is none."""

import os
import shutil

from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import START_TM, Recorder

GAPS = 2
SPACING = 100


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
        camera, = document["cameras"]
        return [(gap["what"], self.offset(gap["begin"]), self.offset(gap["end"]))
                for gap in camera["gaps"]]

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


class Gaps(GapsTest):
    def test_times_without_file_and_row_are_not_recorded(self):
        self.assertEqual(self.gaps(), [
            ("not-recorded", SPACING * number + self.length, SPACING * (number + 1))
            for number in range(3)])

    def test_time_that_is_recorded_is_status_0(self):
        self.assertEqual(self.gaps(until=self.length, status=0), [])

    def test_row_without_file_is_removed_from_disk(self):
        os.remove(self.path(self.names[1]))
        self.assertIn(("removed-from-disk", SPACING, SPACING + self.length), self.gaps())

    def test_file_without_row_is_not_indexed(self):
        self.recording(START_TM + 50)
        self.assertIn(("not-indexed", 50, 50 + self.length), self.gaps())

    def test_file_without_row_that_cannot_be_read_is_damaged(self):
        name = self.recording(START_TM + 50)
        os.truncate(self.path(name), 100)
        os.utime(self.path(name), (START_TM, START_TM))
        self.assertIn(("damaged", 50, 50 + self.length), self.gaps())

    def test_recording_that_a_check_could_not_read_is_damaged(self):
        with open(self.path(self.names[1]), "r+b") as file:
            file.write(b"\xff" * 64)
        self.assertNotIn("damaged", [what for what, _, _ in self.gaps()])
        self.krctl("check", "--containers", status=2)
        self.assertIn(("damaged", SPACING, SPACING + self.length), self.gaps())

    def test_row_without_length_is_damaged(self):
        self.do(f"UPDATE event SET end_tm = start_tm WHERE start_tm = {START_TM + SPACING}")
        self.assertIn(("damaged", SPACING, SPACING + self.length), self.gaps())

    def test_file_in_another_folder_is_still_the_recording_of_its_row(self):
        before = self.gaps()
        moved = self.names[1].replace("20140312AM", "20140312PM")
        os.makedirs(os.path.dirname(self.path(moved)))
        os.rename(self.path(self.names[1]), self.path(moved))
        self.assertEqual(self.gaps(), before)

    def test_nothing_is_called_removed_if_the_disk_is_not_there(self):
        shutil.move(self.path("volume1"), self.path("elsewhere"))
        self.assertEqual(self.gaps(status=1), [("unknown", 0, 3 * SPACING)])
        self.assertIn("UNKNOWN: camera 1 Front",
                      self.krctl("gaps", "--since", self.at(0), "--until", self.at(99),
                                 status=1).out)

    def test_rows_with_impossible_times(self):
        for number, (start, end) in enumerate([(START_TM + 60, 0), (2**62, 2**62 + 1),
                                               (-2**63 + 1, 1), (START_TM + 10**9, 5)]):
            self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES "
                    f"(1, '20140312AM/x-{number}.mp4', {start}, {end})")
        self.assertIn(("removed-from-disk", 60, 60 + self.length), self.gaps())

    def test_min_and_table(self):
        outcome = self.krctl("gaps", "--since", self.at(0), "--until", self.at(3 * SPACING),
                             "--min", "99s", status=0)
        self.assertIn("No gaps found from", outcome.out)
        outcome = self.krctl("gaps", "--since", self.at(0), "--until", self.at(SPACING),
                             "--min", "10s", status=GAPS)
        self.assertRegex(outcome.out, "1 Front +not recorded +2014-03-12T")
        self.krctl("gaps", "--min", "tomorrow", status=64)
        self.krctl("gaps", "--since", "1d", "--until", "2d", status=64)
        self.krctl("gaps", "--camera", "7", status=64)


class GapsOnPostgresql(Gaps):
    def new_recorder(self, root):
        self.server = ServedDatabase()
        return Recorder(root, [f'dsn = "{self.server.dsn}"'])

    def do(self, sql):
        self.server.psql("SET search_path TO kestora", sql)
