"""A broker that is down or does not respond delays messages. No message is lost."""

from support import process, scriptedbroker
from support.broker import ClosedPort
from support.case import TIMEOUT_MS, MqttTest
from support.scriptedbroker import ScriptedBroker


class Outage(MqttTest):
    def assert_next_run_delivers(self, *ids):
        """Checks that the next run delivers these messages once, in order, and the one after it none."""
        broker = self.broker()
        self.recorder.notify(broker.port)

        log = self.reindex("-e")

        self.assert_delivered(broker.messages(), *ids)
        self.assert_due()
        self.assert_no_complaint(log)
        self.reindex("-e")
        self.assert_delivered(broker.messages())

    def run_with(self, *conversations, options=("-r", "-1", "-a", "-1")):
        broker = self.until_end(ScriptedBroker(*conversations))
        self.recorder.notify(broker.port, timeout_ms=TIMEOUT_MS)
        return broker, self.reindex(*options)

    def test_a_run_completes_its_work_and_warns_once_if_the_broker_is_down(self):
        port = self.until_end(ClosedPort()).port
        self.recorder.notify(port)

        log = self.reindex("-r", "-1", "-a", "-1")

        self.assert_one_warning(log, f"broker 127.0.0.1:{port}: can't connect: Connection refused")
        self.assert_due(1, 2, 3, 4, 5, 6)
        self.assertIn("Re-index event complete with re-indexed record cnt [3].", "\n".join(log))

    def test_the_next_run_delivers_old_messages_before_its_own(self):
        self.recorder.notify(self.until_end(ClosedPort()).port)
        self.reindex("-r", "-1")
        self.recorder.record(1, start_tm=1394590600)
        broker = self.broker()
        self.recorder.notify(broker.port)

        self.reindex("-r", "-1")

        messages = broker.messages()
        self.assert_delivered(messages, 1, 2, 3, 4)
        self.assertEqual([message[2]["body"]["camera"] for message in messages], [1, 2, 3, 1])
        self.assert_due()

    def test_a_run_without_messages_delivers_queued_ones(self):
        self.recorder.notify(self.until_end(ClosedPort()).port)
        self.reindex("-r", "-1")

        self.assert_next_run_delivers(1, 2, 3)

    def test_messages_stay_queued_if_the_broker_is_killed_before_it_acknowledges(self):
        killed = self.broker()

        broker, log = self.run_with(scriptedbroker.kills_at_message(killed, 6))

        self.assert_one_warning(log, "can't have a message acknowledged: ", "connection was lost")
        self.assertEqual([message.payload["id"] for message in broker.received], [1, 2, 3, 4, 5, 6])
        self.assert_due(1, 2, 3, 4, 5, 6)
        self.assert_next_run_delivers(1, 2, 3, 4, 5, 6)

    def test_messages_stay_queued_if_the_broker_closes_before_it_acknowledges(self):
        broker, log = self.run_with(scriptedbroker.closes_instead_of_acknowledging(after=6))

        self.assert_one_warning(log, "can't have a message acknowledged: ", "connection was lost")
        self.assertEqual([message.payload["id"] for message in broker.received], [1, 2, 3, 4, 5, 6])
        self.assert_due(1, 2, 3, 4, 5, 6)
        self.assert_next_run_delivers(1, 2, 3, 4, 5, 6)

    def test_messages_stay_queued_if_the_broker_does_not_acknowledge_in_time(self):
        broker, log = self.run_with(scriptedbroker.never_acknowledges)

        self.assert_one_warning(
            log, f"can't have a message acknowledged: no answer within {TIMEOUT_MS} ms")
        self.assertEqual(broker.connections, 1)
        self.assert_due(1, 2, 3, 4, 5, 6)
        self.assert_next_run_delivers(1, 2, 3, 4, 5, 6)

    def test_messages_stay_queued_if_the_broker_does_not_accept_in_time(self):
        broker, log = self.run_with(scriptedbroker.never_answers)

        self.assert_one_warning(log, f"can't connect: no answer within {TIMEOUT_MS} ms")
        self.assertEqual(broker.connections, 1)
        self.assert_due(1, 2, 3, 4, 5, 6)
        self.assert_next_run_delivers(1, 2, 3, 4, 5, 6)

    def test_acknowledged_messages_are_not_repeated_if_the_broker_is_lost_permanently(self):
        _, log = self.run_with(scriptedbroker.acknowledges(1, after=6))

        self.assert_one_warning(log, "can't connect: ")
        self.assert_due(2, 3, 4, 5, 6)
        self.assert_next_run_delivers(2, 3, 4, 5, 6)

    def test_more_messages_than_the_journal_keeps_stay_queued(self):
        self.recorder.queue(10005)
        self.recorder.notify(self.until_end(ClosedPort()).port)

        self.reindex("-a", "1")

        self.assert_due(*range(1, 10007))


class Kill(MqttTest):
    def test_of_a_run_loses_no_message(self):
        self.recorder.queue(40)
        runs = []

        def kills_the_run_at_the_20th(connection):
            connection.accept()
            for message in connection.messages():
                if message.payload["id"] == 20:
                    process.until(lambda: runs, "no run was started")
                    runs[0].kill()
                    return
                connection.acknowledge(message)

        scripted = self.until_end(ScriptedBroker(kills_the_run_at_the_20th))
        self.recorder.notify(scripted.port)
        runs.append(self.recorder.start("-e"))
        self.assert_ended(runs[0])
        broker = self.broker()
        self.recorder.notify(broker.port)

        self.reindex("-e")

        self.assertEqual(runs[0].returncode, -9)
        again = [message[2]["id"] for message in broker.messages()]
        self.assertEqual(again, list(range(again[0], 41)))
        # The first 16 were deleted before the next ones were sent. The 20th was never acknowledged.
        self.assertIn(again[0], range(17, 21))
        self.assert_due()
