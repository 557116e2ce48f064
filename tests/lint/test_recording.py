# SPDX-License-Identifier: Apache-2.0
"""Measurements write their figures into the sections of docs/results.md."""

import os
import sys
import tempfile
import time
import unittest
from unittest import mock

from bench import record
from bench.runner.figures import FIGURES, Sample, summarize
from scripts.lib import coverage_report, fuzz_run, results
from tests import ROOT
from tests.docs import pages
from tests.harness import files
from tests.harness.command import run
from tests.soak import soak

PAGE = """# Results

<!-- begin one -->
old
<!-- end one -->
A remark.
<!-- begin two -->
kept
<!-- end two -->
"""
LINE = {"count": 1, "branches": [{"count": 1}, {"count": 0}]}
GROWTH = {
    "images": [{"image_kib": 64, "us": 1.5, "cpu": 2.25, "mib": 0.3}],
    "rows": [{"rows": 1, "us": 1048.2, "mib": 0.2}],
    "packages": [{"mib": 1, "ms": 0.17, "ms_per_mib": 0.17, "growth": 1.0}],
    "whole_upgrade": {
        "parts": {"x": 1.0},
        "bound_s": 1.0,
        "actual_s": 2.0,
        "bound_over_actual": 0.5,
    },
}


def head(text):
    """The first row of the first table of a text."""
    return next(line for line in text.splitlines() if line.startswith("|"))


class TestRecording(unittest.TestCase):
    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.page = os.path.join(folder, "results.md")
        files.write(self.page, PAGE)
        self.enterContext(mock.patch.object(results, "PAGE", self.page))

    def content(self):
        return files.text(self.page)

    def test_one_section_is_replaced(self):
        results.record("one", results.table(("a", "b"), [("x|y", 1)], {1}), "in a test")
        begin, _, rest = self.content().partition("<!-- begin one -->\n")
        first, _, rest = rest.partition("\n\n")
        self.assertEqual(begin, "# Results\n\n")
        self.assertRegex(
            first,
            rf"^{time.strftime('%Y-%m-%d')}, .*\b{os.cpu_count()} processors? \(.+\), "
            r"Linux \d+\.\d+, .+, in a test:$",
        )
        table = "| a | b |\n|---|---:|\n| x\\|y | 1 |\n"
        self.assertEqual(rest, table + "<!-- end one -->\n" + PAGE.split("<!-- end one -->\n")[1])

    def test_missing_section(self):
        for broken in (
            PAGE.replace("begin one", "begin won"),
            PAGE.replace("end one", "end won"),
            PAGE + "<!-- begin one -->\n",
        ):
            with self.assertRaisesRegex(ValueError, "no section 'one'"):
                results.replaced(broken, "one", "new")
        with self.assertRaises(ValueError):
            results.record("three", "new")
        self.assertEqual(self.content(), PAGE)

    def test_command_line(self):
        """What the shell scripts call; without a section nothing is written."""
        for arguments in ((), ("one", "two")):
            done = run(sys.executable, "-B", "-m", "scripts.lib.results", *arguments, cwd=ROOT)
            self.assertIn("usage: ", done.stderr)
            self.assertNotEqual(done.returncode, 0)

    def test_figures_of_a_script(self):
        text = mock.Mock(read=lambda: "size: 5 bytes\nat rest: 1: 2\n")
        with mock.patch.multiple(sys, argv=["results", "one"], stdin=text):
            results.main()
        self.assertIn(
            "| figure | value |\n|---|---|\n| size | 5 bytes |\n| at rest | 1: 2 |\n",
            self.content(),
        )

    def test_tables_of_the_page(self):
        """The page has the columns that each measurement writes today."""
        page = pages.read("docs/results.md")
        coverage = [{"file": "src/a/b.cpp", "lines": [LINE]}]
        bench = [summarize(figure, [Sample(1.0)]) for figure in FIGURES]
        for section, text in (
            ("bench", record.figures(bench)),
            ("growth", record.growth(GROWTH)),
            ("coverage", coverage_report.table(coverage)),
            ("fuzz", results.table(fuzz_run.HEAD, [])),
            ("soak", results.table(("figure", "value"), soak.summary([], 1))),
        ):
            with self.subTest(section):
                self.assertEqual(head(results.section_of(page, section)), head(text))
        self.assertIn("| `src/a` | 1/1 (100.0 %) | 1/2 (50.0 %) |", coverage_report.table(coverage))


if __name__ == "__main__":
    unittest.main()
