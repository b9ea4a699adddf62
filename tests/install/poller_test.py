# SPDX-License-Identifier: Apache-2.0
"""examples/poller reads twenty simulated enclosures: over both transports, with two cipher suites and
two pins, one of them exchanged, one that is too slow for its deadline and one that is cancelled.

poller_test.py POLLER SIMULATOR SUITE_17_MODULES
"""

import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

POLLER, SIMULATOR, SUITE_17_MODULES = sys.argv[1:4]
SCENARIOS = pathlib.Path(os.environ["SCENARIOS"])
SLOWER_THAN_ANY_DEADLINE = {"kind": "latency", "milliseconds": 60000}


@contextlib.contextmanager
def played(count, *command):
    """Plays so many enclosures; gives their endpoints."""
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        try:
            yield [json.loads(process.stdout.readline()) for _ in range(count)]
        finally:
            process.terminate()


def scenario(name, **changes):
    return json.dumps(json.loads((SCENARIOS / f"{name}.json").read_text()) | changes)


def line(endpoints, over, suite_or_pin, seconds, *words):
    at = endpoints["rmcp" if over == "rmcp" else "https"]
    return " ".join(map(str, (at["address"], at["port"], over, suite_or_pin, seconds, *words)))


class Poller(unittest.TestCase):
    maxDiff = None

    def test_reads_twenty_enclosures_side_by_side(self):
        with contextlib.ExitStack() as stack:
            folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
            stuck = folder / "stuck.json"
            stuck.write_text(scenario("healthy-vkt2-fe-2", https={"faults": [SLOWER_THAN_ANY_DEADLINE]}))
            healthy, faulty = "--scenario=healthy-vkt2-fe-2", "--scenario=faulty-vkt2"
            with_suite_3 = stack.enter_context(played(5, SIMULATOR, *[healthy] * 4, faulty, "--no-https"))
            with_suite_17 = stack.enter_context(
                played(5, SUITE_17_MODULES, SCENARIOS / "healthy-vkt2-fe-2.json", "5"))
            first = stack.enter_context(played(5, SIMULATOR, healthy, "--count=5", "--no-rmcp"))
            second = stack.enter_context(
                played(5, SIMULATOR, *[healthy] * 3, *[f"--scenario={stuck}"] * 2, "--no-rmcp"))
            own, other = first[0]["https"]["pin"], second[0]["https"]["pin"]
            self.assertNotEqual(own, other)

            lines = [line(e, "rmcp", 3, 60) for e in with_suite_3]
            lines += [line(e, "rmcp", 17, 60) for e in with_suite_17]
            lines += [line(e, "https", own, 60) for e in first[:4]]
            lines += [line(first[4], "https", other, 60)]
            lines += [line(e, "https", other, 60) for e in second[:3]]
            lines += [line(second[3], "https", other, 2), line(second[4], "https", other, 50, "cancel")]
            (folder / "enclosures").write_text("\n".join(lines) + "\n")
            account = with_suite_3[0]["rmcp"]
            done = subprocess.run(
                [POLLER, folder / "enclosures", account["user"]], text=True, capture_output=True, check=True,
                env={"IPMI_PASSWORD": account["password"]})
        sys.stdout.write(done.stdout + done.stderr)

        names = [":".join(words.split()[:2]) for words in lines]
        good = "  ok  power 1850"
        said = [good] * 4 + ["  critical"] + [good] * 9 + ["  unknown  notTrusted: "] + [good] * 3
        said += ["  unknown  timedOut: ", "  unknown  cancelled: "]
        printed = done.stdout.splitlines()
        self.assertEqual(len(printed), 20)
        for name, rest, row in zip(names, said, printed):
            self.assertTrue(row.startswith(name + rest), f"{row!r} does not begin with {name + rest!r}")

        # Every record names its enclosure; nobody had the password sent twice, or unproved.
        records = dict(record.removeprefix("poller 3 ").split(": ", 1)
                       for record in done.stderr.splitlines() if record.startswith("poller 3 "))
        self.assertEqual(sorted(records), sorted(names))
        for name, rest in zip(names, said):
            if rest == good:
                self.assertTrue(records[name].endswith(", log-ins: 1"), records[name])
            if "notTrusted" in rest:
                self.assertEqual(records[name], "requests: 0, log-ins: 0")
        self.assertNotIn(account["password"], done.stdout + done.stderr)

    def test_a_file_that_cannot_be_opened_is_named(self):
        done = subprocess.run([POLLER, "/nonexistent/enclosures", "admin"], text=True, capture_output=True,
                              check=False, env={"IPMI_PASSWORD": "secret"})
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("/nonexistent/enclosures", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
