"""A program on a terminal of a chosen width."""

import fcntl
import os
import pty
import struct
import subprocess
import termios

from support import process


class Terminal:
    """Runs a program on a terminal and collects its output as bytes."""

    def __init__(self, command, columns, environment=None):
        self.master, inside = pty.openpty()
        fcntl.ioctl(inside, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.program = subprocess.Popen(
            [*process.WITH_TEST, "setsid", "--ctty", "--wait", *command], stdin=inside,
            stdout=inside, stderr=inside, env={**os.environ, **(environment or {})})
        os.close(inside)
        self.shown = b""

    def read(self):
        """Returns the next bytes; empty at the end."""
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
        """Reads the output to its end and returns the exit status."""
        while self.read():
            pass
        return self.program.wait(process.DEADLINE_S)

    def end(self):
        process.end(self.program)
        os.close(self.master)

    def lines(self):
        """Returns every text that was on a line, without control sequences. A carriage return begins a
        new text."""
        text = self.shown.decode()
        for control in ("\x1b[K", "\x1b[0m", "\x1b[32m", "\x1b[33m", "\x1b[1;31m"):
            text = text.replace(control, "")
        return [line for line in text.replace("\r", "\n").split("\n") if line]
