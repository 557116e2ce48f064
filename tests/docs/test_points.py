# SPDX-License-Identifier: Apache-2.0
"""The points of device-check against the table and the headings of the protocol page."""

import json
import os
import re
import unittest

from tests.docs import pages
from tests.harness.command import output

PAGE = "docs/reference/mcu-protocol.md"
ROW = re.compile(
    r"^\| `([a-z-]+)` \| (required|recommended) \| (reading|writing) \| (.*?) \| "
    r"\[(.*)\]\(#(.*)\) \|$",
    re.M,
)


def points():
    """The points as the program lists them."""
    return json.loads(output(os.environ["DEVICE_CHECK"], "--list", "--json"))["points"]


def rows(text):
    """The rows of the table as points of the program."""
    return [
        {
            "id": name,
            "level": level,
            "writes": how == "writing",
            "rule": rule,
            "reference": f"{PAGE}#{anchor}",
        }
        for name, level, how, rule, _, anchor in ROW.findall(text)
    ]


class Points(unittest.TestCase):
    maxDiff = None

    def test_the_page_lists_them(self):
        self.assertGreater(len(points()), 40)
        self.assertEqual(rows(pages.read(PAGE)), points())

    def test_each_reference_is_a_heading(self):
        headings = dict(
            (re.sub(r"[^a-z0-9 -]", "", heading.lower()).replace(" ", "-"), heading)
            for heading in re.findall(r"^##+ (.*)$", pages.read(PAGE), re.M)
        )
        for *_, text, anchor in ROW.findall(pages.read(PAGE)):
            self.assertEqual(headings.get(anchor), text)

    def test_a_difference_is_noticed(self):
        text = pages.read(PAGE)
        for old, new in (
            ("| `noise` | recommended |", "| `noise` | required |"),
            ("| `reboot` | required | writing |", "| `reboot` | required | reading |"),
            ("(#restart) |\n", "(#commands) |\n"),
        ):
            self.assertIn(old, text)
            self.assertNotEqual(rows(text.replace(old, new, 1)), points())


if __name__ == "__main__":
    unittest.main()
