# SPDX-License-Identifier: Apache-2.0
"""The keys that servers show, as `vktinventory pins` prints them for review."""
import json
import os
import pathlib
import signal
import socket
import ssl
import subprocess
import tempfile
import unittest

from enclosures import COMMAND, TIMEOUT, Enclosure, environment_with, run
from https_servers import HttpsServers


def address(port):
    return f"127.0.0.1:{port}"


class Pins(HttpsServers, unittest.TestCase):
    maxDiff = None

    def pins(self, *hosts, flags=()):
        """Without an account, a password or a terminal to ask on."""
        return run([COMMAND, *flags, *(word for host in hosts for word in ("-H", host)), "pins"])

    def silent(self):
        """Takes connections, and says nothing."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return address(listener.getsockname()[1])

    def test_are_shown_whatever_the_certificate(self):
        self.certificates.sign("expired", "20250101000000Z", "20260301120000Z")
        self.certificates.sign_itself("elsewhere", names="DNS:elsewhere.example")
        self.certificates.sign_itself("weak", key=["rsa:1024"])
        served = {address(self.serve(name)): name for name in ("own", "expired", "elsewhere", "weak")}
        ran = self.pins(*served)
        lines = [f"{host} {self.certificates.pin(name)}\n" for host, name in served.items()]
        self.assertEqual((ran.returncode, ran.stderr, ran.stdout), (0, "", "".join(lines)))

    def test_trust_the_modules_that_showed_them(self):
        with tempfile.TemporaryDirectory() as folder:
            enclosure = Enclosure("healthy-first")
            self.addCleanup(enclosure.process.kill)
            https = enclosure.endpoints["https"]
            fleet = pathlib.Path(folder, "fleet.toml")
            fleet.write_text(
                f'[defaults]\ninterface = "https"\nuser = "{https["user"]}"\n'
                f'password = "{https["password"]}"\npins-file = "modules.pins"\n'
                f'[[group]]\nname = "all"\nhosts = ["{address(https["port"])}"]\n'
            )
            fleet.chmod(0o600)
            ran = run([COMMAND, "--fleet", str(fleet), "--all", "pins"])
            self.assertEqual(ran.stdout, f'{address(https["port"])} {https["pin"]}\n')
            (fleet.parent / "modules.pins").write_text(ran.stdout)
            read = run([COMMAND, "--fleet", str(fleet), "--all", "--format", "json", "identity"])
            self.assertEqual((read.returncode, read.stderr), (0, ""))
            self.assertTrue(json.loads(read.stdout)[0]["complete"])
            statistics = enclosure.end()
            self.assertEqual((statistics["handshakes"], statistics["openSessions"]), (2, 0))

    def test_are_lacking_of_those_who_show_none(self):
        plain = self.serve_bytes(lambda connection: (connection.recv(9), connection.sendall(b"what?" * 9)))
        closing = self.serve_bytes(lambda connection: connection.close())
        with socket.create_server(("127.0.0.1", 0)) as closed:
            nobody = closed.getsockname()[1]
        own = self.serve("own")
        ran = self.pins(*map(address, (own, plain, closing, nobody)), self.silent(), flags=["--connect-timeout", "5"])
        self.assertEqual((ran.returncode, ran.stdout), (1, f"{address(own)} {self.certificates.pin('own')}\n"))
        complaints = {line.split(": ")[1]: line for line in ran.stderr.splitlines()}
        self.assertEqual(len(complaints), 4)
        for port, said in (
            (plain, "no such module: the server does not agree on TLS 1.2 or newer"),
            (closing, "no connection: the "),
            (nobody, "no connection: nothing listens on that port"),
        ):
            self.assertIn(said, complaints[address(port)])
        self.assertEqual(self.pins(address(nobody)).returncode, 3)

    def test_of_those_who_demand_a_certificate_are_told_or_refused(self):
        port = self.serve("own", demands_certificate=True, newest=ssl.TLSVersion.TLSv1_2)
        ran = self.pins(address(port))
        self.assertEqual((ran.returncode, ran.stdout), (4, ""))
        self.assertIn("the server demands a certificate of its client", ran.stderr)

    def test_end_at_ctrl_c_with_those_that_are_there(self):
        own = address(self.serve("own"))
        silent = self.silent()
        child = subprocess.Popen(
            [COMMAND, "--timeout", "1000", "--connect-timeout", "1000", "-H", own, "-H", silent, "pins"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=environment_with(),
            start_new_session=True)
        first = child.stdout.readline()
        child.send_signal(signal.SIGINT)
        output, error = child.communicate(timeout=TIMEOUT)
        self.assertEqual((child.returncode, first + output, error),
                         (130, f"{own} {self.certificates.pin('own')}\n", ""))

    def test_that_nobody_reads_end_it(self):
        reader, writer = os.pipe()
        os.close(reader)
        with os.fdopen(writer, "w") as output:
            ran = subprocess.run([COMMAND, "-H", address(self.serve("own")), "pins"], stdout=output,
                                 stderr=subprocess.PIPE, text=True, env=environment_with())
        self.assertEqual(ran.returncode, 5)
        self.assertIn("Broken pipe", ran.stderr)


if __name__ == "__main__":
    unittest.main()
