"""Helpers that work ahead of the tool: the result of a run is the same without them, and whatever happens
to them."""

import glob
import hashlib
import os
import random
import re
import shutil
import signal
import stat
import threading
import time

from support import process
from support.case import KrctlTest
from support.recorder import HALF_DAY, START_TM

PICTURES = 40
RECORDINGS = 20
FOLDER = "var/snapshot"
THUMBNAILS = f"{FOLDER}/@Thumbnail"
HELPERS = "[ahead]\nhelpers = {}\n"

# What happens to krahead: a system call, what becomes of the calls from this one on, and its number.
FAULTS = (("recvmsg", "error=EIO", 3), ("openat", "error=EIO", 20), ("openat", "signal=KILL", 40),
          ("newfstatat", "error=EIO", 30), ("pread64", "error=EIO", 10), ("getdents64", "error=EIO", 1),
          ("fsync", "error=EIO", 3), ("fsync", "signal=KILL", 20), ("write", "error=ENOSPC", 1),
          ("flock", "error=ENOLCK", 1), ("mmap", "error=ENOMEM", 30), ("clone3", "error=EAGAIN", 2))

# The tool waits a moment for the status of each file, so that helpers get ahead of it.
SLOWLY = ("strace", "-qq", "-o", "/dev/null", "-e", "trace=newfstatat", "-e", "inject=newfstatat:delay_enter=1000")


TRACEABLE = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}  # LeakSanitizer traces, too


class AheadTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.programs = os.path.join(os.path.dirname(self.recorder.root), "bin")
        os.mkdir(self.programs)
        for program in ("krindexer", "krahead", "krcontainers"):
            shutil.copy(os.path.join(self.recorder.bin_dir, program), self.programs)
        os.symlink(os.path.join(self.recorder.bin_dir, "../lib"),
                   os.path.join(os.path.dirname(self.recorder.root), "lib"))
        self.recorder.volume()
        self.storage = self.recorder.camera(1)
        for number in range(PICTURES):
            self.recorder.snapshot(number, "turned.jpg" if number % 3 else "picture.jpg")
        for number in range(RECORDINGS):
            folder = HALF_DAY if number % 2 else "20140312PM"
            self.recorder.recording(self.storage, START_TM + number, folder)
        self.recorder.recording(self.storage, START_TM + RECORDINGS, medium="cut.mp4")
        self.recorder.snapshot(PICTURES, "stub.jpg")
        self.set_times(START_TM, START_TM)

    def set_times(self, accessed, modified):
        """Sets the times of all pictures. Pictures that were changed a moment ago are left to the tool."""
        for number in range(PICTURES + 1):
            os.utime(self.recorder.path(f"{FOLDER}/cam-20140312-{START_TM + number}.jpg"), (accessed, modified))
        changed = time.time_ns()
        process.until(lambda: time.time_ns() > changed + 200_000_000, "no time passes")

    def start_over(self):
        """Removes what a run has made."""
        for database, table in (("recording.db", "event"), ("snapshot.db", "snapshot")):
            self.recorder.query(database, f"DELETE FROM {table}")
        for name in (THUMBNAILS, "var/log/kestora.log"):
            path = self.recorder.path(name)
            if os.path.isdir(path):
                shutil.rmtree(path)
            elif os.path.exists(path):
                os.remove(path)

    def run_tool(self, *wrapper):
        """Runs the tool from a folder of programs of the test's own."""
        done = process.run(self.command(*wrapper), env=TRACEABLE)
        self.assertEqual((done.status, done.out, done.err), (0, "", ""))
        return self.result()

    def command(self, *wrapper):
        return self.recorder.sandbox.entering(
            [*(wrapper or SLOWLY), os.path.join(self.programs, "krindexer"), "-r", "-1", "-s"], os.getcwd())

    def temporaries(self):
        folder = self.recorder.path(THUMBNAILS)
        return [name for name in os.listdir(folder) if ".tmp" in name] if os.path.isdir(folder) else []

    def result(self):
        """The rows, the log without its times and process ids, and all files of the recorder's media."""
        rows = [[row[1:] for row in self.recorder.query(database, f"SELECT * FROM {table} ORDER BY id")]
                for database, table in (("recording.db", "event"), ("snapshot.db", "snapshot"))]
        log = [re.sub(r"^\S+ \S+ |\bpid \d+|\[\d+\]", "", line) for line in self.recorder.log()]
        files = {}
        for folder, _, names in os.walk(self.recorder.path(FOLDER)):
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    files[os.path.join(folder, name)] = hashlib.sha256(file.read()).hexdigest()
        return {"rows": rows, "log": log, "files": files}

    def expected(self):
        """The result without helpers."""
        self.recorder.settings(HELPERS.format(0))
        result = self.run_tool()
        self.assertEqual(len(result["files"]), 2 * PICTURES + 1)
        self.start_over()
        return result

    def assert_result(self, expected, *wrapper):
        try:
            self.assertEqual(self.run_tool(*wrapper), expected)
        finally:
            self.start_over()

    def replace_helper(self, script):
        """Replaces krahead by a script, in which `krahead` is the real one."""
        helper = os.path.join(self.programs, "krahead")
        real = os.path.join(self.programs, "real")
        os.makedirs(real, exist_ok=True)
        if not os.path.exists(os.path.join(real, "krahead")):
            shutil.move(helper, real)
        with open(helper, "w", encoding="ascii") as file:
            file.write(f"#!/bin/sh\nPATH={real}:$PATH\n{script}\n")
        os.chmod(helper, 0o755)


class Result(AheadTest):
    def test_is_the_same_with_helpers(self):
        expected = self.expected()
        for helpers in (1, 2, 8, 64, '"auto"'):
            with self.subTest(helpers=helpers):
                self.recorder.settings(HELPERS.format(helpers))
                self.assert_result(expected)

    def test_comes_from_helpers_that_work(self):
        """Without this, the other tests would prove nothing."""
        self.recorder.settings(HELPERS.format(4))
        self.replace_helper("exec strace -D -f -o /var/packages/Kestora/trace.$$ krahead")

        self.run_tool()

        traces = ""
        for path in glob.glob(self.recorder.path("trace.*")):
            with open(path, encoding="utf-8") as file:
                traces += file.read()
        self.assertRegex(traces, r"fsync\(")
        self.assertRegex(traces, r'openat\(\d+, "rec-')

    def test_is_the_same_for_pictures_whose_earliest_time_is_their_access(self):
        expected = self.expected()
        self.recorder.settings(HELPERS.format(8))
        self.set_times(START_TM, START_TM + 100)

        self.assertEqual(self.run_tool()["rows"], expected["rows"])

    def test_is_the_same_if_helpers_are_missing_or_end_at_once(self):
        expected = self.expected()
        self.recorder.settings(HELPERS.format(8))
        for script in ("exit 1", "kill -9 $$", "exec sleep 1000", "kill -STOP $$"):
            with self.subTest(script=script):
                self.replace_helper(script)
                self.assert_result(expected)
        os.remove(os.path.join(self.programs, "krahead"))
        self.assertEqual(self.run_tool(), expected)

    def test_is_the_same_whatever_happens_in_a_helper(self):
        expected = self.expected()
        self.recorder.settings(HELPERS.format(8))
        for call, fault, number in FAULTS:
            with self.subTest(call=call, fault=fault):
                self.replace_helper(f"exec strace -D -f -qq -o /dev/null -e trace={call} "
                                    f"-e inject={call}:{fault}:when={number}+ krahead")
                self.assert_result(expected)

    def test_is_the_same_if_a_helper_is_stopped_over_a_thumbnail(self):
        expected = self.expected()
        self.recorder.settings(HELPERS.format(8))
        self.replace_helper("exec strace -D -f -qq -o /dev/null -e trace=fsync "
                            "-e inject=fsync:signal=STOP:when=2 krahead")

        self.assertEqual(self.run_tool(), expected)

    def test_is_the_same_if_no_process_or_memory_can_be_had(self):
        expected = self.expected()
        self.recorder.settings(HELPERS.format(8))
        for call, error in (("clone3", "EAGAIN"), ("memfd_create", "ENOSYS"), ("socketpair", "EMFILE"),
                            ("sendmsg", "EPIPE")):
            with self.subTest(call=call):
                self.assert_result(expected, "strace", "-qq", "-o", "/dev/null", "-e", f"trace={call}",
                                   "-e", f"inject={call}:error={error}:when=1")


class Leftovers(AheadTest):
    def test_of_killed_helpers_are_removed_by_the_run(self):
        self.recorder.settings(HELPERS.format(8))
        self.replace_helper("exec strace -D -f -qq -o /dev/null -e trace=fsync "
                            "-e inject=fsync:signal=KILL:when=5 krahead")

        self.run_tool()

        self.assertEqual(self.temporaries(), [])

    def test_of_a_killed_run_are_removed_by_the_next_run(self):
        expected = self.expected()
        self.recorder.settings(HELPERS.format(8))
        self.replace_helper("exec strace -D -f -qq -o /dev/null -e trace=fsync "
                            "-e inject=fsync:signal=STOP:when=5 krahead")
        run = process.start(self.command(), env=TRACEABLE)
        self.addCleanup(process.end, run)
        process.until(lambda: self.temporaries(), "no thumbnail is made ahead")
        os.kill(self.tool_under(run.pid), signal.SIGKILL)
        run.wait(process.DEADLINE_S)
        self.recorder.settings(HELPERS.format(0))
        os.remove(self.recorder.path("var/log/kestora.log"))

        result = self.run_tool()

        self.assertEqual(result["files"], expected["files"])

    @staticmethod
    def tool_under(tracer):
        with open(f"/proc/{tracer}/task/{tracer}/children", encoding="ascii") as file:
            return int(file.read())


class Race(AheadTest):
    def test_with_files_that_are_swapped_harms_nothing(self):
        self.recorder.settings(HELPERS.format(8))
        small = self.recorder.path("small.jpg")
        shutil.copy(os.path.join(self.recorder.media_dir, "small.jpg"), small)
        stop = threading.Event()

        def swap():
            number = 0
            while not stop.is_set():
                number = (number + 6) % PICTURES  # the others stay
                path = self.recorder.path(f"{FOLDER}/cam-20140312-{START_TM + number}.jpg")
                other = path + ".other"
                kind = random.randrange(4)
                if kind == 0:
                    os.mkfifo(other)
                elif kind == 1:
                    os.symlink("/etc/passwd", other)
                elif kind == 2:
                    os.symlink(small, other)
                else:
                    shutil.copy(small, other)
                os.rename(other, path)

        swapper = threading.Thread(target=swap)
        swapper.start()
        try:
            done = process.run(self.command(), env=TRACEABLE)
        finally:
            stop.set()
            swapper.join()

        self.assertEqual((done.status, done.out, done.err), (0, "", ""))
        for name in os.listdir(self.recorder.path(THUMBNAILS)):
            path = self.recorder.path(f"{THUMBNAILS}/{name}")
            self.assertTrue(stat.S_ISREG(os.lstat(path).st_mode))
            self.assertNotIn(".tmp", name)
            with open(path, "rb") as file:
                self.assertEqual(file.read(2), b"\xff\xd8")
