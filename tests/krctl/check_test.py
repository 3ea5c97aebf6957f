"""krctl check: rows against the files that are really there."""

import os

from support import process
from support.checkcase import FINDINGS, OTHER_HALF_DAY, CheckTest, OnPostgresql
from support.recorder import HALF_DAY, START_TM


class Names(CheckTest):
    def test_without_differences_is_status_0_and_claims_what_was_compared(self):
        outcome = self.krctl("check")
        self.assertRegex(outcome.out, r"(?m)^recordings +1 Front +3 +0$")
        self.assertIn("Nothing found; compared: names and sizes of recordings, alert recordings and snapshots; "
                      "names of e-maps.\n", outcome.out)
        self.assertEqual(self.found(status=0), [])

    def test_claims_only_what_the_kind_has(self):
        for kind, what in (("e-maps", ["names"]), ("snapshots", ["names", "sizes"]),
                           ("recordings", ["names", "sizes", "headers"])):
            outcome = self.krctl("check", "--containers", "--kind", kind)
            self.assertRegex(outcome.out, f"compared: {'.*'.join(what)} of {kind}[.]\n")
            part, = self.check("--containers", "--kind", kind, status=0)["parts"]
            self.assertEqual(part["compared"], what)

    def test_camera_without_a_folder_of_alert_recordings_is_complete(self):
        self.recorder.camera(2, "Back")
        self.assertEqual(self.found(status=0), [])

    def test_missing_file(self):
        os.remove(self.path(self.names[0]))
        self.assertEqual(self.found(), [f"recordings 1 {self.row_path(self.names[0])} missing"])

    def test_moved_file_with_its_place(self):
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        finding, = self.check()["findings"]
        self.assertEqual(finding["finding"], "moved")
        self.assertIn(self.row_path(moved), finding["detail"])
        outcome = self.krctl("check", status=FINDINGS)
        self.assertIn(f"recordings of camera 1 Front: {self.row_path(self.names[0])}: moved: "
                      f"now at {self.row_path(moved)}", outcome.out)

    def test_file_of_another_row_is_not_the_moved_one(self):
        other = self.recorder.recording(self.storage, START_TM, OTHER_HALF_DAY)
        self.add_row(self.row_path(other), 1)
        os.remove(self.path(self.names[0]))
        self.assertIn(f"recordings 1 {self.row_path(self.names[0])} missing", self.found())

    def test_other_size(self):
        size = os.path.getsize(self.path(self.names[0]))
        self.truncate(self.names[0])
        finding, = self.check()["findings"]
        self.assertEqual((finding["finding"], finding["detail"]),
                         ("size", f"100 bytes, row {size} bytes"))

    def test_other_size_of_a_snapshot(self):
        self.truncate(self.snapshot)
        self.assertEqual(self.found(), [f"snapshots None {os.path.basename(self.snapshot)} size"])

    def test_something_else_than_a_file(self):
        for name, make in zip(self.names, (os.mkdir, os.mkfifo,
                                           lambda path: os.symlink("/dev/null", path))):
            os.remove(self.path(name))
            make(self.path(name))
        self.assertEqual([text.split()[-1] for text in self.found()], ["not-a-file"] * 3)

    def test_same_name_in_two_folders(self):
        self.recorder.recording(self.storage, START_TM, OTHER_HALF_DAY)
        finding, = self.check()["findings"]
        self.assertEqual((finding["finding"], finding["path"]),
                         ("two-folders", self.row_path(self.names[0])))
        self.assertIn(OTHER_HALF_DAY, finding["detail"])

    def test_file_that_is_being_written_is_no_finding(self):
        with open(self.path(self.names[0]), "ab") as file:
            file.write(b"more")
        self.set_time(self.names[0], 30)
        self.assertEqual(self.found(status=0), [])
        outcome = self.krctl("check")
        self.assertIn("1 file was being written and not compared", outcome.out)
        self.assertEqual(sum(part["being_written"] for part in self.check(status=0)["parts"]), 1)

    def test_finding_stays_while_the_file_is_being_written(self):
        self.truncate(self.names[0])
        self.assertEqual(len(self.found()), 1)
        self.set_time(self.names[0], 30)
        self.assertEqual(self.found(status=0), [])
        self.assertEqual(len(self.krctl("findings", "--json", status=FINDINGS).json()["findings"]), 1)

    def test_time_in_the_future_hides_no_finding(self):
        self.truncate(self.names[0])
        self.set_time(self.names[0], 3600)
        self.wait_for_next_second(self.names[0])
        self.assertEqual(len(self.found()), 1)

    def test_kinds_and_cameras_are_selected(self):
        os.remove(self.path(self.names[0]))
        os.remove(self.path(self.snapshot))
        self.assertEqual(len(self.found()), 2)
        self.assertEqual([text.split()[0] for text in self.found("--kind", "snapshots")],
                         ["snapshots"])
        self.assertEqual([text.split()[0] for text in self.found("--camera", "1")],
                         ["recordings"])
        self.krctl("check", "--camera", "7", status=64)

    def test_path_outside_the_half_day_folders_is_missing_and_not_opened(self):
        for number, path in enumerate(("../../../../../../etc/passwd", f"{HALF_DAY}/../x.mp4",
                                       "x.mp4", "")):
            self.add_row(path, number)
        self.assertEqual(len([text for text in self.found() if text.endswith("missing")]), 4)

    def add_row(self, path, number):
        self.recorder.row("event", ds_id=0, camera_id=1, path=path, start_tm=number,
                          end_tm=number, size=1, vdo_type=0, aud_fmt="", img_w=0, img_h=0)

    def test_rows_of_deleted_cameras_are_counted(self):
        self.krctl("camera", "remove", "--id", "1")
        outcome = self.krctl("check")
        self.assertIn("4 rows of deleted cameras, or of cameras of other recorders: not checked.\n",
                      outcome.out)
        self.assertEqual(self.check(status=0)["rows_without_part"], 4)
        self.assertEqual(self.check("--kind", "snapshots", status=0)["rows_without_part"], 0)

    def test_hostile_names(self):
        names = (b"\xff\n'\".mp4", b"x" * 251 + b".mp4")
        for number, name in enumerate(names):
            self.add_row(HALF_DAY.encode() + b"/" + name, number)
        self.assertEqual(len(self.found()), 2)
        with open(os.path.join(self.path(f"{self.storage}/{HALF_DAY}").encode(), names[0]),
                  "wb") as file:
            file.write(b"1")
        self.wait_for_next_second(f"{self.storage}/{HALF_DAY}/" + os.fsdecode(names[0]))
        self.assertEqual(len(self.found()), 1)
        self.assertNotIn("\n'", self.krctl("check", status=FINDINGS).out)


class Doubt(CheckTest):
    def test_missing_volume_is_not_missing_files(self):
        os.remove(self.path("volume1/.kestora-volume"))
        document = self.check(status=1)
        self.assertEqual(document["findings"], [])
        self.assertIn("not mounted", self.problems()[0])
        self.assertIn("NOT CHECKED: recordings of camera 1 Front:",
                      self.krctl("check", status=1).out)

    def test_missing_snapshot_folder_is_not_missing_files(self):
        os.rename(self.path("var/snapshot"), self.path("var/elsewhere"))
        self.assertEqual(self.check(status=1)["findings"], [])

    def test_link_in_place_of_a_half_day_folder_is_doubt(self):
        folder = self.path(f"{self.storage}/{HALF_DAY}")
        os.rename(folder, folder + "-elsewhere")
        os.symlink(folder + "-elsewhere", folder)
        self.assertEqual(self.check("--kind", "recordings", status=1)["findings"], [])

    def test_the_rest_is_checked(self):
        self.recorder.camera(2, "Back", volume="volume2")
        os.remove(self.path("volume1/.kestora-volume"))
        os.remove(self.path(self.snapshot))
        self.assertEqual(len(self.found(status=1)), 1)


class Containers(CheckTest):
    def test_sound_recordings_are_no_finding(self):
        outcome = self.krctl("check", "--containers")
        self.assertIn("Nothing found; compared: names, sizes and headers of recordings and alert recordings; "
                      "names and sizes of snapshots; names of e-maps.\n", outcome.out)

    def test_damaged_recording(self):
        with open(self.path(self.names[0]), "r+b") as file:
            file.write(b"\xff" * 64)
        self.age(self.names[0])
        self.assertEqual(self.found(status=0), [])
        finding, = self.check("--containers")["findings"]
        self.assertEqual(finding["finding"], "unreadable")

    def test_other_length_and_codec_than_the_row(self):
        path = self.row_path(self.names[0])
        self.change_row(path)
        self.assertEqual(self.found("--containers"),
                         [f"recordings 1 {path} length", f"recordings 1 {path} codec"])

    def change_row(self, path):
        self.recorder.query("recording.db", "UPDATE event SET end_tm = end_tm + 5, vdo_type = 1 "
                            "WHERE path = ?", path)

    def test_reader_that_fails_is_not_a_damaged_recording(self):
        name = self.recorder.recording(self.storage, START_TM + 9, medium="frames.mxg")
        self.krctl("run")
        reader = self.recorder.file("reader", mode=0o755, content="#!/bin/sh\nexit 1\n")
        sandbox, root, *command = self.recorder.command("krctl", "check", "--containers", "--json")
        outcome = process.run([sandbox, root, "sh", "-c", 'mount --bind "$0" "$1" && shift && "$@"',
                               reader, f"{self.recorder.bin_dir}/krcontainers", *command])
        self.assertEqual(outcome.status, 1, outcome)
        document = outcome.json()
        self.assertEqual(document["findings"], [])
        self.assertIn(os.path.basename(name), str(document["parts"]))


class Record(CheckTest):
    def rows(self):
        return self.recorder.query("recording.db", "SELECT path, what FROM finding")

    def test_findings_stay_until_they_are_gone(self):
        moved = self.move(self.names[0], OTHER_HALF_DAY)
        self.krctl("check", status=FINDINGS)
        self.assertEqual(self.rows(), [(self.row_path(self.names[0]).encode(), b"moved")])
        os.remove(self.path("volume1/.kestora-volume"))
        self.krctl("check", status=1)
        self.assertEqual(len(self.rows()), 1)
        self.recorder.volume()
        self.krctl("camera", "bind", "--id", "1")
        os.rename(self.path(moved), self.path(self.names[0]))
        self.krctl("check")
        self.assertEqual(self.rows(), [])

    def test_check_of_names_keeps_findings_of_containers(self):
        with open(self.path(self.names[0]), "r+b") as file:
            file.write(b"\xff" * 64)
        self.age(self.names[0])
        self.krctl("check", "--containers", status=FINDINGS)
        outcome = self.krctl("check", status=0)
        self.assertIn("names of e-maps; 1 other finding of earlier checks or runs on record.\n", outcome.out)
        self.assertEqual([what for _, what in self.rows()], [b"unreadable"])

    def test_check_changes_no_row_and_no_file(self):
        self.move(self.names[0], OTHER_HALF_DAY)
        self.truncate(self.names[1])
        before = self.rows_and_files()
        self.krctl("check", "--containers", status=FINDINGS)
        self.assertEqual(self.rows_and_files(), before)

    def rows_and_files(self):
        rows = [self.recorder.query(database, f"SELECT * FROM {table}") for database, table in (
            ("recording.db", "event"), ("recording.db", "alert_event"), ("snapshot.db", "snapshot"))]
        files = {}
        for root in ("volume1", "var/snapshot"):
            for folder, folders, names in os.walk(self.path(root)):
                for name in folders + names:
                    status = os.lstat(os.path.join(folder, name))
                    files[os.path.join(folder, name)] = (status.st_ino, status.st_size,
                                                         status.st_mtime_ns, status.st_ctime_ns)
        return rows, files


class FindingsCommand(CheckTest):
    def test_lists_what_is_on_record(self):
        self.assertEqual(self.krctl("findings").out, "No findings on record.\n")
        os.remove(self.path(self.names[0]))
        os.remove(self.path(self.snapshot))
        self.krctl("check", status=FINDINGS)
        document = self.krctl("findings", "--json", status=FINDINGS).json()
        self.assert_matches_schema(document, "findings")
        self.assertEqual([finding["kind"] for finding in document["findings"]],
                         ["recordings", "snapshots"])
        self.assertIn(self.row_path(self.names[0]), self.krctl("findings", status=FINDINGS).out)
        self.assertNotIn("snapshots",
                         self.krctl("findings", "--camera", "1", status=FINDINGS).out)

    def test_unknown_camera_is_refused_and_a_deleted_one_is_not(self):
        self.truncate(self.names[0])
        self.krctl("check", status=FINDINGS)
        outcome = self.krctl("findings", "--camera", "7", status=64)
        self.assertIn("there is no camera with the id 7", outcome.err)
        self.krctl("camera", "remove", "--id", "1")
        self.krctl("findings", "--camera", "1", status=FINDINGS)

    def test_finding_without_its_row_is_gone(self):
        os.remove(self.path(self.names[0]))
        self.krctl("check", status=FINDINGS)
        self.krctl("run")
        self.krctl("findings")


class NamesOnPostgresql(OnPostgresql, Names):
    def add_row(self, path, number):
        text = path if isinstance(path, bytes) else path.encode()
        self.do("INSERT INTO event (ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, "
                f"aud_fmt, img_w, img_h) VALUES (0, 1, convert_from('\\x{text.hex()}', "
                f"'SQL_ASCII'), {number}, {number}, 1, 0, '', 0, 0)")


class ContainersOnPostgresql(OnPostgresql, Containers):
    def change_row(self, path):
        self.do(f"UPDATE event SET end_tm = end_tm + 5, vdo_type = 1 WHERE path = '{path}'")
