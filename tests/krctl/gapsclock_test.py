"""krctl gaps: wrong clocks, local times, and the days on which the clocks change."""

import os
import shutil
import time

from support.gapscase import GAPS, IN_BERLIN, GapsPostgresqlTest, GapsTest
from support.recorder import Recorder

SPRING_TM = 1396141200  # 2014-03-30T01:00:00Z, when 02:00 becomes 03:00 in Berlin
AUTUMN_TM = 1414285200  # 2014-10-26T01:00:00Z, when 03:00 becomes 02:00 in Berlin
HOUR_S, DAY_S = 3600, 86400


def text(moment):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(moment))


def times(gap):
    return gap["what"], gap["begin"], gap["end"]


class WrongClock(GapsTest):
    def at_clock(self, now_tm):
        """The environment of programs to which the clock shows this time."""
        return {**os.environ, "TZ": "UTC0", "CLOCKFAKE_S": str(now_tm - int(time.time())),
                "LD_PRELOAD": os.path.join(Recorder.bin_dir, "../lib/clockfake.so"),
                "ASAN_OPTIONS": "verify_asan_link_order=0"}  # the sanitizer is loaded second

    def recorded(self, start_tm):
        """A file of that time, which is no longer written."""
        folder = time.strftime("%Y%m%d%p", time.gmtime(start_tm))
        name = self.recorder.recording(self.storage, f"{start_tm:010}", folder=folder)
        os.utime(self.path(name), (start_tm, start_tm + self.length))
        return name

    def between(self, start_tm, now_tm):
        """The gaps from the start of a recording to that of the next, at this time of the clock."""
        return [times(gap) for gap in self.listed(text(start_tm), text(start_tm + 100 + self.length),
                                                  env=self.at_clock(now_tm))]

    def test_of_1970_knows_nothing_of_later_times(self):
        outcome = self.krctl("gaps", "--since", self.at(0), "--until", self.at(99), status=64,
                             env=self.at_clock(3 * DAY_S))
        self.assertIn("--since: expected a time before now", outcome.err)
        gap, = self.listed("1d", "0s", env=self.at_clock(3 * DAY_S))
        self.assertEqual((gap["what"], gap["begin"][:10], gap["end"][:10]),
                         ("not-recorded", "1970-01-03", "1970-01-04"))

    def test_of_1970_begins_30_days_earlier(self):
        document = self.krctl("gaps", "--json", status=GAPS, env=self.at_clock(3 * DAY_S)).json()
        self.assert_matches_schema(document, "gaps")
        self.assertEqual(document["since"][:10], "1969-12-05")

    def assert_gap_is_found_at_any_time_of_the_clock(self, start_tm):
        self.recorded(start_tm)
        self.recorded(start_tm + 100)
        now_tm = start_tm + HOUR_S
        length = self.length
        self.assertEqual(self.between(start_tm, now_tm), [
            ("not-indexed", text(start_tm), text(start_tm + length)),
            ("not-recorded", text(start_tm + length), text(start_tm + 100)),
            ("not-indexed", text(start_tm + 100), text(start_tm + 100 + length))])
        self.krctl("run", "--quiet")  # at the right clock: a file that changed after "now" is left alone
        gap = [("not-recorded", text(start_tm + length), text(start_tm + 100))]
        self.assertEqual(self.between(start_tm, now_tm), gap)
        self.assertEqual(self.between(start_tm, now_tm + 9 * DAY_S), gap)

    def test_of_1970_finds_the_gaps_of_its_own_recordings(self):
        self.assert_gap_is_found_at_any_time_of_the_clock(2 * DAY_S + 5000)

    def test_of_2055_finds_the_gaps_of_its_own_recordings(self):
        self.assert_gap_is_found_at_any_time_of_the_clock(2690000000)

    def test_of_2055_finds_the_gaps_of_earlier_recordings(self):
        before = self.listed(self.at(0), self.at(300))
        self.assertEqual(self.listed(self.at(0), self.at(300), env=self.at_clock(2690000000)), before)

    def test_that_is_set_back_claims_nothing_after_the_present_time(self):
        start_tm = 2690000000
        self.recorded(start_tm)
        self.krctl("run", "--quiet", env=self.at_clock(start_tm + HOUR_S))
        gap, = self.listed("1h", text(start_tm + HOUR_S), env=self.at_clock(start_tm - HOUR_S))
        self.assertEqual(gap["what"], "not-recorded")
        self.assertLess(gap["end"], text(start_tm))

    def test_that_is_set_back_leaves_a_recording_in_progress(self):
        """It was written in what is the future now."""
        start_tm = 2690000000
        name = self.recorded(start_tm)
        os.utime(self.path(name), (start_tm + HOUR_S, start_tm + HOUR_S))
        gap, = self.listed(text(start_tm - 100), "0s", env=self.at_clock(start_tm + 50))
        self.assertEqual(times(gap), ("not-recorded", text(start_tm - 100), text(start_tm)))

    def test_that_is_set_back_makes_recordings_of_one_time(self):
        start_tm = 2690000000
        self.recorded(start_tm)
        self.recorded(start_tm + 3)  # after the clock was set back by most of the first recording
        self.krctl("run", "--quiet", env=self.at_clock(start_tm + HOUR_S))
        gap, = self.listed(text(start_tm), text(start_tm + 60), env=self.at_clock(start_tm + HOUR_S))
        self.assertEqual(times(gap), ("not-recorded", text(start_tm + 3 + self.length),
                                      text(start_tm + 60)))


class SummerTime(GapsTest):
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

    def test_unreadable_half_day_folder_is_unknown_for_its_local_half_of_the_day(self):
        for half, begin, end in (("0312AM", "2014-03-11T23:00:00Z", "2014-03-12T11:00:00Z"),
                                 ("0312PM", "2014-03-12T11:00:00Z", "2014-03-12T23:00:00Z"),
                                 ("0330AM", "2014-03-29T23:00:00Z", "2014-03-30T10:00:00Z"),
                                 ("0330PM", "2014-03-30T10:00:00Z", "2014-03-30T22:00:00Z"),
                                 ("1026AM", "2014-10-25T22:00:00Z", "2014-10-26T11:00:00Z")):
            self.do("DELETE FROM event")
            shutil.rmtree(self.path(f"{self.storage}/20140312AM"), ignore_errors=True)
            folder = self.path(f"{self.storage}/2014{half}")
            with open(folder, "w", encoding="ascii"):  # even root can't list a file
                pass
            gaps = self.listed(f"{begin[:10]}T09:00:00Z", f"{end[:10]}T23:30:00Z", status=1,
                               env=IN_BERLIN)
            self.assertEqual([gap["what"] for gap in gaps],
                             ["not-recorded", "unknown", "not-recorded"])
            self.assertEqual((gaps[1]["begin"], gaps[1]["end"]), (begin, end))
            os.remove(folder)

    def test_recording_of_an_unreadable_folder_is_unknown_beyond_its_half_of_the_day(self):
        noon_tm = 1394535600  # 2014-03-11T11:00:00Z, noon in Berlin
        self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES "
                f"(1, '20140311AM/rec-{noon_tm - 50}.mp4', {noon_tm - 50}, {noon_tm + 50})")
        with open(self.path(f"{self.storage}/20140311AM"), "w", encoding="ascii"):
            pass
        gaps = self.listed(text(noon_tm - 60), text(noon_tm + 60), status=1, env=IN_BERLIN)
        self.assertEqual([times(gap) for gap in gaps], [
            ("unknown", text(noon_tm - 60), text(noon_tm + 50)),
            ("not-recorded", text(noon_tm + 50), text(noon_tm + 60))])

    def test_day_of_a_change_has_23_or_25_hours(self):
        for day, next_day, hours in (("2014-03-30", "2014-03-31", 23), ("2014-10-26", "2014-10-27", 25)):
            with self.subTest(day):
                gap, = self.listed(day, next_day, env=IN_BERLIN)
                self.assertEqual(gap["seconds"], hours * HOUR_S)

    def test_local_time_that_exists_twice_is_the_whole_hour(self):
        gap, = self.listed("2014-10-26T02:30", "2014-10-26T02:30", env=IN_BERLIN)
        self.assertEqual((gap["begin"], gap["end"]), ("2014-10-26T00:30:00Z", "2014-10-26T01:30:00Z"))

    def test_local_time_that_does_not_exist_is_the_moment_of_the_change(self):
        gap, = self.listed("2014-03-30T02:30", "2014-03-30T03:30", env=IN_BERLIN)
        self.assertEqual((gap["begin"], gap["end"]), (text(SPRING_TM), text(SPRING_TM + HOUR_S // 2)))

    def test_recording_over_a_change_is_one_recording(self):
        for change_tm, offsets in ((SPRING_TM, ("+01:00", "+02:00")), (AUTUMN_TM, ("+02:00", "+01:00"))):
            with self.subTest(text(change_tm)):
                start_tm = change_tm - self.length // 2
                folder = time.strftime("%Y%m%dAM", time.gmtime(change_tm))
                self.recording(start_tm, folder=folder)
                gap, = self.listed(text(start_tm), text(start_tm + self.length), env=IN_BERLIN)
                self.assertEqual(times(gap), ("not-indexed", text(start_tm), text(start_tm + self.length)))
                self.assertEqual((gap["begin_local"][-6:], gap["end_local"][-6:]), offsets)
                self.krctl("run", "--quiet", env=IN_BERLIN)
                self.assertEqual(self.listed(text(start_tm), text(start_tm + self.length), status=0,
                                             env=IN_BERLIN), [])

    def test_table_has_local_time_and_utc(self):
        outcome = self.krctl("gaps", "--since", text(AUTUMN_TM - HOUR_S // 2), "--until",
                             text(AUTUMN_TM + HOUR_S // 2), status=GAPS, env=IN_BERLIN)
        self.assertRegex(outcome.out, r"2014-10-26T02:30:00\+02:00 +2014-10-26T02:30:00\+01:00 +"
                         r"\S.*2014-10-26T00:30:00Z +2014-10-26T01:30:00Z")


class SummerTimeOnPostgresql(SummerTime, GapsPostgresqlTest):
    pass


class WrongClockOnPostgresql(WrongClock, GapsPostgresqlTest):
    pass
