# SPDX-License-Identifier: Apache-2.0
"""The runs of one upgrade. The client answers from a list, and only sleeping takes time."""

import unittest

from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import runs

from tests.ansible import samples

ARGUMENTS: dict = {
    "mode": 2,
    "wait_back": True,
    "request_all": False,
    "package": None,
    "rows": [],
    "busy_timeout": 0,
    "lost_timeout": 100,
}
BUSY = samples.refused(4, "busy", samples.LOST)
DONE = samples.upgrade(0, "done", [samples.chip("MAIN", 0, "updated")])
NOTHING = samples.upgrade(3, "nothing-to-do", [samples.chip("MAIN", 0, "up-to-date", old="1.1.0")])
LOST = samples.upgrade(
    6,
    "connection-lost",
    [samples.chip("MAIN", 0, "updated"), samples.chip("AUX", 1, "unknown")],
    error=samples.LOST,
)
AFTER = samples.upgrade(
    0,
    "done",
    [samples.chip("MAIN", 0, "up-to-date", old="1.1.0"), samples.chip("AUX", 1, "updated")],
)


class Clock:
    def __init__(self):
        self.time = 0.0

    def now(self):
        return self.time

    def sleep(self, seconds):
        assert seconds > 0
        self.time += seconds


class Console:
    """Answers in order; the last answer stays."""

    def __init__(self, documents, states=()):
        self.documents = list(documents)
        self.states = list(states)
        self.commands = []

    def run(self, *command):
        self.commands.append(command)
        return self.documents.pop(0) if len(self.documents) > 1 else self.documents[0]

    def quick(self, command):
        assert command == "status"
        return self.states.pop(0) if len(self.states) > 1 else self.states[0]


class Upgrade(unittest.TestCase):
    def upgrade(self, documents, states=(), **more):
        self.clock = Clock()
        self.console = Console(documents, states)
        return runs.upgrade(self.console, {**ARGUMENTS, **more}, self.clock)

    def test_options_of_the_command(self):
        cases: list[tuple[dict, tuple]] = [
            ({}, ("--mode", "2", "--wait-back")),
            ({"wait_back": False, "mode": 5}, ("--mode", "5", "--yes")),
            ({"request_all": True}, ("--mode", "2", "--wait-back", "--request-all")),
            (
                {"rows": ["MAIN,0,0", "AUX 1"], "package": "/p"},
                ("--mode", "2", "--wait-back", "--package", "/p", "MAIN,0,0", "AUX 1"),
            ),
        ]
        for more, command in cases:
            self.upgrade([DONE], **more)
            self.assertEqual(self.console.commands, [("upgrade", *command)])

    def test_busy_fails_at_once(self):
        got = self.upgrade([BUSY, DONE])
        self.assertEqual((got["outcome"], self.clock.time), ("busy", 0))

    def test_busy_is_waited_for(self):
        got = self.upgrade([BUSY, BUSY, DONE], busy_timeout=100)
        self.assertEqual((got["outcome"], self.clock.time), ("done", 2 * runs.POLL_SECONDS))

    def test_busy_until_the_time_is_over(self):
        got = self.upgrade([BUSY], busy_timeout=100)
        self.assertEqual((got["outcome"], self.clock.time), ("busy", 100))

    def test_lost_run_is_continued_when_the_agent_is_idle(self):
        states = [samples.unreachable(), samples.status(busy=True), samples.status(busy=False)]
        got = self.upgrade([LOST, AFTER], states)
        self.assertEqual((got["failed"], got["changed"], got["outcome"]), (False, True, "done"))
        self.assertEqual(
            [(chip["decision"], chip["version_before"]) for chip in got["chips"]],
            [("updated", "1.0.0"), ("updated", "1.0.0")],
        )
        self.assertEqual(got["duration"], 81)
        self.assertEqual(self.clock.time, 2 * runs.POLL_SECONDS)

    def test_lost_run_that_had_written_everything(self):
        first = {**LOST, "mcus": LOST["mcus"][:1]}
        got = self.upgrade([first, NOTHING], [samples.status()])
        self.assertEqual((got["changed"], got["outcome"], got["exit"]), (True, "done", 0))
        self.assertEqual(got["chips"][0]["version_before"], "1.0.0")

    def test_lost_agent_that_does_not_come_back(self):
        got = self.upgrade([LOST, AFTER], [samples.unreachable()])
        self.assertEqual((got["failed"], got["outcome"]), (True, "connection-lost"))
        self.assertEqual(len(self.console.commands), 1)
        self.assertEqual(self.clock.time, 100)

    def test_lost_run_in_mode_5_is_not_repeated(self):
        got = self.upgrade([LOST, AFTER], [samples.status()], mode=5)
        self.assertEqual((got["failed"], len(self.console.commands)), (True, 1))


if __name__ == "__main__":
    unittest.main()
