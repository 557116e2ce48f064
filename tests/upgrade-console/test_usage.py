# SPDX-License-Identifier: Apache-2.0
"""The command line: wrong usage, help, and the completion that bash reads."""

import os
import subprocess
import tempfile
import unittest

from tests.harness.upgrade_console.program import DONE, FAILED, USAGE, ProgramTest


class TestUsage(ProgramTest):
    """What ends before any connection."""

    def test_wrong_usage(self):
        cases: tuple[list[str], ...] = (
            [],
            ["bogus"],
            ["upgrade", "--all"],
            ["upgrade", "--request-all", "MAIN,0,0"],
            ["upgrade", "--mode", "3"],
            ["ping", "--port", "0"],
            ["ping", "--port", "65536"],
            ["ping", "--timeout", "0"],
            ["ping", "--timeout", "nan"],
            ["ping", "--host", ""],
            ["net-upgrade", "1.2.3"],
            ["net-upgrade", "1.2.3.256"],
            ["edid"],
            ["send-net"],
            ["ping", "surplus"],
            ["--bogus", "ping"],
        )
        for arguments in cases:
            result = self.run_alone(*arguments)
            self.assertEqual(result.returncode, USAGE, arguments)
            self.assertEqual(result.stdout, "", arguments)
            self.assertRegex(result.stderr, r"(?s)^upgrade-console: error: .+\n.*--help", arguments)

    def test_rows_that_cannot_be_read(self):
        for row in ("MAIN,0", "MAIN,0,256", "X||UPGRADEALL,0,0", "HEART BEAT,0,0", "A\nB,0,0"):
            result = self.run_alone("upgrade", "--json", row)
            self.assertEqual((result.returncode, result.stderr), (USAGE, ""), row)
            self.assertEqual(self.document(result)["error"]["id"], "rows-refused", row)

    def test_usage_as_json(self):
        for arguments in (
            ["--json", "upgrade", "--mode", "3"],
            ["--json=1", "ping"],
            ["ping", "--json=false"],
        ):
            result = self.run_alone(*arguments)
            self.assertEqual(self.document(result)["error"]["id"], "usage", arguments)

    def test_help_and_version(self):
        for arguments, wanted in (
            (["--help"], "Exit status:"),
            (["upgrade", "--help"], "--mode"),
            (["--version"], "upgrade-console 1."),
        ):
            result = self.run_alone(*arguments)
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertIn(wanted, result.stdout)

    def test_unreadable_files(self):
        for command in ("edid", "send-net"):
            result = self.run_program(1, command, "/nonexistent")
            self.assertEqual(result.returncode, FAILED)
            self.assertIn("/nonexistent: No such file", result.stderr)


class TestCompletion(ProgramTest):
    """The script that bash reads."""

    def complete(self, *words):
        script = self.run_alone("--bash-completion").stdout
        script += f"\nCOMP_WORDS=({' '.join(repr(word) for word in words)})\n"
        script += (
            f"COMP_CWORD={len(words) - 1}\n_upgrade_console\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"\n"
        )
        result = subprocess.run(
            ["bash", "--norc", "-u", "-c", script],
            capture_output=True,
            text=True,
            timeout=60,
            check=True,
        )
        self.assertEqual(result.stderr, "")
        return result.stdout.split()

    def test_completion(self):
        self.assertEqual(self.complete("upgrade-console", "ver"), ["version"])
        self.assertEqual(self.complete("upgrade-console", "u"), ["upgrade"])
        self.assertIn("--json", self.complete("upgrade-console", "--"))
        self.assertNotIn("--mode", self.complete("upgrade-console", "--"))
        self.assertEqual(
            self.complete("upgrade-console", "--json", "upgrade", "--w"), ["--wait-back"]
        )
        self.assertEqual(self.complete("upgrade-console", "upgrade", "--mode", ""), ["2", "5"])
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "dump.bin")
            with open(path, "wb"):
                pass
            self.assertEqual(self.complete("upgrade-console", "edid", path[:-4]), [path])


if __name__ == "__main__":
    unittest.main()
