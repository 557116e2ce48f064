# SPDX-License-Identifier: Apache-2.0
"""No page leads nowhere, and the check notices when one does."""

import os
import tempfile
import unittest

from tests.docs import pages

GOOD = {
    "README.md": "# One\n\nSee [two](docs/two.md#some-heading-1), [here](#one), `docs/two.md`,\n"
    "[elsewhere](https://example.org/nothing) and `docs/<any>.md`.\n\n"
    "[ref]: docs/two.md\n",
    "docs/two.md": "## Some heading\n\n## `Some` [heading](../README.md)\n\n"
    "```\n[no link](nowhere.md)\n```\n\nAnd `[no link](nowhere.md)`.\n",
    "docs/man/tool.1": ".TH TOOL 1\n.BR tool (1),\n.BR foreign (7)\n"
    "docs/two.md\n/usr/share/x-docs/none\n",
}
# What is put in place of something good -> what the check must say.
BROKEN = [
    (
        "README.md",
        "docs/two.md#some-heading-1",
        "docs/two.md#some-heading-2",
        "README.md:3: docs/two.md#some-heading-2: docs/two.md has no such heading",
    ),
    ("README.md", "(#one)", "(#two)", "README.md:3: #two: README.md has no such heading"),
    (
        "README.md",
        "[ref]: docs/two.md",
        "[ref]: docs/three.md",
        "README.md:6: docs/three.md: there is no docs/three.md",
    ),
    ("README.md", "`docs/two.md`", "`docs/three.md`", "README.md:3: there is no docs/three.md"),
    ("README.md", "(#one)", "(../one.md)", "README.md:3: ../one.md leads out of the repository"),
    (
        "docs/two.md",
        "../README.md",
        "README.md",
        "docs/two.md:3: README.md: there is no docs/README.md",
    ),
    ("docs/man/tool.1", "tool (1)", "tool (8)", "docs/man/tool.1:2: there is no page tool(8)"),
    (
        "docs/man/tool.1",
        "docs/two.md",
        "docs/three\\-four.md",
        "docs/man/tool.1:4: there is no docs/three-four.md",
    ),
]


class Links(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = folder.name

    def write(self, files):
        for name, text in files.items():
            path = os.path.join(self.root, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)

    def test_nothing_leads_nowhere(self):
        self.assertEqual(list(pages.findings()), [])

    def test_all_pages_are_looked_at(self):
        names = pages.names()
        for name in (
            "README.md",
            "ARCHITECTURE.md",
            "docs/reference/messages.md",
            "docs/man/fwm.1",
        ):
            self.assertIn(name, names)
        self.assertGreater(
            sum(1 for name in names if name.endswith(".md") for _ in pages.links(pages.read(name))),
            15,
        )

    def test_good_links_are_found_good(self):
        self.write(GOOD)
        self.assertEqual(list(pages.findings(self.root)), [])

    def test_each_dead_one_is_noticed(self):
        for name, old, new, finding in BROKEN:
            with self.subTest(finding):
                self.assertIn(old, GOOD[name])
                self.write({**GOOD, name: GOOD[name].replace(old, new)})
                self.assertEqual(list(pages.findings(self.root)), [finding])


if __name__ == "__main__":
    unittest.main()
