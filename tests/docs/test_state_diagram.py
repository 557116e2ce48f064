# SPDX-License-Identifier: Apache-2.0
"""docs/develop/architecture-states.md is what the step table prints, and every row is printed."""

import itertools
import json
import os
import unittest

from tests.docs import pages
from tests.harness.command import output

PAGE = pages.read("docs/develop/architecture-states.md")


def printed(*arguments):
    return output(os.environ["PRINT_STATES"], *arguments)


class StateDiagram(unittest.TestCase):
    def test_page_is_up_to_date(self):
        self.assertEqual(PAGE, printed(), "run scripts/check state-diagram")

    def test_page_shows_every_text(self):
        texts = json.loads(printed("--texts"))
        self.assertGreater(len(texts), 45)
        for text in texts:
            self.assertIn(f'| "{text}" |', PAGE)

    def test_page_shows_the_steps_of_an_upgrade(self):
        for path in ("[*] s5900 s6000 s6100", "s8000 s8101 s8102", "s8300 s8316 s8137 s8318"):
            for first, second in itertools.pairwise(path.split()):
                self.assertIn(f"{first} --> {second}", PAGE)


if __name__ == "__main__":
    unittest.main()
