# SPDX-License-Identifier: Apache-2.0
"""What is read from pipes, and standard output that cannot be written."""

import json
import os
import signal
import subprocess
import tempfile
import unittest

from tests.harness import wait
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import ROWS, FakeAgent
from tests.harness.upgrade_console.lines import BUSY, log
from tests.harness.upgrade_console.program import PROGRAM, Exit, ProgramTest

DUMP = os.environ["EDID_DUMP"]


class TestInput(ProgramTest):
    """A pipe on which nothing ever comes must not hold the program."""

    def commands(self):
        """Each command that reads something, with what it reads and its standard input."""
        folder = self.enterContext(tempfile.TemporaryDirectory())
        fifo, held = os.path.join(folder, "fifo"), os.path.join(folder, "held")
        os.mkfifo(fifo)
        os.mkfifo(held)
        reader, writer = os.pipe()
        for one in (reader, writer, os.open(held, os.O_RDWR)):
            self.addCleanup(os.close, one)
        yield ["edid", "-"], reader
        for command in ("edid", "send-net"):
            for name in (fifo, held):
                yield [command, name], reader

    def test_signals(self):
        for arguments, stdin in self.commands():
            for number in (signal.SIGINT, signal.SIGTERM):
                with self.subTest(arguments=arguments, number=number):
                    program = self.start_program(1, "--json", *arguments, stdin=stdin)
                    wait.until(lambda pid=program.popen.pid: blocks(pid, signal.SIGTERM))
                    program.popen.send_signal(number)
                    self.assert_ends(program, Exit.LOST)
                    self.assertEqual(json.loads(program.stdout())["error"]["id"], "interrupted")

    def test_time_out(self):
        for arguments, stdin in self.commands():
            with self.subTest(arguments=arguments):
                program = self.start_program(1, "--timeout", "0.2", *arguments, stdin=stdin)
                self.assert_ends(program, Exit.FAILED)
                self.assertIn("no end of it within 0.2", program.stderr())

    def test_slow_pipe(self):
        with open(DUMP, "rb") as file:
            dump = file.read(256)
        answer = b"PARSEEDIDRESULT||DEL,X,HDMI,\r\n"
        with FakeAgent({"PARSEEDID||" + dump.hex(" "): [answer]}) as agent:
            program = self.start_program(agent.port, "edid", "-", stdin=subprocess.PIPE)
            for byte in dump:
                program.popen.stdin.write(bytes([byte]))
                program.popen.stdin.flush()
            program.popen.stdin.close()
            self.assert_ends(program, Exit.DONE)


def blocks(pid, number):
    """Whether the process has blocked a signal, which it does before it reads anything."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        mask = next(line for line in file if line.startswith("SigBlk:")).split()[1]
    return bool(int(mask, 16) >> (number - 1) & 1)


class TestOutput(ProgramTest):
    """What cannot be written is a failure, whatever was asked for."""

    def setUp(self):
        """A full disk, a pipe without a reader, and no output."""
        reader, pipe = os.pipe()
        os.close(reader)
        self.outputs = (os.open("/dev/full", os.O_WRONLY), pipe, None)
        self.addCleanup(os.close, self.outputs[0])
        self.addCleanup(os.close, pipe)

    def assert_fails(self, *arguments, answers=None, stdin=""):
        for output in self.outputs:
            closing = () if output else ("sh", "-c", 'exec "$@" >&-', "sh")
            with FakeAgent(answers or {}) as agent:
                options = ("--host", "127.0.0.1", "--port", str(agent.port), "--timeout", "60")
                result = subprocess.run(
                    [*closing, PROGRAM, *options, *arguments],
                    input=stdin,
                    stdout=output,
                    stderr=subprocess.PIPE,
                    text=True,
                    timeout=60,
                    check=False,
                )
            self.assertIn("tandard output cannot be written", result.stderr, (output, arguments))
            self.assertEqual(result.returncode, Exit.FAILED, (output, arguments))

    def test_answers(self):
        for answer in (
            "--help",
            "upgrade --help",
            "--help --json",
            "--version",
            "--bash-completion",
        ):
            self.assert_fails(*answer.split())

    def test_results(self):
        for form in ((), ("--json",)):
            for command in ("version", "list", "ping"):
                self.assert_fails(*form, command)
            self.assert_fails(*form, "upgrade", answers={ROWS: runs.full_run()})

    def test_errors(self):
        self.assert_fails("--json", "upgrade", answers={"UPGRADE||": [BUSY]})

    def test_traffic(self):
        talk = {"HEARTBEAT": [b"HEARTBEAT\r\n"] + [log("x"), 0.01] * 100}
        for form in ((), ("--json",)):
            self.assert_fails(*form, "watch", answers=talk)
            self.assert_fails(*form, "shell", stdin="VERSION\n")
        self.assert_fails("--json", "shell")


if __name__ == "__main__":
    unittest.main()
