"""krctl volume init: takes the root folders of mounted disks."""

import os
import unittest

from support import process
from support.case import KrctlTest

UUID = "[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"
IDENTITY = ".kestora-volume"


class VolumeTest(KrctlTest):
    def folder(self, name):
        os.makedirs(self.recorder.path(name), exist_ok=True)
        return self.recorder.inside(name)

    def init(self, *arguments, shell=(), user=(), status=0):
        """Runs volume init after shell commands, which may mount, as a user."""
        command = self.recorder.command("krctl", "volume", "init", *arguments)
        script = " && ".join([*shell, 'exec "$@"'])
        outcome = process.run([*command[:2], "sh", "-c", script, "-", *user, *command[2:]])
        self.assertEqual(outcome.status, status, outcome)
        return outcome

    def bind(self, name="disk"):
        """Returns the shell command that mounts a folder of the recorder at itself."""
        return f"mount --bind {self.folder(name)} {self.recorder.inside(name)}"

    def has_identity(self, name):
        return os.path.exists(self.recorder.path(f"{name}/{IDENTITY}"))


class Init(VolumeTest):
    def test_refuses_a_folder_that_is_not_a_mount_point(self):
        disk = self.folder("disk")
        for path in (disk, disk + "/"):
            with self.subTest(path=path):
                self.assertEqual(self.init(path, status=1).err, (
                    f"krctl: {path} is not a mount point, but a folder on the disk mounted at "
                    "/var/packages/Kestora: mount the disk, or give the root folder of a mounted one; --force "
                    "accepts this folder\n"))
                self.assertFalse(self.has_identity("disk"))

        outcome = self.init("--force", disk)

        self.assertRegex(outcome.out, f"^{UUID}\n$")
        self.assertEqual(outcome.err, "")

    def test_takes_a_mount_point_under_each_of_its_names(self):
        for name in ("disk", "disk/", "link", "link/", "disk/."):
            with self.subTest(name=name):
                if not os.path.lexists(self.recorder.path("link")):
                    os.symlink("disk", self.recorder.path("link"))

                outcome = self.init(self.recorder.inside(name), shell=[self.bind()])

                self.assertRegex(outcome.out, f"^{UUID}\n$")
                self.assertEqual(outcome.err, "")
                os.unlink(self.recorder.path(f"disk/{IDENTITY}"))

    def test_refuses_a_link_to_a_folder_in_a_mount(self):
        os.symlink(self.folder("disk/below"), self.recorder.path("link"))

        outcome = self.init(self.recorder.inside("link"), shell=[self.bind()], status=1)

        self.assertIn(f"a folder on the disk mounted at {self.recorder.inside('disk')}:", outcome.err)

    def test_names_the_reason_on_a_read_only_disk(self):
        disk = self.folder("disk")

        outcome = self.init(disk, shell=[self.bind(), f"mount -o remount,bind,ro {disk}"], status=1)

        self.assertRegex(outcome.err, f"^krctl: can't give {disk} an identity: .*: Read-only file system\n$")

    @unittest.skipIf(os.geteuid() != 0, "only root can act as another user")
    def test_says_who_may_write_to_a_disk_of_root(self):
        disk = self.folder("disk")
        os.chmod(os.path.dirname(self.recorder.root), 0o755)
        os.chmod(self.recorder.root, 0o755)
        os.chmod(self.recorder.path("disk"), 0o755)

        outcome = self.init(disk, shell=[self.bind()], status=1,
                            user=["setpriv", "--reuid=65534", "--clear-groups"])

        self.assertRegex(outcome.err, "Permission denied; nobody may not write there: as root, run krctl volume "
                                      f"init {disk}\n$")


class Warnings(VolumeTest):
    def warnings(self, folder):
        outcome = self.init("--force", folder)
        self.assertRegex(outcome.out, f"^{UUID}\n$")
        return outcome.err.replace(f"krctl: warning: {folder}: ", "").splitlines()

    def test_name_an_identity_above(self):
        outer, inner = self.folder("outer"), self.folder("outer/a/inner")
        identity = self.init("--force", outer).out.strip()

        self.assertEqual(self.warnings(inner), [
            f"{outer} above it has an identity too, {identity}: runs skip cameras below {inner} that are bound to "
            "that volume, until krctl camera bind"])

    def test_name_the_identities_below(self):
        outer = self.folder("outer")
        for name in ("outer/a/b/inner", "outer/other"):
            self.init("--force", self.folder(name))

        self.assertEqual(sorted(self.warnings(outer)), [
            f"{self.recorder.inside(name)} below it has an identity too: cameras below that folder belong to "
            "that volume" for name in ("outer/a/b/inner", "outer/other")])

    def test_name_the_camera_whose_folder_is_around_it(self):
        self.folder("outer")
        storage = self.recorder.inside(self.recorder.camera(7, "Front", volume="outer"))

        self.assertEqual(self.warnings(self.folder("outer/cam7/part")), [
            f"it is inside {storage}, the storage folder of camera 7 \"Front\": the volume covers only a part of it"])


class List(VolumeTest):
    def test_says_that_no_camera_is_bound_yet(self):
        self.recorder.volume()

        outcome = self.recorder.krctl("volume", "list")

        self.assertEqual((outcome.status, outcome.out), (0, ""))
        self.assertEqual(outcome.err, "krctl: no camera is bound yet: krctl camera add binds a camera to the volume "
                                      "of its storage folder\n")


if __name__ == "__main__":
    unittest.main()
