# SPDX-License-Identifier: Apache-2.0
"""What one sees on a terminal while the program works."""

import contextlib
import os
import re
import signal
import unittest

import runs
from fake_agent import PACKAGE, ROWS, FakeAgent, Wait, chip, listing, log, progress
from harness import wait
from program import DONE, LOST, USAGE, ProgramTest, masked
from screen import Screen

REBOOTS = "The device reboots at the end, also when nothing was to be written."


def steady(text):
    """Without what depends on the time that passed."""
    text = re.sub(r"\d+\.\d KiB/s", "# KiB/s", text)
    text = re.sub(r"\d+:\d\d left", "# left", text)
    return re.sub(r"\b\d+\.\d s\b", "# s", text)


def before(run, line):
    return run[:run.index(line)]


class TestLive(ProgramTest):
    """The live screen on a pseudo-terminal."""

    def setUp(self):
        self.stack = contextlib.ExitStack()
        self.addCleanup(self.stack.close)

    def screen(self, **size):
        screen = Screen(**size)
        self.stack.callback(screen.close)
        return screen

    def start(self, run, screen, *arguments, answers=None, environment=None, **popen):
        agent = self.stack.enter_context(FakeAgent({ROWS: run, **(answers or {})}))
        environment = {**os.environ, "TERM": "xterm", "NO_COLOR": "1", **(environment or {})}
        command = ["--timeout", "10", *arguments]
        if "upgrade" not in arguments:
            command.append("upgrade")
        program = self.start_program(agent.port, *command, stderr=screen.slave, env=environment,
                                     **popen)
        return program

    def sees(self, screen, wanted):
        """Waits for a picture; the last one is shown when it does not come."""
        with contextlib.suppress(wait.TimeOut):
            wait.until(lambda: steady(screen.text()) == wanted, 5)
        self.assertEqual(steady(screen.text()), wanted)
        self.assertEqual(screen.problems, [])

    def test_pictures_of_a_run(self):
        full = runs.full_run()
        written = full.index(log("Write firmware 'MAIN' success."))
        reading, middle, second = Wait(), Wait(), Wait()
        run = (runs.START + [log("Read model name."), reading]
               + full[len(runs.START) + 1:written - 5] + [middle] + full[written - 5:written + 5]
               + [second] + full[written + 5:])
        screen = self.screen()
        program = self.start(run, screen)
        self.sees(screen, f"""\
{REBOOTS}
MAIN          waiting
AUX 1         waiting
all           reading        [..........]   0 %""")
        reading.go_on.set()
        self.sees(screen, f"""\
{REBOOTS}
MAIN          writing        [####......]  40 %  # KiB/s  # left
AUX 1         reading
all           writing        [##........]  20 %""")
        middle.go_on.set()
        self.sees(screen, f"""\
{REBOOTS}
MAIN          updated        1.0.0 -> 1.1.0  # s
AUX 1         erasing        [..........]   0 %
all           writing        [#####.....]  50 %""")
        second.go_on.set()
        self.assertEqual(program.popen.wait(10), DONE)
        self.sees(screen, REBOOTS)
        self.assertEqual(masked(program.stdout()).splitlines()[1:3],
                         ["MAIN   1.0.0  1.1.0  updated #", "AUX 1  2.0    2.1.0  updated #"])
        self.assertNotRegex(screen.raw, "\x1b\\[\\d*m")  # NO_COLOR

    def test_failure_is_noted_above(self):
        failing = runs.half_failed_run()
        pause = Wait()
        last = failing.index(log("'AUX 1' F/W Update fail."))
        screen = self.screen()
        self.start(failing[:last + 1] + [pause] + failing[last + 1:], screen)
        self.sees(screen, f"""\
{REBOOTS}
agent: 'AUX 1' F/W update fail, retry 1.
agent: 'AUX 1' F/W update fail, retry 2.
agent: 'AUX 1' F/W Update fail.
MAIN          updated        1.0.0 -> 1.1.0  # s
AUX 1         failed         2.0  an image could not be written, after three at
all           writing        [####......]  45 %""")
        pause.go_on.set()

    def test_mode_5_asks(self):
        for answer, status in (("yes", DONE), ("y", DONE), ("", USAGE), ("no", USAGE)):
            with self.subTest(answer=answer):
                screen = self.screen()
                program = self.start(runs.full_run(), screen, "upgrade", "--mode", "5",
                                     stdin=screen.slave)
                wait.until(lambda screen=screen: "[yes/no]" in screen.text())
                self.assertIn("neither the device's model nor", screen.text())
                os.write(screen.master, answer.encode() + b"\n")
                self.assertEqual(program.popen.wait(10), status)

    def test_mode_5_question_can_be_left(self):
        for answer, status in (("\x04", USAGE), ("\x03", LOST)):
            screen = self.screen()
            program = self.start(runs.full_run(), screen, "upgrade", "--mode", "5",
                                 stdin=screen.slave)
            wait.until(lambda screen=screen: "[yes/no]" in screen.text())
            if answer == "\x03":
                program.popen.send_signal(signal.SIGINT)
            else:
                os.write(screen.master, answer.encode())
            self.assertEqual(program.popen.wait(10), status)

    def test_small_terminal(self):
        """More MCUs than lines, names wider than columns: the one at work is in sight."""
        names = [f"MCU-{number}-with-a-long-name" for number in range(30)]
        package = {**PACKAGE, "chips": [chip(name, 1 + number, "2.0.0")
                                        for number, name in enumerate(names)]}
        pause = Wait()
        run = runs.START + runs.MODEL + runs.enter(names[17]) + [pause]
        screen = self.screen(columns=41, lines=6)
        self.start(run, screen, answers={"GETFIRMWARELIST": [listing(package)]})
        self.sees(screen, """\
The device reboots at the end, also when
MCU-15-with-  waiting
MCU-16-with-  waiting
MCU-17-with-  erasing        [..........
MCU-18-with-  waiting
all           writing        [..........""")
        pause.go_on.set()

    def test_colours(self):
        screen = self.screen()
        program = self.start(runs.full_run(), screen, environment={"NO_COLOR": ""})
        self.assertEqual(program.popen.wait(10), DONE)
        wait.until(lambda: "\x1b[32m" in screen.raw or screen.text() == REBOOTS)
        self.assertNotIn("\x1b", program.stdout())  # a file

    def test_no_progress(self):
        for arguments, environment in ((["--no-progress"], {}), ([], {"TERM": "dumb"})):
            screen = self.screen()
            program = self.start(runs.full_run(), screen, *arguments, environment=environment)
            self.assertEqual(program.popen.wait(10), DONE)
            wait.until(lambda: "device: set version" in screen.raw)
            self.assertNotIn("\x1b", screen.raw)

    def test_fast_agent_is_not_drawn_line_by_line(self):
        run = runs.START + runs.MODEL + runs.enter("MAIN")
        run += [b"".join(progress(number / 400) for number in range(20000))]
        screen = self.screen()
        program = self.start(run + runs.full_run(), screen)
        self.assertEqual(program.popen.wait(20), DONE)
        self.assertLess(len(screen.raw), 100_000)

    def test_lost_contact(self):
        screen = self.screen()
        run = before(runs.full_run(), log("Write firmware 'MAIN' success."))
        program = self.start(run + [lambda agent: agent.answers.clear()], screen, "--timeout",
                             "0.4")
        self.assertEqual(program.popen.wait(10), LOST)
        wait.until(lambda: "was being written" in screen.text())
        self.assertNotIn("[#", screen.text())


class TestShell(ProgramTest):
    """Line editing."""

    def test_editing(self):
        screen = Screen()
        self.addCleanup(screen.close)
        with FakeAgent() as agent:
            program = self.start_program(agent.port, "shell", stdin=screen.slave,
                                         env={**os.environ, "TERM": "xterm"},
                                         stdout=screen.slave)
            wait.until(lambda: "> " in screen.raw)
            os.write(screen.master, b"VERSIOX\x7fN\r")
            wait.until(lambda: "VERSION||1.15" in screen.raw)
            os.write(screen.master, b"\x1b[A\r")  # once more, from the history
            wait.until(lambda: agent.lines.count("VERSION") == 2)
            os.write(screen.master, b"\x04")
            self.assertEqual(program.popen.wait(10), DONE)
        self.assertEqual(agent.lines, ["VERSION", "VERSION", "HEARTBEAT"])


if __name__ == "__main__":
    unittest.main()
