# SPDX-License-Identifier: Apache-2.0
"""A running vkt-exporter, and requests to it."""
import http.client
import os
import re
import signal
import subprocess
import threading
import time
import urllib.parse

from enclosures import TIMEOUT, environment_with

EXPORTER = os.environ["VKT_EXPORTER"]
# Seconds for a scrape: below TIMEOUT, and far above what one takes that does not wait in vain.
AMPLE = 100


class Exporter:
    """Serves a fleet file for the length of a `with` block."""

    def __init__(self, fleet, *flags, environment=None, **process):
        self.process = subprocess.Popen(
            [EXPORTER, "--fleet", str(fleet), "--web.listen-address", "127.0.0.1:0", *flags],
            stdin=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            env=environment_with(environment),
            **process,
        )
        self.log = ""
        self.more = threading.Condition()
        self.reader = threading.Thread(target=self.read_log, daemon=True)
        self.reader.start()
        try:
            listening = self.wait_for_log(r"listening on https?://([\d.]+):(\d+)")
        except AssertionError:
            self.process.kill()
            raise
        self.address = (listening[1], int(listening[2]))

    def read_log(self):
        for line in self.process.stderr:
            with self.more:
                self.log += line.decode()
                self.more.notify_all()
        with self.more:
            self.log += "(the end)"
            self.more.notify_all()

    def wait_for_log(self, pattern, since=0):
        """The match of what is logged, now or later."""
        def found():
            return re.search(pattern, self.log[since:]) or "(the end)" in self.log[since:]

        with self.more:
            match = self.more.wait_for(found, TIMEOUT)
        assert isinstance(match, re.Match), self.log
        return match

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        """Its exit code."""
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(TIMEOUT)
        self.reader.join(TIMEOUT)
        self.process.stderr.close()
        return self.process.returncode

    def ask(self, path, method="GET", headers=None):
        """Status, text and header fields of an answer."""
        connection = http.client.HTTPConnection(*self.address, timeout=TIMEOUT)
        try:
            connection.request(method, path, headers=headers or {})
            response = connection.getresponse()
            return response.status, response.read().decode(), dict(response.getheaders())
        finally:
            connection.close()

    def probe(self, target, timeout=AMPLE, **parameters):
        """The series of a scrape, which has to be answered with 200: name and labels -> number."""
        query = urllib.parse.urlencode({"target": target, **parameters}, doseq=True)
        status, text, _ = self.ask("/probe?" + query, headers={"X-Prometheus-Scrape-Timeout-Seconds": str(timeout)})
        assert status == 200, (status, text)
        return series(text)

    def own(self, name):
        return series(self.ask("/metrics")[1])[name]

    def reload(self):
        """Reads its files again by SIGHUP; what it logs of that."""
        since = len(self.log)
        self.process.send_signal(signal.SIGHUP)
        return self.wait_for_log(r".*(read again|stay in use).*", since)[0]

    def wait_until(self, name, number):
        """Until a metric of its own has that value."""
        deadline = time.monotonic() + TIMEOUT
        while self.own(name) != number:
            assert time.monotonic() < deadline, name
            time.sleep(0.02)


def series(text):
    lines = [line.rpartition(" ") for line in text.splitlines() if line and not line.startswith("#")]
    return {name: float(number) for name, _, number in lines}


NOT_READ = 'vkt_not_read{{cause="{}"}}'.format
LOG_INS = 'vkt_exporter_log_ins_total{{cause="{}"}}'.format
