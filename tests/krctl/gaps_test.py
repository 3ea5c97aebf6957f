"""krctl gaps: the times without a recording, and why there is none."""

import os
import shutil
import time

from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import START_TM, Recorder

GAPS = 2
SPACING = 100
IN_BERLIN = {**os.environ, "TZ": "CET-1CEST,M3.5.0,M10.5.0/3"}


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


    def test_without_cameras_nothing_is_claimed(self):
        self.krctl("camera", "remove", "--id", "1")
        outcome = self.krctl("gaps")
        self.assertEqual(outcome.out, "No cameras are registered, so no gaps were searched for.\n")
        document = self.krctl("gaps", "--json").json()
        self.assert_matches_schema(document, "gaps")
        self.assertEqual((document["gaps"], document["cameras"]), ([], []))

    def listed(self, since, until, *arguments, status=GAPS, **options):
        """The gaps of a time in the notation of the command."""
        document = self.krctl("gaps", "--json", "--min", "1s", "--since", since, "--until", until,
                              *arguments, status=status, **options).json()
        self.assert_matches_schema(document, "gaps")
        self.assertEqual(document["complete"], status != 1)
        self.assertEqual(len(document["cameras"]), 1)
        return document["gaps"]


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

    def test_hour_of_the_change_to_summer_time_has_utc_and_local_time(self):
        gap, = self.listed("2014-03-30T00:30:00Z", "2014-03-30T01:30:00Z", env=IN_BERLIN)
        self.assertEqual((gap["begin"], gap["end"], gap["seconds"]),
                         ("2014-03-30T00:30:00Z", "2014-03-30T01:30:00Z", 3600))
        self.assertEqual((gap["begin_local"], gap["end_local"]),
                         ("2014-03-30T01:30:00+01:00", "2014-03-30T03:30:00+02:00"))

    def test_hour_of_the_change_from_summer_time_has_utc_and_local_time(self):
        gap, = self.listed("2014-10-26T00:30:00Z", "2014-10-26T01:30:00Z", env=IN_BERLIN)
        self.assertEqual((gap["begin_local"], gap["end_local"]),
                         ("2014-10-26T02:30:00+02:00", "2014-10-26T02:30:00+01:00"))

    def test_unreadable_half_day_folder_is_unknown_from_local_midnight_to_noon(self):
        for day, begin, end in (("0312", "2014-03-11T23:00:00Z", "2014-03-12T11:00:00Z"),
                                ("0330", "2014-03-29T23:00:00Z", "2014-03-30T10:00:00Z"),
                                ("1026", "2014-10-25T22:00:00Z", "2014-10-26T11:00:00Z")):
            folder = self.path(f"{self.storage}/2014{day}AM")
            shutil.rmtree(folder, ignore_errors=True)
            with open(folder, "w", encoding="ascii"):  # even root can't list a file
                pass
            gaps = self.listed(f"{begin[:10]}T12:00:00Z", f"{end[:10]}T22:00:00Z", status=1,
                               env=IN_BERLIN)
            self.assertEqual([gap["what"] for gap in gaps],
                             ["not-recorded", "unknown", "not-recorded"])
            self.assertEqual((gaps[1]["begin"], gaps[1]["end"]), (begin, end))
            os.remove(folder)
            self.do("DELETE FROM event")

    def test_overlapping_recordings_and_one_inside_another(self):
        self.do(f"UPDATE event SET end_tm = start_tm + 150 WHERE start_tm = {START_TM}")
        self.do(f"UPDATE event SET end_tm = start_tm + 10 WHERE start_tm = {START_TM + SPACING}")
        self.assertEqual(self.gaps(until=2 * SPACING), [("not-recorded", 150, 200)])

    def test_one_second_between_recordings_is_no_gap_and_two_are_one(self):
        self.do(f"UPDATE event SET end_tm = start_tm + {SPACING - 1} WHERE start_tm = {START_TM}")
        self.assertEqual(self.gaps(until=SPACING + 1, status=0), [])
        self.do(f"UPDATE event SET end_tm = start_tm + {SPACING - 2} WHERE start_tm = {START_TM}")
        self.assertEqual(self.gaps(until=SPACING + 1), [("not-recorded", SPACING - 2, SPACING)])

    def in_progress(self):
        """Adds a file that began a minute ago and is still written; returns its name and start."""
        start_tm = int(time.time()) - 60
        folder = time.strftime("%Y%m%d%p", time.gmtime(start_tm))
        return self.recorder.recording(self.storage, start_tm, folder=folder), start_tm

    def test_recording_in_progress_without_row_is_no_gap(self):
        _, start_tm = self.in_progress()
        gap, = self.listed("1h", "0s", env={**os.environ, "TZ": "UTC0"})
        self.assertEqual(gap["end"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(start_tm)))

    def test_recording_in_progress_whose_row_has_no_length_is_no_gap(self):
        name, start_tm = self.in_progress()
        self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES (1, "
                f"'{name[len(self.storage) + 1:]}', {start_tm}, {start_tm})")
        gap, = self.listed("1h", "0s", env={**os.environ, "TZ": "UTC0"})
        self.assertEqual(gap["end"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(start_tm)))

    def test_link_or_folder_instead_of_a_file_is_damaged_and_not_removed(self):
        os.remove(self.path(self.names[0]))
        os.symlink(self.path(self.names[2]), self.path(self.names[0]))
        os.remove(self.path(self.names[1]))
        os.mkdir(self.path(self.names[1]))
        self.assertEqual([gap for gap in self.gaps() if gap[0] != "not-recorded"],
                         [("damaged", start, start + self.length) for start in (0, SPACING)])

    def test_camera_without_rows_was_not_recorded(self):
        self.do("DELETE FROM event")
        shutil.rmtree(self.path(self.storage + "/20140312AM"))
        self.assertEqual(self.gaps(), [("not-recorded", 0, 3 * SPACING)])

    def test_alert_recording_is_not_counted(self):
        name = self.recording(START_TM + 50)
        os.makedirs(self.path(self.storage + "/laRec/20140312AM"))
        os.rename(self.path(name), self.path(name.replace("/20140312AM", "/laRec/20140312AM")))
        self.assertEqual({what for what, _, _ in self.gaps()}, {"not-recorded"})

    def test_name_of_255_bytes(self):
        name = self.recording(START_TM + 50)
        long_name = f"{'x' * 230}-20140312-{START_TM + 50}.mp4"[-255:]
        os.rename(self.path(name), self.path(f"{self.storage}/20140312AM/{long_name}"))
        self.assertIn(("not-indexed", 50, 50 + self.length), self.gaps())

    def test_times_in_the_future_are_refused(self):
        self.assertIn("--since: expected a time before now",
                      self.krctl("gaps", "--since", "2200-01-01", "--until", "2201-01-01",
                                 status=64).err)
        self.assertIn("--until: expected a time that is not in the future",
                      self.krctl("gaps", "--until", "2200-01-01", status=64).err)

    def test_date_of_tomorrow_is_until_now(self):
        now = time.time()
        tomorrow = time.strftime("%Y-%m-%d", time.gmtime(now + 86400))
        gap, = self.listed("1h", tomorrow, env={**os.environ, "TZ": "UTC0"})
        self.assertLess(gap["end"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(now + 60)))

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
