"""The exit status of every command of krctl under each condition that all commands share."""

import fcntl
import os
import shutil
import signal
import subprocess
import unittest

from support import process
from support.case import KrctlTest
from support.postgresql import ServedDatabase
from support.recorder import Recorder
from run_test import RunTest

OK, FAILED, FINDINGS, REFUSED = 0, 1, 2, 3
USAGE, NO_DATABASES, IN_PROGRESS, SETTINGS = 64, 74, 75, 78

# Arguments with which a command works on the recorder of CommandsTest. A new command must be added.
COMMANDS = {
    "plan": [],
    "run": [],
    "check": [],
    "findings": [],
    "gaps": ["--since", "2014-03-12T02:15:00Z", "--until", "2014-03-12T02:15:01Z"],
    "status": [],
    "runs": [],
    "undo": ["1"],
    "metrics": [],
    "report": ["--html", Recorder.inside("report.html")],
    "doctor": [],
    "camera add": ["--id", "9", "--name", "Yard", "--storage", Recorder.inside("volume1/yard")],
    "camera bind": ["--id", "1"],
    "camera list": [],
    "camera remove": ["--id", "1"],
    "camera adopt": [Recorder.inside("volume1")],
    "volume init": ["--force", Recorder.inside("volume2")],
    "volume list": [],
    "backup": ["--to", Recorder.inside("backups")],
    "restore": [Recorder.inside("backups/no-such-set")],  # fails, unless for a reason that comes first
    "help": [],
    "version": [],
    "init": [],  # the last one: it creates what the others lack
}

# These need no databases; init creates them, and doctor reports that they are missing.
WITHOUT_DATABASES = {"init": OK, "restore": FAILED, "doctor": FAILED, "volume init": OK, "help": OK, "version": OK}
# These read no settings; doctor reports them as a problem.
WITHOUT_SETTINGS = {"doctor": FAILED, "volume init": OK, "help": OK, "version": OK}
# These are refused during a run. The others work.
NOT_DURING_A_RUN = {"run", "undo", "camera remove", "camera adopt", "restore"}
# These work on SQLite only.
NOT_ON_POSTGRESQL = {"backup": REFUSED, "restore": REFUSED}

DATABASES = ("system.db", "recording.db", "snapshot.db")


def listed_commands(recorder, words=()):
    """Returns the commands that the help lists, each in the form "camera add"."""
    _, found, listed = recorder.krctl(*words, "--help").out.partition("\nCommands:\n")
    if not found:
        return [" ".join(words)]
    names = [line.split()[0] for line in listed.split("\n\n")[0].splitlines()
             if line.startswith("  ") and not line.startswith("   ")]
    return [command for name in names for command in listed_commands(recorder, (*words, name))]


class CommandsTest(KrctlTest):
    """A recorder with a run that removed a row."""

    def setUp(self):
        super().setUp()
        self.populate()

    def populate(self):
        self.recorder.volume()
        self.recorder.camera(1)
        for folder in ("volume1/yard", "volume2", "backups"):
            os.makedirs(self.recorder.path(folder), exist_ok=True)
        self.recorder.do("krctl", "run")

    def assert_each(self, expected, *said):
        """Runs each command, and checks its status: `expected` returns it. Without success nothing is on
        standard output, and standard error has the reason."""
        for command, arguments in COMMANDS.items():
            with self.subTest(command):
                outcome = self.outcome_of(command, arguments)
                self.assertEqual(outcome.status, expected(command), outcome)
                if outcome.status not in (OK, FAILED, REFUSED):
                    self.assert_reason(outcome, said)

    def assert_reason(self, outcome, said):
        self.assertEqual(outcome.out, "")
        self.assertTrue(outcome.err.startswith("krctl: "), outcome)
        for text in said:
            self.assertIn(text, outcome.err)

    def outcome_of(self, command, arguments):
        return self.recorder.krctl(*command.split(), *arguments)


class EveryCommand(CommandsTest):
    def test_is_in_the_table_above(self):
        self.assertCountEqual(listed_commands(self.recorder), COMMANDS)

    def test_refuses_an_unknown_option(self):
        for command, arguments in COMMANDS.items():
            outcome = self.outcome_of(command, [*arguments, "--unknown"])
            self.assertEqual(outcome.status, USAGE, outcome)
            self.assert_reason(outcome, ['unexpected argument "--unknown"', "--help"])

    def test_that_needs_databases_says_how_to_create_them(self):
        shutil.rmtree(self.recorder.path("var/db"))
        self.assert_each(lambda command: WITHOUT_DATABASES.get(command, NO_DATABASES),
                         "run krctl init")

    def test_that_needs_databases_needs_each_of_them(self):
        for name in DATABASES:
            path = self.recorder.path(f"var/db/{name}")
            os.rename(path, path + ".away")
            for command, arguments in COMMANDS.items():
                if command not in WITHOUT_DATABASES:
                    with self.subTest(f"{command} without {name}"):
                        outcome = self.outcome_of(command, arguments)
                        self.assertEqual(outcome.status, NO_DATABASES, outcome)
                        self.assert_reason(outcome, [f"{name} does not exist; run krctl init"])
            self.assertFalse(os.path.exists(path), "a command has created it")
            os.rename(path + ".away", path)

    def test_refuses_invalid_settings(self):
        self.recorder.settings("[nonsense]")
        self.assert_each(lambda command: WITHOUT_SETTINGS.get(command, SETTINGS), "kestora.toml")

    def test_that_needs_no_idle_recorder_works_during_a_run(self):
        with RunLock(self.recorder):
            self.assert_each(
                lambda command: IN_PROGRESS if command in NOT_DURING_A_RUN else OK, "in progress")


class RunLock:
    """Holds the lock of runs, as an undo does."""

    def __init__(self, recorder):
        self.path = recorder.path("var/db/reindex.lock")

    def __enter__(self):
        self.file = open(self.path, "r+b")
        fcntl.flock(self.file, fcntl.LOCK_EX)

    def __exit__(self, *_):
        self.file.close()


class Unreadable(CommandsTest):
    def outcome_of(self, command, arguments):
        """Runs it without root's right to read every file."""
        sandbox, root, *program = self.recorder.command("krctl", *command.split(), *arguments)
        return process.run([sandbox, root, "setpriv",
                            "--bounding-set=-dac_override,-dac_read_search", *program])

    def test_databases_are_unusable(self):
        for name in DATABASES:
            path = self.recorder.path(f"var/db/{name}")
            os.chmod(path, 0)
            for command, arguments in COMMANDS.items():
                if command not in WITHOUT_DATABASES:
                    with self.subTest(f"{command} without {name}"):
                        outcome = self.outcome_of(command, arguments)
                        self.assertEqual(outcome.status, NO_DATABASES, outcome)
                        self.assert_reason(outcome, [f"{name}: Permission denied; run krctl as "])
            os.chmod(path, 0o640)

    def test_folder_of_databases_is_not_called_missing(self):
        os.chmod(self.recorder.path("var/db"), 0)
        outcome = self.outcome_of("status", [])
        os.chmod(self.recorder.path("var/db"), 0o750)
        self.assertEqual(outcome.status, NO_DATABASES, outcome)
        self.assertNotIn("krctl init", outcome.err)


class Damaged(CommandsTest):
    def test_databases_are_unusable(self):
        for name in ("var/db/system.db", "var/db/system.db-wal", "var/db/system.db-shm"):
            if os.path.exists(self.recorder.path(name)):
                os.remove(self.recorder.path(name))
        self.recorder.file("var/db/system.db", "no database" * 1000)
        for command in ("plan", "run", "status", "runs", "undo", "metrics", "camera list",
                        "volume list", "report"):
            with self.subTest(command):
                outcome = self.outcome_of(command, COMMANDS[command])
                self.assertEqual(outcome.status, NO_DATABASES, outcome)

    def test_databases_of_another_version_are_unusable(self):
        self.recorder.query("system.db", "PRAGMA user_version = 99")
        for command in ("plan", "status", "undo", "camera list", "init"):
            with self.subTest(command):
                self.assertEqual(self.outcome_of(command, COMMANDS[command]).status, NO_DATABASES)


class OnPostgresql(CommandsTest):
    def new_recorder(self, root):
        self.server = ServedDatabase()
        os.mkdir(root)
        return Recorder(root, [f'dsn = "{self.server.dsn}"', "connect_timeout_s = 5"])

    def test_every_command_works_on_an_idle_recorder(self):
        os.makedirs(self.recorder.path("volume3"))
        self.assert_each(lambda command: NOT_ON_POSTGRESQL.get(command, OK))

    def test_missing_tables_are_created_by_init(self):
        (schema,), = (line.split("|") for line in self.server.psql(
            "SELECT table_schema FROM information_schema.tables WHERE table_name = 'camera'").split())
        self.server.psql(f"DROP SCHEMA {schema} CASCADE")
        self.assert_each(lambda command: {**WITHOUT_DATABASES, **NOT_ON_POSTGRESQL}.get(
            command, NO_DATABASES), "krctl init")

    def test_a_server_that_can_t_be_reached_is_an_unusable_database(self):
        self.recorder.database = ['dsn = "postgresql://kestora@127.0.0.1:1/none"', "connect_timeout_s = 5"]
        self.recorder.settings()
        self.assert_each(lambda command: {**WITHOUT_DATABASES, **NOT_ON_POSTGRESQL, "init": NO_DATABASES}.get(
            command, NO_DATABASES), "PostgreSQL")


class Names(CommandsTest):
    def test_of_no_camera_or_run_are_wrong_usage(self):
        for arguments, said in ((("plan", "--camera", "7"), "camera with the id 7"),
                                (("plan", "-r", "7"), "camera with the id 7"),
                                (("run", "--camera", "7"), "camera with the id 7"),
                                (("report", "--html", "x", "--plan", "-a", "7"), "camera with the id 7"),
                                (("camera", "bind", "--id", "7"), "camera with the id 7"),
                                (("camera", "remove", "--id", "7"), "camera with the id 7"),
                                (("undo", "7"), "there is no run 7")):
            outcome = self.krctl(*arguments, status=USAGE)
            self.assertEqual(outcome.out, "")
            self.assertIn(said, outcome.err)
        self.assertEqual(len(self.krctl("runs", "--json").json()["runs"]), 1)


class Refusal(RunTest):
    def test_of_a_plan_or_run_is_status_3_and_outranks_failures(self):
        self.recorder.recording(self.recorder.camera(2, volume="volume2"), medium="cut.mp4")
        self.recorder.row("event", camera_id=1, path="20140312AM/a.mp4")
        self.lose_volume()
        self.krctl("plan", status=REFUSED)
        self.krctl("run", status=REFUSED)
        self.krctl("run", "--json", status=REFUSED)


class StatusExitCode(RunTest):
    def status(self, status):
        outcome = self.krctl("status", "--exit-code", status=status)
        self.assertEqual(outcome.out, self.krctl("status").out)
        self.krctl("status", "--exit-code", "--json", status=status).json()
        return outcome

    def test_is_a_failure_without_a_run(self):
        self.status(FAILED)

    def test_is_that_of_the_last_run(self):
        self.krctl("run")
        self.status(OK)
        self.recorder.recording(self.storage, medium="cut.mp4")
        self.krctl("run", status=FAILED)
        self.status(FAILED)
        self.lose_volume()
        self.krctl("run", status=REFUSED)
        self.status(REFUSED)

    def test_is_2_if_findings_are_on_record_after_a_complete_run(self):
        name = self.recorder.recording(self.storage)
        self.krctl("run")
        self.status(OK)
        os.remove(self.recorder.path(name))
        self.krctl("check", status=FINDINGS)
        self.status(FINDINGS)
        self.lose_volume()
        self.krctl("run", status=REFUSED)
        self.status(REFUSED)  # outranks findings

    def test_is_a_failure_after_a_killed_run(self):
        self.krctl("run")
        running, release = self.run_that_waits()
        os.kill(running["pid"], signal.SIGKILL)
        release()
        process.until(lambda: not self.recorder.krctl("status", "--json").json()["running"],
                      "the run did not end")
        self.status(FAILED)

    def test_is_that_of_the_run_before_one_in_progress(self):
        self.krctl("run")
        _, release = self.run_that_waits()
        self.krctl("status", "--exit-code")
        release()

    def test_is_74_without_databases(self):
        os.remove(self.recorder.path("var/db/recording.db"))
        self.assertIn("run krctl init", self.krctl("status", "--exit-code", status=NO_DATABASES).err)

    def run_that_waits(self):
        """Returns what is known of a run in progress, and a function that lets it continue."""
        release = self.hold_up()
        self.started("krindexer", "-r", "1", stdout=subprocess.DEVNULL)
        return process.until(
            lambda: (found := self.recorder.krctl("status", "--json").json()["running"])
            and found["run"] and found, "no run began"), release


if __name__ == "__main__":
    unittest.main()
