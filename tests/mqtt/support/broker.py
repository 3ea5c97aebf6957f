"""A real mosquitto on the loopback, and mosquitto_sub as an independent subscriber."""

import json
import os
import shutil
import socket
import subprocess

from support import process

MOSQUITTO = shutil.which("mosquitto", path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
FIRST, LAST = "test/first", "test/last"
ATTEMPTS = 20


class Broker:
    """A broker with two listeners: one for the recorder, with a test's lines of configuration, and an open one
    for the subscriber, which is connected from the start."""

    def __init__(self, folder, *lines):
        self.folder, self.lines = folder, lines
        self.process = self.subscriber = None
        for _ in range(ATTEMPTS):  # another process may take a port that was free a moment ago
            self.port, self.open_port = _free_ports(2)
            if self._starts():
                break
        else:
            raise AssertionError("mosquitto did not start: " + self.output())
        self._subscribe()

    def end(self):
        process.end(self.subscriber)
        self.subscriber.stdout.close()
        process.end(self.process)

    def messages(self):
        """Returns what arrived since the start or the last call: topic, quality of service, payload."""
        self._publish(LAST)
        return list(self._until(LAST))

    def output(self):
        with open(self._file("mosquitto.log"), encoding="utf-8") as file:
            return file.read()

    def _starts(self):
        config = [
            "per_listener_settings true", "user root", "persistence false", "log_dest stderr",
            "max_queued_messages 0",
            f"listener {self.open_port} 127.0.0.1", "allow_anonymous true",
            f"listener {self.port} 127.0.0.1", *(self.lines or ["allow_anonymous true"]),
        ]
        with open(self._file("mosquitto.conf"), "w", encoding="utf-8") as file:
            file.write("\n".join(config) + "\n")
        with open(self._file("mosquitto.log"), "wb") as log:
            self.process = process.start([MOSQUITTO, "-c", self._file("mosquitto.conf")],
                                         stdout=log, stderr=log)
        process.until(lambda: self._listens() or self.process.poll() is not None,
                      "mosquitto neither listened nor ended")
        return self.process.poll() is None

    def _listens(self):
        return all(_answers(port) for port in (self.open_port, self.port))

    def _file(self, name):
        return os.path.join(self.folder, name)

    def _subscribe(self):
        self._publish(FIRST, "-r")  # retained: a subscriber that has received it misses no later message
        self.subscriber = process.start(
            ["mosquitto_sub", *self._address(), "-t", "#", "-F", "%t\\t%q\\t%p"],
            stdout=subprocess.PIPE, text=True)
        list(self._until(FIRST))

    def _publish(self, topic, *options):
        process.run(["mosquitto_pub", *self._address(), "-t", topic, "-m", "{}", *options])

    def _address(self):
        return "-h", "127.0.0.1", "-p", str(self.open_port), "-q", "1"

    def _until(self, last):
        for line in self.subscriber.stdout:
            topic, quality, payload = line.rstrip("\n").split("\t")
            if topic == last:
                return
            yield topic, int(quality), json.loads(payload)
        raise AssertionError("the subscriber ended early")


class ClosedPort:
    """A port on which no process listens, and none can as long as this object holds it."""

    def __init__(self):
        self.socket = _bound()
        self.port = self.socket.getsockname()[1]

    def end(self):
        self.socket.close()


def _bound():
    taken = socket.socket()
    taken.bind(("127.0.0.1", 0))
    return taken


def _free_ports(count):
    taken = [_bound() for _ in range(count)]
    ports = [each.getsockname()[1] for each in taken]
    for each in taken:
        each.close()
    return ports


def _answers(port):
    try:
        socket.create_connection(("127.0.0.1", port), timeout=process.DEADLINE_S).close()
        return True
    except ConnectionRefusedError:
        return False
