# SPDX-License-Identifier: Apache-2.0
"""Standard streams that are closed, full or read by nobody: results that do not arrive are an error
of their own, and all else goes on."""
import contextlib
import dataclasses
import itertools
import os
import re
import shlex
import unittest

from enclosures import COMMAND, SIMULATOR
from surroundings import (
    NOT_WRITTEN,
    READ,
    SIMULATE,
    CommandTest,
    Simulation,
    closing,
    commands,
    run,
)

STREAMS = {"stdin": 0, "stdout": 1, "stderr": 2}


@dataclasses.dataclass(frozen=True)
class Case:
    """What is wrong with which streams, and how a run ends that has results to write."""

    stdin: str = ""
    stdout: str = ""
    stderr: str = ""
    code: int = READ
    complaint: str = ""


CASES = [
    Case(stdin="closed"),
    Case(stdout="closed", code=NOT_WRITTEN, complaint="Bad file descriptor"),
    Case(stdout="full", code=NOT_WRITTEN, complaint="No space left on device"),
    Case(stdout="unread", code=NOT_WRITTEN, complaint="Broken pipe"),
    Case(stderr="closed"),
    Case(stderr="full"),
    Case(stderr="unread"),
    Case(stdin="closed", stderr="closed"),
    Case(stdin="closed", stdout="closed", stderr="closed", code=NOT_WRITTEN),
    Case(stdout="full", stderr="full", code=NOT_WRITTEN),
    Case(stdout="unread", stderr="unread", code=NOT_WRITTEN),
]


@contextlib.contextmanager
def broken(case):
    """The streams of a child as a run takes them."""
    with contextlib.ExitStack() as files:
        streams, closed = {}, []
        for name, number in STREAMS.items():
            state = getattr(case, name)
            if state == "closed":
                streams[name] = None
                closed.append(number)
            elif state == "full":
                streams[name] = files.enter_context(open("/dev/full", "w"))
            elif state == "unread":
                reader, writer = os.pipe()
                os.close(reader)
                streams[name] = files.enter_context(os.fdopen(writer, "w"))
        yield {"prepare": closing(*closed), **streams}


class Command(CommandTest):
    def check(self, case, words, results):
        with broken(case) as streams:
            ran = run(words, **streams)
        self.assertEqual(ran.returncode, case.code, ran.stderr)
        if not case.stdout:
            self.assertEqual(ran.stdout, results)
        if not case.stderr and case.complaint:
            self.assertRegex(
                ran.stderr,
                "vktinventory: the results cannot be written to standard output: "
                + case.complaint,
            )

    def test_each_case_over_both_transports(self):
        ways = commands(self.enclosure, "show")
        for case, way in itertools.product(CASES, ("rmcp", "https")):
            with self.subTest(case, way=way):
                self.check(case, ways[way], self.undisturbed)
                if case.stderr:
                    self.check(case, [*ways[way], "-vv"], self.undisturbed)

    def test_help_is_a_result_too(self):
        results = run([COMMAND, "--help"]).stdout
        for case in CASES:
            with self.subTest(case):
                self.check(case, [COMMAND, "--help"], results)

    def test_a_failure_keeps_its_code(self):
        for case in CASES:
            with self.subTest(case), broken(case) as streams:
                words = self.enclosure.words("show", P="wrong")
                self.assertEqual(run(words, **streams).returncode, 4)

    def test_a_reader_of_the_first_line_gets_it(self):
        for way in ("rmcp", "https"):
            with self.subTest(way):
                words = commands(self.enclosure, "show")[way]
                pipeline = f"{shlex.join(words)} | head -n 1; echo ${{PIPESTATUS[0]}}"
                ran = run(["bash", "-c", pipeline])
                first, code = ran.stdout.splitlines()
                self.assertEqual(first, self.undisturbed.splitlines()[0])
                # By who is quicker; but then it is said.
                self.assertIn(code, (str(READ), str(NOT_WRITTEN)))
                self.assertEqual("Broken pipe" in ran.stderr, code == str(NOT_WRITTEN))


class Simulator(unittest.TestCase):
    def test_without_an_output_it_does_not_start(self):
        for case in CASES:
            for words in (SIMULATE, [SIMULATOR, "--help"], [SIMULATOR, "--list"]):
                if case.stdout:
                    with self.subTest(case, words=words), broken(case) as streams:
                        ran = run(words, **streams)
                        self.assertEqual(ran.returncode, 1)
                        if not case.stderr:
                            self.assertEqual(
                                ran.stderr,
                                "vkt-simulator: the standard output cannot be written\n",
                            )

    def test_with_an_output_it_plays(self):
        for case in CASES:
            if not case.stdout:
                with self.subTest(case), broken(case) as streams:
                    with Simulation(SIMULATE, **streams) as simulation:
                        port, user, password = (
                            re.search(f'"{name}":"?([^",]*)', simulation.line)[1]
                            for name in ("port", "user", "password")
                        )
                        asked = run(
                            [COMMAND, "-H", "127.0.0.1", "-p", port]
                            + ["-U", user, "-P", password, "identity"]
                        )
                        self.assertEqual((asked.returncode, asked.stderr), (READ, ""))
                        self.assertEqual(simulation.end()[0], 0)


if __name__ == "__main__":
    unittest.main()
