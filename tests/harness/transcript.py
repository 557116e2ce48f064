# SPDX-License-Identifier: Apache-2.0
"""Whole transcripts: matching them, and showing two of them side by side."""

import dataclasses
import itertools


@dataclasses.dataclass(frozen=True)
class Maybe:
    """A line that may be there or not."""

    line: str


def lines_of(raw):
    """The complete lines of a byte stream; what follows the last line end is left out."""
    return raw.decode("latin-1").split("\r\n")[:-1]


class Matcher:
    """Follows a transcript line by line through what is expected."""

    def __init__(self, expected):
        self._expected = expected
        self._places = set(self._positions(0))

    def _positions(self, place):
        """A position, and those reached from it by skipping optional lines."""
        yield place
        while place < len(self._expected) and isinstance(self._expected[place], Maybe):
            place += 1
            yield place

    def feed(self, lines):
        """Takes further lines; returns "equal", "prefix" (more must come) or "differs"."""
        for line in lines:
            following = set()
            for place in self._places:
                if place == len(self._expected):
                    continue
                wanted = self._expected[place]
                if line == (wanted.line if isinstance(wanted, Maybe) else wanted):
                    following.update(self._positions(place + 1))
            self._places = following
        if len(self._expected) in self._places:
            return "equal"
        return "prefix" if self._places else "differs"


def compare(lines, expected):
    """Compares at once what a Matcher compares bit by bit."""
    return Matcher(expected).feed(lines)


def side_by_side(lines, expected, width=70):
    """Both transcripts, one line each, with a mark where they part."""
    good = 0
    matcher = Matcher(expected)
    while good < len(lines) and matcher.feed(lines[good : good + 1]) != "differs":
        good += 1
    start = max(0, good - 60)
    shown = [f"   {'received':{width}} | expected (from line {start + 1} on)"]
    wanted = [line.line + "  (maybe)" if isinstance(line, Maybe) else line for line in expected]
    pairs = itertools.zip_longest(lines[start : good + 60], wanted[start : good + 60])
    for number, (left, right) in enumerate(pairs, start):
        mark = "->" if number == good else "  "
        left = "(nothing)" if left is None else repr(left)[1:-1]
        right = "(nothing)" if right is None else repr(right)[1:-1]
        shown.append(f"{mark} {left[:width]:{width}} | {right}")
    if good == len(lines) == len(wanted):
        shown.append("(equal)")
    return "\n".join(shown)
