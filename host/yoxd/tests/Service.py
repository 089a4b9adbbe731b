"""What the tests of the service share: certificates, brokers, a proxy, the service itself.

Everything is on free ports of the loopback interface and in temporary folders, and ends with the
test. Nothing waits for a fixed time: each wait has a condition and a limit after which it fails.
"""
import base64
import http.client
import json
import os
import pathlib
import random
import re
import select
import shutil
import signal
import socket
import subprocess
import threading
import time
import unittest

EMULATOR = []  # what a Windows program is started through
YOXD = ""
YOXCTL = ""
YOXD_OWN_TRUST = ""  # the service with the trust of tests/trust
ROOT = pathlib.Path(__file__).resolve().parents[3]
PROFILE = ROOT / "examples/devices/kestrel-mini.json"
LIMIT = int(os.environ.get("YOXD_TEST_LIMIT", 180))  # seconds after which what does not happen is missing


def is_sanitized():
    """Whether a sanitizer's runtime is in the service: it keeps freed memory, and has a thread of its own."""
    return re.search(rb"__[at]san_init", pathlib.Path(YOXD).read_bytes()) is not None


def is_windows():
    """Whether the service under test is the one of Windows."""
    return YOXD.endswith(".exe")


def not_on_windows(test, why):
    if is_windows():
        test.skipTest(why)


def wait_for(condition, what, limit=LIMIT):
    """Returns the first true value of the condition."""
    end = time.monotonic() + limit
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"did not happen within {limit} s: {what}")
        select.select([], [], [], 0.02)


def free_port():
    """A port below those of which the system gives one to each outgoing connection: a server that was away gets it
    again."""
    first = int(pathlib.Path("/proc/sys/net/ipv4/ip_local_port_range").read_text().split()[0])
    while True:
        port = random.randrange(10_000, max(first, 20_000))
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
                return port
            except OSError:
                pass


def openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, capture_output=True)


class Certificates:
    """A root, and certificates of it for servers and devices."""

    LONG = ("20200101000000Z", "20461231235959Z")
    PAST = ("20100101000000Z", "20150101000000Z")

    def __init__(self, folder):
        self.folder = folder
        folder.mkdir(exist_ok=True)
        self.make("root", extensions="basicConstraints=critical,CA:TRUE\nsubjectKeyIdentifier=hash")
        self.server("server")

    def make(self, name, issuer=None, validity=LONG, extensions="basicConstraints=CA:FALSE"):
        ca = self.folder / f"ca-{name}"
        ca.mkdir()
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out",
                str(self.key(name)))
        (ca / "index").write_text("")
        (ca / "config").write_text(
            f"[ca]\ndefault_ca=d\n[d]\ndatabase={ca}/index\nnew_certs_dir={ca}\nrand_serial=yes\n"
            f"default_md=sha256\npolicy=p\n[p]\ncommonName=supplied\n[e]\n{extensions}\n")
        request = ca / "request"
        openssl("req", "-new", "-key", str(self.key(name)), "-subj", f"/CN={name}", "-out", str(request))
        signer = (["-cert", str(self.path(issuer)), "-keyfile", str(self.key(issuer))]
                  if issuer else ["-selfsign", "-keyfile", str(self.key(name))])
        openssl("ca", "-batch", "-notext", "-config", str(ca / "config"), "-extensions", "e", "-in",
                str(request), "-out", str(self.path(name)), "-startdate", validity[0], "-enddate",
                validity[1], *signer)

    def server(self, name, issuer="root", validity=LONG, names="IP:127.0.0.1,DNS:localhost"):
        self.make(name, issuer, validity, f"basicConstraints=CA:FALSE\nsubjectAltName={names}")

    def path(self, name):
        return self.folder / f"{name}.crt"

    def key(self, name):
        return self.folder / f"{name}.key"

    def pem(self, name):
        return self.path(name).read_text()

    def thumbprint(self, name):
        done = subprocess.run(["openssl", "x509", "-in", str(self.path(name)), "-noout",
                               "-fingerprint", "-sha256"], check=True, capture_output=True, text=True)
        return done.stdout.split("=")[1].strip().replace(":", "").lower()


class Program:
    """A process that says on standard error when it is ready, and is stopped whatever happens."""

    def __init__(self, command, ready, **options):
        # No pipe: the emulator would keep its end until the desktop ends that it may start.
        reading, writing = socket.socketpair()
        self.errors = reading.makefile(errors="replace")
        reading.close()
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=writing, **options)
        writing.close()
        self.lines = []
        self.is_ready = threading.Event()
        self.reader = threading.Thread(target=self.read, args=(ready,), daemon=True)
        self.reader.start()
        if not self.is_ready.wait(LIMIT) or self.process.poll() is not None:
            self.kill()
            raise RuntimeError(f"{command[0]} does not start: {''.join(self.lines[-20:])}")

    def read(self, ready):
        for line in self.errors:
            self.lines.append(line)
            if ready in line:
                self.is_ready.set()
        self.is_ready.set()

    def log(self):
        return "".join(self.lines)

    def kill(self, number=signal.SIGKILL):
        if self.process.poll() is None:
            # Wine makes the event of a console of this signal, and of no other.
            self.process.send_signal(signal.SIGINT if number == signal.SIGTERM and self.is_emulated() else number)
        self.process.wait(LIMIT)
        if not self.is_emulated():
            self.reader.join(LIMIT)
            self.errors.close()
        return self.process.returncode

    def is_emulated(self):
        return EMULATOR and self.process.args[:1] == EMULATOR


class Mosquitto:
    """The broker mosquitto with TLS; it can be stopped and started again on its port."""

    versions = ("5", "3.1.1")

    def __init__(self, folder, certificates, server="server", extra=""):
        self.folder, self.certificates, self.extra = folder, certificates, extra
        self.port = free_port()
        self.start(server)

    def start(self, server="server"):
        config = self.folder / "mosquitto.conf"
        config.write_text(
            f"log_dest stderr\nlistener {self.port} 127.0.0.1\nallow_anonymous true\n"
            f"certfile {self.certificates.path(server)}\nkeyfile {self.certificates.key(server)}\n"
            f"max_queued_messages 0\n{'user root' if os.geteuid() == 0 else ''}\n{self.extra}\n")
        self.program = Program([shutil.which("mosquitto", path=os.environ["PATH"] + ":/usr/sbin"),
                                "-c", str(config)], "running")

    def stop(self, number=signal.SIGKILL):
        self.program.kill(number)


class Nats:
    """nats-server with MQTT and TLS. It speaks MQTT 3.1.1 only."""

    versions = ("3.1.1",)

    def __init__(self, folder, certificates):
        self.folder, self.certificates = folder, certificates
        self.port, self.client_port = free_port(), free_port()
        self.start()

    def start(self):
        config = self.folder / "nats.conf"
        config.write_text(
            f"server_name: test\nlisten: \"127.0.0.1:{self.client_port}\"\n"
            f"jetstream {{ store_dir: \"{self.folder}/jetstream\" }}\n"
            f"mqtt {{ listen: \"127.0.0.1:{self.port}\"\n tls {{ cert_file: \"{self.certificates.path('server')}\"\n"
            f" key_file: \"{self.certificates.key('server')}\" }} }}\n")
        self.program = Program([shutil.which("nats-server", path=os.environ["PATH"] + ":/usr/sbin"),
                                "-c", str(config)], "Server is ready")

    def stop(self, number=signal.SIGKILL):
        self.program.kill(number)


class Client:
    """Publishes, and listens, through the broker's own command line clients."""

    def __init__(self, broker, version="3.1.1", certificate=None):
        self.options = ["-h", "127.0.0.1", "-p", str(broker.port), "--cafile",
                        str(broker.certificates.path("root")),
                        "-V", "mqttv5" if version == "5" else "mqttv311"]
        if certificate:
            self.options += ["--cert", str(broker.certificates.path(certificate)),
                             "--key", str(broker.certificates.key(certificate))]

    def publish(self, topic, payload, retained=False):
        subprocess.run(["mosquitto_pub", *self.options, "-q", "1", "-t", topic, "-s",
                        *(["-r"] if retained else [])],
                       input=payload.encode() if isinstance(payload, str) else payload, check=True,
                       timeout=LIMIT, capture_output=True)

    def withdraw(self, topic):
        subprocess.run(["mosquitto_pub", *self.options, "-q", "1", "-t", topic, "-n", "-r"], check=True,
                       timeout=LIMIT)


class Schemas:
    """What the service publishes, by the end of its topic, and the schemas that docs/yoxd.md names."""

    NAMES = {"state": "yoxd-state", "facts": "facts", "tags": "yoxd-tags", "reports": "yoxd-report",
             "decisions": "yoxd-decision"}

    def __init__(self):
        import jsonschema
        self.error = jsonschema.ValidationError
        self.validators = {leaf: jsonschema.Draft202012Validator(
            json.loads((ROOT / f"schemas/{name}.schema.json").read_text())) for leaf, name in self.NAMES.items()}

    def check(self, topic, payload):
        """Raises an error for a document of the service that its schema does not allow."""
        match = re.fullmatch(r"yox/devices/device-1/out/(\w+)(/[^/]+)?", topic)
        if match and match[1] in self.validators and payload:
            self.validators[match[1]].validate(json.loads(payload))


class Listener:
    """What arrives on topics, from when it was created. All of it is as the schemas say."""

    def __init__(self, client, topic):
        self.process = subprocess.Popen(
            ["stdbuf", "-oL", "mosquitto_sub", *client.options, "-q", "1", "-t", topic, "-F", "%r %t %p", "-d"],
            stdout=subprocess.PIPE, text=True, errors="replace")
        self.messages = []  # (retained, topic, payload)
        self.changed = threading.Condition()
        self.subscribed = threading.Event()
        threading.Thread(target=self.read, daemon=True).start()
        if not self.subscribed.wait(LIMIT):
            raise RuntimeError("mosquitto_sub does not subscribe")

    def read(self):
        for line in self.process.stdout:
            if line.startswith("Subscribed"):
                self.subscribed.set()
            elif line[:2] in ("0 ", "1 "):
                parts = line.rstrip("\n").split(" ", 2)
                with self.changed:
                    self.messages.append((parts[0] == "1", parts[1], parts[2] if len(parts) > 2 else ""))
                    self.changed.notify_all()

    def wait(self, condition, what, limit=LIMIT):
        """Waits until `condition(messages)` is true, and returns its value."""
        with self.changed:
            if not self.changed.wait_for(lambda: condition(self.messages), limit):
                raise AssertionError(f"did not arrive within {limit} s: {what}; "
                                     f"there is {self.messages[-5:]}")
            return condition(self.messages)

    def payloads(self, topic):
        with self.changed:
            return [payload for _, name, payload in self.messages if name == topic]

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        schemas = Schemas()
        with self.changed:
            for _, topic, payload in self.messages:
                schemas.check(topic, payload)


class Proxy:
    """Forwards connections to a port; what it forwards can be held, cut and slowed down."""

    def __init__(self, port):
        self.target = port
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.connections = []
        self.held = set()     # of them, those whose bytes are read and thrown away
        self.piece = 65_536   # bytes at once
        self.open = True
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while self.open:
            try:
                client = self.listener.accept()[0]
            except OSError:
                return
            try:
                server = socket.create_connection(("127.0.0.1", self.target), LIMIT)
            except OSError:
                client.close()
                continue
            self.connections += [client, server]
            for source, sink, up in ((client, server, True), (server, client, False)):
                threading.Thread(target=self.copy, args=(source, sink, up), daemon=True).start()

    def copy(self, source, sink, up):
        try:
            while data := source.recv(self.piece):
                if not (up and source in self.held):
                    sink.sendall(data)
        except OSError:
            pass
        for end in (source, sink):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def hold(self):
        """Throws away what the clients send on the connections that there are, until these are cut."""
        self.held.update(self.connections)

    def cut(self):
        """Ends the connections without a farewell."""
        for connection in self.connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            connection.close()
        self.connections.clear()
        self.held.clear()

    def close(self):
        self.open = False
        self.cut()
        self.listener.close()


class Status:
    """Asks the service through its socket."""

    def __init__(self, path):
        self.path = path

    def get(self, what="/status"):
        if is_windows():
            done = subprocess.run([*EMULATOR, YOXCTL, *([] if what == "/status" else ["--metrics"]), "--format", "json",
                                   "status", "--socket", str(self.path)], capture_output=True, text=True, timeout=LIMIT)
            return (200 if done.returncode in (0, 1) else 0), done.stdout
        connection = http.client.HTTPConnection("localhost", timeout=LIMIT)
        connection.sock = socket.socket(socket.AF_UNIX)
        connection.sock.settimeout(LIMIT)
        try:
            connection.sock.connect(str(self.path))
            connection.request("GET", what)
            response = connection.getresponse()
            return response.status, response.read().decode()
        finally:
            connection.close()

    def json(self):
        return json.loads(self.get()[1])


class Case(unittest.TestCase):
    """A folder with certificates, a policy, and the service on a simulated device."""

    profile = PROFILE
    configuration = {}

    def setUp(self):
        import tempfile
        folder = tempfile.TemporaryDirectory(prefix="yoxd-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.certificates = Certificates(self.folder / "certificates")
        self.state = self.folder / "s"
        self.state.mkdir(mode=0o700)
        self.service = None
        self.addCleanup(self.kill)
        self.device = self.folder / "device.json"
        self.device.write_text(self.profile.read_text())

    def policy(self, port, chain="root", host="127.0.0.1", api=None, **validation):
        """Writes a policy with a broker, and returns its file."""
        pem = base64.b64encode(self.certificates.pem(chain).encode()).decode()
        fields = {"uri": {"mqtt_baseuri": f"mqtts://{host}:{port}", **({"api_baseuri": api} if api else {})},
                  "validation": {"mqtt_chain_pem64": pem, **validation}}
        file = self.folder / "policy.json"
        file.write_text(json.dumps({"yox_config": {"platform_policy": fields}}))
        return file

    def configure(self, **settings):
        file = self.folder / "yoxd.json"
        file.write_text(json.dumps({"device_id": "device-1", "reconnect_first_milliseconds": 50,
                                    "reconnect_most_seconds": 1,
                                    "policy_file": str(self.folder / "policy.json"),
                                    **self.configuration, **settings}))
        return file

    def start(self, *arguments, wrapper=(), program=None, **options):
        self.service = Program([*wrapper, *EMULATOR, program or YOXD, "--config", str(self.folder / "yoxd.json"), "--device",
                                str(self.device), "--state-dir", str(self.state), *arguments],
                               "service: started", **options)
        return self.service

    def kill(self, number=signal.SIGKILL):
        if self.service is None:
            return None
        service, self.service = self.service, None
        return service.kill(number)

    def reload(self):
        """Lets the service read policy and device again; on Windows only the service manager can."""
        not_on_windows(self, "a program of a console is not reloaded")
        self.service.process.send_signal(signal.SIGHUP)

    @property
    def status(self):
        return Status(self.state / "State/yoxd/yoxd.sock")

    def wait_connected(self, times=1):
        return wait_for(lambda: (s := self.status.json())["connection"]["state"] == "connected" and
                        s["connection"]["connections"] >= times and s, f"connection {times}")

    def out(self, leaf):
        return f"yox/devices/device-1/out/{leaf}"

    def incoming(self, leaf):
        return f"yox/devices/device-1/in/{leaf}"


def main(arguments):
    """Runs the classes that are named by --cases, or lists them."""
    import sys
    global YOXD, YOXCTL, YOXD_OWN_TRUST
    import __main__
    if arguments[1:] == ["--list"]:
        print(";".join(name for name, value in vars(__main__).items()
                       if isinstance(value, type) and issubclass(value, unittest.TestCase)
                       and value.__module__ == "__main__"
                       and any(test.startswith("test_") for test in dir(value))))
        return
    names = arguments[2].split(",")
    first = 3 if pathlib.Path(arguments[3]).name.startswith("yoxd") else 4  # after an emulator
    EMULATOR[:] = arguments[3:first]
    YOXD, YOXCTL, YOXD_OWN_TRUST, *rest = arguments[first:]
    unittest.main(argv=[arguments[0], *rest, *names], verbosity=2)
