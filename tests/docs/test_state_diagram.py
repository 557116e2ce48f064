# SPDX-License-Identifier: Apache-2.0
"""docs/develop/architecture-states.md is what the step table prints, and every row is printed."""

import json
import os
import subprocess
import unittest

from tests import ROOT

PAGE = os.path.join(ROOT, "docs", "develop", "architecture-states.md")


def printed(*arguments):
    return subprocess.run(
        [os.environ["PRINT_STATES"], *arguments], capture_output=True, text=True, check=True
    ).stdout


class StateDiagram(unittest.TestCase):
    def test_page_is_up_to_date(self):
        with open(PAGE, encoding="utf-8") as file:
            self.assertEqual(file.read(), printed(), "run scripts/check state-diagram")

    def test_page_shows_every_text(self):
        page = printed()
        texts = json.loads(printed("--texts"))
        self.assertGreater(len(texts), 45)
        for text in texts:
            self.assertIn(f'| "{text}" |', page)

    def test_page_shows_the_steps_of_an_upgrade(self):
        page = printed()
        for arrow in (
            "[*] --> s5900",
            "s5900 --> s6000",
            "s6000 --> s6100",
            "s8000 --> s8101",
            "s8101 --> s8102",
            "s8300 --> s8316",
            "s8316 --> s8137",
            "s8137 --> s8318",
        ):
            self.assertIn(arrow, page)


if __name__ == "__main__":
    unittest.main()
