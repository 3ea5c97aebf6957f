"""krctl plan: shows what a run would change, and changes nothing."""

import fcntl
import os
import shutil
import signal
import socket
import struct
import subprocess
import termios
import threading
import time

from runner import sqlite
from runner.postgresql import Postgresql
from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import HALF_DAY, START_TM, Recorder
from support.state import differences, state_of

NOTHING_TO_DO = "Nothing to add or remove: a run would change nothing.\n"
COUNTS = ("row_without_file", "file_without_row", "badly_named", "changed_after_start",
          "thumbnail_missing", "folder_empty", "row_renewed", "damaged")
# The kinds' keys, by table.
KEYS = {"event": "recordings", "alert_event": "alert-recordings", "snapshot": "snapshots",
        "emap": "e-maps"}


def is_full(pipe):
    """Returns true if a large write to the pipe would wait for a reader."""
    waiting = struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, b"\0" * 4))[0]
    return waiting > fcntl.fcntl(pipe, fcntl.F_GETPIPE_SZ) - 8192


class PlanTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")

    def plan(self, *options, status=0):
        """Returns the plan's JSON, after checking it against its schema."""
        plan = self.krctl("plan", "--list", "--json", *options, status=status).json()
        self.assert_matches_schema(plan, "plan")
        return plan

    def found(self, *options, status=0):
        """Returns (reason, kind, camera, path, row) of all items; paths are relative to the recorder."""
        root = os.path.join(Recorder.inside(""), "")
        return [(item["reason"], item["kind"], item["camera"], item["path"].removeprefix(root),
                 item["row"]) for item in self.plan(*options, status=status)["items"]]

    def drift(self):
        """Makes a difference of every kind that a run repairs."""
        r = self.recorder
        r.recording(self.storage)
        r.recording(self.storage, START_TM + 1, medium="cut.mp4")
        r.recording(self.storage, START_TM + 2, "20140312PM", "mjpeg.avi")
        r.recording(f"{self.storage}/laRec")
        r.snapshot(1)
        r.snapshot(2)
        for folder in ("20140311AM", "@Thumbnail/20140311AM", "laRec/20140311PM"):
            os.makedirs(r.path(f"{self.storage}/{folder}"))
        r.file(f"{self.storage}/{HALF_DAY}/notes.txt")
        for database, rows in {
                "recording.db": (
                    "INSERT INTO event (camera_id, path) VALUES (1, '20140311AM/a.mp4'), "
                    "(1, '20140311AM/b.mp4'), (8, '20140311AM/c.mp4')",
                    "INSERT INTO alert_event (camera_id, path) VALUES (1, '20140311AM/a.mp4')"),
                "snapshot.db": ("INSERT INTO snapshot (filename) VALUES ('gone.jpg')",),
                "system.db": ("INSERT INTO emap (filename) VALUES ('gone.png'), ('gone2.png')",),
        }.items():
            for sql in rows:
                self.execute(database, sql)

    def execute(self, database, sql):
        self.recorder.query(database, sql)


class Reasons(PlanTest):
    def test_a_recording_without_a_row(self):
        path = self.recorder.recording(self.storage)

        self.assertEqual(self.found("-r", "1"), [("file-without-row", "recordings", 1, path, None)])

    def test_an_alert_recording_without_a_row(self):
        path = self.recorder.recording(f"{self.storage}/laRec")

        self.assertEqual(self.found("-a", "-1"), [("file-without-row", "alert-recordings", 1, path, None)])

    def test_a_recording_that_can_t_be_read(self):
        path = self.recorder.recording(self.storage, medium="cut.mp4")

        self.assertEqual(self.found("-r", "1"), [("damaged", "recordings", 1, path, None),
                                                 ("file-without-row", "recordings", 1, path, None)])

    def test_a_row_without_a_file(self):
        row = self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/it's.mp4")

        self.assertEqual(self.found("-r", "1"), [
            ("row-without-file", "recordings", 1, f"{self.storage}/{HALF_DAY}/it's.mp4", row)])

    def test_an_alert_row_without_a_file(self):
        row = self.recorder.row("alert_event", camera_id=1, path=f"{HALF_DAY}/a.mp4")

        self.assertEqual(self.found("-a", "1"), [
            ("row-without-file", "alert-recordings", 1, f"{self.storage}/laRec/{HALF_DAY}/a.mp4", row)])

    def test_an_emap_row_without_an_image(self):
        self.recorder.file("target/@KREmap/there.png")
        self.recorder.row("emap", filename="there.png")
        row = self.recorder.row("emap", filename="gone.png")

        self.assertEqual(self.found("-e"), [
            ("row-without-file", "e-maps", None, "target/@KREmap/gone.png", row)])

    def test_a_snapshot_row_without_a_picture(self):
        row = self.recorder.row("snapshot", filename="gone.jpg")

        self.assertEqual(self.found("-s"), [
            ("row-without-file", "snapshots", None, "var/snapshot/gone.jpg", row)])

    def test_a_snapshot_without_a_row_and_without_a_thumbnail(self):
        path = self.recorder.snapshot()

        self.assertEqual(self.found("-s"), [("thumbnail-missing", "snapshots", None, path, None),
                                            ("file-without-row", "snapshots", None, path, None)])

    def test_a_snapshot_without_a_row_that_has_a_thumbnail(self):
        path = self.recorder.snapshot()
        self.recorder.file(f"var/snapshot/@Thumbnail/{os.path.basename(path)}")

        self.assertEqual(self.found("-s"), [("file-without-row", "snapshots", None, path, None)])

    def test_badly_named_files_with_their_folders(self):
        recording = f"{self.storage}/20140312PM/notes.txt"
        alert = f"{self.storage}/laRec/{HALF_DAY}/movie.mp4"
        for path in (recording, alert, "var/snapshot/picture.png"):
            self.recorder.file(path)
        self.recorder.recording(self.storage, folder="20140313AM")

        found = [item for item in self.found() if item[0] == "badly-named"]

        self.assertEqual(found, [
            ("badly-named", "snapshots", None, "var/snapshot/picture.png", None),
            ("badly-named", "recordings", 1, recording, None),
            ("badly-named", "alert-recordings", 1, alert, None)])

    def test_empty_folders(self):
        folders = [f"{self.storage}/{name}" for name in (HALF_DAY, "@Thumbnail/x", "laRec/20140311PM")]
        for folder in folders:
            os.makedirs(self.recorder.path(folder))

        self.assertEqual(self.found(), [("folder-empty", "recordings", 1, folders[0], None),
                                        ("folder-empty", "recordings", 1, folders[1], None),
                                        ("folder-empty", "alert-recordings", 1, folders[2], None)])

    def test_rows_of_deleted_cameras(self):
        row = self.recorder.row("event", camera_id=9, path=f"{HALF_DAY}/a.mp4")

        self.assertEqual(self.found("-r", "-1"),
                         [("row-without-file", "recordings", 9, f"{HALF_DAY}/a.mp4", row)])

    def test_a_second_file_of_one_name_renews_a_row(self):
        first = self.recorder.recording(self.storage)
        second = self.recorder.recording(self.storage, folder="20140312PM")
        self.recorder.reindex("-r", "1")
        row = self.recorder.query("recording.db", "SELECT id FROM event WHERE path LIKE ?",
                                  "20140312PM/%")[0][0]

        found = self.found("-r", "1")

        self.assertIn(found, [[("row-renewed", "recordings", 1, path, number)]
                              for path, number in ((second, row), (first, 3 - row))])

    def test_a_file_that_changed_after_the_start(self):
        path = self.recorder.recording(self.storage)
        lock = sqlite.Lock(self.recorder.root, "recording.db", exclusively=True)
        self.addCleanup(lock.connection.close)
        planning = self.started("krctl", "plan", "--list", "-r", "1", stdout=-1, text=True)
        process.until(lambda: _child_waits_for(planning.pid, "recording.db"), "it doesn't wait")
        started_ns = time.time_ns()

        def changes():
            os.chmod(self.recorder.path(path), 0o600)
            return os.stat(self.recorder.path(path)).st_ctime_ns > started_ns

        process.until(changes, "the file's time stands still")
        lock.release()
        out = planning.communicate(timeout=process.DEADLINE_S)[0]

        self.assertEqual(planning.returncode, 0, out)
        self.assertEqual(out.splitlines()[0],
                         f"changed-after-start\trecordings\t1\t{Recorder.inside(path)}")
        self.assertTrue(out.endswith(NOTHING_TO_DO), out)


class Output(PlanTest):
    def test_says_that_nothing_would_change(self):
        self.recorder.recording(self.storage)
        self.recorder.reindex("-r", "-1")

        self.assertTrue(self.krctl("plan").out.endswith("\n" + NOTHING_TO_DO))
        plan = self.plan()
        self.assertEqual((plan["nothing_to_change"], plan["complete"], plan["items"]), (True, True, []))

    def test_the_table_has_a_line_for_each_kind_and_camera(self):
        self.drift()

        lines = self.krctl("plan").out.splitlines()

        cells = [[cell for cell in line.split("  ") if cell] for line in lines]
        self.assertEqual([cell.strip() for cell in cells[0]], [
            "camera", "kind", "files", "rows", "to add", "to remove",
            "badly named", "changing", "no thumbnail", "empty folder"])
        self.assertEqual([[cell.strip() for cell in line] for line in cells[1:7]], [
            ["-", "e-maps", "0", "2", "0", "2", "0", "0", "0", "0"],
            ["-", "snapshots", "2", "1", "2", "1", "0", "0", "2", "0"],
            ["1 Front", "recordings", "4", "2", "3", "2", "1", "0", "0", "2"],
            ["8", "recordings", "0", "0", "0", "1", "0", "0", "0", "0"],
            ["1 Front", "alert recordings", "1", "1", "1", "1", "0", "0", "0", "1"],
            ["total", "7", "6", "6", "7", "1", "0", "2", "3"]])
        self.assertEqual(lines[7:], [
            "1 row without a length, because the recording can't be read",
            "A run would add 6 rows, remove 7 rows, make 2 thumbnails and remove 3 empty "
            "folders."])

    def test_options_select_the_work(self):
        self.drift()

        def parts(*options):
            return [(part["kind"], part["camera"]) for part in self.plan(*options)["parts"]]

        self.assertEqual(parts("-e"), [("e-maps", None)])
        self.assertEqual(parts("-s"), [("snapshots", None)])
        self.assertEqual(parts("-r", "1"), [("recordings", 1), ("recordings", 8)])
        self.assertEqual(parts("-a", "-1"), [("alert-recordings", 1)])
        self.assertEqual(parts("-e", "-a", "1"), [("e-maps", None), ("alert-recordings", 1)])

    def test_two_cameras_are_refused(self):
        outcome = self.krctl("plan", "-r", "1", "-a", "2", status=64)

        self.assertEqual(outcome.out, "")
        self.assertIn("krctl: plan: -r 1 -a 2: expected the same camera for both", outcome.err)

    def test_an_unknown_camera_is_refused_like_a_run_of_it(self):
        for options in (("-r", "7"), ("-a", "7"), ("--camera", "1", "--camera", "7")):
            outcomes = [self.krctl(command, *options, status=64) for command in ("plan", "run")]

            self.assertEqual([outcome.out for outcome in outcomes], ["", ""])
            self.assertEqual({outcome.err for outcome in outcomes}, {
                'krctl: there is no camera with the id 7; "krctl camera list" lists them\n'})

    def test_cameras_and_kinds_select_the_work(self):
        self.drift()
        self.recorder.recording(self.recorder.camera(2))

        def parts(*options):
            return [(part["kind"], part["camera"]) for part in self.plan(*options)["parts"]]

        self.assertEqual(parts("--kind", "e-maps", "--kind", "snapshots"), [("e-maps", None), ("snapshots", None)])
        self.assertEqual(parts("--camera", "2"), [("recordings", 2), ("recordings", 8), ("alert-recordings", 2)])
        self.assertEqual(parts("--camera", "2", "--kind", "alert-recordings", "--kind", "e-maps"),
                         [("e-maps", None), ("alert-recordings", 2)])

    def test_of_several_cameras_has_each_change_once(self):
        """Each of the runs for one camera would remove the row of the deleted camera 8."""
        self.drift()
        self.recorder.recording(self.recorder.camera(2))
        both = self.plan("--camera", "1", "--camera", "2", "--kind", "recordings")
        every = self.plan("--kind", "recordings")

        self.assertEqual(both["total"], every["total"])
        self.assertCountEqual(both["items"], every["items"])
        self.assertEqual([item["camera"] for item in both["items"]].count(8), 1)

    def test_with_exit_code_changes_are_status_2(self):
        self.krctl("plan", "--exit-code")
        self.recorder.file(f"{self.storage}/{HALF_DAY}/notes.txt")  # which a run would only skip
        self.krctl("plan", "--exit-code")
        self.drift()

        changed = self.krctl("plan", "--exit-code", status=2)

        self.assertEqual(changed.err, "")
        self.assertEqual(changed.out, self.krctl("plan").out)
        self.krctl("plan", "--exit-code", "--json", status=2).json()
        self.krctl("plan", "--exit-code", "-e", "--camera", "1", status=64)
        self.krctl("run", status=1)
        self.krctl("plan", "--exit-code")

    def test_the_list_is_sorted_by_path(self):
        self.drift()
        for name in ("20140312AM!", "20140312AM0", "20140312AM"):  # "!" is before "/", "0" after it
            self.recorder.file(f"{self.storage}/{name}/x.txt")
            os.makedirs(self.recorder.path(f"{self.storage}/laRec/{name}"), exist_ok=True)

        paths = [item["path"] for item in self.plan()["items"]]
        lines = self.krctl("plan", "--list").out.split("\n\n")[0].splitlines()

        self.assertEqual([os.fsencode(path) for path in paths], sorted(map(os.fsencode, paths)))
        self.assertEqual([line.split("\t")[3] for line in lines], paths)
        self.assertGreater(len(set(paths)), 15)

    def test_reasons_select_the_items_of_the_list(self):
        self.drift()
        every = self.plan()

        for reasons in (("row-without-file",), ("folder-empty", "file-without-row"), ("row-renewed",)):
            options = [word for reason in reasons for word in ("--reason", reason)]
            plan = self.plan(*options)

            self.assertEqual(plan["items"], [item for item in every["items"] if item["reason"] in reasons])
            self.assertEqual(plan["total"], every["total"])
            lines = self.krctl("plan", *options).out.split("\n\n")[0].splitlines()
            self.assertEqual([line.split("\t")[0] for line in lines if "\t" in line],
                             [item["reason"] for item in plan["items"]])
        self.assertIn("--reason: expected one of file-without-row, row-without-file, ",
                      self.krctl("plan", "--reason", "warning", status=64).err)

    def test_wrong_options_are_errors(self):
        for options in (("-r", "front"), ("-r", "0"), ("-x",), ("more",)):
            self.assertNotEqual(self.krctl("plan", *options, status=64).err, "")

    def test_the_list_has_one_line_for_each_item_whatever_its_name(self):
        name = b"tab\t newline\n escape\x1b back\\slash \xff.txt"
        os.mkdir(self.recorder.path(f"{self.storage}/{HALF_DAY}"))
        with open(os.path.join(os.fsencode(self.recorder.path(self.storage)),
                               HALF_DAY.encode(), name), "wb"):
            pass

        lines = self.krctl("plan", "--list", "-r", "1").out.splitlines()

        folder = Recorder.inside(f"{self.storage}/{HALF_DAY}")
        self.assertEqual(lines[:2], [
            f"badly-named\trecordings\t1\t{folder}/tab\\t newline\\n escape\\x1b back\\slash \\xff.txt",
            ""])
        item, = self.plan("-r", "1")["items"]
        self.assertEqual(bytes.fromhex(item["bytes"]), folder.encode() + b"/" + name)
        self.assertEqual(item["path"], f"{folder}/" + name.decode(errors="replace"))

    def test_names_in_utf_8_are_unchanged(self):
        self.recorder.file(f"{self.storage}/{HALF_DAY}/K\u00fcche.txt")

        item, = self.plan("-r", "1")["items"]

        self.assertEqual(item["path"], Recorder.inside(f"{self.storage}/{HALF_DAY}/K\u00fcche.txt"))
        self.assertNotIn("bytes", item)

    def test_without_a_list_the_json_has_no_items(self):
        self.drift()

        plan = self.krctl("plan", "--json").json()

        self.assert_matches_schema(plan, "plan")
        self.assertNotIn("items", plan)
        self.assertEqual({**plan, "items": self.plan()["items"]}, self.plan())


class Untouched(PlanTest):
    def setUp(self):
        super().setUp()
        self.drift()

    def assert_untouched(self, *options, **expected):
        before = state_of(self.recorder.root)
        outcome = self.krctl("plan", *options, **expected)
        self.assertEqual(differences(before, state_of(self.recorder.root)), [])
        return outcome

    def assert_log_beside(self, *databases):
        for database in databases:
            self.assertTrue(os.path.exists(sqlite.path_of(self.recorder.root, database) + "-wal"))

    def killed_run(self):
        """Leaves the files of a run that was killed after it added the rows of recordings."""
        rows = self.recorder.query("recording.db", "SELECT count(*) FROM event")
        # The first message is queued after the rows; this one is never queued.
        self.execute("recording.db", "CREATE TRIGGER endless AFTER INSERT ON outbox BEGIN "
                                     "SELECT max(i) FROM (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
                                     "SELECT i + 1 FROM n) SELECT i FROM n); END")
        run = self.started("krindexer", "-e", "-s", "-r", "-1", "-a", "-1")
        process.until(lambda: self.recorder.query("recording.db", "SELECT count(*) FROM event")
                      != rows, "no row is added")
        run.kill()
        run.wait()
        self.assert_log_beside("system.db", "recording.db", "snapshot.db")

    def assert_planned_behind_killed_run(self, plan):
        """Content of the write-ahead log counts, too."""
        recordings, = [part for part in plan["parts"]
                       if (part["kind"], part["camera"]) == ("recordings", 1)]
        self.assertEqual((recordings["rows"], recordings["file_without_row"]), (5, 0))

    def silent_broker(self):
        """Configures a broker that accepts connections and never answers."""
        listener = socket.create_server(("127.0.0.1", 0))
        listener.settimeout(process.DEADLINE_S)
        self.addCleanup(listener.close)
        self.recorder.settings(f"[notifications]\nhost = '127.0.0.1'\n"
                               f"port = {listener.getsockname()[1]}\n"
                               f"timeout_ms = {process.DEADLINE_S * 1000}")
        return listener

    def test_nothing_differs_on_a_quiet_recorder(self):
        for options in ((), ("--list",), ("--json",), ("-r", "1"), ("-s",)):
            self.assert_untouched(*options)

    def test_nothing_differs_if_a_killed_run_left_its_log(self):
        self.killed_run()

        self.assert_planned_behind_killed_run(self.assert_untouched("--json").json())

    def test_nothing_differs_if_a_killed_run_left_its_log_without_the_index(self):
        self.killed_run()
        for database in ("system.db", "recording.db", "snapshot.db"):
            os.remove(sqlite.path_of(self.recorder.root, database) + "-shm")

        self.assert_planned_behind_killed_run(self.assert_untouched("--json").json())

    def test_nothing_differs_beside_a_writer_and_only_what_it_committed_counts(self):
        writer = sqlite.connect(self.recorder.root, "recording.db")
        self.addCleanup(writer.close)
        writer.execute("DELETE FROM event WHERE camera_id = 8")
        writer.execute("BEGIN IMMEDIATE")
        writer.execute("DELETE FROM event")
        self.assert_log_beside("recording.db")

        outcome = self.assert_untouched("--json", "-r", "1")

        self.assertEqual(outcome.json()["total"]["row_without_file"], 2)
        writer.execute("COMMIT")

    def test_a_writer_that_comes_and_goes_makes_no_plan_fail(self):
        done = threading.Event()

        def write():
            while not done.is_set():
                self.execute("recording.db", "UPDATE event SET size = size + 1")

        writer = threading.Thread(target=write)
        writer.start()
        try:
            totals = [self.plan("-r", "1")["total"]["row_without_file"] for _ in range(10)]
        finally:
            done.set()
            writer.join()

        self.assertEqual(totals, [3] * 10)

    def test_no_broker_is_contacted_and_the_outbox_stays(self):
        listener = self.silent_broker()
        self.execute("recording.db", "INSERT INTO outbox (created_tm, topic, payload, due) "
                                     "VALUES (1700000000, 'event/list', '{}', 1)")

        self.assert_untouched()

        listener.setblocking(False)
        with self.assertRaises(BlockingIOError):
            listener.accept()

    def test_a_run_in_progress_is_reported_and_not_disturbed(self):
        self.recorder.settings(f"[database]\nlock_timeout_ms = {process.DEADLINE_S * 1000}\n")
        writer = sqlite.connect(self.recorder.root, "recording.db")
        self.addCleanup(writer.close)
        writer.execute("BEGIN IMMEDIATE")
        run = self.started("krindexer", "-r", "-1")
        process.until(lambda: sqlite.waits_for_lock(run.pid, ["recording.db"]), "the run doesn't wait")

        outcome = self.krctl("plan", "-r", "-1")

        self.assertIn(f"A run is in progress, process {run.pid}: ", outcome.out)
        self.assertTrue(self.plan()["run_in_progress"])
        writer.execute("ROLLBACK")
        self.assertEqual(run.wait(process.DEADLINE_S), 0)
        self.assertEqual(self.recorder.query("system.db", "SELECT registered, done FROM task"),
                         [(0, 1)])
        self.assertFalse(self.plan()["run_in_progress"])

    def test_nothing_differs_if_there_is_no_plan(self):
        self.recorder.settings("[nonsense]")

        self.assert_untouched(status=78)


class Incomplete(PlanTest):
    def problems(self, *options, status):
        plan = self.plan(*options, status=status)
        self.assertEqual((plan["complete"], plan["nothing_to_change"]), (False, False))
        return [(problem["reason"], problem["kind"], problem["camera"], problem["text"])
                for problem in plan["problems"]]

    def test_a_volume_that_is_missing(self):
        self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/a.mp4")
        os.rename(self.recorder.path("volume1"), self.recorder.path("elsewhere"))

        (reason, kind, camera, text), = self.problems("-r", "1", status=3)

        self.assertEqual((reason, kind, camera), ("refusal", "recordings", 1))
        self.assertIn("is not mounted at", text)
        self.assertEqual(self.plan("-r", "1", status=3)["items"], [])

    def test_a_storage_folder_that_can_t_be_read(self):
        storage = self.recorder.camera(2, volume="volume2")
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL WHERE id = 2")
        self.recorder.row("event", camera_id=2, path=f"{HALF_DAY}/a.mp4")
        os.rename(self.recorder.path(storage), self.recorder.path("elsewhere"))
        os.symlink("cam2", self.recorder.path(storage))  # a loop of links

        (reason, kind, camera, text), = self.problems("-r", "2", status=1)

        self.assertEqual((reason, kind, camera), ("failure", "recordings", 2))
        self.assertIn("Too many levels of symbolic links", text)
        self.assertEqual(self.plan("-r", "2", status=1)["items"], [])

    def test_a_folder_that_rows_name_and_that_is_no_evidence(self):
        self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/a.mp4")
        os.symlink("unmounted", self.recorder.path(f"{self.storage}/{HALF_DAY}"))
        other = self.recorder.recording(self.storage, folder="20140312PM")

        problem, = self.problems("-r", "1", status=3)

        self.assertEqual(problem[:3], ("refusal", "recordings", 1))
        self.assertRegex(problem[3], f"^no row is removed: .*/{HALF_DAY}: it is a symbolic link")
        self.assertEqual(self.found("-r", "1", status=3),
                         [("file-without-row", "recordings", 1, other, None)])

    def test_a_refusal_outranks_failures_and_changes_for_the_status(self):
        self.drift()
        storage = self.recorder.camera(2, volume="volume2")
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL WHERE id = 2")
        os.rename(self.recorder.path(storage), self.recorder.path("elsewhere"))
        os.symlink("cam2", self.recorder.path(storage))
        self.krctl("plan", "--exit-code", status=1)
        os.remove(self.recorder.path("volume1/.kestora-volume"))
        self.krctl("plan", "--exit-code", status=3)

    def test_problems_are_below_the_table(self):
        self.recorder.row("event", camera_id=9, path=f"{HALF_DAY}/a.mp4")
        os.rename(self.recorder.path("volume1"), self.recorder.path("elsewhere"))

        out = self.krctl("plan", status=3).out.splitlines()

        self.assertTrue(out[-2].startswith("REFUSED: camera 1 Front: the volume "), out)
        self.assertEqual(out[-1], "A run would remove 1 row; the plan is incomplete.")

    def test_an_empty_camera_table_is_no_evidence(self):
        self.recorder.row("event", camera_id=1, path=f"{HALF_DAY}/a.mp4")
        self.execute("system.db", "DELETE FROM camera")

        (reason, _, _, text), = self.problems("-r", "-1", status=3)

        self.assertEqual(reason, "refusal")
        self.assertTrue(text.startswith("the camera table is empty"), text)

    def test_settings_that_others_could_have_written_are_refused(self):
        os.chmod(self.recorder.path("etc/kestora.toml"), 0o666)

        outcome = self.krctl("plan", status=78)

        self.assertIn("may be written by its group or by others", outcome.err)

    def test_a_log_that_others_could_have_put_there_is_refused(self):
        os.symlink("/dev/null", self.recorder.path("var/log/kestora.log"))

        self.assertIn("is a symbolic link", self.krctl("plan", status=78).err)


class Agreement(PlanTest):
    """A run does what the plan shows."""

    def done(self):
        """Returns (kind, camera, added, removed) of the last run."""
        return sorted((KEYS[kind.decode()], *counts)
                      for database in ("system.db", "recording.db", "snapshot.db")
                      for kind, *counts in self.recorder.query(
                          database, "SELECT kind, camera_id, added, removed FROM run_count"))

    def planned(self, plan):
        counts = {}
        for part in plan["parts"]:
            if part["file_without_row"] or part["row_without_file"]:
                key = part["kind"], part["camera"] or 0
                added, removed = counts.get(key, (0, 0))
                counts[key] = (added + part["file_without_row"], removed + part["row_without_file"])
        return sorted((*key, *value) for key, value in counts.items())

    def assert_agreement(self):
        self.drift()
        before = self.folders()
        plan = self.plan()

        self.recorder.reindex("-e", "-s", "-r", "-1", "-a", "-1")

        self.assertEqual(self.planned(plan), self.done())
        self.assertEqual(plan["total"]["thumbnail_missing"], 2)
        self.assertEqual(len(os.listdir(self.recorder.path("var/snapshot/@Thumbnail"))), 2)
        root = os.path.join(Recorder.inside(""), "")
        self.assertEqual(
            {item["path"].removeprefix(root) for item in plan["items"]
             if item["reason"] == "folder-empty"}, before - self.folders())
        self.assertTrue(self.plan()["nothing_to_change"])

    def folders(self):
        root = self.recorder.path("volume1")
        return {os.path.relpath(folder, self.recorder.root) for folder, _, _ in os.walk(root)}

    def test_of_a_plan_and_a_run(self):
        self.assert_agreement()


class BrokenOff(PlanTest):
    """A plan of which any part is missing is not shown."""

    COMMANDS = (("plan",), ("plan", "--json"), ("plan", "--list"), ("plan", "--list", "--json"))

    def notes(self):
        """Returns the output of krplan for a recorder without differences but with a problem."""
        return self.recorder.run("krplan", "-r", "1", "-e").out

    def with_planner(self, script, *arguments):
        """Runs krctl with this script instead of krplan."""
        planner = self.recorder.file("planner", mode=0o755, content=f"#!/bin/sh\n{script}\n")
        sandbox, root, *command = self.recorder.command("krctl", *arguments)
        return [sandbox, root, "sh", "-c", 'mount --bind "$0" "$1" && shift && "$@"', planner,
                f"{self.recorder.bin_dir}/krplan", *command]

    def report(self):
        return self.recorder.path("report.html")

    def assert_no_plan(self, script, why, commands=COMMANDS):
        for arguments in (*commands, ("report", "--plan", "--html", self.report())):
            outcome = process.run(self.with_planner(script, *arguments))
            self.assertEqual(outcome.status, 1, (arguments, outcome))
            self.assertIn(why, outcome.err)
            self.assertNotIn("would change nothing", outcome.out)
            self.assertNotIn("summary", outcome.out)
            self.assertFalse(os.path.exists(self.report()))

    def printing(self, notes, end):
        notes_file = self.recorder.file("notes", content=notes)
        return f"cat {notes_file}\n{end}"

    def test_the_whole_of_it_is_a_plan(self):
        outcome = process.run(self.with_planner(self.printing(self.notes(), "exit 0"), "plan"))
        self.assertEqual((outcome.status, outcome.err), (0, ""))
        self.assertIn("a run would change nothing", outcome.out)

    def test_by_a_planner_that_is_killed_is_no_plan(self):
        notes = self.notes()
        for length in (0, len(notes) // 2, notes.rindex("end\t"), len(notes)):
            self.assert_no_plan(self.printing(notes[:length], "kill -KILL $$"),
                                "krctl: krplan was killed by signal 9")

    def test_is_neither_a_run_nor_a_plan_to_status_and_metrics(self):
        """krplan writes more than a pipe holds, without a reader, and is killed while it waits."""
        self.recorder.query("recording.db", "INSERT INTO event (camera_id, path) WITH RECURSIVE "
                            "number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number WHERE "
                            "n < 20000) SELECT 1, '20140312AM/gone' || n || '.mp4' FROM number")
        self.recorder.do("krindexer", "-e")
        before = self.what_is_shown()
        plan = process.start(self.recorder.command("krplan", "-r", "1", "-e"),
                             stdout=subprocess.PIPE)
        self.addCleanup(process.end, plan)
        process.until(lambda: is_full(plan.stdout), "krplan doesn't write so much")

        during = self.what_is_shown()
        plan.kill()
        plan.wait()

        self.assertEqual(during, before)
        self.assertEqual(self.what_is_shown(), before)

    def what_is_shown(self):
        metrics = self.recorder.run("krctl", "metrics").out
        return [self.recorder.run("krctl", "status", "--json").json(),
                self.recorder.run("krctl", "status").out,
                [line for line in metrics.splitlines() if "age_seconds" not in line]]

    def test_at_any_byte_is_no_plan(self):
        notes = self.notes()
        lines = [index + 1 for index, char in enumerate(notes) if char == "\n"][:-1]
        for length in sorted({0, 1, *lines, *(line - 1 for line in lines), len(notes) - 2,
                              len(notes) - 1}):
            self.assert_no_plan(self.printing(notes[:length], "exit 0"),
                                "krctl: krplan ended before the plan was complete",
                                [("plan", "--json")])

    def test_in_the_middle_is_no_plan(self):
        lines = self.notes().splitlines(keepends=True)
        self.assertGreater(len(lines), 3)
        self.assert_no_plan(self.printing("".join(lines[:1] + lines[2:]), "exit 0"),
                            "krctl: krplan ended before the plan was complete")

    def test_by_a_planner_that_was_stopped_and_is_killed_is_no_plan(self):
        pid = self.recorder.path("pid")
        script = self.printing(self.notes(), f"echo $$ >{self.recorder.inside('pid.new')}\n"
                               f"mv {self.recorder.inside('pid.new')} {self.recorder.inside('pid')}\n"
                               "kill -STOP $$")
        planning = process.start(self.with_planner(script, "plan"), stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE)
        self.addCleanup(process.end, planning)
        process.until(lambda: os.path.exists(pid), "no planner was started")
        with open(pid, encoding="ascii") as file:
            planner = int(file.read())
        process.until(lambda: _state_of(planner) == "T", "the planner was not stopped")
        os.kill(planner, signal.SIGKILL)
        self.assertEqual(planning.wait(process.DEADLINE_S), 1)
        self.assertNotIn(b"would change nothing", planning.stdout.read())
        self.assertIn(b"krplan was killed by signal 9", planning.stderr.read())

    def test_by_a_planner_that_can_t_be_started_is_no_plan(self):
        for mode in ("000", "644"):
            planner = self.recorder.file(f"planner{mode}", mode=int(mode, 8), content="")
            sandbox, root, *command = self.recorder.command("krctl", "plan")
            outcome = process.run([sandbox, root, "sh", "-c",
                                   'mount --bind "$0" "$1" && shift && "$@"', planner,
                                   f"{self.recorder.bin_dir}/krplan", *command])
            self.assertEqual((outcome.status, outcome.out), (1, ""), outcome)
            self.assertRegex(outcome.err, "^krctl: .*krplan")

    def test_without_a_planner_is_no_plan(self):
        program = self.recorder.path("krctl")
        shutil.copy(f"{self.recorder.bin_dir}/krctl", program)
        sandbox, root, _, *arguments = self.recorder.command("krctl", "plan")
        outcome = process.run([sandbox, root, program, *arguments])
        self.assertEqual((outcome.status, outcome.out), (1, ""), outcome)
        self.assertRegex(outcome.err, "^krctl: .*krplan")

    def test_that_can_t_be_printed_is_a_failure(self):
        command = self.recorder.command("krctl", "plan")
        for redirection in (">/dev/full", ">&-"):
            outcome = process.run(["sh", "-c", f'"$@" {redirection}', "sh", *command])
            self.assertEqual((outcome.status, outcome.out), (1, ""), redirection)
            self.assertIn("krctl: can't write to standard output", outcome.err)


class AgreementOnPostgresql(Agreement):
    def new_recorder(self, root):
        self.server = ServedDatabase()
        self.engine = Postgresql(self.server.dsn, "kestora")
        os.mkdir(root)
        return Recorder(root, [f'dsn = "{self.server.dsn}"'])

    def execute(self, database, sql):
        self.engine.run(sql + ";")

    def done(self):
        rows = self.server.psql("SELECT kind, camera_id, added, removed FROM kestora.run_count")
        return sorted((KEYS[kind], *map(int, counts))
                      for kind, *counts in (row.split("|") for row in rows.splitlines()))

    def test_nothing_differs_afterwards(self):
        self.drift()
        before = state_of(self.recorder.root), self.written()

        self.krctl("plan")

        self.assertEqual((state_of(self.recorder.root), self.written()), before)

    def written(self):
        """Returns the number of writing transactions and all rows."""
        rows = self.server.psql("SELECT schema_to_xml('kestora', true, false, '')")
        return self.server.psql("SELECT pg_current_xact_id_if_assigned(), "
                                "txid_snapshot_xmax(txid_current_snapshot())"), rows


def _state_of(process_id):
    with open(f"/proc/{process_id}/stat", encoding="utf-8") as file:
        return file.read().rpartition(")")[2].split()[0]


def _child_waits_for(parent, database):
    """Returns true if a child of that process is waiting for a database."""
    with open(f"/proc/{parent}/task/{parent}/children", encoding="utf-8") as file:
        return any(sqlite.waits_for_lock(child, [database]) for child in file.read().split())
