# SPDX-License-Identifier: Apache-2.0
"""vkt-exporter against simulated enclosures, over HTTP."""
import concurrent.futures
import contextlib
import json
import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from enclosures import TIMEOUT, Simulators, changed, environment_with, slow, slow_log_in, written
from exporter import EXPORTER, LOG_INS, NOT_READ, Exporter

OK, CANNOT_RUN, WRONG_USAGE = 0, 1, 2



def hostile_enclosure():
    scenario = changed("healthy-first")
    scenario["supplies"][0]["manufacturer"] = '"\\}{'
    return scenario


class Fleet(unittest.TestCase):
    """Enclosures of several kinds, and an exporter of a fleet file with them and others."""

    scenarios = ()

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.file = pathlib.Path(cls.folder.name, "fleet.toml")
        cls.write("password", "enclosure\n")
        files = [written(scenario) for scenario in cls.scenarios]
        cls.simulators = Simulators(len(files), *(file.name for file in files))
        cls.addClassCleanup(cls.simulators.__exit__)
        cls.targets = [f"127.0.0.1:{e['rmcp']['port']}" for e in cls.simulators.endpoints]

    @classmethod
    def write(cls, name, text):
        """Anew, as editors do, and readable for its owner alone."""
        path = pathlib.Path(cls.folder.name, name)
        new = path.with_suffix(".new")
        with open(new, "w", opener=lambda file, flags: os.open(file, flags, 0o600)) as file:
            file.write(text)
        new.replace(path)
        return path

    @classmethod
    def write_fleet(cls, *others, labels=""):
        hosts = json.dumps([*cls.targets, *others])
        cls.write("fleet.toml", f"""
            [[group]]
            name = "all"
            hosts = {hosts}
            user = "admin"
            password-file = "password"
            connect-timeout = 1000
            {labels}""")
        return cls.file


class Requests(Fleet):
    scenarios = (changed("healthy-vkt2-fc-9"), hostile_enclosure())

    def setUp(self):
        self.write_fleet(labels='labels = { site = "north \\"1\\"" }')
        self.exporter = Exporter(self.file)
        self.addCleanup(self.exporter.end)

    def test_a_target_gives_its_metrics(self):
        metrics = self.exporter.probe(self.targets[0])
        self.assertEqual(metrics["vkt_up"], 1)
        self.assertEqual(metrics["vkt_complete"], 1)
        self.assertEqual(metrics["vkt_power_average"], 1850)
        self.assertEqual(metrics['vkt_psu_present{psu="9"}'], 1)
        status, text, headers = self.exporter.ask("/probe?target=" + self.targets[0] + "&collect[]=power")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; version=0.0.4"))
        self.assertIn("vkt_power_average 1850\n", text)
        self.assertNotIn("vkt_psu_present", text)

    def test_labels_hold_whatever_a_module_says(self):
        metrics = self.exporter.probe(self.targets[1])
        self.assertIn('manufacturer="\\"\\\\}{"', " ".join(metrics))

    def test_bad_requests_are_told_what_is_wrong(self):
        target = self.targets[0]
        for path, said in (
            ("/probe", "no target is named"),
            ("/probe?target=", "no target is named"),
            (f"/probe?target={target}&target={target}", "several targets"),
            ("/probe?target=enc1", '"enc1" is no host of the fleet file'),
            (f"/probe?target=http://{target}/", "is no host of the fleet file"),
            ("/probe?target=127.0.0.1", "is no host of the fleet file"),
            (f"/probe?target={target}%0d%0aX-Injected:%20yes", "\\x0d\\x0aX-Injected: yes"),
            ("/probe?target=%ff%1b[2J", '"\\xff\\x1b[2J" is no host'),
            (f"/probe?target={target}&collect[]=x%0d%0aX-Injected:%20yes", "there is no section"),
        ):
            status, text, headers = self.exporter.ask(path)
            self.assertEqual(status, 400, path)
            self.assertIn(said, text)
            self.assertEqual(text.count("\n"), 1, text)
            self.assertNotIn("X-Injected", headers)
        for timeout in ("soon", "-1", "inf", "nan", "0", "1 2"):
            status, text, _ = self.exporter.ask(
                f"/probe?target={target}", headers={"X-Prometheus-Scrape-Timeout-Seconds": timeout})
            self.assertEqual((status, text.count("\n")), (400, 1))
            self.assertIn(f'"{timeout}" is no number of seconds above 0', text)
        self.assertEqual(self.exporter.own(LOG_INS("none")), 0)

    def test_other_pages(self):
        status, text, headers = self.exporter.ask("/sd")
        self.assertEqual((status, headers["Content-Type"]), (200, "application/json"))
        labels = {"__meta_vkt_group": "all", "site": 'north "1"'}
        self.assertEqual(json.loads(text), [{"targets": self.targets, "labels": labels}])
        self.assertEqual(self.exporter.ask("/-/healthy")[:2], (200, "healthy\n"))
        self.assertEqual(self.exporter.ask("/-/ready")[:2], (200, "ready\n"))
        status, text, headers = self.exporter.ask("/")
        self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
        self.assertIn("<h1>vkt-exporter", text)
        self.assertEqual(self.exporter.ask("/nothing")[0], 404)
        status, _, headers = self.exporter.ask("/-/reload")
        self.assertEqual((status, headers["Allow"]), (405, "POST"))
        self.assertEqual(self.exporter.ask("/-/reload", "POST")[0], 403)

    def test_the_log_of_a_read(self):
        status, text, headers = self.exporter.ask(f"/probe?target={self.targets[0]}&debug=true")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; charset=utf-8"))
        self.assertRegex(text, r'\ALog of reading .*:\ntime=.* level=debug .*msg="a session is open"\n')
        self.assertRegex(text, r"\nMetrics of this read:\n# HELP vkt_up ")
        self.assertNotIn("debug", self.exporter.log)


class Modules(Fleet):
    """Some that answer slowly, refuse, or say nothing."""

    scenarios = (
        changed("healthy-first"),
        changed("healthy-vkt2-fc-9", faults=slow(400)),
        changed("healthy-first", faults=slow_log_in(400) + slow(200)),
    )

    def start(self, *others, flags=()):
        self.write("password", "enclosure\n")
        self.write_fleet(*others)
        exporter = Exporter(self.file, *flags)
        self.addCleanup(exporter.end)
        return exporter

    def test_a_slow_one_gives_what_was_read_in_time(self):
        metrics = self.start().probe(self.targets[1], timeout=12)  # of 27
        self.assertEqual((metrics["vkt_up"], metrics["vkt_complete"]), (1, 0))
        self.assertGreater(metrics[NOT_READ("timedOut")], 0)
        self.assertEqual(metrics['vkt_psu_present{psu="1"}'], 1)
        self.assertNotIn("vkt_power_average", metrics)

    def test_one_that_says_nothing_keeps_nobody_waiting(self):
        with socket.socket(type=socket.SOCK_DGRAM) as silent, \
                concurrent.futures.ThreadPoolExecutor() as pool:
            silent.bind(("127.0.0.1", 0))
            dead = f"127.0.0.1:{silent.getsockname()[1]}"
            exporter = self.start(dead)
            waiting = pool.submit(exporter.probe, dead)
            silent.settimeout(TIMEOUT)
            silent.recv(1024)  # it is being read
            self.assertEqual(exporter.probe(self.targets[0])["vkt_up"], 1)
            self.assertFalse(waiting.done())
            silent.close()  # the next copy finds nobody
            metrics = waiting.result()
        self.assertEqual((metrics["vkt_up"], metrics["vkt_complete"]), (0, 0))
        self.assertEqual(metrics[NOT_READ("unreachable")] + metrics[NOT_READ("timedOut")] > 0, True)
        self.assertEqual({name for name in metrics if name.startswith("vkt_p")}, set())

    def test_too_many_scrapes_are_told_to_come_back(self):
        with socket.socket(type=socket.SOCK_DGRAM) as silent, \
                concurrent.futures.ThreadPoolExecutor() as pool:
            silent.bind(("127.0.0.1", 0))
            dead = f"127.0.0.1:{silent.getsockname()[1]}"
            exporter = self.start(dead, flags=("--max-in-flight", "1"))
            first = pool.submit(exporter.probe, dead, timeout=20)
            exporter.wait_until("vkt_exporter_reads_in_flight", 1)
            second = pool.submit(exporter.probe, self.targets[0], timeout=8)
            exporter.wait_until("vkt_exporter_reads_waiting", 1)
            status, text, headers = exporter.ask("/probe?target=" + self.targets[0])
            self.assertEqual((status, text.count("\n")), (503, 1))
            self.assertIn("Retry-After", headers)
            metrics = second.result()
            self.assertFalse(first.done())
            self.assertEqual((metrics["vkt_up"], metrics[NOT_READ("timedOut")]), (0, 1))
            self.assertEqual(first.result()["vkt_up"], 0)
        self.assertEqual(exporter.own(LOG_INS("none")), 0)  # the second was never read

    def test_scrapes_at_the_same_time_share_a_read(self):
        exporter = self.start()
        with concurrent.futures.ThreadPoolExecutor() as pool:
            first = pool.submit(exporter.probe, self.targets[2])
            exporter.wait_until("vkt_exporter_reads_in_flight", 1)
            others = [pool.submit(exporter.probe, self.targets[2]) for _ in range(3)]
            other_sections = pool.submit(exporter.probe, self.targets[2], **{"collect[]": "power"})
            self.assertNotIn('vkt_psu_present{psu="1"}', other_sections.result())
            for scrape in [first, *others]:
                self.assertEqual(scrape.result()["vkt_complete"], 1)
        self.assertEqual(exporter.own(LOG_INS("none")), 2)

    def test_one_that_refuses_is_left_alone_until_the_password_changes(self):
        exporter = self.start()
        self.assertEqual(exporter.probe(self.targets[0])["vkt_up"], 1)
        self.write("password", "wrong\n")
        for _ in range(3):
            metrics = exporter.probe(self.targets[0])
            self.assertEqual((metrics["vkt_up"], metrics["vkt_complete"]), (0, 0))
            self.assertGreater(metrics[NOT_READ("refused")], 0)
        self.assertEqual(exporter.own(LOG_INS("refused")), 1)
        _, text, _ = exporter.ask(f"/probe?target={self.targets[0]}&debug=true")
        self.assertRegex(text, r"not asked for \d+ s more, because it refused: ")
        exporter.wait_for_log(f'level=warn target="{self.targets[0]}" .* left alone')
        self.write("password", "enclosure\n")
        self.assertEqual(exporter.probe(self.targets[0])["vkt_up"], 1)

    def test_files_are_read_again_while_scrapes_run(self):
        exporter = self.start(flags=("--web.enable-lifecycle",))
        with concurrent.futures.ThreadPoolExecutor() as pool:
            scrapes = [pool.submit(exporter.probe, self.targets[2]) for _ in range(2)]
            exporter.wait_until("vkt_exporter_reads_in_flight", 1)
            self.file.unlink()
            self.assertIn("cannot be read: No such file", exporter.reload())
            status, text, _ = exporter.ask("/-/reload", "POST")
            self.assertEqual((status, text.count("\n")), (500, 1))
            self.assertIn("the old files stay in use", text)
            self.assertEqual(exporter.own("vkt_exporter_config_last_reload_successful"), 0)
            self.assertEqual(exporter.probe(self.targets[0])["vkt_up"], 1)
            for name in ("instance", "psu", "__param_target"):
                self.write_fleet(labels=f'labels = {{ {name} = "x" }}')
                self.assertIn(f"labels: {name} has a meaning of its own", exporter.reload())
            self.write_fleet("enc1")
            self.assertEqual(exporter.ask("/-/reload", "POST")[:2], (200, "read again\n"))
            self.assertEqual(exporter.own("vkt_exporter_config_last_reload_successful"), 1)
            self.assertIn('"enc1"', exporter.ask("/sd")[1])
            for scrape in scrapes:
                self.assertEqual(scrape.result()["vkt_complete"], 1)

    def test_its_end_leaves_no_session_open(self):
        exporter = self.start()
        with concurrent.futures.ThreadPoolExecutor() as pool:
            asking = [pool.submit(exporter.ask, "/probe?target=" + target) for target in self.targets[1:]]
            # Read by now is one in the midst of its requests, and one that is logging in.
            exporter.wait_until("vkt_exporter_reads_in_flight", 2)
            self.assertEqual(exporter.end(), OK)
            self.assertEqual({answer.result()[0] for answer in asking}, {503})
        self.assertEqual(self.simulators.open_sessions(), [0, 0, 0])
        self.assertNotIn("level=error", exporter.log)


class Start(Fleet):
    scenarios = (changed("healthy-first"),)

    def run_exporter(self, *words, environment=None):
        ran = subprocess.run([EXPORTER, *words], capture_output=True, text=True, timeout=TIMEOUT,
                             env=environment_with(environment))
        self.assertEqual(ran.stdout, "")
        return ran.returncode, ran.stderr

    def test_help_fits_on_a_terminal(self):
        text = subprocess.run([EXPORTER, "--help"], capture_output=True, text=True, check=True).stdout
        self.assertIn("\nUsage: vkt-exporter [OPTIONS]\n", text)
        self.assertLessEqual(max(map(len, text.splitlines())), 80)

    def test_what_it_cannot_start_with_is_said(self):
        good = self.write_fleet()
        bad = self.write("bad.toml", '[[group]]\nname = "a"\nhosts = ["enc1"]\nlabels = { fan = "x" }\n')
        locked = self.write("locked.toml", '[[host]]\nname = "enc1"\npassword-file = "none"\n')
        command = self.write("command.toml", '[[host]]\nname = "enc1"\npassword-command = "false"\n')
        web = self.write("web.yml", "no_such_key: 1\n")
        with socket.create_server(("127.0.0.1", 0)) as taken:
            used = "%s:%s" % taken.getsockname()
            for words, code, said in (
                (["--fleet", bad], WRONG_USAGE, "bad.toml:4: labels: fan has a meaning of its own"),
                (["--fleet", locked], WRONG_USAGE, "locked.toml:3: password-file"),
                (["--fleet", good, "--web.config.file", web], WRONG_USAGE, "no_such_key"),
                (["--fleet", self.folder.name + "/none"], WRONG_USAGE, "No such file"),
                (["--fleet", good, "--web.listen-address", "nonsense"], WRONG_USAGE, "nonsense"),
                (["--fleet", good, "--web.listen-address", used], CANNOT_RUN, used),
                (["--fleet", command], CANNOT_RUN, "command.toml:3: password-command"),
                (["--fleet", good, "--max-in-flight", "0"], WRONG_USAGE, "--max-in-flight"),
                (["--fleet", good, "something"], WRONG_USAGE, "something"),
            ):
                words = [str(word) for word in words]
                self.assertEqual(self.run_exporter(*words)[0], code, words)
                self.assertIn(said, self.run_exporter(*words)[1])

    def test_a_certificate_that_is_being_renewed_keeps_it_from_starting_for_now(self):
        """Its key is still the old one."""
        good = str(self.write_fleet())
        bad = str(self.write("bad.toml", "[[group]\n"))
        web = ("--web.config.file", str(self.write(
            "web.yml", "tls_server_config:\n  cert_file: new.crt\n  key_file: web.key\n")))
        for name in ("old", "new"):
            subprocess.run(
                ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj",
                 "/CN=exporter", "-keyout", f"{self.folder.name}/{name}.key", "-out", f"{self.folder.name}/{name}.crt"],
                check=True, capture_output=True)
        self.write("web.key", pathlib.Path(self.folder.name, "old.key").read_text())
        unmatched = r"certificate \S+/new\.crt with key \S+/web\.key: the key is another's"
        code, said = self.run_exporter("--fleet", good, *web)
        self.assertEqual(code, CANNOT_RUN, said)
        self.assertRegex(said, unmatched)
        code, said = self.run_exporter("--fleet", good, *web, "--config.check")
        self.assertEqual(code, WRONG_USAGE, said)
        self.assertRegex(said, unmatched)
        self.assertEqual(self.run_exporter("--fleet", bad, *web)[0], WRONG_USAGE)
        self.write("web.key", pathlib.Path(self.folder.name, "new.key").read_text())
        with Exporter(good, *web) as exporter:
            self.assertIn("listening on https://", exporter.log)
            self.write("web.key", pathlib.Path(self.folder.name, "old.key").read_text())
            self.assertRegex(exporter.reload(), unmatched + r".*the old files stay in use")

    def test_flags_and_files_can_be_checked_alone(self):
        good = str(self.write_fleet())
        web = str(self.write("web.yml", "http_server_config:\n  headers:\n    X-Frame-Options: deny\n"))
        bad = str(self.write("bad.toml", "[[group]\n"))
        check = ("--config.check", "--fleet")
        code, said = self.run_exporter(*check, good, "--web.config.file", web)
        self.assertEqual(code, OK, said)
        self.assertIn("(hosts: 1)", said)
        self.write("web.yml", "users: {}\n")
        address = ("--web.listen-address", "localhost")
        code, said = self.run_exporter(*check, bad, "--web.config.file", web, *address)
        self.assertEqual(code, WRONG_USAGE)
        self.assertRegex(said, r"cannot listen on localhost: [^\n]*\n[^\n]*web\.yml[^\n]*\n[^\n]*bad\.toml")

    def test_a_password_command_is_run_at_the_start_and_not_at_each_scrape(self):
        runs = pathlib.Path(self.folder.name, "runs")
        fleet = self.write("command.toml", f"""
            [[host]]
            name = "{self.targets[0]}"
            user = "admin"
            password-command = "echo run >>{runs}; echo enclosure"
            """)
        with Exporter(fleet) as exporter:
            for _ in range(3):
                self.assertEqual(exporter.probe(self.targets[0])["vkt_up"], 1)
            self.assertEqual(runs.read_text(), "run\n")
            exporter.reload()
            self.assertEqual(runs.read_text(), "run\nrun\n")
        bad = self.write("command.toml", '[[host]]\nname = "enc1"\npassword-command = "false"\n')
        code, said = self.run_exporter("--fleet", str(bad))
        self.assertEqual(code, CANNOT_RUN)
        self.assertIn("command.toml:3: password-command: the command ended with status 1", said)

    def test_an_end_while_a_password_command_runs_leaves_nothing_of_it(self):
        running = pathlib.Path(self.folder.name, "running")
        fleet = self.write("command.toml", f"""
            [[host]]
            name = "enc1"
            password-command = "sleep 1000 & echo $! >{running}; wait"
            """)
        process = subprocess.Popen([EXPORTER, "--fleet", str(fleet)], env=environment_with())
        while not running.exists() or not running.read_text().endswith("\n"):
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(TIMEOUT), OK)
        state = pathlib.Path(f"/proc/{running.read_text().strip()}/stat")
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            while state.read_text().split()[2] != "Z":
                time.sleep(0.01)  # what was killed is about to end; what was not would hang the test


if __name__ == "__main__":
    unittest.main()
