# SPDX-License-Identifier: Apache-2.0
"""The list of phrases to avoid finds them, and only them."""

import unittest

from scripts.lib import lint_words

FOUND = [
    ("the byte behind it", "behind"),
    ("The agent tells the client", "tells"),
    ("Nobody reads it", "Nobody"),
    ("whoever asks", "whoever"),
    ("'%1' is no port", "is no"),
    ("so it is no\n * port", "is no"),
    ("waits for\n// ever", "for // ever"),
    ("int m_told = 0;", "told"),
    ("class NetWorld:", "World"),
    ("make room", "room"),
]
CLEAN = [
    "There is no chip 5, 0.",
    "A file that is no longer there",
    "is no more than a line",
    "it is not a valid port",
    "headroom",
    "the worldwide web",
    "beholden",
    "a bearer",
    "recommend",
]


class TestWords(unittest.TestCase):
    phrases = lint_words.load()

    def found(self, text):
        return list(lint_words.findings("x.md", text, self.phrases))

    def test_each_is_found(self):
        for text, phrase in FOUND:
            with self.subTest(text):
                findings = self.found("first line\n" + text)
                self.assertEqual(len(findings), 1, findings)
                self.assertTrue(findings[0].startswith(f"x.md:2: '{phrase}': write "), findings)

    def test_ordinary_words_are_not(self):
        for text in CLEAN:
            self.assertEqual(self.found(text), [], text)

    def test_every_phrase_has_a_replacement(self):
        self.assertGreater(len(self.phrases), 15)
        for phrase, instead in self.phrases:
            self.assertNotEqual(instead, "", phrase.pattern)

    def test_places(self):
        for name in (
            "README.md",
            "docs/use/tutorial.md",
            "docs/man/fwm.1",
            "src/main/main.cpp",
            "bench/run.py",
            "cmake/cross.cmake",
            "packaging/agent/postinst",
            "tests/package/tst_writer.cpp",
            "tools/fwm/main.cpp",
            "scripts/lib/build.sh",
            "CMakeLists.txt",
            ".clang-tidy",
        ):
            self.assertTrue(lint_words.is_checked(name), name)
        for name in ("tests/edid/data/INDEX.md", "tests/edid/seeds/empty", "LICENSE"):
            self.assertFalse(lint_words.is_checked(name), name)


if __name__ == "__main__":
    unittest.main()
