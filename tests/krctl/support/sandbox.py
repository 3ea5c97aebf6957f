"""The sandbox of a recorder, which its programs enter one after another."""

import os
import subprocess

SANDBOX = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../script/sandbox")


class Sandbox:
    """A process keeps the mounts, because making them takes longer than running most programs. It
    ends when the test ends and closes its standard input."""

    def __init__(self, root):
        self.keeper = subprocess.Popen([SANDBOX, root, "cat"], stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE)
        self.keeper.stdin.write(b"\n")
        self.keeper.stdin.flush()
        if self.keeper.stdout.readline() != b"\n":  # printed after mounting
            raise AssertionError("the sandbox can't be made")
        user = [] if self._has_our_users() else ["--user", "--preserve-credentials"]
        self.enter = ["nsenter", f"--target={self.keeper.pid}", *user, "--mount", "--root"]

    def entering(self, command, folder):
        """Returns the words that start a command inside, in that working folder."""
        return [*self.enter, f"--wdns={folder}", *command]

    def end(self):
        self.keeper.stdin.close()
        self.keeper.wait()
        self.keeper.stdout.close()

    def _has_our_users(self):
        """Returns true if the sandbox was made without a user namespace."""
        ours, its = (os.readlink(f"/proc/{pid}/ns/user") for pid in ("self", self.keeper.pid))
        return ours == its
