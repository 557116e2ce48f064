# SPDX-License-Identifier: Apache-2.0
"""The soak test's own judgement: each promise, broken once, is noticed."""

import unittest

from tests.harness import agentcase
from tests.soak import scenario, verdict
from tests.soak.agentlog import AgentLog

CONTENT = {"seed": b"x" * 300}
FLASH = b"x" * 300 + b"\xff" * 212


def make_run(size=300, mode=2, package="good", rows=(("AUX1", 1, 0),), **more):
    """One chip, which has an older version."""
    chip = agentcase.chip("AUX1", 1, mcu_type=1, pcb_version=1, speciality="A")
    image = scenario.Image("AUX1", 1, size, "seed", (1, 1, 0))
    request = "UPGRADE||AUX1,1,0"
    return scenario.Scenario(1, mode, request, [chip], [image], package, {}, list(rows), **more)


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
REPORTED = [*WRITTEN, SUCCESS]
REFUSED = [(*RESULT, "2"), SUCCESS]
HELD, EMPTY = Device(FLASH, True), Device()
CALM = {"expected": {"AUX1": "1"}}

# What the agent reported and the device holds: the outcome of the row.
OUTCOMES = [
    (REPORTED, HELD, "written"),
    ([(*RESULT, "3"), SUCCESS], EMPTY, "skipped"),
    (REFUSED, EMPTY, "failed"),
    ([FAILURE], EMPTY, "failed"),
]
# The same, and what is particular about the run: the promise that is broken.
VIOLATIONS = [
    (REPORTED, Device(FLASH[:-1] + b"\0", True), {}, "from byte 511"),
    (REPORTED, Device(FLASH[:256]), {}, "from byte 256"),
    (REFUSED, Device(FLASH[::-1], True), {}, "reported as failed"),
    ([SUCCESS], EMPTY, {}, "says nothing"),
    ([(*RESULT, "2"), WRITTEN[1], SUCCESS], EMPTY, {}, "does not fit"),
    ([WRITTEN[0], SUCCESS], HELD, {}, "does not fit"),
    ([*WRITTEN], HELD, {}, "no end"),
    ([SUCCESS], EMPTY, {"package": "checksum"}, "kind checksum"),
    (REFUSED, EMPTY, CALM, "nothing went wrong"),
    ([*WRITTEN, FAILURE], HELD, CALM, "nothing went wrong"),
    ([SUCCESS], HELD, {"rows": ()}, "in no row"),
]


class TestVerdict(unittest.TestCase):
    """Each case is one run of one row."""

    def judge(self, messages, device, more):
        return verdict.check(make_run(**more), make_log(*messages), device, CONTENT)

    def test_outcomes(self):
        for messages, device, outcome in OUTCOMES:
            with self.subTest(outcome):
                self.assertEqual(self.judge(messages, device, {}), {"AUX1": outcome})
        self.judge(REPORTED, HELD, CALM)

    def test_violations(self):
        for messages, device, more, text in VIOLATIONS:
            with self.subTest(text), self.assertRaisesRegex(verdict.Violation, text):
                self.judge(messages, device, more)


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
