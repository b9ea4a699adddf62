# SPDX-License-Identifier: Apache-2.0
"""The command over HTTPS: whom it trusts, how it says that it does not, and what it then asks."""
import base64
import hashlib
import http.server
import json
import pathlib
import socket
import ssl
import subprocess
import tempfile
import threading
import unittest

from enclosures import COMMAND, run

USER, PASSWORD = "admin", "enclosure"
BASIC = "Basic " + base64.b64encode(f"{USER}:{PASSWORD}".encode()).decode()
SESSIONS = "/redfish/v1/SessionService/Sessions"

# Answers by command: a first-generation module's status, a text for every identity and a device id;
# everything else is refused as an invalid command.
MODULE_STATUS = "20" + "00" * 13
ANSWERS = {0xA8: (0, MODULE_STATUS), 0xB0: (0, b"7X58".hex()), 0x01: (0, "20")}
REFUSAL = (0xC1, "")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def reply(self, status, body, **headers):
        content = json.dumps(body).encode()
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)

    def do_POST(self):
        request = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.server.paths.append(self.path)
        if self.server.status != 200:
            return self.reply(self.server.status, {"error": {"message": "no"}})
        if self.path == SESSIONS:
            admitted = request == {"UserName": USER, "Password": PASSWORD}
            return self.reply(
                201 if admitted else 401, {}, X_Auth_Token="token", Location=SESSIONS + "/1"
            )
        if self.headers["Authorization"] != BASIC and self.headers["X-Auth-Token"] != "token":
            return self.reply(401, {"error": {"message": "who are you"}})
        code, data = ANSWERS.get(request["Command"], REFUSAL)
        code = self.server.completion_code or code
        return self.reply(
            200,
            {
                "NetFn": request["NetFn"] + 1,
                "Command": request["Command"],
                "CompletionCode": code,
                "ResponseData": data,
            },
        )

    def do_DELETE(self):
        self.server.paths.append("DELETE " + self.path)
        self.reply(200, {})


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        """A client that does not trust us hangs up; that is what these tests are about."""


class TlsModule(unittest.TestCase):
    """A module with a certificate of its own for 127.0.0.1."""

    handler = Handler

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.certificate = str(pathlib.Path(folder.name, "certificate.pem"))
        cls.key = str(pathlib.Path(folder.name, "key.pem"))
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256"]
            + ["-nodes", "-subj", "/CN=module", "-addext", "subjectAltName=IP:127.0.0.1"]
            + ["-days", "2", "-keyout", cls.key, "-out", cls.certificate],
            check=True,
            capture_output=True,
        )
        public = subprocess.run(
            ["openssl", "pkey", "-in", cls.key, "-pubout", "-outform", "DER"],
            check=True,
            capture_output=True,
        ).stdout
        cls.pin = "sha256//" + base64.b64encode(hashlib.sha256(public).digest()).decode()

    def setUp(self):
        self.server = Server(("127.0.0.1", 0), self.handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, self.key)
        self.server.socket = context.wrap_socket(
            self.server.socket, server_side=True, do_handshake_on_connect=False
        )
        self.server.paths, self.server.status, self.server.completion_code = [], 200, 0
        thread = threading.Thread(target=self.server.serve_forever, args=(0.05,))
        thread.start()
        self.addCleanup(self.server.server_close)
        self.addCleanup(thread.join)
        self.addCleanup(self.server.shutdown)


class Https(TlsModule):
    def ask(self, *words, host="127.0.0.1", password=PASSWORD, port=None):
        port = port or self.server.server_address[1]
        return run(
            [COMMAND, "-I", "https", "-H", host, "-p", str(port), "-U", USER, "-P", password]
            + list(words)
        )

    def check_reads(self, *words, said=r"\A\Z"):
        ran = self.ask(*words, "--format", "json", "identity")
        document = json.loads(ran.stdout)
        self.assertEqual(document["module"]["interface"], "https")
        self.assertEqual(document["identity"]["machineType"], "7X58")
        self.assertEqual(ran.returncode, 0)
        self.assertRegex(ran.stderr, said)

    def check_refused(self, code, reason, *words, **changes):
        ran = self.ask(*words, **changes)
        self.assertEqual(ran.returncode, code, ran.stderr)
        self.assertRegex(ran.stderr, f"^vktinventory: [^\n]*{reason}[^\n]*\n$")
        self.assertEqual(ran.stdout, "")
        return ran.stderr

    def test_trusts_the_certificate_of_a_given_authority(self):
        self.check_reads("--ca-file", self.certificate)

    def test_trusts_a_pinned_key(self):
        self.check_reads("--pin", self.pin)

    def test_trusts_anyone_when_told_so_and_says_it(self):
        self.check_reads("--insecure", said=r"\Avktinventory: --insecure: whoever answers is trusted[^\n]*\n\Z")

    def test_names_what_the_module_refuses(self):
        ran = self.ask("--pin", self.pin, "power")
        self.assertEqual(ran.returncode, 1)
        self.assertRegex(
            ran.stderr,
            r"\Avktinventory: Chassis consumption and Chassis caps not read: [^\n]*0xC1[^\n]*\n\Z",
        )

    def test_logs_in_for_one_session_and_ends_it(self):
        self.check_reads("--pin", self.pin)
        self.assertEqual(self.server.paths.count(SESSIONS), 1)
        self.assertEqual(self.server.paths.count("DELETE " + SESSIONS + "/1"), 1)

    def test_logs_in_with_every_request_when_told_so(self):
        self.check_reads("--pin", self.pin, "--auth", "basic")
        self.assertNotIn(SESSIONS, self.server.paths)

    def test_an_unknown_certificate_is_not_trusted_and_its_pin_is_told(self):
        message = self.check_refused(4, "not trusted")
        self.assertIn(self.pin, message)
        self.assertIn("--pin", message)
        self.assertEqual(self.server.paths, [])

    def test_another_pin_is_not_trusted(self):
        self.check_refused(4, "not trusted", "--pin", "sha256//" + "A" * 43 + "=")
        self.assertEqual(self.server.paths, [])

    def test_a_wrong_password_is_refused(self):
        self.check_refused(4, "refused", "--pin", self.pin, password="wrong")

    def test_a_low_privilege_is_refused(self):
        self.server.completion_code = 0xD4
        self.check_refused(4, "privilege", "--pin", self.pin)

    def test_a_forbidden_user_is_refused(self):
        self.server.status = 403
        self.check_refused(4, "refused", "--pin", self.pin)

    def test_a_server_without_the_service_is_told(self):
        self.server.status = 404
        self.check_refused(3, "404", "--pin", self.pin)

    def test_an_unknown_name_is_told(self):
        self.check_refused(3, "name was not found", host="no-such-host.invalid")

    def test_a_closed_port_is_told(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        self.check_refused(3, "no connection", port=port)


if __name__ == "__main__":
    unittest.main()
