#!/usr/bin/env python3
"""Where the policy comes from: an HTTPS server that is trusted by the policy's own rule, is away,
slow, or sends garbage; and the provision file of a first start.

  PolicyTest.py --list | --cases CLASS[,CLASS] YOXD YOXCTL
"""
import http.server
import json
import re
import signal
import ssl
import sys
import threading
import unittest

import Service
from Service import Case, Mosquitto, free_port, wait_for

PATH = "/configuration-service/v1/platform-policy"


class Server:
    """Sends `body` with `headers`, and keeps the requests."""

    def __init__(self, certificates, name="server", port=0):
        self.body, self.headers, self.code = b"{}", {}, 200
        self.requests = []
        self.released = threading.Event()
        self.released.set()
        server = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                server.requests.append((self.path, dict(self.headers)))
                server.released.wait(Service.LIMIT)
                matches = "ETag" in server.headers and self.headers.get("If-None-Match") == server.headers["ETag"]
                try:
                    self.send_response(304 if matches else server.code)
                    for name, value in server.headers.items():
                        self.send_header(name, value)
                    body = b"" if matches else server.body
                    if not matches:
                        self.send_header("Content-Length", str(len(body)))
                    self.end_headers()
                    self.wfile.write(body)
                except OSError:
                    pass  # the client has left

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", port), Handler)
        self.server.daemon_threads = True
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.chain(certificates, name), certificates.key(name))
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    @staticmethod
    def chain(certificates, name):
        file = certificates.folder / f"{name}.chain"
        file.write_text(certificates.pem(name) + certificates.pem("root"))
        return file

    def close(self):
        self.released.set()
        self.server.shutdown()
        self.server.server_close()


class Served(Case):
    def setUp(self):
        super().setUp()
        self.server = Server(self.certificates)
        self.addCleanup(lambda: self.server.close())
        self.configure()

    def trust(self, port=None, roots=None, **validation):
        roots = [self.certificates.thumbprint("root")] if roots is None else roots
        validation = {"allow_self_signed_cert": True, "tls_rootca_thumbprint_list": roots, **validation}
        self.policy(free_port(), api=f"https://127.0.0.1:{port or self.server.port}", **validation)

    def answer(self, port):
        self.server.body = json.dumps({"yox_config": {"platform_policy": {
            "uri": {"mqtt_baseuri": "mqtts://ignored:1"}, "validation": {
                "tls_thumbprint_list": ["ab" * 32]}}}}).encode()

    def policy_status(self, condition, what):
        return wait_for(lambda: condition(p := self.status.json()["policy"]) and p, what)

    def fails(self, reason):
        self.start()
        policy = self.policy_status(lambda p: p["problem"], "a failure")
        self.assertIn(reason, policy["problem"])
        errors = self.status.json()["errors"]["counts"]
        self.assertIn("HttpGateway", [error["gateway"] for error in errors])
        return policy


class Fetching(Served):
    def test_the_policy_is_fetched_and_kept(self):
        self.trust()
        self.answer(1)
        self.start()
        policy = self.policy_status(lambda p: p["fetched"], "the policy")
        self.assertEqual((policy["code"], policy["problem"]), (200, ""))
        self.assertEqual(self.server.requests[0][0], PATH)
        # A fetched policy does not move the device to another server.
        self.assertTrue(self.status.json()["connection"]["server"].startswith("127.0.0.1:"))
        self.kill()
        self.server.close()
        self.start()
        self.assertEqual(self.status.json()["policy"]["fetched"], policy["fetched"])

    def test_what_has_not_changed_is_not_sent_again(self):
        self.trust()
        self.answer(1)
        self.server.headers = {"ETag": '"7"', "Last-Modified": "Sun, 01 Mar 2026 12:00:00 GMT"}
        self.start()
        self.policy_status(lambda p: p["code"] == 200, "the policy")
        self.reload()
        self.policy_status(lambda p: p["code"] == 304, "no new policy")
        headers = self.server.requests[1][1]
        self.assertEqual((headers["If-None-Match"], headers["If-Modified-Since"]),
                         ('"7"', "Sun, 01 Mar 2026 12:00:00 GMT"))
        # Also after a restart.
        self.kill()
        self.start()
        self.policy_status(lambda p: p["code"] == 304, "no new policy")

    def test_a_server_that_is_away_is_asked_again(self):
        self.trust()
        self.answer(1)
        port = self.server.port
        self.server.close()
        self.fails("Failed to connect")
        self.server = Server(self.certificates, port=port)
        self.answer(1)
        self.policy_status(lambda p: p["code"] == 200, "the policy")
        self.assertNotIn("HttpGateway", [e["gateway"] for e in self.status.json()["errors"]["counts"]])

    def test_a_server_that_does_not_respond_blocks_nothing(self):
        self.configure(policy_timeout_seconds=1)
        self.trust()
        self.server.released.clear()
        self.fails("timed out")
        self.kill()
        self.configure(policy_timeout_seconds=600)
        self.start()
        wait_for(lambda: len(self.server.requests) > 1, "the request")
        self.assertEqual(self.status.get()[0], 200)
        self.assertEqual(self.kill(signal.SIGTERM), 0)

    def test_garbage_and_errors_change_nothing(self):
        self.trust()
        for code, body, reason in ((200, b"<html>", "the policy is refused: not JSON"),
                                   (200, b"[]", "the policy is refused: expected an object"),
                                   (200, b'{"yox_config": 1}', "yox_config.platform_policy: expected an object"),
                                   (200, b"x" * (2 << 20), "longer than 1 MiB"),
                                   (302, b"", "HTTP status 302"),
                                   (503, b"{}", "HTTP status 503")):
            with self.subTest(reason=reason):
                self.server.code, self.server.body = code, body
                self.fails(reason)
                self.assertEqual(self.status.json()["policy"]["fetched"], "")
                self.kill()


    def test_a_policy_that_comes_later_is_used_without_a_restart(self):
        self.trust()
        self.answer(1)
        later = self.folder / "policy.json"
        text = later.read_text()
        later.unlink()
        self.configure(keep_alive_seconds=5)
        self.start()
        status = self.status.json()
        self.assertIn("policy.json: ", status["provisioning"]["problem"])
        self.assertEqual(status["policy"]["code"], 0)
        later.write_text(text)
        self.policy_status(lambda p: p["code"] == 200, "the policy")
        self.assertEqual(self.status.json()["provisioning"], {"done": True, "problem": ""})

    def test_a_key_that_others_can_read_is_not_used(self):
        Service.not_on_windows(self, "Wine does not enforce access lists")
        self.certificates.make("device-1", "root")
        self.certificates.key("device-1").chmod(0o644)
        self.configure(client_certificate=str(self.certificates.path("device-1")),
                       client_key=str(self.certificates.key("device-1")))
        self.trust()
        self.fails("expected a key that only its owner can read")
        self.assertEqual(self.server.requests, [])
        self.certificates.key("device-1").chmod(0o600)
        self.reload()
        self.policy_status(lambda p: p["code"] == 200, "the policy")


class Trusted(Served):
    """TLS checks are never off: a self-signed root needs the flag and its thumbprint."""

    def test_a_root_that_is_not_listed_is_refused(self):
        self.trust(roots=["00" * 32])
        self.fails("self-signed certificate in certificate chain")

    def test_a_root_of_its_own_is_refused_without_the_flag(self):
        self.trust(allow_self_signed_cert=False)
        self.fails("self-signed certificate in certificate chain")

    def test_a_common_name_that_is_not_listed_is_refused(self):
        self.trust(tls_leaf_cn_list=["other"])
        self.fails("its common name is not in the policy's list")

    def test_a_common_name_that_is_listed_is_accepted(self):
        self.trust(tls_leaf_cn_list=["other", "server"])
        self.answer(1)
        self.start()
        self.policy_status(lambda p: p["code"] == 200, "the policy")

    def other_server(self, name, reason, **properties):
        self.certificates.server(name, **properties)
        self.server.close()
        self.server = Server(self.certificates, name)
        self.trust()
        self.fails(reason)

    def test_an_expired_certificate_is_refused(self):
        self.other_server("expired", "certificate has expired", validity=Service.Certificates.PAST)

    def test_a_certificate_of_another_host_is_refused(self):
        self.other_server("elsewhere", "no alternative certificate subject name matches", names="DNS:other.example")


class Provisioning(Case):
    """The first start, without a policy file. The tokens that this build accepts cannot be made
    here; what a valid one does is tested with a build that has a key of its own."""

    def setUp(self):
        super().setUp()
        self.configure(policy_file="")

    def problem(self, content):
        if content is not None:
            root = self.state / "Root"
            root.mkdir(exist_ok=True)
            (root / "yox-provision.json").write_text(content)
        self.start()
        status = self.status.json()
        self.kill()
        self.assertFalse(status["provisioning"]["done"])
        self.assertIn("Registration", [error["gateway"] for error in status["errors"]["counts"]])
        return status["provisioning"]["problem"]

    def test_each_step_is_named_when_it_fails(self):
        self.assertEqual(self.problem(None), "find the provision file: there is none")
        self.assertIn("read the provision file: ", self.problem("{"))
        self.assertEqual(self.problem('{"provision_token": "a.b"}'),
                         "check the token: it does not have three parts")

    def test_a_valid_file_leads_to_a_connection_and_a_stored_policy(self):
        broker = Mosquitto(self.folder, self.certificates)
        self.addCleanup(broker.stop)
        material = (Service.ROOT / "tests/trust/Material.h").read_text()
        token = "".join(re.findall(r'"([^"]*)"', re.search(r'\{"Valid",(.*?)\}', material, re.S).group(1)))
        root = self.state / "Root"
        root.mkdir()
        file = root / "yox-provision.json"
        def provision(policy):
            file.write_text(json.dumps({"provision_token": token, "config_policy": policy}))
            self.start(program=Service.YOXD_OWN_TRUST)
        provision("garbage")
        self.assertIn("read the policy: not JSON", self.status.json()["provisioning"]["problem"])
        self.kill()
        provision(self.policy(broker.port).read_text())
        self.wait_connected()
        self.kill()
        # From now on the stored policy counts, without the file.
        file.unlink()
        self.start(program=Service.YOXD_OWN_TRUST)
        self.wait_connected()


if __name__ == "__main__":
    Service.main(sys.argv)
