# SPDX-License-Identifier: Apache-2.0
"""HTTPS servers with certificates of all kinds, made while the tests run."""
import base64
import hashlib
import http.server
import pathlib
import socket
import ssl
import subprocess
import tempfile
import threading

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


class HttpsServers:
    """For test cases: servers on loopback, each with a certificate of its own or none."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.certificates = Certificates(folder.name)
        cls.certificates.sign_itself("own")

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
