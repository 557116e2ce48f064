# SPDX-License-Identifier: Apache-2.0
"""A run whose messages are lost: the connection ends, or another client gets them."""

import json
import signal
import unittest

from tests.harness import wait
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import CLOSE, ROWS, FakeAgent, Wait
from tests.harness.upgrade_console.lines import BUSY, SUCCESS, after, log, progress
from tests.harness.upgrade_console.program import Exit, ProgramTest, masked, results


class TestContact(ProgramTest):
    """What is known of a run that was not seen to its end."""

    def test_contact_lost(self):
        """What the device is likely doing depends on where the run was."""
        full = runs.full_run()
        for last, state, result in (
            ("Read model name.", "Nothing was written so far", "unknown"),
            ("Writing...", "'MAIN' was being written", "unknown"),
            ("Start to reboot", "the device was rebooting", "updated"),
        ):
            lost = self.upgrade(after(full, last, CLOSE), "--json")
            document = self.assert_failure(lost, Exit.LOST, "connection-lost")
            self.assertIn(state, "".join(document["likely_state"]))
            self.assertEqual(results(document), [result, result])
            self.assertIn(state, document["error"]["advice"])

    def test_agent_dies_in_silence(self):
        run = [*runs.START, *runs.MODEL, lambda agent: agent.answers.clear()]
        result = self.upgrade(run, "--json", timeout=self.UNANSWERED)
        self.assert_failure(result, Exit.LOST, "no-sign-of-life")

    def test_last_words_went_elsewhere(self):
        """The agent answers but has nothing to say about a run: it must not be waited for."""
        result = self.upgrade(runs.START + runs.MODEL, "--json", timeout=self.UNANSWERED)
        document = self.assert_failure(result, Exit.LOST, "outcome-unseen")
        self.assertNotIn("likely_state", document)

    def lose(self, run, first, last, **more):
        """An upgrade whose lines from `first` to the one before `last` go to another client; the
        rest comes after the heartbeat with which the program wins them back."""
        start, end = run.index(first), run.index(last)

        def take(agent):
            agent.answers["HEARTBEAT"] = win_back

        def win_back(agent):
            agent.answers["HEARTBEAT"] = [b"HEARTBEAT\r\n"]
            return [b"HEARTBEAT\r\n"] + run[end:]

        return self.upgrade(run[:start] + [take], "--json", **more)

    def test_another_client_asks(self):
        """Lost lines make an MCU unknown at most, never failed."""
        full = runs.full_run()
        half = runs.half_failed_run()
        seen = {mcu: log(f"Write firmware '{mcu}' success.") for mcu in runs.NAMES}
        enter = {mcu: runs.enter(mcu)[0] for mcu in runs.NAMES}
        for run, first, last, status, expected in (
            # Progress alone, and then also the line that the update mode was entered.
            (full, progress(5), progress(45), Exit.DONE, ["updated", "updated"]),
            (full, enter["MAIN"], progress(45), Exit.DONE, ["updated", "updated"]),
            # What was read before.
            (full, log("Read model name."), enter["MAIN"], Exit.DONE, ["updated", "updated"]),
            # The end of an image.
            (full, progress(45), enter["AUX 1"], Exit.LOST, ["unknown", "updated"]),
            (full, progress(20), progress(70), Exit.LOST, ["unknown", "updated"]),
            (full, progress(70), runs.REBOOT[0], Exit.LOST, ["updated", "unknown"]),
            (full, progress(70), SUCCESS, Exit.LOST, ["updated", "unknown"]),
            # A whole image, or all of them.
            (full, seen["MAIN"], runs.REBOOT[0], Exit.LOST, ["unknown", "unknown"]),
            (full, enter["MAIN"], enter["AUX 1"], Exit.LOST, ["unknown", "updated"]),
            (full, log("Read model name."), SUCCESS, Exit.LOST, ["unknown", "unknown"]),
            # Only what comes after the images.
            (full, runs.REBOOT[0], SUCCESS, Exit.DONE, ["updated", "updated"]),
            # What failed before the eyes of the program stays failed.
            (half, runs.REBOOT[0], SUCCESS, Exit.FAILED, ["updated", "failed"]),
            (
                half,
                log("'AUX 1' F/W Update fail."),
                runs.REBOOT[0],
                Exit.LOST,
                ["updated", "unknown"],
            ),
        ):
            with self.subTest(first=first, last=last):
                result = self.lose(run, first, last)
                document = self.document(result)
                self.assertEqual((result.returncode, results(document)), (status, expected))
                if status == Exit.LOST:
                    self.assertEqual(document["error"]["id"], "outcome-unseen")
                    self.assertIn("another client took the messages", document["error"]["text"])

    def test_heartbeat_after_a_second(self):
        """While a run is followed, whatever the time-out."""
        pause = Wait()
        with FakeAgent({ROWS: runs.START + [pause]}) as agent:
            program = self.start_program(agent.port, "--timeout", "60", "upgrade")
            self.assertTrue(pause.reached.wait(60))
            pause.go_on.set()
            before = agent.lines.count("HEARTBEAT")
            wait.until(lambda: agent.lines.count("HEARTBEAT") >= before + 2, 30)
            program.stop()

    def test_long_silence_of_a_busy_agent(self):
        """Another client sends a request during the run; the run and the wait for it continue."""

        full = runs.full_run()

        def answer(agent):
            return [BUSY] + (full[30:] if agent.lines.count("UPGRADE||") == 3 else [])

        def later(agent):
            agent.answers["UPGRADE||"] = answer

        result = self.upgrade(full[:30] + [later], timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assertEqual(masked(result.stdout), runs.FULL_TABLE)

    def test_foreign_noise_in_a_run(self):
        noise = [
            b"bogus\r\n",
            b"UpgradeDatas||\xab\x01",
            log("bogus"),
            b"PROGRESSVALUE||nan\r\n",
            b"UPGRADELOG||\r\n",
            progress(1e9),
            progress(-5),
        ]
        run = []
        for line in runs.full_run():
            run += [line] + (noise if line.startswith(b"UPGRADELOG||Read") else [])
        self.assertEqual(self.upgrade(run).returncode, Exit.DONE)

    def test_wait_back(self):
        """The module goes down with the device and comes back on the same port."""
        vanish = (lambda agent: agent.stop(), CLOSE)
        with FakeAgent({ROWS: after(runs.full_run(), "Start to reboot", *vanish)}) as agent:
            program = self.start_program(agent.port, "--json", "upgrade", "--wait-back")
            wait.until(lambda: "network module restarts" in program.stderr())
            with FakeAgent(port=agent.port):
                self.assert_ends(program, Exit.DONE)
        document = json.loads(program.stdout())
        self.assertEqual(document["agent_version"], "1.15")
        self.assertIs(document["verdict_seen"], False)

    def test_interrupt(self):
        pause = Wait()
        begun = runs.START + runs.MODEL + runs.reads({"MAIN": "1.0.0"})
        with FakeAgent({ROWS: begun + [pause]}) as agent:
            program = self.start_program(agent.port, "--json", "upgrade")
            wait.until(lambda: "MAIN: reading" in program.stderr())
            program.popen.send_signal(signal.SIGINT)
            self.assert_ends(program, Exit.LOST)
            pause.go_on.set()
        error = json.loads(program.stdout())["error"]
        self.assertEqual(error["id"], "interrupted")
        self.assertIn("leave the device on", error["advice"])


if __name__ == "__main__":
    unittest.main()
