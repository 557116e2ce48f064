# SPDX-License-Identifier: Apache-2.0
"""scripts/check mutations reports what no test detects, and restores each file."""

import os
import tempfile
import unittest

from scripts.lib import mutations_run
from tests.harness import files

SOURCE = "int limit = 3;\nint least = 1;\n"


class FakeCopy:
    """A copy whose build and tests depend on the text of its one file."""

    def __init__(self, folder):
        self.source = folder

    def text(self):
        return mutations_run.text_of(self.source, "Limit.cpp")

    def programs(self, _regex):
        return ["limit_tests"]

    def build(self, _name, _programs):
        return ";;" not in self.text()

    def failed_tests(self, _name, _regex, _seconds):
        return None if "limit = 3" in self.text() else "limit_highest"


class TestMutations(unittest.TestCase):
    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.copy = FakeCopy(folder)
        files.write(os.path.join(folder, "Limit.cpp"), SOURCE)

    def mutation(self, old, new):
        return mutations_run.Mutation(old, "Limit.cpp", "", "^limit_", old, new)

    def test_results(self):
        for old, new, result in (
            ("limit = 3", "limit = 4", (True, "limit_highest")),
            ("least = 1", "least = 0", (False, "NOT DETECTED")),
            ("= 3;", "= 3;;", (False, "does not compile")),
        ):
            mutation = self.mutation(old, new)
            self.assertEqual(mutations_run.try_mutation(self.copy, mutation), result)
            self.assertEqual(self.copy.text(), SOURCE)

    def test_texts(self):
        changes = {
            "limit = 3": "limit = 4",
            "limit = 5": "it is not there",
            "int": "it is there twice",
            "least = 1": "least = 1",
        }
        mutations = [self.mutation(old, new) for old, new in changes.items()]
        self.assertEqual(
            mutations_run.misfits(mutations, self.copy.source), ["limit = 5", "int", "least = 1"]
        )


if __name__ == "__main__":
    unittest.main()
