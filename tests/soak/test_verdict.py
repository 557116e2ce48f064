# SPDX-License-Identifier: Apache-2.0
"""The soak test's own judgement: each promise, broken once, is noticed."""

import unittest

from tests.soak import scenario, verdict
from tests.soak.agentlog import AgentLog

IMAGE = scenario.Image("AUX1", 1, 300, "seed", (1, 1, 0))
CONTENT = {"seed": b"x" * 300}
FLASH = b"x" * 300 + b"\xff" * 212


def make_run(**more):
    """One row, mode 2."""
    chip = {
        "name": "AUX1",
        "chip_type": 1,
        "chip_index": 0,
        "mcu_type": 1,
        "pcb_version": 1,
        "speciality": "A",
        "version": "1.0.0",
        "upgrades_to": "1.1.0",
    }
    return scenario.Scenario(
        1, 2, "UPGRADE||AUX1,1,0", [chip], [IMAGE], "good", {}, [("AUX1", 1, 0)], **more
    )


class Device:
    """A device with one chip in a given state."""

    def __init__(self, flash=b"", complete=False):
        self._flash = flash
        self._complete = complete

    def chip(self, *_):
        return {
            "images_written": int(self._complete),
            "half_written": False,
            "flash_bytes": len(self._flash),
        }

    def flash(self, *_):
        return self._flash


class Agent:
    """An agent that has written this to its standard error."""

    def __init__(self):
        self.text = b""

    def stderr_bytes(self, start=0):
        return self.text[start:]


def make_log(*messages):
    """What the agent's log makes of these messages."""
    agent = Agent()
    log = AgentLog(agent)
    for message in messages:
        quoted = ", ".join(f'"{text}"' for text in message)
        agent.text += f"agent.console: TCPServermessage : ({quoted})\n".encode()
    log.read()
    return log


RESULT = ("UPGRADERESULT", "AUX1,1,0,,,,,,,,,1,1")
SUCCESS = ("APPSTATUS", "6")
FAILURE = ("APPSTATUS", "2")
WRITTEN = ((*RESULT, "1"), ("Write firmware 'AUX1' success.",))


class TestVerdict(unittest.TestCase):
    """Each case is one run of one row."""

    def judge(self, messages, device, run=None):
        return verdict.check(run or make_run(), make_log(*messages), device, CONTENT)

    def assert_violation(self, text, messages, device, run=None):
        with self.assertRaisesRegex(verdict.Violation, text):
            self.judge(messages, device, run)

    def test_written(self):
        self.assertEqual(self.judge([*WRITTEN, SUCCESS], Device(FLASH, True)), {"AUX1": "written"})

    def test_skipped_and_failed(self):
        self.assertEqual(self.judge([(*RESULT, "3"), SUCCESS], Device()), {"AUX1": "skipped"})
        self.assertEqual(self.judge([(*RESULT, "2"), SUCCESS], Device()), {"AUX1": "failed"})
        self.assertEqual(self.judge([FAILURE], Device()), {"AUX1": "failed"})

    def test_other_bytes_in_the_flash(self):
        self.assert_violation(
            "from byte 511", [*WRITTEN, SUCCESS], Device(FLASH[:-1] + b"\0", True)
        )

    def test_last_block_missing(self):
        self.assert_violation("from byte 256", [*WRITTEN, SUCCESS], Device(FLASH[:256]))

    def test_complete_and_wrong_though_reported_as_failed(self):
        self.assert_violation(
            "reported as failed", [(*RESULT, "2"), SUCCESS], Device(FLASH[::-1], True)
        )

    def test_no_word_of_a_row(self):
        self.assert_violation("says nothing", [SUCCESS], Device())

    def test_client_got_another_result(self):
        self.assert_violation("does not fit", [(*RESULT, "2"), WRITTEN[1], SUCCESS], Device())
        self.assert_violation("does not fit", [WRITTEN[0], SUCCESS], Device(FLASH, True))

    def test_no_end(self):
        self.assert_violation("no end", [*WRITTEN], Device(FLASH, True))

    def test_success_with_a_bad_package(self):
        run = make_run()
        run.package = "checksum"
        self.assert_violation("kind checksum", [SUCCESS], Device(), run)

    def test_undisturbed_run(self):
        run = make_run(expected={"AUX1": "1"})
        self.judge([*WRITTEN, SUCCESS], Device(FLASH, True), run)
        self.assert_violation("nothing went wrong", [(*RESULT, "2"), SUCCESS], Device(), run)
        self.assert_violation("nothing went wrong", [*WRITTEN, FAILURE], Device(FLASH, True), run)

    def test_chip_that_was_not_requested(self):
        run = make_run()
        run.rows = []
        self.assert_violation("in no row", [SUCCESS], Device(FLASH, True), run)


class TestScenario(unittest.TestCase):
    """The generator."""

    def test_the_same_again(self):
        self.assertEqual(scenario.make("7", 3), scenario.make("7", 3))
        self.assertNotEqual(scenario.make("7", 3), scenario.make("7", 4))
        self.assertNotEqual(scenario.make("7", 3), scenario.make("8", 3))

    def test_acknowledgements(self):
        """They arrive after their time-out and twice, but can always be distinguished from that of
        the next block."""
        beyond, doubled = 0, 0
        for number in range(2000):
            found = {}
            for fault in scenario.make("7", number).faults:
                name, _, keys = fault.partition(":")
                keys = dict(pair.split("=") for pair in keys.split(","))
                if keys.get("word") == "block":
                    found[name] = int(keys.get("delay", 0))
            self.assertLess(found.get("late", 0), scenario.BLOCK * 1000)
            self.assertFalse({"duplicate", "split"} <= found.keys())
            beyond += found.get("busy", 0) > scenario.BLOCK * 1000
            doubled += "duplicate" in found
        self.assertGreater(beyond, 20)
        self.assertGreater(doubled, 5)

    def test_cost(self):
        for number in range(500):
            self.assertLess(scenario.make("7", number, quick=True).cost, 60)


if __name__ == "__main__":
    unittest.main(verbosity=2)
