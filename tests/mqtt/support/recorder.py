"""A recorder in a folder, on which the shipped programs run."""

import os
import shlex
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
SANDBOX = os.path.join(HERE, "../../../script/sandbox")
sys.path.insert(0, os.path.join(HERE, "../../scenarios"))

from runner import sqlite  # noqa: E402 (the path above comes first)
from support import process  # noqa: E402

PACKAGE_ROOT = "/var/packages/Kestora"


class Recorder:
    """A recorder whose files are in `root`, which its programs see as /var/packages/Kestora."""

    bin_dir = media_dir = None  # modules.py sets them

    def __init__(self, root, cameras):
        self.root = root
        for folder in ("etc", "target/@KREmap", "var/snapshot", "var/log"):
            os.makedirs(self.path(folder))
        self._krctl(["init"], *[self._new_camera(number) for number in cameras])

    def path(self, name):
        return os.path.join(self.root, name)

    def file(self, name, text, mode=0o640):
        """Writes a file; returns its path as the programs see it."""
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(self.path(name), mode)
        return f"{PACKAGE_ROOT}/{name}"

    def notify(self, port, **settings):
        """Writes settings with the broker on this port of the loopback, and with other keys."""
        settings = {"host": "127.0.0.1", "port": port, **settings}
        lines = [f"{key} = {_toml(value)}" for key, value in settings.items()]
        self.file("etc/kestora.toml", "\n".join(["[notifications]", *lines, ""]))

    def notify_nobody(self):
        self.file("etc/kestora.toml", "")

    def record(self, camera, start_tm=1394590500):
        """Adds a recording without a row, so that the next run has a message to publish."""
        folder = self.path(f"volume/cam{camera}/20140312AM")
        os.makedirs(folder, exist_ok=True)
        shutil.copy(os.path.join(self.media_dir, "h264.mp4"),
                    os.path.join(folder, f"cam{camera}-20140312-101500-{start_tm}.mp4"))

    def start(self, *options, **environment):
        return process.start([SANDBOX, self.root, "env",
                              *[f"{name}={value}" for name, value in environment.items()],
                              os.path.join(self.bin_dir, "krindexer"), *options])

    def reindex(self, *options, **environment):
        """Runs the tool; returns its exit status and the lines that it added to the log."""
        before = len(self.log())
        status = wait(self.start(*options, **environment))
        return status, self.log()[before:]

    def log(self):
        try:
            with open(self.path("var/log/kestora.log"), encoding="utf-8") as file:
                return file.read().splitlines()
        except FileNotFoundError:
            return []

    def outbox(self):
        """Returns (id, topic, body, due) of all messages."""
        return [(row[0], row[1].decode(), row[2].decode(), row[3])
                for row in self._query("SELECT id, topic, payload, due FROM outbox ORDER BY id")]

    def queue(self, count):
        """Adds messages that earlier runs could not deliver."""
        self._query("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                    f"WHERE i < {count}) INSERT INTO outbox (created_tm, topic, payload, due) "
                    "SELECT 1700000000 + i, 'event/list', '{\"n\":' || i || '}', 1 FROM n")

    def task(self):
        return self._query("SELECT registered, done FROM task", "system.db")[0]

    def worker(self):
        """Returns the process id of the last run."""
        return self._query("SELECT pid FROM task", "system.db")[0][0]

    def has_ended(self):
        """Returns the recorded end of the last run; None if it has not ended."""
        return self._query("SELECT end_tm FROM run ORDER BY id DESC LIMIT 1", "system.db")[0][0]

    def _query(self, sql, database="recording.db"):
        connection = sqlite.connect(self.root, database)
        try:
            return connection.execute(sql).fetchall()
        finally:
            connection.close()

    def _new_camera(self, number):
        os.makedirs(self.path(f"volume/cam{number}"))
        return ["camera", "add", "--id", str(number), "--name", f"cam{number}",
                "--storage", f"{PACKAGE_ROOT}/volume/cam{number}"]

    def _krctl(self, *commands):
        krctl = os.path.join(self.bin_dir, "krctl")
        script = " && ".join(shlex.join([krctl, *command]) for command in commands)
        process.run([SANDBOX, self.root, "sh", "-c", script])


def wait(run):
    """Waits for a run that was started; returns its exit status."""
    try:
        return run.wait(process.DEADLINE_S)
    finally:
        process.end(run)


def _toml(value):
    if isinstance(value, bool):
        return str(value).lower()
    return str(value) if isinstance(value, int) else f"'{value}'"
