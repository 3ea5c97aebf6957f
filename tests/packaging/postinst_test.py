"""The folders that the package's postinst creates, checked with krctl doctor, and its upgrade of databases."""

import fcntl
import json
import os
import re
import subprocess
import unittest

from support.case import KrctlTest

POSTINST = os.path.realpath(os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                         "../../packaging/debian/postinst"))

# Calls only one function of the script, without changing the user. The argument "abort-remove" does nothing.
MAKE_FOLDERS = """
umask 022
set -- abort-remove
. "$POSTINST"
as_kestora() { "$@"; }
make_folders
"""

# Calls only the upgrade of the databases. "krctl init" and taking a lock are replaced by printing a line.
UPGRADE = """
set -- abort-remove
. "$POSTINST"
flock() { echo "lock taken"; }
as_kestora() { if [ "$1" = /usr/sbin/krctl ]; then echo "upgraded"; else "$@"; fi; }
upgrade_databases 1
"""


def text():
    with open(POSTINST, encoding="utf-8") as file:
        return file.read()


class PostinstTest(KrctlTest):
    def new_recorder(self, root):
        """Creates only the package root, because the tests run before `krctl init`."""
        os.mkdir(root, 0o750)
        self.root = root
        return None

    def command(self, *command):
        from support.recorder import SANDBOX, Recorder
        program = [os.path.join(Recorder.bin_dir, command[0]) if command[0] == "krctl" else command[0]]
        return subprocess.run([SANDBOX, self.root, *program, *command[1:]], stdin=subprocess.DEVNULL,
                              env={**os.environ, "POSTINST": POSTINST}, capture_output=True, text=True,
                              check=False, timeout=60)

    def upgrade(self):
        done = self.command("sh", "-c", UPGRADE)
        self.assertEqual(done.returncode, 0, done)
        return done.stdout + done.stderr

    def test_databases_are_upgraded_without_taking_the_run_lock(self):
        self.command("sh", "-c", MAKE_FOLDERS)
        self.command("krctl", "init")
        lock = os.path.join(self.root, "var/db/reindex.lock")
        with open(lock, "a", encoding="ascii") as file:
            self.assertEqual(self.upgrade(), "upgraded\n")
            fcntl.flock(file, fcntl.LOCK_EX)
            held = self.upgrade()
        self.assertIn("krctl init", held)
        self.assertNotIn("upgraded", held)
        self.assertNotIn("lock taken", held)

    def test_doctor_finds_no_problem_in_their_modes(self):
        made = self.command("sh", "-c", MAKE_FOLDERS)
        self.assertEqual((made.returncode, made.stdout, made.stderr), (0, "", ""))
        self.assertEqual(self.command("krctl", "init").returncode, 0)
        checks = json.loads(self.command("krctl", "doctor", "--json").stdout)["checks"]
        modes = [check for check in checks if check["check"] == "modes"]
        self.assertEqual([check["state"] for check in modes], ["ok"] * 2, modes)

    def test_every_folder_that_krctl_needs_is_created_and_none_is_open_to_others(self):
        self.command("sh", "-c", MAKE_FOLDERS)
        made = {os.path.relpath(folder, self.root): os.stat(folder).st_mode & 0o7777
                for folder, _, _ in os.walk(self.root)}
        self.assertEqual(made, {name: 0o750 for name in (
            ".", "etc", "target", "target/@KREmap", "var", "var/db", "var/log", "var/snapshot")})

    def test_the_recorder_s_own_folder_has_the_same_mode_as_those_in_it(self):
        # In the sandbox that folder exists, so this line of the script is not run there.
        own = re.search(r'install -d -o kestora -g kestora -m (\d+) "\$recorder"', text())[1]
        self.assertEqual(int(own, 8), 0o750)


if __name__ == "__main__":
    unittest.main()
