"""Executes the lines of a case's `run` file: the programs, and what happens while they run."""

import os
import re
import shlex
import shutil
import signal
import subprocess
import time

from runner.text import CaseError, blocks, show_cell, split_options

# A deadline is reached only if the tool is broken. No duration decides a result.
DEADLINE_S = 60
POLL_S = 0.005

# Root can read every folder. Without these capabilities, a folder's mode applies to root as well.
RESTRICTED = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]

NO_PRIVILEGES = "restricted "
AS_USER = re.compile(r"as (\d+) (.*)$")

# Folders that exist only in the sandbox, because other users may be unable to enter the build's folders.
PROGRAMS_FOR_USERS = "/var/packages/bin"
MODULES_FOR_USERS = "/var/packages/lib"


class StepFailed(Exception):
    """A step's condition was not met."""


class Process:
    """A started program. Its output goes to files, because its child may keep them open."""

    def __init__(self, label, popen, out, err):
        self.label, self.popen, self.out, self.err = label, popen, out, err
        self.status = None

    def wait(self):
        try:
            status = self.popen.wait(DEADLINE_S)
        except subprocess.TimeoutExpired:
            raise StepFailed(f"{self.label} didn't end within {DEADLINE_S} s") from None
        self.status = status if status >= 0 else signal.Signals(-status).name

    def output(self, stream):
        with open(self.out if stream == "stdout" else self.err, "rb") as file:
            return file.read().decode(errors="backslashreplace")


class Steps:
    """Executes one `run` file and keeps its results."""

    def __init__(self, given, bin_dir, scratch):
        self.given, self.bin_dir, self.scratch = given, bin_dir, scratch
        self.root, self.engine = given.root, given.engine
        self.processes, self.locks, self.watches = {}, {}, {}
        self.worker = None
        self.waiting = set()  # the ids of processes that must be waiting for a lock
        self.commits = {}
        self.umask = 0o022

    def carry_out(self, text):
        try:
            for number, line, lines in blocks(text):
                try:
                    self.step(line, lines)
                except (CaseError, KeyError, IndexError, OSError) as error:
                    raise CaseError(f"run:{number}: {line}: {error!r}") from error
                except StepFailed as error:
                    raise StepFailed(f"run:{number}: {line}: {error}") from error
            for process in self.processes.values():
                if process.status is None:
                    process.wait()
        finally:
            self.end()

    def end(self):
        """Releases all locks and ends all processes of the case."""
        for name, watch in self.watches.items():
            self.commits[name] = watch.count()
            watch.close()
        for lock in self.locks.values():
            lock.release()
        self.watches, self.locks = {}, {}
        for process in self.processes.values():
            if process.popen.poll() is None:
                process.popen.kill()
                process.popen.wait()
        for orphan in _children():
            os.kill(orphan, signal.SIGKILL)
            _reap(orphan)
        self.given.template_settings()

    def step(self, line, lines):
        started = re.match(r"start (\w+): (.*)$", line)
        if started:
            self.start(started[1], started[2])
        elif line.startswith(("krindexer", "krctl", NO_PRIVILEGES)) or AS_USER.match(line):
            label = str(len(self.processes) + 1)
            self.start(label, line)
            self.processes[label].wait()
        elif line.startswith("make "):
            self.given.apply(line[5:], lines)
        else:
            self.other_step(line.split())

    def other_step(self, words):
        """Executes a step that starts no program, usually while the tool runs."""
        match words:
            case ["umask", mask]:
                self.umask = int(mask, 8)
            case ["wait", name]:
                self.processes[name].wait()
            case ["hold", name]:
                self.locks[name] = self.engine.hold(name, False)
            case ["hold", name, "exclusively"]:
                self.locks[name] = self.engine.hold(name, True)
            case ["in", name, *sql]:
                writer = self.locks.get(name) or self.engine.writer(name)
                writer.write(" ".join(sql))
            case ["release", name]:
                self.locks.pop(name).release()
                self.waiting.clear()
            case ["stop", "the", "server"]:
                self.engine.stop_server()
            case ["start", "the", "server"]:
                self.engine.start_server()
            case ["pause", seconds]:  # a length, never a decision
                time.sleep(float(seconds))
            case ["watch", name]:
                self.watches[name] = self.engine.watch(name)
            case ["until", "worker", "waits"]:
                self.until_waits(self.worker_pid())
            case ["until", "worker", "ends"]:
                self.until(lambda: not _is_alive(self.worker), "the worker still runs")
            case ["until", name, "waits"]:
                self.until_waits(self.processes[name].popen.pid)
            case ["worker", "is", "another", "process"]:
                self.require_other_worker()
            case ["kill", "worker"]:
                os.kill(self.worker_pid(), signal.SIGKILL)
            case ["kill", name]:
                self.processes[name].popen.kill()
            case ["until", "task", *columns]:
                self.until(lambda: self.task_is(columns), "the task never had these values")
            case ["task", *columns]:
                self.require_task(columns)
            case _:
                raise CaseError("no such step")

    def start(self, label, command):
        out, err = (os.path.join(self.scratch, f"{label}.{s}") for s in ("out", "err"))
        with open(out, "wb") as stdout, open(err, "wb") as stderr:
            popen = subprocess.Popen(
                self.command_line(command), stdin=subprocess.DEVNULL, stdout=stdout,
                stderr=stderr, umask=self.umask,
                preexec_fn=lambda: self.given.settings_for_pid(os.getpid()))
        self.processes[label] = Process(label, popen, out, err)

    def command_line(self, command):
        """Returns the command line, preceded by the command that drops privileges, if any."""
        as_user = AS_USER.match(command)
        words = shlex.split(as_user[2] if as_user else command.removeprefix(NO_PRIVILEGES))
        program = os.path.join(self.bin_dir, words[0])
        if as_user:
            os.makedirs(PROGRAMS_FOR_USERS, exist_ok=True)
            program = shutil.copy(program, PROGRAMS_FOR_USERS)
            shutil.copy(os.path.join(self.bin_dir, "krcontainers"), PROGRAMS_FOR_USERS)
            shutil.copy(os.path.join(self.bin_dir, "krahead"), PROGRAMS_FOR_USERS)
            shutil.copytree(os.path.join(self.bin_dir, "../lib"), MODULES_FOR_USERS,
                            dirs_exist_ok=True)
            change = ["setpriv", f"--reuid={as_user[1]}", f"--regid={as_user[1]}", "--clear-groups"]
        else:
            change = RESTRICTED if command.startswith(NO_PRIVILEGES) else []
        return [*change, program, *words[1:]]

    def task(self, columns):
        rows = self.engine.select("task", columns)
        return [show_cell(value) for value in rows[0]] if rows else None

    def worker_pid(self):
        self.worker = int(self.task(["pid"])[0])
        return self.worker

    def require_other_worker(self):
        pid = self.worker_pid()
        parents = [process.popen.pid for process in self.processes.values()]
        if pid in parents or not _is_alive(pid):
            raise StepFailed(f"the task names {pid}; the processes started were {parents}")

    def until_waits(self, pid):
        self.waiting.add(pid)
        self.until(lambda: self._waits(pid), "the process never waited for a lock")

    def _waits(self, pid):
        if not _runs(pid):
            raise StepFailed("the process ended before it waited for a lock")
        if _status_field(pid, "comm").strip() != "krindexer":
            return False
        return self.engine.waits(pid, len(self.waiting), self.locks)

    def until(self, condition, otherwise):
        deadline = time.monotonic() + DEADLINE_S
        while not condition():
            if time.monotonic() > deadline:
                raise StepFailed(otherwise)
            time.sleep(POLL_S)

    def task_is(self, words):
        options = split_options(words)[1]
        found = self.task(list(options))
        return found is not None and found == [value.decode() for value in options.values()]

    def require_task(self, words):
        if not self.task_is(words):
            columns = list(split_options(words)[1])
            raise StepFailed(f"the task's {columns} are {self.task(columns)}")


def _status_field(pid, field):
    try:
        with open(f"/proc/{pid}/{field}", encoding="ascii") as file:
            return file.read()
    except (FileNotFoundError, ProcessLookupError):
        return ""


def _children():
    return [int(pid) for pid in _status_field("self", f"task/{os.getpid()}/children").split()]


def _runs(pid):
    state = _status_field(pid, "stat").rpartition(")")[2].split()
    return bool(state) and state[0] not in "ZX"


def _reap(pid, flags=0):
    """Waits for a child that a tool left to the runner."""
    try:
        os.waitpid(pid, flags)
    except ChildProcessError:
        pass


def _is_alive(pid):
    _reap(pid, os.WNOHANG)
    return _runs(pid)
