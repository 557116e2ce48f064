# SPDX-License-Identifier: Apache-2.0
"""Which operations have reached the disk when the power fails: the choice of cuts in a log.

A disk without power keeps everything before its last flush. Of the writes after it, a disk that
writes in order keeps the first ones, the last of them perhaps not to its end; a disk with a cache
keeps any of them. Sectors are never divided.
"""

import dataclasses
import itertools
import random

from tests.powercuts.blocklog import FUA

# A write that is cut within itself ends at a multiple of this, in bytes: the page size, in which
# the file system writes.
PIECE = 4096


@dataclasses.dataclass(frozen=True)
class Cut:
    """The first `whole` entries reached the disk, without those in `lost`, and then the first
    `torn` bytes of the next one."""

    whole: int
    torn: int = 0
    lost: frozenset[int] = frozenset()


def in_order(entries, start, end, count):
    """At most `count` cuts of the entries `start` to `end` on a disk that writes in order, oldest
    first: those between two writes come before those within a write."""
    writes = [number for number in range(start, end) if entries[number].is_write]
    between = [Cut(start), *(Cut(number + 1) for number in writes)]
    within = [
        Cut(number, torn) for number in writes for torn in range(PIECE, entries[number].size, PIECE)
    ]
    chosen = spread(between, count)
    chosen += spread(within, count - len(chosen))
    return sorted(chosen, key=lambda cut: (cut.whole, cut.torn))


def spread(items, count):
    """At most `count` of these, evenly distributed, with the first and the last."""
    if len(items) <= count:
        return list(items)
    if count < 2:
        return list(items[-count:]) if count else []
    return [items[index * (len(items) - 1) // (count - 1)] for index in range(count)]


def unflushed(entries, whole):
    """The numbers of the writes among the first `whole` entries that nothing has made durable. A
    flush that writes, too, comes before its own write."""
    numbers = []
    for number in range(whole - 1, -1, -1):
        if entries[number].is_write and not entries[number].flags & FUA:
            numbers.append(number)
        if entries[number].is_flush:
            break
    return numbers[::-1]


def reordered(entries, start, end, count, seed):
    """`count` cuts of a disk with a cache, oldest first: at moments with at least two unflushed
    writes, a random part of them is lost. The same seed gives the same cuts."""
    moments = [whole for whole in range(start + 1, end + 1) if len(unflushed(entries, whole)) > 1]
    choice = random.Random(seed)
    if not moments:
        return []
    cuts: set[Cut] = set()
    for whole in itertools.islice(itertools.cycle(spread(moments, count)), 4 * count):
        share = choice.random()
        lost = frozenset(n for n in unflushed(entries, whole) if choice.random() < share)
        if lost and len(cuts) < count:
            cuts.add(Cut(whole, 0, lost))
    return sorted(cuts, key=lambda cut: (cut.whole, sorted(cut.lost)))
