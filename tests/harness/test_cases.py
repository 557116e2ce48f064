# SPDX-License-Identifier: Apache-2.0
"""ctest lists the cases of Python files, and runs nothing when it cannot list all of them."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

from tests import ROOT

GOOD = """
import unittest

class Base:
    def test_inherited(self):
        pass

class TestOne(Base, unittest.TestCase):
    def test_passes(self):
        self.assertEqual(__name__, "__main__")

    def test_fails(self):
        self.fail("on purpose")

if __name__ == "__main__":
    unittest.main()
"""
OTHER = "import unittest\nclass TestOther(unittest.TestCase):\n    def test_{}(self): pass\n"
# The content of a second file, what is to start first, and what ctest reports about it.
REFUSED = [
    ("import no_such_module", "", "No module named 'no_such_module'"),
    ("def (", "", "SyntaxError: invalid syntax"),
    ("raise SystemExit(0)", "", "good has no test function."),
    ("", "", "second has no test function."),
    (None, "", "No module named 'second'"),
    (OTHER.format("passes"), "", "Two cases have the name good_passes"),
    (OTHER.format("other"), "good_gone", "There is no case good_gone, which is to start first."),
]


class TestCases(unittest.TestCase):
    """A build tree with two files of cases."""

    def ctest(self, second, first, *arguments):
        """Runs ctest; `second` is the content of the second file."""
        folder = self.enterContext(tempfile.TemporaryDirectory())
        os.symlink(os.path.join(ROOT, "tests"), os.path.join(folder, "tests"))
        settings = [("root", folder), ("python", sys.executable), ("modules", "good;second")]
        for module in ("good", "second"):
            settings += [
                (f"{module}.prefix", "good"),
                (f"{module}.command", f"{sys.executable};-B;-m;{module}"),
                (f"{module}.seconds", "60"),
                (f"{module}.limit", "60"),
                (f"{module}.first", first),
            ]
        listing = "".join(f'set({name} "{value}")\n' for name, value in settings)
        listing += f'include("{ROOT}/tests/support/PythonCases.cmake")\nadd_test(another true)\n'
        for name, content in (
            ("good.py", GOOD),
            ("second.py", second),
            ("CTestTestfile.cmake", listing),
        ):
            if content is not None:
                with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                    file.write(content)
        return subprocess.run(
            ["ctest", *arguments], cwd=folder, capture_output=True, text=True, check=False
        )

    def test_each_case_is_a_test(self):
        done = self.ctest(OTHER.format("other"), "")
        results = re.findall(r"Test +#\d+: (\w+) \.+ *(?:\*\*\*)?(\w+)", done.stdout)
        self.assertEqual(
            sorted(results),
            [
                ("another", "Passed"),
                ("good_fails", "Failed"),
                ("good_inherited", "Passed"),
                ("good_other", "Passed"),
                ("good_passes", "Passed"),
            ],
        )
        self.assertNotEqual(done.returncode, 0)

    def test_nothing_runs_without_the_whole_list(self):
        for second, first, report in REFUSED:
            with self.subTest(report):
                done = self.ctest(second, first)
                self.assertNotEqual(done.returncode, 0)
                self.assertIn(report, " ".join(done.stderr.split()))
                self.assertNotIn("Passed", done.stdout)


if __name__ == "__main__":
    unittest.main()
