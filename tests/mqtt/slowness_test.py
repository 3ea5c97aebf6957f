"""A broker that is slow or stops responding delays neither a run nor the next one.

The tests count the remaining messages. No duration decides a result."""

import fcntl
import os
import re
import signal
import socket
import subprocess

from support import process, scriptedbroker
from support.case import TIMEOUT_MS, MqttTest
from support.recorder import SANDBOX, wait
from support.scriptedbroker import ScriptedBroker

BACKLOG = 500
NEVER_MS = process.DEADLINE_S * 1000


class UnansweredPort:
    """A port that drops the packets of new connections, so that they are neither accepted nor refused."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=0)
        self.port = self.listener.getsockname()[1]
        self.waiting = []
        while self._has_room():
            pass

    def end(self):
        for stream in (*self.waiting, self.listener):
            stream.close()

    def _has_room(self):
        stream = socket.socket()
        stream.settimeout(0.2)  # the loopback accepts a connection at once or not at all
        self.waiting.append(stream)
        try:
            stream.connect(("127.0.0.1", self.port))
            return True
        except TimeoutError:
            return False


class SlownessTest(MqttTest):
    def scripted(self, *conversations, **settings):
        broker = self.until_end(ScriptedBroker(*conversations))
        self.recorder.notify(broker.port, **settings)
        return broker

    def due(self):
        return [row[0] for row in self.recorder.outbox()]

    def assert_left(self, log, last, reason):
        """Checks that the oldest were delivered, and that the log has the number of the others."""
        due = self.due()
        self.assertEqual(due, list(range(last - len(due) + 1, last + 1)))
        self.assert_one_warning(log, reason, f"; {len(due)} messages remain queued")
        return due


class TimeToPublish(SlownessTest):
    def test_ends_while_a_broker_acknowledges_slowly(self):
        self.scripted(scriptedbroker.acknowledges_slowly(pause_s=0.3), timeout_ms=NEVER_MS,
                      publish_timeout_ms=2000)
        self.recorder.queue(BACKLOG)

        log = self.reindex("-e")

        self.assertGreater(len(self.assert_left(log, BACKLOG, "the time limit for publishing was reached")), 400)

    def test_ends_if_a_broker_stops_responding_within_an_acknowledgement(self):
        self.scripted(scriptedbroker.acknowledges_and_falls_silent(20), timeout_ms=NEVER_MS,
                      publish_timeout_ms=2000)
        self.recorder.queue(BACKLOG)

        log = self.reindex("-e")

        self.assertGreaterEqual(
            len(self.assert_left(log, BACKLOG, "the time limit for publishing was reached")), BACKLOG - 20)

    def test_applies_to_all_connections_together(self):
        # Each connection is lost after 16 messages.
        self.scripted(*[scriptedbroker.acknowledges(1, after=16)] * BACKLOG,
                      publish_timeout_ms=1500)
        self.recorder.queue(BACKLOG)

        log = self.reindex("-e")

        self.assertGreater(len(self.assert_left(log, BACKLOG, "the time limit for publishing was reached")), 400)

    def test_suffices_for_a_broker_that_responds(self):
        broker = self.broker()
        self.recorder.notify(broker.port, publish_timeout_ms=NEVER_MS)
        self.recorder.queue(BACKLOG)

        self.assert_no_complaint(self.reindex("-e"))

        self.assert_delivered(broker.messages(), *range(1, BACKLOG + 1))
        self.assert_due()


class MissingResponse(SlownessTest):
    def test_of_a_host_that_drops_packets_ends_the_attempt(self):
        self.recorder.notify(self.until_end(UnansweredPort()).port, timeout_ms=TIMEOUT_MS)

        log = self.reindex("-r", "-1")

        self.assert_one_warning(log, f"can't connect: no answer within {TIMEOUT_MS} ms")
        self.assert_due(1, 2, 3)

    def test_of_a_name_server_ends_the_attempt(self):
        self.recorder.notify(1883, host="broker.example", timeout_ms=TIMEOUT_MS)

        log = self.reindex("-r", "-1", LD_PRELOAD=os.environ["KESTORA_TEST_SILENT_RESOLVER"],
                           ASAN_OPTIONS="verify_asan_link_order=0")  # the sanitizer is loaded second

        self.assert_one_warning(log, "broker broker.example:1883: can't connect: "
                                     f"no answer within {TIMEOUT_MS} ms")
        self.assert_due(1, 2, 3)

    def test_of_the_process_that_publishes_ends_the_attempt(self):
        def stops_the_other_side(connection):
            connection.accept()
            connection.next_message()
            worker = self.recorder.worker()
            with open(f"/proc/{worker}/task/{worker}/children", encoding="ascii") as children:
                os.kill(int(children.read()), signal.SIGSTOP)
            connection.until_end()

        self.scripted(stops_the_other_side, timeout_ms=2000)

        log = self.reindex("-r", "-1")

        self.assert_one_warning(log, "no answer within 2000 ms")
        self.assert_due(1, 2, 3)


class Work(SlownessTest):
    """Publication begins after the run's work, and after the lock was released."""

    def test_has_ended_before_the_run_connects(self):
        seen = []

        def notes_the_state(connection):
            connection.accept()
            seen.append((self.due(), self.recorder.task(), self.recorder.has_ended() is not None))
            for message in connection.messages():
                connection.acknowledge(message)

        for options in (["-r", "-1", "-a", "-1"], ["-o", "-r", "-1", "-a", "-1"]):
            with self.subTest(options):
                broker = self.scripted(notes_the_state)
                self.reindex(*options)
                self.assertEqual(broker.connections, 1)
                self.assert_due()

        self.assertEqual(seen, [([1, 2, 3, 4, 5, 6], (0, 1), True), ([7, 8, 9], (0, 1), True)])

    def test_of_another_run_is_not_refused_and_its_messages_are_published_at_once(self):
        statuses = []

        def runs_the_next_one(connection):
            connection.accept()
            for message in connection.messages():
                if message.payload["id"] == 1:
                    statuses.append(self.recorder.reindex("-a", "-1")[0])
                connection.acknowledge(message)

        broker = self.scripted(runs_the_next_one, timeout_ms=NEVER_MS)

        run = self.recorder.start("-r", "-1")

        self.assertEqual(wait(run), 0)
        self.assertEqual(statuses, [0])
        self.assertEqual([message.payload["id"] for message in broker.received], [1, 2, 3, 4, 5, 6])
        self.assert_due()

    def test_of_a_background_run_ends_before_it_publishes(self):
        broker = self.until_end(ScriptedBroker(scriptedbroker.never_acknowledges))
        self.recorder.notify(broker.port, timeout_ms=NEVER_MS)
        self.reindex("-n", "-r", "-1")
        process.until(lambda: broker.connections, "the run did not connect")
        worker = self.recorder.worker()
        self.addCleanup(lambda: _kill(worker))

        self.recorder.notify_nobody()

        self.assertEqual(self.recorder.reindex("-a", "1")[0], 0)


class Messages(SlownessTest):
    def test_are_left_to_the_process_that_holds_the_outbox(self):
        broker = self.broker()
        self.recorder.notify(broker.port)
        lock = self.recorder.path("var/db/outbox.lock")
        with open(lock, "w", encoding="ascii") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            log = self.reindex("-r", "-1")

        self.assert_no_complaint(log)
        self.assertEqual(len([line for line in log if re.search("are left to it", line)]), 1)
        self.assert_due(1, 2, 3)
        self.assert_no_complaint(self.reindex("-e"))
        self.assert_delivered(broker.messages(), 1, 2, 3)


class Operator(SlownessTest):
    def krctl_run(self):
        run = process.start([SANDBOX, self.recorder.root,
                             os.path.join(self.recorder.bin_dir, "krctl"), "run", "-r", "-1"],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.end, run)
        self.addCleanup(run.stdout.close)
        self.addCleanup(run.stderr.close)
        return run

    def test_sees_the_outcome_during_publication_and_can_stop_it(self):
        self.scripted(scriptedbroker.never_acknowledges, timeout_ms=NEVER_MS)

        run = self.krctl_run()

        while (said := run.stderr.readline()) and not said.startswith("krctl: "):
            pass  # the progress of a slow run
        self.assertEqual(said, "krctl: the run has ended; publishing notifications\n")
        shown = ""
        while "run 1: " not in shown:
            shown += run.stdout.readline()
        with open(f"/proc/{self.recorder.worker()}/status", encoding="utf-8") as file:
            krctl = int(re.search(r"PPid:\s+(\d+)", file.read())[1])
        os.kill(krctl, signal.SIGTERM)
        rest, errors = run.communicate(timeout=process.DEADLINE_S)
        self.assertEqual(run.returncode, 130)
        self.assertNotIn("run 1: ", rest)
        self.assertEqual(errors, "krctl: stopped; unpublished messages stay queued\n")
        self.assert_due(1, 2, 3)

    def test_sees_this_run_even_if_another_one_has_begun(self):
        def runs_another_one(connection):
            connection.accept()
            for message in connection.messages():
                if message.payload["id"] == 1:
                    self.assertEqual(self.recorder.reindex("-e")[0], 0)
                connection.acknowledge(message)

        self.scripted(runs_another_one, timeout_ms=NEVER_MS)

        run = self.krctl_run()
        shown, _ = run.communicate(timeout=process.DEADLINE_S)

        self.assertEqual(run.returncode, 0)
        self.assertIn("run 1: ", shown)
        self.assertNotIn("run 2: ", shown)
        self.assert_due()


def _kill(process_id):
    try:
        os.kill(process_id, signal.SIGKILL)
    except ProcessLookupError:
        pass
