# SPDX-License-Identifier: Apache-2.0
"""The pre-commit hook checks what is staged, in a clone of its own."""

import os
import shutil
import tempfile
import unittest

from tests import ROOT
from tests.harness import files
from tests.harness.command import run

GOOD = "// SPDX-License-Identifier: Apache-2.0\nint answer()\n{\n    return 42;\n}\n"
BAD = GOOD.replace("    return", "  return")
NAME = "src/protocol/Answer.cpp"
NEEDED = (".clang-format", ".codespell-ignore", ".flake8", "pyproject.toml", "ARCHITECTURE.md")
SETTINGS = {
    "GIT_AUTHOR_NAME": "A",
    "GIT_AUTHOR_EMAIL": "a@example.org",
    "GIT_COMMITTER_NAME": "A",
    "GIT_COMMITTER_EMAIL": "a@example.org",
    "GIT_CONFIG_GLOBAL": os.devnull,
}


@unittest.skipUnless(shutil.which("git"), "git is not installed")
class TestHooks(unittest.TestCase):
    def setUp(self):
        self.clone = self.enterContext(tempfile.TemporaryDirectory())
        self.environment = {
            name: value for name, value in os.environ.items() if not name.startswith("GIT_")
        } | SETTINGS
        shutil.copytree(
            os.path.join(ROOT, "scripts"),
            os.path.join(self.clone, "scripts"),
            ignore=shutil.ignore_patterns("__pycache__"),
        )
        for name in NEEDED:
            shutil.copy(os.path.join(ROOT, name), self.clone)
        self.git("init", "-q")
        self.git("add", ".")
        self.git("commit", "-q", "-m", "tests: begin")

    def run_in_clone(self, *words):
        return run(*words, cwd=self.clone, env=self.environment)

    def git(self, *arguments):
        done = self.run_in_clone("git", *arguments)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def write(self, text, name=NAME):
        files.write(os.path.join(self.clone, name), text)

    def stage(self, text, name=NAME):
        self.write(text, name)
        self.git("add", name)

    def install(self, *arguments):
        return self.run_in_clone("scripts/hooks", *arguments)

    def assert_commit(self, status, text=""):
        """A commit of what is staged: its exit status, and a text of its output."""
        done = self.run_in_clone("git", "commit", "-q", "-m", "tests: change a file")
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        self.assertIn(text, done.stdout + done.stderr)

    def test_staged_content_counts(self):
        self.assertEqual(self.install().returncode, 0)
        self.stage(BAD)
        self.write(GOOD)
        self.assert_commit(1, f"{NAME}:")
        self.git("add", NAME)
        self.write(BAD)
        self.assert_commit(0)

    def test_kinds_of_files(self):
        self.assertEqual(self.install().returncode, 0)
        self.stage("A page for ever.\n", "SECURITY.md")
        self.assert_commit(1, "SECURITY.md:1:")
        self.stage("A page.\n", "SECURITY.md")
        self.stage("NAME = 'a'\n", "scripts/lib/answer.py")
        self.assert_commit(1, '+NAME = "a"')

    def test_remove(self):
        self.assertEqual(self.install().returncode, 0)
        self.assertEqual(self.install("--remove").returncode, 0)
        self.stage(BAD)
        self.assert_commit(0)

    def test_another_hook_is_kept(self):
        name = ".git/hooks/pre-commit"
        self.write("#!/bin/sh\nexit 0\n", name)
        for arguments in ((), ("--remove",)):
            self.assertEqual(self.install(*arguments).returncode, 1)
        self.assertEqual(files.text(self.clone, name), "#!/bin/sh\nexit 0\n")

    def test_usage(self):
        self.assertEqual(self.install("now").returncode, 2)


if __name__ == "__main__":
    unittest.main()
