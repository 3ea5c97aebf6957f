#!/usr/bin/env python3
"""Tests a run whose database server accepts connections and gives no response: silence.py BIN_DIR MEDIA_DIR.

A proxy between the recorder and a PostgreSQL server stops forwarding data, either at the first connection or
in the middle of a run of many batches. The run must wait for the server once, make no further connection, and
end by itself.
"""

import os
import socket
import sys
import tempfile
import threading

from run import BATCH, DEADLINE_S, Recorder, Server, main, require, run_halted_in_third_batch

BATCHES = 20
STATEMENT_TIMEOUT_MS = 4000
SILENT = "no response from the server"
LEFT_ALONE = "next attempt in"


class Proxy:
    """Forwards connections to the server's socket, until `silent` is set."""

    def __init__(self, server):
        self.target = os.path.join(server.directory, ".s.PGSQL.5432")
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.connections = 0
        self.silent = threading.Event()
        self.open = []
        threading.Thread(target=self._accept, daemon=True).start()

    @property
    def dsn(self):
        return f"postgresql://kestora@127.0.0.1:{self.listener.getsockname()[1]}/kestora"

    def _accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            self.connections += 1
            self.open.append(client)
            if self.silent.is_set():
                continue
            upstream = socket.socket(socket.AF_UNIX)
            upstream.connect(self.target)
            self.open.append(upstream)
            for source, sink in ((client, upstream), (upstream, client)):
                threading.Thread(target=self._forward, args=(source, sink), daemon=True).start()

    def _forward(self, source, sink):
        try:
            while data := source.recv(65536):
                if self.silent.is_set():
                    return
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)
        except OSError:
            pass

    def close(self):
        self.listener.close()
        for each in self.open:
            each.close()


def lines_with(recorder, text):
    return recorder.log().count(text)


def silent_from_the_start(recorder, proxy):
    proxy.silent.set()
    proxy.connections = 0
    recorder.run("krindexer", "-o", "-r", "1", "-a", "1", "-s", "-e")
    require(proxy.connections == 1, "the tool connects once to a server that gives no response")
    require(lines_with(recorder, LEFT_ALONE) >= 3, "later calls fail at once")
    proxy.silent.clear()


def silent_in_the_middle(recorder, proxy, server):
    proxy.connections = 0
    with run_halted_in_third_batch(recorder, server) as run:
        proxy.silent.set()
        require(run.wait(DEADLINE_S) == 0, "the run ends by itself, with status 0")
    require(proxy.connections == 1, "the run makes no further connection")
    require(lines_with(recorder, SILENT) == 1, "the log has the missing response once")
    require(lines_with(recorder, LEFT_ALONE) >= BATCHES - 3, "the other batches fail at once")
    proxy.silent.clear()


def carry_out(folder, programs, media_dir):
    with Server(durable=False) as server:
        proxy = Proxy(server)
        try:
            recorder = Recorder(folder, programs, proxy.dsn, STATEMENT_TIMEOUT_MS)
            recorder.fill(os.path.join(media_dir, "h264.mp4"), BATCHES * BATCH)
            recorder.use_schema("failover")
            silent_from_the_start(recorder, proxy)
            recorder.forget_log()
            silent_in_the_middle(recorder, proxy, server)
            server.psql("DROP TRIGGER halt ON failover.event")
            recorder.run("krindexer", "-r", "1")
            count = server.psql("SELECT count(*) FROM failover.event").strip()
            require(count == str(BATCHES * BATCH), "the next run completes the work")
        finally:
            proxy.close()


if __name__ == "__main__":
    sys.exit(main(__doc__, carry_out))
