# SPDX-License-Identifier: Apache-2.0
"""The pre-commit hook checks what is staged, in a clone of its own."""

import os
import shutil
import subprocess
import tempfile
import unittest

from tests import ROOT

GOOD = "// SPDX-License-Identifier: Apache-2.0\nint answer()\n{\n    return 42;\n}\n"
BAD = GOOD.replace("    return", "  return")
NAME = "src/protocol/Answer.cpp"
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
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.clone = folder.name
        self.environment = {
            name: value for name, value in os.environ.items() if not name.startswith("GIT_")
        } | SETTINGS
        shutil.copytree(
            os.path.join(ROOT, "scripts"),
            os.path.join(self.clone, "scripts"),
            ignore=shutil.ignore_patterns("__pycache__"),
        )
        for name in (
            ".clang-format",
            ".codespell-ignore",
            ".flake8",
            "pyproject.toml",
            "ARCHITECTURE.md",
        ):
            shutil.copy(os.path.join(ROOT, name), self.clone)
        self.git("init", "-q")
        self.git("add", ".")
        self.git("commit", "-q", "-m", "tests: begin")

    def run_in_clone(self, *command):
        return subprocess.run(
            command,
            cwd=self.clone,
            env=self.environment,
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            check=False,
        )

    def git(self, *arguments):
        done = self.run_in_clone("git", *arguments)
        self.assertEqual(done.returncode, 0, done.stdout)

    def write(self, text, name=NAME):
        path = os.path.join(self.clone, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def install(self, *arguments):
        return self.run_in_clone("scripts/hooks", *arguments)

    def commit(self):
        return self.run_in_clone("git", "commit", "-q", "-m", "tests: change a file")

    def test_staged_content_counts(self):
        self.assertEqual(self.install().returncode, 0)
        self.write(BAD)
        self.git("add", NAME)
        self.write(GOOD)
        done = self.commit()
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("src/protocol/Answer.cpp:", done.stdout)
        self.git("add", NAME)
        self.write(BAD)
        done = self.commit()
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_texts(self):
        self.assertEqual(self.install().returncode, 0)
        self.write("A page for ever.\n", "SECURITY.md")
        self.git("add", "SECURITY.md")
        done = self.commit()
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("SECURITY.md:1:", done.stdout)

    def test_python(self):
        self.assertEqual(self.install().returncode, 0)
        self.write("NAME = 'a'\n", "scripts/lib/answer.py")
        self.git("add", "scripts/lib/answer.py")
        done = self.commit()
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn('+NAME = "a"', done.stdout)

    def test_remove(self):
        self.assertEqual(self.install().returncode, 0)
        self.assertEqual(self.install("--remove").returncode, 0)
        self.write(BAD)
        self.git("add", NAME)
        self.assertEqual(self.commit().returncode, 0)

    def test_another_hook_is_kept(self):
        name = ".git/hooks/pre-commit"
        self.write("#!/bin/sh\nexit 0\n", name)
        for arguments in ((), ("--remove",)):
            self.assertEqual(self.install(*arguments).returncode, 1)
        with open(os.path.join(self.clone, name), encoding="utf-8") as file:
            self.assertEqual(file.read(), "#!/bin/sh\nexit 0\n")

    def test_usage(self):
        self.assertEqual(self.install("now").returncode, 2)


if __name__ == "__main__":
    unittest.main()
