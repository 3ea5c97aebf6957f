#!/usr/bin/env python3
"""Tests that the benchmark compares only programs that do the same work: bench_test.py BIN_DIR [TEST...]."""

import dataclasses
import os
import sys
import tempfile
import unittest
from pathlib import Path

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(os.path.join(HERE, "../../bench"))

# pylint: disable=wrong-import-position
from benchlib import counts, measure, page, plot, suite, tree  # noqa: E402
from benchlib.cases import CASES  # noqa: E402
from benchlib.workshop import Workshop  # noqa: E402

FILES = 6
ENGINES = ("sqlite", "postgresql")
DOES_NOTHING = ["true"]


class Bench(unittest.TestCase):
    """Tests on shared recorders, because creating them takes longer than running the programs. The programs of
    a case can be run repeatedly, as in a benchmark."""

    bin_dir = None

    @classmethod
    def setUpClass(cls):
        cls.work = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="bench-test-"))
        cls.workshop = cls.enterClassContext(Workshop(Path(cls.work), cls.bin_dir, 1, False))
        cls.made = {}

    def prepared(self, name, engine):
        """Returns the recorder of a case and its pair of programs."""
        if (name, engine) not in self.made:
            recorder = self.enterClassContext(self.workshop.recorder(engine))
            self.made[name, engine] = recorder, CASES[name].prepare(recorder, self.workshop, FILES)
        return self.made[name, engine]

    def assert_detected(self, name, **change):
        recorder, pair = self.prepared(name, "sqlite")
        with self.subTest(name), self.assertRaises(measure.Unequal):
            measure.in_turn(recorder, dataclasses.replace(pair, **change), 0)

    def test_in_each_case_the_floor_does_the_work_of_the_tool_on_each_engine(self):
        for name, case in CASES.items():
            for engine in case.engines:
                with self.subTest(name, engine=engine):
                    measure.in_turn(*self.prepared(name, engine), 0)

    def test_a_floor_that_does_nothing_is_detected(self):
        for name in set(CASES) - {"plan"}:  # its floor is the tool
            self.assert_detected(name, floor=DOES_NOTHING)

    def test_a_tool_that_does_nothing_is_detected(self):
        for name in ("new", "gone", "new-snapshots"):
            self.assert_detected(name, ours=DOES_NOTHING)

    def test_a_program_that_fails_has_no_figure(self):
        self.assert_detected("empty-emaps", ours=["false"])

    def test_a_tree_has_all_its_files_with_names_of_forty_bytes(self):
        for distinct in (False, True):
            made = tree.Tree(Path(self.work) / f"distinct{distinct}", self.workshop.media, "empty", 2,
                             2 * 1002, distinct)
            rows = {f"camera{row[0]}/{row[1]}" for row in tree.rows_of(2, made.per_camera)}
            files = {str(path.relative_to(made.root)) for path in made.root.glob("camera*/*/*")}
            self.assertEqual(files, rows)
            self.assertEqual({len(os.path.basename(path)) for path in files}, {40})

    def test_calls_are_classified_by_their_object(self):
        media = ["/t/tree1"]
        for arguments, about in (
                ('AT_FDCWD, "/t/tree1/a.mp4", {st_mode=0}, 0) = 0', "recordings"),
                ('AT_FDCWD</home>, "/t/tree1/a.mp4", O_RDONLY) = 5</t/tree1/a.mp4>', "recordings"),
                ('5</t/tree1/a.mp4>, ""..., 32768, 0) = 9', "recordings"),
                ('5</t/tree1/20231114AM>, 0x5, 32768) = 9', "folders"),
                ('7</var/db/recording.db-wal>, "/t/tree1/a.mp4 is in a row", 4096, 0) = 1', "others"),
                ("NULL, 4096, PROT_READ) = 0x7", "others")):
            with self.subTest(arguments):
                self.assertEqual(counts.about(arguments, media), about)

    def test_the_page_and_its_picture_show_the_measurements(self):
        maker = suite.Suite(self.workshop, ENGINES[:1], 1)
        points, _ = maker.curve(["known"], (FILES, 2 * FILES))
        run = {"command": "script/bench known", "machine": "a machine", "figures": points,
               "curve": points, "counts": [], "peers": []}
        text = page.figures([run])
        self.assertIn("`script/bench known`, on a machine:", text)
        self.assertIn(f"{points[1]['ours_s'] / (2 * FILES) * 1e6:.2f} µs", text)
        self.assertIn("(performance.svg)", text)
        self.assertEqual(plot.svg(points).count("<circle"), 4)  # two sizes, ours and the floor


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    Bench.bin_dir = Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
