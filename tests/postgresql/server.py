#!/usr/bin/env python3
"""Runs a command with a PostgreSQL server started for it: server.py [OPTION...] COMMAND...

The server is in a temporary directory. Its address is in the environment variable KESTORA_TEST_DSN. When
the command or this program ends, however it ends, the server ends and its directory is removed. The server
listens only on a Unix socket in that directory, accepts every user who may enter the directory, and has one
empty database, "kestora". Only the role "guarded" needs a password.

While the directory contains a file "down", the server is stopped. It starts again when the file is removed.
A file "killed" has the same effect, but all processes of the server are killed at once.
"""

import argparse
import contextlib
import ctypes
import functools
import os
import pwd
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import traceback

DEADLINE_S = 60
POLL_S = 0.01

PR_SET_PDEATHSIG = 1

SETTINGS = """
listen_addresses = ''
unix_socket_directories = '{directory}'
shared_buffers = 16MB
max_connections = 40        # a standby needs as many as its primary
wal_level = logical         # so that tests can count transactions
autovacuum = off            # so that results don't depend on when it runs
dynamic_shared_memory_type = mmap   # in the directory, which is always removed
timezone = UTC
log_timezone = UTC
{durability}
"""

IN_MEMORY = "fsync = off\nfull_page_writes = off"


class ServerError(Exception):
    """The server can't be started, or a statement failed on it."""


@functools.cache
def bin_dir():
    found = subprocess.run(["pg_config", "--bindir"], capture_output=True, text=True, check=True)
    return found.stdout.strip()


def without_pg_variables():
    """Returns the environment without libpq's variables."""
    return {name: value for name, value in os.environ.items() if not name.startswith("PG")}


def die_with_parent(with_signal):
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, with_signal)


def server_account():
    """Returns the account that the server runs as; None for the caller's. The server refuses root."""
    if os.geteuid() != 0:
        return None
    for name in ("postgres", "nobody"):
        with contextlib.suppress(KeyError):
            return pwd.getpwnam(name)
    raise ServerError("the server can't run as root, and neither a user postgres nor a user nobody exists")


class Server:
    """A server that ends with this process."""

    def __init__(self, durable=False, copied_from=None):
        """Prepares a server with a new cluster, or a standby of another server with a copy of its cluster."""
        self.durable, self.copied_from = durable, copied_from
        self.directory, self._lifeline, self._keeper = None, None, None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    @property
    def dsn(self):
        return self.dsn_of("kestora")

    def dsn_of(self, database):
        return f"postgresql://kestora@/{database}?host={self.directory}"

    def start(self):
        try:
            self._make_directory()
            self._keep()
            await_state(self.directory, True)
            if self.copied_from is None:
                self.psql("CREATE DATABASE kestora", database="postgres")
        except BaseException:
            self.stop()
            raise

    def stop(self):
        """Ends the server at once, and removes its directory."""
        if self._lifeline is not None:
            os.close(self._lifeline)
            os.waitpid(self._keeper, 0)
            self._lifeline = None
        elif self.directory:
            shutil.rmtree(self.directory, ignore_errors=True)

    def psql(self, *statements, database="kestora"):
        """Executes statements, each in a separate transaction; returns the output, columns separated by bars."""
        commands = [word for statement in statements for word in ("-c", statement)]
        done = subprocess.run([os.path.join(bin_dir(), "psql"), "-XqAt", "-v", "ON_ERROR_STOP=1", "-d",
                               self.dsn_of(database), *commands],
                              env=without_pg_variables(), capture_output=True, check=False)
        if done.returncode:
            raise ServerError(done.stderr.decode(errors="replace"))
        return done.stdout.decode(errors="surrogateescape")

    def _make_directory(self):
        """Creates the directory, for the server's account and the caller's group: they have full access."""
        self.directory = tempfile.mkdtemp(prefix="kestora-pg-")
        account = server_account()
        if account:
            os.chown(self.directory, account.pw_uid, os.getegid())
        os.chmod(self.directory, 0o750)

    def _keep(self):
        """Starts the keeper, a process of the server's account that ends the server when this process ends."""
        end, self._lifeline = os.pipe()
        self._keeper = os.fork()
        if self._keeper == 0:
            try:
                _leave_the_caller(end, self.directory)
                Keeper(self.directory, self.durable, self.copied_from).run()
            except BaseException:  # pylint: disable=broad-except
                traceback.print_exc()
            os._exit(0)
        os.close(end)


def _leave_the_caller(lifeline, directory):
    """Detaches this process from the caller, except for the pipe whose end shows that the caller has ended."""
    os.setsid()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.SIG_DFL)
    account = server_account()
    if account:
        os.setgroups([])
        os.setgid(account.pw_gid)
        os.setuid(account.pw_uid)
    os.chdir(directory)
    os.umask(0o077)
    log = os.open("log", os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o640)
    os.dup2(lifeline, 0)
    os.dup2(log, 1)
    os.dup2(log, 2)
    os.closerange(3, os.sysconf("SC_OPEN_MAX"))


class Keeper:
    """The process that starts and stops the server, until the pipe on standard input ends."""

    def __init__(self, directory, durable, copied_from):
        self.directory, self.data = directory, os.path.join(directory, "data")
        self.durable, self.copied_from = durable, copied_from
        self.programs = bin_dir()
        self.postmaster = None

    def run(self):
        try:
            self._make_cluster()
            while not select.select([0], [], [], POLL_S)[0]:
                self._keep_wanted_state()
        except Exception:
            with open(os.path.join(self.directory, "failed"), "wb"):
                traceback.print_exc()
            select.select([0], [], [])
        finally:
            self._stop(signal.SIGQUIT)
            shutil.rmtree(self.directory, ignore_errors=True)

    def _make_cluster(self):
        if self.copied_from:
            self._run("pg_basebackup", "-D", self.data, "-d", self.copied_from.dsn_of("postgres"),
                      "--write-recovery-conf", "--checkpoint=fast", "--no-sync")
        else:
            self._run("initdb", "-D", self.data, "--encoding=SQL_ASCII", "--locale=C", "-A", "trust",
                      "-U", "kestora", "--no-sync", "--no-instructions")
            self._guard()
        with open(os.path.join(self.data, "postgresql.conf"), "a", encoding="utf-8") as file:
            file.write(SETTINGS.format(directory=self.directory,
                                       durability="" if self.durable else IN_MEMORY))

    def _guard(self):
        rules = os.path.join(self.data, "pg_hba.conf")
        others = _text(rules)
        with open(rules, "w", encoding="utf-8") as file:
            file.write("local all guarded scram-sha-256\n" + others)

    def _keep_wanted_state(self):
        down, killed = (os.path.exists(os.path.join(self.directory, name))
                        for name in ("down", "killed"))
        wanted = not down and not killed
        running = self.postmaster is not None and self.postmaster.poll() is None
        if wanted and not running:
            if self.postmaster is not None and self.postmaster.returncode == 1:
                raise ServerError("the server ended by itself")
            self.postmaster = subprocess.Popen(
                [os.path.join(self.programs, "postgres"), "-D", self.data],
                env=without_pg_variables(), stdin=subprocess.DEVNULL,
                preexec_fn=lambda: die_with_parent(signal.SIGQUIT))
        elif running and not wanted:
            if killed:
                self._kill()
            else:
                self._stop(signal.SIGINT)
            self.postmaster = None

    def _stop(self, how):
        if self.postmaster is None:
            return
        self.postmaster.send_signal(how)
        try:
            self.postmaster.wait(DEADLINE_S / 2)
        except subprocess.TimeoutExpired:
            self.postmaster.kill()
            self.postmaster.wait()

    def _kill(self):
        """Kills all processes, like a power failure. The postmaster is stopped first, so that it starts none."""
        self.postmaster.send_signal(signal.SIGSTOP)
        path = f"/proc/{self.postmaster.pid}/task/{self.postmaster.pid}/children"
        for child in _text(path).split():
            os.kill(int(child), signal.SIGKILL)
        self.postmaster.kill()
        self.postmaster.wait()
        os.unlink(os.path.join(self.data, "postmaster.pid"))

    def _run(self, program, *arguments):
        subprocess.run([os.path.join(self.programs, program), *arguments], check=True,
                       env=without_pg_variables(), stdin=subprocess.DEVNULL)


def stop_server(directory, how="down"):
    """Stops a server, even one started by another process, and keeps its data."""
    with open(os.path.join(directory, how), "wb"):
        await_state(directory, False)


def start_server(directory):
    os.unlink(os.path.join(directory, "down"))
    await_state(directory, True)


def await_state(directory, running):
    data = os.path.join(directory, "data")
    deadline = time.monotonic() + DEADLINE_S
    while not (_is_ready(data) if running else _is_gone(data)):
        if time.monotonic() > deadline or os.path.exists(os.path.join(directory, "failed")):
            raise ServerError(_text(os.path.join(directory, "log")) or "the server has an empty log")
        time.sleep(POLL_S)


def _text(path):
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()
    except FileNotFoundError:
        return ""


def _is_gone(data):
    return not os.path.exists(os.path.join(data, "postmaster.pid"))


def _is_ready(data):
    """Returns true if the last line of postmaster.pid, which may end with blanks, shows that it is ready."""
    lines = _text(os.path.join(data, "postmaster.pid")).split("\n")
    return len(lines) > 7 and lines[7].strip() == "ready"


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--durable", action="store_true", help="let the server flush its writes")
    parser.add_argument("--variable", default="KESTORA_TEST_DSN", metavar="NAME",
                        help="the environment variable for the address")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    if not options.command:
        parser.error("expected a command")
    return options


def main():
    options = parse_arguments()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))
    with Server(options.durable) as server:
        child = subprocess.Popen(options.command, env={**os.environ, options.variable: server.dsn},
                                 preexec_fn=lambda: die_with_parent(signal.SIGTERM))
        try:
            status = child.wait()
        finally:
            child.terminate()
            child.wait()
    return status if status >= 0 else 128 - status


if __name__ == "__main__":
    try:
        sys.exit(main())
    except ServerError as problem:
        sys.exit(f"server.py: {problem}")
