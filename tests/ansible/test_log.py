# SPDX-License-Identifier: Apache-2.0
"""Runs and versions from the agent's log, and from the example of its page."""

import json
import unittest

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import operations_log

from tests import ROOT
from tests.harness import files


def example():
    """The run of docs/reference/log.md, as it is in a log."""
    page = files.text(ROOT, "docs", "reference", "log.md")
    section = page.split("\n## Example\n")[1].split("\n## ")[0]
    return [
        "agent.operations: " + line.strip() for line in section.splitlines() if "event=" in line
    ]


def runs(*lines):
    return operations_log.runs(operations_log.plain_lines("\n".join(lines)))


class Runs(unittest.TestCase):
    def test_example_of_the_page(self):
        (run,) = runs(*example())
        self.assertEqual(
            (run["mode"], run["client"], run["result"], run["seconds"]),
            (2, "192.0.2.7", "success", 61.4),
        )
        self.assertEqual(
            [(chip["name"], chip["result"], chip["version"]) for chip in run["chips"]],
            [
                ("MAIN", "written", "1.1.0"),
                ("KEY", "not_newer", "1.0.0"),
                ("AUX", "written", "1.1.0"),
            ],
        )

    def test_versions_of_the_example(self):
        got = operations_log.versions(runs(*example()))
        self.assertEqual(
            [(chip["chip_type"], chip["version"]) for chip in got],
            [(0, "1.1.0"), (1, "1.1.0"), (2, "1.0.0")],
        )

    def test_version_after_a_failed_image_is_not_known(self):
        failed = (
            "agent.operations: event=mcu_finished name=AUX chip_type=1 chip_index=0 old=1.1.0 "
            "new=1.2.0 result=failed seconds=3.0"
        )
        got = operations_log.versions(runs(*example(), example()[0], failed))
        self.assertEqual([chip["name"] for chip in got], ["MAIN", "KEY"])

    def test_last_run_without_an_end(self):
        got = runs(*example(), *example()[:3])
        self.assertEqual([run["result"] for run in got], ["success", "unfinished"])

    def test_reason_of_a_failure(self):
        end = "agent.operations: event=run_finished result=failed reason=device_lost seconds=9.5"
        got = runs(example()[0], end)[0]
        self.assertEqual(
            (got["result"], got["reason"], got["chips"]), ("failed", "device_lost", [])
        )

    def test_quoted_names(self):
        event = operations_log.event_of(
            r'x agent.operations: event=retry name="A \"1\" \u00e9=" attempt=1 text="two words"'
        )
        self.assertEqual(
            event, {"event": "retry", "name": 'A "1" é=', "attempt": "1", "text": "two words"}
        )

    def test_lines_that_are_not_events(self):
        for line in ("", "agent.engine: event=run_started", "agent.operations: nothing", "\0"):
            self.assertIsNone(operations_log.event_of(line), line)
        self.assertEqual(runs("agent.operations: event=run_finished result=success"), [])

    def test_journal(self):
        time = {"__REALTIME_TIMESTAMP": "1772460451000000"}
        entries = [{**time, "MESSAGE": line} for line in example()]
        entries[1]["MESSAGE"] = list(example()[1].encode())
        text = "\n".join([json.dumps(entry) for entry in entries] + ["{", "[]", '{"MESSAGE": 3}'])
        (run,) = operations_log.runs(operations_log.journal_lines(text))
        self.assertEqual((run["started"], run["finished"]), ("2026-03-02T14:07:31Z",) * 2)
        self.assertEqual(len(run["chips"]), 3)


if __name__ == "__main__":
    unittest.main()
