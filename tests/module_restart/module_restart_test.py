# SPDX-License-Identifier: Apache-2.0
"""A module that is killed in the middle of a `show` and comes back: at each request in turn, over both
transports. What failed is named, nothing wrong is printed, and the next `show` is right."""
import concurrent.futures
import json
import os
import subprocess
import tempfile
import threading
import time
import unittest

from enclosures import COMMAND, TIMEOUT, SCENARIOS, SIMULATOR, run

WITHOUT_PAUSES = os.environ["VKTINVENTORY_WITHOUT_PAUSES"]
TRANSPORTS = ("rmcp", "https")
SCENARIO = "healthy-vkt2-fe-2"
FAILURES = {
    "VKT_INVENTORY_TRANSPORT_ERROR",
    "VKT_INVENTORY_CONNECT_FAILED",
    "VKT_INVENTORY_FAILED",
    "VKT_INVENTORY_NO_DATA",
}
# The waits of a management host are seconds. One for a module that is dead need not be, but a module
# that lives has the usual ones to answer in: the host of the tests may be busy.
QUICK = {"VKT_IPMI_SESSION_TIMEOUT_MS": "400", "VKT_IPMI_RETRANSMISSION_TIMEOUT_MS": "100"}
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

    def show(self, transport, command=WITHOUT_PAUSES, waits=None):
        endpoint = self.endpoints[transport]
        words = [command, "-H", endpoint["address"], "-p", str(endpoint["port"])]
        words += ["-U", endpoint["user"], "-E", "--format", "json"]
        # A module makes itself a new certificate at each start.
        words += ["-I", "https", "--insecure"] if transport == "https" else []
        begin = time.monotonic()
        ran = run([*words, "show"], {"IPMI_PASSWORD": endpoint["password"], **(waits or {})})
        ran.seconds = time.monotonic() - begin
        return ran


class Verdict:
    """What is wrong with a run, and how many failures it has."""

    def __init__(self, ran, whole):
        self.ran = ran
        self.complaints = []
        self.failed = 0
        {0: self.check_whole, 1: self.check_part, 3: self.check_refusal}.get(
            ran.returncode, self.complain_of_code
        )(whole)

    def complain_of_code(self, _):
        self.complaints.append(f"exit code {self.ran.returncode}: {self.ran.stderr}")

    def check_whole(self, whole):
        if json.loads(self.ran.stdout)["queries"] != whole:
            self.complaints.append("exit code 0, but not the whole")

    def check_refusal(self, _):
        if self.ran.stdout or "vktinventory: no " not in self.ran.stderr:
            self.complaints.append(f"no connection, but: {self.ran.stdout}{self.ran.stderr}")

    def check_part(self, whole):
        document = json.loads(self.ran.stdout)
        for name, answer in document["queries"].items():
            self.check_answer(name, answer, whole[name], document["moduleStatusRead"])
        named = self.ran.stderr.count(" not read: ")
        expected = self.failed if document["moduleStatusRead"] else 0
        if named != expected or (document["moduleStatusRead"] and not self.failed) or not self.ran.stderr:
            self.complaints.append(f"{self.failed} failures, but: {self.ran.stderr}")

    def check_answer(self, name, answer, whole, status_read):
        if isinstance(answer, list):
            if len(answer) != (len(whole) if status_read else 0):
                self.complaints.append(f"{name}: {len(answer)} answers")
            for each, right in zip(answer, whole):
                self.check_answer(name, each, right, status_read)
        elif answer["result"] == "VKT_INVENTORY_SUCCESS":
            if answer != whole:
                self.complaints.append(f"{name}: wrong value {answer}")
        else:
            self.failed += 1
            self.check_failure(name, answer, whole)

    def check_failure(self, name, answer, whole):
        # Of a list, the supplies before the failure may stand there.
        beginning = answer["data"] is None or answer["data"] == whole["data"][: len(answer["data"])]
        if answer["result"] not in FAILURES or not beginning:
            self.complaints.append(f"{name}: {answer}")


class Restart(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        module = Module()
        shown = {transport: module.show(transport) for transport in TRANSPORTS}
        assert all(ran.returncode == 0 for ran in shown.values()), shown
        cls.whole = {transport: json.loads(ran.stdout)["queries"] for transport, ran in shown.items()}
        over_https = module.end()["requests"]
        # Over HTTPS the first request is Get Device ID; over RMCP+ that is no enclosure's.
        cls.requests = {"https": over_https, "rmcp": over_https - 1}

    def check_requests(self, transport, comes_back, numbers=None, command=WITHOUT_PAUSES):
        def one(number):
            module = Module(number)
            watch = threading.Thread(target=module.wait_and_restart)
            if comes_back:
                watch.start()
            ran = module.show(transport, command, QUICK)
            if not comes_back:
                watch.start()
            watch.join(TIMEOUT)
            after = module.show(transport)
            module.end()
            self.assertTrue(module.died)
            return number, Verdict(ran, self.whole[transport]), Verdict(after, self.whole[transport])

        numbers = numbers or range(1, self.requests[transport] + 1)
        outcomes = {}
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            for number, verdict, after in pool.map(one, numbers):
                outcomes[number] = (verdict.ran.returncode, verdict.failed, verdict.ran.seconds)
                with self.subTest(transport=transport, request=number, comes_back=comes_back):
                    self.assertEqual(verdict.complaints, [])
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
            module = Module(self.requests[transport] + 1)
            ran = module.show(transport)
            module.end()
            self.assertEqual((ran.returncode, Verdict(ran, self.whole[transport]).complaints), (0, []), ran)

    def test_module_comes_back_at_once(self):
        for transport in TRANSPORTS:
            self.check_requests(transport, comes_back=True)

    def test_module_stays_away(self):
        for transport in TRANSPORTS:
            self.check_requests(transport, comes_back=False)

    def test_the_command_with_its_pauses_names_what_failed(self):
        """Some of them as they are, with the pauses: the first, two of the library's own, the last."""
        for transport in TRANSPORTS:
            self.check_requests(transport, True, [1, 3, 8, self.requests[transport]], COMMAND)


if __name__ == "__main__":
    unittest.main()
