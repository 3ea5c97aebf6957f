"""krctl report: a page about a run and the recordings of each day."""

import os
import re
import stat
import time

from support import process
from support.case import KrctlTest
from support.page import Page
from support.postgresql import ServedDatabase
from support.recorder import HALF_DAY, START_TM, Recorder

DAY_S = 86400
DAY = START_TM // DAY_S  # 12 March 2014


class ReportTest(KrctlTest):
    def report(self, *options):
        path = self.recorder.inside("report.html")
        outcome = self.krctl("report", "--html", path, *options)
        self.assertRegex(outcome.out, rf"^wrote {re.escape(path)}, [\d,]+ bytes\n$")
        with open(self.recorder.path("report.html"), encoding="utf-8") as file:
            return Page(file.read())

    def counts(self, camera, days, stamp_us=0):
        """Writes recording counts by day, as the recorder would."""
        for day, count in days.items():
            self.recorder.query("recording.db", "INSERT INTO recording_count VALUES (?, ?, ?, ?)",
                                camera, day, count, stamp_us)


class Run(ReportTest):
    def test_says_that_a_run_was_complete(self):
        storage = self.recorder.camera(1, "Front")
        self.recorder.recording(storage)
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertEqual(page.texts("h1"), ["Complete"])
        self.assertIn("Run 1", page.texts("li"))
        self.assertIn(["Recordings", "1 Front", "1", "0", "1", "0", "0"],
                      [row[:7] for row in page.rows()])
        self.assertEqual(page.texts("h2"), ["By kind and camera", "Recordings by day"])

    def test_names_known_findings_beside_the_claim(self):
        self.recorder.recording(self.recorder.camera(1, "Front"), medium="cut.mp4")
        self.recorder.reindex("-r", "-1")
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertEqual(page.texts("h1"), ["In line, 1 known finding"])
        self.assertIn("Known findings", page.texts("h2"))
        self.assertIn("recordings of camera 1 Front: 1 unreadable", page.texts("li"))

    def test_shows_the_times_of_the_last_days_and_why_there_is_no_recording(self):
        storage = self.recorder.camera(1, "Front")
        now = time.time()
        begin = int(now) - 7200
        for start, name in ((begin, "known"), (begin + 3600, "lost")):
            self.recording_at(storage, start)
        self.recorder.reindex("-r", "-1")
        os.remove(self.recorder.path(self.recording_at(storage, begin + 3600)))
        page = self.report()
        strips = [self.strip(page, number) for number in range(14)]
        self.assertIn("not recorded 00:00\u201324:00", strips[0])
        self.assertIn("removed from disk", "".join(strips[-2:]))
        self.assertEqual(len(strips), 14)
        self.assertIn("removed from disk", page.texts("li"))

    def recording_at(self, storage, start_tm):
        local = time.localtime(start_tm)
        half_day = time.strftime("%Y%m%d", local) + ("AM" if local.tm_hour < 12 else "PM")
        return self.recorder.recording(storage, start_tm, half_day)

    def strip(self, page, number):
        """The text alternative of a day's strip."""
        return re.findall(r'<svg [^>]*role="img" aria-label="(\d+ \w+ \d{4}: [^"]*)"', page.source)[number]

    def test_times_that_can_not_be_read_are_unknown(self):
        self.recorder.volume()
        storage = self.recorder.camera(1, "Front")
        self.recorder.reindex("-r", "-1")
        os.remove(self.recorder.path("volume1/.kestora-volume"))
        page = self.report()
        self.assertIn("unknown 00:00\u201324:00", self.strip(page, 0))
        self.assertTrue(any(text.startswith("Unknown: ") for text in page.texts("li")), storage)

    def test_names_what_could_not_be_read(self):
        name = self.recorder.recording(self.recorder.camera(1, "Front"), medium="cut.mp4")
        self.recorder.reindex("-r", "-1")
        self.assertIn(f"recordings of camera 1 Front: {HALF_DAY}/{os.path.basename(name)}: "
                      "unreadable", self.report().text())

    def test_counts_failures_and_names_their_parts(self):
        storage = self.recorder.camera(1, "Front")
        self.recorder.file(f"{storage}/{HALF_DAY}/rec-20140312-101500-{START_TM}.mp4", "no mp4")
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertRegex(page.texts("h1")[0], r"^\d+ failures?, \d+ known findings?$")
        self.assertIn("Failed", page.texts("h2"))
        self.assertRegex(page.text(), r"recordings of camera 1 Front: \d+ failure")

    def test_shows_only_the_selected_parts(self):
        for number in (1, 2):
            self.recorder.recording(self.recorder.camera(number, f"cam{number}"))
        self.recorder.reindex("-r", "-1", "-s", "-e")
        page = self.report("--camera", "2", "--kind", "recordings", "--kind", "e-maps")
        self.assertIn("only camera 2, recordings, e-maps", page.text())
        self.assertEqual([row[:2] for row in page.rows()[1:]],
                         [["E-maps", "-"], ["Recordings", "2 cam2"], ["Total", ""]])
        self.assertEqual(page.texts("h3"), ["Camera 2 cam2"])

    def test_shows_each_refusal_and_its_reason_once(self):
        self.recorder.volume()
        self.recorder.recording(self.recorder.camera(1, "Front"))
        os.remove(self.recorder.path("volume1/.kestora-volume"))
        self.recorder.reindex("-r", "-1", "-a", "-1")
        page = self.report()
        self.assertRegex(page.texts("h1")[0], "refusal")
        self.assertIn("Refused", page.texts("h2"))
        refusals = [text for text in page.texts("bdi") if text.startswith("camera 1 Front: ")]
        self.assertEqual(len(refusals), 1, page.text())

    def test_distinguishes_a_killed_run_from_a_finished_one(self):
        self.recorder.query("system.db", "INSERT INTO run (pid, start_tm) VALUES (1, ?)", START_TM)
        page = self.report()
        self.assertEqual(page.texts("h1"), ["Not ended"])
        self.assertIn("the next run completes the work", page.text())

    def test_has_a_page_for_a_recorder_without_runs_and_cameras(self):
        page = self.report()
        self.assertEqual(page.texts("h1"), ["No run yet"])
        self.assertEqual(page.rows(), [])

    def test_names_a_camera_that_never_recorded(self):
        self.recorder.camera(1, "Front")
        page = self.report()
        self.assertEqual(page.texts("h3"), ["Camera 1 Front"])
        self.assertIn("No recordings.", page.texts("p"))


class Days(ReportTest):
    def setUp(self):
        super().setUp()
        self.recorder.camera(1, "Front")

    def test_shows_days_without_recordings_between_others(self):
        self.counts(1, {DAY: 5, DAY + 3: 5, DAY + 4: 5, DAY + 6: 5})
        page = self.report()
        self.assertEqual(page.cells("h"), 3)
        self.assertIn("3 days without recordings", page.text())
        self.assertIn("13–14 March 2014: no recordings, 2 days", page.texts("li"))
        self.assertIn("14 March 2014: no recordings", page.hints())

    def test_shows_no_gap_before_the_first_and_after_the_last_day(self):
        self.counts(1, {DAY: 5, DAY + 1: 5})
        page = self.report()
        self.assertEqual(page.cells("h"), 0)
        self.assertIn("No days without recordings, no rows added or removed.", page.texts("p"))
        self.assertIn("10 recordings on 2 days, 12–13 March 2014.", page.texts("p"))

    def test_shades_days_by_their_number_of_recordings(self):
        self.counts(1, {DAY: 1, DAY + 1: 4, DAY + 2: 7, DAY + 3: 10, DAY + 4: 10})
        page = self.report()
        self.assertEqual([page.cells(f"l{level}") for level in range(1, 5)], [1, 1, 1, 2])
        self.assertIn("13 March 2014: 4 recordings", page.hints())

    def test_marks_days_that_a_run_added_rows_to(self):
        self.recorder.recording("volume1/cam1")
        self.counts(1, {DAY + 1: 1})  # long before the run
        name = self.recorder.recording("volume1/cam1", START_TM + DAY_S)
        self.recorder.row("event", camera_id=1, path=name.split("/", 2)[2],
                          start_tm=START_TM + DAY_S)
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertEqual((page.cells("k"), page.cells("p")), (1, 1))
        self.assertIn("12 March 2014: 1 row added", page.texts("li"))
        self.assertIn("12 March 2014: 1 recording; 1 row added", page.hints())

    def test_marks_days_that_a_run_removed_rows_from(self):
        for day in range(2):
            self.recorder.recording("volume1/cam1", START_TM + day * DAY_S)
        self.recorder.reindex("-r", "-1")
        self.recorder.query("recording.db", "UPDATE recording_count SET stamp = 0")  # long ago
        for number in range(2):
            self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/gone{number}.mp4",
                              start_tm=START_TM + DAY_S)
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertEqual((page.cells("k"), page.cells("p")), (1, 0))
        self.assertIn("13 March 2014: 2 rows removed", page.texts("li"))
        self.assertIn("13 March 2014: 1 recording; 2 rows removed", page.hints())

    def test_shows_both_on_a_day_on_which_rows_were_added_and_removed(self):
        for second in range(3):
            self.recorder.recording("volume1/cam1", START_TM + second)
        for number in range(2):
            self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/gone{number}.mp4",
                              start_tm=START_TM)
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertIn("12 March 2014: 3 recordings; 3 rows added, 2 rows removed", page.hints())
        self.assertEqual(page.rows()[-1][3:6], ["2", "3", "2"])

    def test_shows_nothing_of_the_run_before(self):
        """Both began in the same second, so a clock could not separate their changes."""
        self.recorder.recording("volume1/cam1")
        self.recorder.reindex("-r", "-1")
        self.recorder.reindex("-r", "-1")
        self.recorder.query("system.db", "UPDATE run SET start_tm = (SELECT start_tm FROM run "
                                         "WHERE id = 1), end_tm = end_tm + 1 WHERE id = 2")
        self.assertIn("No days without recordings, no rows added or removed.", self.report().texts("p"))

    def test_shows_no_concurrent_changes_of_other_programs(self):
        self.recorder.recording("volume1/cam1")
        self.recorder.reindex("-r", "-1")
        self.recorder.reindex("-r", "-1")
        self.recorder.query("system.db", "UPDATE run SET end_tm = end_tm + 9 WHERE id = 2")
        self.recorder.query("recording.db", "UPDATE recording_count SET count = 2, stamp = "
                                            "(unixepoch() + 1) * 1000000")
        self.assertIn("No days without recordings, no rows added or removed.", self.report().texts("p"))

    def test_shows_changes_of_the_run_that_were_undone(self):
        self.recorder.recording("volume1/cam1")
        gone = self.recorder.recording("volume1/cam1", START_TM + DAY_S)
        self.recorder.reindex("-r", "-1")
        os.remove(self.recorder.path(gone))
        self.recorder.reindex("-r", "-1")
        self.recorder.do("krctl", "undo", "2")
        self.assertIn("13 March 2014: 1 row removed", self.report().texts("li"))

    def test_marks_a_day_without_remaining_recordings(self):
        self.recorder.recording("volume1/cam1")
        self.recorder.row("event", camera_id=1, path="gone.mp4", start_tm=START_TM + DAY_S)
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertEqual((page.cells("e"), page.cells("h"), page.cells("k")), (1, 0, 2))
        self.assertIn("13 March 2014: no recordings; 1 row removed", page.hints())
        self.assertIn("1 recording on 1 day, 12 March 2014.", page.texts("p"))

    def test_names_years_without_recordings(self):
        self.counts(1, {0: 1, DAY: 5})
        page = self.report()
        self.assertIn("1971 to 2013: no recordings", page.texts("p"))
        self.assertEqual(page.texts("figcaption"), ["1970", "2014"])

    def test_counts_recordings_of_impossible_times(self):
        self.counts(1, {DAY: 5, 9 * 10**15: 2})
        self.assertIn("5 recordings on 1 day, 12 March 2014. 2 more with a start time outside the years 1 to 9999.",
                      self.report().texts("p"))


class Source(ReportTest):
    NAMES = ("<script>alert(1)</script>", "&amp; \"quoted\" 'too'", "a\x1bb\nc", "Tür ÄÖ")

    def test_shows_foreign_names_as_text(self):
        for number, name in enumerate(self.NAMES, 1):
            self.recorder.camera(number, name)
            self.recorder.recording(f"volume1/cam{number}")
        self.recorder.reindex("-r", "-1")
        page = self.report()
        shown = [name.replace("\x1b", r"\x1b").replace("\n", r"\n") for name in self.NAMES]
        self.assertEqual(page.texts("h3"),
                         [f"Camera {number} {name}" for number, name in enumerate(shown, 1)])
        self.assertEqual([row[1] for row in page.rows()[1:5]],
                         [f"{number} {name}" for number, name in enumerate(shown, 1)])

    def test_replaces_bytes_that_no_page_may_contain(self):
        self.recorder.camera(1, "name")
        self.recorder.query("system.db", "UPDATE camera SET name = CAST(? AS TEXT)",
                            b"a\xffb\xc2\x85c\xef\xbf\xbed\xe2\x80\xaee")
        page = self.report()
        self.assertEqual(page.texts("h3"), ["Camera 1 a\\xffb\\x85c\ufffdd\\u202ee"])

    def test_needs_nothing_from_elsewhere(self):
        self.recorder.camera(1, "http://name src=x @import url(y)")
        self.counts(1, {DAY: 5, DAY + 3: 5})
        markup = self.report().markup()
        for forbidden in ("http:", "https:", "src=", "@import", "url(", "<script", "<link"):
            self.assertNotIn(forbidden, markup)

    def test_is_a_document_with_language_and_labels(self):
        self.recorder.recording(self.recorder.camera(1, "Front"))
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertTrue(page.source.startswith("<!DOCTYPE html>\n"))
        self.assertIn(("html", {"lang": "en"}), [element[:2] for element in page.elements])
        pictures = [has for tag, has, _ in page.elements if tag == "svg" and "role" in has]
        self.assertEqual([(has["role"], has["aria-label"]) for has in pictures[:1]],
                         [("img", "2014: 1 recording; changes on 1 day")])
        self.assertEqual([has["role"] for has in pictures[1:] if "recorded" in has["aria-label"]],
                         ["img"] * 14)
        heads = [has["scope"] for tag, has, _ in page.elements if tag == "th"]
        self.assertEqual(set(heads), {"col", "row"})

    def test_stays_small_with_ten_years_of_many_cameras(self):
        rows = []
        for camera in range(1, 65):
            for day in range(DAY, DAY + 3650):
                if (day * 7 + camera * 13) % 97 > 1:  # two holes in a hundred days
                    rows.append((camera, day, 20 + (day // 5 * camera) % 30, 0))
        self.recorder.query("recording.db", "INSERT INTO recording_count VALUES "
                            + ",".join(map(str, rows)))
        page = self.report()
        self.assertEqual(len(page.texts("h3")), 64)
        self.assertGreater(page.cells("h"), 64 * 3650 // 60)
        self.assertTrue(any("no recordings on" in hint for hint in page.hints()))
        self.assertLess(len(page.source.encode()), 2_000_000)


class File(ReportTest):
    def assert_fails(self, file, why, **options):
        outcome = self.krctl("report", "--html", file, status=1, **options)
        self.assertRegex(outcome.err, f"^krctl: .*{why}")
        return outcome

    def test_replaces_the_file_with_one_for_owner_and_group(self):
        file = self.recorder.file("report.html", "old", mode=0o666)
        self.krctl("report", "--html", file)
        status = os.stat(self.recorder.path("report.html"))
        self.assertEqual(stat.S_IMODE(status.st_mode), 0o640)
        with open(self.recorder.path("report.html"), encoding="utf-8") as page:
            self.assertTrue(page.read().endswith("</html>\n"))
        self.assertEqual([name for name in os.listdir(self.recorder.root) if "kestora" in name],
                         [])

    def test_is_written_to_a_relative_path(self):
        self.krctl("report", "--html", "here.html", cwd=self.recorder.root)
        self.assertTrue(os.path.isfile(self.recorder.path("here.html")))

    def test_names_a_missing_folder(self):
        self.assert_fails(self.recorder.inside("none/report.html"),
                          "Kestora/none: No such file or directory")

    def test_replaces_no_folder(self):
        for file in ("var", "var/", "."):
            with self.subTest(file):
                self.assert_fails(file, f"can't write {file}: expected the name of a file", cwd=self.recorder.root)

    def test_replaces_no_device_and_no_link(self):
        os.mkfifo(self.recorder.path("pipe"))
        os.symlink("pipe", self.recorder.path("link"))
        for file in ("pipe", "link"):
            with self.subTest(file):
                self.assert_fails(file, f"can't write {file}: expected a regular file", cwd=self.recorder.root)
        self.assertTrue(stat.S_ISFIFO(os.stat(self.recorder.path("pipe")).st_mode))

    def test_names_the_reason_of_a_failed_write_and_keeps_the_old_file(self):
        """The size of files is limited here."""
        self.recorder.camera(1)
        self.counts(1, {DAY + day: 1 for day in range(2000)})
        self.recorder.file("report.html", "old")
        small = "ulimit -f 200; trap '' XFSZ; exec "
        outcome = process.run(
            ["sh", "-c", small + '"$@"', "sh",
             *self.recorder.command("krctl", "report", "--html",
                                    self.recorder.inside("report.html"))])
        self.assertEqual(outcome.status, 1, outcome)
        self.assertRegex(outcome.err, "can't write .*report.html: .*File too large")
        with open(self.recorder.path("report.html"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "old")
        self.assertEqual([name for name in os.listdir(self.recorder.root) if ".tmp" in name], [])

    def test_names_a_folder_that_is_not_writable(self):
        folder = self.recorder.path("kept")
        os.mkdir(folder, 0o500)
        sandbox, root, *krctl = self.recorder.command(
            "krctl", "report", "--html", self.recorder.inside("kept/report.html"))
        powerless = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"]
        outcome = process.run([sandbox, root, *powerless, *krctl])
        self.assertEqual(outcome.status, 1, outcome)
        self.assertRegex(outcome.err, "can't write .*kept/report.html: .*: Permission denied")
        self.assertEqual(os.listdir(folder), [])

    def test_is_asked_for_by_name(self):
        self.assertEqual(self.recorder.krctl("report").status, 64)


class Plan(ReportTest):
    def test_shows_the_changes_without_making_them(self):
        storage = self.recorder.camera(1, "Front")
        self.recorder.recording(storage)
        self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/x-20140313-101500-"
                          f"{START_TM + DAY_S}-LOCK.mp4", start_tm=START_TM + DAY_S)
        page = self.report("--plan")
        self.assertEqual(page.texts("h1"), ["1 row to add, 1 to remove"])
        self.assertIn("12 March 2014: 1 row to add", page.texts("li"))
        self.assertIn("13 March 2014: 1 row to remove", page.texts("li"))
        self.assertEqual(self.recorder.query("recording.db", "SELECT count(*) FROM event"), [(1,)])

    def test_says_that_nothing_would_change(self):
        self.recorder.recording(self.recorder.camera(1, "Front"))
        self.recorder.reindex("-r", "-1")
        page = self.report("--plan", "-r", "1")
        self.assertEqual(page.texts("h1"), ["Nothing to add or remove"])
        self.assertIn("1 recording on 1 day, 12 March 2014.", page.texts("p"))

    def test_shows_refusals(self):
        self.recorder.volume()
        self.recorder.recording(self.recorder.camera(1, "Front"))
        os.remove(self.recorder.path("volume1/.kestora-volume"))
        page = self.report("--plan")
        self.assertEqual(page.texts("h1"), ["The plan is incomplete"])
        self.assertIn("Refused", page.texts("h2"))

    def test_shows_the_days_of_the_cameras_that_are_planned(self):
        for number in (1, 2):
            self.recorder.recording(self.recorder.camera(number, f"cam{number}"))
        for options, cameras in (((), ["Camera 1 cam1", "Camera 2 cam2"]),
                                 (("-r", "2"), ["Camera 2 cam2"]),
                                 (("--camera", "2"), ["Camera 2 cam2"]),
                                 (("--kind", "recordings"), ["Camera 1 cam1", "Camera 2 cam2"]),
                                 (("--kind", "alert-recordings"), []),
                                 (("-s",), [])):
            with self.subTest(options):
                self.assertEqual(self.report("--plan", *options).texts("h3"), cameras)
                if "-s" not in options and "-r" not in options:
                    self.recorder.reindex("-r", "-1")
                    self.assertEqual(self.report(*options).texts("h3"), cameras)

    def test_is_required_by_the_options_for_kinds(self):
        self.assertEqual(self.recorder.krctl("report", "--html", "x", "-r", "1").status, 64)


class OnPostgresql(ReportTest):
    def new_recorder(self, root):
        self.server = ServedDatabase()
        os.mkdir(root)
        return Recorder(root, [f'dsn = "{self.server.dsn}"'])

    def test_shows_the_same_days(self):
        storage = self.recorder.camera(1, "Front")
        self.recorder.recording(storage)
        gone = self.recorder.recording(storage, START_TM + DAY_S)
        self.recorder.reindex("-r", "-1")
        self.assertIn("12–13 March 2014: 2 rows added", self.report().texts("li"))
        self.recorder.reindex("-r", "-1")
        self.assertIn("No days without recordings, no rows added or removed.", self.report().texts("p"))
        os.remove(self.recorder.path(gone))
        for second in range(1, 3):
            self.recorder.recording(storage, START_TM + second)
            self.recorder.recording(storage, START_TM + DAY_S + second)
        self.recorder.reindex("-r", "-1")
        page = self.report()
        self.assertIn("12 March 2014: 2 rows added", page.texts("li"))
        self.assertIn("13 March 2014: 2 rows added, 1 row removed", page.texts("li"))
        self.assertIn("13 March 2014: 2 recordings; 2 rows added, 1 row removed", page.hints())
        self.assertEqual(self.server.psql("SELECT DISTINCT run FROM kestora.run_day").split(), ["3"])
