# SPDX-License-Identifier: Apache-2.0
"""docs/reference/log.md against the source: the events, their reasons, and the categories."""

import re
import unittest

from tests.docs import pages, wire_texts


def table(page, heading):
    """The words in the first column of the table below a heading line, sorted."""
    rows = page.split(heading, 1)[1].split("\n\n")[0]
    return sorted(re.findall(r"^\| `(\w+)`", rows, re.M))


class Log(unittest.TestCase):
    def setUp(self):
        self.page = pages.read("docs/reference/log.md")
        self.source = pages.read("src/monitoring/OperationsText.cpp")

    def test_events(self):
        written = set(re.findall(r'(?:LogLine|about|LogLine line|resume)\("(\w+)"', self.source))
        choices = re.findall(r'"(\w+)" : "(\w+)"(?:\);\n +line|, event.install)', self.source)
        self.assertEqual(len(choices), 2)
        written |= {event for choice in choices for event in choice}
        documented = table(self.page, "| event | when | keys |")
        self.assertEqual(len(documented), 20)
        self.assertEqual(documented, sorted(written - {"none"}))

    def test_reasons(self):
        # The words are reasons of a skipped row, and the sentence is that of a failed run.
        skipped = [text for text in wire_texts.tables()["run"].values() if " " not in text]
        failed = re.findall(r'\{\d+, "(\w+)"\}', self.source)
        self.assertEqual(len(failed), 5)
        resume = pages.read("src/netupgrade/NetResumePlan.cpp")
        resume += pages.read("src/netupgrade/NetResume.cpp")
        reasons = re.findall(r'(?:discard\(|Postponed, )QStringLiteral\("(\w+)"\)', resume)
        self.assertEqual(len(reasons), 7)
        kinds = re.findall(r'return "(\w+)";', self.source)
        for heading, words in (
            ("`reason` of a skipped row | meaning", skipped),
            ("`reason` of a failed run | meaning", failed),
            ("`reason` of an installation that is not completed | meaning", reasons),
            ("`kind` of a run | what is upgraded", kinds),
        ):
            self.assertEqual(table(self.page, f"| {heading} |"), sorted(words), heading)

    def test_categories(self):
        categories = re.findall(r'"(agent\.[a-z.]+)"', pages.read("src/platform/Log.cpp"))
        rows = re.findall(r"^\| `agent\..*$", self.page, re.M)
        documented = [name for row in rows for name in re.findall(r"`(agent\.[a-z.]+)`", row)]
        self.assertEqual(sorted(documented), sorted(categories))

    def test_budgets(self):
        source = pages.read("src/monitoring/OperationsLog.h")
        budgets = re.findall(r"LineBudget (\w+)\{(\d+), ms\(([\d']+)\)\};", source)
        documented = re.findall(
            r"^\| `(\w+)`: .* \| (\d+) \| (\w+) each second \|$", self.page, re.M
        )
        rates = {"1'000": "one", "200": "five"}
        self.assertEqual(
            [(name, burst, rates[pause]) for name, burst, pause in budgets], documented
        )
        self.assertEqual(len(documented), 3)


if __name__ == "__main__":
    unittest.main()
