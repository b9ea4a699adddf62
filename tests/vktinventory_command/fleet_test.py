# SPDX-License-Identifier: Apache-2.0
"""The command against a fleet of simulated enclosures."""
import contextlib
import fcntl
import json
import os
import random
import re
import signal
import socket
import subprocess
import tempfile
import time
import unittest

import jsonschema
from enclosures import (
    COMMAND,
    SCHEMA,
    TIMEOUT,
    Simulators,
    arguments_once_hidden,
    changed,
    ends,
    environment_with,
    slow,
    slow_log_in,
    wait_until_asleep,
    written,
)

VALIDATOR = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text()))


class MixedFleet(unittest.TestCase):
    """Several scenarios, which are the groups, and some that could not be reached."""

    @classmethod
    def setUpClass(cls):
        cls.fleet = Simulators(6, "healthy-first", "faulty-vkt2", "healthy-vkt2-fd-6")
        cls.addClassCleanup(cls.fleet.__exit__)

    def documents(self, *words):
        ran = self.fleet.run("--format", "jsonl", *words)
        return ran, [json.loads(line) for line in ran.stdout.splitlines()]

    def test_every_format_has_them_all(self):
        for command in ("health", "identity", "power", "status", "psu", "nodes"):
            ran, documents = self.documents("--all", command)
            self.assertEqual((ran.returncode, ran.stderr, len(documents)), (0, "", 6))
            hosts = {document["host"] for document in documents}
            for document in documents:
                VALIDATOR.validate(document)
            array = json.loads(self.fleet.run("--all", "--format", "json", command).stdout)
            VALIDATOR.validate(array)
            self.assertEqual([d["host"] for d in array], self.fleet.run("--all", "hosts").stdout.split())
            lines = self.fleet.run("--all", "--format", "csv", command).stdout.splitlines()
            self.assertTrue(lines[0].startswith("host,group,time,error"))
            self.assertEqual({line.split(",")[0] for line in lines[1:]}, hosts)

    def test_health_begins_with_the_worst(self):
        lines = self.fleet.run("--all", "health").stdout.splitlines()
        self.assertIn("critical", lines[0])
        self.assertRegex(lines[-1], r" ok\Z|\A  127\.0\.0\.1:[\[\],\d-]+\Z")
        self.assertLessEqual(max(map(len, lines)), 80)

    def test_group_and_expectations_are_those_of_the_file(self):
        _, documents = self.documents("--all", "health")
        self.assertEqual({d["group"] for d in documents}, {"healthy-first", "faulty-vkt2", "healthy-vkt2-fd-6"})
        self.assertEqual({d["health"]["status"] for d in documents if d["group"] != "faulty-vkt2"}, {"ok"})

    def test_one_that_cannot_be_resolved_leaves_the_others_alone(self):
        ran, documents = self.documents(
            "--all", "-H", "no-such-host.invalid", "-U", "admin", "-P", "enclosure", "identity")
        self.assertEqual(ran.returncode, 1)
        errors = {d["host"]: d["error"] for d in documents if d["error"]}
        self.assertEqual({host: error["cause"] for host, error in errors.items()},
                         {"no-such-host.invalid": "unreachable"})
        self.assertEqual(len(documents), 7)
        self.assertRegex(ran.stderr, r"\Avktinventory: no-such-host\.invalid: [^\n]*cannot be resolved[^\n]*\n\Z")

    def test_the_first_line_comes_while_others_are_waited_for(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
            silent.bind(("127.0.0.1", 0))
            host = f"127.0.0.1:{silent.getsockname()[1]}"
            child = self.fleet.start("--group", "healthy-first", "-H", host, "-U", "admin", "-P", "enclosure",
                                     "--timeout", "1000", "--connect-timeout", "1000", "--format", "jsonl", "status",
                                     stdout=subprocess.PIPE, text=True)
            self.assertIsNone(json.loads(child.stdout.readline())["error"])
            self.assertIsNone(child.poll())
            child.send_signal(signal.SIGINT)
            rest = [json.loads(line) for line in child.stdout]
            self.assertEqual(child.wait(TIMEOUT), 130)
            child.stdout.close()
            self.assertEqual(rest[-1]["host"], host)
            self.assertEqual(rest[-1]["error"]["cause"], "cancelled")

    def test_a_reader_that_has_enough_gets_whole_lines(self):
        reader, writer = os.pipe()
        child = self.fleet.start("--all", "--fanout", "1", "--every", "1", "--format", "jsonl", "status",
                                 stdout=writer, stderr=subprocess.PIPE, text=True)
        os.close(writer)
        with os.fdopen(reader) as lines:
            json.loads(lines.readline())
        error = child.communicate(timeout=TIMEOUT)[1]
        self.assertEqual(child.returncode, 5)
        self.assertEqual(error.count("\n"), 1)
        self.assertIn("Broken pipe", error)

    def refusals(self, *words):
        """How many modules said that a password is wrong, and how many were not asked."""
        ran, documents = self.documents("--all", "-P", "wrong", *words, "status")
        self.assertEqual(ran.returncode, 4)
        self.assertEqual({d["error"]["cause"] for d in documents}, {"refused"})
        messages = [d["error"]["message"] for d in documents]
        return [sum(part in message for message in messages) for part in ("password is wrong", "not asked: ")]

    def test_a_wrong_password_for_all_is_tried_three_times(self):
        self.assertEqual(self.refusals(), [3, 3])

    def test_a_wrong_password_is_tried_on_where_that_is_wanted(self):
        self.assertEqual(self.refusals("--keep-going"), [6, 0])

    def test_a_silent_one_costs_no_more_than_its_first_answer(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
            silent.bind(("127.0.0.1", 0))
            ran, documents = self.documents(
                "--group", "healthy-first", "-H", f"127.0.0.1:{silent.getsockname()[1]}", "-U", "admin",
                "-P", "enclosure", "--timeout", "1000", "--connect-timeout", "5", "status")
        self.assertEqual(ran.returncode, 1)
        self.assertEqual([d["error"]["cause"] for d in documents if d["error"]], ["unreachable"])

    def test_ctrl_c_ends_all_that_a_password_command_has_started(self):
        with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
            file.write('[defaults]\nuser = "u"\npassword-command = "(echo $$ >&2; exec sleep 600); echo p"\n'
                       '[[group]]\nname = "g"\nhosts = ["127.0.0.1:1"]\n')
            file.flush()
            child = subprocess.Popen([COMMAND, "--fleet", file.name, "--all", "status"], env=environment_with(),
                                     stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            group = int(child.stderr.readline())
            child.send_signal(signal.SIGINT)
            try:  # whatever was left would keep standard error open
                self.assertEqual(child.communicate(timeout=TIMEOUT)[1], "")
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(group, signal.SIGKILL)
        self.assertEqual(child.returncode, 128 + signal.SIGINT)

    def test_rounds_follow_each_other(self):
        ran = self.fleet.run("--group", "healthy-first", "--every", "1", "--count", "2",
                             "--format", "csv", "--fields", "time,host,power_average", "power")
        self.assertEqual(ran.returncode, 0)
        lines = ran.stdout.splitlines()
        self.assertEqual(lines[0], "time,host,power_average")
        self.assertEqual(len(lines), 1 + 2 * 2)
        self.assertNotEqual(lines[1].split(",")[0], lines[-1].split(",")[0])


class Interrupted(unittest.TestCase):
    """Ctrl-C at any moment: nothing is left at the modules, objects are whole, arrays are closed."""

    # The whole run takes half a second, of which a log-in takes a fifth.
    SLOW = slow(10) + slow_log_in(30)
    MODULES = 8
    MOMENTS = 50
    LONGEST = 0.6  # seconds
    # The command waits at least so long for what is left of a log-in and for a log-out. On a computer so busy
    # that they take longer, a session stays open until the module forgets it, and the moment shows nothing.
    LOG_OUT = 1  # second

    @classmethod
    def setUpClass(cls):
        scenario = written(changed("healthy-vkt2-fe-2", faults=cls.SLOW))
        cls.addClassCleanup(scenario.close)
        cls.over_rmcp = Simulators(cls.MODULES, scenario.name, flags=["--no-https"])
        cls.addClassCleanup(cls.over_rmcp.__exit__)
        cls.over_https = Simulators(cls.MODULES, scenario.name, flags=["--no-rmcp", "--statistics"])
        cls.addClassCleanup(cls.over_https.__exit__)

    def check(self, child, documents_of):
        """When it has ended."""
        output = child.communicate(timeout=TIMEOUT)[0]
        ended = time.monotonic()
        if child.returncode == -signal.SIGINT or not output:  # it had not begun
            self.assertEqual(output, "")
            return ended
        self.assertIn(child.returncode, (0, 128 + signal.SIGINT))
        documents = documents_of(output)
        self.assertEqual(len(documents), self.MODULES)
        causes = {document["error"]["cause"] for document in documents if document["error"]}
        self.assertLessEqual(causes, {"cancelled"} if child.returncode else set())
        if causes:
            VALIDATOR.validate(next(document for document in documents if document["error"]))
        return ended

    def test_leaves_no_session_open(self):
        too_slow = []
        for seed in range(self.MOMENTS):
            pause = random.Random(seed).uniform(0, self.LONGEST)
            with self.subTest(seed=seed, pause=pause):
                children = [fleet.start("--all", "--format", output, "show", stdout=subprocess.PIPE, text=True)
                            for fleet, output in ((self.over_rmcp, "jsonl"), (self.over_https, "json"))]
                time.sleep(pause)
                interrupted = time.monotonic()
                for child in children:
                    child.send_signal(signal.SIGINT)
                ended = [self.check(children[0], lambda lines: [json.loads(line) for line in lines.splitlines()]),
                         self.check(children[1], json.loads)]
                for child in children:
                    self.assertTrue(ends(child.pid))
                if max(ended) - interrupted > self.LOG_OUT:
                    too_slow.append(seed)
            if seed % 10 == 9:  # a module forgets a session after half a minute
                for open_sessions in self.over_rmcp.open_sessions():
                    self.assertLessEqual(open_sessions, len(too_slow))
        counts = re.findall(r'"openSessions": ?(\d+)', self.over_https.end())
        self.assertEqual(len(counts), 1)
        self.assertLessEqual(int(counts[0]), len(too_slow) * self.MODULES)
        if too_slow:
            print(f"{len(too_slow)} of {self.MOMENTS} moments show nothing: this computer was too busy to log out "
                  f"within {self.LOG_OUT} s")

    def test_a_further_signal_ends_it_though_nobody_reads(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)  # too little for all
        child = self.over_rmcp.start("--all", "--format", "json", "show", stdout=writer)
        os.close(writer)
        os.read(reader, 1)
        child.send_signal(signal.SIGINT)
        code = None
        while code is None:  # by its own limit it ends with the first
            child.send_signal(signal.SIGTERM)
            with contextlib.suppress(subprocess.TimeoutExpired):
                code = child.wait(0.2)
        self.assertEqual(code, 128 + signal.SIGTERM)

    def test_closes_an_array_in_which_nothing_stands(self):
        reader, writer = os.pipe()
        os.set_blocking(writer, False)
        filled = os.write(writer, b" " * 1_000_000)
        os.set_blocking(writer, True)
        child = self.over_rmcp.start("--all", "-P", "enclosure", "--format", "json", "show", stdout=writer)
        os.close(writer)
        arguments_once_hidden(child.pid)
        wait_until_asleep(child.pid)  # to print the first bracket
        child.send_signal(signal.SIGSTOP)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGCONT):  # two at a time are one request to end
            child.send_signal(number)
        time.sleep(0.1)
        with os.fdopen(reader) as output:
            documents = json.loads(output.read()[filled:] or "[]")
        self.assertEqual(child.wait(TIMEOUT), 128 + signal.SIGINT)
        causes = {document["error"]["cause"] for document in documents if document["error"]}
        self.assertLessEqual(causes, {"cancelled"})


if __name__ == "__main__":
    unittest.main()
