# SPDX-License-Identifier: Apache-2.0
"""Reading and judging the disk after a power cut: real file systems in small files."""

import os
import tempfile
import unittest
from collections import Counter

from tests.harness import files
from tests.powercuts import filesystem
from tests.powercuts.findings import (
    Expected,
    FileState,
    Module,
    State,
    broken_promises,
    classify,
    file_state,
    state_table,
)

OLD = FileState.OLD
NEW = FileState.NEW
EMPTY = FileState.EMPTY
PARTIAL = FileState.PARTIAL
MISSING = FileState.MISSING
FILES = {"bin/one": b"1" * 3000, "two": b"", "bin/lib/three": b"3"}
EXPECTED = Expected(
    Module({"a": b"old a", "b": b"old b"}, None, b"package", b"1.0"),
    Module({"a": b"new a", "b": b"new b"}, None, b"package", b"1.1"),
    b"archive",
)


def state(states, archive=OLD, version=OLD, marker="none", package=OLD, repairable=True):
    return State(repairable, Counter(states), archive, package, version, marker)


class TestFileSystem(unittest.TestCase):
    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.image = os.path.join(folder, "image")
        contents = {f"opt/module/{name}": content for name, content in FILES.items()}
        filesystem.make(self.image, contents)

    def content(self):
        return files.content(self.image)

    def damage(self, command):
        filesystem.run("debugfs", "-w", "-R", command, self.image)

    def test_files_are_read_without_a_mount(self):
        self.assertEqual(filesystem.read_tree(self.image, "/opt/module"), FILES)
        self.assertEqual(filesystem.read_tree(self.image, "/opt/other"), {})

    def test_a_clean_file_system(self):
        before = self.content()
        with filesystem.repaired(self.image) as repair:
            self.assertEqual((repair.status, repair.succeeded), (filesystem.CLEAN, True))
        self.assertEqual(self.content(), before)

    def test_a_repair_is_undone(self):
        self.damage("clri /opt/module/bin/one")
        self.damage("ssv state 0")
        before = self.content()
        with filesystem.repaired(self.image) as repair:
            self.assertEqual((repair.status, repair.succeeded), (filesystem.REPAIRED, True))
            self.assertNotEqual(self.content(), before)
            found = filesystem.read_tree(self.image, "/opt/module")
            self.assertEqual(found.keys(), FILES.keys() - {"bin/one"})
        self.assertEqual(self.content(), before)

    def test_damage_that_needs_a_person(self):
        with open(self.image, "r+b") as file:
            file.write(bytes(4096))
        with filesystem.repaired(self.image) as repair:
            self.assertFalse(repair.succeeded)


class TestStates(unittest.TestCase):
    def test_files(self):
        contents = (b"old", b"new", b"", b"ne", None)
        found = [file_state(content, b"old", b"new") for content in contents]
        self.assertEqual(found, [OLD, NEW, EMPTY, PARTIAL, MISSING])
        self.assertEqual(file_state(None, None, b"new"), OLD)
        self.assertEqual(file_state(b"", None, b"new"), EMPTY)

    def test_a_module(self):
        found = Module({"a": b"new a", "b": b""}, b"arch", None, b"1.1", b"state unpacking\n")
        self.assertEqual(
            classify(found, EXPECTED, False),
            State(False, Counter({NEW: 1, EMPTY: 1}), PARTIAL, MISSING, NEW, "unpacking"),
        )
        self.assertEqual(classify(EXPECTED.old, EXPECTED), state({OLD: 2}))
        self.assertEqual(classify(EXPECTED.new, EXPECTED), state({NEW: 2}, version=NEW))
        unreadable = Module(EXPECTED.old.files, None, b"package", b"1.0", b"")
        self.assertEqual(classify(unreadable, EXPECTED).marker, "unreadable")

    def test_a_new_file_is_missing_before_as_old(self):
        expected = Expected(Module({}), Module({"a": b"new"}))
        self.assertEqual(classify(Module({}), expected).files, Counter({OLD: 1}))

    def test_promises(self):
        mixed = {NEW: 3, EMPTY: 1}
        for one, broken in (
            (state({OLD: 4}), []),
            (state({NEW: 4}, version=NEW), []),
            (state(mixed, NEW, marker="unpacking"), []),
            (state({OLD: 4}, repairable=False), ["file system not repairable"]),
            (state({OLD: 4}, package=PARTIAL), ["package neither old nor new"]),
            (state({NEW: 4}, version=EMPTY), ["version file neither old nor new"]),
            (state({OLD: 4}, version=NEW), ["version file ahead of the files"]),
            (state(mixed, PARTIAL, marker="unpacking"), ["neither archive nor complete files"]),
            (state(mixed, NEW), ["incomplete files without a marker"]),
            (state(mixed, NEW, marker="unreadable"), ["incomplete files without a marker"]),
        ):
            with self.subTest(one):
                self.assertEqual(broken_promises(one), broken)

    def test_table(self):
        states = [
            state({OLD: 4}),
            state({OLD: 2, EMPTY: 1, NEW: 1}, NEW, marker="unpacking"),
            state({OLD: 1, NEW: 1, MISSING: 1, PARTIAL: 1}, NEW, marker="unpacking"),
            state({NEW: 4}, EMPTY, NEW),
        ]
        self.assertEqual(
            state_table(states),
            "| archive | marker | files | of them empty | missing or partial | version | cuts |\n"
            "|---|---|---|---:|---:|---|---:|\n"
            "| none | none | old | 0 | 0 | old | 1 |\n"
            "| whole | unpacking | mixed | 0 to 1 | 0 to 2 | old | 2 |\n"
            "| empty | none | new | 0 | 0 | new | 1 |",
        )


if __name__ == "__main__":
    unittest.main()
