# SPDX-License-Identifier: Apache-2.0
"""Prometheus itself scrapes the exporter, by the configurations that are shipped, and is asked what it has."""
import concurrent.futures
import json
import math
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from definitions_test import RULES, dashboard_expressions, documented_metrics
from running import SCENARIOS, SOURCE, TIMEOUT, Exporter, Prometheus, Simulator, get, wait_until

# Seconds between two scrapes, of which one may take nearly all. What the sanitizers slow down is given fewer
# enclosures, or a busy host would not get through all of them in that time.
INTERVAL = 5
ENCLOSURES = 10 if os.environ["VKT_SANITIZE"] else 41
CHANGING = json.loads((SCENARIOS / "healthy-vkt2-fe-2.json").read_text())
# Supplies' status bits, and what everything begins with.
NO_STATUS_BITS = {"netFn": 50, "command": 145, "kind": "completionCode", "completionCode": 193}
NO_STATUS = {"netFn": 50, "command": 168, "kind": "truncate", "keep": 0}


def setUpModule():
    if shutil.which("prometheus") is None:
        raise unittest.SkipTest("no prometheus here; scripts/install-dependencies test installs it")


def replaced(text, *changes):
    for pattern, change in changes:
        text, count = re.subn(pattern, change, text, flags=re.MULTILINE)
        assert count, pattern
    return text


# Nobody answers there; and an account that its enclosure refuses.
UNREADABLE = """
[[group]]
name = "dead"
hosts = ["127.0.0.1:9"]
user = "admin"
password = "enclosure"

[[host]]
name = "{host}"
password = "wrong"
"""


class Scraped(unittest.TestCase):
    """Enclosures, of which one refuses the log-in, and a dead host; two exporters, of which Prometheus scrapes the
    first."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.scenario = cls.folder / "changing.json"
        cls.play()
        cls.fleet = cls.folder / "fleet.toml"
        scenarios = [cls.scenario, "faulty-vkt2", "wrong-completion-codes", "healthy-vkt2-fc-9"]
        cls.simulator = Simulator(cls.fleet, scenarios + ["healthy-vkt2-fe-2"] * (ENCLOSURES - len(scenarios)))
        cls.addClassCleanup(cls.simulator.stop)
        cls.changing = cls.simulator.hosts[0]
        cls.faultless = cls.simulator.hosts[3]
        cls.dead = "127.0.0.1:9"
        *cls.readable, cls.refused = cls.simulator.hosts
        cls.everybody = [*cls.simulator.hosts, cls.dead]
        with open(cls.fleet, "a") as fleet:
            fleet.write(UNREADABLE.format(host=cls.refused))
        # One port at two addresses that differ in a digit, so that a digit chooses one.
        cls.first = Exporter(cls.fleet, cls.folder / "first.log", "127.0.0.10:0")
        cls.port = cls.first.address.rpartition(":")[2]
        cls.addClassCleanup(lambda: cls.first.stop())
        cls.second = Exporter(cls.fleet, cls.folder / "second.log", f"127.0.0.11:{cls.port}")
        cls.addClassCleanup(cls.second.stop)
        rules = cls.folder / "vkt.rules.yml"
        rules.write_text(replaced(RULES.read_text(), (r"(for|keep_firing_for): \d+m$", r"\1: 2s")))
        cls.quickly = (
            (r"/usr/share/vkt-exporter/alerts/vkt.rules.yml", str(rules)),
            (r"scrape_interval: \d+s", f"scrape_interval: {INTERVAL}s"),
            (r"scrape_timeout: \d+s", f"scrape_timeout: {INTERVAL}s"),
            (r"evaluation_interval: \d+s", "evaluation_interval: 1s"),
            (r"( +)http_sd_configs:\n +- ", r"\g<0>refresh_interval: 1s\n\1    "),
        )
        text = replaced(
            (SOURCE / "examples" / "prometheus" / "prometheus.yml").read_text(),
            *cls.quickly,
            (r"127\.0\.0\.1:9842", cls.first.address),
        )
        cls.prometheus = Prometheus(cls.folder / "prometheus", text)
        cls.addClassCleanup(cls.prometheus.stop)

    @classmethod
    def play(cls, faults=(), **supply):
        """Has the first enclosure's second supply be so, and its answers have these faults."""
        scenario = json.loads(json.dumps(CHANGING)) | {"faults": list(faults)}
        scenario["supplies"][1] |= supply
        cls.scenario.write_text(json.dumps(scenario))
        if hasattr(cls, "simulator"):
            cls.simulator.reload()

    def everything_is_scraped(self):
        self.prometheus.wait_for('count(vkt_up{job="vkt"} == 1)', len(self.readable))

    def test_enclosures_are_discovered_and_read(self):
        self.everything_is_scraped()
        targets = self.prometheus.targets()
        self.assertEqual({t["labels"]["instance"] for t in targets}, set(self.everybody))
        self.assertEqual(
            {t["labels"]["group"] for t in targets},
            {"changing", "dead", "faulty-vkt2", "wrong-completion-codes", "healthy-vkt2-fc-9", "healthy-vkt2-fe-2"},
        )
        wait_until(
            lambda: {(t["health"], t["lastError"]) for t in self.prometheus.targets()} == {("up", "")},
            lambda: [(t["labels"], t["lastError"]) for t in self.prometheus.targets() if t["health"] != "up"],
        )
        for path in (f"/probe?target={self.faultless}", "/metrics"):
            ran = subprocess.run(
                ["promtool", "check", "metrics"], input=self.first.get(path)[1], capture_output=True, text=True
            )
            self.assertEqual((ran.returncode, ran.stdout + ran.stderr), (0, ""))

    def test_every_documented_metric_is_there(self):
        documented = documented_metrics()
        self.assertGreater(len(documented), 30)
        wait_until(
            lambda: documented <= set(self.prometheus.ask("label/__name__/values")),
            lambda: documented - set(self.prometheus.ask("label/__name__/values")),
        )

    def test_every_expression_of_the_dashboard_gives_data(self):
        self.everything_is_scraped()
        for expression in dashboard_expressions(instance=self.faultless):
            self.prometheus.wait_for(expression)

    def test_who_cannot_be_read_is_told_apart(self):
        for alert, host, cause in (
            ("VktUnreachable", self.dead, "unreachable"),
            ("VktLoginRefused", self.refused, "refused"),
        ):
            self.prometheus.wait_for(f'ALERTS{{alertname="{alert}", alertstate="firing", instance="{host}"}}')
            self.prometheus.wait_for(f'count(ALERTS{{instance="{host}"}})', 1)
            self.prometheus.wait_for(f'vkt_not_read{{instance="{host}", cause="{cause}"}} > 0')

    def test_an_alert_stays_until_the_supply_is_back(self):
        alert = f'ALERTS{{alertname="VktPsuMissing", alertstate="firing", instance="{self.changing}"}}'
        present = f'vkt_psu_present{{instance="{self.changing}"}}'
        self.everything_is_scraped()
        self.prometheus.wait_for(f'absent(ALERTS{{instance="{self.changing}"}})')
        self.addCleanup(self.play)
        self.play(present=False)
        self.prometheus.wait_for(alert)
        since = time.time()
        for fault in (NO_STATUS_BITS, NO_STATUS):
            self.play([fault], present=False)
            self.prometheus.wait_for(f"absent({present})")
            until = self.prometheus.value("time()") + 2 * INTERVAL
            wait_until(lambda: self.prometheus.value("time()") > until, lambda: "the time")
            self.assertEqual(self.prometheus.query(f"absent({present})")[0][1], 1)
            self.assertTrue(self.prometheus.query(alert), fault)
        self.play()
        self.prometheus.wait_for(f"absent({alert})")
        # From the first to the last it was one alert.
        seconds = math.ceil(time.time() - since)
        state = f'ALERTS_FOR_STATE{{alertname="VktPsuMissing", instance="{self.changing}"}}'
        self.assertEqual(self.prometheus.value(f"changes({state}[{seconds}s])"), 0)

    def test_each_enclosure_is_read_by_exactly_one_of_two_exporters(self):
        text = replaced(
            (SOURCE / "examples" / "prometheus" / "prometheus-sharded.yml").read_text(),
            *self.quickly,
            (r"^.*vkt-exporter-[2-9]\.example\.com:9842\n", ""),
            (r"vkt-exporter-(\d|\$1)\.example\.com:9842", rf"127.0.0.1\1:{self.port}"),
            (r"modulus: \d+", "modulus: 2"),
        )
        before = self.second.number('vkt_exporter_log_ins_total{cause="none"}')
        prometheus = Prometheus(self.folder / "sharded", text)
        self.addCleanup(prometheus.stop)
        prometheus.wait_for('count(vkt_up{job="vkt"} == 1)', len(self.readable))
        targets = prometheus.targets()
        self.assertEqual(sorted(t["labels"]["instance"] for t in targets), sorted(self.everybody))
        readers = {t["labels"]["instance"]: t["scrapeUrl"].partition("/probe")[0] for t in targets}
        self.assertEqual(set(readers.values()), {self.first.url, self.second.url})
        # Nobody else asks the second one: what it has read are the scrapes of its share, and of no other.
        share = [host for host in self.readable if readers[host] == self.second.url]

        def of_share(expression):
            return sum(n for labels, n in prometheus.query(expression) if labels["instance"] in share)

        read = of_share('sum_over_time(vkt_up{job="vkt"}[10m])')
        after = self.second.number('vkt_exporter_log_ins_total{cause="none"}')
        scrapes = of_share('count_over_time(up{job="vkt"}[10m])')
        self.assertGreater(read, 0)
        self.assertGreaterEqual(after - before, read)
        self.assertLessEqual(after - before, scrapes + 2 * len(share))

    def test_files_are_read_again_while_scrapes_run(self):
        self.everything_is_scraped()
        good = self.fleet.read_text()
        self.addCleanup(self.first.send, signal.SIGHUP)
        self.addCleanup(self.fleet.write_text, good)
        successful = "vkt_exporter_config_last_reload_successful"
        answers = []
        stop = threading.Event()

        def scrape():
            ample = {"X-Prometheus-Scrape-Timeout-Seconds": "100"}
            while not stop.is_set():
                status, text = self.first.get(f"/probe?target={self.faultless}", **ample)
                answers.append((status, "\nvkt_up 1\n" in text))

        with concurrent.futures.ThreadPoolExecutor() as threads:
            scraping = threads.submit(scrape)
            try:
                self.fleet.write_text(good + '\n[[group]]\nname = "unfinished\n')
                self.first.send(signal.SIGHUP)
                self.prometheus.wait_for(successful, 0)
                self.assertIn(f"{self.fleet}:", self.first.log.read_text())
                self.assertEqual(len(self.prometheus.targets()), len(self.everybody))
                self.fleet.write_text(good.replace("expect-nodes", 'labels = { site = "north" }\nexpect-nodes'))
                self.first.send(signal.SIGHUP)
                self.prometheus.wait_for('count(vkt_up{site="north"} == 1)', len(self.readable))
                self.assertEqual(self.first.number(successful), 1)
            finally:
                stop.set()
            scraping.result(TIMEOUT)
        self.assertEqual(set(answers), {(200, True)})

    def test_a_restart_costs_a_scrape(self):
        self.everything_is_scraped()
        wait_until(lambda: self.first.number("vkt_exporter_reads_in_flight") > 0, lambda: "a read")
        stopped = time.time()
        self.assertEqual(self.first.stop(), 0)
        type(self).first = Exporter(self.fleet, self.folder / "again.log", self.first.address)
        down = time.time() - stopped
        self.prometheus.wait_for('count(up{job="vkt"} == 1)', len(self.everybody))
        lost = max(
            (
                failed
                for _, failed in self.prometheus.query(
                    f'count_over_time(up{{job="vkt"}}[{math.ceil(time.time() - stopped)}s]) '
                    f'- sum_over_time(up{{job="vkt"}}[{math.ceil(time.time() - stopped)}s])'
                )
            )
        )
        self.assertLessEqual(lost, 1 + math.ceil(down / INTERVAL))


class Stopped(unittest.TestCase):
    """Modules with a single session each, and slow ones."""

    def test_no_session_is_left_when_it_ends_in_the_middle(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        folder = pathlib.Path(folder.name)
        slow = [
            {"netFn": 50, "command": command, "kind": "latency", "milliseconds": 300}
            for command in (145, 146, 152, 157, 165, 167, 168, 176)
        ]
        scenario = folder / "slow.json"
        scenario.write_text(json.dumps(CHANGING | {"sessions": 1, "faults": slow}))
        fleet = folder / "fleet.toml"
        simulator = Simulator(fleet, [scenario] * 4)
        self.addCleanup(simulator.stop)
        exporter = Exporter(fleet, folder / "log")
        with concurrent.futures.ThreadPoolExecutor() as threads:
            header = {"X-Prometheus-Scrape-Timeout-Seconds": "100"}
            answers = [
                threads.submit(exporter.get, f"/probe?target={host}", **header) for host in simulator.hosts
            ]
            wait_until(lambda: exporter.number("vkt_exporter_reads_in_flight") == 4, lambda: "reads")
            time.sleep(0.5)  # A log-in takes next to nothing, the reading many seconds.
            self.assertEqual(exporter.stop(), 0)
            for answer in answers:
                self.assertIn(answer.result(TIMEOUT)[0], (200, 503))
        # The next one gets its session at once, or not for a minute.
        again = Exporter(fleet, folder / "again")
        self.addCleanup(again.stop)
        for host in simulator.hosts:
            header = {"X-Prometheus-Scrape-Timeout-Seconds": "40"}
            status, text = again.get(f"/probe?target={host}&collect[]=identity", **header)
            self.assertEqual(status, 200)
            self.assertRegex(text, "(?m)^vkt_up 1$", text)


if __name__ == "__main__":
    unittest.main()
