"""Messages reach a subscriber once, in order."""

import time

from support import process, scriptedbroker
from support.case import MqttTest
from support.recorder import wait
from support.scriptedbroker import ScriptedBroker


class Delivery(MqttTest):
    def test_messages_of_a_run_arrive_in_order_with_their_topics(self):
        broker = self.broker()
        self.recorder.notify(broker.port)

        log = self.reindex("-r", "-1", "-a", "-1")

        messages = broker.messages()
        self.assertEqual([message[0] for message in messages],
                         ["kestora/event/list"] * 3 + ["kestora/alert_event/refresh"] * 3)
        self.assert_delivered(messages, 1, 2, 3, 4, 5, 6)
        self.assert_due()
        self.assert_no_complaint(log)

    def test_the_payload_holds_id_time_and_the_unchanged_body(self):
        broker = self.broker()
        self.recorder.notify(broker.port)
        before = int(time.time())

        self.reindex("-r", "2")

        (_, quality, payload), = broker.messages()
        self.assertEqual(quality, 1)
        self.assertEqual(sorted(payload), ["body", "id", "time"])
        self.assertEqual(payload["id"], 1)
        self.assertTrue(before <= payload["time"] <= time.time())
        stamp = payload["body"].pop("stamp")
        self.assertEqual(payload["body"], {"camera": 2, "action": "add", "ids": [1]})
        self.assertGreaterEqual(stamp, before * 1000000)

    def test_a_message_is_not_retained(self):
        # An existing subscriber doesn't see the flag, so the broker is a scripted one.
        broker = self.until_end(ScriptedBroker(scriptedbroker.acknowledges_all))
        self.recorder.notify(broker.port)

        self.reindex("-a", "1")

        self.assertEqual([message.retained for message in broker.received], [0])

    def test_topics_begin_with_the_prefix_from_the_settings(self):
        broker = self.broker()
        self.recorder.notify(broker.port, topic_prefix="house/north wing/nvr")

        self.reindex("-a", "1")

        self.assertEqual([message[0] for message in broker.messages()],
                         ["house/north wing/nvr/alert_event/refresh"])

    def test_a_background_run_delivers_its_messages(self):
        broker = self.broker()
        self.recorder.notify(broker.port)

        self.reindex("-n", "-r", "-1")
        process.until(lambda: self.recorder.task() == (0, 1), "the run did not end")
        process.until(lambda: not self.recorder.outbox(), "no message was published")

        self.assert_delivered(broker.messages(), 1, 2, 3)
        self.assert_no_complaint(self.recorder.log())

    def test_more_messages_than_are_sent_at_a_time_arrive_once_in_order(self):
        broker = self.broker()
        self.recorder.notify(broker.port)
        self.recorder.queue(50)

        self.reindex("-e")

        messages = broker.messages()
        self.assert_delivered(messages, *range(1, 51))
        self.assertEqual([message[2]["body"]["n"] for message in messages], list(range(1, 51)))
        self.assertEqual(messages[49][2]["time"], 1700000050)
        self.assert_due()

    def test_a_run_makes_one_connection_and_disconnects(self):
        broker = self.broker()
        self.recorder.notify(broker.port, client_id="recorder 7")

        self.reindex("-r", "-1", "-a", "-1")

        process.until(lambda: "Client recorder 7 disconnected." in broker.output(),
                      "the run did not disconnect")
        self.assertEqual(broker.output().count(" as recorder 7 "), 1)

    def test_without_a_broker_messages_are_a_journal(self):
        self.reindex("-r", "-1")

        self.assertEqual([(row[0], row[1], row[3]) for row in self.recorder.outbox()],
                         [(1, "event/list", 0), (2, "event/list", 0), (3, "event/list", 0)])

    def test_the_journal_of_earlier_runs_is_not_published(self):
        self.reindex("-r", "-1")
        broker = self.broker()
        self.recorder.notify(broker.port)

        self.reindex("-a", "1")

        self.assert_delivered(broker.messages(), 4)
        self.assertEqual([row[0] for row in self.recorder.outbox()], [1, 2, 3])


class QueuedMessages(MqttTest):
    def test_stay_queued_if_the_settings_no_longer_name_a_broker(self):
        self.recorder.queue(2)

        self.reindex("-a", "1")

        self.assertEqual([(row[0], row[3]) for row in self.recorder.outbox()],
                         [(1, 1), (2, 1), (3, 0)])

    def test_are_sent_on_a_second_connection_if_the_first_one_is_lost(self):
        broker = self.until_end(ScriptedBroker(scriptedbroker.acknowledges(1, after=3),
                                               scriptedbroker.acknowledges_all))
        self.recorder.notify(broker.port)

        log = self.reindex("-r", "-1")

        self.assert_no_complaint(log)
        self.assert_due()
        self.assertEqual(broker.connections, 2)
        self.assertEqual([message.payload["id"] for message in broker.received],
                         [1, 2, 3, 2, 3])

    def test_of_two_concurrent_runs_are_published_by_one_of_them(self):
        def acknowledges_after_the_other_run(connection):
            connection.accept()
            for message in connection.messages():
                if message.payload["id"] == 1:
                    self.assertEqual(self.recorder.reindex("-o", "-a", "1")[0], 0)
                connection.acknowledge(message)

        broker = self.until_end(ScriptedBroker(acknowledges_after_the_other_run))
        self.recorder.notify(broker.port, timeout_ms=process.DEADLINE_S * 1000)

        run = self.recorder.start("-r", "1")

        self.assertEqual(wait(run), 0)
        self.assertEqual(broker.connections, 1)
        self.assertEqual([message.payload["id"] for message in broker.received], [1, 2])
        self.assert_due()
