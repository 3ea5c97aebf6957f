"""krctl run: starts krindexer, shows its progress and the result."""

import json
import os
import re
import shutil
import signal
import subprocess
import time

from support import process
from support.case import KrctlTest
from support.recorder import HALF_DAY, START_TM
from support.terminal import Terminal

ANOTHER_CAMERA = 2


class RunTest(KrctlTest):
    def setUp(self):
        super().setUp()
        self.recorder.volume()
        self.storage = self.recorder.camera(1, "Front")

    def terminal(self, *arguments, columns=80, **environment):
        terminal = Terminal(self.recorder.command("krctl", *arguments), columns, environment)
        self.addCleanup(terminal.end)
        return terminal

    def hold_up(self):
        """Makes runs wait for the lock of the recording database, until the returned function is called."""
        holder = subprocess.Popen(
            ["sqlite3", self.recorder.path("var/db/recording.db")], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE)
        self.addCleanup(process.end, holder)
        self.addCleanup(holder.stdin.close)
        holder.stdin.write(b"BEGIN IMMEDIATE;\nSELECT 'held';\n")
        holder.stdin.flush()
        self.assertEqual(holder.stdout.readline(), b"held\n")

        def release():
            holder.stdin.write(b"ROLLBACK;\n.quit\n")
            holder.stdin.flush()
            holder.wait(process.DEADLINE_S)

        return release

    def rows(self, sql, database="recording"):
        """Returns the rows as texts, with columns separated by "|" like SQLite's shell."""
        lines = ["|".join(column.decode() if isinstance(column, bytes) else str(column)
                          for column in row) for row in self.recorder.query(f"{database}.db", sql)]
        return " ".join(lines).split()

    def lose_volume(self):
        os.remove(self.recorder.path("volume1/.kestora-volume"))


class Outcome(RunTest):
    def test_without_failures_is_status_0_and_a_table(self):
        self.recorder.recording(self.storage)
        outcome = self.krctl("run")
        self.assertRegex(outcome.out, r"recordings +1 Front +1 +0 +1 +0 +0")
        self.assertIn("run 1: complete", outcome.out)
        self.assertEqual(self.rows("SELECT count(*) FROM event;"), ["1"])

    def test_without_options_covers_all_kinds(self):
        outcome = self.krctl("run")
        for kind in ("recordings", "alert recordings", "snapshots", "e-maps"):
            self.assertRegex(outcome.out, f"(?m)^{kind} ")

    def test_with_options_covers_only_those_kinds(self):
        outcome = self.krctl("run", "-s")
        self.assertNotIn("recordings", outcome.out)
        self.assertNotIn("e-maps", outcome.out)
        self.assertRegex(outcome.out, "(?m)^snapshots ")

    def test_a_failure_is_status_1_and_counted_once(self):
        self.recorder.recording(self.storage, medium="cut.mp4")
        outcome = self.krctl("run", "-r", "1", status=1)
        self.assertIn("run 1: 1 failure, 1 known finding; see the log", outcome.out)

    def test_a_recording_that_could_not_be_read_stays_a_known_finding(self):
        """It has a row, so that no later run reads it again."""
        names = [self.recorder.recording(self.storage, START_TM + number, medium="cut.mp4")
                 for number in range(3)]
        outcome = self.krctl("run", status=1)
        for name in names:
            self.assertIn(f"FAILED: recordings of camera 1 Front: {HALF_DAY}/"
                          f"{os.path.basename(name)}: unreadable: can't read the container",
                          outcome.out)
        self.assertIn("run 1: 3 failures, 3 known findings", outcome.out)
        self.assertIn("run 2: in line, 3 known findings\n", self.krctl("run").out)
        self.assertIn("in line, 3 known findings\n", self.krctl("status").out)
        self.assertNotIn("in line", self.krctl("runs").out.lower())
        document = self.krctl("run", "--json").json()
        self.assertEqual((document["outcome"], document["known_findings"]), ("complete", 3))
        self.assertIn('kestora_reindex_findings{kind="recordings",finding="unreadable"} 3',
                      self.krctl("metrics").out)

    def test_the_first_ten_failures_are_named(self):
        for number in range(12):
            self.recorder.recording(self.storage, START_TM + number, medium="cut.mp4")
        outcome = self.krctl("run", status=1)
        self.assertEqual(outcome.out.count("FAILED: "), 10)
        self.assertIn('and 2 more; "krctl findings" lists them\n', outcome.out)
        findings = self.krctl("findings", "--json", status=2).json()["findings"]
        self.assertEqual([finding["run"] for finding in findings], [1] * 12)

    def test_json_names_every_failure(self):
        name = self.recorder.recording(self.storage, medium="cut.mp4")
        document = self.krctl("run", "--json", status=1).json()
        self.assert_matches_schema(document, "run")
        finding, = document["unreadable"]
        self.assertEqual(finding["path"], f"{HALF_DAY}/{os.path.basename(name)}")

    def test_a_finding_goes_with_the_file_and_its_row(self):
        name = self.recorder.recording(self.storage, medium="cut.mp4")
        self.krctl("run", status=1)
        os.remove(self.recorder.path(name))
        self.assertIn("run 2: complete\n", self.krctl("run").out)
        self.krctl("findings")

    def test_a_finding_does_not_come_back_with_a_sound_file_of_the_same_name(self):
        name = self.recorder.recording(self.storage, medium="cut.mp4")
        self.krctl("run", status=1)
        os.remove(self.recorder.path(name))
        self.krctl("run")
        self.recorder.recording(self.storage)
        self.assertIn("run 3: complete\n", self.krctl("run").out)
        self.krctl("findings")

    def test_an_undo_brings_back_rows_but_no_findings(self):
        name = self.recorder.recording(self.storage, medium="cut.mp4")
        self.krctl("run", status=1)
        os.remove(self.recorder.path(name))
        self.krctl("run")
        self.krctl("undo", "2")
        self.krctl("findings")

    def test_a_finding_goes_when_a_check_can_read_the_file(self):
        name = self.recorder.recording(self.storage, medium="cut.mp4")
        self.krctl("run", status=1)
        shutil.copyfile(os.path.join(self.recorder.media_dir, "h264.mp4"),
                        self.recorder.path(name))
        self.krctl("check", "--containers", status=2)  # the row has the old length
        findings = self.krctl("findings", "--json", status=2).json()["findings"]
        self.assertNotIn("unreadable", [finding["finding"] for finding in findings])

    def test_a_thumbnail_that_can_t_be_made_is_a_finding_until_it_can(self):
        name = self.recorder.snapshot()
        with open(self.recorder.path(name), "wb") as file:
            file.write(b"no picture")
        outcome = self.krctl("run", status=1)
        self.assertIn(f"FAILED: snapshots: {os.path.basename(name)}: unreadable", outcome.out)
        shutil.copyfile(os.path.join(self.recorder.media_dir, "picture.jpg"),
                        self.recorder.path(name))
        self.assertNotIn("known finding", self.krctl("run").out)
        self.krctl("findings")

    def test_a_folder_that_can_t_be_read_to_its_end_is_a_failure(self):
        folder = os.path.dirname(self.recorder.recording(self.storage))
        sandbox, root, *command = self.recorder.command("krctl", "run", "-r", "1")
        outcome = process.run(
            [sandbox, root, "strace", "-f", "-o", "/dev/null", "-P", self.recorder.inside(folder),
             "-e", "inject=getdents64:error=EIO:when=1", *command],
            env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})  # it traces the program itself
        self.assertEqual(outcome.status, 1, outcome)
        self.assertIn("run 1: 1 failure", outcome.out)
        self.assertRegex("".join(self.recorder.log()),
                         rf"can't read folder \S*{folder} to its end: Input/output error")

    def test_a_recording_that_crashes_its_reader_is_a_failure_and_the_run_continues(self):
        self.recorder.recording(self.storage, medium="frames.mxg")
        self.recorder.recording(self.storage, START_TM + 1)
        version = self.krctl("--version").out.split()[-1]
        reader = self.recorder.file("reader", mode=0o755, content=f"""#!/bin/sh
            echo started >>{self.recorder.inside("starts")}
            printf {version} >&0
            head -c 1 >/dev/null # the request
            kill -SEGV $$""")
        sandbox, root, *command = self.recorder.command("krctl", "run", "-r", "1")
        outcome = process.run([sandbox, root, "sh", "-c", 'mount --bind "$0" "$1" && shift && "$@"',
                               reader, f"{self.recorder.bin_dir}/krcontainers", *command])
        self.assertEqual(outcome.status, 1, outcome)
        self.assertRegex("".join(self.recorder.log()),
                         r"mxg: the program krcontainers was ended by signal 11 \(Segmentation fault\)")
        with open(self.recorder.path("starts"), encoding="ascii") as starts:
            self.assertEqual(starts.read().split(), ["started", "started"])
        self.assertEqual(self.rows("SELECT end_tm - start_tm, img_w FROM event ORDER BY start_tm;"),
                         ["0|0", "2|320"])

    def test_a_missing_volume_is_refused_visibly(self):
        self.recorder.recording(self.storage)
        self.lose_volume()
        outcome = self.krctl("run", status=3)
        self.assertRegex(outcome.out, "(?m)^REFUSED: camera 1 Front: the volume .* is not mounted")
        self.assertNotIn("complete", outcome.out)
        self.assertEqual(outcome.out.count("REFUSED"), 1)

    def test_removal_without_evidence_is_refused_and_the_rows_stay(self):
        name = self.recorder.recording(self.storage)
        self.krctl("run")
        folder = os.path.dirname(self.recorder.path(name))
        os.rename(folder, folder + ".elsewhere")
        os.symlink(folder + ".nowhere", folder)
        outcome = self.krctl("run", status=3)
        self.assertRegex(outcome.out, r"(?m)^REFUSED: camera 1 Front: no row is removed: .* symbolic link")
        self.assertEqual(self.rows("SELECT count(*) FROM event;"), ["1"])

    def test_lost_cameras_are_no_success(self):
        self.recorder.recording(self.storage)
        self.krctl("run")
        self.recorder.query("system.db", "DELETE FROM camera")
        outcome = self.krctl("run", status=3)
        self.assertRegex(outcome.out, "(?m)^REFUSED: camera gone: the camera table is empty")

    def test_another_run_is_status_75(self):
        release = self.hold_up()
        first = self.started("krindexer", "-r", "1")
        process.until(lambda: self.recorder.krctl("status", "--json").json()["running"],
                      "no run began")
        outcome = self.krctl("run", status=75)
        self.assertIn("krctl: another run, an undo or an adoption is in progress", outcome.err)
        release()
        self.assertEqual(first.wait(process.DEADLINE_S), 0)

    def test_invalid_settings_are_status_78(self):
        self.recorder.settings("[database]\nlock_timeout = 3\n")
        outcome = self.krctl("run", status=78)
        self.assertIn("kestora.toml", outcome.err)

    def test_a_log_that_is_not_trusted_is_status_78_and_not_pointed_to(self):
        os.symlink("/dev/null", self.recorder.path("var/log/kestora.log"))
        outcome = self.krctl("run", status=78)
        self.assertIn("krctl: the log is not trusted, so nothing was changed: ", outcome.err)
        self.assertNotIn("says why", outcome.err)

    def test_missing_databases_are_status_74(self):
        os.remove(self.recorder.path("var/db/system.db"))
        outcome = self.krctl("run", status=74)
        self.assertEqual(outcome.err, "krctl: /var/packages/Kestora/var/db/system.db does not exist; "
                                      "run krctl init\n")

    def test_a_killed_run_is_no_success(self):
        release = self.hold_up()
        running = self.started("krctl", "run", "-r", "1", stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        live = process.until(lambda: self.recorder.krctl("status", "--json").json()["running"],
                             "no run began")
        os.kill(live["pid"], signal.SIGKILL)
        out, err = running.communicate(timeout=process.DEADLINE_S)
        release()
        self.assertEqual(running.returncode, 1)
        self.assertIn(b"krindexer was killed", err)
        self.assertNotIn(b"complete", out)

    def test_a_refusal_before_the_kill_outranks_it(self):
        self.recorder.volume("volume2")
        self.recorder.recording(self.recorder.camera(ANOTHER_CAMERA, "Back", volume="volume2"))
        self.lose_volume()  # of camera 1, which is run first
        release = self.hold_up()
        running = self.started("krctl", "run", "-r", "-1", stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        live = process.until(lambda: self.running_camera(ANOTHER_CAMERA), "no run began")
        os.kill(live["pid"], signal.SIGKILL)
        _, err = running.communicate(timeout=process.DEADLINE_S)
        release()
        self.assertEqual(running.returncode, 3)
        self.assertIn(b"krindexer was killed", err)

    def running_camera(self, number):
        running = self.recorder.krctl("status", "--json").json()["running"]
        return running if running and running["camera"] == number else None

    def test_refusals_of_a_killed_run_are_on_record(self):
        self.test_a_refusal_before_the_kill_outranks_it()
        self.krctl("status", "--exit-code", status=3)


class Arguments(RunTest):
    def test_an_unknown_camera_is_named(self):
        outcome = self.krctl("run", "-r", "7", status=64)
        self.assertEqual(outcome.err, 'krctl: there is no camera with the id 7; "krctl camera list"'
                                      " lists them\n")

    def test_an_invalid_camera_is_named(self):
        for text in ("x", "0", "-2", "1x"):
            outcome = self.krctl("run", "-r", text, status=64)
            self.assertIn(f"{text}: expected the number of a camera, or -1 for all", outcome.err)

    def test_two_cameras_are_refused(self):
        self.recorder.camera(ANOTHER_CAMERA)
        outcome = self.krctl("run", "-r", "1", "-a", "2", status=64)
        self.assertIn("-r 1 -a 2: expected the same camera for both", outcome.err)

    def test_kinds_select_the_work_and_exclude_krindexers_options(self):
        self.recorder.recording(self.storage)
        outcome = self.krctl("run", "--kind", "snapshots", "--kind", "e-maps")
        self.assertNotIn("recordings", outcome.out)
        for kind in ("snapshots", "e-maps"):
            self.assertRegex(outcome.out, f"(?m)^{kind} ")
        outcome = self.krctl("run", "--kind", "snapshots", "-r", "1", status=64)
        self.assertIn("can't be used with", outcome.err)

    def test_several_cameras_are_one_run_each_with_its_own_result(self):
        other = self.recorder.camera(ANOTHER_CAMERA)
        self.recorder.recording(self.storage)
        self.recorder.recording(other, medium="cut.mp4")
        options = ("--camera", "1", "--camera", "2", "--kind", "recordings", "--kind", "e-maps")
        outcome = self.krctl("run", *options, status=1)  # that of the second run
        self.assertIn("run 1: complete", outcome.out)
        self.assertIn("run 2: 1 failure", outcome.out)
        documents = self.documents(self.krctl("run", *options, "--json").out)
        self.assertEqual([(document["run"], [(part["kind"], part["camera"])
                                             for part in document["parts"] if part["kind"] == "e-maps" or part["camera"]])
                          for document in documents],
                         [(3, [("e-maps", None), ("recordings", 1)]), (4, [("recordings", 2)])])

    def documents(self, text):
        """Returns the JSON documents of a text that has one after another."""
        documents, decoder = [], json.JSONDecoder()
        while text := text.lstrip():
            document, end = decoder.raw_decode(text)
            self.assert_matches_schema(document, "run")
            documents.append(document)
            text = text[end:]
        return documents

    def test_after_a_refused_run_no_further_run_is_started(self):
        self.recorder.camera(ANOTHER_CAMERA)
        release = self.hold_up()
        first = self.started("krindexer", "-r", "1")
        process.until(lambda: self.recorder.krctl("status", "--json").json()["running"],
                      "no run began")
        outcome = self.krctl("run", "--camera", "1", "--camera", "2", status=75)
        self.assertEqual(outcome.err.count("another run"), 1)
        self.assertIn("krctl: not started: 1 further run\n", outcome.err)
        release()
        self.assertEqual(first.wait(process.DEADLINE_S), 0)

    def test_an_unknown_option_is_wrong_usage(self):
        outcome = self.krctl("run", "--fast", status=64)
        self.assertIn("--fast", outcome.err)


class Json(RunTest):
    def test_is_what_its_schema_says_and_all_that_is_printed(self):
        self.recorder.recording(self.storage)
        document = self.krctl("run", "--json").json()
        self.assert_matches_schema(document, "run")
        self.assertEqual(document["outcome"], "complete")
        self.assertEqual(document["total"]["added"], 1)
        part = next(part for part in document["parts"] if part["camera"] == 1)
        self.assertEqual((part["kind"], part["camera_name"], part["files"], part["added"]),
                         ("recordings", "Front", 1, 1))

    def test_counts_refusals(self):
        self.lose_volume()
        document = self.krctl("run", "--json", status=3).json()
        self.assert_matches_schema(document, "run")
        self.assertEqual((document["outcome"], document["total"]["refusals"]), ("failures", 2))
        self.assertIn("is not mounted", document["parts"][2]["refusal"])


class Progress(RunTest):
    def test_without_a_terminal_is_a_line_for_each_part(self):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        running = self.started("krctl", "run", "-r", "1", stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        first = running.stderr.readline().decode()
        release()
        out, rest = (text.decode() for text in running.communicate(timeout=process.DEADLINE_S))
        self.assertTrue(out.startswith("kind "), out)
        self.assertRegex(first, r"^recordings of camera 1 Front  \d files?  \+0 -0  ")
        self.assertNotIn("\x1b", first + rest)
        self.assertNotIn("\r", first + rest)

    def test_is_not_shown_if_the_user_wants_none(self):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        running = self.started("krctl", "run", "-r", "1", "--quiet", stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        process.until(lambda: self.recorder.krctl("status", "--json").json()["running"],
                      "no run began")
        time.sleep(1)  # four times the interval of the display
        release()
        out, err = running.communicate(timeout=process.DEADLINE_S)
        self.assertEqual(err, b"")
        self.assertIn(b"run 1: complete", out)

    def shown_while_held_up(self, columns, **environment):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        terminal = self.terminal("run", "-r", "1", columns=columns, **environment)
        terminal.read_until(b"1 file")
        release()
        self.assertEqual(terminal.finish(), 0)
        return terminal

    def test_on_a_terminal_is_one_line_that_is_cleared_at_the_end(self):
        terminal = self.shown_while_held_up(80)
        self.assertIn(b"\r\x1b[Krecordings of camera 1 Front  1 file  +0 -0", terminal.shown)
        progress, table = terminal.shown.split(b"\x1b[Kkind", 1)
        self.assertNotIn(b"\n", progress)
        self.assertIn(b"complete", table)

    def test_fits_a_narrow_terminal(self):
        terminal = self.shown_while_held_up(40)
        told = [line for line in terminal.lines() if "file" in line and "%" in line]
        self.assertTrue(told, terminal.shown)
        for line in told:
            self.assertLess(len(line), 40, line)
            self.assertRegex(line, "[01] file")

    def test_is_coloured_on_a_terminal(self):
        terminal = self.terminal("run", "-e")
        self.assertEqual(terminal.finish(), 0)
        self.assertIn(b"\x1b[32mnothing to add or remove\x1b[0m", terminal.shown)

    def test_is_not_coloured_if_the_user_wants_no_colour(self):
        terminal = self.terminal("run", "-e", NO_COLOR="1")
        self.assertEqual(terminal.finish(), 0)
        self.assertIn(b"run 1: nothing to add or remove", terminal.shown)
        self.assertNotRegex(terminal.shown, rb"\x1b\[[0-9;]*m")


class Stopping(RunTest):
    def assert_was_stopped(self, status, shown):
        self.assertEqual(status, 130)
        self.assertIn(b"krctl: stopped; completed changes stay", shown)
        self.assertIsNone(self.krctl("status", "--json").json()["running"])
        self.assertEqual(self.rows("PRAGMA integrity_check;"), ["ok"])

    def test_ctrl_c_stops_the_run_and_the_next_one_completes_it(self):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        terminal = self.terminal("run", "-r", "1")
        terminal.read_until(b"1 file")
        terminal.type(b"\x03")
        status = terminal.finish()
        release()
        self.assert_was_stopped(status, terminal.shown)
        self.assertEqual(self.rows("SELECT count(*) FROM event;"), ["0"])
        self.krctl("run")
        self.assertEqual(self.rows("SELECT count(*) FROM event;"), ["1"])

    def test_a_signal_to_krctl_alone_stops_the_run(self):
        self.recorder.recording(self.storage)
        release = self.hold_up()
        running = self.started("krctl", "run", "-r", "1", stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        running.stderr.readline()
        pid = process.until(lambda: self.parent_of_run(), "no run began")
        os.kill(pid, signal.SIGTERM)
        _, err = running.communicate(timeout=process.DEADLINE_S)
        release()
        self.assert_was_stopped(running.returncode, err)

    def test_a_signal_ends_a_run_that_was_stopped(self):
        release = self.hold_up()
        running = self.started("krctl", "run", "-r", "1", stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        pid = process.until(lambda: self.parent_of_run(), "no run began")
        os.kill(self.recorder.krctl("status", "--json").json()["running"]["pid"], signal.SIGSTOP)
        os.kill(pid, signal.SIGTERM)
        _, err = running.communicate(timeout=process.DEADLINE_S)
        release()
        self.assert_was_stopped(running.returncode, err)

    def parent_of_run(self):
        """Returns the process id of krctl, which is a child of the sandbox's process."""
        live = self.recorder.krctl("status", "--json").json()["running"]
        if not live:
            return None
        with open(f"/proc/{live['pid']}/status", encoding="utf-8") as file:
            return int(re.search(r"PPid:\s+(\d+)", file.read())[1])
