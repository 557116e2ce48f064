# SPDX-License-Identifier: Apache-2.0
"""One sentence per line, in every Markdown page."""

import unittest

from tests.docs import pages, prose

GOOD = """# A heading. Of two.

A sentence with `code. More` in it.
Another one (v1.2 of `a`), e.g. this one:

- An item.
- Another item
  is not prose of one line.

| a cell. With two | sentences |

```
A block. Of anything
that goes on.
```

    an indented line. Too
"""


class Prose(unittest.TestCase):
    def test_pages(self):
        found = [
            line
            for name in pages.names()
            if name.endswith(".md")
            for line in prose.findings(name, pages.read(name))
        ]
        self.assertEqual(found, [])

    def test_good_prose_is_left_alone(self):
        text = GOOD.replace("- Another item\n  is not prose of one line.\n", "")
        self.assertEqual(list(prose.findings("x.md", text)), [])

    def test_broken_prose_is_noticed(self):
        for text, number, what in (
            ("One. Two.\n", 1, "two sentences"),
            ("- One. `Two` is.\n", 1, "two sentences"),
            ("One that\ngoes on.\n", 2, "continues here"),
            ("- One that\n  goes on.\n", 2, "continues here"),
            (GOOD, 8, "continues here"),
        ):
            with self.subTest(text):
                (finding,) = prose.findings("x.md", text)
                self.assertTrue(finding.startswith(f"x.md:{number}: "), finding)
                self.assertIn(what, finding)


if __name__ == "__main__":
    unittest.main()
