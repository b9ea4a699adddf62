# SPDX-License-Identifier: Apache-2.0
"""What the command says when HTTPS fails: for each case what came back and what to do about it."""
import base64
import hashlib
import http.server
import pathlib
import re
import socket
import ssl
import struct
import subprocess
import tempfile
import threading
import unittest

from enclosures import COMMAND, run

EC = ["ec", "-pkeyopt", "ec_paramgen_curve:P-256"]
AUTHORITY = """
[ca]
default_ca = here
[here]
database = index.txt
serial = serial
new_certs_dir = .
default_md = sha256
unique_subject = no
policy = any
[any]
commonName = supplied
"""


class Certificates:
    """An authority, certificates that it signed, and others that sign themselves."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.write("authority.cnf", AUTHORITY)
        self.write("index.txt", "")
        self.write("serial", "01\n")
        self.sign_itself("authority", "/CN=Our authority")

    def write(self, name, text):
        (self.folder / name).write_text(text)

    def openssl(self, *words):
        return subprocess.run(
            ["openssl", *words], cwd=self.folder, check=True, capture_output=True
        ).stdout

    def path(self, name):
        return str(self.folder / f"{name}.pem")

    def sign_itself(self, name, subject="/CN=module", names="IP:127.0.0.1", key=EC):
        self.openssl(
            *["req", "-x509", "-nodes", "-newkey", *key, "-subj", subject, "-days", "2"],
            *["-addext", f"subjectAltName={names}", "-keyout", f"{name}.key", "-out", f"{name}.pem"],
        )

    def sign(self, name, begin, end, names="IP:127.0.0.1"):
        self.openssl(
            *["req", "-nodes", "-newkey", *EC, "-subj", "/CN=module"],
            *["-keyout", f"{name}.key", "-out", f"{name}.csr"],
        )
        self.write(f"{name}.ext", f"subjectAltName={names}\n")
        self.openssl(
            *["ca", "-batch", "-notext", "-config", "authority.cnf", "-cert", "authority.pem"],
            *["-keyfile", "authority.key", "-in", f"{name}.csr", "-out", f"{name}.pem"],
            *["-extfile", f"{name}.ext", "-startdate", begin, "-enddate", end],
        )

    def pin(self, name):
        public = self.openssl("pkey", "-in", f"{name}.key", "-pubout", "-outform", "DER")
        return "sha256//" + base64.b64encode(hashlib.sha256(public).digest()).decode()


class Unauthorized(http.server.BaseHTTPRequestHandler):
    """Admits nobody; `offers` are the ways to log in that it names."""

    protocol_version = "HTTP/1.1"
    offers = ()

    def log_message(self, *_):
        pass

    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        self.send_response(401)
        for offer in self.offers:
            self.send_header("WWW-Authenticate", offer)
        self.send_header("Content-Length", "0")
        self.end_headers()


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        """A client that hangs up is what these tests are about."""


class HttpsWords(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.certificates = Certificates(folder.name)
        cls.certificates.sign_itself("own")
        cls.authority = ("--ca-file", cls.certificates.path("authority"))
        cls.pin = ("--pin", cls.certificates.pin("own"))

    def serve(self, name, offers=(), demands_certificate=False, newest=None):
        handler = type("Handler", (Unauthorized,), {"offers": offers})
        server = Server(("127.0.0.1", 0), handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.set_ciphers("ALL:@SECLEVEL=0")
        context.load_cert_chain(
            self.certificates.path(name), self.certificates.folder / f"{name}.key"
        )
        if demands_certificate:
            context.verify_mode = ssl.CERT_REQUIRED
            context.load_verify_locations(self.certificates.path("authority"))
        if newest:
            context.maximum_version = newest
        server.socket = context.wrap_socket(
            server.socket, server_side=True, do_handshake_on_connect=False
        )
        thread = threading.Thread(target=server.serve_forever, args=(0.05,))
        thread.start()
        self.addCleanup(server.server_close)
        self.addCleanup(thread.join)
        self.addCleanup(server.shutdown)
        return server.server_address[1]

    def serve_bytes(self, play):
        """Every connection to it is treated as `play` says."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)

        def accept():
            while True:
                try:
                    connection, _ = listener.accept()
                    play(connection)
                except OSError:
                    return

        threading.Thread(target=accept, daemon=True).start()
        return listener.getsockname()[1]

    def check(self, code, said, port, *words, flags="--ca-file and --pin"):
        ran = run(
            [COMMAND, "-I", "https", "-H", "127.0.0.1", "-p", str(port), "-U", "admin"]
            + ["-P", "enclosure", *words, "status"]
        )
        self.assertEqual(
            ran.stderr,
            f"vktinventory: {said.replace('ORIGIN', f'https://127.0.0.1:{port}')} (see {flags})\n",
        )
        self.assertEqual((ran.returncode, ran.stdout), (code, ""))

    def check_distrusted(self, name, said, *words):
        said += f", or pin the server's key, {self.certificates.pin(name)}"
        self.check(4, "not trusted: ORIGIN: " + said, self.serve(name), *words)

    def test_an_expired_certificate_says_when_it_expired(self):
        self.certificates.sign("expired", "20250101000000Z", "20260301120000Z")
        self.check_distrusted(
            "expired",
            "the server's certificate expired on 2026-03-01 12:00:00 UTC; renew it on the module, "
            "and check this host's clock",
            *self.authority,
        )

    def test_a_certificate_of_the_future_says_when_it_begins(self):
        self.certificates.sign("future", "20990601000000Z", "21000101000000Z")
        self.check_distrusted(
            "future",
            "the server's certificate is not valid before 2099-06-01 00:00:00 UTC; check the clocks "
            "of this host and of the module",
            *self.authority,
        )

    def test_a_wrong_name_says_which_names_there_are(self):
        names = "DNS:vkt-1.example.com,DNS:vkt.example.com,IP:10.0.0.5,IP:2001:db8::5"
        self.certificates.sign_itself("elsewhere", names=names)
        self.check_distrusted(
            "elsewhere",
            "the server's certificate is not for 127.0.0.1 but for vkt-1.example.com, "
            "vkt.example.com, 10.0.0.5, 2001:db8::5; ask for it by one of its names",
            *("--ca-file", self.certificates.path("elsewhere")),
        )

    def test_of_many_names_some_are_told_and_hostile_ones_made_harmless(self):
        names = ",".join(["DNS:\x1b[2J" + "a" * 200] + [f"DNS:n{n}.example.com" for n in range(8)])
        self.certificates.sign_itself("many", names=names)
        self.check_distrusted(
            "many",
            "the server's certificate is not for 127.0.0.1 but for \\x1b[2J" + "a" * 96 + "..., "
            + ", ".join(f"n{n}.example.com" for n in range(4))
            + " and 4 more; ask for it by one of its names",
            *("--ca-file", self.certificates.path("many")),
        )

    def test_a_weak_key_says_that_it_is_weak(self):
        self.certificates.sign_itself("weak", key=["rsa:1024"])
        self.check_distrusted(
            "weak",
            "the server's certificate has a weak key, RSA of 1024 bits; give the module a stronger "
            "one",
            *("--ca-file", self.certificates.path("weak")),
        )

    def test_a_self_signed_one_says_how_to_trust_it(self):
        self.check_distrusted(
            "own",
            "the server's certificate is self-signed; make sure that this is the module; then trust "
            "the file of its certificate",
        )

    def test_an_unknown_authority_is_named(self):
        self.certificates.sign("signed", "20250101000000Z", "20991231000000Z")
        self.check_distrusted(
            "signed",
            "the server's certificate is signed by an authority that is not trusted here, \"Our "
            "authority\"; make sure that this is the module; then trust the file of that authority",
        )

    def test_another_key_than_the_pinned_one_is_told(self):
        self.check(
            4,
            "not trusted: ORIGIN: the server's key is not the pinned one; if the module got a new "
            f"key, pin that; else someone is in between; the server's key is {self.pin[1]}",
            self.serve("own"),
            *("--pin", "sha256//" + "A" * 43 + "="),
        )

    def test_a_demanded_client_certificate_is_told(self):
        for newest in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
            with self.subTest(newest):
                self.check(
                    4,
                    "refused: ORIGIN: the server demands a certificate of its client, and none is "
                    "used here; have the module admit clients without one, or use RMCP+",
                    self.serve("own", demands_certificate=True, newest=newest),
                    *self.pin,
                    flags="-U, -f, --auth and -I",
                )

    def test_a_401_that_offers_only_digest_says_so(self):
        digest = 'Digest realm="a, Basic b", nonce="c"'
        for way in ("session", "basic"):
            with self.subTest(way):
                self.check(
                    4,
                    "refused: ORIGIN: the server answered 401: it offers Digest authentication "
                    "only, which is not spoken here; allow sessions or Basic on the module, or use "
                    "RMCP+",
                    self.serve("own", [digest]),
                    *(*self.pin, "--auth", way),
                    flags="-U, -f, --auth and -I",
                )

    def test_another_401_is_about_user_and_password(self):
        for offers in ([], ['Digest realm="a"', 'Basic realm="a"'], ['Digest a="b", basic c="d"']):
            with self.subTest(offers):
                self.check(
                    4,
                    "refused: ORIGIN: the server answered 401: the log-in is refused; check user "
                    "name and password",
                    self.serve("own", offers),
                    *self.pin,
                    flags="-U, -f, --auth and -I",
                )

    def test_a_reset_is_no_matter_of_trust(self):
        def reset(connection):
            connection.recv(1)
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            connection.close()

        self.check(
            3,
            "no connection: ORIGIN: the connection was reset within the TLS handshake; check that "
            "this is the module's HTTPS port, and what stands in between",
            self.serve_bytes(reset),
            *self.pin,
            flags="-H and -p",
        )

    def test_neither_is_a_connection_that_the_server_closes(self):
        def close(connection):
            connection.recv(65536)
            connection.close()

        self.check(
            3,
            "no connection: ORIGIN: the server closed the connection within the TLS handshake; "
            "check that this is the module's HTTPS port, and what stands in between",
            self.serve_bytes(close),
            *self.pin,
            flags="-H and -p",
        )

    def test_a_server_without_tls_is_no_module(self):
        def answer(connection):
            connection.recv(65536)
            connection.sendall(b"HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n")
            connection.close()

        port = self.serve_bytes(answer)
        ran = run([COMMAND, "-I", "https", "-H", "127.0.0.1", "-p", str(port), "-P", "x", *self.pin])
        self.assertEqual(ran.returncode, 3)
        self.assertRegex(
            ran.stderr,
            re.escape(f"vktinventory: no such module: https://127.0.0.1:{port}: the server does not ")
            + r"agree on TLS 1\.2 or newer \([^\n]*\); check that this is the module's HTTPS port and "
            r"that it offers TLS 1\.2 or newer \(see -H and -p\)\n\Z",
        )


if __name__ == "__main__":
    unittest.main()
