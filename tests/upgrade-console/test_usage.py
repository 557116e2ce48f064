# SPDX-License-Identifier: Apache-2.0
"""The command line: wrong usage, help, and the completion that bash reads."""

import os
import subprocess
import unittest

from tests.harness.upgrade_console.program import Exit, ProgramTest


class TestUsage(ProgramTest):
    """What ends before any connection."""

    def test_wrong_usage(self):
        for line in ("", "bogus", "ping surplus", "--bogus ping", "edid"):
            arguments = line.split()
            result = self.run_alone(*arguments)
            self.assertEqual((result.returncode, result.stdout), (Exit.USAGE, ""), arguments)
            self.assertRegex(result.stderr, r"(?s)^upgrade-console: error: .+\n.*--help", arguments)

    def test_usage_as_json(self):
        for arguments, problem in (
            (["--json", "upgrade", "--mode", "3"], "usage"),
            (["--json=1", "ping"], "usage"),
            (["ping", "--json=false"], "usage"),
            (["--json", "upgrade", "MAIN,0"], "rows-refused"),
        ):
            self.assert_failure(self.run_alone(*arguments), Exit.USAGE, problem)

    def test_help_and_version(self):
        for arguments, wanted in (
            (["--help"], "Exit status:"),
            (["upgrade", "--help"], "--mode"),
            (["--version"], "upgrade-console 1."),
        ):
            result = self.run_alone(*arguments)
            self.assertEqual((result.returncode, result.stderr), (Exit.DONE, ""))
            self.assertIn(wanted, result.stdout)

    def test_unreadable_files(self):
        for command in ("edid", "send-net"):
            result = self.run_program(1, command, "/nonexistent")
            self.assertEqual(result.returncode, Exit.FAILED)
            self.assertIn("/nonexistent: No such file", result.stderr)


class TestCompletion(ProgramTest):
    """The script that bash reads."""

    def test_completion(self):
        dump = os.environ["EDID_DUMP"]
        for words, found in (
            ("--json upgrade --w", "--wait-back"),
            ("upgrade --mode ''", "2 5"),
            (f"edid {dump[:-2]}", dump),
        ):
            script = (
                self.run_alone("--bash-completion").stdout
                + f"""
                COMP_WORDS=(upgrade-console {words}) COMP_CWORD={len(words.split())}
                _upgrade_console
                echo "${{COMPREPLY[@]}}"
            """
            )
            completed = subprocess.run(
                ["bash", "--norc", "-u", "-c", script], capture_output=True, text=True, check=True
            )
            self.assertEqual((completed.stdout, completed.stderr), (found + "\n", ""))


if __name__ == "__main__":
    unittest.main()
