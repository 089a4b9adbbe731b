#!/usr/bin/env python3
"""The service of Windows under the service manager, and who may ask it.

  ServiceManagerTest.py --list | --cases CLASS[,CLASS] [EMULATOR] YOXD YOXCTL -
"""
import json
import pathlib
import subprocess
import sys
import unittest

import Service
from Service import Case, Client, LIMIT, Listener, Mosquitto, Status, free_port, wait_for


def run(*command, code=0):
    done = subprocess.run([*Service.EMULATOR, *command], capture_output=True, text=True, errors="replace", timeout=LIMIT)
    assert code is None or done.returncode == code, f"{command}: {done.returncode}: {done.stdout}{done.stderr}"
    return done


class Managed(Case):
    """A service of a name of its own, which is removed whatever happens."""

    def setUp(self):
        super().setUp()
        self.name = "yoxd-" + self.folder.name.replace("_", "-")
        self.policy(free_port())
        self.configure()
        self.addCleanup(lambda: run(Service.YOXD, "remove", "--name", self.name, code=None))

    def install(self, *arguments, code=0):
        return run(Service.YOXD, "install", "--name", self.name, "--config", str(self.folder / "yoxd.json"), "--device",
                   str(self.device), "--state-dir", str(self.state), *arguments, code=code)

    def source(self):
        """The service's entry in the registry of the event log."""
        return run("reg", "query", r"HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application" + "\\" + self.name,
                   code=None)

    def state_of(self):
        return run("sc", "query", self.name, code=None).stdout

    def start_service(self):
        run("net", "start", self.name)
        return wait_for(lambda: (text := self.status.get()[1]) and json.loads(text), "the status")


class Installing(Managed):
    def test_the_manager_starts_it_and_ends_it_in_order(self):
        broker = Mosquitto(self.folder, self.certificates)
        self.addCleanup(broker.stop)
        self.policy(broker.port)
        listener = Listener(Client(broker), "yox/devices/#")
        self.addCleanup(listener.close)
        self.install()
        for _ in range(2):
            listener.messages.clear()
            self.start_service()
            self.wait_connected()
            listener.wait(lambda _: '"online":true' in "".join(listener.payloads(self.out("state"))), "online")
            run("net", "stop", self.name)
            # The service says so itself: the broker's own message would come for a connection that is lost.
            listener.wait(lambda _: '{"online":false}' in listener.payloads(self.out("state")), "offline")
            wait_for(lambda: not self.status.path.exists(), "the end of the process")

    def test_it_is_installed_and_removed_whole(self):
        self.install()
        self.assertIn("REG_EXPAND_SZ", self.source().stdout)
        self.assertIn(pathlib.PurePath(Service.YOXD).name, self.source().stdout)
        self.start_service()
        self.assertIn("RUNNING", self.state_of())
        run(Service.YOXD, "remove", "--name", self.name)
        self.assertNotEqual(self.source().returncode, 0)
        error = run(Service.YOXD, "remove", "--name", self.name, code=2).stderr
        self.assertIn(f"the service {self.name} cannot be opened", error)
        wait_for(lambda: not self.status.path.exists(), "the end of the process")

    def test_a_second_one_of_the_same_name_is_refused(self):
        self.install()
        self.assertIn(f"the service {self.name} cannot be created", self.install(code=2).stderr)
        self.assertEqual(self.source().returncode, 0)

    def test_a_mistake_is_found_before_anything_is_created(self):
        (self.folder / "yoxd.json").write_text('{"keep-alive": 60}')
        error = self.install(code=2).stderr
        self.assertIn("keep-alive: unknown key", error)
        self.assertNotEqual(self.source().returncode, 0)
        self.assertIn("--name: expected 1 to 64 letters", run(Service.YOXD, "install", "--name", "a b", code=2).stderr)

    def test_a_reload_reads_policy_and_device_again(self):
        self.install()
        self.start_service()
        former = self.status.json()["connection"]["server"]
        self.policy(free_port())
        run(Service.YOXD, "reload", "--name", self.name)
        wait_for(lambda: self.status.json()["connection"]["server"] != former, "the new server")

    def test_the_console_does_not_pretend_to_be_the_manager(self):
        self.assertIn("--service is for the service manager", run(Service.YOXD, "--service", code=2).stderr)


class AskingThroughAPipe(Managed):
    def test_one_service_has_a_pipe(self):
        self.configure(status_socket=r"\\.\pipe\yoxd-test-" + self.folder.name)
        self.start()
        name = json.loads((self.folder / "yoxd.json").read_text())["status_socket"]
        self.assertIn('"device_id":"device-1"', Status(name).get()[1].replace('" : ', '":').replace(" ", ""))
        # Another one of the name is not created beside it, by whomever.
        self.state = self.folder / "other"
        self.state.mkdir()
        done = run(Service.YOXD, "--config", str(self.folder / "yoxd.json"), "--device", str(self.device), "--state-dir",
                   str(self.state), code=2)
        self.assertIn(name, done.stderr)

    def test_the_status_is_asked_through_the_state_folder(self):
        self.start()
        done = run(Service.YOXCTL, "--device", str(self.device), "--state-dir", str(self.state), "status", code=1)
        self.assertRegex(done.stdout, r"(?m)^connection +(waiting|connecting) 127\.0\.0\.1:\d+")
        self.assertIn("# EOF", run(Service.YOXCTL, "--device", str(self.device), "--state-dir", str(self.state), "status",
                                   "--metrics").stdout)
        self.kill()
        done = run(Service.YOXCTL, "status", "--socket", r"\\.\pipe\yoxd-of-nobody", code=2)
        self.assertIn("the service does not run", done.stderr)

    def test_a_group_that_is_not_there_is_refused(self):
        self.configure(status_group="no such group")
        done = run(Service.YOXD, "--config", str(self.folder / "yoxd.json"), "--device", str(self.device), "--state-dir",
                   str(self.state), code=2)
        self.assertIn("there is no group no such group", done.stderr)


if __name__ == "__main__":
    Service.main(sys.argv)
