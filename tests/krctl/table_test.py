"""The tables of krctl on terminals of different widths."""

import re
import unicodedata

from support.case import KrctlTest
from support.terminal import Terminal

WIDE = 400
# The headings of each table at some widths; those that are missing are named below the table.
HEADINGS = {
    "plan": {
        20: "camera|kind",
        40: "camera|kind|to remove",
        80: "camera|kind|files|rows|to add|to remove|badly named|changing",
        100: "camera|kind|files|rows|to add|to remove|badly named|changing|no thumbnail",
        120: "camera|kind|files|rows|to add|to remove|badly named|changing|no thumbnail|"
             "empty folder",
    },
    "run": {
        20: "kind|camera",
        40: "kind|camera|removed",
        80: "kind|camera|files|rows before|added|removed|failures|time",
    },
    "runs": {
        20: "run",
        40: "run|kind|removed",
        80: "run|start|outcome|kind|added|removed",
        100: "run|start|outcome|kind|added|removed|undoable",
        120: "run|start|end|outcome|kind|added|removed|undoable",
    },
    "camera list": {
        20: "id|name",
        80: "id|name|storage folder",
        100: "id|name|storage folder|volume",
        160: "id|name|storage folder|volume|identity",
    },
    "volume list": {
        20: "cameras|state",
        80: "root folder|cameras|state|reason",
        100: "volume|root folder|cameras|state|reason",
    },
}
HEADINGS["status"] = HEADINGS["run"]


def width(text):
    return sum(2 if unicodedata.east_asian_width(char) in "WF" else 1 for char in text)


class Tables(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")
        self.recorder.volume("volume2")
        self.recorder.recording(self.storage)
        self.recorder.recording(f"{self.storage}/laRec")
        self.krctl("run")

    def lines(self, command, columns):
        """Returns the lines of the command's output and the number of those of the table."""
        options = ["--quiet"] if command == "run" else []  # no progress above the table
        terminal = Terminal(self.recorder.command("krctl", *command.split(), *options), columns)
        self.addCleanup(terminal.end)
        self.assertEqual(terminal.finish(), 0, terminal.shown)
        lines = [line for line in terminal.lines()
                 if not re.match(r"No run|run \d|recordings of|nothing|A run|Nothing", line)]
        for number, line in enumerate(lines):
            if line.startswith("terminal too narrow for: "):
                return lines[:number], line.split(": ")[1].split(", ")
        return lines, []

    def headings(self, text):
        return [heading for heading in re.split(" {2,}|\\|", text.strip()) if heading]

    def expected(self, command, columns):
        widths = [each for each in HEADINGS[command] if each <= columns]
        return self.headings(HEADINGS[command][max(widths)])

    def test_leave_out_the_least_important_columns_first(self):
        for command in HEADINGS:
            everything = self.headings(self.lines(command, WIDE)[0][0])
            self.assertEqual(everything, self.expected(command, WIDE), command)
            for columns in (20, 40, 80, 100, 120, 160):
                with self.subTest(command=command, columns=columns):
                    table, missing = self.lines(command, columns)
                    shown = self.headings(table[0])
                    self.assertEqual(shown, self.expected(command, columns))
                    self.assertEqual(missing, [each for each in everything if each not in shown])

    def test_fit_the_terminal_if_the_most_important_columns_do(self):
        for command in HEADINGS:
            for columns in (40, 80, 100, 120, 160):
                with self.subTest(command=command, columns=columns):
                    for line in self.lines(command, columns)[0]:
                        self.assertLessEqual(len(line), columns, line)

    def test_have_the_same_cells_at_every_width(self):
        for command in ("plan", "runs", "camera list", "volume list", "status"):
            everything, _ = self.lines(command, WIDE)
            all_cells = {cell for line in everything for cell in self.headings(line)}
            for columns in (20, 40, 80, 100, 120, 160):
                table, _ = self.lines(command, columns)
                with self.subTest(command=command, columns=columns):
                    self.assertEqual(len(table), len(everything))
                    self.assertLessEqual({cell for line in table for cell in self.headings(line)},
                                         all_cells)

    def test_show_a_name_of_255_bytes_in_full_and_keep_the_other_rows_readable(self):
        name = "n" * 255
        self.recorder.camera(2, name)
        for command in ("plan", "camera list"):
            for columns in (40, 80, 160):
                with self.subTest(command=command, columns=columns):
                    table, _ = self.lines(command, columns)
                    self.assertTrue(any(name in line for line in table))
                    for line in table:
                        if name not in line:
                            self.assertLessEqual(len(line), columns, line)

    def test_align_wide_characters_and_escape_control_characters(self):
        self.recorder.camera(2, "正門カメラ")
        self.recorder.query("system.db", "UPDATE camera SET name = ? WHERE id = 1",
                            b"a\x1b[2J\xff\xc2\x9b")
        table, _ = self.lines("camera list", 160)
        self.assertIn(r"a\x1b[2J\xff\x9b", table[1])
        self.assertIn("正門カメラ", table[2])
        starts = [width(line[:re.search("/var|storage", line).start()]) for line in table]
        self.assertEqual(len(set(starts)), 1, table)

    def test_of_a_plan_and_a_run_say_that_the_files_of_emaps_include_thumbnails(self):
        said = "files: the files that were examined; those of e-maps include their thumbnails\n"
        for command in ("plan", "run", "status"):
            self.assertNotIn(said, self.krctl(command).out)
        for name in ("map.jpg", "thumb_map.jpg"):
            self.recorder.medium(f"target/@KREmap/{name}", "small.jpg")
        for command in ("plan", "run", "status"):
            self.assertIn("\n" + said, self.krctl(command).out)
        page = self.recorder.path("var/report.html")
        for options in ([], ["--plan"]):
            self.krctl("report", *options, "--html", self.recorder.inside("var/report.html"))
            with open(page, encoding="utf-8") as file:
                self.assertIn("<p>F" + said[1:-1] + "</p>", file.read())


class Lists(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.recorder.camera(1, "Front")

    def test_are_fields_separated_by_tabs_if_piped(self):
        volume, uuid = self.recorder.query("system.db", "SELECT volume_id, uuid FROM camera")[0]
        volume, uuid = volume.decode(), uuid.decode()
        root = self.recorder.inside("volume1")
        self.assertEqual(self.krctl("camera", "list").out,
                         f"1\tFront\t{root}/cam1\t{volume}\t{uuid}\n")
        self.assertEqual(self.krctl("volume", "list").out, f"{volume}\t{root}\t1\tmounted\t-\n")

    def test_of_volumes_as_json_match_their_schema(self):
        volume, = self.recorder.query("system.db", "SELECT volume_id FROM camera")[0]
        self.recorder.camera(2, "Yard", volume="no-volume")
        document = self.krctl("volume", "list", "--json").json()
        self.assert_matches_schema(document, "volumes")
        self.assertEqual(document["volumes"][0], {
            "id": volume.decode(), "root": self.recorder.inside("volume1"), "cameras": [1],
            "state": "mounted", "reason": None})
        second = document["volumes"][1]
        self.assertEqual((second["id"], second["root"], second["cameras"], second["state"]),
                         (None, None, [2], "unbound"))
        self.assertTrue(second["reason"])
