# SPDX-License-Identifier: Apache-2.0
"""docs/reference/log.md against the source: the events, their reasons, and the categories."""

import os
import re
import unittest

from tests import ROOT
from tests.docs import wire_texts


def text_of(*path):
    with open(os.path.join(ROOT, *path), encoding="utf-8") as file:
        return file.read()


def table(page, heading):
    """The words in the first column of the table below a heading line."""
    lines = page.split(heading, 1)[1].lstrip("\n").splitlines()
    rows = []
    for line in lines[1:]:
        if not line.startswith("|"):
            break
        rows.append(line)
    return re.findall(r"^\| `(\w+)`", "\n".join(rows), re.M)


class Log(unittest.TestCase):
    def setUp(self):
        self.page = text_of("docs", "reference", "log.md")
        self.source = text_of("src", "monitoring", "OperationsText.cpp")

    def test_events(self):
        written = set(re.findall(r'(?:LogLine|about|LogLine line|resume)\("(\w+)"', self.source))
        choices = re.findall(r'"(\w+)" : "(\w+)"(?:\);\n +line|, event.install)', self.source)
        self.assertEqual(len(choices), 2)
        written |= {event for choice in choices for event in choice}
        documented = table(self.page, "| event | when | keys |")
        self.assertEqual(len(documented), 20)
        self.assertEqual(sorted(documented), sorted(written - {"none"}))

    def test_reasons(self):
        # The words are reasons of a skipped row, and the sentence is that of a failed run.
        skipped = [text for text in wire_texts.tables()["run"].values() if " " not in text]
        self.assertEqual(
            sorted(table(self.page, "| `reason` of a skipped row | meaning |")), sorted(skipped)
        )
        failed = re.findall(r'\{\d+, "(\w+)"\}', self.source)
        self.assertEqual(len(failed), 5)
        self.assertEqual(
            sorted(table(self.page, "| `reason` of a failed run | meaning |")), sorted(failed)
        )
        resume = text_of("src", "netupgrade", "NetResumePlan.cpp") + text_of(
            "src", "netupgrade", "NetResume.cpp"
        )
        reasons = re.findall(r'(?:discard\(|Postponed, )QStringLiteral\("(\w+)"\)', resume)
        self.assertEqual(len(reasons), 7)
        self.assertEqual(
            sorted(
                table(self.page, "| `reason` of an installation that is not completed | meaning |")
            ),
            sorted(reasons),
        )
        kinds = re.findall(r'return "(\w+)";', self.source)
        self.assertEqual(
            sorted(table(self.page, "| `kind` of a run | what is upgraded |")), sorted(kinds)
        )

    def test_categories(self):
        categories = re.findall(r'"(agent\.[a-z.]+)"', text_of("src", "platform", "Log.cpp"))
        rows = re.findall(r"^\| `agent\..*$", self.page, re.M)
        documented = [name for row in rows for name in re.findall(r"`(agent\.[a-z.]+)`", row)]
        self.assertEqual(sorted(documented), sorted(categories))

    def test_budgets(self):
        source = text_of("src", "monitoring", "OperationsLog.h")
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
