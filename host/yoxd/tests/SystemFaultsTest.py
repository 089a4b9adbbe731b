#!/usr/bin/env python3
"""The service on a system that fails: its network link is taken down, its disk is full. Each in a namespace
of the test's own; left out where the system does not allow that.

  SystemFaultsTest.py --list | --cases CLASS[,CLASS] YOXD YOXCTL YOXD_OWN_TRUST
"""
import ctypes
import errno
import fcntl
import json
import os
import signal
import socket
import struct
import sys

import Service
from Service import wait_for
from ChannelTest import Connected, EVERYONE, IN_GERMANY, NOBODY

NEW_MOUNTS, NEW_NETWORK = 0x00020000, 0x40000000
PRIVATE, RECURSIVE = 1 << 18, 1 << 14
GET_FLAGS, SET_FLAGS, UP = 0x8913, 0x8914, 1

libc = ctypes.CDLL(None, use_errno=True)


def allowed(test, result, what):
    if result != 0:
        test.skipTest(f"{what}: {os.strerror(ctypes.get_errno())}")


class LinkDown(Connected):
    """Broker, service and listener in a network of their own, whose only link is the loopback one."""

    def setUp(self):
        allowed(self, libc.unshare(NEW_NETWORK), "a network of its own")
        self.link(True)
        super().setUp()

    def link(self, up):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
            request = struct.pack("16sH14x", b"lo", 0)
            flags = struct.unpack("16sH14x", fcntl.ioctl(control, GET_FLAGS, request))[1]
            fcntl.ioctl(control, SET_FLAGS, struct.pack("16sH14x", b"lo", flags | UP if up else flags & ~UP))

    def test_a_silent_loss_is_noticed_and_made_up_for(self):
        self.configure(keep_alive_seconds=5)
        self.client.publish("yox/content/editor", IN_GERMANY, retained=True)
        self.start()
        self.decision(True)
        self.link(False)
        # No packet arrives, also none that would end the connection: only the keep-alive notices.
        profile = json.loads(self.device.read_text())
        profile["region"]["country_code"] = "US"
        self.device.write_text(json.dumps(profile))
        wait_for(lambda: self.status.json()["lists"][0]["applies"] is False, "the decision")
        wait_for(lambda: self.status.json()["connection"]["state"] != "connected", "the loss")
        self.link(True)
        self.wait_connected(2)
        later = self.listen()
        self.decision(False, listener=later)
        self.assertEqual(json.loads(later.wait(lambda _: later.payloads(self.out("facts")), "the facts")[-1])["country"],
                         "US")


class FullFileSystem(Connected):
    """The state is on a file system of one megabyte."""

    def setUp(self):
        allowed(self, libc.unshare(NEW_MOUNTS), "mounts of its own")
        allowed(self, libc.mount(b"none", b"/", None, PRIVATE | RECURSIVE, None), "private mounts")
        super().setUp()
        allowed(self, libc.mount(b"none", str(self.state).encode(), b"tmpfs", 0, b"size=1m,mode=700"), "a file system")
        self.addCleanup(lambda: libc.umount2(str(self.state).encode(), 2))

    def fill(self):
        with open(self.state / "filler", "wb", buffering=0) as filler:
            try:
                while filler.write(b"x" * 4096):
                    pass
            except OSError as error:
                self.assertEqual(error.errno, errno.ENOSPC)

    def whole(self):
        folder = self.state / "State/yoxd"
        return [json.loads(file.read_text()) for file in [*folder.glob("*.json"), *folder.glob("content/*.json")]]

    def test_it_decides_and_keeps_what_it_had(self):
        self.configure(queue_on_disk=True)
        self.client.publish("yox/content/editor", EVERYONE, retained=True)
        self.start()
        self.decision(True)
        kept = self.state / "State/yoxd/content/editor.json"
        before = kept.read_bytes()
        self.fill()
        self.client.publish("yox/content/editor", NOBODY, retained=True)
        self.client.publish(self.incoming("notification"), '{"n": 1}')
        self.decision(False)
        self.listener.wait(lambda _: self.listener.payloads(self.out("reports")), "the report")
        self.assertGreaterEqual(self.status.json()["failed_writes"], 2)
        self.assertEqual(kept.read_bytes(), before)
        # The next process starts with what was kept, and the broker has the rest.
        self.kill(signal.SIGKILL)
        self.whole()
        self.start()
        wait_for(lambda: [entry["applies"] for entry in self.status.json()["lists"]] == [False], "the list again")
        self.kill(signal.SIGTERM)
        (self.state / "filler").unlink()
        self.start()
        wait_for(lambda: kept.read_bytes() != before, "room again")
        self.assertIn(NOBODY, [document.get("list") for document in self.whole()])
        self.assertEqual(self.status.json()["failed_writes"], 0)


if __name__ == "__main__":
    Service.main(sys.argv)
