"""krctl doctor: finds the problems of a recorder and names the remedies."""

import contextlib
import os
import shutil
import sqlite3
import tempfile
import unittest

from support import process
from support.case import KrctlTest
from support.recorder import PACKAGE_ROOT

OTHER_UUID = "00000000-0000-4000-8000-000000000000"
RESTRICTED = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]


class DoctorTest(KrctlTest):
    def diagnosis(self, *change, status=0):
        """Returns (state, message, remedy) by subject. `change` is a command that starts krctl."""
        if change:
            command = self.recorder.command("krctl", "doctor", "--json")
            outcome = process.run([*command[:2], *change, *command[2:]])
        else:
            outcome = self.recorder.krctl("doctor", "--json")
        self.assertEqual((outcome.status, outcome.err), (status, ""), outcome)
        document = outcome.json()
        self.assert_matches_schema(document, "doctor")
        checks = {}
        for check in document["checks"]:
            checks.setdefault(check["check"], []).append(
                (check["state"], check["message"], check["remedy"]))
        states = [check["state"] for check in document["checks"]]
        self.assertEqual((document["problems"], document["warnings"]),
                         (states.count("problem"), states.count("warning")))
        return checks

    def camera(self, number=7):
        """Adds a camera on a volume whose folders are closed to other users."""
        if not os.path.exists(self.recorder.path("volume1")):
            self.recorder.volume()
        storage = self.recorder.camera(number)
        os.chmod(self.recorder.path(storage), 0o750)
        return storage

    def close_to_others(self):
        for name in ("var/snapshot", "var/log", "target/@KREmap"):
            os.chmod(self.recorder.path(name), 0o750)

    @contextlib.contextmanager
    def run_in_the_middle(self):
        """Starts a run that waits for another writer."""
        self.recorder.settings("[database]\nlock_timeout_ms = 60000")
        connection = sqlite3.connect(self.recorder.path("var/db/recording.db"), isolation_level=None)
        connection.execute("BEGIN IMMEDIATE")
        try:
            running = self.started("krindexer", "-r", "-1")
            process.until(self.run_has_a_number, "the run doesn't start")
            yield running
        finally:
            connection.close()

    def run_has_a_number(self):
        """Returns true once "krctl status" shows the run's number: the run is then in progress."""
        running = self.recorder.krctl("status", "--json").json()["running"]
        return running and running["run"] == 1

    def assert_line(self, checks, subject, state, message, remedy=None):
        self.assertIn((state, message, remedy), checks[subject])


class Doctor(DoctorTest):
    def test_finds_no_problem_on_a_sound_recorder(self):
        self.close_to_others()
        self.camera()
        self.recorder.reindex("-r", "-1")

        checks = self.diagnosis()

        # Disk space and user depend on the machine that runs the tests. No folder for backups is set.
        states = {subject: {state for state, _, _ in found} for subject, found in checks.items()
                  if subject not in ("space", "user", "backup")}
        self.assertEqual(states, {subject: {"ok"} for subject in (
            "settings", "log", "database", "modes", "modules", "camera", "volume", "snapshots",
            "e-maps", "run", "findings", "outbox", "broker")})
        self.assertEqual({remedy for found in checks.values() for state, _, remedy in found
                          if state == "ok"}, {None})

    def test_prints_a_line_for_each_check_without_colour_if_not_on_a_terminal(self):
        shutil.rmtree(self.recorder.path("var/db"))

        lines = self.krctl("doctor", status=1).out.splitlines()

        self.assertEqual(len(lines), sum(len(found) for found in self.diagnosis(status=1).values()))
        self.assertIn(f"problem  database   {PACKAGE_ROOT}/var/db/system.db does not exist. "
                      "Remedy: run krctl init", lines)
        for line in lines:
            self.assertRegex(line, r"^(ok     |warning|problem)  [a-z]+ +[^ ].*$")

    def test_is_in_colour_on_a_terminal_unless_no_color_is_set(self):
        for environment, coloured in (({}, True), ({"NO_COLOR": "1"}, False)):
            master, slave = os.openpty()
            with contextlib.ExitStack() as stack:
                stack.callback(os.close, master)
                running = self.started("krctl", "doctor", stdout=slave,
                                       env={**os.environ, "NO_COLOR": "", **environment})
                os.close(slave)
                output = read_all(master)
                running.wait(process.DEADLINE_S)
            self.assertEqual(b"\033[32mok     \033[0m  settings" in output, coloured, output)
            self.assertEqual(b"\033" in output, coloured)

    def test_changes_nothing(self):
        storage = self.camera()
        self.recorder.recording(storage)
        self.recorder.reindex("-r", "-1")
        self.recorder.row("outbox", created_tm=1, topic="event/list", payload="{}", due=1)
        before = self.state()

        self.diagnosis()

        self.assertEqual(self.state(), before)

    def state(self):
        """Returns modes, times and contents of all files."""
        files = {}
        for folder, folders, names in os.walk(self.recorder.root):
            for name in folders + names:
                path = os.path.join(folder, name)
                st = os.lstat(path)
                content = b""
                if name in names:
                    with open(path, "rb") as file:
                        content = file.read()
                times = () if path.endswith("/var/db") else (st.st_mtime_ns,)
                files[path] = (st.st_mode, st.st_uid, *times, content)
        return files


def read_all(descriptor):
    data = b""
    while True:
        try:
            more = os.read(descriptor, 4096)
        except OSError:  # the other end of the terminal is closed
            return data
        if not more:
            return data
        data += more


class Settings(DoctorTest):
    def test_may_be_missing(self):
        os.unlink(self.recorder.path("etc/kestora.toml"))

        self.assert_line(self.diagnosis(), "settings", "ok", f"{PACKAGE_ROOT}/etc/kestora.toml "
                         "does not exist: all settings have their defaults")

    def test_that_are_invalid_are_a_problem_and_prevent_the_checks_that_need_them(self):
        self.recorder.settings("[log]\nmax_size = 1")

        checks = self.diagnosis(status=1)

        self.assert_line(checks, "settings", "problem", f"{PACKAGE_ROOT}/etc/kestora.toml:2: unknown "
                         "key log.max_size; expected one of max_size_mib, old_files",
                         "correct this: no run can start until then")
        for subject in ("database", "camera", "volume", "media", "run", "outbox", "broker"):
            self.assertEqual(checks[subject], [
                ("warning", "not checked because the settings are invalid", None)])

    def test_that_others_may_write_are_a_problem(self):
        os.chmod(self.recorder.path("etc/kestora.toml"), 0o666)

        self.assert_line(self.diagnosis(status=1), "settings", "problem",
                         f"{PACKAGE_ROOT}/etc/kestora.toml may be written by its group or by others "
                         "(mode 0666); expected its owner alone", "correct this: no run can start until then")

    def test_that_are_invalid_end_other_commands_with_a_separate_status(self):
        self.recorder.settings("[lgo]")

        outcome = self.krctl("camera", "list", status=78)

        self.assertRegex(outcome.err, r"^krctl: /var/packages/Kestora/etc/kestora.toml:1: unknown "
                         r"key lgo; expected one of [^\n]+\n$")


class User(DoctorTest):
    def test_that_is_root_should_be_the_data_s_owner(self):
        if os.geteuid() != 0:
            self.skipTest("only root has another user's files")
        os.chown(self.recorder.path("var/db"), 4711, 4711)

        self.assert_line(self.diagnosis(), "user", "warning", f"{PACKAGE_ROOT}/var/db belongs to "
                         "#4711, but files that root creates there belong to root",
                         "run krctl doctor and every run as that user: sudo -u '#4711' krctl doctor")

    def test_that_is_not_root_should_be_the_data_s_owner(self):
        if os.geteuid() != 0:
            self.skipTest("only root can be another user")
        # The build's own folder may be closed to other users.
        os.unlink(self.recorder.path("etc/kestora.toml"))
        programs = os.path.join(self.recorder.root, "bin")
        os.mkdir(programs)
        shutil.copy(os.path.join(self.recorder.bin_dir, "krctl"), programs)
        os.chmod(self.recorder.root, 0o755)
        for folder in ("var", "var/db"):
            os.chmod(self.recorder.path(folder), 0o755)
        os.chmod(os.path.dirname(self.recorder.root), 0o755)

        outcome = process.run([*self.recorder.command("krctl")[:2], "setpriv", "--reuid=4711",
                               "--regid=4711", "--clear-groups",
                               self.recorder.inside("bin/krctl"), "doctor"])

        self.assertEqual(outcome.status, 1, outcome)
        self.assertIn(f"warning  user       {PACKAGE_ROOT}/var/db belongs to root, not to #4711. "
                      "Remedy: run krctl doctor and every run as that user: sudo -u root krctl "
                      "doctor\n", outcome.out)
        self.assertIn(f"problem  database   {PACKAGE_ROOT}/var/db/system.db can't be read and "
                      "written by #4711. Remedy: run as its owner, see \"user\"\n",
                      outcome.out)


class Log(DoctorTest):
    def test_that_is_a_link_is_a_problem(self):
        os.symlink("/etc/passwd", self.recorder.path("var/log/kestora.log"))

        self.assert_line(self.diagnosis(status=1), "log", "problem",
                         f"{PACKAGE_ROOT}/var/log/kestora.log is a symbolic link; expected a regular "
                         "file", "correct this: no run can start until then")

    def test_that_can_t_be_written_is_a_problem(self):
        os.chmod(self.recorder.path("var/log"), 0o550)

        checks = self.diagnosis(*RESTRICTED, status=1)

        self.assert_line(checks, "log", "problem", f"{PACKAGE_ROOT}/var/log can't be written by "
                         "root", 'run as its owner, see "user"')

    def test_at_level_0_hides_failures(self):
        self.recorder.settings("[debug_log]")

        self.assert_line(self.diagnosis(), "log", "warning", "level 0 in [debug_log] hides "
                         "krindexer's failures from the log",
                         f"set reindex = 3 under [debug_log] in {PACKAGE_ROOT}/etc/kestora.toml")


class Databases(DoctorTest):
    def test_that_are_missing_are_a_problem(self):
        os.unlink(self.recorder.path("var/db/system.db"))

        checks = self.diagnosis(status=1)

        self.assert_line(checks, "database", "problem",
                         f"{PACKAGE_ROOT}/var/db/system.db does not exist", "run krctl init")
        self.assert_line(checks, "camera", "warning", "not checked because a database can't be used")

    def test_that_are_not_regular_files_are_reported_without_waiting(self):
        database = f"{PACKAGE_ROOT}/var/db/system.db"
        for suffix in ("-wal", "-shm", "-journal", ""):
            path = self.recorder.path("var/db/system.db" + suffix)
            if os.path.lexists(path):
                os.unlink(path)
            os.mkfifo(path)
            name = database + suffix if suffix else "it"
            message = f"database {database}: can't open it: {name} is not a regular file"

            self.assert_line(self.diagnosis(status=1), "database", "problem", message,
                             "correct the cause that the message names: the database may be undamaged")
            for command, status in ((("plan", "-e"), 74), (("init",), 74), (("status",), 74)):
                self.assertIn(message, self.krctl(*command, status=status).err)

            os.unlink(path)

    def test_whose_id_marks_are_not_a_regular_file_prevent_runs_from_starting(self):
        numbers = self.recorder.path("var/db/numbers")
        os.remove(numbers)
        os.mkdir(numbers)
        problem = f"{self.recorder.inside('var/db/numbers')} is not a regular file"
        self.assert_line(self.diagnosis(status=1), "database", "problem",
                         problem + ", so no run can start",
                         "remove it: the next run recreates it from the databases")
        self.assertIn(problem, self.krctl("plan", status=74).err)
        self.assertIn("the log has the reason", self.krctl("run", status=74).err)
        self.assertIn(problem, "\n".join(self.recorder.log()))
        os.rmdir(numbers)
        self.krctl("run")
        self.assertTrue(os.path.isfile(numbers))

    def test_of_an_older_version_are_a_problem(self):
        self.recorder.query("snapshot.db", "PRAGMA user_version = 0")

        self.assert_line(self.diagnosis(status=1), "database", "problem",
                         f"{PACKAGE_ROOT}/var/db/snapshot.db has schema version 0; expected 1",
                         "run krctl init")

    def test_of_a_newer_version_are_a_problem(self):
        self.recorder.query("snapshot.db", "PRAGMA user_version = 1000")

        self.assert_line(self.diagnosis(status=1), "database", "problem",
                         f"{PACKAGE_ROOT}/var/db/snapshot.db has schema version 1000; expected 1: it "
                         "was written by a newer version of krctl", "install that version of the package")

    def test_in_another_format_are_a_problem(self):
        self.recorder.file("var/db/snapshot.db", "no database " * 1000)

        found = [check for check in self.diagnosis(status=1)["database"] if check[0] == "problem"]

        self.assertEqual(len(found), 1)
        self.assertIn(f"{PACKAGE_ROOT}/var/db/snapshot.db: can't", found[0][1])
        self.assertIn("file is not a database", found[0][1])

    def test_that_are_damaged_are_a_problem(self):
        self.damage("recording.db", "event_by_camera_and_start")

        found = [check for check in self.diagnosis(status=1)["database"] if check[0] == "problem"]

        self.assertEqual(len(found), 1, found)
        self.assertIn(f"{PACKAGE_ROOT}/var/db/recording.db is damaged: ", found[0][1])
        self.assertEqual(found[0][2],
                         "restore it from a backup, or move it away and run krctl init and krctl run")

    def test_a_page_that_could_not_be_read_once_is_no_damage(self):
        seen = ""
        for number in range(10, 80, 7):
            outcome = process.run_traced(
                self.recorder.command("krctl", "doctor"), "-o", "/dev/null", "-e", "trace=pread64",
                "-e", f"inject=pread64:error=EIO:when={number}")
            self.assertNotIn("is damaged", outcome.out)
            self.assertNotIn("move it away", outcome.out)
            seen += outcome.out
        self.assertIn("a page could not be read once", seen)

    def damage(self, database, index):
        """Overwrites the root page of an index."""
        (page,), = self.recorder.query(
            database, "SELECT rootpage FROM sqlite_schema WHERE name = ?", index)
        (size,), = self.recorder.query(database, "PRAGMA page_size")
        with open(self.recorder.path(f"var/db/{database}"), "r+b") as file:
            file.seek((page - 1) * size)
            file.write(b"\xff" * size)

    def test_on_a_server_that_is_down_are_a_problem(self):
        self.recorder.settings('[database]\ndsn = "postgresql://kestora@127.0.0.1:1/kestora"')

        checks = self.diagnosis(status=1)

        (state, message, remedy), = checks["database"]
        self.assertEqual((state, remedy), (
            "problem", f"start the server, or correct [database] in {PACKAGE_ROOT}/etc/kestora.toml"))
        self.assertIn("Connection refused", message)
        self.assert_line(checks, "camera", "warning", "not checked because a database can't be used")

    def test_on_a_server_that_runs_are_sound(self):
        import server
        with server.Server() as postgresql, tempfile.TemporaryDirectory() as folder:
            root = os.path.join(folder, "recorder")
            os.mkdir(root)
            self.recorder = type(self.recorder)(root, [f'dsn = "{postgresql.dsn}"'])
            self.addCleanup(self.recorder.end)

            (state, message, _), = self.diagnosis()["database"]

        self.assertEqual(state, "ok")
        self.assertIn("has schema version 1", message)


class Modes(DoctorTest):
    def test_of_databases_are_reported_by_doctor_and_corrected_by_init(self):
        for name, mode in (("", 0o755), ("/system.db", 0o644), ("/recording.db", 0o666)):
            os.chmod(self.recorder.path("var/db" + name), mode)
        folder = f"{PACKAGE_ROOT}/var/db"

        before = self.diagnosis()
        outcome = self.krctl("init")

        self.assert_line(before, "modes", "warning",
                         f"accessible to other users: {folder} {folder}/recording.db {folder}/system.db",
                         "run krctl init")
        self.assertEqual([line for line in outcome.out.splitlines() if "removed" in line], [
            f"{folder}{name}: removed the access of other users"
            for name in ("", "/recording.db", "/system.db")])
        self.assert_line(self.diagnosis(), "modes", "ok", "databases: no access for other users")
        modes = [os.stat(self.recorder.path("var/db" + name)).st_mode & 0o7777
                 for name in ("", "/system.db", "/recording.db")]
        self.assertEqual(modes, [0o750, 0o640, 0o660])

    def test_of_media_folders_are_reported_with_the_command_that_corrects_them(self):
        self.close_to_others()
        os.makedirs(self.recorder.path("volume1/the yard"), mode=0o755)
        yard = self.recorder.inside("volume1/the yard")
        self.recorder.do("krctl", "camera", "add", "--id", "8", "--name", "Yard", "--storage", yard)

        self.assert_line(self.diagnosis(), "modes", "warning", "log or media folders are accessible to other users",
                         f"run chmod o-rwx '{yard}'")

    def test_are_reported_with_each_folder_once(self):
        self.close_to_others()
        storage = self.camera()
        for folder in (storage, "var/log"):
            os.chmod(self.recorder.path(folder), 0o751)
        self.recorder.settings(f'[snapshot]\nfolder = "{self.recorder.inside(storage)}"')

        line, = [line for line in self.krctl("doctor").out.splitlines() if " modes " in line and "chmod" in line]

        self.assertEqual([line.count(self.recorder.inside(folder)) for folder in (storage, "var/log")], [1, 1])

    def test_of_each_folder_alone_are_reported(self):
        storage = self.camera()
        self.close_to_others()
        folders = ["var/db", "var/log", "var/snapshot", "target/@KREmap", storage]
        for folder in folders:
            with self.subTest(folder=folder):
                os.chmod(self.recorder.path(folder), 0o751)
                path = self.recorder.inside(folder)
                expected = (
                    ("warning", f"accessible to other users: {path}", "run krctl init")
                    if folder == "var/db" else
                    ("warning", "log or media folders are accessible to other users", f"run chmod o-rwx {path}"))

                self.assertEqual(
                    [check for check in self.diagnosis()["modes"] if check[0] != "ok"], [expected])

                os.chmod(self.recorder.path(folder), 0o750)
        self.assertEqual([state for state, _, _ in self.diagnosis()["modes"]], ["ok", "ok"])


class Space(DoctorTest):
    def test_that_is_nearly_used_up_is_a_warning(self):
        self.recorder.volume()
        storage = self.recorder.camera(7)
        script = ('cp -r "$1" /mnt/saved && mount -t tmpfs -o size=16m none "$1" && '
                  'cp -rT /mnt/saved "$1" && exec "$0" doctor')
        command = self.recorder.command("krctl")

        outcome = process.run([*command[:2], "sh", "-c",
                               f"mount -t tmpfs none /mnt && {script}", command[2],
                               self.recorder.inside("volume1")])

        self.assertEqual(outcome.status, 0, outcome)
        self.assertRegex(outcome.out, rf"warning  space      {self.recorder.inside('volume1')} has "
                         r"15 MiB free, \d+ %. Remedy: free some space: at least 5 % and 200 MiB are "
                         "recommended")
        self.assertTrue(storage)

    def test_of_the_log_that_is_used_up_is_a_problem(self):
        self.krctl("run")
        command = self.recorder.command("krctl")
        script = ('mount -t tmpfs -o size=64k,mode=750 none "$1" && umask 027 && '
                  'touch "$1/kestora.log" && head -c 64K /dev/zero >"$1/fill"; exec "$0" doctor')

        outcome = process.run([*command[:2], "sh", "-c", script, command[2],
                               self.recorder.inside("var/log")])

        log = self.recorder.inside("var/log")
        self.assertEqual(outcome.status, 1, outcome)
        self.assertIn(f"the file system of {log}/kestora.log is full. Remedy: free some space: until "
                      "then the messages of runs are not logged", outcome.out)
        self.assertRegex(outcome.out, rf"warning +space +{log} has 0 MiB free")


class KeptByRestores(DoctorTest):
    def found(self):
        return [check for check in self.diagnosis()["backup"] if "restores have kept" in check[1]]

    def test_are_named_with_their_size_and_age(self):
        self.assertEqual(self.found(), [])
        folder = os.path.dirname(self.recorder.path("var/db/replaced/one/system.db"))
        self.recorder.file("var/db/replaced/one/system.db", bytes(3 * 1024 * 1024))
        ((health, message, _),) = self.found()
        self.assertEqual(health, "ok")
        self.assertIn("1 folder in /var/packages/Kestora/var/db/replaced, 3.0 MiB, the oldest of ", message)

        os.utime(folder, (1394590500, 1394590500))
        ((health, _, remedy),) = self.found()
        self.assertEqual((health, remedy), (
            "warning", "if the restored databases are in order, remove the old folders there"))


class Modules(DoctorTest):
    def test_that_are_missing_are_problems(self):
        bin_dir = self.recorder.bin_dir
        folder = os.path.join(os.path.dirname(bin_dir), "lib/kestora")
        without = ("sh", "-c", f'mount -t tmpfs none "{folder}" && '
                   f'mount --bind /dev/null "{bin_dir}/krcontainers" && exec "$0" "$@"')

        self.assertEqual(self.diagnosis(*without, status=1)["modules"], [
            ("problem", f"{what}; expected {place}", "reinstall the package before the next run: "
             f"a run would add {rows}, and later runs would not repair these")
            for what, place, rows in (
                ("the program krcontainers is missing", f"{bin_dir}/krcontainers or "
                 f"{os.path.dirname(bin_dir)}/libexec/kestora/krcontainers",
                 "rows without duration and format for recordings in unusual containers"),
                ("the recorder's module thumbnails is missing",
                 f"{folder}/kestora-thumbnails.so", "snapshots without thumbnails"))])

    def test_that_only_make_runs_quicker_are_a_warning(self):
        helper = f"{self.recorder.bin_dir}/krahead"
        ends = self.recorder.file("krahead", "#!/bin/sh\nexit 1\n", mode=0o755)
        for mounted, message in (("/dev/null", "the program krahead is missing; expected "),
                                 (ends, "the program krahead ended or did not respond")):
            with self.subTest(mounted=mounted):
                (found,) = self.diagnosis("sh", "-c", f'mount --bind "{mounted}" "{helper}" && exec "$0" "$@"')["modules"]
                self.assertEqual((found[0], found[2]), (
                    "warning", "reinstall the package: a run would wait longer for slow disks"))
                self.assertIn(message, found[1])

    def test_that_are_not_wanted_are_not_tried(self):
        self.recorder.settings("[ahead]\nhelpers = 0\n")
        found = self.diagnosis("sh", "-c", f'mount --bind /dev/null "{self.recorder.bin_dir}/krahead" && exec "$0" "$@"')
        self.assertEqual([check[0] for check in found["modules"]], ["ok"])

    def test_of_another_version_are_a_problem(self):
        other = self.recorder.file("krcontainers", "#!/bin/sh\nprintf 0.0.1 >&0\n", mode=0o755)

        found = self.diagnosis("sh", "-c", f'mount --bind "{other}" "{self.recorder.bin_dir}/'
                               'krcontainers" && exec "$0" "$@"', status=1)

        self.assertRegex(found["modules"][0][1],
                         r"^the program krcontainers is of version 0\.0\.1; expected \d")


class Cameras(DoctorTest):
    def only(self, status=0, change=()):
        (found,) = self.diagnosis(*change, status=status)["camera"]
        return found

    def test_that_are_all_missing_are_a_warning(self):
        self.assertEqual(self.only(), (
            "warning", "no cameras are registered", "run krctl camera add for each camera, or "
            "krctl camera adopt DIR for all cameras below a folder"))

    def test_without_their_folder_are_a_problem(self):
        storage = self.camera()
        shutil.rmtree(self.recorder.path(storage))

        self.assertEqual(self.only(1), (
            "problem", f'camera 7 "cam7": {self.recorder.inside(storage)} does not exist',
            "mount its disk; if it is now mounted at another path, run krctl camera adopt DIR with the "
            "storage folder there"))

    def test_whose_folder_can_t_be_read_or_written_are_a_problem(self):
        storage = self.camera()
        folder = self.recorder.inside(storage)
        for mode, what in ((0o350, "read"), (0o550, "written")):
            os.chmod(self.recorder.path(storage), mode)

            self.assertEqual(self.only(1, RESTRICTED), (
                "problem", f'camera 7 "cam7": {folder} can\'t be {what} by root',
                f"give root access: chown or chmod {folder}"))

    def test_without_their_identity_are_a_problem(self):
        storage = self.camera()
        os.unlink(self.recorder.path(f"{storage}/.kestora-camera"))

        self.assertEqual(self.only(1), (
            "problem", f'camera 7 "cam7": {self.recorder.inside(storage)} holds no camera '
            "identity, so runs don't process this camera", "mount its disk; only if the disk is mounted "
            "and the file was deleted, run krctl camera bind --id 7"))

    def test_that_never_had_an_identity_are_a_warning(self):
        storage = self.camera()
        os.unlink(self.recorder.path(f"{storage}/.kestora-camera"))
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")

        self.assertEqual(self.only(), (
            "warning", f'camera 7 "cam7": {self.recorder.inside(storage)} holds no camera '
            "identity", "run krctl camera bind --id 7"))

    def test_whose_row_has_no_identity_are_a_warning(self):
        self.camera()
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")

        self.assertEqual(self.only(), ("warning", 'camera 7 "cam7": its row in the database holds no '
                                       "identity", "run krctl camera bind --id 7"))

    def test_whose_folder_is_another_s_are_a_problem(self):
        storage = self.camera()
        self.recorder.file(f"{storage}/.kestora-camera",
                           f'id = 7\nname = "Yard"\nuuid = "{OTHER_UUID}"\n')
        folder = self.recorder.inside(storage)

        self.assertEqual(self.only(1), (
            "problem", f'camera 7 "cam7": {folder} belongs to another camera, camera 7 "Yard"',
            f"run krctl camera adopt {folder} to register that camera, and krctl camera adopt DIR with "
            "this camera's storage folder"))

    def test_with_a_damaged_identity_are_a_problem(self):
        storage = self.camera()
        self.recorder.file(f"{storage}/.kestora-camera", "")

        state, message, remedy = self.only(1)

        self.assertEqual((state, remedy), (
            "problem", "restore the file, or move it away and run krctl camera bind --id 7"))
        self.assertIn("holds no camera identity", message)

    def test_with_a_relative_folder_are_a_problem(self):
        self.recorder.row("camera", id=7, name="Front", storage_path="volume1")

        self.assertEqual(self.only(1), (
            "problem", 'camera 7 "Front": expected an absolute path as its storage folder, but '
            'it is "volume1"',
            "run krctl camera remove --id 7, then krctl camera add with the absolute path"))


class Volumes(DoctorTest):
    def only(self, status=0):
        found = [check for check in self.diagnosis(status=status)["volume"] if check[0] != "ok"]
        self.assertEqual(len(found), 1)
        return found[0]

    def identity(self):
        with open(self.recorder.path("volume1/.kestora-volume"), encoding="ascii") as file:
            return file.read().strip()

    def test_that_are_missing_are_a_problem(self):
        self.camera()
        volume = self.identity()
        os.unlink(self.recorder.path("volume1/.kestora-volume"))

        self.assertEqual(self.only(1), (
            "problem", f"no proof that {volume} of camera 7 is mounted",
            "mount it; if it is now mounted at another path, run krctl camera adopt DIR with the "
            "storage folder there"))

    def test_that_were_replaced_by_another_are_a_problem(self):
        self.camera()
        self.camera(8)
        volume = self.identity()
        self.recorder.file("volume1/.kestora-volume", OTHER_UUID + "\n")

        self.assertEqual(self.only(1), (
            "problem", f"another volume was found instead of {volume} of cameras 7, 8: {OTHER_UUID} is in "
            f"{self.recorder.inside('volume1')}",
            "mount the right volume; only if the other one replaces it, run krctl camera bind --id 7 and "
            "krctl camera bind --id 8"))

    def test_with_an_unreadable_identity_are_a_problem(self):
        self.camera()
        self.recorder.file("volume1/.kestora-volume", "")

        self.assertEqual(self.only(1), (
            "problem", f"the volume of camera 7 is unknown: the file {self.recorder.inside('volume1')}"
            "/.kestora-volume holds no volume id; expected a UUID",
            "correct the cause that the message names: until then runs don't process these cameras"))

    def test_to_which_no_camera_is_bound_are_a_warning(self):
        self.camera()
        self.recorder.query("system.db", "UPDATE camera SET volume_id = NULL")

        self.assertEqual(self.only(), (
            "warning", "camera 7: not bound to a volume: only the identity in the storage folder "
            "protects the rows", "run krctl camera bind --id 7"))
        self.recorder.query("system.db", "UPDATE camera SET uuid = NULL")
        self.assertEqual(self.only(), (
            "warning", "camera 7: not bound to a volume: if the disk is not mounted, a run will "
            "remove the rows", "run krctl camera bind --id 7"))

    def test_without_identity_are_a_warning(self):
        self.recorder.row("camera", id=7, name="Front",
                          storage_path=self.recorder.inside("var/snapshot"))

        self.assertEqual(self.only()[2], "run krctl volume init DIR (DIR: the disk's root folder), "
                         "then krctl camera bind --id 7")


class SettingsAlone(DoctorTest):
    def settings_check(self, status=0):
        document = self.krctl("doctor", "--settings", "--json", status=status).json()
        self.assert_matches_schema(document, "doctor")
        self.assertEqual({check["check"] for check in document["checks"]}, {"settings"})
        return [(check["state"], check["message"]) for check in document["checks"]]

    def test_need_no_databases(self):
        shutil.rmtree(self.recorder.path("var/db"))

        self.assertEqual(self.settings_check(), [("ok", f"{PACKAGE_ROOT}/etc/kestora.toml is valid")])
        self.assertEqual(os.path.exists(self.recorder.path("var/db")), False)

    def test_have_all_their_problems_listed_with_file_and_line(self):
        self.recorder.settings("[log]\nold_files = 1000\nsize = 3\n[ledger]\nkeep_days = 0")
        file = f"{PACKAGE_ROOT}/etc/kestora.toml"
        problems = [("problem", f"{file}:2: log.old_files: expected an integer from 0 to 100"),
                    ("problem", f"{file}:3: unknown key log.size; expected one of max_size_mib, old_files"),
                    ("problem", f"{file}:5: ledger.keep_days: expected an integer from 1 to 36500")]

        self.assertEqual(self.settings_check(status=1), problems)
        self.assertEqual([check[:2] for check in self.diagnosis(status=1)["settings"]], problems)

    def test_that_others_may_write_are_a_problem(self):
        os.chmod(self.recorder.path("etc/kestora.toml"), 0o666)

        (state, message), = self.settings_check(status=1)

        self.assertEqual(state, "problem")
        self.assertIn("may be written by its group or by others", message)

    def test_that_name_files_which_cannot_be_used_are_a_warning(self):
        secret = self.recorder.file("etc/secret", "hush\n", mode=0o644)
        self.recorder.settings(f'[notifications]\nhost = "broker.invalid"\ntls = true\nca_file = "/nowhere/ca"\n'
                               f'user = "u"\npassword_file = "{secret}"\n[snapshot]\nfolder = "/nowhere/snapshots"')

        (valid, *warnings) = self.settings_check()

        self.assertEqual(valid[0], "ok")
        self.assertEqual([state for state, _ in warnings], ["warning"] * 3)
        for name, (_, message) in zip((secret, "/nowhere/ca", "/nowhere/snapshots"), warnings):
            self.assertIn(name, message)
        self.assertNotIn("hush", str(warnings))


class MediaFolders(DoctorTest):
    def test_whose_rows_the_next_run_would_remove_are_a_problem(self):
        self.recorder.row("snapshot", filename="a.jpg")
        self.recorder.row("snapshot", filename="b.jpg")
        self.recorder.row("emap", filename="a.jpg")
        os.rmdir(self.recorder.path("var/snapshot"))
        os.chmod(self.recorder.path("target/@KREmap"), 0)

        checks = self.diagnosis(*RESTRICTED, status=1)

        remedy = "restore the folder, or make it readable, before the next run"
        self.assertEqual(checks["snapshots"], [(
            "problem", f"{PACKAGE_ROOT}/var/snapshot does not exist: a run with -s would remove its 2 "
            "rows", remedy)])
        self.assertEqual(checks["e-maps"], [(
            "problem", f"can't open folder {PACKAGE_ROOT}/target/@KREmap: Permission denied: a run "
            "with -e would remove its 1 row", remedy)])

    def test_have_the_names_of_their_kinds(self):
        self.assertRegex(self.krctl("doctor").out, r"(?m)^ok       snapshots  /.*\nok       e-maps     /")

    def test_without_rows_are_a_problem_that_init_solves(self):
        os.rmdir(self.recorder.path("var/snapshot"))
        folder = f"{PACKAGE_ROOT}/var/snapshot"

        self.assertEqual(self.diagnosis(status=1)["snapshots"], [(
            "problem", f"{folder} does not exist: runs and plans of snapshots fail",
            "run krctl init, which creates it")])
        self.krctl("init")
        self.assertEqual(self.diagnosis()["snapshots"], [("ok", f"{folder} can be read", None)])

    def test_without_rows_are_a_problem_if_unreadable(self):
        os.chmod(self.recorder.path("target/@KREmap"), 0)

        self.assertEqual(self.diagnosis(*RESTRICTED, status=1)["e-maps"], [(
            "problem", f"can't open folder {PACKAGE_ROOT}/target/@KREmap: Permission denied: runs and plans "
            "of e-maps fail", "make it readable")])


class Runs(DoctorTest):
    def only(self):
        (found,) = self.diagnosis()["run"]
        return found

    def test_that_have_ended_are_reported(self):
        self.recorder.reindex("-r", "-1")

        self.assertRegex(self.only()[1], r"^no run in progress; last run: run 1 of \d{4}-\S+$")

    def test_with_failures_or_refusals_are_a_warning(self):
        self.recorder.recording(self.recorder.camera(1, "Front"), medium="cut.mp4")
        self.recorder.reindex("-r", "-1")
        state, message, remedy = self.only()
        self.assertEqual((state, remedy),
                         ("warning", "run krctl status; what it doesn't name is in the log"))
        self.assertRegex(message, r"^last run: run 1 of \S+: 1 failure, 0 refusals$")
        (finding,) = self.diagnosis()["findings"]
        self.assertEqual(finding, ("warning", "1 known finding on record",
                                   "run krctl findings, which lists them"))

    def test_with_refusals_alone_are_a_warning(self):
        self.recorder.volume()
        self.recorder.camera(1, "Front")
        os.remove(self.recorder.path("volume1/.kestora-volume"))
        self.recorder.reindex("-r", "-1")
        (state, message, _), = self.diagnosis(status=1)["run"]  # the volume is a problem
        self.assertEqual(state, "warning")
        self.assertRegex(message, r"^last run: run 1 of \S+: 0 failures, 1 refusal$")

    def test_that_were_killed_are_a_warning(self):
        self.recorder.reindex("-r", "-1")
        self.recorder.query("system.db", "UPDATE run SET end_tm = NULL")

        state, message, remedy = self.only()

        self.assertEqual((state, remedy), ("warning", "run krctl run, which completes its work"))
        self.assertRegex(message, r"^run 1 of \d{4}-\S+ is not in progress and has no recorded end: it was "
                                  r"killed, or its end could not be recorded$")

    def test_that_may_be_in_progress_are_not_reported_as_killed(self):
        self.recorder.reindex("-r", "-1")
        self.recorder.query("system.db", "UPDATE run SET end_tm = NULL")
        lock = self.recorder.path("var/db/reindex.lock")
        os.rename(lock, lock + ".away")
        os.symlink(lock + ".away", lock)

        state, message, _ = self.only()

        self.assertEqual(state, "warning")
        self.assertRegex(message, "^unknown whether a run is in progress: .*symbolic link$")

    def test_that_are_in_progress_are_reported_and_not_disturbed(self):
        self.recorder.recording(self.camera())
        with self.run_in_the_middle() as running:
            state, message, _ = self.only()

        self.assertEqual(state, "ok")
        self.assertRegex(message, rf"^run 1 in progress since \d{{4}}-\S+, process {running.pid}$")
        self.assertEqual(running.wait(process.DEADLINE_S), 0)


class Outbox(DoctorTest):
    def test_that_has_a_backlog_and_no_broker_is_a_warning(self):
        self.recorder.row("outbox", created_tm=1394590500, topic="event/list", payload="{}", due=1)

        ((state, message, remedy),) = self.diagnosis()["outbox"]

        self.assertEqual((state, remedy), (
            "warning", f"set host under [notifications] in {PACKAGE_ROOT}/etc/kestora.toml"))
        self.assertRegex(message, "^1 message is queued, .*, but the settings name no broker$")


class Brokers(DoctorTest):
    """See tests/mqtt/doctor_test.py for the checks that connect to a broker."""

    def only(self, **settings):
        lines = [f"{key} = {value!r}" for key, value in settings.items()]
        self.recorder.settings("\n".join(["[notifications]", *lines]))
        (found,) = self.diagnosis()["broker"]
        return found

    def test_are_not_checked_while_a_run_may_be_connected_with_the_same_client_id(self):
        self.recorder.recording(self.camera())
        with self.run_in_the_middle():
            found = self.only(host="127.0.0.1", client_id="recorder")

        self.assertEqual(found, (
            "ok", "127.0.0.1:1883 not checked: the run in progress may be connected to it", None))


if __name__ == "__main__":
    unittest.main()
