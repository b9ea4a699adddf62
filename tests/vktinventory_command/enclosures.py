# SPDX-License-Identifier: Apache-2.0
"""What the end-to-end tests share: simulated enclosures, and runs of the command against them."""
import contextlib
import json
import os
import pathlib
import re
import subprocess
import tempfile
import time

COMMAND = os.environ["VKTINVENTORY"]
SIMULATOR = os.environ["VKT_SIMULATOR"]
SCENARIOS = pathlib.Path(os.environ["VKT_SCENARIOS"])
SCHEMA = pathlib.Path(os.environ["VKT_SCHEMA"])
# Far above anything that is waited for here: a run that reaches it hangs.
TIMEOUT = 120


# A configuration and a fleet file that say nothing, whatever this machine's own say.
NO_CONFIGURATION = tempfile.NamedTemporaryFile(suffix=".toml")
NO_FLEET = tempfile.NamedTemporaryFile(suffix=".toml")


def scenario_file(name):
    """A file's name, or a shipped scenario's."""
    return name if "/" in name else SCENARIOS / f"{name}.json"


def changed(scenario, **changes):
    """A shipped scenario that differs in `changes`."""
    return json.loads(scenario_file(scenario).read_text()) | changes


def written(scenario):
    """The file of a scenario; it is gone once it is closed."""
    file = tempfile.NamedTemporaryFile("w", suffix=".json")
    json.dump(scenario, file)
    file.flush()
    return file


# The commands that a `show` sends.
READING = (0x91, 0x92, 0x98, 0x9D, 0xA5, 0xA7, 0xA8, 0xB0)


def slow(milliseconds):
    """Faults of a scenario: so long for each request of a `show`."""
    return [
        {"kind": "latency", "milliseconds": milliseconds, "netFn": 0x32, "command": command}
        for command in READING
    ]


def slow_log_in(milliseconds):
    """Such a fault for each step of a log-in."""
    return [{"kind": "loginLatency", "milliseconds": milliseconds}]


class Enclosure:
    """A simulated enclosure for the length of a `with` block; `changes` are made to the scenario."""

    def __init__(self, scenario, **changes):
        self.scenario = changed(scenario, **changes)
        with written(self.scenario) as file:
            self.process = subprocess.Popen(
                [SIMULATOR, "--statistics", "--scenario", file.name],
                stdout=subprocess.PIPE,
                text=True,
            )
            self.endpoints = json.loads(self.process.stdout.readline())
            self.endpoint = self.endpoints["rmcp"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        """What the simulator prints at its end: what its HTTPS service has counted."""
        self.process.terminate()
        self.process.wait(TIMEOUT)
        with self.process.stdout as output:
            return json.loads(output.read())["https"]

    def words(self, *words, **changes):
        """The command's words with log-in flags, some of them changed or (None) left out."""
        flags = {
            "-H": self.endpoint["address"],
            "-p": str(self.endpoint["port"]),
            "-U": self.endpoint["user"],
            "-P": self.endpoint["password"],
        }
        flags.update({"-" + flag: value for flag, value in changes.items()})
        given = [word for flag, value in flags.items() if value is not None for word in (flag, value)]
        return [COMMAND, *given, *words]

    def run(self, *words, environment=None, **changes):
        return run(self.words(*words, **changes), environment)

    def ask(self, *words):
        """The JSON that a command prints."""
        return json.loads(self.run("--format", "json", *words).stdout)


# For FreeIPMI's programs to log in to a simulated enclosure.
FREEIPMI_FLAGS = "-D LAN_2_0 -W opensesspriv -u admin -p enclosure -l ADMIN -I 3".split()


class Simulators:
    """Enclosures played by one simulator, with the fleet file that reaches them."""

    def __init__(self, count, *scenarios, flags=()):
        self.folder = tempfile.TemporaryDirectory()
        self.file = pathlib.Path(self.folder.name, "fleet.toml")
        words = [word for name in scenarios for word in ("--scenario", scenario_file(name))]
        self.process = subprocess.Popen(
            [SIMULATOR, *words, "--count", str(count), "--write-fleet", self.file, *flags],
            stdout=subprocess.PIPE,
            text=True,
        )
        self.endpoints = [json.loads(self.process.stdout.readline()) for _ in range(count)]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()
        self.folder.cleanup()

    def end(self):
        if self.process.returncode is None:
            self.process.terminate()
            self.process.wait(TIMEOUT)
            with self.process.stdout as output:
                self.said = output.read()
        return self.said

    def words(self, *words):
        return [COMMAND, "--fleet", str(self.file), *words]

    def run(self, *words):
        return run(self.words(*words))

    def start(self, *words, **streams):
        return subprocess.Popen(
            self.words(*words),
            stdin=subprocess.DEVNULL,
            env=environment_with(),
            start_new_session=True,
            **streams,
        )

    def open_sessions(self):
        """How many sessions each enclosure has open over RMCP+, the one that asks aside."""
        hosts = ",".join(f"{e['rmcp']['address']}:{e['rmcp']['port']}" for e in self.endpoints)
        get_session_info = ["0", "06", "3d", "00"]
        no_copies = ["--session-timeout=60000", "--retransmission-timeout=50000"]  # each of which would leave a half-open session
        ran = subprocess.run(
            ["ipmi-raw", *FREEIPMI_FLAGS, *no_copies, "-h", hosts, "-F", "64", *get_session_info],
            capture_output=True, text=True, timeout=TIMEOUT)
        active = re.findall(r"rcvd: 3D 00 \w\w \w\w (\w\w)", ran.stdout)
        assert len(active) == len(self.endpoints), ran
        return [int(count, 16) - 1 for count in active]


def arguments_once_hidden(pid):
    """The argument list of a command that has begun: from exec until its first lines the password
    still stands there, and no signal is watched for."""
    deadline = time.monotonic() + TIMEOUT
    arguments = b""
    while b"\0\0\0" not in arguments and time.monotonic() < deadline:
        time.sleep(0.01)
        arguments = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes()
    return arguments


def wait_until_asleep(pid):
    """Of a process that has begun, its main thread: until it waits for somebody."""
    deadline = time.monotonic() + TIMEOUT
    state = ""
    while state != "S" and time.monotonic() < deadline:
        time.sleep(0.01)
        state = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(") ")[2][0]


def environment_with(changes=None):
    environment = {key: os.environ[key] for key in os.environ if key not in ("NO_COLOR", "TERM")}
    environment.update({"TERM": "xterm", "VKT_CONFIG": NO_CONFIGURATION.name, "VKT_FLEET": NO_FLEET.name, **(changes or {})})
    return environment


def run(words, environment=None):
    return subprocess.run(
        words,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        timeout=TIMEOUT,
        env=environment_with(environment),
        start_new_session=True,  # without a terminal to ask for a password on
    )


def differences(one, other, place=""):
    """Where two objects differ, as deep as their members and lists are alike: place -> (one, other)."""
    if isinstance(one, dict) and isinstance(other, dict) and one.keys() == other.keys():
        pairs = [(key, one[key], other[key]) for key in one]
    elif isinstance(one, list) and isinstance(other, list) and len(one) == len(other):
        pairs = [(index, *pair) for index, pair in enumerate(zip(one, other))]
    else:
        return {} if one == other else {place: (one, other)}
    found = {}
    for key, left, right in pairs:
        found |= differences(left, right, f"{place}.{key}" if place else str(key))
    return found


PARTS = ("identity", "power", "powerSupplies", "nodes")
OBJECTS = {"power": "Chassis", "powerSupplies": "PSU", "nodes": "Node "}


def object_at(place):
    """What notRead calls the object that a value belongs to: PSU3 at powerSupplies.2.fans.code."""
    part, *rest = place.split(".")
    name = OBJECTS.get(part, "Module")
    return name + str(int(rest[0]) + 1) if part in PARTS[2:] and rest else name


def complaints_of(document, whole):
    """What is wrong with an object by what the undisturbed enclosure gives: a value that is neither
    right nor unread, one that is missed in silence, a list that is short though the module told."""
    told = document["module"]["nodeCount"] is not None
    unread = {missing["object"] for missing in document["notRead"]}
    complaints = []
    found = differences({p: document[p] for p in PARTS}, {p: whole[p] for p in PARTS})
    for place, (value, _) in found.items():
        excused = value == [] and not told if place in PARTS else value is None
        if not excused or (told and object_at(place) not in unread):
            complaints.append(f"{place} is {value}")
    ended = document["error"] is not None
    if document["complete"] != (not unread and not ended) or (found and document["complete"]):
        complaints.append("it is wrong about being complete")
    if unread and document["health"]["status"] == "ok":
        complaints.append("what was not read is called ok")
    return complaints


def processes_of(group):
    """Those of a process group; not what has ended and only waits for init, as the leak sanitizer's helper does."""
    found = []
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError):
            state, _, its_group = stat.read_text().rsplit(")", 1)[1].split()[:3]
            if int(its_group) == group and state not in "ZX":
                found.append(int(stat.parent.name))
    return found


def ends(group):
    """Whether every process of a process group ends."""
    until = time.monotonic() + TIMEOUT
    while processes_of(group) and time.monotonic() < until:
        time.sleep(0.02)
    return not processes_of(group)
