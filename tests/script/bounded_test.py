"""tests/bounded.py: a test leaves no process and no file behind, however it ends."""

import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

BOUNDED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../bounded.py")
DEADLINE_S = 60
TIME_IS_UP = 124

# A folder that its user can't open, and an orphaned process; prints the process id.
LEAVE_BEHIND = """
mkdir "$TMPDIR/closed"
: >"$TMPDIR/closed/file"
chmod 0 "$TMPDIR/closed"
setsid --fork sh -c 'trap "" TERM; echo $$ >"$TMPDIR/number"; exec sleep 1000'
until [ -s "$TMPDIR/number" ]; do sleep 0.01; done
cat "$TMPDIR/number"
"""


class BoundedTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestora-script-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def start(self, seconds, command):
        process = subprocess.Popen([sys.executable, "-B", BOUNDED, str(seconds), "sh", "-c", command],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                                   env={**os.environ, "TMPDIR": self.folder})
        self.addCleanup(process.stdout.close)
        return process

    def assert_nothing_is_left(self, number):
        self.assertEqual(os.listdir(self.folder), [])
        self.assertFalse(os.path.exists(f"/proc/{number}"))

    def test_the_exit_status_is_that_of_the_command(self):
        for command, status in (("exit 0", 0), ("exit 77", 77), ("kill -SEGV $$", 128 + signal.SIGSEGV)):
            self.assertEqual(self.start(DEADLINE_S, command).wait(DEADLINE_S), status)

    def test_nothing_is_left_of_a_command_that_ended(self):
        process = self.start(DEADLINE_S, LEAVE_BEHIND)
        number = int(process.stdout.readline())
        self.assertEqual(process.wait(DEADLINE_S), 0)
        self.assert_nothing_is_left(number)

    def test_nothing_is_left_of_a_command_that_exceeded_its_time(self):
        process = self.start(1, LEAVE_BEHIND + "exec sleep 1000")
        number = int(process.stdout.readline())
        self.assertEqual(process.wait(DEADLINE_S), TIME_IS_UP)
        self.assertIn("not done after 1.0 s", process.stdout.read())
        self.assert_nothing_is_left(number)

    def test_nothing_is_left_if_it_is_itself_stopped(self):
        process = self.start(DEADLINE_S, LEAVE_BEHIND + "exec sleep 1000")
        number = int(process.stdout.readline())
        deadline = time.monotonic() + DEADLINE_S
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(deadline - time.monotonic()), 1)
        self.assert_nothing_is_left(number)


if __name__ == "__main__":
    unittest.main()
