"""A program on a terminal of a chosen width."""

import fcntl
import os
import pty
import struct
import subprocess
import termios

from support import process


class Terminal:
    """What the program writes on it, as bytes, until it ends."""

    def __init__(self, command, columns, environment=None):
        self.master, inside = pty.openpty()
        fcntl.ioctl(inside, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.program = subprocess.Popen(
            [*process.WITH_TEST, "setsid", "--ctty", "--wait", *command], stdin=inside,
            stdout=inside, stderr=inside, env={**os.environ, **(environment or {})})
        os.close(inside)
        self.shown = b""

    def read(self):
        """What comes next; empty at the end."""
        try:
            piece = os.read(self.master, 65536)
        except OSError:  # the last process has closed it
            piece = b""
        self.shown += piece
        return piece

    def read_until(self, text):
        while text not in self.shown:
            if not self.read():
                raise AssertionError(f"ended without {text}: {self.shown}")

    def type(self, keys):
        os.write(self.master, keys)

    def finish(self):
        """Its exit status."""
        while self.read():
            pass
        return self.program.wait(process.DEADLINE_S)

    def end(self):
        process.end(self.program)
        os.close(self.master)

    def lines(self):
        """What stood on a line at any time, as the terminal takes carriage returns; without what
        controls colour and clears."""
        text = self.shown.decode()
        for control in ("\x1b[K", "\x1b[0m", "\x1b[32m", "\x1b[33m", "\x1b[1;31m"):
            text = text.replace(control, "")
        return [line for line in text.replace("\r", "\n").split("\n") if line]
