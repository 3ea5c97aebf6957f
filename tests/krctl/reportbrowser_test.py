"""The page of krctl report in a browser. All tests are skipped without a browser."""

import html
import os
import shutil
import subprocess
import tempfile
import unittest

from support import png, process
from support.case import KrctlTest

CHROMIUM = shutil.which("chromium")
LIGHT, DARK = "1", "0"  # as the browser's own setting numbers them
PHONE_WIDTH = 360
DAY = 20000


@unittest.skipUnless(CHROMIUM, "there is no chromium")
class Browser(KrctlTest):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory(prefix="kestora-browser-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.recorder.recording(self.recorder.camera(1, "A camera with a name that is long" * 3))
        self.recorder.reindex("-r", "-1", "-s", "-e")
        days = ",".join(f"(1, {DAY + day}, {day % 7 + 1}, 0)" for day in range(0, 800)
                        if day % 50 > 3)
        self.recorder.query("recording.db", f"INSERT INTO recording_count VALUES {days}")
        self.krctl("report", "--html", self.recorder.inside("report.html"))
        with open(self.recorder.path("report.html"), encoding="utf-8") as file:
            self.page = file.read()

    def browse(self, page, *options):
        """Returns the browser's output for a page."""
        path = os.path.join(self.folder, "page.html")
        with open(path, "w", encoding="utf-8") as file:
            file.write(page)
        command = [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                   "--disable-crash-reporter", "--disable-dev-shm-usage", "--no-first-run",
                   f"--user-data-dir={self.folder}/profile", "--enable-logging=stderr",
                   *options, f"file://{path}"]
        done = subprocess.run([*process.WITH_TEST, *command], stdin=subprocess.DEVNULL,
                              capture_output=True, check=True, timeout=process.DEADLINE_S,
                              env={**os.environ, "HOME": self.folder}, text=True, errors="replace")
        return done.stdout, [line for line in done.stderr.splitlines() if ":CONSOLE" in line]

    def picture(self, scheme, width=1100):
        path = os.path.join(self.folder, "picture.png")
        self.browse(self.page, f"--screenshot={path}", f"--window-size={width},1600",
                    f"--blink-settings=preferredColorScheme={scheme}")
        return png.read(path)

    def width(self, page):
        """Returns the width of the page's content on a phone."""
        phone = (f"<iframe width={PHONE_WIDTH} height=800 srcdoc='{html.escape(page)}' onload="
                 '"document.title = contentDocument.documentElement.scrollWidth"></iframe>')
        out, _ = self.browse(f"<!DOCTYPE html><title>not told</title>{phone}", "--dump-dom")
        return int(out.partition("<title>")[2].partition("</title>")[0])

    def test_causes_no_message_of_the_browser(self):
        wrong = self.page.replace("</body>", "<script>console.error('no')</script></body>")
        self.assertEqual(len(self.browse(wrong, "--dump-dom")[1]), 1, "complaints are seen")
        self.assertEqual(self.browse(self.page, "--dump-dom")[1], [])

    def test_paints_every_sign_in_light_and_in_dark(self):
        for scheme, ground, ink in ((LIGHT, (255, 255, 255), (27, 31, 36)),
                                    (DARK, (21, 24, 28), (233, 235, 238))):
            with self.subTest(scheme):
                picture = self.picture(scheme)
                self.assertEqual(picture.pixel(2, 2), ground)
                colours = picture.colours()
                self.assertGreater(colours[ink], 100)  # texts
                self.assertGreater(len([colour for colour, dots in colours.items() if dots > 300]),
                                   8)  # shades of days, the stripes of holes

    def test_is_no_wider_than_a_phone(self):
        wide = self.page.replace("</body>", "<div style='width:999px'>.</div></body>")
        self.assertGreater(self.width(wide), PHONE_WIDTH, "a page that is too wide is seen")
        self.assertLessEqual(self.width(self.page), PHONE_WIDTH)
