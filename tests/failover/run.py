#!/usr/bin/env python3
"""Tests a run whose database server is killed in the middle: run.py BIN_DIR MEDIA_DIR.

There are two PostgreSQL servers, the second one a synchronous standby of the first. The recorder's dsn names
both. The first is killed while a batch of the run waits there, and the second is promoted. No row of an
acknowledged batch may be lost, the run must end by itself, and the next run must complete the work.
"""

import contextlib
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(os.path.join(HERE, "../postgresql"))

# pylint: disable-next=wrong-import-position
from server import Server, bin_dir, stop_server, without_pg_variables  # noqa: E402

SANDBOX = os.path.join(HERE, "../../script/sandbox")
CAMERA_FOLDER = "volume/cam1"
RECORDINGS, BATCH = 3500, 1000
FIRST_START = 1394590000

DEADLINE_S = 120
POLL_S = 0.02

LOCK = 4711

# The row in the middle of the third batch waits for the lock.
HALT_SQL = f"""
CREATE SEQUENCE arrivals;
CREATE FUNCTION halt() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN
    IF nextval('failover.arrivals') = {2 * BATCH + BATCH // 2} THEN
        PERFORM pg_advisory_xact_lock({LOCK});
    END IF;
    RETURN NEW;
END $$;
CREATE TRIGGER halt BEFORE INSERT ON event FOR EACH ROW EXECUTE FUNCTION halt();
"""


class Failed(Exception):
    """A condition is not met."""


def require(condition, what):
    if not condition:
        raise Failed(what)
    print(f"  {what}: yes")


def until(condition, otherwise):
    deadline = time.monotonic() + DEADLINE_S
    while not condition():
        if time.monotonic() > deadline:
            raise Failed(otherwise)
        time.sleep(POLL_S)


class Recorder:
    """A recorder with its files in a folder, and its tables in a schema."""

    def __init__(self, folder, programs, dsn, statement_timeout_ms=DEADLINE_S * 1000):
        self.folder, self.programs, self.dsn = folder, programs, dsn
        self.statement_timeout_ms = statement_timeout_ms

    def fill(self, medium, recordings=RECORDINGS):
        """Adds recordings, all with the same content, because only their rows are compared."""
        half_day = os.path.join(self.folder, CAMERA_FOLDER, "20140312AM")
        os.makedirs(half_day)
        os.mkdir(os.path.join(self.folder, "etc"), 0o755)
        first = os.path.join(self.folder, "recording")
        with open(medium, "rb") as source, open(first, "wb") as copy:
            copy.write(source.read())
        for start in range(FIRST_START, FIRST_START + recordings):
            os.link(first, os.path.join(half_day, f"cam1-20140312-100000-{start}.mp4"))

    def use_schema(self, schema):
        with open(os.path.join(self.folder, "etc/kestora.toml"), "w", encoding="utf-8") as file:
            file.write(f'[database]\ndsn = "{self.dsn}"\nschema = "{schema}"\n'
                       f"lock_timeout_ms = {DEADLINE_S * 1000}\nconnect_timeout_s = 2\n"
                       f"statement_timeout_ms = {self.statement_timeout_ms}\n")
        self.run("krctl", "init")
        self.run("krctl", "camera", "add", "--id", "1", "--name", "Front",
                 "--storage", "/var/packages/Kestora/" + CAMERA_FOLDER)

    def command(self, program, *arguments):
        return [SANDBOX, self.folder, os.path.join(self.programs, program), *arguments]

    def run(self, program, *arguments):
        done = subprocess.run(self.command(program, *arguments), timeout=DEADLINE_S, check=False,
                              capture_output=True, text=True)
        if done.returncode:
            raise Failed(f"{program} ended with {done.returncode}: {done.stderr}")

    def log_path(self):
        return os.path.join(self.folder, "var/log/kestora.log")

    def log(self):
        with open(self.log_path(), encoding="utf-8", errors="replace") as file:
            return file.read()

    def forget_log(self):
        os.truncate(self.log_path(), 0)


def rows(server, schema):
    """Returns the rows of recordings and of their counts, without ids and stamps."""
    return server.psql(
        f"SET search_path TO {schema}",
        "SELECT ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, img_w, img_h "
        "FROM event ORDER BY camera_id, path",
        "SELECT camera_id, day, count FROM recording_count ORDER BY camera_id, day")


def paths(server):
    return set(server.psql("SELECT path FROM failover.event").split())


def acknowledge_on_both(primary):
    """Makes the standby synchronous: a commit is acknowledged only when the standby has it."""
    until(lambda: primary.psql("SELECT 1 FROM pg_stat_replication WHERE state = 'streaming'"),
          "the standby never streamed")
    primary.psql("ALTER SYSTEM SET synchronous_standby_names = '*'", "SELECT pg_reload_conf()")
    until(lambda: primary.psql("SELECT 1 FROM pg_stat_replication WHERE sync_state = 'sync'"),
          "the standby never became synchronous")


class Holder:
    """A session that holds the lock until its server dies."""

    def __init__(self, server):
        self.session = subprocess.Popen([os.path.join(bin_dir(), "psql"), "-XqAt", "-d", server.dsn],
                                        env=without_pg_variables(), stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.session.stdin.write(f"SELECT pg_advisory_lock({LOCK});\n".encode())
        self.session.stdin.flush()
        self.session.stdout.readline()

    def end(self):
        self.session.kill()
        self.session.wait()
        self.session.stdin.close()
        self.session.stdout.close()


@contextlib.contextmanager
def run_halted_in_third_batch(recorder, server):
    """Yields a run that waits for a lock in its third batch; ends the run and releases the lock."""
    server.psql("SET search_path TO failover", HALT_SQL)
    holder = Holder(server)
    with subprocess.Popen(recorder.command("krindexer", "-r", "1")) as run:
        try:
            until(lambda: server.psql("SELECT 1 FROM pg_locks WHERE locktype = 'advisory' AND NOT granted"),
                  "the run never reached the lock")
            yield run
        finally:
            holder.end()
            if run.poll() is None:
                run.kill()


def fail_over(recorder, primary, standby):
    with run_halted_in_third_batch(recorder, primary) as run:
        acknowledged = paths(primary)
        require(len(acknowledged) == 2 * BATCH, "two batches are acknowledged, the third one waits")
        stop_server(primary.directory, "killed")
        require(standby.psql("SELECT pg_promote()").strip() == "t", "the standby takes over")
        require(run.wait(DEADLINE_S) == 0, "the run ends by itself, with status 0")
    require(acknowledged <= paths(standby), "no acknowledged row is lost")
    require("Failed to add event records of cam [1]" in recorder.log(), "the log has the failed batch")
    require(len(paths(standby)) < RECORDINGS, "the run does not repeat the failed batch")


def carry_out(folder, programs, media_dir):
    with Server(durable=True) as primary, Server(durable=True, copied_from=primary) as standby:
        acknowledge_on_both(primary)
        dsn = f"postgresql://kestora@/kestora?host={primary.directory},{standby.directory}"
        recorder = Recorder(folder, programs, dsn)
        recorder.fill(os.path.join(media_dir, "h264.mp4"))
        recorder.use_schema("undisturbed")
        recorder.run("krindexer", "-r", "1")
        undisturbed = rows(primary, "undisturbed")
        require(undisturbed.count("\n") == RECORDINGS + 1, "an undisturbed run adds every row")
        recorder.use_schema("failover")
        fail_over(recorder, primary, standby)
        recorder.run("krindexer", "-r", "1")
        require(rows(standby, "failover") == undisturbed,
                "the next run completes the work, with the same rows as an undisturbed run")


def main(usage, test):
    """Runs a test in a temporary folder; returns the exit status."""
    if len(sys.argv) != 3:
        sys.exit(usage)
    programs, media_dir = map(os.path.abspath, sys.argv[1:])
    with tempfile.TemporaryDirectory(prefix="failover-") as folder:
        try:
            test(folder, programs, media_dir)
        except (Failed, subprocess.TimeoutExpired) as problem:
            print(f"FAILED: {problem}")
            return 1
    print("passed")
    return 0


if __name__ == "__main__":
    sys.exit(main(__doc__, carry_out))
