# SPDX-License-Identifier: Apache-2.0
"""The reader of a log of block writes, in the format of Linux's dm-log-writes.

A log is a super block, and then one header for each operation with the data that it wrote. All
numbers are little-endian, and everything begins at a multiple of the log's sector size.
"""

import dataclasses
import os
import struct

MAGIC = 0x6A736677736872
VERSION = 1
SUPER = struct.Struct("<QQQI")
HEADER = struct.Struct("<QQQQ")
SMALLEST_SECTOR = 512
LARGEST_SECTOR = 65536

FLUSH = 1
FUA = 2
DISCARD = 4
MARK = 8


class LogError(ValueError):
    """The bytes are not a log, or not a complete one."""


@dataclasses.dataclass(frozen=True)
class Entry:
    """One operation: what it did, to which bytes of the disk, and where the log has its data.

    A flush makes all operations before it durable; `flags` may combine it with a write.
    """

    offset: int
    size: int
    flags: int
    data_at: int
    end: int

    @property
    def is_flush(self):
        return bool(self.flags & FLUSH)

    @property
    def is_write(self):
        """False for a discard, too: the disk may keep the old bytes, and here it does."""
        return self.size > 0 and not self.flags & (MARK | DISCARD)


@dataclasses.dataclass(frozen=True)
class Log:
    """The entries in their order, and the size of a sector in bytes."""

    sector_size: int
    entries: list[Entry]

    def before(self, position):
        """How many entries end at this position of the log file or before it."""
        return sum(entry.end <= position for entry in self.entries)


def read_log(file):
    """The log in an open binary file. Reads the headers only. Raises LogError."""
    size = file.seek(0, os.SEEK_END)
    file.seek(0)
    head = file.read(SUPER.size)
    if len(head) < SUPER.size:
        raise LogError("shorter than a super block")
    magic, version, count, sector_size = SUPER.unpack(head)
    if magic != MAGIC:
        raise LogError(f"the magic number is {magic:#x}")
    if version != VERSION:
        raise LogError(f"version {version} is unknown")
    power_of_two = sector_size & (sector_size - 1) == 0
    if not (SMALLEST_SECTOR <= sector_size <= LARGEST_SECTOR and power_of_two):
        raise LogError(f"a sector size of {sector_size} bytes is not possible")
    entries = []
    position = sector_size
    for number in range(count):
        entry = read_entry(file, position, sector_size)
        if entry is None or entry.end > size:
            raise LogError(f"ends within entry {number} of {count}")
        entries.append(entry)
        position = entry.end
    return Log(sector_size, entries)


def read_entry(file, position, sector_size):
    """The entry whose header is at this position, or None at the file's end."""
    file.seek(position)
    head = file.read(HEADER.size)
    if len(head) < HEADER.size:
        return None
    sector, sectors, flags, _ = HEADER.unpack(head)
    data_at = position + sector_size
    size = 0 if flags & MARK else sectors * sector_size
    end = data_at if flags & DISCARD else data_at + size
    return Entry(sector * sector_size, size, flags, data_at, end)
