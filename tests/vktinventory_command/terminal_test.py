# SPDX-License-Identifier: Apache-2.0
"""The command on a terminal: colour, the question for the password, Ctrl-C."""
import contextlib
import json
import os
import pty
import select
import shlex
import signal
import socket
import subprocess
import termios
import time
import unittest

from enclosures import COMMAND, TIMEOUT, Enclosure, arguments_once_hidden, environment_with, wait_until_asleep

RED = b"\x1b[1;31m"


class Terminal:
    """A child process with a terminal of its own; the fields say what is connected to it."""

    def __init__(self, words, environment=None, streams=("stdin", "stdout", "stderr")):
        self.master, self.slave = pty.openpty()
        others = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        given = {name: self.slave if name in streams else other for name, other in others.items()}
        self.child = subprocess.Popen(
            words,
            env=environment_with(environment),
            start_new_session=True,
            preexec_fn=self.take_control if "stdin" in streams else None,
            **given,
        )
        self.seen = b""

    @staticmethod
    def take_control():
        """Makes standard input the session's terminal, so that Ctrl-C on it is a signal."""
        os.close(os.open(os.ttyname(0), os.O_RDWR))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.child.kill()
        self.child.wait(TIMEOUT)
        for stream in (self.child.stdout, self.child.stderr):
            if stream:
                stream.close()
        os.close(self.master)
        os.close(self.slave)

    def read_some(self, seconds):
        if select.select([self.master], [], [], seconds)[0]:
            self.seen += os.read(self.master, 65536)
            return True
        return False

    def wait_for(self, text):
        deadline = time.monotonic() + TIMEOUT
        while text not in self.seen and time.monotonic() < deadline:
            self.read_some(1)
        if text not in self.seen:
            raise AssertionError(f"{text!r} did not come; there is {self.seen!r}")

    def type(self, text):
        os.write(self.master, text)

    def echoes(self):
        return bool(termios.tcgetattr(self.slave)[3] & termios.ECHO)

    def end(self):
        """The exit code, when all output has been read."""
        deadline = time.monotonic() + TIMEOUT
        while self.child.poll() is None and time.monotonic() < deadline:
            self.read_some(0.1)
        while self.read_some(0):
            pass
        return self.child.returncode


class Colour(unittest.TestCase):
    def show(self, environment=None, streams=("stdin", "stdout", "stderr")):
        with Enclosure("faulty-vkt2") as enclosure:
            with Terminal(enclosure.words(), environment, streams) as terminal:
                if "stdout" not in streams:
                    output = terminal.child.stdout.read()
                    self.assertEqual(terminal.end(), 0)
                    return output
                self.assertEqual(terminal.end(), 0)
                return terminal.seen

    def test_marks_what_is_bad_on_a_terminal(self):
        self.assertIn(RED + b"Power Fault", self.show())

    def test_stays_away_with_no_color(self):
        shown = self.show({"NO_COLOR": "1"})
        self.assertIn(b"Power Fault", shown)
        self.assertNotIn(b"\x1b", shown)

    def test_stays_away_from_a_dumb_terminal(self):
        self.assertNotIn(b"\x1b", self.show({"TERM": "dumb"}))

    def test_stays_away_from_a_pipe(self):
        shown = self.show(streams=("stdin", "stderr"))
        self.assertIn(b"Power Fault", shown)
        self.assertNotIn(b"\x1b", shown)


class Progress(unittest.TestCase):
    """Of two enclosures one is there, and one is silent until the test ends the wait for it."""

    def setUp(self):
        enclosure = Enclosure("healthy-first")
        self.addCleanup(enclosure.__exit__)
        self.silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(self.silent.close)
        self.silent.bind(("127.0.0.1", 0))
        silent = f"127.0.0.1:{self.silent.getsockname()[1]}"
        waits = ("--timeout", str(TIMEOUT), "--connect-timeout", str(TIMEOUT))
        self.words = enclosure.words("-H", silent, *waits, "--format", "jsonl", "status")
        self.complaint = f"vktinventory: {silent}: no connection: ".encode()

    def end_the_wait(self):
        """From now on the host says that nobody is there, at the next copy."""
        self.silent.close()

    def check_output(self, output):
        self.assertEqual(sorted(json.loads(line)["complete"] for line in output.splitlines()), [False, True])

    def test_stands_on_standard_error_until_all_are_there(self):
        with Terminal(self.words, streams=("stderr",)) as terminal:
            terminal.wait_for(b" done, ")
            terminal.wait_for(b"1 done, 0 failed, 1 left, ")
            self.end_the_wait()
            self.check_output(terminal.child.stdout.read())
            self.assertEqual(terminal.end(), 1)
            shown, _, rest = terminal.seen.rpartition(b"\r\x1b[K")
            self.assertTrue(rest.startswith(self.complaint), rest)
            for line in shown.split(b"\r\x1b[K"):
                self.assertRegex(line, rb"\A(\d done, \d failed, \d left, \d+ s)?\Z")

    def test_is_shown_to_nobody_elsewhere(self):
        with Terminal(self.words, streams=("stdout",)) as terminal:
            terminal.wait_for(b"\n")
            self.end_the_wait()
            complaints = terminal.child.stderr.read()
            self.assertEqual(terminal.end(), 1)
            self.assertTrue(complaints.startswith(self.complaint), complaints)
            self.assertEqual(complaints.count(b"\n"), 1)
            self.check_output(terminal.seen)

    def test_stays_away_from_a_dumb_terminal(self):
        with Terminal(self.words, {"TERM": "dumb"}, ("stderr",)) as terminal:
            first = terminal.child.stdout.readline()
            self.end_the_wait()
            self.check_output(first + terminal.child.stdout.read())
            self.assertEqual(terminal.end(), 1)
            self.assertTrue(terminal.seen.startswith(self.complaint), terminal.seen)


class Question(unittest.TestCase):
    def setUp(self):
        self.enclosure = Enclosure("healthy-first")
        self.addCleanup(self.enclosure.__exit__)

    def ask(self):
        return Terminal(self.enclosure.words("identity", P=None))

    def test_is_answered_without_echo(self):
        with self.ask() as terminal:
            terminal.wait_for(b"Password: ")
            self.assertFalse(terminal.echoes())
            terminal.type(b"enclosure\n")
            self.assertEqual(terminal.end(), 0)
            self.assertIn(b"FG20K0001", terminal.seen)
            self.assertNotIn(b"enclosure", terminal.seen)
            self.assertTrue(terminal.echoes())

    def test_is_asked_when_output_goes_elsewhere(self):
        with Terminal(
            self.enclosure.words("identity", P=None), streams=("stdin",)
        ) as terminal:
            terminal.wait_for(b"Password: ")
            terminal.type(b"enclosure\n")
            self.assertIn(b"FG20K0001", terminal.child.stdout.read())
            self.assertEqual(terminal.child.stderr.read(), b"")
            self.assertEqual(terminal.end(), 0)

    def test_ends_at_ctrl_c_with_echo_restored(self):
        with self.ask() as terminal:
            terminal.wait_for(b"Password: ")
            terminal.type(b"encl\x03")
            self.assertEqual(terminal.end(), 130)
            self.assertTrue(terminal.echoes())

    def test_ends_at_a_signal_with_echo_restored(self):
        for number in (signal.SIGQUIT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number), self.ask() as terminal:
                terminal.wait_for(b"Password: ")
                if number == signal.SIGQUIT:
                    terminal.type(b"encl\x1c")
                else:
                    terminal.child.send_signal(number)
                self.assertEqual(terminal.end(), 128 + number)
                self.assertTrue(terminal.echoes())

    def test_ends_when_the_terminal_is_hung_up(self):
        with self.ask() as terminal:
            terminal.wait_for(b"Password: ")
            os.close(terminal.slave)
            os.close(terminal.master)
            terminal.master, terminal.slave = pty.openpty()
            # Which is seen first, the signal or the end of what was typed, is open.
            self.assertIn(terminal.child.wait(TIMEOUT), (2, 128 + signal.SIGHUP))

    def test_shows_typing_while_it_is_stopped_and_is_asked_again(self):
        """Of these shells one sets the terminal up for whoever has it, and one leaves it alone."""
        for shell in (["bash", "--norc", "--noprofile", "--noediting", "-i"], ["dash", "-i"]):
            with self.subTest(shell[0]), Terminal(shell) as terminal:
                terminal.type(b"PS1= PS2=; stty -tostop\n")
                terminal.type(shlex.join(self.enclosure.words("identity", P=None)).encode() + b"\n")
                terminal.wait_for(b"Password: ")
                self.assertFalse(terminal.echoes())
                terminal.type(b"encl\x1a")
                terminal.wait_for(b"Stopped")
                self.assertTrue(terminal.echoes())
                terminal.seen = b""
                terminal.type(b"fg\n")
                terminal.wait_for(b"Password: ")
                self.assertFalse(terminal.echoes())
                terminal.seen = b""
                terminal.type(b"enclosure\n")
                terminal.wait_for(b"FG20K0001")
                self.assertNotIn(b"enclosure", terminal.seen)

    def test_is_not_asked_in_the_background(self):
        with Terminal(["dash", "-i"]) as terminal:
            words = shlex.join(self.enclosure.words("identity", P=None)).encode()
            terminal.type(b"PS1= PS2=\n" + words + b" & wait $!; echo ended with $?\n")
            terminal.wait_for(b"cannot be asked for in the background")
            terminal.wait_for(b"ended with 2")

    def test_without_an_answer_is_wrong_usage(self):
        with self.ask() as terminal:
            terminal.wait_for(b"Password: ")
            terminal.type(b"\x04")
            self.assertEqual(terminal.end(), 2)
            self.assertTrue(terminal.echoes())


class Interrupt(unittest.TestCase):
    def wait_until_it_waits(self, terminal):
        """Until the command has begun, and waits for a module that has no session free."""
        arguments_once_hidden(terminal.child.pid)
        wait_until_asleep(terminal.child.pid)

    def test_ends_a_wait_for_the_module_at_once(self):
        with Enclosure("busy") as enclosure:
            with Terminal(enclosure.words("--timeout", str(10 * TIMEOUT))) as terminal:
                self.wait_until_it_waits(terminal)
                terminal.type(b"\x03")
                self.assertEqual(terminal.end(), 130)  # and not at the end of that time
                self.assertEqual(terminal.seen.strip(b"^C"), b"")

    def test_is_told_apart_by_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number), Enclosure("busy") as enclosure:
                with Terminal(enclosure.words(), streams=("stderr",)) as terminal:
                    self.wait_until_it_waits(terminal)
                    terminal.child.send_signal(number)
                    self.assertEqual(terminal.end(), 128 + number)
                    self.assertEqual(terminal.child.stdout.read(), b"")

    def test_ends_where_standard_error_takes_nothing(self):
        """A terminal that is held with Ctrl-S, and a pipe that nobody reads: the command is in the
        midst of saying that it has no host."""
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        self.addCleanup(os.close, writer)
        os.set_blocking(writer, False)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(writer, bytes(4096))
        os.set_blocking(writer, True)
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        termios.tcflow(slave, termios.TCOOFF)
        for stream in (writer, slave):
            child = subprocess.Popen([COMMAND, "-P", "enclosure"], stderr=stream)
            self.addCleanup(child.wait)
            self.addCleanup(child.kill)
            arguments_once_hidden(child.pid)
            wait_until_asleep(child.pid)
            child.terminate()
            self.assertEqual(child.wait(TIMEOUT), 128 + signal.SIGTERM)

    def test_leaves_no_session_open(self):
        """More interrupted requests than the module has sessions, then one that is served."""
        with Enclosure("slow", sessions=3) as enclosure:
            for pause in [0.05, 0.2, 0.35, 0.5] * 4:
                with Terminal(enclosure.words(), streams=()) as terminal:
                    arguments_once_hidden(terminal.child.pid)
                    time.sleep(pause)
                    terminal.child.send_signal(signal.SIGINT)
                    self.assertEqual(terminal.end(), 130)
                    self.assertEqual(terminal.child.stderr.read(), b"")
            self.assertEqual(enclosure.run("identity").returncode, 0)

    def test_leaves_no_session_open_over_https(self):
        enclosure = Enclosure("slow")
        https = enclosure.endpoints["https"]
        flags = ["-I", "https", "--auth", "session", "--pin", https["pin"]]
        for pause in [0.05, 0.2, 0.35, 0.5]:
            with Terminal(enclosure.words(*flags, p=str(https["port"])), streams=()) as terminal:
                arguments_once_hidden(terminal.child.pid)
                time.sleep(pause)
                terminal.child.send_signal(signal.SIGINT)
                self.assertEqual(terminal.end(), 130)
                self.assertEqual(terminal.child.stderr.read(), b"")
        statistics = enclosure.end()
        self.assertGreater(statistics["requests"], 0)
        self.assertEqual(statistics["openSessions"], 0)


if __name__ == "__main__":
    unittest.main()
