# SPDX-License-Identifier: Apache-2.0
"""docs/results.md has marked sections, so that a script can replace the figures of one command."""

import re
import unittest

from tests.docs import pages

PAGE = "docs/results.md"
SECTIONS = ["checks", "bench", "growth", "fleet", "web", "coverage", "fuzz", "soak", "limits"]
SECTIONS += ["module-vm-amd64", "module-vm-arm64", "power-cuts"]
SECTIONS += ["arm-armhf", "arm-arm64"]
SECTIONS += ["footprint-release", "footprint-armhf", "footprint-arm64"]


class Results(unittest.TestCase):
    def setUp(self):
        self.page = pages.read(PAGE)

    def test_markers_are_pairs(self):
        markers = re.findall(r"^<!-- (begin|end) ([a-z0-9-]+) -->$", self.page, re.M)
        self.assertEqual(markers, [(edge, name) for name in SECTIONS for edge in ("begin", "end")])

    def test_each_section_has_a_command_and_a_date(self):
        for section in self.page.split("\n## ")[1:]:
            heading = section.split("\n", 1)[0]
            self.assertTrue(re.search(r"^Commands?: ", section, re.M), heading)
            self.assertTrue(
                re.search(r"^<!-- begin [a-z0-9-]+ -->\n\d{4}-\d\d-\d\d[,:]", section, re.M),
                heading,
            )


if __name__ == "__main__":
    unittest.main()
