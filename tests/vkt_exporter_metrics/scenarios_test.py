# SPDX-License-Identifier: Apache-2.0
"""What the exporter answers for each scenario that comes with the simulator, beside golden/SCENARIO.prom. Those files are
worked out from the scenario here, with no look at the exporter; `scenarios_test.py --write` writes them."""
import concurrent.futures
import http.client
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
GOLDEN = pathlib.Path(__file__).with_name("golden")
FILES = sorted((SOURCE / "apps/vkt_simulator/scenarios").glob("*.json"))
SCENARIOS = {file.stem: json.loads(file.read_text()) for file in FILES}
DOCUMENT = (SOURCE / "docs/metrics.md").read_text()

LICENCE = "# SPDX-License-Identifier: Apache-2.0"
CAUSES = ["unreachable", "timedOut", "refused", "notTrusted", "busy", "noSuchModule", "malformedAnswer", "completionCode",
          "cancelled", "local"]
HEALTH = ["ok", "warning", "unknown", "critical"]  # from best to worst
FAN_STATES = ["notPresent", "abnormal", "normal", "unknown"]
POWER_STATES = ["off", "noPermission", "fault", "on", "unknown"]
WIDTHS = {1: "half", 2: "full"}

# Over HTTPS, by the public key; so an expired certificate is no fault.
UNREACHED = {
    "busy": "busy",
    "https-closed": "unreachable",
    "https-error": "malformedAnswer",
    "https-garbage": "malformedAnswer",
    "https-unauthorized": "refused",
    "https-unavailable": "busy",
    "no-status": "completionCode",
}
# Reads that go on until there is no time left, so they get little; but enough for a first answer.
PATIENT = ("busy", "https-unavailable")
LITTLE, AMPLE = 12, 100  # seconds
# What one answer tells: lost, by cause, and how many values that is.
LOST = {
    "dropped": {"timedOut": {"name": 1, "consumption": 1}},
    "wrong-completion-codes": {
        "completionCode": {"machine_type": 1, "name": 1, "caps": 1, "node 7 state": 1},
        "busy": {"bits": 4 * 6},
    },
    "truncated": {
        "malformedAnswer": {
            "machine_type": 1, "consumption": 1, "caps": 1, "bits": 4 * 2,
            **{f"psu {number} {what}": 1 for number in (1, 2) for what in ("fans", "info")},
            **{f"node {number} {what}": 1 for number in (1, 2, 3, 4) for what in ("state", "power")},
        },
    },
}
ABSENT = {"wrong-completion-codes": {"psu 2 fans"}}
UNKNOWN_MODULE = [("unknown", "", "", "generation"), ("unknown", "", "", "consumption")]
FINDINGS = {
    **{name: UNKNOWN_MODULE for name in UNREACHED},
    "faulty-first": [
        ("critical", 2, "", "powerOffWarning"), ("critical", 2, "", "fans"), ("critical", "", 3, "powerState"),
        ("warning", 2, "", "fans"), ("warning", "", 2, "powerState"),
    ],
    "faulty-vkt2": [
        ("critical", 4, "", "fans"), ("critical", 5, "", "powerGood"), ("critical", 5, "", "powerOffWarning"),
        ("critical", "", 4, "powerState"), ("warning", 4, "", "throttling"), ("warning", 4, "", "fans"),
        ("warning", "", 2, "powerState"), ("warning", "", 5, "powerState"), ("warning", "", 12, "powerState"),
    ],
    "dropped": [("unknown", "", "", "name"), ("unknown", "", "", "consumption")],
    "wrong-completion-codes": [
        ("unknown", "", "", "machineType"), ("unknown", "", "", "name"), ("unknown", "", "", "caps"),
        *(("unknown", psu, "", "present") for psu in range(1, 7)), ("unknown", "", 7, "powerState"),
    ],
    "truncated": [
        ("unknown", "", "", "machineType"), ("unknown", "", "", "consumption"),
        *(("unknown", psu, "", "present") for psu in (1, 2)), *(("unknown", "", node, "powerState") for node in range(1, 5)),
    ],
}


class Expected:
    """The series of a scenario, by family."""

    def __init__(self, name):
        self.name, self.scenario = name, SCENARIOS[name]
        self.lost = {what for answers in LOST.get(name, {}).values() for what in answers}
        self.gone = self.lost | ABSENT.get(name, set())
        self.families = {}
        self.read()
        if name not in UNREACHED:
            self.info()
            self.power()
            for number, supply in enumerate(self.scenario["supplies"], 1):
                self.supply(number, supply)
            for number, node in enumerate(self.scenario["nodes"], 1):
                self.node(number, node)

    def add(self, family, value, **labels):
        text = ",".join(f'{label}="{text}"' for label, text in labels.items())
        self.families.setdefault(family, []).append(f"{family}{{{text}}} {value}" if labels else f"{family} {value}")

    def add_numbers(self, family, members, names, absent, **labels):
        for name, member in names.items():
            if members[member] not in absent:
                self.add(f"{family}_{name}", members[member], **labels)

    def states(self, family, words, state, **labels):
        state = state if state in words else "unknown"
        for word in words:
            self.add(family, int(word == state), **labels, state=word)

    def read(self):
        self.add("vkt_up", int(self.name not in UNREACHED))
        self.add("vkt_scrape_duration_seconds", 0)
        self.add("vkt_complete", int(self.name not in UNREACHED and not self.lost))
        counts = {cause: sum(answers.values()) for cause, answers in LOST.get(self.name, {}).items()}
        if self.name in UNREACHED:  # four values of the module, four texts, consumption, caps
            counts[UNREACHED[self.name]] = 10
        for cause in CAUSES:
            self.add("vkt_not_read", counts.get(cause, 0), cause=cause)
        findings = FINDINGS.get(self.name, [])
        worst = max((finding[0] for finding in findings), key=HEALTH.index, default="ok")
        for status in HEALTH:
            self.add("vkt_health", int(status == worst), status=status)
        for severity, psu, node, field in findings:
            self.add("vkt_finding", 1, severity=severity, psu=psu, node=node, field=field)
        self.add("vkt_psus_expected", sum(supply["present"] for supply in self.scenario["supplies"]))
        self.add("vkt_nodes_expected", sum((node["width"], node["height"]) != (255, 255) for node in self.scenario["nodes"]))

    def info(self):
        module = self.scenario["module"]
        firmware = module["firmware"]
        if not {"machine_type", "name"} & self.lost:
            self.add("vkt_info", 1, generation=module["generation"], machine_type=module["machineType"],
                     serial_number=module["serialNumber"],
                     firmware_version=f'{firmware["build"]}-{firmware["major"]:x}.{firmware["minor"]:02x}',
                     name=module["name"])

    def power(self):
        power, caps = (self.scenario["chassis"][part] for part in ("power", "powerCap"))
        if "consumption" not in self.lost:
            self.add_numbers("vkt_power", power, {"minimum": "minimum", "average": "average", "maximum": "maximum"}, [65535])
        if "caps" not in self.lost:
            self.add_numbers("vkt_power_cap", caps, {"lowest": "minimum", "highest": "maximum", "protective": "protective",
                                                     "user": "user", "thermal": "thermal"}, [0])

    def supply(self, number, supply):
        if "bits" not in self.lost:
            self.add("vkt_psu_present", int(supply["present"]), psu=number)
            if supply["present"] and number <= 8:
                self.add("vkt_psu_power_good", int(supply["powerGood"]), psu=number)
                self.add("vkt_psu_power_off_warning", int(supply["earlyPowerWarning"]), psu=number)
                self.add("vkt_psu_throttling", int(supply["throttle"]), psu=number)
        if not supply["present"]:
            return
        if f"psu {number} fans" not in self.gone:
            self.states("vkt_psu_fan_state", FAN_STATES, supply["fanStatus"], psu=number)
            for fan, letter in zip(supply["fans"], "ab"):
                if fan["speed"] != 0:
                    self.add("vkt_psu_fan_speed", fan["speed"], psu=number, fan=letter)
        if f"psu {number} info" not in self.lost:
            firmware = supply["firmware"]
            self.add("vkt_psu_info", 1, psu=number, version=f'{firmware["major"]:x}.{firmware["minor"]:02x}',
                     manufacturer=supply["manufacturer"])

    def node(self, number, node):
        if f"node {number} state" not in self.lost:
            self.states("vkt_node_power_state", POWER_STATES, node["powerState"], node=number)
            width = "" if node["width"] == 255 else WIDTHS.get(node["width"], "unknown")
            height = "" if node["height"] == 255 else node["height"]
            if width or height:
                self.add("vkt_node_info", 1, node=number, width=width, height=height)
        if f"node {number} power" not in self.lost:
            names = ("minimum", "average", "maximum")
            self.add_numbers("vkt_node_power", node["power"], dict(zip(names, names)), [0, 65535], node=number)

    def text(self):
        lines = [LICENCE]
        for family, kind, meaning in re.findall(r"^\| `(vkt_\w+)` \| (\w+) \| [^|]* \| ([^|]+) \|", DOCUMENT, re.M):
            if family in self.families:
                lines += [f"# HELP {family} {meaning}", f"# TYPE {family} {kind}", *self.families[family]]
        return "".join(line + "\n" for line in lines)


class Played:
    """The exporter, and all scenarios over HTTPS."""

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory()
        fleet = f"{self.folder.name}/fleet.toml"
        words = [word for file in FILES for word in ("--scenario", str(file))]
        self.simulator = subprocess.Popen(
            [os.environ["VKT_SIMULATOR"], *words, "--no-rmcp", "--write-fleet", fleet], stdout=subprocess.PIPE, text=True)
        self.hosts = {
            name: "127.0.0.1:{port}".format(**json.loads(self.simulator.stdout.readline())["https"]) for name in SCENARIOS
        }
        self.exporter = subprocess.Popen(
            [os.environ["VKT_EXPORTER"], "--fleet", fleet, "--web.listen-address", "127.0.0.1:0"],
            stderr=subprocess.PIPE, text=True, env={**os.environ, "VKT_CONFIG": "/dev/null"})
        line = self.exporter.stderr.readline()
        self.port = int(re.search(r"http://127\.0\.0\.1:(\d+)", line)[1])
        return self

    def __exit__(self, *_):
        for process, stream in ((self.exporter, self.exporter.stderr), (self.simulator, self.simulator.stdout)):
            process.terminate()
            process.wait()
            stream.close()
        self.folder.cleanup()

    def get(self, path, timeout=AMPLE):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=120)
        connection.request("GET", path, headers={"X-Prometheus-Scrape-Timeout-Seconds": str(timeout)})
        answer = connection.getresponse()
        body = answer.read().decode()
        connection.close()
        assert answer.status == 200, (answer.status, body)
        return body

    def scrape(self, name):
        """Without what differs from run to run: the duration, and the number at the end of serial number and name."""
        text = self.get(f"/probe?target={self.hosts[name]}", LITTLE if name in PATIENT else AMPLE)
        number = str(list(SCENARIOS).index(name) + 1).zfill(len(str(len(SCENARIOS))))
        text = re.sub(r"(?<=\nvkt_scrape_duration_seconds )\S+", "0", text)
        for label, member in (("serial_number", "serialNumber"), ("name", "name")):
            shown = SCENARIOS[name]["module"][member]
            text = text.replace(f'{label}="{shown}{number}"', f'{label}="{shown}"')
        return text


def parts(text):
    """HELP and TYPE, in their order, and the series."""
    lines = [line for line in text.splitlines() if line != LICENCE]
    return [line for line in lines if line.startswith("#")], sorted(line for line in lines if not line.startswith("#"))


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


class Scenarios(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        with Played() as played, concurrent.futures.ThreadPoolExecutor(len(SCENARIOS)) as threads:
            cls.scrapes = dict(zip(SCENARIOS, threads.map(played.scrape, SCENARIOS)))
            cls.own = played.get("/metrics")

    def test_each_has_a_golden_scrape_that_follows_from_it(self):
        self.assertEqual(sorted(SCENARIOS), sorted(file.stem for file in GOLDEN.glob("*.prom")))
        for name in SCENARIOS:
            with self.subTest(name):
                self.assertEqual(Expected(name).text(), (GOLDEN / f"{name}.prom").read_text())

    def test_are_scraped_as_their_golden_files_say(self):
        for name, text in self.scrapes.items():
            with self.subTest(name):
                self.assertEqual(parts((GOLDEN / f"{name}.prom").read_text()), parts(text))

    def test_have_as_many_series_as_the_document_says(self):
        stated = int(re.search(r"<!-- begin count -->(\d+)", DOCUMENT)[1])
        headings, series = parts(self.scrapes["healthy-vkt2-fc-9"])
        self.assertEqual((stated, stated), (len(series), len(set(series))))

    def test_exporter_gives_of_itself_what_the_document_says(self):
        table = DOCUMENT[DOCUMENT.index("<!-- begin exporter -->"):]
        stated = set(re.findall(r"^\| `(\w+)` \|", table, re.M))
        self.assertEqual(stated, {line.split()[2] for line in self.own.splitlines() if line.startswith("# TYPE")})

    @needs("promtool")
    def test_please_promtool(self):
        for name, text in {**self.scrapes, "/metrics": self.own}.items():
            with self.subTest(name):
                checked = subprocess.run(["promtool", "check", "metrics"], input=text, text=True, capture_output=True)
                self.assertEqual((0, "", ""), (checked.returncode, checked.stdout, checked.stderr))


if __name__ == "__main__":
    if sys.argv[1:] == ["--write"]:
        for each in SCENARIOS:
            (GOLDEN / f"{each}.prom").write_text(Expected(each).text())
    else:
        unittest.main()
