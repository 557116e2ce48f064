# SPDX-License-Identifier: Apache-2.0
"""No page leads nowhere, and the check notices when one does."""

import os
import tempfile
import unittest

from tests.docs import pages
from tests.harness import files

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
        "#some-heading-1",
        "#some-heading-2",
        "3: docs/two.md#some-heading-2: docs/two.md has no such heading",
    ),
    ("README.md", "(#one)", "(#two)", "3: #two: README.md has no such heading"),
    ("README.md", "]: docs/two.md", "]: docs/3.md", "6: docs/3.md: there is no docs/3.md"),
    ("README.md", "`docs/two.md`", "`docs/three.md`", "3: there is no docs/three.md"),
    ("README.md", "(#one)", "(../one.md)", "3: ../one.md leads out of the repository"),
    ("docs/two.md", "../README.md", "README.md", "3: README.md: there is no docs/README.md"),
    ("docs/man/tool.1", "tool (1)", "tool (8)", "2: there is no page tool(8)"),
    ("docs/man/tool.1", "two.md", "three\\-four.md", "4: there is no docs/three-four.md"),
]


class Links(unittest.TestCase):
    def setUp(self):
        self.root = self.enterContext(tempfile.TemporaryDirectory())

    def findings(self, written):
        for name, text in written.items():
            files.write(os.path.join(self.root, name), text)
        return list(pages.findings(self.root))

    def test_nothing_leads_nowhere(self):
        self.assertEqual(list(pages.findings()), [])

    def test_all_pages_are_looked_at(self):
        names = pages.names()
        some = {"README.md", "ARCHITECTURE.md", "docs/reference/messages.md", "docs/man/fwm.1"}
        self.assertEqual(some - set(names), set())
        markdown = [name for name in names if name.endswith(".md")]
        self.assertGreater(sum(len(list(pages.links(pages.read(name)))) for name in markdown), 15)

    def test_good_links_are_found_good(self):
        self.assertEqual(self.findings(GOOD), [])

    def test_each_dead_one_is_noticed(self):
        for name, old, new, finding in BROKEN:
            with self.subTest(finding):
                self.assertIn(old, GOOD[name])
                changed = GOOD | {name: GOOD[name].replace(old, new)}
                self.assertEqual(self.findings(changed), [f"{name}:{finding}"])


if __name__ == "__main__":
    unittest.main()
