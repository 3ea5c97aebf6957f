"""krctl camera: cameras and the identities in their storage folders."""

import contextlib
import fcntl
import os
import re
import shutil
import sqlite3
import subprocess
import unittest

from support import process
from support.case import KrctlTest

UUID = "[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}"
OTHER_UUID = "00000000-0000-4000-8000-000000000000"
IDENTITY = ".kestora-camera"
# Takes root's privilege to read files that their mode closes.
RESTRICTED = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]


@contextlib.contextmanager
def writing(path):
    """A transaction of another process."""
    connection = sqlite3.connect(path, isolation_level=None)
    connection.execute("BEGIN IMMEDIATE")
    try:
        yield
    finally:
        connection.close()


def has_open(pid, path):
    folder = f"/proc/{pid}/fd"
    for name in os.listdir(folder):
        with contextlib.suppress(FileNotFoundError):
            if os.path.samefile(f"{folder}/{name}", path):
                return True
    return False


class CameraTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.volume = self.recorder.volume("volume1")

    # Reading the state

    def rows(self):
        """Returns id, name, storage folder, volume and uuid of each camera."""
        return [tuple(cell.decode() if isinstance(cell, bytes) else cell for cell in row)
                for row in self.recorder.query(
                    "system.db", "SELECT id, name, storage_path, volume_id, uuid FROM camera "
                    "ORDER BY id")]

    def identity(self, storage):
        with open(self.recorder.path(f"{storage}/{IDENTITY}"), encoding="utf-8") as file:
            return file.read()

    def uuid(self, storage):
        return re.search(UUID, self.identity(storage))[0]

    def put_identity(self, storage, number, name="Front", uuid=OTHER_UUID):
        self.recorder.file(f"{storage}/{IDENTITY}",
                           f'id = {number}\nname = "{name}"\nuuid = "{uuid}"\n')

    def folder(self, name):
        os.makedirs(self.recorder.path(name))
        return self.recorder.inside(name)

    def lose_the_databases(self):
        shutil.rmtree(self.recorder.path("var/db"))
        self.krctl("init")

    def forget(self, number):
        self.recorder.query("system.db", f"DELETE FROM camera WHERE id = {number}")

    # Running commands

    def add(self, number, folder, name="Front", **options):
        return self.krctl("camera", "add", "--id", str(number), "--name", name, "--storage",
                          folder, **options)

    def adopt(self, name, **options):
        return self.krctl("camera", "adopt", self.recorder.inside(name), **options)

    def assert_refused(self, outcome, *complaints):
        """Asserts that standard error has exactly these lines."""
        self.assertEqual(outcome.err.splitlines(), [f"krctl: {text}" for text in complaints])

    def restricted(self, *arguments):
        command = self.recorder.command("krctl", *arguments)
        return process.run([*command[:2], *RESTRICTED, *command[2:]])

    def locked(self, name):
        """Locks a file or folder in another process until the end of the test."""
        descriptor = os.open(self.recorder.path(name), os.O_RDONLY)
        self.addCleanup(os.close, descriptor)
        fcntl.flock(descriptor, fcntl.LOCK_EX)
        return descriptor


class Add(CameraTest):
    def test_gives_folder_and_row_the_same_identity(self):
        storage = self.recorder.camera(7, "Front")

        uuid = self.uuid(storage)
        self.assertEqual(self.identity(storage), f'id = 7\nname = "Front"\nuuid = "{uuid}"\n')
        self.assertEqual([row[4] for row in self.rows()], [uuid])
        mode = os.stat(self.recorder.path(f"{storage}/{IDENTITY}")).st_mode & 0o7777
        self.assertEqual(mode, 0o640)

    def test_that_was_interrupted_before_the_row_is_completed_by_the_same_command(self):
        folder = self.folder("volume1/front")
        self.recorder.settings("[database]\nlock_timeout_ms = 50")
        with writing(self.recorder.path("var/db/system.db")):
            broken = self.add(7, folder, status=1)
        left = self.uuid("volume1/front")

        self.add(7, folder)

        self.assertIn("database is locked", broken.err)
        self.assertEqual([(row[0], row[4]) for row in self.rows()], [(7, left)])
        self.assertEqual(self.uuid("volume1/front"), left)

    def test_says_that_the_folder_is_on_another_mount_than_the_identity(self):
        folder = self.folder("volume1/front")
        command = self.recorder.command("krctl", "camera", "add", "--id", "7", "--name", "Front", "--storage", folder)
        outcome = process.run([*command[:2], "sh", "-c", 'mount -t tmpfs none "$0" && exec "$@"', folder, *command[2:]])
        self.assertEqual(outcome.status, 0, outcome)
        self.assertIn(f"krctl: {folder} is on another mount than {self.recorder.inside('volume1')}: ", outcome.err)
        self.assertNotIn("another mount", self.add(8, self.folder("volume1/back"), "Back").err)

    def test_refuses_a_folder_that_carries_another_identity(self):
        folder = self.folder("volume1/front")
        self.put_identity("volume1/front", 7)
        for number, name in ((8, "Front"), (7, "Yard")):
            outcome = self.add(number, folder, name, status=1)

            self.assert_refused(
                outcome, f'{folder} belongs to camera 7 "Front": krctl camera adopt {folder}')
        self.assertEqual(self.rows(), [])

    def test_refuses_the_folder_of_a_camera_that_is_known(self):
        storage = self.recorder.camera(7, "Front")
        before = self.rows()
        os.unlink(self.recorder.path(f"{storage}/{IDENTITY}"))
        folder = self.recorder.inside(storage)

        outcome = self.add(8, folder + "//", status=1)

        self.assert_refused(outcome, f'{folder} is the same as the storage folder of camera 7 '
                            f'"Front", {folder}; expected a separate folder')
        self.assertEqual(self.rows(), before)
        self.assertEqual(os.listdir(self.recorder.path(storage)), [])

    def test_refuses_a_folder_inside_another_camera_s_behind_a_link_too(self):
        storage = self.recorder.camera(7, "Front")
        outer = self.recorder.inside(storage)
        inner = self.folder(f"{storage}/yard")
        os.symlink(inner, self.recorder.path("volume1/link"))

        for folder in (inner, self.recorder.inside("volume1/link")):
            self.assert_refused(
                self.add(8, folder, status=1),
                f'{folder} is inside the storage folder of camera 7 "Front", {outer}; '
                "expected a separate folder")

    def test_accepts_folders_side_by_side_whose_names_begin_alike(self):
        for number, name in ((1, "cam1"), (10, "cam10"), (100, "cam100")):
            self.add(number, self.folder(f"volume1/{name}"), name)
        self.lose_the_databases()

        self.adopt("volume1")

        self.assertEqual([row[:3] for row in self.rows()],
                         [(number, f"cam{number}", self.recorder.inside(f"volume1/cam{number}"))
                          for number in (1, 10, 100)])
        for number in (1, 10, 100):
            self.krctl("camera", "bind", "--id", str(number))

    def test_refuses_a_folder_around_another_camera_s(self):
        storage = self.recorder.camera(7, "Front")
        around = self.recorder.inside("volume1")

        self.assert_refused(
            self.add(8, around, status=1),
            f'{around} is around the storage folder of camera 7 "Front", '
            f"{self.recorder.inside(storage)}; expected a separate folder")

    def test_refuses_a_folder_inside_that_of_a_camera_that_is_not_known(self):
        folder = self.folder("volume1/front/yard")
        self.put_identity("volume1/front", 7)

        self.assert_refused(
            self.add(8, folder, status=1),
            f'{folder} is inside {self.recorder.inside("volume1/front")}, which belongs to camera 7 '
            '"Front"; expected a separate folder')

    def test_refuses_an_id_that_is_taken(self):
        self.recorder.camera(7)

        self.assert_refused(self.add(7, self.folder("volume1/front"), status=1),
                            "a camera with the id 7 already exists")
        self.assertEqual(os.listdir(self.recorder.path("volume1/front")), [])

    def test_requires_the_absolute_path_of_a_folder(self):
        file = self.recorder.file("volume1/file")
        for folder, complaint in (("volume1", "volume1: expected an absolute path"),
                                  ("/nowhere", "/nowhere: expected a folder that exists"),
                                  (file, f"{file}: expected a folder that exists")):
            self.assert_refused(self.add(7, folder, status=1), complaint)

    def test_refuses_a_damaged_identity(self):
        folder = self.folder("volume1/front")
        self.recorder.file(f"volume1/front/{IDENTITY}", "id = 7\n")

        self.assert_refused(
            self.add(7, folder, status=1),
            f"the file {folder}/{IDENTITY} holds no camera identity; expected the lines id, name "
            'and uuid as "krctl camera add" writes them')

    def test_adds_no_row_where_the_identity_can_t_be_written(self):
        folder = self.folder("volume1/front")
        os.chmod(self.recorder.path("volume1/front"), 0o550)

        outcome = self.restricted("camera", "add", "--id", "7", "--name", "Front", "--storage",
                                  folder)

        self.assertEqual(outcome.status, 1)
        self.assertRegex(outcome.err, f"^krctl: can't give {folder} an identity: .*denied\n$")
        self.assertEqual(self.rows(), [])

    def test_refuses_a_name_that_could_not_be_recognised(self):
        folder = self.folder("volume1/front")
        for name, shown, fault in (
                ("", "", "is empty"), (" \u00a0\u3000", " \u00a0\u3000", "is blank"), ("\u200b", "\u200b", "is blank"),
                ("a\tb", "a\\tb", "has a control character"), ("\x1b[31m", "\\x1b[31m", "has a control character"),
                ("a\x7f", "a\\x7f", "has a control character"), ("\u009b2J", "\\x9b2J", "has a control character"),
                ("a\u202eb", "a\\u202eb", "has a control character"), ("\u2066b", "\\u2066b", "has a control character"),
                ("a\u2028b", "a\\u2028b", "has a control character"),
                ("a\udcffb", "a\\xffb", "has bytes that are not UTF-8"),
                ("\udcc0\udcaf", "\\xc0\\xaf", "has bytes that are not UTF-8")):
            with self.subTest(name=name):
                self.assert_refused(
                    self.add(7, folder, name, status=1),
                    f'the name "{shown}" {fault}; expected a text in UTF-8 that is not blank and has no control '
                    "characters")
        self.assertEqual(self.rows(), [])
        self.assertEqual(os.listdir(self.recorder.path("volume1/front")), [])

    def test_accepts_names_of_every_script(self):
        for number, name in enumerate(("H\u00f6f", "Ho\u0308f", "\u6b63\u9580 2", "\u05e9\u05e2\u05e8", "a\"b\\c"), 1):
            self.add(number, self.folder(f"volume1/{number}"), name)

        self.assertEqual(len(self.rows()), 5)

    def test_refuses_the_name_of_another_camera(self):
        self.recorder.camera(7, "Front")
        folder = self.folder("volume1/front")

        self.assert_refused(self.add(8, folder, "Front", status=1), 'camera 7 already has the name "Front"')
        self.assertEqual(os.listdir(self.recorder.path("volume1/front")), [])

    def test_refuses_a_name_that_is_too_long(self):
        folder = self.folder("volume1/front")

        self.assert_refused(
            self.add(7, folder, "a" * 1001, status=1),
            f"can't give {folder} an identity: expected a camera's name of at most 1000 bytes")

    def test_without_databases_prints_the_remedy(self):
        folder = self.folder("volume1/front")
        shutil.rmtree(self.recorder.path("var/db"))

        self.assert_refused(self.add(7, folder, status=74),
                            "/var/packages/Kestora/var/db/system.db does not exist; run krctl init")

    def test_of_root_leaves_the_identity_to_the_folder_s_owner(self):
        folder = self.folder("volume1/front")
        try:
            os.chown(self.recorder.path("volume1/front"), 4711, 4712)
        except OSError as error:
            self.skipTest(f"only root has another user's files: {error}")

        self.add(7, folder)

        st = os.stat(self.recorder.path(f"volume1/front/{IDENTITY}"))
        self.assertEqual((st.st_uid, st.st_gid), (4711, 4712))


class Bind(CameraTest):
    def test_gives_an_identity_to_a_camera_of_an_older_version(self):
        storage = self.recorder.camera(7, "Front")
        os.unlink(self.recorder.path(f"{storage}/{IDENTITY}"))
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")

        self.krctl("camera", "bind", "--id", "7")

        self.assertEqual([row[4] for row in self.rows()], [self.uuid(storage)])

    def test_that_was_interrupted_before_the_row_is_completed_by_the_same_command(self):
        storage = self.recorder.camera(7, "Front")
        uuid = self.uuid(storage)
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")

        self.krctl("camera", "bind", "--id", "7")

        self.assertEqual([row[4] for row in self.rows()], [uuid])

    def test_gives_a_folder_on_a_new_disk_the_camera_s_identity(self):
        storage = self.recorder.camera(7, "Front")
        uuid = self.uuid(storage)
        os.unlink(self.recorder.path(f"{storage}/{IDENTITY}"))

        self.krctl("camera", "bind", "--id", "7")

        self.assertEqual(self.uuid(storage), uuid)

    def test_writes_a_lost_identity_again_without_a_volume(self):
        os.makedirs(self.recorder.path("volume2"))
        storage = self.recorder.camera(7, "Front", "volume2")
        uuid = self.uuid(storage)
        self.recorder.recording(storage)
        os.unlink(self.recorder.path(f"{storage}/{IDENTITY}"))
        refused = self.recorder.reindex("-r", "7")

        outcome = self.recorder.krctl("camera", "bind", "--id", "7")

        self.assertIn("doesn't hold its camera's identity", "\n".join(refused))
        self.assertEqual((outcome.status, outcome.out), (0, ""))
        self.assertIn("krctl: camera 7 is not bound to a volume", outcome.err)
        self.assertEqual(self.uuid(storage), uuid)
        self.recorder.reindex("-r", "7")
        self.assertEqual(self.recorder.query("recording.db", "SELECT count(*) FROM event"), [(1,)])

    def test_refuses_a_folder_that_belongs_to_another_camera(self):
        storage = self.recorder.camera(7, "Front")
        before = self.rows()
        folder = self.recorder.inside(storage)
        for number, uuid in ((7, OTHER_UUID), (8, OTHER_UUID), (8, before[0][4])):
            self.put_identity(storage, number, "Yard", uuid)

            self.assert_refused(
                self.krctl("camera", "bind", "--id", "7", status=1),
                f'{folder} belongs to camera {number} "Yard": krctl camera adopt {folder}')
        self.assertEqual(self.rows(), before)


class Remove(CameraTest):
    def test_leaves_files_and_rows_to_the_next_run(self):
        front, yard = self.recorder.camera(7, "Front"), self.recorder.camera(8, "Yard")
        self.recorder.recording(front)
        self.recorder.recording(f"{front}/laRec")
        self.recorder.recording(yard)
        self.recorder.reindex("-r", "-1", "-a", "-1")

        outcome = self.krctl("camera", "remove", "--id", "7")

        folder = self.recorder.inside(front)
        self.assertEqual(outcome.out.splitlines(), [
            f'camera 7 "Front" was removed; its files stay in {folder}',
            "the next run with -r removes the rows of its recordings, which krctl undo can "
            "restore; the rows of its alert recordings stay",
            f"to add it again: krctl camera adopt {folder}"])
        self.assertEqual([row[0] for row in self.rows()], [8])
        self.assertEqual(self.owners("event"), [7, 8])
        self.assertIn('"Front"', self.identity(front))
        self.recorder.reindex("-r", "-1")
        self.assertEqual((self.owners("event"), self.owners("alert_event")), ([8], [7]))
        self.krctl("undo", "2")
        self.assertEqual(self.owners("event"), [7, 8])

    def owners(self, table):
        return sorted(number for number, in self.recorder.query(
            "recording.db", f"SELECT camera_id FROM {table}"))

    def test_of_the_last_camera_keeps_its_rows(self):
        storage = self.recorder.camera(7)
        self.recorder.recording(storage)
        self.recorder.reindex("-r", "-1")

        outcome = self.krctl("camera", "remove", "--id", "7")

        self.assertEqual(outcome.out.splitlines()[1], "it was the last camera: without cameras, a run "
                         "removes no rows of recordings")
        self.recorder.reindex("-r", "-1")
        self.assertEqual(self.owners("event"), [7])

    def test_is_refused_while_another_command_holds_the_run_lock(self):
        self.recorder.camera(7)
        self.recorder.reindex("-r", "-1")
        self.locked("var/db/reindex.lock")

        self.assert_refused(self.krctl("camera", "remove", "--id", "7", status=75),
                            "an undo, a fix, an adoption, a restore or the removal of a camera is in progress: "
                            "no camera was removed")
        self.assertEqual(len(self.rows()), 1)

    def test_requires_an_existing_camera(self):
        self.assert_refused(self.krctl("camera", "remove", "--id", "7", status=64),
                            "there is no camera with the id 7")


class Adopt(CameraTest):
    def test_restores_the_cameras_of_a_lost_database_with_their_recordings(self):
        self.recorder.camera(7, "Front")
        self.recorder.camera(8, 'Yard "8"')
        self.recorder.volume("volume2")
        self.recorder.camera(9, "Gate", "volume2")
        files = {number: self.recorder.recording(f"{volume}/cam{number}", 1394590500 + number)
                 for number, volume in ((7, "volume1"), (8, "volume1"), (9, "volume2"))}
        self.recorder.reindex("-r", "-1")
        before = self.rows()
        self.lose_the_databases()

        first, second = self.adopt("volume1"), self.adopt("volume2")
        self.recorder.reindex("-r", "-1")

        self.assertEqual(self.rows(), before)
        self.assertEqual(first.out.splitlines()[2],
                         r'camera 8 "Yard "8"" in /var/packages/Kestora/volume1/cam8: adopted')
        self.assertIn('camera 9 "Gate" in /var/packages/Kestora/volume2/cam9: adopted', second.out)
        rows = self.recorder.query("recording.db", "SELECT camera_id, path FROM event")
        self.assertEqual(dict((number, os.path.basename(path.decode())) for number, path in rows),
                         {number: os.path.basename(file) for number, file in files.items()})
        self.assertEqual(len(rows), 3)

    def test_binds_to_the_volume_above(self):
        storage = self.recorder.camera(7, "Front")
        volume = self.rows()[0][3]
        self.forget(7)

        outcome = self.adopt(storage)

        folder = self.recorder.inside(storage)
        self.assertEqual(outcome.out, f'camera 7 "Front" in {folder}: adopted\ncamera 7 is bound to '
                         f'volume {volume} in {self.recorder.inside("volume1")}\n')

    def test_points_out_that_there_is_no_volume(self):
        self.folder("volume2/front")
        self.put_identity("volume2/front", 7)

        outcome = self.recorder.krctl("camera", "adopt", self.recorder.inside("volume2"))

        self.assertEqual(outcome.status, 0)
        self.assertIn("krctl: camera 7 is not bound to a volume", outcome.err)
        self.assertEqual(self.rows()[0][3], None)

    def test_of_known_cameras_changes_nothing(self):
        storage = self.recorder.camera(7, "Front")
        before = self.rows()

        outcome = self.adopt("volume1")

        self.assertEqual(outcome.out,
                         f'camera 7 "Front" in {self.recorder.inside(storage)}: already known\n')
        self.assertEqual(self.rows(), before)

    def test_follows_a_volume_that_moved(self):
        storage = self.recorder.camera(7, "Front")
        volume, uuid = self.rows()[0][3:]
        os.rename(self.recorder.path("volume1"), self.recorder.path("volume2"))

        outcome = self.adopt("volume2")

        new = self.recorder.inside("volume2/cam7")
        self.assertEqual(outcome.out.splitlines()[0], f'camera 7 "Front" in {new}: adopted, '
                         f"previously in {self.recorder.inside(storage)}")
        self.assertEqual(self.rows(), [(7, "Front", new, volume, uuid)])

    def test_follows_two_disks_that_changed_places(self):
        self.recorder.volume("volume2")
        for volume, number in (("volume1", 7), ("volume2", 8)):
            os.makedirs(self.recorder.path(f"{volume}/camera"))
            self.add(number, self.recorder.inside(f"{volume}/camera"), f"cam{number}")
        volumes = [row[3] for row in self.rows()]
        for old, new in (("volume1", "aside"), ("volume2", "volume1"), ("aside", "volume2")):
            os.rename(self.recorder.path(old), self.recorder.path(new))

        self.adopt("volume1")
        self.adopt("volume2")

        self.assertEqual([row[2] for row in self.rows()],
                         [self.recorder.inside("volume2/camera"),
                          self.recorder.inside("volume1/camera")])
        self.assertEqual([row[3] for row in self.rows()], volumes)

    def test_refuses_a_copy_of_a_disk(self):
        storage = self.recorder.camera(7, "Front")
        before = self.rows()
        shutil.copytree(self.recorder.path("volume1"), self.recorder.path("volume2"))

        outcome = self.adopt("volume2", status=1)

        self.assert_refused(
            outcome, f'camera 7 "Front" in {self.recorder.inside("volume2/cam7")}: not adopted: it '
            f"is a copy: the identity is still in {self.recorder.inside(storage)}")
        self.assertEqual(self.rows(), before)

    def test_follows_a_camera_whose_link_leads_nowhere_now(self):
        storage = self.recorder.camera(7, "Front")
        uuid = self.uuid(storage)
        os.rename(self.recorder.path("volume1"), self.recorder.path("volume2"))
        os.symlink("/nowhere", self.recorder.path("volume1"))

        self.adopt("volume2")

        self.assertEqual([row[2:5:2] for row in self.rows()],
                         [(self.recorder.inside("volume2/cam7"), uuid)])

    def test_refuses_both_folders_of_one_identity(self):
        for name in ("a", "b"):
            self.folder(f"volume1/{name}")
            self.put_identity(f"volume1/{name}", 7)

        outcome = self.adopt("volume1", status=1)

        a, b = (self.recorder.inside(f"volume1/{name}") for name in "ab")
        self.assert_refused(outcome, *(
            f'camera 7 "Front" in {one}: not adopted: its identity is in {other}, too, so one of '
            "them is a copy: adopt only the right folder" for one, other in ((a, b), (b, a))))
        self.assertEqual(self.rows(), [])

    def test_refuses_two_cameras_of_one_id(self):
        for name, uuid in (("a", OTHER_UUID), ("b", OTHER_UUID.replace("8", "9"))):
            self.folder(f"volume1/{name}")
            self.put_identity(f"volume1/{name}", 7, name, uuid)

        outcome = self.adopt("volume1", status=1)

        a, b = (self.recorder.inside(f"volume1/{name}") for name in "ab")
        self.assert_refused(outcome, *(
            f'camera 7 "{name}" in {one}: not adopted: another camera with this id is in {other}: '
            "adopt only the right folder" for name, one, other in (("a", a, b), ("b", b, a))))
        self.assertEqual(self.rows(), [])

    def test_refuses_a_camera_whose_id_is_taken_and_adopts_the_others(self):
        known = self.recorder.camera(7, "Yard", self.recorder.volume("volume2"))
        before = self.rows()
        for name, number, uuid in (("a", 7, OTHER_UUID), ("b", 8, OTHER_UUID.replace("8", "9"))):
            self.folder(f"volume1/{name}")
            self.put_identity(f"volume1/{name}", number, name, uuid)

        outcome = self.adopt("volume1", status=1)

        self.assert_refused(
            outcome, f'camera 7 "a" in {self.recorder.inside("volume1/a")}: not adopted: its id is '
            f'used by another camera, camera 7 "Yard" in {self.recorder.inside(known)}')
        self.assertIn('camera 8 "b"', outcome.out)
        self.assertEqual(self.rows()[0], before[0])
        self.assertEqual([row[0] for row in self.rows()], [7, 8])

    def test_refuses_an_identity_that_is_known_by_another_id(self):
        storage = self.recorder.camera(7, "Front")
        self.put_identity(storage, 8, "Front", self.uuid(storage))
        before = self.rows()

        folder = self.recorder.inside(storage)
        self.assert_refused(
            self.adopt("volume1", status=1),
            f'camera 8 "Front" in {folder}: not adopted: {folder} is the same as the storage folder '
            f'of camera 7 "Front", {folder}; expected a separate folder')
        self.assertEqual(self.rows(), before)

    def test_refuses_an_identity_that_is_known_by_another_id_elsewhere(self):
        storage = self.recorder.camera(7, "Front")
        uuid = self.uuid(storage)
        self.folder("volume2/yard")
        self.put_identity("volume2/yard", 8, "Yard", uuid)

        self.assert_refused(
            self.adopt("volume2", status=1),
            f'camera 8 "Yard" in {self.recorder.inside("volume2/yard")}: not adopted: its identity '
            f"is that of camera 7 in {self.recorder.inside(storage)}")

    def test_takes_over_a_row_without_identity_of_this_very_folder(self):
        storage = self.recorder.camera(7, "Front")
        uuid = self.uuid(storage)
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")

        outcome = self.adopt("volume1")

        self.assertIn(": adopted, its row had no identity\n", outcome.out)
        self.assertEqual([row[4] for row in self.rows()], [uuid])

    def test_takes_over_no_row_without_identity_of_another_folder(self):
        storage = self.recorder.camera(7, "Front")
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")
        os.unlink(self.recorder.path(f"{storage}/{IDENTITY}"))
        self.folder("volume2/front")
        self.put_identity("volume2/front", 7)

        self.assert_refused(
            self.adopt("volume2", status=1),
            f'camera 7 "Front" in {self.recorder.inside("volume2/front")}: not adopted: its id is '
            f'used by camera 7 "Front" in {self.recorder.inside(storage)}, which has no identity')
        self.assertEqual(self.rows()[0][4], None)

    def test_refuses_storage_folders_within_each_other(self):
        for name, number, uuid in (("a", 7, OTHER_UUID), ("a/b", 8, OTHER_UUID.replace("8", "9"))):
            self.folder(f"volume1/{name}")
            self.put_identity(f"volume1/{name}", number, "Front", uuid)

        outcome = self.adopt("volume1", status=1)

        outer, inner = self.recorder.inside("volume1/a"), self.recorder.inside("volume1/a/b")
        self.assert_refused(
            outcome,
            f'camera 7 "Front" in {outer}: not adopted: its folder is around {inner}, which belongs '
            'to camera 8 "Front"',
            f'camera 8 "Front" in {inner}: not adopted: its folder is inside {outer}, which belongs '
            'to camera 7 "Front"')
        self.assertEqual(self.rows(), [])

    def test_names_a_damaged_identity_and_continues(self):
        self.folder("volume1/b")
        self.put_identity("volume1/b", 8)
        damaged = self.recorder.file(f"volume1/a/{IDENTITY}", "id = 7\nname = ")

        outcome = self.adopt("volume1", status=1)

        self.assert_refused(
            outcome, f"the file {damaged} holds no camera identity; expected the lines id, name "
            'and uuid as "krctl camera add" writes them')
        self.assertEqual([row[0] for row in self.rows()], [8])

    def test_names_an_unreadable_folder_and_continues(self):
        closed = self.folder("volume1/a")
        os.chmod(self.recorder.path("volume1/a"), 0)
        self.addCleanup(os.chmod, self.recorder.path("volume1/a"), 0o700)
        self.folder("volume1/b")
        self.put_identity("volume1/b", 8)

        outcome = self.restricted("camera", "adopt", self.recorder.inside("volume1"))

        self.assertEqual(outcome.status, 1)
        self.assertIn(f"krctl: can't open the file {closed}/{IDENTITY}: Permission denied\n",
                      outcome.err)
        self.assertEqual([row[0] for row in self.rows()], [8])

    def test_points_out_another_file_system(self):
        self.recorder.camera(7)
        self.folder("volume1/disk")
        script = ('mount -t tmpfs none "$1/disk" && exec "$0" camera adopt "$1"')
        outcome = process.run([*self.recorder.command("krctl")[:2], "sh", "-c", script,
                               self.recorder.command("krctl")[2], self.recorder.inside("volume1")])

        self.assertEqual(outcome.status, 0, outcome)
        self.assertEqual(outcome.out.splitlines()[-1],
                         f"{self.recorder.inside('volume1/disk')} is on another file system and was "
                         "not searched")

    def test_that_finds_no_camera_fails(self):
        folder = self.recorder.inside("volume1")

        self.assert_refused(self.adopt("volume1", status=1),
                            f"{folder}: expected a folder with storage folders that have an "
                            "identity")

    def test_requires_the_absolute_path_of_a_folder(self):
        for folder, complaint in (("volume1", "volume1: expected an absolute path"),
                                  ("/nowhere", "/nowhere: expected a folder that exists")):
            self.assert_refused(self.krctl("camera", "adopt", folder, status=1), complaint)

    def test_is_refused_while_another_command_holds_the_run_lock(self):
        self.recorder.camera(7)
        self.recorder.reindex("-r", "-1")
        self.forget(7)
        self.locked("var/db/reindex.lock")

        self.assert_refused(self.adopt("volume1", status=75),
                            "an undo, a fix, an adoption, a restore or the removal of a camera is in progress: "
                            "no camera was adopted")
        self.assertEqual(self.rows(), [])

    def test_twice_at_once_makes_one_row(self):
        self.recorder.camera(7, "Front")
        self.forget(7)
        held = self.locked("var/db")
        commands = [self.started("krctl", "camera", "adopt", self.recorder.inside("volume1"),
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                    for _ in range(2)]
        for command in commands:
            process.until(lambda waiting=command: has_open(waiting.pid,
                                                           self.recorder.path("var/db")),
                          "the command doesn't wait")
            self.assertIsNone(command.poll())

        fcntl.flock(held, fcntl.LOCK_UN)
        said = sorted(command.communicate(timeout=process.DEADLINE_S)[0].splitlines()[0].split()[-1]
                      for command in commands)

        self.assertEqual([command.returncode for command in commands], [0, 0])
        self.assertEqual(said, [b"adopted", b"known"])
        self.assertEqual([row[0] for row in self.rows()], [7])


class Lock(CameraTest):
    def test_is_waited_for_no_longer_than_for_another_writer(self):
        self.recorder.settings("[database]\nlock_timeout_ms = 50")
        folder = self.folder("volume1/front")
        self.recorder.camera(7)
        held = self.locked("var/db")

        for outcome in (self.add(8, folder, status=75), self.adopt("volume1", status=75),
                        self.krctl("camera", "bind", "--id", "7", status=75),
                        self.krctl("camera", "remove", "--id", "7", status=75)):
            self.assertRegex(outcome.err, "^krctl: can't lock the folder /var/packages/Kestora/var"
                             r"/db within 50 ms(, held by process [0-9]+)?: is another command "
                             r"changing the cameras\?\n$")
        self.assertEqual([row[0] for row in self.rows()], [7])

        fcntl.flock(held, fcntl.LOCK_UN)
        self.add(8, folder)
        self.assertEqual([row[0] for row in self.rows()], [7, 8])

    def test_of_another_process_is_named_with_it(self):
        self.recorder.settings("[database]\nlock_timeout_ms = 50")
        folder = self.folder("volume1/front")
        holder = subprocess.Popen([*process.WITH_TEST, "flock", self.recorder.path("var/db"), "-c",
                                   "echo held; read -r line"], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE)
        self.addCleanup(process.end, holder)
        self.addCleanup(holder.stdin.close)
        self.assertEqual(holder.stdout.readline(), b"held\n")

        self.assertRegex(self.add(7, folder, status=75).err, f", held by process {holder.pid}: ")


class List(CameraTest):
    def test_is_one_line_a_camera_whatever_its_name_is(self):
        storage = self.recorder.camera(7, "a\tb\nc\x1b[31m")

        outcome = self.krctl("camera", "list")

        volume, uuid = self.rows()[0][3:]
        self.assertEqual(outcome.out, "7\ta\\tb\\nc\\x1b[31m\t" + self.recorder.inside(storage) +
                         f"\t{volume}\t{uuid}\n")

    def test_as_json_matches_its_schema(self):
        self.recorder.camera(7, "a\tb")
        self.recorder.camera(8, "Yard")
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL, volume_id = NULL "
                            "WHERE id = 8")

        document = self.krctl("camera", "list", "--json").json()

        self.assert_matches_schema(document, "cameras")
        volume, uuid = self.rows()[0][3:]
        self.assertEqual(document["cameras"], [
            {"id": 7, "name": "a\tb", "storage": self.recorder.inside("volume1/cam7"),
             "volume": volume, "uuid": uuid},
            {"id": 8, "name": "Yard", "storage": self.recorder.inside("volume1/cam8"),
             "volume": None, "uuid": None}])


class Run(CameraTest):
    def test_passes_over_a_camera_whose_folder_is_another_s(self):
        storage = self.recorder.camera(7, "Front")
        self.recorder.camera(8, "Yard")
        self.recorder.recording(storage)
        self.put_identity(storage, 8, "Yard", self.uuid("volume1/cam8"))

        log = self.recorder.reindex("-r", "7")

        self.assertIn(f"the storage folder {self.recorder.inside(storage)} belongs to another "
                      'camera, camera 8 "Yard"', "\n".join(log))
        self.assertEqual(self.recorder.query("recording.db", "SELECT count(*) FROM event"), [(0,)])


if __name__ == "__main__":
    unittest.main()
