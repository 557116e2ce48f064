# SPDX-License-Identifier: Apache-2.0
"""One sentence per line: a changed sentence is then one changed line."""

import re

from tests.docs.pages import CODE, lines_outside_fences

ITEM = re.compile(r"^\s*(?:[-*+]|\d+\.)\s+")
ENDS = re.compile(r"[.!?:;][)`\"'*_\]]*$")
TWO = re.compile(r"[\w)`\"'*\]][.!?][)`\"'*]*\s+(?=[\"'(`*\[]*[A-Z`\[])")
NO_PROSE = re.compile(r"^\s*(?:\||#|<!--|>|---|\[[^\]]+\]:|$)|^ {4,}\S")


def lines(text):
    """(number, line, follows) of each line of prose; follows: the line before it continues here."""
    before = -1
    for number, line in lines_outside_fences(text):
        is_item = bool(ITEM.match(line))
        if (
            NO_PROSE.match(line)
            and not is_item
            and not (before == number - 1 and line.startswith("  "))
        ):
            continue
        yield number, line, before == number - 1 and not is_item
        before = number


def findings(name, text):
    """Where a line has more than one sentence, or a sentence more than one line."""
    last = ""
    for number, line, follows in lines(text):
        if TWO.search(CODE.sub("`code`", ITEM.sub("", line).strip())):
            yield f"{name}:{number}: two sentences on one line"
        if follows and not ENDS.search(last.strip()):
            yield f"{name}:{number}: the sentence of the line before continues here"
        last = line
