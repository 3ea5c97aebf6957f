"""A full disk whose blocks are smaller than a page: no program ends by a signal."""

import ctypes
import os
import subprocess

from support.case import KrctlTest

CLONE_NEWNS = 0x00020000
KIB = 1024
SPARE_KIB = (2, 10, 16, 24, 30, 40)  # at several of them a write to a hole was SIGBUS


def has_small_blocks(image, folder):
    """Mounts a disk of 8 MiB with blocks of 1 KiB, visible only to this process and its children."""
    commands = (["mount", "--make-rprivate", "/"],
                ["mkfs.ext4", "-q", "-b", "1024", "-O", "^has_journal", image],
                ["mount", "-o", "loop", image, folder])
    if os.geteuid() != 0 or ctypes.CDLL(None).unshare(CLONE_NEWNS) != 0:
        return False
    with open(image, "wb") as file:
        file.truncate(8 * KIB * KIB)
    try:
        return all(subprocess.run(command, check=False, capture_output=True).returncode == 0
                   for command in commands)
    except FileNotFoundError:
        return False


class FullDisk(KrctlTest):
    def new_recorder(self, root):
        os.mkdir(root)
        if not has_small_blocks(root + ".image", root):
            self.skipTest("needs root, mkfs.ext4 and a loop device")
        self.addCleanup(subprocess.run, ["umount", root], check=True)
        return super().new_recorder(os.path.join(root, "recorder"))

    def fill(self, spare_kib):
        """Fills the disk except for this much, not counting the files beside the databases."""
        for name in os.listdir(self.recorder.path("var/db")):
            if name.endswith(("-wal", "-shm")):
                os.unlink(self.recorder.path("var/db/" + name))
        with open(self.recorder.path("fill"), "wb", buffering=0) as file:
            try:
                while True:
                    file.write(bytes(KIB))
            except OSError:
                file.truncate(max(0, file.tell() - spare_kib * KIB))

    def test_ends_every_program_with_a_status(self):
        for spare_kib in SPARE_KIB:
            for program, *arguments in (("krctl", "status"), ("krindexer", "-e"),
                                        ("krindexer", "-o", "-e"), ("krctl", "init")):
                self.fill(spare_kib)
                with self.subTest(spare_kib=spare_kib, program=program, arguments=arguments):
                    outcome = self.recorder.run(program, *arguments)
                    self.assertIn(outcome.status, (0, 1, 74), outcome)
                    if program == "krctl" and outcome.status != 0:
                        self.assertIn("krctl: database ", outcome.err)
