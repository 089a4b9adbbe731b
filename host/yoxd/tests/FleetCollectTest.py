#!/usr/bin/env python3
"""What devices publish arrives in a file and in a database; and the demonstration runs.

  FleetCollectTest.py --list | --cases CLASS[,CLASS] YOXD YOXCTL YOXD_OWN_TRUST
"""
import json
import subprocess
import sys
import unittest

import Service
from ChannelTest import Connected


class Collecting(Connected):
    def collect(self, into, *arguments, broker=None):
        return subprocess.run(
            [Service.YOXCTL, "fleet", "collect", "--broker", broker or f"mqtts://127.0.0.1:{self.broker.port}",
             "--ca-file", str(self.certificates.path("root")), "--into", str(into), "--quiet", "1", *arguments],
            capture_output=True, text=True, timeout=Service.LIMIT)

    def published(self):
        self.start()
        self.wait_connected()
        self.listener.wait(lambda _: self.listener.payloads(self.out("facts")), "the facts")

    def test_facts_arrive_in_a_file_that_the_fleet_commands_read(self):
        self.published()
        file = self.folder / "facts.jsonl"
        done = self.collect(file)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "1 devices stored\n", ""))
        self.assertEqual(file.read_text(), self.listener.payloads(self.out("facts"))[0] + "\n")
        lists = self.folder / "list.json"
        lists.write_text(json.dumps({"filters": [{"country": "DE"}]}))
        decided = subprocess.run([Service.YOXCTL, "--format", "json", "fleet", "decide", str(lists), "--facts", str(file)],
                                 capture_output=True, text=True, check=True)
        self.assertEqual(json.loads(decided.stdout)["applies"], 1)

    def test_facts_arrive_in_a_database(self):
        self.published()
        for _ in range(2):  # again is no other device
            done = self.collect(self.folder / "inventory.db")
            self.assertEqual((done.returncode, done.stderr), (0, ""))
        import sqlite3
        with sqlite3.connect(self.folder / "inventory.db") as database:
            self.assertEqual(database.execute("select id from devices").fetchall(), [("device-1",)])

    def test_what_is_no_facts_document_is_refused_and_named(self):
        self.published()
        self.client.publish("yox/devices/device-2/out/facts", '{"id": "device-2", "country": 7}', retained=True)
        self.client.publish("yox/devices/device-3/out/facts", '{"id": "device-1"}', retained=True)
        done = self.collect(self.folder / "facts.jsonl")
        self.assertEqual((done.returncode, done.stdout), (1, "1 devices stored, 2 documents refused\n"))
        self.assertIn("country: expected a string", done.stderr)
        self.assertIn("id: expected device-3, found device-1", done.stderr)

    def test_a_broker_that_is_not_trusted_or_not_there_is_named(self):
        file = self.folder / "facts.jsonl"
        for broker, message in ((f"mqtt://127.0.0.1:{self.broker.port}", "expected mqtts://HOST[:PORT]"),
                                (f"mqtts://127.0.0.1:{Service.free_port()}", "Connection refused")):
            done = self.collect(file, broker=broker)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertIn(message, done.stderr)
        self.certificates.server("other-host", names="DNS:other.example")
        self.broker.stop()
        self.broker.start("other-host")
        self.assertEqual(self.collect(file).returncode, 2)
        self.assertFalse(file.exists())


class Demonstration(unittest.TestCase):
    def test_it_runs_and_leaves_its_report(self):
        import pathlib
        import tempfile
        with tempfile.TemporaryDirectory() as name:
            done = subprocess.run([sys.executable, str(Service.ROOT / "scripts/demo-fleet"), "--devices", "3", "--keep", name,
                                   "--programs", Service.YOXD, Service.YOXCTL],
                                  capture_output=True, text=True, timeout=300)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(done.stdout.count("applies to"), 3)
            import sqlite3
            with sqlite3.connect(pathlib.Path(name) / "inventory.db") as database:
                self.assertEqual(database.execute("SELECT count(*) FROM devices").fetchone(), (3,))
            self.assertIn("<html", (pathlib.Path(name) / "report.html").read_text())


if __name__ == "__main__":
    Service.main(sys.argv)
