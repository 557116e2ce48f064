# SPDX-License-Identifier: Apache-2.0
"""What is read from pipes, and standard output that cannot be written."""

import contextlib
import json
import os
import signal
import subprocess
import tempfile
import unittest

from tests.harness import wait
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import BUSY, ROWS, FakeAgent, log
from tests.harness.upgrade_console.program import DONE, FAILED, LOST, PROGRAM, ProgramTest

DUMP = os.environ["EDID_DUMP"]


class TestInput(ProgramTest):
    """A pipe on which nothing ever comes must not hold the program."""

    def commands(self):
        """Each command that reads something, with what it reads and its standard input."""
        folder = self.enterContext(tempfile.TemporaryDirectory())
        fifo = os.path.join(folder, "fifo")
        os.mkfifo(fifo)
        held = os.path.join(folder, "held")
        os.mkfifo(held)
        writer = os.open(held, os.O_RDWR)
        self.addCleanup(os.close, writer)
        reader, open_end = os.pipe()
        self.addCleanup(os.close, reader)
        self.addCleanup(os.close, open_end)
        for arguments in (
            ["edid", "-"],
            ["edid", fifo],
            ["edid", held],
            ["send-net", fifo],
            ["send-net", held],
        ):
            yield arguments, reader

    def test_signals(self):
        for arguments, stdin in self.commands():
            for number in (signal.SIGINT, signal.SIGTERM):
                with self.subTest(arguments=arguments, number=number):
                    program = self.start_program(1, "--json", *arguments, stdin=stdin)
                    wait.until(lambda pid=program.popen.pid: blocks(pid, signal.SIGTERM))
                    program.popen.send_signal(number)
                    self.assertEqual(program.popen.wait(60), LOST, program.report())
                    self.assertEqual(json.loads(program.stdout())["error"]["id"], "interrupted")

    def test_time_out(self):
        for arguments, stdin in self.commands():
            with self.subTest(arguments=arguments):
                program = self.start_program(1, "--timeout", "0.2", *arguments, stdin=stdin)
                self.assertEqual(program.popen.wait(60), FAILED, program.report())
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
            self.assertEqual(program.popen.wait(60), DONE, program.report())


def blocks(pid, number):
    """Whether the process has blocked a signal, which it does before it reads anything."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        mask = next(line for line in file if line.startswith("SigBlk:")).split()[1]
    return bool(int(mask, 16) >> (number - 1) & 1)


class TestOutput(ProgramTest):
    """What cannot be written is a failure, whatever was asked for."""

    def statuses(self, *arguments, answers=None, stdin=""):
        """The exit statuses on a full disk, on a pipe without a reader, and without an output."""
        found = []
        for how in ("full", "broken pipe", "closed"):
            with FakeAgent(answers or {}) as agent:
                command = [
                    PROGRAM,
                    "--host",
                    "127.0.0.1",
                    "--port",
                    str(agent.port),
                    "--timeout",
                    self.ANSWERED,
                    *arguments,
                ]
                with contextlib.ExitStack() as stack:
                    output = None
                    if how == "full":
                        output = os.open("/dev/full", os.O_WRONLY)
                        stack.callback(os.close, output)
                    elif how == "broken pipe":
                        reader, output = os.pipe()
                        os.close(reader)
                        stack.callback(os.close, output)
                    else:
                        command = ["sh", "-c", 'exec "$@" >&-', "sh", *command]
                    result = subprocess.run(
                        command,
                        input=stdin,
                        stdout=output,
                        stderr=subprocess.PIPE,
                        text=True,
                        timeout=60,
                        check=False,
                    )
            self.assertIn("tandard output cannot be written", result.stderr, (how, arguments))
            found.append(result.returncode)
        return found

    def test_answers(self):
        for arguments in (
            ["--help"],
            ["upgrade", "--help"],
            ["--help", "--json"],
            ["--version"],
            ["--bash-completion"],
        ):
            program = subprocess.run(
                ["sh", "-c", 'exec "$@" > /dev/full', "sh", PROGRAM, *arguments],
                capture_output=True,
                timeout=60,
                check=False,
            )
            self.assertEqual(program.returncode, FAILED, arguments)

    def test_results(self):
        for json_option in ((), ("--json",)):
            for command in (["version"], ["list"], ["ping"]):
                statuses = self.statuses(*json_option, *command)
                self.assertEqual(statuses, [FAILED] * 3, (json_option, command))
            statuses = self.statuses(*json_option, "upgrade", answers={ROWS: runs.full_run()})
            self.assertEqual(statuses, [FAILED] * 3, json_option)

    def test_errors(self):
        busy = {"UPGRADE||": [BUSY]}
        self.assertEqual(self.statuses("--json", "upgrade", answers=busy), [FAILED] * 3)

    def test_traffic(self):
        talk = {"HEARTBEAT": [b"HEARTBEAT\r\n"] + [log("x"), 0.01] * 100}
        for json_option in ((), ("--json",)):
            self.assertEqual(self.statuses(*json_option, "watch", answers=talk), [FAILED] * 3)
            self.assertEqual(self.statuses(*json_option, "shell", stdin="VERSION\n"), [FAILED] * 3)
        self.assertEqual(self.statuses("--json", "shell"), [FAILED] * 3)


if __name__ == "__main__":
    unittest.main()
