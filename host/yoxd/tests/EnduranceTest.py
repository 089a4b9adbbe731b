#!/usr/bin/env python3
"""The service over time: killed at random moments, idle, and through simulated days.

  EnduranceTest.py --list | --cases CLASS[,CLASS] YOXD YOXCTL YOXD_OWN_TRUST

YOXD_TEST_KILLS=100 makes the first as long as it was meant.
"""
import collections
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import unittest

import Service
from Service import Client, LIMIT, Listener, Mosquitto, wait_for
from ChannelTest import Connected, EVERYONE, NOBODY


class Killed(Connected):
    """kill -9 at random moments, while lists change."""

    ROUNDS = int(os.environ.get("YOXD_TEST_KILLS", 8))

    def test_no_acknowledged_decision_is_lost_and_the_state_is_whole(self):
        dice = random.Random(20)
        folder = self.state / "State/yoxd"
        acknowledged = None
        for number in range(self.ROUNDS):
            self.start()
            applies = number % 2 == 0
            self.client.publish("yox/content/editor", EVERYONE if applies else NOBODY, retained=True)
            end = dice.uniform(0, 0.3)
            try:
                self.service.process.wait(timeout=end)
            except subprocess.TimeoutExpired:
                pass
            published = [json.loads(text) for text in self.listener.payloads(self.out("decisions/editor")) if text]
            self.kill(signal.SIGKILL)
            for file in [*folder.glob("*.json"), *folder.glob("content/*.json")]:
                json.loads(file.read_text())
            if published and acknowledged != published[-1]:
                # What the broker had when the process was killed is kept, or replaced by a later one.
                acknowledged = published[-1]
                kept = json.loads((folder / "content/editor.json").read_text())
                texts = (EVERYONE, NOBODY)
                self.assertIn(kept["list"], texts)
                if kept["applies"] == acknowledged["applies"]:
                    self.assertEqual(kept["reason"], acknowledged["reason"])
        self.assertIsNotNone(acknowledged)
        # In the end everything retained is right.
        self.client.publish("yox/content/editor", NOBODY, retained=True)
        self.start()
        self.wait_connected()
        self.barrier()
        later = self.listen()
        later.wait(lambda messages: len(messages) >= 5, "the retained documents")
        self.decision(False, listener=later)
        self.assertEqual(json.loads(later.payloads(self.out("facts"))[0])["id"], "device-1")
        self.assertTrue(json.loads(later.payloads(self.out("state"))[0])["online"])

    def test_no_message_that_was_acknowledged_is_lost(self):
        # A queue of one: messages are handled one by one, while the others were acknowledged and wait.
        self.configure(queue_messages=1, queue_on_disk=True)
        count, file = 1_000, self.state / "State/yoxd/inbox.jsonl"
        everything = set(range(count))
        self.start()
        self.wait_connected()
        self.barrier()
        sender = subprocess.Popen(
            ["mosquitto_pub", *self.client.options, "-q", "1", "-t", self.incoming("notification"), "-l"],
            stdin=subprocess.PIPE)
        self.addCleanup(sender.wait)
        sender.stdin.write("".join(f'{{"n": {n}}}\n' for n in range(count)).encode())
        sender.stdin.close()
        def waiting():
            """How many messages a process that is killed now has acknowledged and not handled."""
            lines = file.read_text().splitlines() if file.exists() else []
            return len(lines) - 2 * sum('"handled"' in line for line in lines)
        for _ in range(5):
            wait_for(lambda: waiting() > 5 or self.numbers() >= everything, "messages that wait")
            self.kill(signal.SIGKILL)
            print("waiting when killed:", waiting(), file=sys.stderr)
            self.start()
        self.listener.wait(lambda _: self.numbers() >= everything, "all reports")

    def numbers(self):
        return {int(json.loads(report)["error"].rsplit(":", 1)[1].strip(" }"))
                for report in self.listener.payloads(self.out("reports"))}

    def test_a_queue_on_disk_survives(self):
        self.configure(queue_on_disk=True)
        self.start()
        self.wait_connected()
        self.barrier()
        for n in range(50):
            self.client.publish(f"yox/content/bad-{n}", '{"filters": 1}')
        wait_for(lambda: len(self.status.json()["refused"]) == 50, "fifty refusals")
        self.kill(signal.SIGKILL)
        self.start()
        self.listener.wait(lambda _: {json.loads(text)["subject"] for text in self.listener.payloads(self.out("reports"))}
                           == {f"bad-{n}" for n in range(50)}, "all reports")


class Inboxes(Connected):
    """The file of what was received and not handled."""

    @property
    def file(self):
        return self.state / "State/yoxd/inbox.jsonl"

    def write(self, *lines, end="\n"):
        self.file.parent.mkdir(parents=True, mode=0o700)
        self.file.write_text("\n".join(line if isinstance(line, str) else json.dumps(line) for line in lines) + end)

    def message(self, number, payload="{}", packet=0):
        return {"number": number, "packet": packet, "topic": self.incoming("notification"), "payload": payload}

    def test_what_was_handled_is_not_handled_again_and_the_file_stays_small(self):
        self.start()
        self.wait_connected()
        alert = json.dumps({"kxp-message": {"alert": {"notify": "x", "param": {"value": "3"}}}}) + "\n"
        count = 3_000
        subprocess.run(["mosquitto_pub", *self.client.options, "-q", "1", "-t", self.incoming("channel"), "-l"],
                       input=alert.encode() * count, check=True, timeout=LIMIT)
        wait_for(lambda: self.status.json()["connection"]["handled"] == count, "all of them")
        def waiting():
            waits = set()
            for line in map(json.loads, self.file.read_text().splitlines()):
                waits -= set(line.get("handled", ()))
                waits |= {line["number"]} if "number" in line else set()
            return waits
        wait_for(lambda: not waiting(), "the marks")
        # As many lines were written for the messages, and as many for their marks at most.
        self.assertLess(len(self.file.read_text().splitlines()), 4_096)
        self.kill(signal.SIGKILL)
        self.start()
        self.wait_connected()
        self.barrier()
        connection = self.status.json()["connection"]
        self.assertEqual((connection["handled"], connection["unreadable"]), (0, 0))

    def test_a_process_continues_where_the_former_one_ended(self):
        self.write(self.message(1), self.message(2, '{"n": 2}'), "garbage", {"handled": [1]}, self.message(3, '{"n": 3}'),
                   '{"number": 4, "pack', end="")
        self.start()
        self.wait_connected()
        reports = self.listener.wait(
            lambda _: len(found := self.listener.payloads(self.out("reports"))) == 2 and found, "two reports")
        self.assertEqual([json.loads(report)["error"].rsplit("found ", 1)[1] for report in reports],
                         ['{"n": 2}', '{"n": 3}'])
        # New ones are numbered after them, and are handled and marked.
        self.client.publish(self.incoming("notification"), '{"n": 4}')
        wait_for(lambda: self.status.json()["connection"]["unreadable"] == 3, "the new one")
        self.assertIn('"number":4', self.file.read_text())
        self.kill(signal.SIGKILL)
        self.start()
        self.barrier()
        self.assertEqual(self.status.json()["connection"]["unreadable"], 0)

    def test_a_long_file_is_shortened_to_what_is_needed(self):
        self.write(*({"handled": [number]} for number in range(5_000)), self.message(5_001, packet=9))
        self.start()
        wait_for(lambda: self.status.json()["connection"]["unreadable"] == 1, "the message")
        lines = [json.loads(line) for line in self.file.read_text().splitlines()]
        self.assertEqual([sorted(line) for line in lines],
                         [["fingerprint", "packet"], ["number", "packet", "payload", "topic"], ["handled"]])
        self.assertEqual((lines[0]["packet"], lines[1]["packet"]), (9, 0))


@unittest.skipUnless(shutil.which("strace"), "needs strace")
class Idle(Connected):
    def test_nothing_wakes_up_but_the_keep_alive(self):
        if Service.is_sanitized():
            self.skipTest("the sanitizer's thread wakes up")
        seconds = 12
        self.configure(keep_alive_seconds=5)
        profile = json.loads(self.device.read_text())
        profile.pop("clock", None)  # a clock that shows a given time has to be moved once a second
        self.device.write_text(json.dumps(profile))
        self.start()
        self.wait_connected()
        self.barrier()
        log = self.folder / "trace"
        tracer = subprocess.Popen(
            ["strace", "-f", "-qq", "-ttt", "-o", str(log), "-p", str(self.service.process.pid)],
            stderr=subprocess.DEVNULL)
        try:
            tracer.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            tracer.send_signal(signal.SIGINT)
            tracer.wait(LIMIT)
        # A thread wakes up when a call that blocks returns. What follows within 50 ms is the same time.
        wakes = collections.defaultdict(list)
        for line in log.read_text().splitlines():
            match = re.match(r"(\d+) +(\d+\.\d+) ", line)
            if match and ("resumed" in line or "= " in line):
                times = wakes[match.group(1)]
                moment = float(match.group(2))
                if not times or moment - times[-1][1] > 0.05:
                    times.append([moment, moment])
                times[-1][1] = moment
        wakes = {thread: len(times) for thread, times in wakes.items()}
        print("wake-ups per thread in", seconds, "s:", wakes, file=sys.stderr)
        # Two or three keep-alives in twelve seconds, each with an answer; and the tracer's own arrival.
        self.assertLessEqual(sum(wakes.values()), 8 + len(wakes), log.read_text()[-4_000:])


class Days(Connected):
    """Simulated days pass in seconds."""

    def memory(self):
        with open(f"/proc/{self.service.process.pid}/status") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("VmRSS"))

    def test_memory_stays_while_days_pass(self):
        profile = json.loads(self.device.read_text())
        profile["clock"] = {"now": "2026-03-01T00:00:00", "time_zone": "Europe/Berlin"}
        self.device.write_text(json.dumps(profile))
        self.client.publish("yox/content/editor", json.dumps(
            {"filters": [{"date_function": "2026-03-01|28|linear", "value": "true"}, {"default": "false"}]}), retained=True)
        self.start("--clock-speed", "1000000")  # eleven days a second
        self.wait_connected()
        folder = self.state / "State"
        def after(days):
            """Memory and files after so many days, each of which has a decision."""
            wait_for(lambda: self.status.json()["decisions"] >= days, f"{days} decisions", 4 * LIMIT)
            return self.memory(), sum(file.stat().st_size for file in folder.rglob("*")
                                      if file.is_file() and "Logs" not in file.parts)
        # A day a minute: what would be eight hours, and one before.
        memory, files = after(60)
        later, files_later = after(60 + 480)
        self.assertLess(files_later - files, 4_096)
        if not Service.is_sanitized():
            self.assertLess(later - memory, 2_048)  # KiB


if __name__ == "__main__":
    Service.main(sys.argv)
