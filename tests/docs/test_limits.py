# SPDX-License-Identifier: Apache-2.0
"""docs/reference/limits.md against the source: the figures are those of the code, and each test
exists."""

import os
import re
import unittest

from tests.docs import pages
from tests.harness import files

PAGE = "docs/reference/limits.md"
HEADERS = (
    "src/platform/Platform.h",
    "src/runtime/LossyWriter.h",
    "src/bytes/ChunkSums.h",
    "src/netupgrade/NetMarker.h",
    "src/package/PackageLayout.h",
)
UNITS = {"MiB": 1024 * 1024, "s": 1000}


def rows():
    """The cells of each line of a table; heads and rulers left out."""
    for line in pages.read(PAGE).splitlines():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if len(cells) >= 4 and not set(line) <= set("|-: ") and cells[-1] != "shown by":
            yield cells


def constants():
    """{name: number} of everything that is a plain product in the headers; times in ms."""
    found = {}
    for header in HEADERS:
        for name, value in re.findall(r"(\w+)(?: = |\{)([^;]*?)\}?;", pages.read(header)):
            value = re.sub(r"qint64\{(\d+)\}?", r"\1", value).replace("'", "")
            if re.fullmatch(r"[\d *]+", value):
                found[name] = eval(value)  # pylint: disable=eval-used  # digits and stars alone
    return found


def source_of(test):
    """The file of a test by its ctest name, and what of the name is left for a function."""
    parts = test.split("_")
    pattern = (
        "tests/system/test_{}.py" if parts[0] == "system" else f"tests/{parts[0]}/tst_{{}}.cpp"
    )
    for end in range(len(parts), 1, -1):
        name = pattern.format("_".join(parts[1:end]))
        if os.path.exists(os.path.join(pages.ROOT, name)):
            return name, "_".join(parts[end:])
    return None, ""


class Limits(unittest.TestCase):
    def test_figures(self):
        known = constants()
        checked = 0
        for cells in rows():
            for figure, unit, name in re.findall(r"(\d[\d,]*) (\w+)[^;`]*?\(`(\w+)`\)", cells[1]):
                number = int(figure.replace(",", "")) * UNITS.get(unit, 1)
                self.assertEqual(known.get(name), number, name)
                checked += 1
        self.assertGreater(checked, 8)

    def test_tests_are_there(self):
        for cells in rows():
            shown = cells[-1]
            tests = re.findall(
                r"`((?:system|console|engine|netupgrade)_\w+)`(?: \(`(\w+)`\))?", shown
            )
            self.assertTrue(tests or shown == "the same", cells)
            for test, function in tests:
                name, rest = source_of(test)
                self.assertIsNotNone(name, test)
                text = pages.read(name)
                # The rest is a function, a class with a separate fixture, or a row of a table.
                case = rf"\btest_{rest}\(|\bTest{rest.capitalize()}\(|^    \"{rest}\": \("
                for wanted in filter(None, (rest and case, function and rf"\b{function}\(")):
                    self.assertTrue(re.search(wanted, text, re.M), f"{test}: {wanted}")

    def test_log_words_are_there(self):
        names = [name for name in files.below(pages.ROOT, "src") if name.endswith((".h", ".cpp"))]
        sources = "".join(map(pages.read, names))
        for cells in rows():
            for words in re.findall(r"`([^`]+)`", cells[3 if len(cells) == 5 else 2]):
                self.assertIn(words.rstrip(":"), sources)


if __name__ == "__main__":
    unittest.main()
