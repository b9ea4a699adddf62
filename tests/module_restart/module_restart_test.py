# SPDX-License-Identifier: Apache-2.0
"""A module that is killed in the middle of a `show` and comes back: at each request in turn, over both
transports. Everything is read once it is back; if it stays away, what failed is named and nothing wrong
is printed. The next `show` is right."""
import concurrent.futures
import json
import subprocess
import tempfile
import threading
import time
import unittest

from enclosures import COMMAND, SCENARIOS, SIMULATOR, TIMEOUT, complaints_of, run

TRANSPORTS = ("rmcp", "https")
SCENARIO = "healthy-vkt2-fe-2"
# Seconds for a show of a module that comes back, and of one that stays away, which takes all of them; by
# then the module has to have come to its last request, on a busy host with sanitizers, too.
AMPLE, SHORT = "100", "20"
AT_ONCE = 16


class Module:
    """A simulated module that does not survive a request, and is started anew at the same ports."""

    def __init__(self, crash_at=None):
        scenario = json.loads((SCENARIOS / f"{SCENARIO}.json").read_text())
        self.healthy = self.file(scenario)
        self.fatal = self.file(scenario | ({"crashAtRequest": crash_at} if crash_at else {}))
        self.died = False
        assert self.start(self.fatal)
        # What is said of the ports holds for its whole life.
        self.ports = [
            "--port", str(self.endpoints["rmcp"]["port"]),
            "--https-port", str(self.endpoints["https"]["port"]),
        ]  # fmt: skip

    @staticmethod
    def file(scenario):
        file = tempfile.NamedTemporaryFile("w", suffix=".json")
        json.dump(scenario, file)
        file.flush()
        return file

    def start(self, scenario, *more):
        """Whether it is ready."""
        self.process = subprocess.Popen(
            [SIMULATOR, "--statistics", "--scenario", scenario.name, *more],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
        )
        line = self.process.stdout.readline()
        if not line:
            self.process.wait(TIMEOUT)
            self.process.stdout.close()
            return False
        self.endpoints = json.loads(line)
        return True

    def wait_and_restart(self):
        """Returns once the module is there again, or was ended in order."""
        self.process.wait(TIMEOUT)
        self.died = self.process.returncode != 0
        if self.died:
            self.process.stdout.close()
            # A port that is free belongs to whoever asks, a client beside this one for a moment.
            deadline = time.monotonic() + TIMEOUT
            while not self.start(self.healthy, *self.ports):
                assert time.monotonic() < deadline, f"{self.ports} are not free again"

    def end(self):
        self.process.terminate()
        self.process.wait(TIMEOUT)
        with self.process.stdout as output:
            return json.loads(output.read())["https"]

    def show(self, transport, authentication="session", allowed=AMPLE):
        endpoint = self.endpoints[transport]
        words = [COMMAND, "-H", endpoint["address"], "-p", str(endpoint["port"])]
        words += ["-U", endpoint["user"], "-E", "--format", "json", "--timeout", allowed]
        # A module makes itself a new certificate at each start.
        if transport == "https":
            words += ["-I", "https", "--insecure", "--auth", authentication]
        begin = time.monotonic()
        ran = run([*words, "show"], {"IPMI_PASSWORD": endpoint["password"]})
        ran.seconds = time.monotonic() - begin
        return ran


class Verdict:
    """What is wrong with a run, and how many values it missed."""

    def __init__(self, ran, whole):
        self.ran = ran
        document = json.loads(ran.stdout)
        self.failed = len(document["notRead"])
        self.complaints = complaints_of(document, whole)
        if ran.returncode not in (0, 1, 3):
            self.complaints.append(f"exit code {ran.returncode}")
        said = [line for line in ran.stderr.splitlines() if "--insecure: " not in line]
        if document["complete"] != (ran.returncode == 0) or document["complete"] != (said == []):
            self.complaints.append(f"exit code {ran.returncode}, but: {said}")


class Restart(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        module = Module()
        # Without a session, HTTPS counts what is asked and nothing else.
        shown = {transport: module.show(transport, "basic") for transport in TRANSPORTS}
        assert all(ran.returncode == 0 for ran in shown.values()), shown
        cls.whole = json.loads(shown["rmcp"].stdout)
        cls.requests = module.end()["requests"]

    def check_requests(self, transport, comes_back):
        def one(number):
            module = Module(number)
            watch = threading.Thread(target=module.wait_and_restart)
            if comes_back:
                watch.start()
            ran = module.show(transport, allowed=AMPLE if comes_back else SHORT)
            if not comes_back:
                watch.start()
            watch.join(TIMEOUT)
            after = module.show(transport)
            module.end()
            self.assertTrue(module.died)
            return number, Verdict(ran, self.whole), Verdict(after, self.whole)

        numbers = range(1, self.requests + 1)
        outcomes = {}
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            for number, verdict, after in pool.map(one, numbers):
                outcomes[number] = (verdict.ran.returncode, verdict.failed, verdict.ran.seconds)
                with self.subTest(transport=transport, request=number, comes_back=comes_back):
                    self.assertEqual(verdict.complaints, [])
                    self.assertEqual(verdict.ran.returncode == 0, comes_back, verdict.ran)
                    self.assertEqual((after.ran.returncode, after.complaints), (0, []), after.ran)
        codes = [code for code, _, _ in outcomes.values()]
        print(
            f"{transport}, {'back at once' if comes_back else 'away'}: {len(codes)} requests;",
            *(f"exit code {code}: {codes.count(code)};" for code in sorted(set(codes))),
            f"{sum(failed for _, failed, _ in outcomes.values())} failures named;",
            f"longest {max(seconds for _, _, seconds in outcomes.values()):.1f} s",
        )

    def test_no_request_is_left_out(self):
        for transport in TRANSPORTS:
            module = Module(self.requests + 1)
            ran = module.show(transport)
            module.end()
            self.assertEqual((ran.returncode, Verdict(ran, self.whole).complaints), (0, []), ran)

    def test_module_comes_back_at_once(self):
        for transport in TRANSPORTS:
            self.check_requests(transport, comes_back=True)

    def test_module_stays_away(self):
        for transport in TRANSPORTS:
            self.check_requests(transport, comes_back=False)


if __name__ == "__main__":
    unittest.main()
