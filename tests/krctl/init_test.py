"""krctl init: creates what is missing, and says what it created."""

import os
import shutil
import unittest

from support import process
from support.case import KrctlTest
from support.recorder import PACKAGE_ROOT, Recorder

OTHER_USER = 4321
DATABASES = [f"{PACKAGE_ROOT}/var/db/{name}.db" for name in ("system", "recording", "snapshot")]
SNAPSHOTS, EMAPS = f"{PACKAGE_ROOT}/var/snapshot", f"{PACKAGE_ROOT}/target/@KREmap"


class EmptyRecorder(Recorder):
    """A recorder without any file."""

    def __init__(self, root):  # pylint: disable=super-init-not-called
        self.root, self.sandbox, self.database = root, None, []


class InitTest(KrctlTest):
    def new_recorder(self, root):
        os.mkdir(root)
        return EmptyRecorder(root)

    def init(self, *shell, status=0):
        """Runs init after shell commands, which may mount."""
        command = self.recorder.command("krctl", "init")
        outcome = process.run([*command[:2], "sh", "-c", " && ".join([*shell, 'exec "$@"']), "-",
                               *command[2:]])
        self.assertEqual(outcome.status, status, outcome)
        return outcome

    def mode(self, name):
        return os.stat(self.recorder.path(name)).st_mode & 0o7777

    def set_snapshot_folder(self, path):
        self.recorder.settings(f'[snapshot]\nfolder = "{path}"')

    def assert_not_created(self, outcome, path, reason):
        self.assertEqual(outcome.err, f"krctl: did not create {path}: {reason}\n")


class Init(InitTest):
    def test_makes_an_empty_recorder_ready_for_every_command(self):
        self.krctl("init")
        os.makedirs(self.recorder.path("volume1/cam7"), mode=0o750)
        self.krctl("volume", "init", "--force", self.recorder.inside("volume1"))
        self.krctl("camera", "add", "--id", "7", "--name", "Front", "--storage",
                   self.recorder.inside("volume1/cam7"))

        for command in ("doctor", "plan", "run"):
            with self.subTest(command=command):
                self.krctl(command)

    def test_names_what_it_created(self):
        self.assertEqual(self.krctl("init").out.splitlines(), [
            *[f"created the tables of database {name}" for name in DATABASES],
            f"created {SNAPSHOTS}", f"created {PACKAGE_ROOT}/target", f"created {EMAPS}"])

    def test_gives_folders_the_mode_of_the_package_whatever_the_umask(self):
        for umask, mode in (("000", 0o750), ("077", 0o700)):
            with self.subTest(umask=umask):
                self.init(f"umask {umask}")

                self.assertEqual([self.mode(name) for name in (
                    "var/db", "var/snapshot", "target", "target/@KREmap")], [mode] * 4)
                for name in os.listdir(self.recorder.root):
                    shutil.rmtree(self.recorder.path(name))

    def test_keeps_what_exists_and_names_it(self):
        self.krctl("init")
        os.chmod(self.recorder.path("target/@KREmap"), 0o700)
        self.recorder.file("var/snapshot/a.jpg", "picture")

        self.assertEqual(self.krctl("init").out.splitlines(), [
            *[f"database {name} exists, schema version 1" for name in DATABASES],
            f"{SNAPSHOTS} exists", f"{EMAPS} exists"])

        self.assertEqual(self.mode("target/@KREmap"), 0o700)
        self.assertEqual(os.listdir(self.recorder.path("var/snapshot")), ["a.jpg"])

    def test_creates_no_folder_whose_rows_a_run_would_remove_then(self):
        self.krctl("init")
        self.recorder.row("snapshot", filename="a.jpg")
        os.rmdir(self.recorder.path("var/snapshot"))

        outcome = self.krctl("init", status=3)

        self.assert_not_created(outcome, SNAPSHOTS, "the database has 1 row of snapshots, and a run would "
                                "remove them if the folder were empty: mount its disk, or restore the folder")
        self.assertFalse(os.path.exists(self.recorder.path("var/snapshot")))

    def test_replaces_no_file_and_no_link_in_place_of_a_folder(self):
        self.krctl("init")
        os.rmdir(self.recorder.path("var/snapshot"))
        for make, reason in (
                (lambda path: os.symlink("nowhere", path), f"the link {SNAPSHOTS} leads nowhere"),
                (lambda path: self.recorder.file("var/snapshot", "mine"), "expected a folder")):
            with self.subTest(reason=reason):
                make(self.recorder.path("var/snapshot"))

                self.assert_not_created(self.krctl("init", status=3), SNAPSHOTS, reason)

                os.unlink(self.recorder.path("var/snapshot"))
        self.assertFalse(os.path.exists(self.recorder.path("var/nowhere")))


class SnapshotFolder(InitTest):
    """A snapshot folder that the settings name, which may be on a disk that is not mounted."""

    def test_is_not_created_if_the_folder_above_it_is_missing(self):
        disk = self.recorder.inside("disk")
        self.set_snapshot_folder(f"{disk}/snapshots")

        outcome = self.krctl("init", status=3)

        self.assert_not_created(outcome, f"{disk}/snapshots", f"{disk} does not exist: if it is on a disk, "
                                "mount the disk; if not, create it, then run krctl init")
        self.assertFalse(os.path.exists(self.recorder.path("disk")))

    def test_is_not_created_below_an_empty_mount_point(self):
        os.mkdir(self.recorder.path("disk"))
        folder = self.recorder.inside("disk/snapshots")
        self.set_snapshot_folder(folder)

        outcome = self.krctl("init", status=3)

        self.assert_not_created(outcome, folder, "no disk is mounted at or above it except the system's: if "
                                f"it is on another disk, mount that; if not, run mkdir -m 0750 {folder}")
        self.assertEqual(os.listdir(self.recorder.path("disk")), [])
        self.assertIn(f"{folder} does not exist", self.krctl("doctor", status=1).out)

    def test_is_created_on_a_mounted_disk(self):
        os.mkdir(self.recorder.path("disk"))
        os.mkdir(self.recorder.path("elsewhere"))
        self.set_snapshot_folder(self.recorder.inside("disk/snapshots/"))

        outcome = self.init(f"mount --bind {self.recorder.inside('elsewhere')} {self.recorder.inside('disk')}")

        self.assertIn(f"created {self.recorder.inside('disk/snapshots')}\n", outcome.out)
        self.assertEqual(self.mode("elsewhere/snapshots"), 0o750)

    def test_is_not_created_below_a_mount_point_of_fstab_without_its_mount(self):
        inside = self.recorder.inside
        os.makedirs(self.recorder.path("disks/disk 1"))
        os.mkdir(self.recorder.path("elsewhere"))
        self.recorder.file("fstab", f"LABEL=a {inside('disks')}/disk\\0401 ext4 defaults 0 0\n")
        self.set_snapshot_folder(inside("disks/disk 1/snapshots"))

        outcome = self.init(f"mount --bind {inside('elsewhere')} {inside('disks')}",
                            f"mkdir -p '{inside('disks/disk 1')}'",
                            f"mount --bind {inside('fstab')} /etc/fstab", status=3)

        self.assert_not_created(outcome, inside("disks/disk 1/snapshots"), "nothing is mounted at "
                                f"{inside('disks/disk 1')}, a mount point in /etc/fstab: mount its disk, then "
                                "run krctl init")
        self.assertEqual(os.listdir(self.recorder.path("elsewhere/disk 1")), [])


@unittest.skipIf(os.geteuid() != 0, "only root can act as two users")
class Users(InitTest):
    def setUp(self):
        super().setUp()
        os.chmod(os.path.dirname(self.recorder.root), 0o755)

    def test_root_is_told_the_command_for_the_user_who_owns_the_folder(self):
        for user, name, command in ((65534, "nobody", "runuser -u nobody -- krctl init"),
                                    (OTHER_USER, f"#{OTHER_USER}", f"setpriv --reuid={OTHER_USER} "
                                     f"--regid={OTHER_USER} --clear-groups krctl init")):
            with self.subTest(user=name):
                os.chown(self.recorder.root, user, user)

                outcome = self.krctl("init", status=1)

                self.assertEqual(outcome.err, (
                    f"krctl: {PACKAGE_ROOT} belongs to the user {name}, and files that root creates there could "
                    f"not be written by that user's runs; nothing was created. Run {command}\n"))
                self.assertEqual(os.listdir(self.recorder.root), [])

    def test_another_user_is_told_the_owner(self):
        os.chown(self.recorder.root, 65534, 65534)
        command = self.recorder.command("krctl", "init")

        outcome = process.run([*command[:2], "setpriv", f"--reuid={OTHER_USER}", "--clear-groups", *command[2:]])

        self.assertEqual(outcome.status, 1, outcome)
        self.assertIn(f"; {PACKAGE_ROOT} belongs to the user nobody: as root, run runuser -u nobody -- krctl init\n",
                      outcome.err)


if __name__ == "__main__":
    unittest.main()
