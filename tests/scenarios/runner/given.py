"""Creates the recorder that a case's `given` file describes."""

import errno
import os
import re
import shutil
import stat
import subprocess
import tempfile

from runner.text import (CaseError, NotPossibleHere, blocks, cell_value, expand, split_cells,
                         split_options, tokens)

PACKAGE_ROOT = b"/var/packages/Kestora"
FILE_TIME = 1700000000  # the default time of files, long before any run
FILE_MODE, FOLDER_MODE = 0o640, 0o750
PID_MARK = b"@pid@"


class Given:
    """Builds the recorder of one case in the folder `root`."""

    def __init__(self, root, media, bin_dir, engine, helpers=None):
        self.root, self.media, self.bin_dir, self.engine = root, media, bin_dir, engine
        self.ahead = f"[ahead]\nhelpers = {helpers}\n".encode() if helpers else b""
        self.settings = None  # the settings, if they contain PID_MARK
        self.directives = {
            "camera": self.camera, "dir": self.dir, "file": self.file, "link": self.link,
            "fifo": self.fifo, "socket": self.socket, "mode": self.mode, "owner": self.owner,
            "remove": self.remove, "tmpfs": self.tmpfs, "limit": self.limit, "mount": self.mount,
            "unmount": self.unmount, "fill": self.fill,
        }

    def build(self, text):
        """Creates an initialised recorder with the usual folders, then executes the case's lines in order."""
        for folder in (b"target/@KREmap", b"var/snapshot", b"var/log", b"etc"):
            self._folder(self.path(folder))
        if self.engine.settings or self.ahead:
            self._put_settings(b"")
        self._krctl("init")
        for number, line, lines in blocks(text):
            try:
                self.apply(line, lines)
            except (CaseError, OSError, ValueError, KeyError, IndexError) as error:
                raise CaseError(f"given:{number}: {line}: {error!r}") from error

    def apply(self, line, lines):
        """Executes one directive, also as a step in the middle of a run."""
        words = tokens(line)
        name, rest = words[0], words[1:]
        if name == "sql":
            self.sql(rest, lines)
        elif name == "only":
            pass  # run.py has already evaluated it
        elif name == "rows":
            self.rows(rest, lines)
        elif name == "settings":
            self.write_settings(lines)
        elif name in self.directives:
            plain, options = split_options(rest)
            self.directives[name](*plain, **options)
        else:
            raise CaseError(f"no such directive: {name}")

    def path(self, relative):
        return os.path.join(self.root, relative)

    def camera(self, number, storage, name=None):
        """Adds a camera with krctl, which requires that the storage folder exists."""
        name = name or (b"camera" if number == b"1" else b"camera " + number)
        self._folder(self.path(storage))
        self._krctl("camera", "add", "--id", number, "--name", name,
                    "--storage", PACKAGE_ROOT + b"/" + storage)

    def dir(self, path, mode=None):
        self._folder(self.path(path))
        if mode:
            os.chmod(self.path(path), int(mode, 8))

    def file(self, path, mode=b"0640", mtime=None, atime=None, **content):
        for name in expand(path):
            full = self.path(name)
            self._folder(os.path.dirname(full))
            if os.path.islink(full):
                os.unlink(full)
            self._write(full, **content)
            os.chmod(full, int(mode, 8))
            modified = int(mtime or FILE_TIME)
            os.utime(full, (int(atime or modified), modified))

    def _write(self, full, text=b"", media=None, first=None, size=None):
        if media:
            with open(os.path.join(os.fsencode(self.media), media), "rb") as source:
                text = source.read()
        if first:
            text = text[:int(first)]
        with open(full, "wb") as file:
            file.write(text)
            if size:  # sparse after the content
                file.truncate(int(size))

    def link(self, path, to):
        self._folder(os.path.dirname(self.path(path)))
        os.symlink(to, self.path(path))

    def fifo(self, path):
        self._folder(os.path.dirname(self.path(path)))
        os.mkfifo(self.path(path), FILE_MODE)

    def socket(self, path):
        self._folder(os.path.dirname(self.path(path)))
        os.mknod(self.path(path), stat.S_IFSOCK | FILE_MODE)

    def mode(self, path, mode):
        os.chmod(self.path(path), int(mode, 8))

    def owner(self, user, path=b""):
        """Gives a path and everything in it, or the whole recorder, to a user and their group."""
        self._own(self.path(path).rstrip(b"/"), int(user))
        for folder, folders, files in os.walk(self.path(path)):
            for name in folders + files:
                self._own(os.path.join(folder, name), int(user))

    def _own(self, full, user):
        try:
            os.lchown(full, user, user)
        except OSError as error:
            if error.errno != errno.EINVAL:
                raise
            raise NotPossibleHere(f"this user namespace has no user {user}: "
                                  "only root can run this case") from error

    def remove(self, path):
        full = self.path(path)
        if os.path.isdir(full) and not os.path.islink(full):
            shutil.rmtree(full)
            return
        os.unlink(full)
        for companion in (full + b"-wal", full + b"-shm"):
            if os.path.exists(companion):
                os.unlink(companion)

    def tmpfs(self, path, size):
        """Mounts a small disk, which exists only in the sandbox and ends with it."""
        full = self.path(path)
        self._folder(full)
        subprocess.run(["mount", "-t", "tmpfs", "-o", b"mode=750,size=" + size, "scenario", full],
                       check=True)

    def limit(self, path, size):
        """Moves the content of a folder to a small disk mounted on it."""
        with tempfile.TemporaryDirectory() as aside:
            content = shutil.copytree(self.path(path), os.path.join(os.fsencode(aside), b"content"))
            self.tmpfs(path, size)
            shutil.copytree(content, self.path(path), dirs_exist_ok=True)

    def mount(self, folder, path):
        """Mounts a disk with the content of a folder, over whatever is at the path."""
        full = self.path(path)
        self._folder(full)
        subprocess.run(["mount", "--bind", self.path(folder), full], check=True)

    def unmount(self, path):
        """Unmounts a disk even while a program uses it, as if its cable were pulled."""
        subprocess.run(["umount", "--lazy", self.path(path)], check=True)

    def fill(self, path, spare=b"0"):
        """Creates a file that fills its disk except for the spare bytes."""
        with open(self.path(path), "wb", buffering=0) as file:
            try:
                while file.write(b"x" * 4096):
                    pass
            except OSError:
                pass
            file.truncate(max(file.tell() - int(spare), 0))
        os.chmod(self.path(path), FILE_MODE)

    def rows(self, words, lines):
        columns = split_cells(lines[0])
        values = [[cell_value(cell) for cell in split_cells(line)] for line in lines[1:]]
        if any(len(row) != len(columns) for row in values):
            raise CaseError("a row has more or fewer cells than there are columns")
        self.engine.insert(words[0], columns, values, "unchecked" in words)

    def sql(self, words, lines):
        """Executes statements; with `on ENGINE`, only on that engine."""
        match words:
            case [name]:
                self.engine.run_script(name, "\n".join(lines))
            case [name, "on", engine]:
                if engine == self.engine.name:
                    self.engine.run_script(name, "\n".join(lines))
            case _:
                raise CaseError("sql DATABASE [on ENGINE]")

    def write_settings(self, lines):
        text = "\n".join(lines).encode() + b"\n"
        self.settings = text if PID_MARK in text else None
        self._put_settings(text)

    def settings_for_pid(self, pid):
        """Writes settings that contain PID_MARK, with the id of the process that is about to read them."""
        if self.settings:
            self._put_settings(self.settings.replace(PID_MARK, str(pid).encode()))

    def template_settings(self):
        if self.settings:
            self._put_settings(self.settings)

    def _put_settings(self, text):
        self.file(b"etc/kestora.toml", text=with_engine(text, self.engine.settings) + self.ahead)

    def _folder(self, path):
        if not os.path.isdir(path):
            self._folder(os.path.dirname(path))
            os.mkdir(path)
            os.chmod(path, FOLDER_MODE)

    def _krctl(self, *arguments):
        done = subprocess.run([os.path.join(self.bin_dir, "krctl"), *arguments],
                              capture_output=True, check=False)
        if done.returncode:
            raise CaseError(f"krctl {arguments}: {done.stderr.decode(errors='replace')}")


def with_engine(settings, keys):
    """Adds the engine's settings to the case's, after them, so that line numbers in messages stay right."""
    if not keys:
        return settings
    section = re.search(rb"^\[database\]\n(?:(?!\[).*\n)*", settings, re.MULTILINE)
    if section:
        return settings[:section.end()] + keys + settings[section.end():]
    return settings + b"[database]\n" + keys
