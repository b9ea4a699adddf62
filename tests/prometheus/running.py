# SPDX-License-Identifier: Apache-2.0
"""Simulated enclosures, exporters and Prometheus, for as long as a test needs them; all on loopback."""
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import time
import urllib.error
import urllib.parse
import urllib.request

EXPORTER = os.environ["VKT_EXPORTER"]
SIMULATOR = os.environ["VKT_SIMULATOR"]
SOURCE = pathlib.Path(os.environ["VKT_SOURCE"])
SCENARIOS = SOURCE / "apps" / "vkt_simulator" / "scenarios"
# Far above anything that is waited for here: a run that reaches it hangs.
TIMEOUT = 120


def wait_until(holds, what):
    """The first value of holds() that is true."""
    deadline = time.monotonic() + TIMEOUT
    while not (value := holds()):
        assert time.monotonic() < deadline, f"waited in vain: {what()}"
        time.sleep(0.1)
    return value


def get(url, **headers):
    """Status and text of an answer."""
    request = urllib.request.Request(url, headers=headers)
    try:
        with urllib.request.urlopen(request, timeout=TIMEOUT) as answer:
            return answer.status, answer.read().decode()
    except urllib.error.HTTPError as answer:
        with answer:
            return answer.code, answer.read().decode()


class Process:
    def __init__(self, *words, **more):
        self.process = subprocess.Popen([str(word) for word in words], **more)

    def send(self, number):
        self.process.send_signal(number)

    def stop(self):
        self.process.terminate()
        return self.process.wait(TIMEOUT)


class Simulator(Process):
    """Plays scenarios; writes the fleet file that reaches them."""

    def __init__(self, fleet, scenarios):
        words = [word for scenario in scenarios for word in ("--scenario", scenario)]
        super().__init__(
            SIMULATOR, *words, "--no-https", "--write-fleet", fleet, stdout=subprocess.PIPE, text=True
        )
        lines = [self.process.stdout.readline() for _ in scenarios]
        self.endpoints = [json.loads(line)["rmcp"] for line in lines]
        self.hosts = [f"{endpoint['address']}:{endpoint['port']}" for endpoint in self.endpoints]
        # Written when all answer, which the lines before say of each.
        wait_until(fleet.exists, lambda: fleet)

    def reload(self):
        self.send(signal.SIGUSR1)
        assert json.loads(self.process.stdout.readline())["reloaded"] > 0

    def stop(self):
        ended = super().stop()
        self.process.stdout.close()
        return ended


class Exporter(Process):
    def __init__(self, fleet, log, address="127.0.0.1:0", *words):
        self.log = log
        with open(log, "w") as errors:
            super().__init__(
                EXPORTER, "--fleet", fleet, "--web.listen-address", address, *words, stderr=errors
            )
        found = wait_until(
            lambda: re.search(r'msg="listening on (http://(\S+))"', log.read_text()), log.read_text
        )
        self.url, self.address = found.groups()

    def get(self, path, **headers):
        return get(self.url + path, **headers)

    def number(self, series):
        """A series of its own, as it is now."""
        text = self.get("/metrics")[1]
        return float(re.search(rf"^{re.escape(series)} (\S+)$", text, re.MULTILINE).group(1))


class Prometheus(Process):
    def __init__(self, folder, configuration):
        folder.mkdir()
        file = folder / "prometheus.yml"
        file.write_text(configuration)
        self.log = folder / "log"
        self.words = [
            "prometheus",
            f"--config.file={file}",
            f"--storage.tsdb.path={folder / 'data'}",
            "--log.level=warn",
        ]
        self.start()
        wait_until(self.is_ready, self.log.read_text)

    def start(self):
        with socket.create_server(("127.0.0.1", 0)) as free:
            address = f"127.0.0.1:{free.getsockname()[1]}"
        with open(self.log, "w") as errors:
            super().__init__(
                *self.words, f"--web.listen-address={address}", stderr=errors, env={**os.environ, "GOMAXPROCS": "1"}
            )
        self.url = f"http://{address}"

    def is_ready(self):
        if self.process.poll() is not None:
            assert "address already in use" in self.log.read_text(), self.log.read_text()
            self.start()  # somebody was quicker to take the free port
        try:
            return get(self.url + "/-/ready")[0] == 200
        except OSError:
            return False

    def ask(self, path, **parameters):
        status, text = get(f"{self.url}/api/v1/{path}?{urllib.parse.urlencode(parameters)}")
        assert status == 200, text
        return json.loads(text)["data"]

    def query(self, expression):
        """Series of an instant vector, each its labels and its value."""
        found = self.ask("query", query=expression)
        if found["resultType"] == "scalar":
            return [({}, float(found["result"][1]))]
        return [(series["metric"], float(series["value"][1])) for series in found["result"]]

    def value(self, expression):
        """Of the one series that there is; None without."""
        series = self.query(expression)
        assert len(series) <= 1, series
        return series[0][1] if series else None

    def wait_for(self, expression, value=None):
        """Until the expression has a series, or that value."""

        def holds():
            found = self.query(expression)
            return bool(found) if value is None else [number for _, number in found] == [value]

        wait_until(holds, lambda: f"{expression}: {self.query(expression)}")

    def targets(self, job="vkt"):
        active = self.ask("targets", state="active")["activeTargets"]
        return [target for target in active if target["scrapePool"] == job]
