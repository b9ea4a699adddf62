# SPDX-License-Identifier: Apache-2.0
"""What the end-to-end tests share: simulated enclosures, and runs of the command against them."""
import json
import os
import pathlib
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


class Enclosure:
    """A simulated enclosure for the length of a `with` block; `changes` are made to the scenario."""

    def __init__(self, scenario, **changes):
        self.scenario = json.loads((SCENARIOS / f"{scenario}.json").read_text()) | changes
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump(self.scenario, file)
            file.flush()
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


def arguments_once_hidden(pid):
    """The argument list of a command that has begun: from exec until its first lines the password
    still stands there, and no signal is watched for."""
    deadline = time.monotonic() + TIMEOUT
    arguments = b""
    while b"\0\0\0" not in arguments and time.monotonic() < deadline:
        time.sleep(0.01)
        arguments = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes()
    return arguments


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
