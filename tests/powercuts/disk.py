# SPDX-License-Identifier: Apache-2.0
"""The disk at the moment of a cut: partitions as files that get the entries of a log."""

import contextlib
import dataclasses
import os

from tests.powercuts import cuts


@dataclasses.dataclass(frozen=True)
class Partition:
    """A part of the disk, in bytes, and the file that has its content."""

    name: str
    start: int
    size: int
    path: str


class Partitions:
    """The partitions of one disk; what is written outside of them is not kept."""

    def __init__(self, partitions):
        self.partitions = partitions
        self._files = [os.open(partition.path, os.O_RDWR) for partition in partitions]

    def close(self):
        for file in self._files:
            os.close(file)

    def write(self, offset, data):
        """Writes bytes of the disk. Returns the (file, offset, bytes) that they replace."""
        replaced = []
        for partition, file in zip(self.partitions, self._files):
            first = max(offset, partition.start)
            last = min(offset + len(data), partition.start + partition.size)
            if first >= last:
                continue
            place = first - partition.start
            replaced.append((file, place, os.pread(file, last - first, place)))
            os.pwrite(file, data[first - offset : last - offset], place)
        return replaced


class Replay:
    """Applies a log to the disk as it was before it, from its beginning to its end."""

    def __init__(self, file, entries, disk):
        self._file = file
        self._entries = entries
        self._disk = disk
        self._applied = 0

    def advance(self, whole):
        """Applies the entries up to this number."""
        if whole < self._applied:
            raise ValueError(f"entry {whole} is before entry {self._applied}")
        for number in range(self._applied, whole):
            self._apply(number)
        self._applied = whole

    @contextlib.contextmanager
    def state(self, cut):
        """Makes the disk what it is after the cut, and undoes this at the end. The cuts of one
        replay come in the order of their `whole`."""
        window = cuts.unflushed(self._entries, cut.whole)
        self.advance(window[0] if window else cut.whole)
        replaced = []
        try:
            for number in range(self._applied, cut.whole):
                if number not in cut.lost:
                    replaced += self._apply(number)
            if cut.torn:
                replaced += self._apply(cut.whole, cut.torn)
            yield
        finally:
            for file, place, data in reversed(replaced):
                os.pwrite(file, data, place)

    def _apply(self, number, size=None):
        entry = self._entries[number]
        if not entry.is_write:
            return []
        self._file.seek(entry.data_at)
        return self._disk.write(entry.offset, self._file.read(size or entry.size))
