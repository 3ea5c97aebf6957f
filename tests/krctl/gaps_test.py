"""krctl gaps: the times without a recording, and why there is none."""

import os
import shutil
import time

from support.gapscase import GAPS, IN_UTC, SPACING, GapsPostgresqlTest, GapsTest
from support.recorder import START_TM
from support.terminal import Terminal


class Gaps(GapsTest):
    def test_without_cameras_nothing_is_claimed(self):
        self.krctl("camera", "remove", "--id", "1")
        outcome = self.krctl("gaps")
        self.assertEqual(outcome.out, "No cameras are registered, so no gaps were searched for.\n")
        document = self.krctl("gaps", "--json").json()
        self.assert_matches_schema(document, "gaps")
        self.assertEqual((document["gaps"], document["cameras"]), ([], []))

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

    def test_rows_of_a_second_page(self):
        self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) WITH RECURSIVE numbers (n) AS "
                "(SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < 20000) SELECT 1, "
                f"'20140312AM/a-' || n || '.mp4', {START_TM}, {START_TM + 1} FROM numbers")
        self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES "
                f"(1, '20140312AM/z.mp4', {START_TM + 50}, {START_TM + 60})")
        self.assertIn(("removed-from-disk", 50, 60), self.gaps())

    def test_row_outside_of_half_day_folders_is_unknown(self):
        os.makedirs(self.path(f"{self.storage}/20140312AM/deeper"))
        for path in ("elsewhere/x.mp4", "20140312AM/deeper/x.mp4", "20140312AM", ""):
            with self.subTest(path):
                self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES "
                        f"(1, '{path}', {START_TM + 50}, {START_TM + 60})")
                self.assertIn(("unknown", 50, 60), self.gaps(status=1))
                self.do(f"DELETE FROM event WHERE path = '{path}'")

    def test_rows_with_impossible_times(self):
        for number, (start, end) in enumerate([(START_TM + 60, 0), (2**62, 2**62 + 1),
                                               (-2**63 + 1, 1), (START_TM + 10**9, 5)]):
            self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES "
                    f"(1, '20140312AM/x-{number}.mp4', {start}, {end})")
        self.assertIn(("removed-from-disk", 60, 60 + self.length), self.gaps())

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
        gap, = self.listed("1h", "0s", env=IN_UTC)
        self.assertEqual(gap["end"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(start_tm)))

    def test_recording_in_progress_whose_row_has_no_length_is_no_gap(self):
        name, start_tm = self.in_progress()
        self.do("INSERT INTO event (camera_id, path, start_tm, end_tm) VALUES (1, "
                f"'{name[len(self.storage) + 1:]}', {start_tm}, {start_tm})")
        gap, = self.listed("1h", "0s", env=IN_UTC)
        self.assertEqual(gap["end"], time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(start_tm)))

    def test_link_or_folder_instead_of_a_file_is_damaged_and_not_removed(self):
        os.remove(self.path(self.names[0]))
        os.symlink(self.path(self.names[2]), self.path(self.names[0]))
        os.remove(self.path(self.names[1]))
        os.mkdir(self.path(self.names[1]))
        self.assertEqual([gap for gap in self.gaps() if gap[0] != "not-recorded"],
                         [("damaged", start, start + self.length) for start in (0, SPACING)])

    def test_camera_without_rows_was_not_recorded(self):
        self.recorder.camera(2, "Back")
        gap, = self.listed(self.at(0), self.at(SPACING), "--camera", "2")
        self.assertEqual((gap["camera"], gap["what"], gap["seconds"]), (2, "not-recorded", SPACING))

    def test_recording_of_another_camera_is_not_counted(self):
        before = self.listed(self.at(0), self.at(SPACING), "--camera", "1")
        storage = self.recorder.camera(2, "Back")
        self.recorder.recording(storage, START_TM + 50)
        self.krctl("run")
        self.assertEqual(self.listed(self.at(0), self.at(SPACING), "--camera", "1"), before)

    def test_camera_without_rows_but_with_files_is_not_indexed(self):
        self.do("DELETE FROM event")
        self.assertEqual([gap for gap in self.gaps() if gap[0] != "not-recorded"],
                         [("not-indexed", start, start + self.length)
                          for start in (0, SPACING, 2 * SPACING)])

    def test_camera_without_rows_whose_folder_is_gone_is_unknown(self):
        storage = self.recorder.camera(2, "Back")
        shutil.rmtree(self.path(storage))
        gap, = self.listed(self.at(0), self.at(SPACING), "--camera", "2", status=1)
        self.assertEqual((gap["camera"], gap["what"]), (2, "unknown"))

    def test_alert_recording_is_not_counted_without_and_with_its_row(self):
        before = self.gaps()
        self.recording(START_TM + 50, folder="laRec/20140312AM")
        self.assertEqual(self.gaps(), before)
        self.krctl("run")
        self.assertEqual(self.gaps(), before)

    def test_closed_half_day_folder_is_unknown_to_another_user(self):
        os.chmod(self.path(f"{self.storage}/20140312AM"), 0)
        gaps, problems = self.restricted(0, 2 * SPACING)
        self.assertEqual(gaps, [("unknown", 0, 2 * SPACING)])
        self.assertRegex(problems[0], "20140312AM: Permission denied")

    def test_closed_storage_folder_is_unknown_to_another_user(self):
        os.chmod(self.path(self.storage), 0)
        gaps, problems = self.restricted(0, 2 * SPACING)
        self.assertEqual(gaps, [("unknown", 0, 2 * SPACING)])
        self.assertRegex(problems[0], "Permission denied")

    def test_closed_file_without_row_is_unknown_to_another_user(self):
        os.chmod(self.path(self.recording(START_TM + 50)), 0)
        gaps, problems = self.restricted(self.length, SPACING)
        self.assertEqual(gaps, [("not-recorded", self.length, 50), ("unknown", 50, 50 + self.length),
                                ("not-recorded", 50 + self.length, SPACING)])
        self.assertRegex(problems[0], f"{START_TM + 50}.mp4: Permission denied")

    def test_closed_file_outside_of_the_time_is_not_opened(self):
        for start in (2 * SPACING, -86400 - SPACING):
            os.chmod(self.path(self.recording(START_TM + start + 50, folder="20140312AM")), 0)
        self.assertEqual(self.restricted(self.length, SPACING, status=GAPS),
                         ([("not-recorded", self.length, SPACING)], []))

    def test_closed_file_with_its_row_is_recorded_for_another_user(self):
        os.chmod(self.path(self.names[1]), 0)
        os.chmod(self.path(self.recording(START_TM + 50)), 0)  # makes the outcome incomplete
        gaps, _ = self.restricted(SPACING, 2 * SPACING)
        self.assertEqual(gaps, [("not-recorded", SPACING + self.length, 2 * SPACING)])

    def test_borders_of_the_time_cut_recordings_and_gaps(self):
        self.assertEqual(self.gaps(since=self.length, until=SPACING),
                         [("not-recorded", self.length, SPACING)])
        self.assertEqual(self.gaps(since=self.length - 1, until=SPACING + 1),
                         [("not-recorded", self.length, SPACING)])
        self.assertEqual(self.gaps(since=self.length + 5, until=SPACING - 5),
                         [("not-recorded", self.length + 5, SPACING - 5)])
        self.assertEqual(self.gaps(since=1, until=self.length, status=0), [])
        self.assertEqual(self.gaps(since=-3, until=self.length), [("not-recorded", -3, 0)])

    def test_recording_that_began_more_than_a_day_before_the_time_counts_by_its_row(self):
        self.do(f"UPDATE event SET end_tm = start_tm + 200000 WHERE start_tm = {START_TM}")
        begin, end = (f"2014-03-14T{self.clock(START_TM + offset)}Z" for offset in (0, SPACING))
        self.assertEqual(self.listed(begin, end, status=0), [])

    def test_name_of_255_bytes_without_and_with_its_row(self):
        name = self.recording(START_TM + 50)
        end = f"-20140312-{START_TM + 50}.mp4"
        long_name = "x" * (255 - len(end)) + end
        os.rename(self.path(name), self.path(f"{self.storage}/20140312AM/{long_name}"))
        self.assertIn(("not-indexed", 50, 50 + self.length), self.gaps())
        self.krctl("run")
        self.assertIn(("not-recorded", 50 + self.length, SPACING), self.gaps())

    def test_times_in_the_future_are_refused(self):
        self.assertIn("--since: expected a time before now",
                      self.krctl("gaps", "--since", "2200-01-01", "--until", "2201-01-01",
                                 status=64).err)
        self.assertIn("--until: expected a time that is not in the future",
                      self.krctl("gaps", "--until", "2200-01-01", status=64).err)

    def test_date_of_tomorrow_is_until_now(self):
        now = time.time()
        tomorrow = time.strftime("%Y-%m-%d", time.gmtime(now + 86400))
        gap, = self.listed("1h", tomorrow, env=IN_UTC)
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

    def test_no_value_is_cut_on_a_narrow_terminal(self):
        values = ["1 Front", "not recorded", f"2014-03-12T{self.clock(START_TM + self.length)}+00:00",
                  f"2014-03-12T{self.clock(START_TM + SPACING)}+00:00"]
        others = ["length", "begin, UTC", "end, UTC"]
        for columns, left_out in ((40, 3), (60, 3), (80, 3), (100, 2), (200, 0)):
            with self.subTest(columns=columns):
                terminal = Terminal(
                    self.recorder.command("krctl", "gaps", "--since", self.at(self.length), "--until",
                                          self.at(SPACING), "--min", "1s"), columns, {"TZ": "UTC0"})
                self.addCleanup(terminal.end)
                self.assertEqual(terminal.finish(), GAPS)
                titles, row, *rest = terminal.lines()
                self.assertEqual(row.split("  ")[:4], values)
                named = ", ".join(others[3 - left_out:])
                self.assertEqual(rest, [f"terminal too narrow for: {named}"] if left_out else [])
                self.assertEqual([title for title in others if title in titles], others[:3 - left_out])


class GapsOnPostgresql(Gaps, GapsPostgresqlTest):
    pass
