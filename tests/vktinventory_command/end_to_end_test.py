# SPDX-License-Identifier: Apache-2.0
"""The command against simulated enclosures, over RMCP+."""
import datetime
import json
import os
import pathlib
import socket
import subprocess
import tempfile
import time
import unittest

import jsonschema
from enclosures import (
    TIMEOUT,
    SCENARIOS,
    SCHEMA,
    Enclosure,
    environment_with,
)

VALIDATOR = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text()))

# Below TIMEOUT, and far above what a run takes that does not wait in vain.
AMPLE = ("--timeout", "100")

STATUS = ("powerGood", "powerOffWarning", "present", "throttling")
MODULE = ("generation", "nodeCount", "platformId", "powerSupplyCount")


def supplies(count, *fields):
    return {f"PSU{number} {field}" for number in range(1, count + 1) for field in fields}


def nodes(count, *fields):
    return {f"Node {number} {field}" for number in range(1, count + 1) for field in fields}


# How the command ends by scenario, and what is not read then.
OUTCOMES = {
    "busy": (["show", "--timeout", "5"], 3, None),
    "dropped": (["show"], 1, {"Module name"}),
    "faulty-first": (["show"], 0, set()),
    "faulty-vkt2": (["show"], 0, set()),
    "healthy-first": (["show"], 0, set()),
    "healthy-vkt2-fc-6": (["show"], 0, set()),
    "healthy-vkt2-fc-9": (["show"], 0, set()),
    "healthy-vkt2-fd-6": (["show"], 0, set()),
    "healthy-vkt2-fd-9": (["show"], 0, set()),
    "healthy-vkt2-fe-2": (["show"], 0, set()),
    "no-status": (["nodes"], 1, {f"Module {field}" for field in MODULE}),
    "slow": (["show"], 0, set()),
    "truncated": (
        ["show"],
        1,
        {"Module machineType", "Chassis consumption", "Chassis caps"}
        | supplies(2, *STATUS, "fans", "manufacturer")
        | nodes(4, "powerState", "power"),
    ),
    "wrong-completion-codes": (
        ["show"],
        1,
        {"Module machineType", "Module name", "Chassis caps", "Node 7 powerState"}
        | supplies(6, *STATUS),
    ),
}

COMMANDS = [
    ["show"],
    ["health"],
    ["identity"],
    ["power"],
    ["psu"],
    ["nodes"],
    ["node", "12"],
    ["status"],
    ["select-psu", "9"],
]


def not_read(document):
    return {f"{missing['object']} {missing['field']}" for missing in document["notRead"]}


class Scenarios(unittest.TestCase):
    def test_each_scenario_has_an_outcome_here(self):
        shipped = {path.stem for path in SCENARIOS.glob("*.json")}
        # The faults of these are in the HTTPS service alone; both transports are compared elsewhere.
        https_only = {scenario for scenario in shipped if scenario.startswith("https-")}
        self.assertEqual(shipped - https_only, set(OUTCOMES))

    def test_each_scenario_ends_as_it_should(self):
        for scenario, (words, code, missing) in OUTCOMES.items():
            with self.subTest(scenario), Enclosure(scenario) as enclosure:
                ample = () if "--timeout" in words else AMPLE
                ran = enclosure.run("--format", "json", *ample, *words)
                self.assertEqual(ran.returncode, code, ran.stderr)
                self.assertEqual(ran.stderr == "", code == 0, ran.stderr)
                document = json.loads(ran.stdout)
                VALIDATOR.validate(document)
                if missing is not None:
                    self.assertEqual(not_read(document), missing)


class HealthyEnclosure(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.enclosure = Enclosure("healthy-vkt2-fc-9")
        cls.addClassCleanup(cls.enclosure.__exit__)

    def test_every_command_prints_what_the_schema_promises(self):
        for words in COMMANDS:
            with self.subTest(words):
                ran = self.enclosure.run("--format", "json", *words)
                self.assertEqual((ran.returncode, ran.stderr), (0, ""))
                VALIDATOR.validate(json.loads(ran.stdout))

    def test_shows_the_enclosure_that_the_scenario_describes(self):
        shown = self.enclosure.ask()
        module = self.enclosure.scenario["module"]
        for text in ("machineType", "serialNumber", "name"):
            self.assertEqual(shown["identity"][text], module[text])
        self.assertEqual(shown["host"], self.enclosure.endpoint["address"])
        self.assertEqual(
            shown["module"],
            {
                "interface": "lanplus",
                "address": self.enclosure.endpoint["address"],
                "port": self.enclosure.endpoint["port"],
                "cipherSuite": 3,  # the simulator has no 17
                "generation": "vkt2",
                "platformId": 0xFC,
                "powerSupplyCount": 9,
                "nodeCount": 12,
            },
        )
        self.assertEqual(
            shown["power"]["consumption"], self.enclosure.scenario["chassis"]["power"]
        )
        self.assertEqual(
            [node["power"]["average"] for node in shown["nodes"]],
            [node["power"]["average"] for node in self.enclosure.scenario["nodes"]],
        )
        self.assertEqual([supply["number"] for supply in shown["powerSupplies"]], [*range(1, 10)])
        self.assertEqual(shown["health"], {"status": "ok", "findings": []})

    def test_begins_at_the_time_that_it_says(self):
        before = int(time.time())
        began = datetime.datetime.strptime(self.enclosure.ask("status")["time"], "%Y-%m-%dT%H:%M:%S%z")
        self.assertTrue(before <= began.timestamp() <= time.time())

    def test_the_table_fits_eighty_columns(self):
        table = self.enclosure.run().stdout
        self.assertIn(self.enclosure.scenario["module"]["serialNumber"], table)
        self.assertLessEqual(max(map(len, table.splitlines())), 80)

    def test_a_node_that_the_enclosure_has_not_is_wrong_usage(self):
        with Enclosure("healthy-first") as small:
            ran = small.run("node", "5")
            self.assertEqual(ran.returncode, 2)
            self.assertIn("this enclosure has nodes 1 to 4", ran.stderr)

    def test_a_supply_that_the_enclosure_has_not_is_wrong_usage(self):
        with Enclosure("healthy-first") as small:
            ran = small.run("select-psu", "3")
            self.assertEqual(ran.returncode, 2)
            self.assertIn("this enclosure has power supplies 1 to 2", ran.stderr)
            self.assertEqual(ran.stdout, "")

    def test_logging_leaves_the_json_alone(self):
        def but_for_the_time(ran):
            return json.loads(ran.stdout) | {"time": None}

        quiet = self.enclosure.run("--format", "json")
        for flag in ("-v", "-vv"):
            loud = self.enclosure.run("--format", "json", flag)
            self.assertEqual(but_for_the_time(loud), but_for_the_time(quiet))
            self.assertRegex(
                loud.stderr, r"\nvktinventory: \d+ requests, .* 1 log-in, \d+ ms\n\Z|\Avktinventory: \d+ requests"
            )

    def test_takes_the_password_from_file_and_environment(self):
        password = self.enclosure.endpoint["password"]
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "password")
            file.write_text(password + "\nanother line\n")
            self.assertEqual(self.enclosure.run("identity", P=None, f=str(file)).returncode, 0)
        from_environment = self.enclosure.run(
            "identity", "-E", P=None, environment={"IPMI_PASSWORD": password}
        )
        self.assertEqual(from_environment.returncode, 0)

    def test_without_password_and_terminal_it_is_wrong_usage(self):
        ran = self.enclosure.run("identity", P=None)
        self.assertEqual(ran.returncode, 2)
        self.assertIn("no terminal", ran.stderr)


class Refusals(unittest.TestCase):
    """Each ends at once, with one line that names what it was."""

    @classmethod
    def setUpClass(cls):
        cls.enclosure = Enclosure("healthy-first")
        cls.addClassCleanup(cls.enclosure.__exit__)

    def check(self, code, reason, *words, **changes):
        # Which would end the run only beyond TIMEOUT.
        patience = () if "--timeout" in words else ("--timeout", "1000", "--connect-timeout", "1000")
        ran = self.enclosure.run(*patience, *words, **changes)
        self.assertEqual(ran.returncode, code, ran.stderr)
        self.assertRegex(ran.stderr, f"^vktinventory: [^\n]*{reason}[^\n]*\n$")
        self.assertEqual(ran.stdout, "")

    def test_wrong_password(self):
        self.check(4, "password is wrong", P="wrong")

    def test_wrong_user(self):
        self.check(4, "user", U="nobody")

    def test_long_password(self):
        self.check(4, "more than 20 bytes", P="123456789012345678901")

    def test_wrong_cipher_suite(self):
        self.check(4, "cipher suite 17", "-C", "17")

    def test_low_privilege(self):
        self.check(4, "privilege", "-L", "USER")

    def test_unsafe_cipher_suite(self):
        self.check(2, "--cipher-suite", "-C", "0")

    def test_unknown_host(self):
        self.check(3, "cannot be resolved", H="no-such-host.invalid")

    def test_nothing_listens(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        self.check(3, "nothing listens", p=str(port))

    def test_nothing_answers(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as silent:
            silent.bind(("127.0.0.1", 0))
            self.check(3, "no answer in time", "--timeout", "2", p=str(silent.getsockname()[1]))


class Process(unittest.TestCase):
    """What becomes of the output of the running command."""

    def start(self, enclosure, *words, **streams):
        child = subprocess.Popen(
            enclosure.words(*words),
            stdin=subprocess.DEVNULL,
            env=environment_with(),
            start_new_session=True,
            **streams,
        )
        self.addCleanup(child.wait, TIMEOUT)
        self.addCleanup(child.kill)
        return child

    def test_a_full_disk_is_an_error_of_its_own(self):
        with Enclosure("healthy-first") as enclosure, open("/dev/full", "w") as full:
            child = self.start(enclosure, stdout=full, stderr=subprocess.PIPE, text=True)
            error = child.communicate(timeout=TIMEOUT)[1]
            self.assertEqual(child.returncode, 5)
            self.assertIn("No space left on device", error)

    def test_a_closed_pipe_is_an_error_of_its_own(self):
        reader, writer = os.pipe()
        os.close(reader)
        with Enclosure("healthy-first") as enclosure:
            child = self.start(enclosure, stdout=writer, stderr=subprocess.PIPE, text=True)
            os.close(writer)
            error = child.communicate(timeout=TIMEOUT)[1]
            self.assertEqual(child.returncode, 5)
            self.assertIn("Broken pipe", error)


if __name__ == "__main__":
    unittest.main()
