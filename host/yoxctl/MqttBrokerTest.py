#!/usr/bin/env python3
"""The certificate files before a real broker, and the stored chain under SIGKILL.

  MqttBrokerTest.py YOXCTL

The broker is mosquitto with TLS on a free port of the loopback interface; the client is its own,
with the combined file as its CA file.
"""
import base64
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = []


def openssl(*arguments, **options):
    subprocess.run(["openssl", *arguments], check=True, capture_output=True, **options)


class Certificates:
    """Two roots, a certificate of the first that has expired, and the broker's."""

    def __init__(self, folder):
        self.folder = folder
        for name in ("root", "other", "expired", "server"):
            openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out",
                    str(folder / f"{name}.key"))
        long = ("20200101000000Z", "20461231235959Z")
        self.make("root", long)
        self.make("other", long)
        self.make("expired", ("20100101000000Z", "20150101000000Z"))
        self.make("server", long, issuer="root", extensions="subjectAltName=IP:127.0.0.1")

    def make(self, name, validity, issuer=None, extensions="basicConstraints=critical,CA:TRUE"):
        ca = self.folder / f"ca-{name}"
        ca.mkdir()
        (ca / "index").write_text("")
        (ca / "config").write_text(
            f"[ca]\ndefault_ca=d\n[d]\ndatabase={ca}/index\nnew_certs_dir={ca}\nrand_serial=yes\n"
            f"default_md=sha256\npolicy=p\n[p]\ncommonName=supplied\n[e]\n{extensions}\n")
        request = ca / "request"
        openssl("req", "-new", "-key", str(self.folder / f"{name}.key"), "-subj", f"/CN={name}",
                "-out", str(request))
        signer = (["-cert", str(self.path(issuer)), "-keyfile", str(self.folder / f"{issuer}.key")]
                  if issuer else ["-selfsign", "-keyfile", str(self.folder / f"{name}.key")])
        openssl("ca", "-batch", "-notext", "-config", str(ca / "config"), "-extensions", "e", "-in",
                str(request), "-out", str(self.path(name)), "-startdate", validity[0], "-enddate",
                validity[1], *signer)

    def path(self, name):
        return self.folder / f"{name}.crt"

    def pem(self, name):
        return self.path(name).read_text()


class Broker:
    """mosquitto, stopped whatever happens."""

    def __init__(self, certificates):
        for _ in range(5):
            with socket.socket() as probe:
                probe.bind(("127.0.0.1", 0))
                self.port = probe.getsockname()[1]
            config = certificates.folder / "mosquitto.conf"
            config.write_text(
                f"log_dest stderr\nlistener {self.port} 127.0.0.1\nallow_anonymous true\npersistence false\n"
                f"certfile {certificates.path('server')}\nkeyfile {certificates.folder}/server.key\n"
                f"{'user root' if os.geteuid() == 0 else ''}\n")
            self.process = subprocess.Popen(["mosquitto", "-c", str(config)], text=True,
                                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            # It says so once it listens, and ends when somebody else took the port.
            if any("running" in line for line in self.process.stderr):
                return
            self.stop()
        raise RuntimeError("mosquitto does not start")

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.process.stderr.close()


class Chain(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.state = self.folder / "state"
        self.files = self.state / "Certificates"
        self.combined = self.files / "mqtt.pem"
        self.bridge = self.files / "mqtt-bridge.pem"

    def write_policy(self, chain):
        document = self.folder / "policy.json"
        pem64 = base64.b64encode(chain.encode()).decode()
        document.write_text(json.dumps(
            {"yox_config": {"platform_policy": {"validation": {"mqtt_chain_pem64": pem64}}}}))
        return [*PROGRAM, "--state-dir", str(self.state), "policy", "update-certificates", str(document)]

    def store(self, chain, exit_code=0):
        done = subprocess.run(self.write_policy(chain), capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (exit_code, b""))


class BeforeABroker(Chain):
    def setUp(self):
        super().setUp()
        self.certificates = Certificates(self.folder)
        self.broker = Broker(self.certificates)
        self.addCleanup(self.broker.stop)

    def connects(self):
        return subprocess.run(
            ["mosquitto_pub", "-h", "127.0.0.1", "-p", str(self.broker.port), "--cafile",
             str(self.combined), "-t", "test", "-m", "message", "-q", "1"],
            capture_output=True, timeout=30).returncode == 0

    def test_client_connects_with_the_stored_chain(self):
        self.store(self.certificates.pem("root"))
        self.assertTrue(self.connects())

    def test_client_is_refused_when_the_chain_does_not_fit(self):
        self.store(self.certificates.pem("other"))
        self.assertFalse(self.connects())
        self.store(self.certificates.pem("root"))
        self.assertTrue(self.connects())

    def test_expired_and_repeated_certificates_are_cleaned_and_the_connection_stands(self):
        chain = [self.certificates.pem(name) for name in ("expired", "root", "other", "root")]
        self.store("".join(chain))
        self.assertEqual(self.bridge.read_text(), "".join(chain))
        self.assertEqual(self.combined.read_text().strip(), (chain[1] + chain[2]).strip())
        self.assertTrue(self.connects())


class Killed(Chain):
    """A store that is killed leaves the former chain or the new one, the owner's alone."""

    ROUNDS = 25

    def test_the_stored_chain_is_whole_and_private_at_every_moment(self):
        certificates = Certificates(self.folder)
        # Long enough that writing takes a while.
        old = "# old\n" + certificates.pem("root") + "# " + "o" * 200_000 + "\n"
        new = "# new\n" + certificates.pem("other") + "# " + "n" * 200_000 + "\n"
        began = time.monotonic()
        self.store(old)
        usual = time.monotonic() - began
        self.assertEqual(self.bridge.read_text(), old)
        command = self.write_policy(new)
        dice = random.Random(7)
        killed = replaced = 0
        for _ in range(self.ROUNDS):
            process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                       preexec_fn=lambda: os.umask(0))
            try:
                process.wait(timeout=dice.uniform(0, 1.2 * usual))
            except subprocess.TimeoutExpired:
                process.send_signal(signal.SIGKILL)
                killed += 1
            process.wait()
            content = self.bridge.read_text()
            self.assertIn(content, (old, new))
            for file in (self.bridge, self.files / "mqtt-bridge.pem.new"):
                if file.exists():
                    self.assertEqual(file.stat().st_mode & 0o777, 0o600, file)
            self.assertIn(self.combined.read_text(), (f"{old}\n", f"{new}\n"))
            self.assertEqual(self.combined.stat().st_mode & 0o777, 0o644)
            if content == new:
                replaced += 1
                self.store(old)
                command = self.write_policy(new)
        self.assertGreater(killed, 0)
        # The next store puts everything in order again.
        self.store(new)
        self.assertEqual(self.bridge.read_text(), new)
        self.assertEqual(self.combined.read_text(), f"{new}\n")
        self.assertEqual(sorted(file.name for file in self.files.iterdir()),
                         ["mqtt-bridge.pem", "mqtt.pem"])

    def test_a_bridge_file_that_others_could_read_is_theirs_no_more(self):
        self.files.mkdir(parents=True)
        self.bridge.write_text("former")
        self.bridge.chmod(0o644)
        with self.bridge.open() as held:
            self.store("garbage, but stored", exit_code=1)
            self.assertEqual(held.read(), "former")
        self.assertEqual(self.bridge.stat().st_mode & 0o777, 0o600)


if __name__ == "__main__":
    if shutil.which("mosquitto") is None:
        os.environ["PATH"] += ":/usr/sbin"
    PROGRAM = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
