# SPDX-License-Identifier: Apache-2.0
"""Runs of the command and the simulator in surroundings that fail them."""
import os
import resource
import signal
import subprocess
import unittest

from enclosures import COMMAND, TIMEOUT, SIMULATOR, Enclosure, environment_with

# The exit codes' meanings are in --help.
READ, QUERIES_FAILED, NO_CONNECTION, REFUSED, NOT_WRITTEN, EXHAUSTED = 0, 1, 3, 4, 5, 6

SIMULATE = [SIMULATOR, "--scenario", "healthy-first"]


def commands(enclosure, *words):
    """One run of the command by each way to the module, by name."""
    https = enclosure.endpoints["https"]

    def over_https(*trust, host=https["address"]):
        flags = {"-H": host, "-p": str(https["port"]), "-U": https["user"], "-P": https["password"]}
        pairs = [word for pair in flags.items() for word in pair]
        return [COMMAND, "-I", "https", *pairs, *trust, *words]

    pin = ("--pin", https["pin"])
    return {
        "rmcp": enclosure.words(*words),
        "rmcp by name": enclosure.words(*words, H="localhost"),
        "https": over_https(*pin),
        "https by name": over_https(*pin, host="localhost"),
        "https with a file": over_https(
            "--ca-file", https["certificateFile"], "--auth", "session"
        ),
    }


def limits(**values):
    """Sets limits of resources in the child: nofile=4."""

    def apply():
        for name, value in values.items():
            resource.setrlimit(getattr(resource, "RLIMIT_" + name.upper()), (value, value))

    return apply


def few_threads(count):
    """Lets the child start `count` threads: a stack takes half of what is left for one more."""
    stack = 1 << 32
    return limits(stack=stack, **{"as": stack // 2 + count * stack})


def run(words, prepare=None, **streams):
    return subprocess.run(
        words,
        text=True,
        timeout=TIMEOUT,
        env=environment_with({"ASAN_OPTIONS": "detect_leaks=0"}),
        start_new_session=True,
        preexec_fn=prepare,
        **{
            "stdin": subprocess.DEVNULL,
            "stdout": subprocess.PIPE,
            "stderr": subprocess.PIPE,
            **streams,
        },
    )


class CommandTest(unittest.TestCase):
    """Of the command, with an enclosure to ask and what `show` prints of it when nothing fails."""

    @classmethod
    def setUpClass(cls):
        cls.enclosure = Enclosure("healthy-first")
        cls.addClassCleanup(cls.enclosure.__exit__)
        cls.undisturbed = cls.enclosure.run("show").stdout


class Simulation:
    """A simulator that has either told its endpoints or ended, for the length of a `with` block."""

    def __init__(self, words, prepare=None, **streams):
        self.process = subprocess.Popen(
            words,
            text=True,
            env=environment_with(),
            preexec_fn=prepare,
            **{
                "stdin": subprocess.DEVNULL,
                "stdout": subprocess.PIPE,
                "stderr": subprocess.PIPE,
                **streams,
            },
        )
        output = self.process.stdout
        self.line = output.readline() if output else ""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    def end(self):
        """Its exit code, asked to end if it runs, and what it complained of."""
        if self.line:
            self.process.send_signal(signal.SIGTERM)
        errors = self.process.communicate(timeout=TIMEOUT)[1]
        return self.process.returncode, errors


def closing(*descriptors):
    """Closes standard streams of the child."""

    def apply():
        for descriptor in descriptors:
            os.close(descriptor)

    return apply
