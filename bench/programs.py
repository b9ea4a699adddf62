# SPDX-License-Identifier: Apache-2.0
"""What the benches share: where the programs are, what a `show` asks, and runs of a program with their cost."""
import dataclasses
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / os.environ.get("VKT_BUILD", "build/release")
os.environ.update(
    VKTINVENTORY=str(BUILD / "apps/vktinventory/vktinventory"),
    VKT_SIMULATOR=str(BUILD / "apps/vkt_simulator/vkt-simulator"),
    VKT_SCENARIOS=str(ROOT / "apps/vkt_simulator/scenarios"),
    VKT_SCHEMA=str(ROOT / "docs/inventory.schema.json"),
)
sys.path.insert(0, str(ROOT / "tests/vktinventory_command"))
from enclosures import environment_with  # noqa: E402

# An enclosure of 12 nodes and 9 supplies.
SCENARIO = "healthy-vkt2-fc-9"
SUPPLIES, NODES = range(1, 10), range(1, 13)

# Every request of a `show` of that enclosure, as its network function, command and data.
REQUESTS = [
    "32 a8",
    "32 91",
    *(f"32 a5 {supply:02x}" for supply in SUPPLIES),
    *(f"32 a7 {node:02x}" for node in NODES),
    *(f"32 98 {node:02x}" for node in NODES),
    *(f"32 92 {supply:02x} {register}" for register in ("02 fc", "05 99", "20 f0") for supply in SUPPLIES),
    "32 98 0d",
    "32 9d 0d",
    *(f"32 b0 05 {text}" for text in ("00", "01", "0b")),
]


@dataclasses.dataclass
class Ran:
    """A whole process: its times in milliseconds, what it printed, what it said."""

    wall: float
    cpu: float
    code: int
    output: str
    error: str

    @property
    def document(self):
        return json.loads(self.output)

    @property
    def documents(self):
        return [json.loads(line) for line in self.output.splitlines()]

    def cost(self, name):
        """A number of the line that ends what `-v` says."""
        found = re.search(rf"(\d+) {name}", self.error)
        return int(found[1]) if found else 0


def run(words, password="enclosure", watch=lambda _: None):
    """@param watch: is told of the process when it has begun."""
    with tempfile.TemporaryFile("w+") as output, tempfile.TemporaryFile("w+") as error:
        environment = environment_with({"IPMI_PASSWORD": password})
        begin = time.monotonic()
        process = subprocess.Popen(
            words, stdin=subprocess.DEVNULL, stdout=output, stderr=error, env=environment
        )
        watch(process)
        _, status, usage = os.wait4(process.pid, 0)
        wall = time.monotonic() - begin
        process.returncode = os.waitstatus_to_exitcode(status)
        output.seek(0), error.seek(0)
        cpu = usage.ru_utime + usage.ru_stime
        return Ran(1000 * wall, 1000 * cpu, process.returncode, output.read(), error.read())


def ratio(own, other):
    return f"{own / other:.2f}" if other else "-"
