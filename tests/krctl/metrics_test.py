"""krctl metrics: the text format of Prometheus."""

import os
import re
import stat
import time

from support import process
from run_test import RunTest

SAMPLE = re.compile(r'(?P<name>[a-z_]+)(\{(?P<labels>([a-z]+="([^"\\\n]|\\["\\n])*",?)*)\})? '
                    r'(?P<value>[0-9.e+]+)')


class Metrics(RunTest):
    def samples(self, text):
        """Returns values by name and labels, after checking the format of every line."""
        samples, declared = {}, set()
        for line in text.splitlines():
            if line.startswith("# TYPE "):
                self.assertRegex(line, r"^# TYPE [a-z_]+ gauge$")
                declared.add(line.split()[2])
            elif not line.startswith("# HELP "):
                match = SAMPLE.fullmatch(line)
                self.assertTrue(match, line)
                self.assertIn(match["name"], declared)
                key = (match["name"].removeprefix("kestora_reindex_"), match["labels"] or "")
                self.assertNotIn(key, samples)
                samples[key] = float(match["value"])
        return samples

    def test_of_a_recorder_without_runs_show_no_run_in_progress(self):
        self.assertEqual(self.samples(self.krctl("metrics").out), {("running", ""): 0})

    def test_have_samples_for_the_run_and_for_each_camera(self):
        self.recorder.recording(self.storage)
        self.krctl("run")
        samples = self.samples(self.krctl("metrics").out)
        front = 'kind="recordings",camera="1",name="Front"'
        self.assertEqual(samples["part_rows_added", front], 1)
        self.assertEqual(samples["part_files", front], 1)
        self.assertEqual(samples["last_run_failures", ""], 0)
        self.assertGreater(samples["last_run_end_timestamp_seconds", ""], 1.7e9)

    def test_have_the_backups_of_each_folder_that_can_be_listed(self):
        folders = [self.recorder.inside(name) for name in ("backup", "other", "missing")]
        os.mkdir(self.recorder.path("backup"), 0o750)
        os.mkdir(self.recorder.path("other"), 0o750)
        self.recorder.settings(f"[backup]\nfolder = {folders}\n")
        before = time.time()
        self.krctl("backup", "--to", folders[0])

        samples = self.samples(self.krctl("metrics").out)

        self.assertEqual({key[1]: value for key, value in samples.items() if key[0] == "backup_sets"},
                         {f'folder="{folders[0]}"': 1, f'folder="{folders[1]}"': 0})
        taken = {key[1]: value for key, value in samples.items() if key[0] == "last_backup_timestamp_seconds"}
        self.assertEqual(list(taken), [f'folder="{folders[0]}"'])
        self.assertGreaterEqual(taken[f'folder="{folders[0]}"'], int(before))

    def test_count_refusals(self):
        self.lose_volume()
        self.krctl("run", status=3)
        samples = self.samples(self.krctl("metrics").out)
        self.assertEqual(samples["last_run_refusals", ""], 2)

    def test_during_a_run_and_after_it_was_killed_claim_no_end(self):
        self.krctl("run")
        ended = self.samples(self.krctl("metrics").out)
        release = self.hold_up()
        running = self.started("krindexer", "-r", "1")
        live = process.until(lambda: self.krctl("status", "--json").json()["running"],
                             "no run began")

        during = self.samples(self.krctl("metrics").out)
        os.kill(live["pid"], 9)
        running.wait(process.DEADLINE_S)
        release()
        after = self.samples(self.krctl("metrics").out)

        self.assertEqual((ended["running", ""], during["running", ""], after["running", ""]),
                         (0, 1, 0))
        # The samples are of the last finished run.
        for samples in (during, after):
            self.assertEqual({key: value for key, value in samples.items() if key[0] != "running"},
                             {key: value for key, value in ended.items() if key[0] != "running"})

    def test_escape_the_names_of_cameras(self):
        self.recorder.camera(2, 'a"b\\c\nd')
        self.krctl("run")
        self.assertIn(r'name="a\"b\\c\nd"', self.krctl("metrics").out)
        self.samples(self.krctl("metrics").out)

    def test_of_a_run_with_the_same_job_twice_have_no_series_twice(self):
        self.assertEqual(self.recorder.run("krindexer", "-s", "-r", "1", "-a", "1").status, 0)
        self.samples(self.krctl("metrics").out)

    def test_go_to_a_file_that_the_collector_may_read(self):
        target = self.recorder.path("metrics.prom")
        self.assertEqual(self.krctl("metrics", "--output", target).out, "")
        with open(target, encoding="utf-8") as file:
            self.samples(file.read())
        self.assertEqual(stat.S_IMODE(os.stat(target).st_mode), 0o644)

    def test_to_a_missing_folder_fail(self):
        outcome = self.krctl("metrics", "--output", "/nowhere/metrics.prom", status=1)
        self.assertRegex(outcome.err, "^krctl: can't write /nowhere/metrics.prom: .*No such file")

    def test_to_a_folder_fail(self):
        outcome = self.krctl("metrics", "--output", self.recorder.root, status=1)
        self.assertIn("expected the name of a file", outcome.err)


del RunTest
