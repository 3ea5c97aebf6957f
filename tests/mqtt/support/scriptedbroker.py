"""A broker that follows a test's script, one conversation for each connection."""

import itertools
import json
import socket
import struct
import threading
import time

from support import process

CONNECT, PUBLISH, DISCONNECT = 1, 3, 14


class Message:
    def __init__(self, flags, body):
        length = struct.unpack(">H", body[:2])[0]
        self.retained = flags & 1
        self.topic = body[2:2 + length].decode()
        self.number = struct.unpack(">H", body[2 + length:4 + length])[0]
        self.payload = json.loads(body[4 + length:])


class Connection:
    """The broker's side of a connection."""

    def __init__(self, stream, received):
        self.stream, self.received = stream, received
        self.raw = b""  # the packet that was read last

    def accept(self):
        if not (packet := self._next_packet()):
            raise ConnectionResetError  # the other side ran out of time before it sent anything
        if packet[0] != CONNECT:
            raise AssertionError("the first packet is not a CONNECT")
        self.stream.sendall(b"\x20\x02\x00\x00")

    def next_message(self):
        """Returns the next message; None if the other side has ended the connection."""
        while (packet := self._next_packet()) is not None:
            kind, flags, body = packet
            if kind == PUBLISH:
                message = Message(flags, body)
                self.received.append(message)
                return message
            if kind == DISCONNECT:
                return None
        return None

    def next_messages(self, count):
        """Returns so many messages, fewer if the other side ends the connection before."""
        return list(itertools.islice(self.messages(), count))

    def messages(self):
        while (message := self.next_message()) is not None:
            yield message

    def acknowledge(self, message):
        self.stream.sendall(b"\x40\x02" + struct.pack(">H", message.number))

    def until_end(self):
        while self.stream.recv(4096):
            pass

    def relay_packet(self, other):
        self._next_packet()
        other.sendall(self.raw)

    def _next_packet(self):
        """Returns the kind, the flags and the body of the next packet."""
        self.raw = b""
        if not (first := self.stream.recv(1)):
            return None
        self.raw, length, shift = first, 0, 0
        while True:
            digit = self._exactly(1)[0]
            length |= (digit & 0x7F) << shift
            shift += 7
            if digit < 0x80:
                return first[0] >> 4, first[0] & 0x0F, self._exactly(length)

    def _exactly(self, size):
        data = b""
        while len(data) < size:
            more = self.stream.recv(size - len(data))
            if not more:
                raise ConnectionResetError
            data += more
        self.raw += data
        return data


class ScriptedBroker:
    """A broker whose nth connection has the nth conversation. After the last one the port is closed."""

    def __init__(self, *conversations, tls=None):
        self.tls = tls
        self.received = []     # messages of all connections
        self.connections = 0
        self.problems = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self._serve, args=conversations, daemon=True)
        self.thread.start()

    def end(self):
        """Ends the broker; raises an error if a conversation has failed or still runs."""
        try:
            self.listener.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass  # already closed
        self.thread.join(process.DEADLINE_S)
        self.listener.close()
        if self.thread.is_alive() or self.problems:
            raise AssertionError(f"the broker's conversation failed: {self.problems}")

    def _serve(self, *conversations):
        for conversation in conversations:
            try:
                stream = self.listener.accept()[0]
            except OSError:
                return
            self.connections += 1
            with stream:
                stream.settimeout(process.DEADLINE_S)
                try:
                    self._talk(conversation, stream)
                except (ConnectionResetError, BrokenPipeError):
                    pass  # the other side was killed, or has closed the connection
                except Exception as error:  # an exception that leaves a thread is not reported
                    self.problems.append(repr(error))
        self.listener.close()

    def _talk(self, conversation, stream):
        if self.tls is None:
            conversation(Connection(stream, self.received))
            return
        with self.tls.wrap_socket(stream, server_side=True) as secure:
            conversation(Connection(secure, self.received))


def acknowledges_all(connection):
    connection.accept()
    for message in connection.messages():
        connection.acknowledge(message)


def never_answers(connection):
    connection.until_end()


def never_acknowledges(connection):
    connection.accept()
    connection.until_end()


def closes_instead_of_acknowledging(after):
    def conversation(connection):
        connection.accept()
        connection.next_messages(after)
    return conversation


def acknowledges(count, after=None):
    """Acknowledges `count` messages after `after` have arrived, then closes the connection."""
    def conversation(connection):
        connection.accept()
        for message in connection.next_messages(after or count)[:count]:
            connection.acknowledge(message)
    return conversation


def acknowledges_and_falls_silent(count):
    """Acknowledges `count` messages, sends half of another acknowledgement, and stops responding."""
    def conversation(connection):
        connection.accept()
        for _ in range(count):
            connection.acknowledge(connection.next_message())
        connection.stream.sendall(b"\x40")
        connection.until_end()
    return conversation


def acknowledges_slowly(pause_s):
    def conversation(connection):
        connection.accept()
        for message in connection.messages():
            time.sleep(pause_s)
            connection.acknowledge(message)
    return conversation


def kills_at_message(broker, number):
    """Forwards the connection to a real broker, and kills that when so many messages have arrived."""
    def conversation(connection):
        with socket.create_connection(("127.0.0.1", broker.port)) as real:
            connection.relay_packet(real)
            connection.stream.sendall(real.recv(4096))
            connection.next_messages(number)
            process.end(broker.process)
    return conversation
