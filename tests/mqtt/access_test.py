"""Passwords and certificates: without valid ones no message is sent."""

import os
import shutil

from support import process, scriptedbroker
from support.case import MqttTest
from support.certificates import Authority
from support.scriptedbroker import ScriptedBroker


class Password(MqttTest):
    def setUp(self):
        super().setUp()
        passwords = os.path.join(self.folder, "passwords")
        process.run(["mosquitto_passwd", "-b", "-c", passwords, "recorder", "pass 'word' \\"])
        self.server = self.broker("allow_anonymous false", f"password_file {passwords}")

    def notify(self, port, password, mode=0o600):
        file = self.recorder.file("etc/mqtt.password", password, mode)
        self.recorder.notify(port, user="recorder", password_file=file)

    def test_a_correct_one_is_accepted(self):
        self.notify(self.server.port, "pass 'word' \\\n")

        log = self.reindex("-r", "-1")

        self.assert_delivered(self.server.messages(), 1, 2, 3)
        self.assert_no_complaint(log)

    def test_a_wrong_one_is_logged_and_messages_stay_queued(self):
        self.notify(self.server.port, "password\n")

        log = self.reindex("-r", "-1")

        self.assert_one_warning(log, "can't connect: Connection Refused: not authorised;")
        self.assertNotIn("password", "\n".join(log))
        self.assert_delivered(self.server.messages())
        self.assert_due(1, 2, 3)

    def test_a_missing_one_is_logged_and_messages_stay_queued(self):
        self.recorder.notify(self.server.port)

        log = self.reindex("-r", "-1")

        self.assert_one_warning(log, "can't connect: Connection Refused: not authorised;")
        self.assert_due(1, 2, 3)

    def test_a_file_that_others_can_read_is_refused_before_anything_is_sent(self):
        broker = self.until_end(ScriptedBroker(scriptedbroker.acknowledges_all))
        self.notify(broker.port, "pass 'word' \\\n", mode=0o644)

        log = self.reindex("-r", "-1")

        self.assert_one_warning(log, "the password file: /var/packages/Kestora/etc/mqtt.password is "
                                     "open to others")
        self.assertEqual(broker.connections, 0)
        self.assert_due(1, 2, 3)


class Tls(MqttTest):
    def setUp(self):
        super().setUp()
        self.authority = Authority(self.folder, "authority")

    def run_against(self, broker, trusted, host="127.0.0.1"):
        shutil.copy(trusted.certificate, self.recorder.path("etc/ca.crt"))
        self.recorder.notify(broker.port, host=host, tls=True,
                             ca_file="/var/packages/Kestora/etc/ca.crt")
        return self.reindex("-r", "-1")

    def assert_refused(self, broker, log, reason):
        self.assert_one_warning(log, "can't connect: ", reason)
        self.assert_delivered(broker.messages())
        self.assert_due(1, 2, 3)

    def test_a_valid_certificate_is_accepted(self):
        broker = self.broker(*self.authority.server_lines("IP:127.0.0.1"))

        log = self.run_against(broker, self.authority)

        self.assert_delivered(broker.messages(), 1, 2, 3)
        self.assert_no_complaint(log)

    def test_a_certificate_of_another_authority_is_refused(self):
        broker = self.broker(*Authority(self.folder, "other").server_lines("IP:127.0.0.1"))

        log = self.run_against(broker, self.authority)

        self.assert_refused(broker, log, "certificate verify failed")

    def test_a_certificate_for_another_host_is_refused(self):
        broker = self.broker(*self.authority.server_lines("DNS:elsewhere.example"))

        log = self.run_against(broker, self.authority)

        self.assert_refused(broker, log, "host name verification failed")

    def test_the_system_s_authorities_are_trusted_if_none_is_named(self):
        broker = self.broker(*self.authority.server_lines("IP:127.0.0.1"))
        self.recorder.notify(broker.port, tls=True)

        log = self.reindex("-r", "-1")

        self.assert_refused(broker, log, "certificate verify failed")

    def test_a_broker_without_tls_receives_no_message(self):
        broker = self.broker()

        log = self.run_against(broker, self.authority)

        self.assert_refused(broker, log, "broker 127.0.0.1:")

    def test_a_run_survives_the_end_of_a_connection_to_which_it_writes(self):
        broker = self.until_end(ScriptedBroker(
            scriptedbroker.acknowledges(16), tls=self.authority.server_context("IP:127.0.0.1")))
        self.recorder.queue(40)

        log = self.run_against(broker, self.authority)

        self.assert_one_warning(log, "broker 127.0.0.1:")
        self.assert_due(*range(17, 44))

    def test_an_unreadable_list_of_authorities_is_logged(self):
        broker = self.broker(*self.authority.server_lines("IP:127.0.0.1"))
        self.recorder.notify(broker.port, tls=True, ca_file="/var/packages/Kestora/etc/none.crt")

        log = self.reindex("-r", "-1")

        self.assert_one_warning(log, "can't read the certificates in "
                                     "/var/packages/Kestora/etc/none.crt: No such file")
        self.assert_due(1, 2, 3)
