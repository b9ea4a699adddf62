# SPDX-License-Identifier: Apache-2.0
"""One enclosure, two transports: what `show` reads over RMCP+ and over HTTPS is the same, failures
included, but for the differences that stand here with their reasons."""
import concurrent.futures
import dataclasses
import json
import unittest

from enclosures import COMMAND, SCENARIOS, Enclosure, differences, run

TRANSPORTS = ("rmcp", "https")


@dataclasses.dataclass(frozen=True)
class Refusal:
    """A run that has no conversation: an object that says why, and one line of reason."""

    code: int
    reason: str


@dataclasses.dataclass
class Case:
    """An enclosure, and what the two transports should make of it."""

    name: str
    codes: tuple = (0, 0)  # with which a run ends that prints an object; by transport
    refusals: dict = dataclasses.field(default_factory=dict)  # the others, by transport
    # Place in the object: (over RMCP+, over HTTPS). There are no others, and each is there.
    differences: dict = dataclasses.field(default_factory=dict)
    scenario: str = ""  # that comes with the simulator, if it is not named like the case
    changes: dict = dataclasses.field(default_factory=dict)  # made to the scenario
    options: tuple = ()  # of the run over HTTPS
    time: int = 100  # seconds for each run


SHIPPED = [
    Case("faulty-first"),
    Case("faulty-vkt2"),
    Case("healthy-first"),
    Case("healthy-vkt2-fc-6"),
    Case("healthy-vkt2-fc-9"),
    Case("healthy-vkt2-fd-6"),
    Case("healthy-vkt2-fd-9"),
    Case("healthy-vkt2-fe-2"),
    Case("slow"),
    # What the module answers, or does not, is the same over either transport.
    Case("no-status", codes=(1, 1)),
    Case("wrong-completion-codes", codes=(1, 1)),
    Case("truncated", codes=(1, 1)),
    Case(
        "dropped",
        codes=(1, 1),
        differences={
            # Two requests in a row get no answer. Over RMCP+ the third copy of a packet arrives; an
            # HTTPS request is asked but twice.
            "power.consumption.minimum": (1200, None),
            "power.consumption.average": (1850, None),
            "power.consumption.maximum": (2900, None),
            "notRead": (
                ["timedOut: Module name"],
                ["timedOut: Module name", "timedOut: Chassis consumption"],
            ),
            "health": (
                ["unknown: Module name"],
                ["unknown: Module name", "unknown: Chassis consumption"],
            ),
        },
    ),
    # Without a free session there is none over RMCP+, and no service at all over HTTPS.
    Case(
        "busy",
        refusals={"rmcp": Refusal(3, "no session free"), "https": Refusal(3, "503")},
        time=10,
    ),
    # What is wrong with the HTTPS service alone hides nothing from RMCP+.
    Case("https-closed", refusals={"https": Refusal(3, "closed the connection without an answer")}),
    Case("https-error", refusals={"https": Refusal(3, "500")}),
    Case("https-expired-certificate", refusals={"https": Refusal(4, "the server's certificate expired on")}),
    Case(
        "https-garbage",
        refusals={"https": Refusal(3, "it is not JSON")},
        options=("--auth", "basic"),
    ),
    Case("https-unauthorized", refusals={"https": Refusal(4, "401")}),
    Case("https-unavailable", refusals={"https": Refusal(3, "503")}, time=10),
    Case("https-short-sessions"),
    Case("https-slow"),
]


def fault(command, data, kind, **more):
    return {"faults": [{"netFn": 0x32, "command": command, "data": data, "kind": kind, **more}]}


FANS, REGISTER, NODE_STATUS = 0xA5, 0x92, 0xA7

# What no shipped scenario has: a request of one supply or one node that is refused or not answered.
CHANGED = [
    Case(
        "the first supply's fans are refused",
        changes=fault(FANS, "01", "completionCode", completionCode=0xC1),
        codes=(1, 1),
    ),
    Case(
        "the last supply's fans are refused",
        changes=fault(FANS, "02", "completionCode", completionCode=0xC1),
        codes=(1, 1),
    ),
    Case("the first supply's fans are not answered", changes=fault(FANS, "01", "drop"), codes=(1, 1)),
    Case(
        "the last supply's version is not answered",
        changes=fault(REGISTER, "0202fc", "drop"),
        codes=(1, 1),
    ),
    Case(
        "the last supply's position is refused",
        changes=fault(REGISTER, "0220f0", "completionCode", completionCode=0xC1),
        codes=(1, 1),
    ),
    Case("a node's status is not answered", changes=fault(NODE_STATUS, "02", "drop"), codes=(1, 1)),
]
for changed in CHANGED:
    changed.scenario = "healthy-vkt2-fe-2"

# The password with each request instead of a session.
BASIC = [
    Case("basic", scenario="healthy-vkt2-fc-9", options=("--auth", "basic")),
]

# What waits longest comes first: the others run meanwhile.
LONGEST = ("slow", "https-slow", "dropped", "busy", "https-unavailable")


@dataclasses.dataclass
class Runs:
    """What a case came to: its runs by transport, and what the HTTPS service has counted."""

    endpoints: dict
    by_transport: dict
    statistics: dict


def show(endpoints, transport, options, seconds):
    endpoint = endpoints[transport]
    log_in = ["-H", endpoint["address"], "-p", str(endpoint["port"]), "-U", endpoint["user"], "-E"]
    log_in += ["--timeout", str(seconds)]
    if transport == "https":
        log_in += ["-I", "https", "--ca-file", endpoint["certificateFile"], *options]
    return run(
        [COMMAND, *log_in, "--format", "json", "show"], {"IPMI_PASSWORD": endpoint["password"]}
    )


def play(case):
    enclosure = Enclosure(case.scenario or case.name, **case.changes)
    try:
        with concurrent.futures.ThreadPoolExecutor(len(TRANSPORTS)) as pool:
            started = [
                pool.submit(show, enclosure.endpoints, transport, case.options, case.time)
                for transport in TRANSPORTS
            ]
        by_transport = dict(zip(TRANSPORTS, (future.result() for future in started)))
    finally:
        statistics = enclosure.end()
    return Runs(enclosure.endpoints, by_transport, statistics)


def comparable(ran):
    """Without the time, and without the sentences, which tell of packets or of HTTP."""
    document = json.loads(ran.stdout)
    findings = document["health"]["findings"]
    return document | {
        "time": None,
        "health": [f"{told['severity']}: {told['object']} {told['field']}" for told in findings],
        "notRead": [f"{m['cause']}: {m['object']} {m['field']}" for m in document["notRead"]],
    }


class BothTransports(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cases = SHIPPED + CHANGED + BASIC
        cls.cases = sorted(cases, key=lambda case: case.name not in LONGEST)
        with concurrent.futures.ThreadPoolExecutor(2 * len(LONGEST)) as pool:
            cls.runs = dict(zip([case.name for case in cls.cases], pool.map(play, cls.cases)))

    def check_each(self, check, applies=lambda _: True):
        for case in filter(applies, self.cases):
            with self.subTest(case.name):
                check(case, self.runs[case.name])

    def test_each_shipped_scenario_is_a_case(self):
        self.assertEqual(
            [case.name for case in sorted(SHIPPED, key=lambda case: case.name)],
            sorted(path.stem for path in SCENARIOS.glob("*.json")),
        )

    def test_each_run_ends_as_it_should(self):
        def check(case, runs):
            for transport, code in zip(TRANSPORTS, case.codes):
                self.check_end(runs.by_transport[transport], code, case.refusals.get(transport))

        self.check_each(check)

    def check_end(self, ran, code, refusal):
        if refusal:
            self.assertEqual(ran.returncode, refusal.code, ran.stderr)
            self.assertIn(json.loads(ran.stdout)["error"]["message"], ran.stderr)
            self.assertRegex(ran.stderr, f"^vktinventory: [^\n]*{refusal.reason}[^\n]*\n$")
            return
        self.assertEqual(ran.returncode, code, ran.stderr)
        self.assertEqual(ran.stderr == "", code == 0, ran.stderr)

    def test_the_transports_differ_where_they_should_and_nowhere_else(self):
        def check(case, runs):
            objects = [comparable(runs.by_transport[transport]) for transport in TRANSPORTS]
            always = {
                "module.interface": ("lanplus", "https"),
                "module.cipherSuite": (3, None),
                "module.port": tuple(runs.endpoints[transport]["port"] for transport in TRANSPORTS),
            }
            self.assertEqual(differences(*objects), always | case.differences)

        self.check_each(check, lambda case: not case.refusals)

    def test_a_broken_https_service_hides_nothing_from_rmcp(self):
        def readings(runs):
            document = json.loads(runs.by_transport["rmcp"].stdout)
            return {part: document[part] for part in ("identity", "power", "powerSupplies", "nodes")}

        healthy = readings(self.runs["healthy-vkt2-fe-2"])
        self.check_each(
            lambda _, runs: self.assertEqual(readings(runs), healthy),
            lambda case: case.name.startswith("https-"),
        )

    def test_one_handshake_serves_all_requests(self):
        def check(_, runs):
            self.assertEqual(runs.statistics["handshakes"], 1)
            self.assertGreater(runs.statistics["requests"], runs.statistics["handshakes"])
            self.assertEqual(runs.statistics["openSessions"], 0)

        self.check_each(check, lambda case: "https" not in case.refusals)


if __name__ == "__main__":
    unittest.main()
