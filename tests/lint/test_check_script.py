# SPDX-License-Identifier: Apache-2.0
"""scripts/check runs the named steps, goes on after a failure, and reports each result."""

import os
import re
import shutil
import tempfile
import time
import unittest

from tests import ROOT
from tests.harness import files
from tests.harness.command import run

STEPS = sorted(os.listdir(os.path.join(ROOT, "scripts", "check.d")))


class TestCheck(unittest.TestCase):
    """A copy of the script in a folder where each step only prints how it was called."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        os.makedirs(os.path.join(self.folder, "scripts", "check.d"))
        shutil.copy(os.path.join(ROOT, "scripts", "check"), os.path.join(self.folder, "scripts"))

    def check(self, *arguments, failing=()):
        """Runs the script; the steps in `failing` end with 3."""
        for step in STEPS:
            files.write(
                os.path.join(self.folder, "scripts", "check.d", step),
                f'#!/bin/sh\n#\n# Text of {step}.\necho "ran {step} $*"\n'
                f"exit {3 if step in failing else 0}\n",
                0o755,
            )
        return run(os.path.join(self.folder, "scripts", "check"), *arguments)

    def table(self, *arguments, failing=()):
        """Exit status and the table of results."""
        done = self.check(*arguments, failing=failing)
        rows = re.findall(r"^([a-z0-9-]+) +(passed|FAILED) +\d+ s$", done.stdout, re.M)
        return done.returncode, dict(rows)

    def test_list(self):
        listed = re.findall(r"^([* ]) ([a-z0-9-]+) +(\S.*)$", self.check("--list").stdout, re.M)
        self.assertEqual(
            [(step, text) for _, step, text in listed],
            [(step, f"Text of {step}.") for step in STEPS] + [("all", "The steps with a star.")],
        )
        self.assertIn(("*", "asan"), [row[:2] for row in listed])
        self.assertIn((" ", "soak"), [row[:2] for row in listed])

    def test_the_real_steps(self):
        for step in STEPS:
            path = os.path.join(ROOT, "scripts", "check.d", step)
            self.assertTrue(os.access(path, os.X_OK), step)
            self.assertRegex(files.text(path).splitlines()[2], r"^# \w.{10,70}\.$", step)

    def test_one_step(self):
        done = self.check("soak", "--", "--runs", "7")
        self.assertEqual((done.returncode, done.stdout), (0, "ran soak --runs 7\n"))
        self.assertEqual(self.check("soak", failing=("soak",)).returncode, 3)

    def test_all(self):
        status, table = self.table("all")
        self.assertEqual(status, 0)
        self.assertEqual(set(table.values()), {"passed"})
        self.assertEqual(
            sorted(set(STEPS) - set(table)),
            "footprint fuzz limits module-vm mutations power-cuts screenshots soak "
            "state-diagram".split(),
        )

    def test_goes_on_after_a_failure(self):
        self.assertEqual(
            self.table("lint", "clazy", "tsan", failing=("clazy",)),
            (1, {"lint": "passed", "clazy": "FAILED", "tsan": "passed"}),
        )
        self.assertEqual(self.table("lint", "tsan", failing=("tsan",))[0], 1)
        self.assertEqual(files.text(self.folder, "build/check/lint.log"), "ran lint \n")

    def test_record(self):
        """The rows of the steps that ran are replaced, those of the others stay."""
        shutil.copytree(
            os.path.join(ROOT, "scripts", "lib"), os.path.join(self.folder, "scripts", "lib")
        )
        page = os.path.join(self.folder, "docs", "results.md")
        rows = "".join(f"| `{step}` | 2000-01-01 | passed | 7 s |\n" for step in ("asan", "tsan"))
        head = "2000-01-01:\n\n| step | date | result | time |\n|---|---|---|---|\n"
        files.write(page, f"<!-- begin checks -->\n{head}{rows}<!-- end checks -->\n")
        self.check("--record", "tsan", failing=("tsan",))
        self.check("--record", "lint", "clazy")
        row = r"^\| `(\w+)` \| (\S+) \| (\w+) \| \d+ s \|$"
        found = re.findall(row, files.text(page), re.M)
        today = time.strftime("%Y-%m-%d")
        self.assertEqual(
            found,
            [
                ("asan", "2000-01-01", "passed"),
                ("tsan", today, "FAILED"),
                ("lint", today, "passed"),
                ("clazy", today, "passed"),
            ],
        )

    def test_unknown_step(self):
        nearest = {"lnit": "lint", "memchek": "memcheck", "diagram": "state-diagram", "al": "all"}
        for word, step in (*nearest.items(), ("clang-tidy", "tidy")):
            done = self.check("asan", word)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertIn(f"there is no step '{word}', the nearest is '{step}'", done.stderr)

    def test_usage(self):
        done = self.check("--help")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(done.stdout.startswith("usage: scripts/check STEP..."))
        for wrong in ((), ("--seconds", "3"), ("lint", "asan", "--", "sizes"), ("--record",)):
            done = self.check(*wrong)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertNotEqual(done.stderr, "")


if __name__ == "__main__":
    unittest.main()
