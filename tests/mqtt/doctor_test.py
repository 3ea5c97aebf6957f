"""krctl doctor and the broker: it connects to check the settings, and publishes nothing."""

import fcntl
import json
import os
import shutil
import subprocess

from support import process, scriptedbroker
from support.broker import ClosedPort
from support.case import TIMEOUT_MS, MqttTest
from support.certificates import Authority
from support.recorder import PACKAGE_ROOT, SANDBOX
from support.scriptedbroker import ScriptedBroker


class DoctorTest(MqttTest):
    def diagnosis(self, subject):
        """Returns the result of one check: state, message, remedy."""
        done = subprocess.run(
            [*process.WITH_TEST, SANDBOX, self.recorder.root,
             os.path.join(self.recorder.bin_dir, "krctl"), "doctor", "--json"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=False,
            timeout=process.DEADLINE_S)
        found, = (check for check in json.loads(done.stdout)["checks"]
                  if check["check"] == subject)
        self.assertEqual(done.returncode, int(found["state"] == "problem"), done.stdout)
        return found["state"], found["message"], found["remedy"]

    def assert_accepted(self, server):
        self.assertEqual(self.diagnosis("broker"),
                         ("ok", f"127.0.0.1:{server.port} accepts connections from this recorder", None))

    def assert_problem(self, reason):
        state, message, remedy = self.diagnosis("broker")
        self.assertEqual((state, remedy), (
            "problem", f"start the broker, or correct [notifications] in {PACKAGE_ROOT}/etc/kestora.toml; "
            "messages stay queued until it responds"))
        self.assertIn(reason, message)


class Backlog(DoctorTest):
    def test_is_reported_and_not_published(self):
        server = self.broker()
        self.recorder.notify(server.port)
        self.recorder.queue(2)

        self.assert_accepted(server)
        state, message, remedy = self.diagnosis("outbox")

        self.assertEqual((state, remedy),
                         ("warning", "run krctl run, which publishes them if the broker responds"))
        self.assertRegex(message, "^2 messages are queued, the oldest since 2023-11-1")
        self.assert_delivered(server.messages())
        self.assert_due(1, 2)


class Publication(DoctorTest):
    def test_is_not_interrupted_by_a_second_connection_with_the_same_client_id(self):
        server = self.broker()
        self.recorder.notify(server.port, client_id="recorder-1")
        with open(self.recorder.path("var/db/outbox.lock"), "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)

            self.assertEqual(self.diagnosis("broker"),
                             ("ok", f"127.0.0.1:{server.port} not checked: the last run is still "
                              "publishing to it", None))
        self.assert_accepted(server)

    def test_of_queued_messages_is_not_a_problem_while_a_run_publishes_them(self):
        self.recorder.notify(self.broker().port)
        self.recorder.queue(2)
        with open(self.recorder.path("var/db/outbox.lock"), "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            state, message, _ = self.diagnosis("outbox")
        self.assertEqual(state, "ok")
        self.assertIn("the last run is publishing them", message)
        self.assertEqual(self.diagnosis("outbox")[0], "warning")


class Password(DoctorTest):
    def test_is_ok_only_if_the_broker_accepts_it(self):
        passwords = os.path.join(self.folder, "passwords")
        process.run(["mosquitto_passwd", "-b", "-c", passwords, "recorder", "right"])
        server = self.broker("allow_anonymous false", f"password_file {passwords}")
        for password, is_right in (("right", True), ("wrong", False)):
            self.recorder.notify(server.port, user="recorder", password_file=self.recorder.file(
                "etc/mqtt.password", password, 0o600))

            if is_right:
                self.assert_accepted(server)
            else:
                self.assert_problem("not authorised")


class Certificate(DoctorTest):
    def test_must_be_from_the_authority_that_the_settings_name(self):
        authority, other = (Authority(self.folder, name) for name in ("authority", "other"))
        server = self.broker(*authority.server_lines("IP:127.0.0.1"))
        for trusted, is_right in ((authority, True), (other, False)):
            shutil.copy(trusted.certificate, self.recorder.path("etc/ca.crt"))
            self.recorder.notify(server.port, tls=True, ca_file=f"{PACKAGE_ROOT}/etc/ca.crt")

            if is_right:
                self.assert_accepted(server)
            else:
                self.assert_problem("certificate verify failed")


class MissingResponse(DoctorTest):
    def test_is_reported_after_the_timeout_of_the_settings(self):
        server = self.until_end(ScriptedBroker(scriptedbroker.never_answers))
        self.recorder.notify(server.port, timeout_ms=TIMEOUT_MS)

        self.assert_problem(f"no answer within {TIMEOUT_MS} ms")

    def test_of_a_closed_port_is_reported(self):
        port = self.until_end(ClosedPort())
        self.recorder.notify(port.port)

        self.assert_problem("Connection refused")
