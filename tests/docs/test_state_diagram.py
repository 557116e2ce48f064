# SPDX-License-Identifier: Apache-2.0
"""scripts/state-diagram: the page in the repository is fresh, and a stale one is noticed."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
PAGE = os.path.join("docs", "architecture-states.md")
TABLE = os.path.join("src", "engine", "SequencerTable.cpp")


def check(root):
    return subprocess.run([sys.executable, os.path.join(root, "scripts", "state-diagram"),
                           "--check"], capture_output=True, text=True, check=False)


class StateDiagram(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.copy = self.folder.name
        for part in ("scripts", "docs", os.path.join("src", "engine")):
            shutil.copytree(os.path.join(ROOT, part), os.path.join(self.copy, part))

    def change(self, name, old, new):
        path = os.path.join(self.copy, name)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        self.assertIn(old, text)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(old, new, 1))

    def test_page_is_fresh(self):
        result = check(ROOT)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_changed_table_is_noticed(self):
        self.assertEqual(check(self.copy).returncode, 0)
        self.change(TABLE, "step::rebootRetry1,            &Engine::sendReboot",
                    "step::rebootRetry2,            &Engine::sendReboot")
        self.assertEqual(check(self.copy).returncode, 1)

    def test_changed_page_is_noticed(self):
        self.change(PAGE, "5900 modelName", "5900 model")
        self.assertEqual(check(self.copy).returncode, 1)
        os.remove(os.path.join(self.copy, PAGE))
        self.assertEqual(check(self.copy).returncode, 1)

    def test_line_that_is_not_understood_is_an_error(self):
        self.change(TABLE, "&Engine::sendReboot}", "&Engine::sendReboot, 1}")
        result = check(self.copy)
        self.assertEqual(result.returncode, 1)
        self.assertIn("of them understood", result.stderr)

    def test_page_shows_the_table(self):
        with open(os.path.join(ROOT, PAGE), encoding="utf-8") as file:
            page = file.read()
        with open(os.path.join(ROOT, TABLE), encoding="utf-8") as file:
            rows = sum(1 for line in file if line.startswith("{step::"))
        table = page.split("## The table", 1)[1]
        self.assertEqual(sum(1 for line in table.splitlines() if line[:3].strip("| ").isdigit()),
                         rows)
        for arrow in ("[*] --> s5900", "s5900 --> s6000", "s8000 --> s8101", "s8101 --> s8102",
                      "s8300 --> s8316", "s8316 --> s8137", "s8137 --> [*]"):
            self.assertIn(arrow, page)


if __name__ == "__main__":
    sys.exit(unittest.main())
