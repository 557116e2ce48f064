# SPDX-License-Identifier: Apache-2.0
"""The tutorial of fleets, as a reader types it."""

import os
import shutil
import subprocess
import unittest

from tests import ROOT
from tests.harness import files
from tests.tutorial import run_tutorial

PAGE = os.path.join(ROOT, "docs", "use", "fleet.md")
# Where the page works.
FOLDER = os.path.join("build", "fleet-tutorial")
START = "scripts/fleet "
LIMIT_S = 1800


class TestTutorial(unittest.TestCase):
    """All sh blocks go into one shell, and after the line that starts the modules into the shell on
    the controller: a shell reads its commands from a pipe byte by byte, so the second one continues
    where the first one has stopped."""

    def test_tutorial(self):
        """Each line of a text block is, in this order, in what the block before it has printed."""
        found = run_tutorial.blocks(files.text(PAGE))
        commands = run_tutorial.script(found)
        self.assertEqual((commands.count(START), commands.count(f"cd {FOLDER}\n")), (1, 1))
        shutil.rmtree(os.path.join(ROOT, FOLDER), ignore_errors=True)
        run = subprocess.run(
            ["bash"],
            input=commands,
            cwd=ROOT,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=LIMIT_S,
            check=False,
        )
        self.assertEqual(run.returncode, 0, run.stdout)
        self.assertIsNone(run_tutorial.missing_line(found, run.stdout), run.stdout)


if __name__ == "__main__":
    unittest.main()
