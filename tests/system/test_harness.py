# SPDX-License-Identifier: Apache-2.0
"""The harness itself: transcripts, packages, and a small host that upgrades a chip."""

import json
import unittest
import zlib

from tests.harness import agentcase, package, texts
from tests.harness.transcript import Maybe, compare, lines_of, side_by_side


class TestTranscript(unittest.TestCase):
    """Transcripts are compared whole."""

    def test_lines(self):
        self.assertEqual(lines_of(b"\r\nA\r\nB|\xe9\r\nrest"), ["", "A", "B|\xe9"])

    def test_compare(self):
        expected = ["a", Maybe("b"), Maybe("c"), "d", Maybe("e")]
        for lines, verdict in [
            ("", "prefix"),
            ("a", "prefix"),
            ("ab", "prefix"),
            ("ac", "prefix"),
            ("ad", "equal"),
            ("abcd", "equal"),
            ("abcde", "equal"),
            ("acb", "differs"),
            ("x", "differs"),
            ("ade", "equal"),
            ("adx", "differs"),
            ("add", "differs"),
        ]:
            self.assertEqual(compare(list(lines), expected), verdict, lines)
        self.assertEqual(compare([], []), "equal")
        self.assertEqual(compare(["x"], []), "differs")

    def test_side_by_side_marks_the_place(self):
        shown = side_by_side(["a", "x"], ["a", "b", Maybe("c")]).splitlines()
        self.assertEqual([line[:2] for line in shown[1:]], ["  ", "->", "  "], shown)
        self.assertIn("x", shown[2])
        self.assertIn("c  (maybe)", shown[3])


class TestTexts(unittest.TestCase):
    """Progress as the agent shows it."""

    def test_progress(self):
        self.assertEqual(texts.progress(2, 4, 50), ["PROGRESSVALUE||62.50"])
        self.assertEqual(texts.progress(3, 4, 100), [])
        self.assertEqual(texts.progress(0, 8, 1), ["PROGRESSVALUE||0.13"])

    def test_block_percents(self):
        shown = {
            size: [f"{percent:.2f}" for percent in texts.block_percents(size)]
            for size in (1, 100, 255, 256, 257, 512, 513, 700)
        }
        self.assertEqual(
            shown,
            {
                1: ["25500.00"],
                100: ["255.00"],
                255: ["100.00"],
                256: ["99.61"],
                257: ["99.22"],
                512: ["49.80"],
                513: ["49.71", "99.81"],
                700: ["36.43", "73.14"],
            },
        )


class TestPackage(unittest.TestCase):
    """Packages against zlib and an independent reader."""

    def test_layout(self):
        image = package.Image("AUX", b"\1\2\3", chip_type=1, quantity=2, version=(1, 2, 3))
        built = package.build([image])
        self.assertEqual(built[:8].rstrip(b"\0").decode(), format(zlib.crc32(built[8:]), "x"))
        self.assertEqual(built[8:13], b"MTU\0\6")
        size = int.from_bytes(built[13:15], "little")
        read = json.loads(built[15 : 15 + size])
        self.assertEqual(read["chips"][0]["chip_type"], "2")
        self.assertEqual(read["chips"][0]["chip_quanity"], "2")
        self.assertEqual(built[15 + size :], bytes([1, 2, 1, 1, 65, 1, 2, 3, 3, 0, 0, 0, 1, 2, 3]))

    def test_other_forms(self):
        built = package.build([], package_version=2, text="{}")
        self.assertEqual(built[8:], b"MTU\0\2\2\0\0\0{}")
        self.assertEqual(package.build_bare([], text="{}"), b"MTU\0\6\2\0\0\0{}")

    def test_image_bytes(self):
        self.assertEqual(len(package.image_bytes(1001)), 1001)
        self.assertNotEqual(package.image_bytes(64, 1), package.image_bytes(64, 2))
        self.assertEqual(package.expected_flash(b"a"), b"a" + bytes(255))
        self.assertEqual(package.expected_flash(bytes(257))[-255:], b"\xff" * 255)


if __name__ == "__main__":
    agentcase.main()
