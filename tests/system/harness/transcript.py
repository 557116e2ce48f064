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


def _reachable(lines, expected):
    """The places in `expected` that all of `lines` can lead to."""
    def skipping(place):
        yield place
        while place < len(expected) and isinstance(expected[place], Maybe):
            place += 1
            yield place

    places = set(skipping(0))
    for line in lines:
        following = set()
        for place in places:
            if place == len(expected):
                continue
            wanted = expected[place]
            if line == (wanted.line if isinstance(wanted, Maybe) else wanted):
                following.update(skipping(place + 1))
        places = following
    return places


def compare(lines, expected):
    """Returns "equal", "prefix" (more must come) or "differs"."""
    places = _reachable(lines, expected)
    if len(expected) in places:
        return "equal"
    return "prefix" if places else "differs"


def side_by_side(lines, expected, width=70):
    """Both transcripts, one line each, with a mark where they part."""
    good = 0
    while good < len(lines) and compare(lines[:good + 1], expected) != "differs":
        good += 1
    shown = [f"{'received':{width}}   expected"]
    wanted = [line.line + "  (maybe)" if isinstance(line, Maybe) else line for line in expected]
    for number, (left, right) in enumerate(itertools.zip_longest(lines, wanted)):
        mark = "->" if number == good else "  "
        left = "(nothing)" if left is None else repr(left)[1:-1]
        right = "(nothing)" if right is None else repr(right)[1:-1]
        shown.append(f"{mark} {left[:width]:{width}} | {right}")
    if good == len(lines) == len(wanted):
        shown.append("(equal)")
    return "\n".join(shown)
