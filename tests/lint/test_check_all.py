# SPDX-License-Identifier: Apache-2.0
"""scripts/check-all runs every step, goes on after a failure, and tells the truth at the end."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))


class TestCheckAll(unittest.TestCase):
    """The script alone in a folder where every other script only says how it was called."""

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        library = os.path.join(self.folder, "scripts", "lib")
        os.makedirs(library)
        with open(os.path.join(library, "packages.sh"), "w", encoding="ascii") as file:
            file.write("install_packages() { :; }\nLINT_PACKAGES=\n")
        script = os.path.join(ROOT, "scripts", "check-all")
        shutil.copy(script, os.path.join(self.folder, "scripts"))
        with open(script, encoding="utf-8") as file:
            self.steps = dict(re.findall(r'^ +"([a-z-]+): +(scripts/.*)"$', file.read(), re.M))

    def run_all(self, *arguments, failing=()):
        """Runs it; the commands in `failing` fail. Returns status, output and table."""
        for command in self.steps.values():
            name = command.split()[0]
            bad = " | ".join(f"*'{one}'*" for one in failing) or "''"
            path = os.path.join(self.folder, name)
            with open(path, "w", encoding="ascii") as file:
                file.write(f'#!/bin/sh\necho "ran {name} $*"\ncase "{name} $*" in {bad}) exit 3 ;; '
                           "esac\n")
            os.chmod(path, 0o755)
        done = subprocess.run([os.path.join(self.folder, "scripts", "check-all"), *arguments],
                              capture_output=True, text=True, check=False)
        table = dict(re.findall(r"^([a-z-]+) +(passed|FAILED) +\d+ s$", done.stdout, re.M))
        return done.returncode, done.stdout, table

    def test_the_real_commands_exist(self):
        self.assertGreater(len(self.steps), 5)
        for command in self.steps.values():
            self.assertTrue(os.access(os.path.join(ROOT, command.split()[0]), os.X_OK), command)

    def test_everything_passes(self):
        status, _, table = self.run_all()
        self.assertEqual((status, table), (0, dict.fromkeys(self.steps, "passed")))

    def test_goes_on_after_a_failure(self):
        status, output, table = self.run_all(failing=("analyze clazy",))
        self.assertEqual(status, 1)
        self.assertEqual(table, {name: "FAILED" if name == "clazy" else "passed"
                                 for name in self.steps})
        self.assertIn("ran scripts/analyze clazy", output)
        self.assertNotIn("ran scripts/lint", output)

    def test_some_steps(self):
        status, _, table = self.run_all("tsan", "lint")
        self.assertEqual((status, table), (0, {"lint": "passed", "tsan": "passed"}))
        with open(os.path.join(self.folder, "build/check-all/tsan.log"), encoding="ascii") as file:
            self.assertEqual(file.read(), "ran scripts/test --preset tsan\n")

    def test_unknown_step(self):
        status, _, table = self.run_all("nothing")
        self.assertEqual((status, table), (2, {}))


if __name__ == "__main__":
    unittest.main()
