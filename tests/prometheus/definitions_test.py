# SPDX-License-Identifier: Apache-2.0
"""The alerts and the dashboard that are shipped, as Prometheus' own tool sees them."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import textwrap
import unittest

SOURCE = pathlib.Path(os.environ["VKT_SOURCE"])
RULES = SOURCE / "alerts" / "vkt.rules.yml"
DASHBOARD = SOURCE / "dashboards" / "vkt.json"

ALERTS = {
    "VktUnreachable",
    "VktIncomplete",
    "VktPsuFailed",
    "VktPsuMissing",
    "VktRedundancyLost",
    "VktNodeFault",
    "VktPowerAboveCap",
    "VktPsuFans",
    "VktLoginRefused",
}


def setUpModule():
    if shutil.which("promtool") is None:
        raise unittest.SkipTest("no promtool here; scripts/install-dependencies test installs it")


def promtool(*words):
    return subprocess.run(["promtool", *map(str, words)], capture_output=True, text=True)


def dashboard_panels():
    return [p for p in json.loads(DASHBOARD.read_text())["panels"] if p["type"] != "row"]


def dashboard_expressions(instance="enc001"):
    """As Grafana asks them, its variables filled in."""
    for panel in dashboard_panels():
        for target in panel["targets"]:
            expression = target["expr"].replace("$__rate_interval", "1m")
            yield expression.replace("$job", "vkt").replace("$instance", instance)


def documented_metrics():
    return set(re.findall(r"`((?:vkt|process)_\w+)", (SOURCE / "docs" / "metrics.md").read_text()))


def metrics_in(text):
    """Names that stand where a metric does: not labels, not what rules record."""
    text = re.sub(r'"[^"]*"', "", text)
    return set(re.findall(r"(?<![\w:])(?:vkt|process)_\w+(?![\w:])", text))


class Alerts(unittest.TestCase):
    def test_are_what_prometheus_understands(self):
        ran = promtool("check", "rules", "--lint=all", "--lint-fatal", RULES)
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)

    def test_fire_stay_and_end(self):
        ran = promtool("test", "rules", SOURCE / "alerts" / "vkt.test.yml")
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)

    def test_have_the_names_that_documents_and_receivers_know(self):
        named = re.findall(r"^ *- alert: (\w+)$", RULES.read_text(), re.MULTILINE)
        self.assertEqual(sorted(named), sorted(ALERTS))

    def test_ask_for_metrics_that_there_are(self):
        rules = re.sub(r"^ *#.*$", "", RULES.read_text(), flags=re.MULTILINE)
        self.assertLessEqual(metrics_in(rules), documented_metrics())


class Dashboard(unittest.TestCase):
    def test_expressions_are_what_prometheus_understands(self):
        rules = [
            {"record": f"expression:{number}", "expr": expression}
            for number, expression in enumerate(dashboard_expressions())
        ]
        self.assertTrue(rules)
        with tempfile.NamedTemporaryFile("w", suffix=".yml") as file:
            json.dump({"groups": [{"name": "dashboard", "rules": rules}]}, file)
            file.flush()
            ran = promtool("check", "rules", file.name)
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)

    def test_asks_for_metrics_that_there_are(self):
        for expression in dashboard_expressions():
            with self.subTest(expression):
                self.assertLessEqual(metrics_in(expression), documented_metrics())

    def test_can_be_provisioned_as_it_stands(self):
        text = DASHBOARD.read_text()
        dashboard = json.loads(text)
        self.assertNotIn("__inputs", text)
        self.assertNotIn("${DS_", text)
        variables = {v["name"] for v in dashboard["templating"]["list"]}
        used = set(re.findall(r"\$\{?(\w+)", text))
        builtin = {name for name in used if name.startswith("__")}
        self.assertLessEqual(used - builtin, variables)
        identities = [panel["id"] for panel in dashboard["panels"]]
        self.assertEqual(len(identities), len(set(identities)))
        for panel in dashboard_panels():
            for part in (panel, *panel["targets"]):
                self.assertEqual(part["datasource"]["uid"], "${datasource}", panel["title"])

    def test_panels_do_not_overlap(self):
        taken = {}
        for panel in json.loads(DASHBOARD.read_text())["panels"]:
            place = panel["gridPos"]
            for x in range(place["x"], place["x"] + place["w"]):
                self.assertLess(x, 24, panel["title"])
                for y in range(place["y"], place["y"] + place["h"]):
                    self.assertNotIn((x, y), taken, panel["title"])
                    taken[(x, y)] = panel["title"]


class Examples(unittest.TestCase):
    def test_are_what_prometheus_understands(self):
        for path in sorted((SOURCE / "examples" / "prometheus").glob("prometheus*.yml")):
            with self.subTest(path.name):
                ran = promtool("check", "config", "--syntax-only", path)
                self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)

    def test_with_tls_discover_by_what_they_scrape_by(self):
        text = (SOURCE / "docs" / "exporter-web.md").read_text()
        block = re.search(r"(?m)^    scrape_configs:\n(?:     .*\n)+", text)[0]
        with tempfile.NamedTemporaryFile("w", suffix=".yml") as file:
            file.write(textwrap.dedent(block))
            file.flush()
            ran = promtool("check", "config", "--syntax-only", file.name)
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)
        scrapes, _, discovery = block.partition("http_sd_configs:")
        self.assertIn("scheme: https\n", scrapes)
        self.assertIn("url: https://", discovery)
        for key in ("tls_config", "basic_auth"):
            line = rf"(?m)^ *{key}: .*$"
            self.assertEqual(re.search(line, scrapes)[0].strip(), re.search(line, discovery)[0].strip())


@unittest.skipIf(shutil.which("systemd-analyze") is None, "no systemd-analyze here")
class Service(unittest.TestCase):
    """The packaged unit; its program stands elsewhere here."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.unit = pathlib.Path(folder.name) / "vkt-exporter.service"
        text = (SOURCE / "packaging" / "vkt-exporter" / self.unit.name).read_text()
        self.assertIn("/usr/bin/vkt-exporter", text)
        self.unit.write_text(text.replace("/usr/bin/vkt-exporter", os.environ["VKT_EXPORTER"]))

    def analyze(self, *words):
        return subprocess.run(
            ["systemd-analyze", "--no-pager", *words, self.unit], capture_output=True, text=True
        )

    def test_is_what_systemd_understands(self):
        ran = self.analyze("verify", "--man=no")
        self.assertEqual((ran.returncode, ran.stdout + ran.stderr), (0, ""))

    def test_leaves_no_core_to_a_program_that_takes_cores(self):
        """The kernel hands cores to a pipe whatever the limit is, but for 1."""
        self.assertRegex(self.unit.read_text(), r"(?m)^LimitCORE=1$")

    def test_is_started_again_but_after_a_mistake(self):
        unit = self.unit.read_text()
        self.assertRegex(unit, r"(?m)^Restart=on-failure$")
        prevents = re.search(r"(?m)^RestartPreventExitStatus=(\d+)$", unit)[1]
        ran = subprocess.run([os.environ["VKT_EXPORTER"], "--web.listen-address", "localhost", "--config.check"],
                             stderr=subprocess.DEVNULL)
        self.assertEqual(ran.returncode, int(prevents))

    def test_may_do_next_to_nothing(self):
        """What is left by systemd's own measure is the network; 9.6 is a unit that says nothing."""
        ran = self.analyze("security", "--offline=yes", "--threshold=15")
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)


if __name__ == "__main__":
    unittest.main()
