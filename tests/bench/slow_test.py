#!/usr/bin/env python3
"""Tests the file system that imitates a slow disk: slow_test.py BIN_DIR [TEST...]. Counts decide, not times."""

import contextlib
import os
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(os.path.join(HERE, "../../bench"))

# pylint: disable=wrong-import-position
from benchlib import measure, slow  # noqa: E402
from benchlib.cases import CASES  # noqa: E402
from benchlib.workshop import Workshop  # noqa: E402

USAGE_STATUS = 64
DEPTH = 64
ACCESS_US = {4: 20_000, DEPTH: 500_000}  # by depth: so long that all readers of a busy machine meet
FILES = 4 * DEPTH
ATTEMPTS = 4
WARM_FILES = 20_000  # some samples of 20 ms
TRACEABLE = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}  # LeakSanitizer traces, too


class SlowDisk(unittest.TestCase):
    bin_dir = None

    def setUp(self):
        self.work = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="slow-test-")))
        self.folder = self.work / "disk"
        (self.folder / "half-day").mkdir(parents=True)
        self.contents = {}
        for number in range(FILES):
            path = self.folder / "half-day" / f"{number}.mp4"
            self.contents[path] = os.urandom(3 * number + 1)
            path.write_bytes(self.contents[path])

    def require_disk(self):
        problem = slow.why_not(self.bin_dir)
        if problem:
            self.skipTest(problem)

    @contextlib.contextmanager
    def mounted(self, access_us=0, depth=DEPTH):
        self.require_disk()
        options = slow.options_of(slow.Profile(access_us, depth, {}))
        disk = slow.Disk(self.bin_dir, self.folder, options, self.work / "statistics")
        with disk.mounted():
            yield disk

    def run_program(self, *arguments):
        if not (self.bin_dir / "slowdisk").exists():
            self.skipTest("the program slowdisk is built only with libfuse3-dev")
        return subprocess.run([self.bin_dir / "slowdisk", *arguments], check=False, text=True,
                              capture_output=True)

    def test_files_and_their_status_are_served_unchanged(self):
        before = {path: path.stat() for path in self.contents}
        with self.mounted():
            for path, content in self.contents.items():
                status = path.stat()
                self.assertEqual(path.read_bytes(), content)
                self.assertEqual((status.st_ino, status.st_size, status.st_mtime_ns, status.st_mode),
                                 (before[path].st_ino, before[path].st_size, before[path].st_mtime_ns,
                                  before[path].st_mode))
            self.assertEqual(set((self.folder / "half-day").iterdir()), set(self.contents))

    def test_what_is_written_is_in_the_folder_after_the_unmount(self):
        with self.mounted():
            (self.folder / "@Thumbnail").mkdir()
            (self.folder / "@Thumbnail/new").write_bytes(b"picture")
            (self.folder / "@Thumbnail/new").rename(self.folder / "@Thumbnail/a.jpg")
            next(iter(self.contents)).unlink()
        self.assertEqual((self.folder / "@Thumbnail/a.jpg").read_bytes(), b"picture")
        self.assertFalse(next(iter(self.contents)).exists())

    def counts_of_reading(self, times):
        with self.mounted() as disk:
            for _ in range(times):
                for path in self.contents:
                    path.stat()
                    path.read_bytes()
        return disk.counts

    def test_a_first_access_waits_and_a_second_one_is_served_by_the_kernel(self):
        self.require_disk()  # a skip within a subTest would not end the test
        for times in (1, 3):
            with self.subTest(times=times):
                # The kernel may drop its caches at any time, then other counts are right too.
                for _ in range(ATTEMPTS):
                    counts = self.counts_of_reading(times)
                    self.assertGreaterEqual(counts["lookups"], FILES)
                    self.assertGreaterEqual(counts["reads"], FILES)
                    if counts["lookups"] <= FILES + 3 and counts["reads"] == FILES:  # with the folders
                        break
                else:
                    self.fail(f"each attempt had more than one look-up and read for a file: {counts}")

    def test_each_request_takes_the_time_that_was_asked_for(self):
        with self.mounted(access_us=100) as disk:
            for path in self.contents:
                path.read_bytes()
        counts = disk.counts
        self.assertGreaterEqual(counts["reads"], FILES)
        self.assertEqual(counts["served_us"], 100 * sum(
            counts[kind] for kind in ("lookups", "listings", "reads", "flushes")))

    def deepest_of_many_readers(self, access_us, depth):
        with self.mounted(access_us, depth) as disk:
            start = threading.Barrier(2 * DEPTH)
            paths = list(self.contents)

            def read(first):
                start.wait()
                for path in paths[first::2 * DEPTH]:
                    path.read_bytes()

            readers = [threading.Thread(target=read, args=(first,)) for first in range(2 * DEPTH)]
            for reader in readers:
                reader.start()
            for reader in readers:
                reader.join()
        return disk.counts["deepest"]

    def test_the_depth_is_reached_from_one_process_and_never_exceeded(self):
        self.require_disk()
        for depth, access_us in ACCESS_US.items():
            with self.subTest(depth=depth):
                # A busy machine may keep readers from meeting.
                for _ in range(ATTEMPTS):
                    deepest = self.deepest_of_many_readers(access_us, depth)
                    self.assertLessEqual(deepest, depth)
                    if deepest == depth:
                        break
                else:
                    self.fail(f"no attempt reached the depth; the last had {deepest} requests at once")

    def test_wrong_options_are_named(self):
        for option in ("--depth=0", "--depth=257", "--depth=x", "--read-us=-1", "--lookup-us=", "--speed=1"):
            with self.subTest(option):
                done = self.run_program(option, str(self.folder))
                self.assertEqual(done.returncode, USAGE_STATUS)
                self.assertIn(f"slowdisk: {option}: not an option, or its number is out of range", done.stderr)
                self.assertIn("usage: slowdisk", done.stderr)

    def test_a_folder_that_is_missing_is_named(self):
        done = self.run_program(str(self.work / "missing"))
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"can't open the folder {self.work}/missing: No such file or directory", done.stderr)


class WorkAhead(unittest.TestCase):
    """Helpers work ahead of a run that waits for its disk, and of no other."""

    def setUp(self):
        self.bin_dir = SlowDisk.bin_dir
        self.work = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="slow-test-")))

    def deepest_of_run(self, case, settings):
        """Returns the number of requests that the disk had at once, at most, during a run of the tool."""
        problem = slow.why_not(self.bin_dir)
        if problem:
            self.skipTest(problem)
        work = Path(tempfile.mkdtemp(dir=self.work))
        with slow.MediaWorkshop(work, self.bin_dir, 1) as workshop, workshop.recorder("sqlite") as recorder:
            pair = CASES[case].prepare(recorder, workshop, FILES)
            recorder.add_settings(settings)
            disk = slow.Disk(self.bin_dir, workshop.media_folder, slow.options_of(slow.Profile(2000, DEPTH, {})),
                             work / "statistics")
            pair.before()
            with disk.mounted():
                _, _, out = measure.run_once(recorder, pair.ours)
            pair.check_ours(out)
            return disk.counts["deepest"]

    def test_a_run_that_waits_gets_helpers(self):
        for case in ("known", "new-small"):
            with self.subTest(case):
                self.assertEqual(self.deepest_of_run(case, slow.WITHOUT_HELP), 1)
                self.assertGreaterEqual(self.deepest_of_run(case, ""), 4)

    def test_a_run_that_does_not_wait_gets_none(self):
        trace = self.work / "trace"
        for case in ("known", "new-small"):
            work = Path(tempfile.mkdtemp(dir=self.work))
            with (self.subTest(case), Workshop(work, self.bin_dir, 1) as workshop,
                  workshop.recorder("sqlite") as recorder):
                pair = CASES[case].prepare(recorder, workshop, WARM_FILES)
                pair.before()
                subprocess.run(recorder.inside("strace", "-f", "-qq", "--seccomp-bpf", "-e", "trace=execve", "-o",
                                               trace, *pair.ours), check=True, env=TRACEABLE)
                self.assertIn("krindexer", trace.read_text(encoding="utf-8"))
                self.assertNotIn("krahead", trace.read_text(encoding="utf-8"))


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    SlowDisk.bin_dir = Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
