# SPDX-License-Identifier: Apache-2.0
"""Too few file descriptors, threads, memory or bytes in a file: each run reads everything, or ends
with a code that has this meaning and one line that says why."""
import itertools
import json
import os
import socket
import tempfile
import unittest

from surroundings import (
    EXHAUSTED,
    NO_CONNECTION,
    NOT_WRITTEN,
    READ,
    SIMULATE,
    TIMEOUT,
    CommandTest,
    Simulation,
    commands,
    few_threads,
    limits,
    run,
)

SANITIZED = os.environ["VKT_SANITIZE"] != ""
NO_LIMIT_OF_MEMORY = "the sanitizers take terabytes of addresses, so memory cannot be limited"

# Below this many the loader finds no library, and main() is not reached.
FEWEST_DESCRIPTORS = 4
MOST_DESCRIPTORS = 32
# The libraries themselves need so much address space to be loaded, at least; and so much is plenty.
LOADED, PLENTY = 16 << 20, 256 << 20
MEMORY_STEP = 1 << 20

EXHAUSTION = {
    NO_CONNECTION: "no thread can be started",
    EXHAUSTED: "Too many open files|the file of trusted authorities cannot be used|no memory is left"
               "|no thread can be started",
}
# What need not be set may be read from a file that cannot be opened just then.
SETTING_NOT_READ = r"\A(vktinventory: [^\n]+ cannot be [^\n]*Too many open files[^\n]*\n)?\Z"


class Command(CommandTest):
    def check(self, words, prepare):
        """Runs the command; its exit code, when output and complaint go with it."""
        ran = run(words, prepare)
        if ran.returncode == READ:
            self.assertEqual(ran.stdout, self.undisturbed)
            self.assertRegex(ran.stderr, SETTING_NOT_READ)
            return READ
        self.assertIn(ran.returncode, EXHAUSTION, ran.stderr)
        self.assertRegex(ran.stderr, r"\Avktinventory: [^\n]+\n\Z")
        self.assertRegex(ran.stderr, EXHAUSTION[ran.returncode])
        self.assertEqual(ran.stdout, "")
        return ran.returncode

    def test_every_number_of_descriptors(self):
        for way, words in commands(self.enclosure, "show").items():
            codes = []
            for count in range(FEWEST_DESCRIPTORS, MOST_DESCRIPTORS):
                with self.subTest(way=way, descriptors=count):
                    codes.append(self.check(words, limits(nofile=count)))
                if codes[-6:] == [READ] * 6:
                    break
            self.assertEqual(codes[-6:], [READ] * 6, way)
            if way == "rmcp":
                self.assertIn(EXHAUSTED, codes)

    @unittest.skipIf(SANITIZED, NO_LIMIT_OF_MEMORY)
    def test_every_number_of_threads(self):
        expected = {
            "rmcp": [EXHAUSTED, READ],
            "rmcp by name": [EXHAUSTED, NO_CONNECTION, READ],
            "https": [EXHAUSTED, READ],
        }
        ways = commands(self.enclosure, "show")
        for way, codes in expected.items():
            for count, code in enumerate(codes):
                with self.subTest(way=way, threads=count):
                    self.assertEqual(self.check(ways[way], few_threads(count)), code)

    @unittest.skipIf(SANITIZED, NO_LIMIT_OF_MEMORY)
    def test_every_amount_of_memory(self):
        begins = self.least_memory_to_begin_with()
        ways = commands(self.enclosure, "show")
        for way in ("rmcp by name", "https with a file"):
            codes = []
            for memory in range(begins, PLENTY, MEMORY_STEP):
                with self.subTest(way=way, memory=memory):
                    codes.append(self.check(ways[way], limits(**{"as": memory})))
                if codes[-6:] == [READ] * 6:
                    break
            # Whether there is enough is known before anything is asked, so nothing fails halfway.
            self.assertEqual([code for code, _ in itertools.groupby(codes)], [EXHAUSTED, READ], way)

    def least_memory_to_begin_with(self):
        """With less, the loader ends the process, or a library in its own start."""
        too_little, enough = LOADED, PLENTY
        while enough - too_little > MEMORY_STEP:
            middle = (too_little + enough) // 2
            words = self.enclosure.words("--version")
            if run(words, limits(**{"as": middle})).returncode in (READ, EXHAUSTED):
                enough = middle
            else:
                too_little = middle
        return enough

    def test_a_limit_of_file_sizes_is_an_error_of_the_output(self):
        for size in (0, 1, 100):
            with self.subTest(size), tempfile.TemporaryFile() as file:
                ran = run(self.enclosure.words("show"), limits(fsize=size), stdout=file)
                self.assertEqual(ran.returncode, NOT_WRITTEN)
                self.assertIn("File too large", ran.stderr)


class Simulator(unittest.TestCase):
    """It starts and ends as ever, or does not start and says why."""

    def check(self, prepare, *reasons):
        """Whether it started."""
        with Simulation(SIMULATE, prepare) as simulation:
            code, errors = simulation.end()
        if simulation.line:
            self.assertEqual((code, errors), (0, ""))
            return True
        self.assertIn(code, (1, 2), errors)
        self.assertRegex(errors, r"\Avkt-simulator: [^\n]+\n\Z")
        self.assertRegex(errors, "|".join(reasons))
        return False

    def test_every_number_of_descriptors(self):
        started = []
        for count in range(FEWEST_DESCRIPTORS, MOST_DESCRIPTORS):
            with self.subTest(descriptors=count):
                started.append(self.check(limits(nofile=count), "Too many open files"))
            if started[-3:] == [True] * 3:
                break
        self.assertEqual((started[0], started[-3:]), (False, [True] * 3))

    @unittest.skipIf(SANITIZED, NO_LIMIT_OF_MEMORY)
    def test_every_number_of_threads(self):
        started = []
        for count in range(64):
            with self.subTest(threads=count):
                started.append(self.check(few_threads(count), "no thread", "cannot start: Resource"))
            if started[-1]:
                break
        self.assertEqual((started[0], started[-1]), (False, True))
        self.closes_a_connection(few_threads(count))

    def closes_a_connection(self, prepare):
        """That it has no thread left for, and is not disturbed by it."""
        with Simulation(SIMULATE, prepare) as simulation:
            port = json.loads(simulation.line)["https"]["port"]
            with socket.create_connection(("127.0.0.1", port), timeout=TIMEOUT) as connection:
                self.assertEqual(connection.recv(1), b"")
            self.assertEqual(simulation.end(), (0, ""))

    @unittest.skipIf(SANITIZED, NO_LIMIT_OF_MEMORY)
    def test_no_memory(self):
        self.assertFalse(self.check(limits(**{"as": 32 << 20}), "no memory is left"))

    def test_a_limit_of_file_sizes(self):
        self.assertFalse(self.check(limits(fsize=0), "File too large"))


if __name__ == "__main__":
    unittest.main()
