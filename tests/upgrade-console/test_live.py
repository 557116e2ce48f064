# SPDX-License-Identifier: Apache-2.0
"""What one sees on a terminal while the program works."""

import contextlib
import os
import re
import signal
import unittest

from tests.harness import wait
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import ROWS, FakeAgent, Wait
from tests.harness.upgrade_console.lines import after, chip, listing, log, package, progress
from tests.harness.upgrade_console.program import Exit, ProgramTest, masked
from tests.harness.upgrade_console.screen import Screen

BEFORE = """\
Time: at least # for restarts and pauses; with --package and a copy of the
package the images count, too.
The device reboots at the end, also when nothing was to be written."""


def steady(text):
    """Without what depends on the time that passed."""
    text = re.sub(r"\d+\.\d KiB/s", "# KiB/s", text)
    text = re.sub(r"\d+:\d\d (left|for restarts)", r"# \1", text)
    return re.sub(r"\b\d+\.\d s\b", "# s", text)


class TestLive(ProgramTest):
    """The live screen on a pseudo-terminal."""

    def screen(self, **size):
        screen = Screen(**size)
        self.addCleanup(screen.close)
        return screen

    def start(self, run, screen, *arguments, answers=None, environment=None, **popen):
        agent = self.enterContext(FakeAgent({ROWS: run, **(answers or {})}))
        popen["env"] = {**os.environ, "TERM": "xterm", "NO_COLOR": "1", **(environment or {})}
        words = ("upgrade", "--timeout", self.ANSWERED, *arguments)
        return self.start_program(agent.port, *words, stderr=screen.slave, **popen)

    def sees(self, screen, wanted, lines=0):
        """Waits for a picture, or for its last lines; the last one is shown when it does not
        come."""

        def seen():
            return "\n".join(steady(screen.text()).splitlines()[-lines:])

        with contextlib.suppress(wait.TimeOut):
            wait.until(lambda: seen() == wanted)
        self.assertEqual((seen(), screen.problems), (wanted, []))

    def test_pictures_of_a_run(self):
        reading, middle, second = Wait(), Wait(), Wait()
        run = runs.full_run()
        written = len(after(run, "Write firmware 'MAIN'"))
        for at, pause in ((written + 4, second), (written - 6, middle), (5, reading)):
            run.insert(at, pause)
        screen = self.screen()
        program = self.start(run, screen)
        self.sees(
            screen,
            f"""\
{BEFORE}
MAIN          waiting        ? -> 1.1.0
AUX 1         waiting        ? -> 2.1.0
all           reading        [.......................]  0 %  at least # left""",
        )
        reading.go_on.set()
        self.sees(
            screen,
            f"""\
{BEFORE}
MAIN          writing        1.0.0 -> 1.1.0  [######.........]  40 %  # left
AUX 1         waiting        2.0 -> 2.1.0
all           writing        [####..................]  20 %  at least # left""",
        )
        middle.go_on.set()
        self.sees(
            screen,
            f"""\
{BEFORE}
MAIN          updated        1.0.0 -> 1.1.0  # s
AUX 1         erasing        2.0 -> 2.1.0  [.............................]  0 %
all           writing        [###########...........]  50 %  at least # left""",
        )
        second.go_on.set()
        self.assert_ends(program, Exit.DONE)
        self.sees(screen, BEFORE)
        self.assertEqual(
            masked(program.stdout()).splitlines()[1:3],
            ["MAIN   1.0.0  1.1.0  updated #", "AUX 1  2.0    2.1.0  updated #"],
        )
        self.assertNotRegex(screen.raw, "\x1b\\[\\d*m")  # NO_COLOR

    def test_failure_is_noted_above(self):
        pause = Wait()
        screen = self.screen()
        self.start(after(runs.half_failed_run(), "'AUX 1' F/W Update fail.", pause), screen)
        self.sees(
            screen,
            f"""\
{BEFORE}
agent: 'AUX 1' F/W update fail, retry 1.
agent: 'AUX 1' F/W update fail, retry 2.
agent: 'AUX 1' F/W Update fail.
MAIN          updated        1.0.0 -> 1.1.0  # s
AUX 1         failed         2.0  an image could not be written, after three
                             attempts  # s  8 retries
all           writing        [#############.................]  45 %  # left""",
        )
        pause.go_on.set()

    def test_widths(self):
        """Time left and retries stay; the bar shrinks, and speed and versions give way."""
        part = after(runs.full_run(), "Write firmware 'MAIN'")[:-5]
        pictures = {
            60: """\
MAIN          writing        [#.]  50 %  # left  1 retry
AUX 1         waiting        2.0 -> 2.1.0
all           writing        [..]  25 %  at least # left""",
            80: """\
MAIN          writing        1.0.0 -> 1.1.0  [###...]  50 %  # left  1 retry
AUX 1         waiting        2.0 -> 2.1.0
all           writing        [#####.................]  25 %  at least # left""",
            120: """\
MAIN          writing        1.0.0 -> 1.1.0  [###############...............]  50 %  # KiB/s  # left  1 retry
AUX 1         waiting        2.0 -> 2.1.0
all           writing        [#######.......................]  25 %  at least # left""",
        }
        for columns, picture in pictures.items():
            with self.subTest(columns=columns):
                pause = Wait()
                screen = self.screen(columns=columns)
                self.start([*part, log("F/W update timeout, retry 1."), pause], screen)
                self.sees(screen, picture, lines=3)
                pause.go_on.set()

    def test_interrupt_clears_the_picture(self):
        """Also the ^C that the terminal shows for the key."""
        screen = self.screen()
        program = self.start(runs.START + runs.MODEL, screen)
        wait.until(lambda: "all           reading" in screen.text())
        os.write(screen.master, b"\x03")  # no signal: it is not the program's own terminal
        wait.until(lambda: "^C" in screen.raw)
        program.popen.send_signal(signal.SIGINT)
        self.assertEqual(program.popen.wait(60), Exit.LOST)
        wait.until(lambda: "leave the device on" in screen.text())
        self.assertTrue(
            steady(screen.text()).startswith(BEFORE + "\nupgrade-console: error: interrupted"),
            screen.text(),
        )
        self.assertNotIn("^C", screen.text())

    def test_mode_5_asks(self):
        """The end of the input and an interrupt leave the question."""
        for answer, status in (
            ("yes\n", Exit.DONE),
            ("y\n", Exit.DONE),
            ("\n", Exit.USAGE),
            ("no\n", Exit.USAGE),
            ("\x04", Exit.USAGE),
            ("\x03", Exit.LOST),
        ):
            with self.subTest(answer=answer):
                screen = self.screen()
                program = self.start(runs.full_run(), screen, "--mode", "5", stdin=screen.slave)
                wait.until(lambda screen=screen: "[yes/no]" in screen.text())
                self.assertIn("neither the device's model nor", screen.text())
                if answer == "\x03":
                    program.popen.send_signal(signal.SIGINT)
                else:
                    os.write(screen.master, answer.encode())
                self.assertEqual(program.popen.wait(60), status)

    def test_small_terminal(self):
        """More MCUs than lines, names wider than columns: the one at work is in sight."""
        names = [f"MCU-{number}-with-a-long-name" for number in range(30)]
        chips = [chip(name, number, "2.0.0") for number, name in enumerate(names, 1)]
        pause = Wait()
        run = runs.START + runs.MODEL + runs.enter(names[17]) + [pause]
        screen = self.screen(columns=41, lines=6)
        self.start(run, screen, answers={"GETFIRMWARELIST": [listing(package(*chips))]})
        self.sees(
            screen,
            """\
Time: at least # for restarts and
pauses; with --package and a copy of the
package the images count, too.
The device reboots at the end, also when
nothing was to be written.
MCU-15-with-  waiting        ? -> 2.0.0
MCU-16-with-  waiting        ? -> 2.0.0
MCU-17-with-  erasing        [....]  0 %
MCU-18-with-  waiting        ? -> 2.0.0
all           writing        [....]  0 %""",
        )
        pause.go_on.set()

    def test_colours(self):
        screen = self.screen()
        program = self.start(runs.full_run(), screen, environment={"NO_COLOR": ""})
        self.assert_ends(program, Exit.DONE)
        wait.until(lambda: "\x1b[32m" in screen.raw or steady(screen.text()) == BEFORE)
        self.assertNotIn("\x1b", program.stdout())  # a file

    def test_no_progress(self):
        for arguments, environment in ((("--no-progress",), {}), ((), {"TERM": "dumb"})):
            screen = self.screen()
            program = self.start(runs.full_run(), screen, *arguments, environment=environment)
            self.assert_ends(program, Exit.DONE)
            wait.until(lambda: "device: set version" in screen.raw)
            self.assertNotIn("\x1b", screen.raw)

    def test_fast_agent_is_not_drawn_line_by_line(self):
        run = runs.START + runs.MODEL + runs.enter("MAIN")
        run += [b"".join(progress(number / 400) for number in range(20000))]
        screen = self.screen()
        program = self.start(run + runs.full_run(), screen)
        self.assert_ends(program, Exit.DONE)
        self.assertLess(len(screen.raw), 100_000)

    def test_lost_contact(self):
        screen = self.screen()
        run = after(runs.full_run(), "Writing...", lambda agent: agent.answers.clear())
        program = self.start(run, screen, "--timeout", self.UNANSWERED)
        self.assertEqual(program.popen.wait(60), Exit.LOST)
        wait.until(lambda: "was being written" in screen.text())
        self.assertNotIn("[#", screen.text())


class TestShell(ProgramTest):
    """Line editing."""

    def test_editing(self):
        screen = Screen()
        self.addCleanup(screen.close)
        with FakeAgent() as agent:
            terminal = {"stdin": screen.slave, "stdout": screen.slave}
            environment = {**os.environ, "TERM": "xterm"}
            program = self.start_program(agent.port, "shell", env=environment, **terminal)
            wait.until(lambda: "> " in screen.raw)
            os.write(screen.master, b"VERSIOX\x7fN\r")
            wait.until(lambda: "VERSION||1.15" in screen.raw)
            os.write(screen.master, b"\x1b[A\r")  # once more, from the history
            wait.until(lambda: agent.lines.count("VERSION") == 2)
            os.write(screen.master, b"\x04")
            self.assert_ends(program, Exit.DONE)
        self.assertEqual(agent.lines, ["VERSION", "VERSION", "HEARTBEAT"])


if __name__ == "__main__":
    unittest.main()
