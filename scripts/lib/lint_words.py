# SPDX-License-Identifier: Apache-2.0
"""The phrases that the project's texts avoid; lint-words.txt lists them."""

import functools
import os
import re
import string

LIST = os.path.join(os.path.dirname(os.path.realpath(__file__)), "lint-words.txt")

# Data, the licence, the list of phrases, and the tests that contain some of them.
NOT_CHECKED = re.compile(
    r"^tests/(?:.*/)?(?:data|seeds[^/]*)/"
    r"|^LICENSE$|^tests/lint/|^scripts/lib/lint-words\.txt$"
    r"|\.(?:bin|fwm|hex|png|svg)$"
)
# CMake's names of permissions, and an option whose name is common for it.
ALLOWED_TEXTS = ("WORLD_READ", "WORLD_EXECUTE", "--behind-proxy", r"\-\-behind\-proxy")

# As str.lower(), which could change the length of a text that is not ASCII.
LOWER = str.maketrans(string.ascii_uppercase, string.ascii_lowercase)
WORD_BREAK = r"[\s/*#>]+"  # blanks, a line break, and the mark of a comment


def load(path=LIST):
    """[(regular expression for lower case, what to write instead)] of a list of phrases."""
    phrases = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.strip() and not line.startswith("#"):
                phrase, _, instead = line.strip().partition(" = ")
                words = phrase.replace(" ", WORD_BREAK)
                phrases.append((re.compile(rf"\b(?:{words})\b"), instead))
    return phrases


@functools.cache
def _any_of(patterns):
    """One expression for all phrases; most texts contain none, and one search is much faster."""
    return re.compile("|".join(patterns))


def parts_of_identifiers(text):
    """The text with camelCase and under_scores written as words; lines stay lines."""
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", " ", text).replace("_", " ")


def is_checked(name):
    return not NOT_CHECKED.search(name)


def findings(name, text, phrases):
    """FILE:LINE: WHAT for each phrase to avoid in a text."""
    for allowed in ALLOWED_TEXTS:
        text = text.replace(allowed, "")
    text = parts_of_identifiers(text)
    lower = text.translate(LOWER)
    if not _any_of(tuple(phrase.pattern for phrase, _ in phrases)).search(lower):
        return
    found = [
        (
            text.count("\n", 0, match.start()) + 1,
            " ".join(text[match.start() : match.end()].split()),
            instead,
        )
        for phrase, instead in phrases
        for match in phrase.finditer(lower)
    ]
    for number, phrase, instead in sorted(found):
        yield f"{name}:{number}: '{phrase}': write {instead}"
