#!/usr/bin/env python3
"""The service by itself: its socket, what others may open, its start and end, a full disk.

  ServiceTest.py --list | --cases CLASS[,CLASS] YOXD YOXCTL
"""
import json
import os
import re
import resource
import shutil
import signal
import socket
import stat
import subprocess
import sys
import threading
import unittest

import Service
from Service import Case, LIMIT, Program, Status, free_port, wait_for

NOBODY = 65534


class Alone(Case):
    """Without a broker: its port is closed."""

    def setUp(self):
        super().setUp()
        self.policy(free_port())
        self.configure()

    def yoxctl(self, *arguments, **options):
        return subprocess.run([*Service.EMULATOR, Service.YOXCTL, "--device", str(self.device), "--state-dir", str(self.state),
                               "status", *arguments], capture_output=True, text=True, timeout=LIMIT, **options)


class Asking(Alone):
    def test_status_names_connection_queue_and_errors(self):
        self.start()
        wait_for(lambda: self.status.json()["connection"]["failures"] >= 5, "five failures")
        done = self.yoxctl()
        self.assertEqual((done.returncode, done.stderr), (1, ""))
        self.assertRegex(done.stdout, r"(?m)^connection +(waiting|connecting) 127\.0\.0\.1:\d+: Connection refused$")
        self.assertRegex(done.stdout, r"(?m)^error +MqttGateway \d+, \d+ times, last .*, critical$")
        status = json.loads(self.yoxctl("--format", "json").stdout)
        self.assertTrue(status["errors"]["critical"])
        self.assertEqual(status["errors"]["message"], "Critical error in MqttGateway; ")

    def test_metrics_are_openmetrics(self):
        self.start()
        lines = self.yoxctl("--metrics").stdout.splitlines()
        self.assertEqual(lines[-1], "# EOF")
        kinds = {}
        for line in lines[:-1]:
            if line.startswith("# TYPE "):
                _, _, name, kind = line.split()
                self.assertNotIn(name, kinds)
                kinds[name] = kind
            elif not line.startswith("# HELP "):
                name, value = re.fullmatch(r"([a-z_]+)(?:\{[^}]*\})? (\d+)", line).groups()
                base = re.sub("_(total|info)$", "", name)
                self.assertEqual(name, base + {"counter": "_total", "info": "_info", "gauge": ""}[kinds[base]])

    def test_a_service_that_does_not_run_is_named(self):
        done = self.yoxctl()
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("yoxd.sock: the service does not run", done.stderr)

    def test_peers_that_do_not_ask_do_not_keep_others_waiting(self):
        Service.not_on_windows(self, "connects to a Unix socket")
        self.start()
        silent = []
        for _ in range(20):
            peer = socket.socket(socket.AF_UNIX)
            self.addCleanup(peer.close)
            peer.connect(str(self.status.path))
            silent.append(peer)
        # The first sixteen are left after some seconds.
        self.assertEqual(self.status.get()[0], 200)
        self.assertEqual(self.status.get("/other")[0], 404)

    def test_a_long_request_is_refused(self):
        Service.not_on_windows(self, "connects to a Unix socket")
        self.start()
        self.assertEqual(self.status.get("/" + "x" * 5_000)[0], 400)


class Private(Alone):
    def test_no_other_account_can_read_anything(self):
        Service.not_on_windows(self, "Wine does not enforce access lists")
        self.start(preexec_fn=lambda: os.umask(0))
        state = self.state / "State"
        for folder, _, files in os.walk(state):
            for path in [folder, *(os.path.join(folder, name) for name in files)]:
                mode = os.lstat(path).st_mode
                if os.path.dirname(path) == str(state / "Certificates") and path.endswith("mqtt.pem"):
                    continue  # public certificates, in a folder that only the owner can open
                self.assertEqual(stat.S_IMODE(mode) & 0o077, 0, path)
        self.assertTrue(stat.S_ISSOCK(os.lstat(self.status.path).st_mode))

    @unittest.skipUnless(os.geteuid() == 0, "needs another account")
    def test_another_account_is_turned_away_at_the_socket(self):
        Service.not_on_windows(self, "Wine does not enforce access lists")
        self.start()
        self.folder.chmod(0o755)
        self.state.chmod(0o755)
        # As if somebody had opened the folders and the socket to all.
        for path in (self.state / "State", self.state / "State/yoxd", self.status.path):
            path.chmod(0o777)
        def ask(account):
            """Asks in a process of that account, and returns the beginning of the answer."""
            reader, writer = os.pipe()
            child = os.fork()
            if child == 0:
                try:
                    os.setgroups([])
                    os.setgid(account)
                    os.setuid(account)
                    peer = socket.socket(socket.AF_UNIX)
                    peer.connect(str(self.status.path))
                    peer.sendall(b"GET /status HTTP/1.0\r\n\r\n")
                    os.write(writer, peer.recv(100))
                finally:
                    os._exit(0)
            os.close(writer)
            os.waitpid(child, 0)
            with os.fdopen(reader, "rb") as file:
                return file.read()
        self.assertEqual(ask(NOBODY), b"")
        self.assertIn(b"200 OK", ask(0))
        self.assertIn(f"account {NOBODY} may not ask", self.service.log())

    def test_a_key_that_others_can_read_is_not_used(self):
        self.certificates.make("device-1", "root")
        self.certificates.key("device-1").chmod(0o644)
        self.configure(client_certificate=str(self.certificates.path("device-1")),
                       client_key=str(self.certificates.key("device-1")))
        self.start()
        self.assertIn("expected a key that only its owner can read", self.status.json()["connection"]["problem"])


class Starting(Alone):
    def refused(self, *arguments):
        done = subprocess.run([*Service.EMULATOR, Service.YOXD, *arguments], capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        return done.stderr

    def test_a_mistake_in_the_configuration_is_named(self):
        file = self.folder / "yoxd.json"
        for text, message in (('{"device_id": 7}', "device_id: expected a string, found 7"),
                              ('{"keep_alive_seconds": 1}', "keep_alive_seconds: expected a whole number from 5 to 3600, found 1"),
                              ('{"keep-alive": 60}', "keep-alive: unknown key"),
                              ('{"device_id": "a/b"}', 'device_id: expected 1 to 64 letters'),
                              ('{"mqtt_version": "4"}', 'mqtt_version: expected "5" or "3.1.1"'),
                              ('{"client_key": "x"}', "expected both or neither"),
                              ('[]', "the document: expected an object"),
                              ('{', "not JSON")):
            file.write_text(text)
            error = self.refused("--config", str(file))
            self.assertIn("yoxd.json: ", error)
            self.assertIn(message, error)

    def test_one_service_uses_a_state_folder(self):
        self.start()
        error = self.refused("--config", str(self.folder / "yoxd.json"), "--device", str(self.device),
                             "--state-dir", str(self.state))
        self.assertIn("another yoxd uses this folder", error)
        self.assertEqual(self.status.get()[0], 200)

    def test_it_ends_within_seconds_and_starts_again(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            self.start()
            self.assertEqual(self.kill(number), 0)
            self.assertFalse(self.status.path.exists())

    def test_it_ends_while_a_server_does_not_respond(self):
        # A listener whose queue is full: connections are neither accepted nor refused.
        listener = socket.create_server(("127.0.0.1", 0), backlog=0)
        self.addCleanup(listener.close)
        fillers = []
        for _ in range(4):
            filler = socket.socket()
            filler.setblocking(False)
            filler.connect_ex(listener.getsockname())
            self.addCleanup(filler.close)
            fillers.append(filler)
        self.policy(listener.getsockname()[1])
        self.start()
        wait_for(lambda: self.status.json()["connection"]["state"] == "connecting", "the attempt")
        self.assertEqual(self.kill(signal.SIGTERM), 0)

    def test_systemd_is_told_of_start_reload_life_and_end(self):
        Service.not_on_windows(self, "systemd is not there")
        notified = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(notified.close)
        path = self.folder / "notify"
        notified.bind(str(path))
        notified.settimeout(LIMIT)
        def expect(word):
            while word not in (text := notified.recv(4096).decode()):
                pass
            return text
        self.start(env={**os.environ, "NOTIFY_SOCKET": str(path), "WATCHDOG_USEC": "400000"})
        expect("READY=1")
        expect("WATCHDOG=1")
        self.service.process.send_signal(signal.SIGHUP)
        self.assertIn("MONOTONIC_USEC=", expect("RELOADING=1"))
        expect("READY=1")
        expect("WATCHDOG=1")
        self.service.process.send_signal(signal.SIGTERM)
        expect("STOPPING=1")


class Example(unittest.TestCase):
    """The service is an example of a host, so it includes what an installed library offers."""

    def test_it_includes_public_headers_alone(self):
        public = set()
        for rules in Service.ROOT.glob("yox/*/CMakeLists.txt"):
            listed = re.search(r"PUBLIC_HEADERS\s+(.*?)(?:\n  [A-Z_]+\b|\))", rules.read_text(), re.S)
            names = listed.group(1).split() if listed else []
            public |= {f"yox/{rules.parent.name}/{name}" for name in names}
        included = set()
        for source in Service.ROOT.glob("host/yoxd/**/*"):
            if source.suffix in (".h", ".cpp"):
                included |= set(re.findall(r'#include "(yox/[^"]+)"', source.read_text()))
        self.assertGreater(len(included), 10)
        self.assertEqual(included - public, set())


class Unit(unittest.TestCase):
    UNIT = Service.ROOT / "host/yoxd/linux/systemd/yoxd.service"

    @unittest.skipUnless(shutil.which("systemd-analyze"), "needs systemd-analyze")
    def test_the_exposure_is_the_one_that_is_stated(self):
        Service.not_on_windows(self, "systemd is not there")
        done = subprocess.run(["systemd-analyze", "security", "--offline=true", str(self.UNIT)],
                              capture_output=True, text=True)
        score = re.search(r"Overall exposure level for yoxd.service: ([\d.]+)", done.stdout)
        stated = re.search(r"exposure level ([\d.]+)", (Service.ROOT / "docs/yoxd.md").read_text())
        self.assertEqual(score.group(1), stated.group(1), done.stdout + done.stderr)


class Machine(Case):
    """The service on this machine itself, without a simulated device."""

    def test_a_registry_value_of_another_process_is_seen(self):
        self.policy(free_port())
        self.configure(keep_alive_seconds=5)
        value = (f"HKLM\\SOFTWARE\\Contoso-{self.folder.name}", "Channel")
        self.addCleanup(lambda: subprocess.run([*Service.EMULATOR, Service.YOXCTL, "--state-dir", str(self.state), "registry",
                                                "delete", value[0]], capture_output=True, timeout=LIMIT))
        content = self.state / "yoxd/content"
        content.mkdir(parents=True, mode=0o700)
        text = json.dumps({"filters": [{"registry": f"{value[0]}:{value[1]}|beta", "value": "true"},
                                       {"default": "false"}]})
        (content / "editor.json").write_text(json.dumps({"list": text}))
        self.service = Program([*Service.EMULATOR, Service.YOXD, "--config", str(self.folder / "yoxd.json"), "--state-dir",
                                str(self.state)], "service: started")
        status = Status(self.state / "yoxd/yoxd.sock")
        def decision(applies):
            wait_for(lambda: [entry["applies"] for entry in status.json()["lists"]] == [applies], f"{applies}")
        decision(False)
        subprocess.run([*Service.EMULATOR, Service.YOXCTL, "--state-dir", str(self.state), "registry", "set", *value, "beta"],
                       check=True, timeout=LIMIT)
        decision(True)


class FullDisk(Alone):
    def test_what_cannot_be_written_leaves_the_former_file(self):
        Service.not_on_windows(self, "Wine itself cannot write with the limit")
        self.start()
        self.kill(signal.SIGTERM)
        folder = self.state / "State/yoxd"
        before = (folder / "policy.json").read_bytes()
        policy = json.loads((self.folder / "policy.json").read_text())
        policy["yox_config"]["platform_policy"]["config_pull_triggers"] = "x" * 100_000
        (self.folder / "policy.json").write_text(json.dumps(policy))
        self.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (65_536, 65_536)))
        status = self.status.json()
        self.assertEqual(status["provisioning"]["problem"], "store the policy: not written")
        self.assertGreaterEqual(status["failed_writes"], 1)
        self.assertEqual((folder / "policy.json").read_bytes(), before)
        self.assertEqual([name for name in os.listdir(folder) if name.endswith(".new")], [])
        # With room again, the next start takes it.
        self.kill()
        self.start()
        self.assertEqual(self.status.json()["provisioning"]["problem"], "")
        self.assertNotEqual((folder / "policy.json").read_bytes(), before)


if __name__ == "__main__":
    Service.main(sys.argv)
