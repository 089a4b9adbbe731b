#!/usr/bin/env python3
"""The service before real brokers: what it publishes, what it receives, and what happens when the
connection is lost.

  ChannelTest.py --list | --cases CLASS[,CLASS] YOXD YOXCTL
"""
import json
import os
import signal
import sys
import unittest

import Service
from Service import Case, Client, Listener, Mosquitto, Nats, Proxy, wait_for

EVERYONE = json.dumps({"filters": [{"default": "true"}]})
NOBODY = json.dumps({"filters": [{"default": "false"}]})
IN_GERMANY = json.dumps({"filters": [{"country": "DE", "value": "true"}, {"default": "false"}]})


def telemetry(recollect=False):
    return json.dumps({"yox-message": {"action": {
        "cmd": "sendTelemetry", "cmd_type": "command",
        "cmd_param": {"dataSet": ["all"], "reCollect": str(recollect).lower()}}}})


class Connected(Case):
    broker_type = Mosquitto
    version = "5"

    def setUp(self):
        super().setUp()
        self.broker = self.broker_type(self.folder, self.certificates)
        self.addCleanup(self.broker.stop)
        self.policy(self.broker.port)
        self.configure(mqtt_version=self.version)
        self.client = Client(self.broker)
        self.listener = self.listen()

    def listen(self):
        listener = Listener(self.client, "yox/devices/#")
        self.addCleanup(listener.close)
        return listener

    def decision(self, applies, content="editor", listener=None):
        def find(messages):
            return [json.loads(payload) for _, topic, payload in messages
                    if topic == self.out(f"decisions/{content}") and payload
                    and json.loads(payload)["applies"] == applies]
        return (listener or self.listener).wait(find, f"decision {content} {applies}")[-1]

    def barrier(self):
        """Returns when the service has published everything that came before."""
        self.barriers = getattr(self, "barriers", 0) + 1
        self.client.publish(f"yox/content/barrier-{self.barriers}", EVERYONE)
        self.decision(True, f"barrier-{self.barriers}")


class Publishing(Connected):
    def test_facts_tags_and_state_are_published_once_and_retained(self):
        self.start()
        self.wait_connected()
        self.reload()  # everything is looked at again
        self.barrier()
        for leaf in ("facts", "tags", "state"):
            self.assertEqual(len(self.listener.payloads(self.out(leaf))), 1, leaf)
        facts = json.loads(self.listener.payloads(self.out("facts"))[0])
        self.assertEqual((facts["id"], facts["country"]), ("device-1", "DE"))
        self.assertNotIn("serial_number", facts)
        self.assertIn("tags", json.loads(self.listener.payloads(self.out("tags"))[0]))
        later = self.listen()
        later.wait(lambda messages: {(True, self.out(leaf)) for leaf in ("facts", "tags", "state")}
                   <= {message[:2] for message in messages}, "the retained documents")

    def test_a_change_of_the_device_is_published(self):
        self.start()
        self.wait_connected()
        self.listener.wait(lambda messages: self.listener.payloads(self.out("facts")), "the facts")
        profile = json.loads(self.device.read_text())
        profile["region"]["country_code"] = "US"
        self.device.write_text(json.dumps(profile))
        facts = self.listener.wait(
            lambda _: len(found := self.listener.payloads(self.out("facts"))) > 1 and found, "new facts")
        self.assertEqual([json.loads(text)["country"] for text in facts], ["DE", "US"])

    def test_the_broker_says_that_a_device_is_gone(self):
        self.start()
        self.wait_connected()
        self.listener.wait(lambda _: self.listener.payloads(self.out("state")), "online")
        self.kill(signal.SIGTERM)
        self.listener.wait(lambda _: '{"online":false}' in self.listener.payloads(self.out("state")),
                           "offline")
        self.start()
        self.wait_connected()
        self.listener.wait(lambda _: len(self.listener.payloads(self.out("state"))) > 2, "online again")
        self.kill(signal.SIGKILL)
        self.listener.wait(lambda _: self.listener.payloads(self.out("state"))[3:] == ['{"online":false}'],
                           "the broker's own message")


class Deciding(Connected):
    def test_a_list_is_decided_when_it_or_the_device_changes(self):
        self.client.publish("yox/content/editor", IN_GERMANY, retained=True)
        self.start()
        first = self.decision(True)
        self.assertEqual(first["reason"], "Filter [0]: true; ")
        profile = json.loads(self.device.read_text())
        profile["region"]["country_code"] = "US"
        self.device.write_text(json.dumps(profile))
        self.assertEqual(self.decision(False)["reason"], "Filter [0]: country = false; Filter [1]: default = false; ")
        self.client.publish("yox/content/editor", EVERYONE, retained=True)
        self.listener.wait(lambda _: len(self.listener.payloads(self.out("decisions/editor"))) == 3,
                           "the third decision")

    def test_a_list_is_decided_when_the_day_changes(self):
        profile = json.loads(self.device.read_text())
        def set_clock(time):
            profile["clock"] = {"now": f"2026-03-01T{time}", "time_zone": "Europe/Berlin"}
            self.device.write_text(json.dumps(profile))
        set_clock("12:00:00")
        self.client.publish("yox/content/editor", json.dumps({"filters": [
            {"date_range": "2026-03-02|2026-03-05", "value": "true"}, {"default": "false"}]}), retained=True)
        self.start()
        self.decision(False)
        set_clock("23:59:58")
        # Midnight, and as long as a busy machine may take to notice it.
        self.assertRegex(self.decision(True)["decided"], "^2026-03-01T23:0[0-2]:")

    def test_a_clock_set_a_year_on_and_back_decides_anew(self):
        profile = json.loads(self.device.read_text())
        def set_clock(now):
            profile["clock"] = {"now": now, "time_zone": "UTC"}
            self.device.write_text(json.dumps(profile))
        set_clock("2026-03-01T12:00:00")
        self.client.publish("yox/content/editor", json.dumps({"filters": [
            {"date_range": "2026-01-01|2026-12-31", "value": "true"}, {"default": "false"}]}), retained=True)
        self.start()
        self.decision(True)
        set_clock("2027-03-01T12:00:00")
        self.decision(False)
        set_clock("2025-03-01T12:00:00")
        self.listener.wait(lambda _: len(self.listener.payloads(self.out("decisions/editor"))) == 2 and
                           self.status.json()["connection"]["state"] == "connected", "still connected")
        set_clock("2026-03-01T12:00:00")
        self.listener.wait(lambda _: [json.loads(text)["applies"] for text in
                                      self.listener.payloads(self.out("decisions/editor"))]
                           == [True, False, True], "back again")

    def test_an_unreadable_list_is_refused_and_the_former_stays(self):
        self.client.publish("yox/content/editor", EVERYONE, retained=True)
        self.start()
        self.decision(True)
        self.client.publish("yox/content/editor", '{"filters": [{"country": 7}]}', retained=True)
        report = json.loads(self.listener.wait(
            lambda _: self.listener.payloads(self.out("reports")), "a report")[0])
        self.assertEqual((report["kind"], report["subject"], report["error"]),
                         ("list-refused", "editor", "line 1, column 26: filters[0].country: expected a string, found a number"))
        status = self.status.json()
        self.assertEqual([entry["applies"] for entry in status["lists"]], [True])
        self.assertEqual([entry["content"] for entry in status["refused"]], ["editor"])
        # It is not reported again when the broker sends it again.
        self.kill(signal.SIGTERM)
        self.assertEqual(len(self.listener.payloads(self.out("reports"))), 1)

    def test_a_list_can_be_withdrawn(self):
        self.client.publish("yox/content/editor", EVERYONE, retained=True)
        self.start()
        self.decision(True)
        self.client.withdraw("yox/content/editor")
        self.listener.wait(lambda _: self.listener.payloads(self.out("decisions/editor"))[-1] == "",
                           "the withdrawn decision")
        self.assertEqual(self.status.json()["lists"], [])

    def test_decisions_are_kept_over_a_restart_without_a_broker(self):
        self.client.publish("yox/content/editor", EVERYONE, retained=True)
        self.start()
        self.decision(True)
        self.kill()
        self.broker.stop()
        self.start()
        self.assertEqual([(entry["content"], entry["applies"]) for entry in self.status.json()["lists"]],
                         [("editor", True)])


class Receiving(Connected):
    def test_sendTelemetry_publishes_again_and_is_throttled(self):
        self.start()
        self.wait_connected()
        self.listener.wait(lambda _: self.listener.payloads(self.out("facts")), "the facts")
        self.client.publish(self.incoming("channel"), telemetry())
        facts = self.listener.wait(
            lambda _: len(found := self.listener.payloads(self.out("facts"))) > 1 and found, "the facts again")
        self.assertEqual(facts[0], facts[1])
        self.client.publish(self.incoming("channel"), telemetry(recollect=True))
        wait_for(lambda: self.status.json()["connection"]["handled"] == 2, "the second command")
        self.barrier()
        self.assertEqual(len(self.listener.payloads(self.out("facts"))), 2)

    def test_sendTelemetry_collects_anew_if_asked_to(self):
        self.start()
        self.wait_connected()
        self.listener.wait(lambda _: self.listener.payloads(self.out("tags")), "the tags")
        self.client.publish(self.incoming("channel"), telemetry(recollect=True))
        self.listener.wait(lambda _: len(self.listener.payloads(self.out("tags"))) == 2, "the tags again")

    def test_messages_become_notifications_and_are_not_sent_back(self):
        self.start()
        self.wait_connected()
        self.client.publish(self.incoming("channel"), json.dumps(
            {"kxp-message": {"alert": {"notify": "deviceactionstate", "param": {"value": "3"}}}}))
        self.client.publish(self.incoming("notification"), json.dumps(
            {"notification_type": "yox", "topicId": 41, "eventState": 7, "payload": "", "cmd": None, "cmd_type": None}))
        wait_for(lambda: self.status.json()["connection"]["handled"] == 2, "two notifications")
        self.barrier()
        self.assertEqual(self.listener.payloads(self.out("channel")) +
                         self.listener.payloads(self.out("notification")), [])

    def test_what_is_no_message_is_reported(self):
        self.start()
        self.wait_connected()
        self.client.publish(self.incoming("notification"), '{"n": 1}')
        self.client.publish(self.incoming("channel"), "garbage")
        reports = self.listener.wait(
            lambda _: len(found := self.listener.payloads(self.out("reports"))) == 2 and found, "two reports")
        self.assertIn('found {\\"n\\": 1}', reports[0])
        self.assertIn("not JSON", reports[1])
        self.assertEqual(self.status.json()["connection"]["unreadable"], 2)


class ReceivingOverOldProtocol(Receiving):
    version = "3.1.1"


class DecidingBeforeNats(Deciding):
    broker_type = Nats
    version = "3.1.1"


class ReceivingBeforeNats(Receiving):
    broker_type = Nats
    version = "3.1.1"


class Flood(Connected):
    """Ten thousand messages at the rate that the broker gives."""

    COUNT = 10_000

    def flood(self, topic, lines):
        import subprocess
        subprocess.run(["mosquitto_pub", *self.client.options, "-q", "1", "-t", topic, "-l"],
                       input="".join(lines).encode(), check=True, timeout=300)

    def memory(self):
        with open(f"/proc/{self.service.process.pid}/status") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))

    def test_nothing_is_lost_doubled_or_reordered(self):
        self.start()
        self.wait_connected()
        self.flood(self.incoming("notification"), (f'{{"n": {n}}}\n' for n in range(self.COUNT)))
        reports = self.listener.wait(
            lambda _: len(found := self.listener.payloads(self.out("reports"))) >= self.COUNT and found,
            "all reports", 240)
        numbers = [int(json.loads(report)["error"].rsplit(":", 1)[1].strip(" }")) for report in reports]
        self.assertEqual(numbers, list(range(self.COUNT)))
        self.assertEqual(self.status.json()["queue"]["dropped"], 0)

    def test_all_reach_the_bus_and_memory_stays(self):
        self.start()
        self.wait_connected()
        alert = json.dumps({"kxp-message": {"alert": {"notify": "x", "param": {"value": "3"}}}}) + "\n"
        def send(total):
            self.flood(self.incoming("channel"), [alert] * (self.COUNT // 2))
            wait_for(lambda: self.status.json()["connection"]["handled"] >= total, f"{total} handled", 240)
        send(self.COUNT // 2)
        before = self.memory()
        send(self.COUNT)
        self.assertEqual(self.status.json()["connection"]["handled"], self.COUNT)
        if not Service.is_sanitized():
            self.assertLess(self.memory() - before, 4_096)  # KiB


class Lost(Connected):
    """The connection is lost, in every state."""

    def setUp(self):
        super().setUp()
        self.proxy = Proxy(self.broker.port)
        self.addCleanup(self.proxy.close)
        self.policy(self.proxy.port)

    def test_a_message_whose_acknowledgement_was_lost_is_handled_once(self):
        self.start()
        self.wait_connected()
        self.barrier()
        self.proxy.hold()
        self.client.publish(self.incoming("notification"), '{"n": 1}')
        wait_for(lambda: self.status.json()["connection"]["unreadable"] == 1, "the message")
        self.proxy.cut()
        wait_for(lambda: self.status.json()["connection"]["repeated"] == 1, "the repetition")
        self.client.publish(self.incoming("notification"), '{"n": 2}')
        self.listener.wait(lambda _: any('\\"n\\": 2' in text for text in self.listener.payloads(self.out("reports"))),
                           "the next message")
        self.assertEqual(self.status.json()["connection"]["unreadable"], 2)

    def test_it_is_handled_once_by_two_processes_too(self):
        self.configure(queue_on_disk=True)
        self.start()
        self.wait_connected()
        self.barrier()
        self.proxy.hold()
        self.client.publish(self.incoming("notification"), '{"n": 1}')
        wait_for(lambda: self.status.json()["connection"]["unreadable"] == 1, "the message")
        self.kill(signal.SIGKILL)
        self.proxy.cut()
        self.start()
        wait_for(lambda: self.status.json()["connection"]["repeated"] == 1, "the repetition")
        self.assertEqual(self.status.json()["connection"]["unreadable"], 0)

    def test_it_is_recognised_after_the_file_was_shortened(self):
        self.start()
        self.wait_connected()
        self.barrier()
        self.proxy.hold()
        topic, payload = self.incoming("notification"), '{"n": 1}'
        self.client.publish(topic, payload)
        wait_for(lambda: self.status.json()["connection"]["unreadable"] == 1, "the message")
        self.kill(signal.SIGKILL)
        self.proxy.cut()
        file = self.state / "State/yoxd/inbox.jsonl"
        packet = json.loads(file.read_text().splitlines()[0])["packet"]
        fingerprint = 14695981039346656037  # FNV-1a, 64 bits
        for byte in f"{topic}\n{payload}".encode():
            fingerprint = (fingerprint ^ byte) * 1099511628211 % 2**64
        file.write_text(json.dumps({"packet": packet, "fingerprint": fingerprint}) + "\n")
        self.start()
        wait_for(lambda: self.status.json()["connection"]["repeated"] == 1, "the repetition")
        self.assertEqual(self.status.json()["connection"]["unreadable"], 0)

    def test_equal_messages_are_handled_each(self):
        self.start()
        self.wait_connected()
        self.barrier()
        for connection in (1, 2):
            self.wait_connected(connection)
            for _ in range(3):
                self.client.publish(self.incoming("notification"), '{"n": 1}')
            wait_for(lambda: self.status.json()["connection"]["unreadable"] == 3 * connection, "three more")
            self.barrier()  # the acknowledgements were sent before its decision
            self.proxy.cut()
        self.wait_connected(3)
        self.assertEqual(self.status.json()["connection"]["repeated"], 0)

    def test_the_broker_restarts_and_everything_is_published_again(self):
        self.client.publish("yox/content/editor", EVERYONE, retained=True)
        self.start()
        self.decision(True)
        for _ in range(3):
            self.broker.stop()
            wait_for(lambda: self.status.json()["connection"]["state"] != "connected", "the loss")
            self.broker.start()
            after = self.listen()  # the broker has forgotten all that was retained
            after.wait(lambda messages: {self.out(leaf) for leaf in
                                         ("facts", "tags", "state", "decisions/editor")}
                       <= {message[1] for message in messages}, "the documents")

    def test_a_slow_and_torn_connection_delivers_in_order(self):
        self.proxy.piece = 7
        self.start()
        self.wait_connected()
        for n in range(30):
            self.client.publish(self.incoming("notification"), f'{{"n": {n}}}')
            if n % 10 == 9:
                wait_for(lambda: self.status.json()["connection"]["unreadable"] == n + 1, f"message {n}")
                self.proxy.cut()
        # At least once: a report whose acknowledgement was cut off is sent again.
        self.listener.wait(lambda _: set(self.numbers()) == set(range(30)), "all reports")
        self.assertEqual(list(dict.fromkeys(self.numbers())), list(range(30)))

    def numbers(self):
        return [int(json.loads(report)["error"].rsplit(":", 1)[1].strip(" }"))
                for report in self.listener.payloads(self.out("reports"))]

    def test_a_full_queue_drops_the_oldest_and_counts_them(self):
        self.configure(queue_messages=5)
        self.start()
        self.wait_connected()
        self.barrier()
        # The service receives, and its own messages do not arrive: each report waits.
        self.proxy.hold()
        # Twenty are on their way, five wait, and the five before those make room.
        for n in range(30):
            self.client.publish("yox/content/bad-%d" % n, '{"filters": 1}')
        wait_for(lambda: self.status.json()["queue"]["dropped"] == 5, "five dropped")
        self.proxy.cut()
        subjects = self.listener.wait(
            lambda _: len(found := self.listener.payloads(self.out("reports"))) == 25 and found, "25 reports")
        self.assertEqual([json.loads(text)["subject"] for text in subjects],
                         [f"bad-{n}" for n in range(30) if not 20 <= n < 25])


class Trusting(Connected):
    """TLS checks are never off."""

    def refused(self, reason):
        self.start()
        status = wait_for(lambda: (s := self.status.json())["connection"]["failures"] > 0 and s, "a failure")
        self.assertEqual(status["connection"]["connections"], 0)
        self.assertIn(reason, status["connection"]["problem"])
        self.assertTrue(any(error["gateway"] == "MqttGateway" for error in status["errors"]["counts"]))
        return status

    def with_server(self, name, **properties):
        self.certificates.server(name, **properties)
        self.broker.stop()
        self.broker.start(name)

    def test_an_expired_certificate_is_refused(self):
        self.with_server("expired", validity=Service.Certificates.PAST)
        self.refused("certificate has expired")

    def test_a_certificate_of_another_host_is_refused(self):
        self.with_server("other-host", names="DNS:other.example")
        self.refused("host name")

    def test_a_certificate_of_an_unknown_authority_is_refused(self):
        self.certificates.make("stranger", extensions="basicConstraints=critical,CA:TRUE")
        self.with_server("unknown", issuer="stranger")
        self.refused("unable to get local issuer certificate")

    def test_a_connection_without_tls_is_not_made(self):
        policy = json.loads((self.folder / "policy.json").read_text())
        policy["yox_config"]["platform_policy"]["uri"]["mqtt_baseuri"] = f"mqtt://127.0.0.1:{self.broker.port}"
        (self.folder / "policy.json").write_text(json.dumps(policy))
        self.start()
        self.assertIn("expected mqtts://HOST[:PORT]", self.status.json()["connection"]["problem"])

    def test_the_client_certificate_is_shown(self):
        self.certificates.make("device-1", "root")
        self.broker.stop()
        self.broker.extra = (f"cafile {self.certificates.path('root')}\nrequire_certificate true\n"
                             "use_identity_as_username true")
        self.broker.start()
        self.refused("")
        self.kill()
        self.configure(client_certificate=str(self.certificates.path("device-1")),
                       client_key=str(self.certificates.key("device-1")))
        self.certificates.key("device-1").chmod(0o600)
        self.start()
        self.wait_connected()


class Permitted(Case):
    """The broker with examples/broker/acl: a device reaches its own topics alone."""

    def test_another_device_can_neither_read_nor_send(self):
        for name in ("device-1", "device-2", "operator"):
            self.certificates.make(name, "root")
        self.certificates.key("device-1").chmod(0o600)
        broker = Mosquitto(self.folder, self.certificates, extra=(
            f"cafile {self.certificates.path('root')}\nrequire_certificate true\n"
            f"use_identity_as_username true\nacl_file {Service.ROOT / 'examples/broker/acl'}"))
        self.addCleanup(broker.stop)
        self.policy(broker.port)
        self.configure(client_certificate=str(self.certificates.path("device-1")),
                       client_key=str(self.certificates.key("device-1")))
        operator, other = (Client(broker, certificate=name) for name in ("operator", "device-2"))
        seen, stolen = Listener(operator, "yox/devices/#"), Listener(other, "#")
        self.addCleanup(seen.close)
        self.addCleanup(stolen.close)
        self.start()
        self.wait_connected()
        seen.wait(lambda _: seen.payloads(self.out("facts")), "the facts")
        other.publish(self.incoming("notification"), '{"n": 1}')
        operator.publish(self.incoming("notification"), '{"n": 2}')
        report = seen.wait(lambda _: seen.payloads(self.out("reports")), "the operator's message")
        self.assertIn('\\"n\\": 2', report[0])
        operator.publish("yox/content/barrier", EVERYONE, retained=True)
        stolen.wait(lambda messages: messages, "the list")
        self.assertEqual({topic for _, topic, _ in stolen.messages}, {"yox/content/barrier"})


if __name__ == "__main__":
    Service.main(sys.argv)
