# SPDX-License-Identifier: Apache-2.0
"""What the command says when HTTPS fails: for each case what came back and what to do about it."""
import re
import socket
import ssl
import struct
import unittest

from enclosures import COMMAND, run
from https_servers import HttpsServers


class HttpsWords(HttpsServers, unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.authority = ("--ca-file", cls.certificates.path("authority"))
        cls.pin = ("--pin", cls.certificates.pin("own"))

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
                    flags="-I",
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
                    flags="--auth and -I",
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
                    flags="-U and -f",
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
