# SPDX-License-Identifier: Apache-2.0
"""A password is nowhere but where the user put it: not in outputs, nor in the log (which is standard
error, at -vv with every byte), the process list, environments, files or a core."""
import base64
import concurrent.futures
import os
import pathlib
import resource
import signal
import socket
import subprocess
import tempfile
import unittest

from enclosures import COMMAND, TIMEOUT, Enclosure, environment_with, run
from exporter import LOG_INS, Exporter
from https_test import SESSIONS, Handler, TlsModule
from terminal_test import Terminal

USER = "admin"
PASSWORD = "Hush-4c0ffee-7d9e"
CREDENTIALS = {"user": USER, "password": PASSWORD, "privilege": "administrator"}
TOKEN = "Whisper-51ab-99e0"
KG = "Murmur-88c1-7be3"
COMMANDS = ["show", "--format json show", "health", "identity", "power", "psu", "nodes", "node 1", "status", "select-psu 1"]

# Exit codes, as --help names them.
READ, SOME_FAILED, WRONG_USAGE, NO_CONNECTION, REFUSED, FAULT_HERE = 0, 1, 2, 3, 4, 6


def forms(secret):
    """What a secret looks like to a reader who knows how it travels."""
    raw = secret.encode()
    basic = f"{USER}:{secret}".encode()
    encoded = [base64.b64encode(text).decode().rstrip("=") for text in (raw, basic)]
    return [form.lower() for form in (secret, raw.hex(), *encoded)]


# For modules that are never ready: they are waited for until the deadline.
SOON = ("--timeout", "3")

FORMS = forms(PASSWORD) + forms(TOKEN) + forms(KG)


def found_in(text):
    """The forms that a text holds, also spelt in capitals or byte by byte with blanks."""
    text = text.decode("latin-1") if isinstance(text, bytes) else text
    plain = text.lower()
    joined = "".join(plain.split())
    return [form for form in FORMS if form in plain or form in joined]


def setUpModule():
    """All that a program could leave goes into a folder of its own: TMPDIR, HOME and where it runs."""
    global folder, password_file, marked_file
    kept = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(kept.cleanup)
    password_file = str(pathlib.Path(kept.name, "password"))
    with open(password_file, "w", opener=lambda path, flags: os.open(path, flags, 0o600)) as file:
        file.write(PASSWORD + "\n")
    marked_file = str(pathlib.Path(kept.name, "with-a-byte-order-mark"))
    pathlib.Path(marked_file).write_text(PASSWORD + "\n", "utf-8-sig")
    left = tempfile.TemporaryDirectory()
    folder = pathlib.Path(left.name)
    unittest.addModuleCleanup(left.cleanup)
    unittest.addModuleCleanup(os.chdir, os.getcwd())
    os.chdir(folder)
    os.environ.update({"TMPDIR": left.name, "HOME": left.name})


def given(way):
    """Flags and environment that hand the password over."""
    return {
        "-P": (["-P", PASSWORD], {}),
        "-f": (["-f", password_file], {}),
        "-E": (["-E"], {"IPMI_PASSWORD": PASSWORD}),
        "prompt": ([], {}),
    }[way]


def transport(name, endpoints, *trust):
    """The words that lead to a simulated module; over HTTPS it is trusted unless told otherwise."""
    https = endpoints["https"]
    if name == "rmcp":
        return ["-H", "127.0.0.1", "-p", str(endpoints["rmcp"]["port"])]
    trust = trust or ("--pin", https["pin"])
    return over_https(https["port"], "--auth", name, *trust)


def over_https(port, *words):
    return ["-I", "https", "-H", "127.0.0.1", "-p", str(port), *words]


TRANSPORTS = ["rmcp", "basic", "session"]
WAYS = ["-P", "-f", "-E"]


class Silence(unittest.TestCase):
    """Each test ends with nothing left in the folder, and nothing that was said being secret."""

    def setUp(self):
        self.addCleanup(self.check_folder_is_empty)

    def check_folder_is_empty(self):
        self.assertEqual([str(path) for path in folder.rglob("*")], [])

    def check_files(self):
        for path in folder.rglob("*"):
            if path.is_file():
                self.assertEqual(found_in(path.read_bytes()), [], path)

    def check_process(self, pid, *, but=()):
        for name in {"cmdline", "environ"} - set(but):
            try:
                text = pathlib.Path(f"/proc/{pid}/{name}").read_bytes()
            except PermissionError:
                self.assertEqual(name, "environ")  # only root may
                continue
            self.assertNotEqual(text, b"")
            self.assertEqual(found_in(text), [], f"{name} of {pid}")

    def check_run(self, codes, way, *words):
        flags, environment = given(way)
        ran = run([COMMAND, "-vv", "-U", USER, *flags, *words], environment)
        self.assertIn(ran.returncode, codes, ran.stderr)
        self.assertNotEqual(ran.stderr, "")
        for text in (ran.stdout, ran.stderr):
            self.assertEqual(found_in(text), [], f"{way} {words}:\n{text}")
        return ran

    def check_runs(self, codes, runs):
        """Side by side, for most of the time is the module's."""
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for done in [pool.submit(self.check_run, codes, *words) for words in runs]:
                done.result()


class WhatIsRead(Silence):
    def test_by_every_command_transport_and_way(self):
        with Enclosure("healthy-vkt2-fe-2", credentials=CREDENTIALS) as enclosure:
            self.check_files()
            self.check_runs(
                [READ],
                [
                    (way, *transport(name, enclosure.endpoints), *command.split())
                    for way in WAYS
                    for name in TRANSPORTS
                    for command in COMMANDS
                ],
            )
            self.check_files()

    def test_without_the_keys_of_its_tls_connections(self):
        with Enclosure("healthy-first", credentials=CREDENTIALS) as enclosure:
            os.environ["SSLKEYLOGFILE"] = str(folder / "keys")
            self.addCleanup(os.environ.pop, "SSLKEYLOGFILE")
            self.check_run([READ], "-f", *transport("basic", enclosure.endpoints))

    def test_with_the_password_typed(self):
        with Enclosure("healthy-first", credentials=CREDENTIALS) as enclosure:
            for name in TRANSPORTS:
                words = [COMMAND, "-vv", "-U", USER, *transport(name, enclosure.endpoints), "identity"]
                with self.subTest(name), Terminal(words) as terminal:
                    terminal.wait_for(b"Password: ")
                    terminal.type(PASSWORD.encode() + b"\n")
                    self.assertEqual(terminal.end(), READ)
                    self.assertEqual(found_in(terminal.seen), [])

    def test_from_a_simulator_whose_processes_and_files_hold_none(self):
        with Enclosure("healthy-first", credentials=CREDENTIALS) as enclosure:
            pid = enclosure.process.pid
            children = [
                child
                for task in pathlib.Path(f"/proc/{pid}/task").iterdir()
                for child in (task / "children").read_text().split()
            ]
            self.assertNotEqual(children, [])  # ipmi_sim
            for process in [pid, *children]:
                self.check_process(process)
            self.check_files()


class WhatFails(Silence):
    def test_a_wrong_password_or_an_untrusted_certificate(self):
        with Enclosure("healthy-first") as enclosure:
            runs = [(way, *transport(name, enclosure.endpoints)) for way in WAYS for name in TRANSPORTS]
            distrusted = ("--pin", "sha256//" + "A" * 43 + "=")
            runs += [("-f", *transport("basic", enclosure.endpoints, *distrusted))]
            runs += [("-f", *over_https(enclosure.endpoints["https"]["port"]))]
            self.check_runs([REFUSED], runs)

    def test_a_module_without_the_key_that_was_given(self):
        with Enclosure("healthy-first", credentials=CREDENTIALS) as enclosure:
            words = transport("rmcp", enclosure.endpoints)
            runs = [(way, flag, KG, *words) for way in WAYS for flag in ("-k", "--kg")]
            self.check_runs([REFUSED], runs)

    def test_a_module_that_answers_badly(self):
        for scenario in ("https-garbage", "https-error", "https-unauthorized", "https-unavailable"):
            with Enclosure(scenario, credentials=CREDENTIALS) as enclosure:
                self.check_runs(
                    [SOME_FAILED, NO_CONNECTION, REFUSED],
                    [("-f", *transport(name, enclosure.endpoints), *SOON) for name in TRANSPORTS[1:]],
                )
        with Enclosure("busy", credentials=CREDENTIALS) as enclosure:
            self.check_run([NO_CONNECTION, REFUSED], "-E", *transport("rmcp", enclosure.endpoints), *SOON)

    def test_an_unknown_name(self):
        for words in (["-I", "https", "--insecure"], ["-I", "lanplus"]):
            self.check_run([NO_CONNECTION], "-f", "-H", "no-such-host.invalid", *words)

    def test_a_closed_port(self):
        with socket.socket() as tcp, socket.socket(type=socket.SOCK_DGRAM) as udp:
            tcp.bind(("127.0.0.1", 0))  # and does not listen
            udp.bind(("127.0.0.1", 0))
            ports = tcp.getsockname()[1], udp.getsockname()[1]
            udp.close()
            self.check_runs(
                [NO_CONNECTION],
                [
                    ("-f", *over_https(ports[0], "--insecure")),
                    ("-f", "-H", "127.0.0.1", "-p", str(ports[1])),
                ],
            )

    def test_wrong_usage_and_unusable_passwords(self):
        for words in (
            ["--pasword", PASSWORD, "-H", "127.0.0.1"],
            ["--pasword=" + PASSWORD, "-H", "127.0.0.1"],
            ["-H", "127.0.0.1", "psu", "--pass", PASSWORD],
            ["-f", marked_file, "-H", "127.0.0.1", "-U", USER],
            ["-P", PASSWORD],
            ["-P", PASSWORD, "-f", password_file, "-H", "127.0.0.1"],
            ["-P", PASSWORD, "-H", "127.0.0.1", "no-such-command"],
            ["-P", PASSWORD * 2, "-H", "127.0.0.1", "-U", USER],
            ["-P", PASSWORD, "-k", KG * 2, "-H", "127.0.0.1", "-U", USER],
            ["-P", PASSWORD, "-k" + KG, "-I", "https", "-H", "127.0.0.1", "-U", USER],
            ["-k", KG],
            ["-k", KG, "-k", KG, "-H", "127.0.0.1"],
            ["-P", PASSWORD + "\n", "-I", "https", "-H", "127.0.0.1", "-U", USER],
        ):
            ran = run([COMMAND, "-vv", *words])
            self.assertIn(ran.returncode, (WRONG_USAGE, NO_CONNECTION, REFUSED, FAULT_HERE), ran.stderr)
            self.assertEqual(found_in(ran.stdout + ran.stderr), [], ran.stderr)


class Echo(Handler):
    """Gives back what it was sent, in the reason, the body and a header."""

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"])).decode()
        self.server.paths.append(self.path)
        sent = [self.headers["Authorization"], self.headers["X-Auth-Token"], body]
        echo = " ".join(text for text in sent if text)
        opens = self.path == SESSIONS and self.server.opens_sessions
        self.server.echoed += found_in(echo)
        self.reply(
            201 if opens else self.server.status,
            {"error": {"message": "no: " + echo}, "CompletionCode": echo, "ResponseData": echo},
            X_Auth_Token=TOKEN,
            Location=SESSIONS + "/" + TOKEN,
            X_Echo=echo,
        )

    def do_DELETE(self):
        self.reply(500, {"error": {"message": self.headers["X-Auth-Token"]}})


class WhatIsEchoed(Silence, TlsModule):
    handler = Echo

    def setUp(self):
        Silence.setUp(self)
        TlsModule.setUp(self)

    def check_told_by(self, *words):
        for status in (200, 201, 302, 400, 401, 403, 404, 500, 503):
            with self.subTest(status):
                self.server.status, self.server.echoed = status, []
                port = self.server.server_address[1]
                codes = [SOME_FAILED, NO_CONNECTION, REFUSED]
                self.check_run(codes, "-f", *over_https(port, "--pin", self.pin, *words, *SOON))
                self.assertNotEqual(self.server.echoed, [])

    def test_of_basic_authentication(self):
        self.server.opens_sessions = False
        self.check_told_by()

    def test_of_a_login(self):
        self.server.opens_sessions = False
        self.check_told_by("--auth", "session")

    def test_of_a_session(self):
        self.server.opens_sessions = True
        self.check_told_by("--auth", "session")


def unlimited_core():
    hard = resource.getrlimit(resource.RLIMIT_CORE)[1]
    resource.setrlimit(resource.RLIMIT_CORE, (hard, hard))


class WhileItWaits(Silence):
    """For a module that took what was sent and says nothing."""

    def check_waiting(self, way, words, listen):
        flags, environment = given(way)
        process = subprocess.Popen(
            [COMMAND, "-vv", "-U", USER, *flags, *words],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            env=environment_with(environment),
            start_new_session=True,
            preexec_fn=unlimited_core,
        )
        with process.stdout as output:
            heard = listen()
            # The environment is where the user of -E put it.
            self.check_process(process.pid, but=["environ"] if way == "-E" else [])
            limits = pathlib.Path(f"/proc/{process.pid}/limits").read_text()
            self.assertRegex(limits, r"Max core file size +1 +1 ")
            process.send_signal(signal.SIGABRT)
            said = output.read()
            _, status = os.waitpid(process.pid, 0)
            process.returncode = -os.WTERMSIG(status)
        self.assertEqual(os.WTERMSIG(status), signal.SIGABRT, said)
        self.assertFalse(os.WCOREDUMP(status))
        self.assertEqual(found_in(said), [])
        return heard

    def test_over_rmcp(self):
        for way in WAYS:
            with self.subTest(way), socket.socket(type=socket.SOCK_DGRAM) as module:
                module.settimeout(TIMEOUT)
                module.bind(("127.0.0.1", 0))
                words = ["-H", "127.0.0.1", "-p", str(module.getsockname()[1]), "-k", KG]
                self.assertNotEqual(self.check_waiting(way, words, lambda: module.recv(1024)), b"")

    def test_over_https(self):
        for way in WAYS:
            with self.subTest(way), socket.create_server(("127.0.0.1", 0)) as module:
                module.settimeout(TIMEOUT)
                words = over_https(module.getsockname()[1], "--insecure")
                connection, _ = self.check_waiting(way, words, module.accept)
                connection.close()


class WhatTheExporterSays(Silence):
    """With every way to a password, over every transport, to modules that take it and that do not."""

    def fleet(self, *enclosures):
        password = {
            "file": f'password-file = "{password_file}"',
            "text": f'password = "{PASSWORD}"',
            "command": f'password-command = "cat {password_file}"',
        }
        lines, hosts = [f'[defaults]\nuser = "{USER}"'], []
        for enclosure in enclosures:
            rmcp, https = enclosure.endpoints["rmcp"], enclosure.endpoints["https"]
            over_tls = f'interface = "https"\npin = "{https["pin"]}"\nauth = '
            for host, settings in (
                (f"127.0.0.1:{rmcp['port']}", password["file"]),
                (f"localhost:{rmcp['port']}", password["text"] + f'\nkg = "{KG}"'),
                (f"127.0.0.1:{https['port']}", password["command"] + "\n" + over_tls + '"basic"'),
                (f"localhost:{https['port']}", password["file"] + "\n" + over_tls + '"session"'),
            ):
                hosts.append(host)
                lines.append(f'[[host]]\nname = "{host}"\n{settings}')
        return hosts, "\n".join(lines)

    def test_of_reads_and_reloads(self):
        file = pathlib.Path(password_file).with_name("fleet.toml")
        with Enclosure("healthy-first", credentials=CREDENTIALS) as good, Enclosure("healthy-first") as other:
            hosts, text = self.fleet(good, other)
            file.write_text(text)
            file.chmod(0o600)
            with Exporter(file, "--log.level", "debug", preexec_fn=unlimited_core) as exporter:
                self.check_process(exporter.process.pid)
                for host in hosts:
                    for page in (f"/probe?target={host}", f"/probe?target={host}&debug=true"):
                        self.check_answer(exporter, page)
                self.assertGreater(exporter.own(LOG_INS("none")), 0)
                self.assertGreater(exporter.own(LOG_INS("refused")), 0)
                for page in ("/", "/sd", "/metrics", "/probe"):
                    self.check_answer(exporter, page)
                for mistake in (f'pasword = "{PASSWORD}"', f'password = ["{PASSWORD}"]', f'kg = "{KG * 2}"', f'"{KG}'):
                    file.write_text(text + "\n" + mistake)
                    self.assertIn("the old files stay in use", exporter.reload())
                self.check_process(exporter.process.pid)
                limits = pathlib.Path(f"/proc/{exporter.process.pid}/limits").read_text()
                self.assertRegex(limits, r"Max core file size +1 +1 ")
        self.assertIn("level=debug", exporter.log)
        self.assertEqual(found_in(exporter.log), [])

    def check_answer(self, exporter, page):
        _, text, headers = exporter.ask(page)
        self.assertNotEqual(text, "")
        self.assertEqual(found_in(text + str(headers)), [], page)


if __name__ == "__main__":
    unittest.main()
