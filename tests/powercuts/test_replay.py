# SPDX-License-Identifier: Apache-2.0
"""The replay of a log of block writes, from bytes."""

import base64
import gzip
import io
import os
import tempfile
import unittest

from tests.harness import files
from tests.powercuts import blocklog, cuts, disk
from tests.powercuts.blocklog import DISCARD, FLUSH, FUA, MARK, Entry

SECTOR = 512
A, B, C = b"a" * SECTOR, b"b" * SECTOR, b"c" * SECTOR
PAGE = cuts.PIECE

# Recorded by qemu-io with the driver blklogwrites: one sector of 11 written at 512, flush, one
# sector of 33 at 1024 with FUA, a discard of 512 bytes at 4096, two sectors of 44 at 2048, flush.
RECORDED = gzip.decompress(
    base64.b64decode(
        """
H4sIAAAAAAACA+3XMQqAMBBE0U0IaOtZvELOEiSlKby+hVaBnOD/18wBhlnY+xpPGz1SfLY/I4cA
    0pRiOYS2ugdiyPaOdgptn/ZfnARK8d1Dq5Kw/P9k/1wv/porNAAYAAA=
    """
    )
)


def sectors(content):
    return content.ljust(-len(content) % SECTOR + len(content), b"\0")


def log_bytes(*operations, count=None):
    """A log of (sector number, bytes or number of sectors, flags)."""
    count = len(operations) if count is None else count
    log = sectors(blocklog.SUPER.pack(blocklog.MAGIC, blocklog.VERSION, count, SECTOR))
    for sector, data, flags in operations:
        size = data if isinstance(data, int) else len(data) // SECTOR
        log += sectors(blocklog.HEADER.pack(sector, size, flags, 0))
        log += b"" if isinstance(data, int) else data
    return log


def entries_of(*operations):
    return blocklog.read_log(io.BytesIO(log_bytes(*operations))).entries


class TestReader(unittest.TestCase):
    def test_every_kind_of_entry(self):
        log = blocklog.read_log(
            io.BytesIO(log_bytes((3, A + B, 0), (0, 0, FLUSH), (8, 4, DISCARD), (9, C, FUA)))
        )
        self.assertEqual(log.sector_size, SECTOR)
        self.assertEqual(
            log.entries,
            [
                Entry(1536, 1024, 0, 1024, 2048),
                Entry(0, 0, FLUSH, 2560, 2560),
                Entry(4096, 2048, DISCARD, 3072, 3072),
                Entry(4608, 512, FUA, 3584, 4096),
            ],
        )
        self.assertEqual([entry.is_write for entry in log.entries], [True, False, False, True])

    def test_the_log_of_another_program(self):
        log = blocklog.read_log(io.BytesIO(RECORDED))
        writes = [
            (entry.offset, RECORDED[entry.data_at : entry.end])
            for entry in log.entries
            if entry.is_write
        ]
        self.assertEqual(
            writes, [(512, b"\x11" * 512), (1024, b"\x33" * 512), (2048, b"\x44" * 1024)]
        )
        discards = [entry for entry in log.entries if entry.flags & DISCARD]
        self.assertEqual([(entry.offset, entry.size) for entry in discards], [(4096, 512)])
        self.assertTrue(log.entries[-1].is_flush)

    def test_a_mark_has_no_size(self):
        (entry,) = entries_of((0, 0, MARK))
        self.assertEqual((entry.size, entry.is_write), (0, False))

    def test_position_in_the_file(self):
        log = blocklog.read_log(io.BytesIO(log_bytes((0, A, 0), (1, B, 0))))
        self.assertEqual(
            [log.before(place) for place in (0, 1535, 1536, 2559, 2560)], [0, 0, 1, 1, 2]
        )

    def test_damaged_logs_are_refused(self):
        good = log_bytes((0, A, 0))
        for content, error in (
            (b"", "shorter than a super block"),
            (b"x" + good[1:], "magic number"),
            (good[:8] + b"\2" + good[9:], "version 2"),
            (good[:24] + b"\3\2\0\0" + good[28:], "sector size of 515"),
            (good[:24] + b"\0\0\0\0" + good[28:], "sector size of 0"),
            (good[:-1], "ends within entry 0 of 1"),
            (log_bytes((0, A, 0), count=2), "ends within entry 1 of 2"),
        ):
            with self.subTest(error), self.assertRaisesRegex(blocklog.LogError, error):
                blocklog.read_log(io.BytesIO(content))


class TestCuts(unittest.TestCase):
    def test_in_order_cuts(self):
        """Between writes first, and then within a write, at pages only."""
        entries = entries_of((0, A, 0), (0, 0, FLUSH), (8, b"x" * (2 * PAGE + SECTOR), 0))
        between = [cuts.Cut(0), cuts.Cut(1), cuts.Cut(3)]
        for count, expected in (
            (2, [between[0], between[2]]),
            (3, between),
            (4, [*between[:2], cuts.Cut(2, 2 * PAGE), between[2]]),
            (9, [*between[:2], cuts.Cut(2, PAGE), cuts.Cut(2, 2 * PAGE), between[2]]),
        ):
            self.assertEqual(cuts.in_order(entries, 0, 3, count), expected)

    def test_unflushed(self):
        entries = entries_of(
            (0, A, 0), (0, 0, FLUSH), (1, A, 0), (2, A, FUA), (3, A, 0), (4, A, FLUSH), (5, A, 0)
        )
        self.assertEqual(
            [cuts.unflushed(entries, whole) for whole in range(8)],
            [[], [0], [], [2], [2], [2, 4], [5], [5, 6]],
        )

    def test_spread(self):
        for count, expected in ((0, []), (1, [9]), (2, [0, 9]), (4, [0, 3, 6, 9])):
            self.assertEqual(cuts.spread(range(10), count), expected)
        self.assertEqual(cuts.spread(range(3), 5), [0, 1, 2])

    def test_reordered_cuts_lose_only_unflushed_writes(self):
        entries = entries_of(
            *[(number, A, 0) for number in range(5)], (0, 0, FLUSH), (1, A, 0), (2, A, 0)
        )
        chosen = cuts.reordered(entries, 0, 8, 20, "seed")
        self.assertEqual(chosen, cuts.reordered(entries, 0, 8, 20, "seed"))
        self.assertNotEqual(chosen, cuts.reordered(entries, 0, 8, 20, "other"))
        self.assertEqual(len(chosen), len(set(chosen)))
        self.assertGreater(len(chosen), 10)
        for cut in chosen:
            self.assertLessEqual(cut.lost, set(cuts.unflushed(entries, cut.whole)))
            self.assertTrue(cut.lost)
        self.assertEqual(cuts.reordered(entries[:1], 0, 1, 20, "seed"), [])


class TestReplay(unittest.TestCase):
    """A disk of 8 sectors: 1 to 3 are one partition, 5 to 7 another."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.partitions = [
            disk.Partition("root", SECTOR, 3 * SECTOR, self.image("root")),
            disk.Partition("data", 5 * SECTOR, 3 * SECTOR, self.image("data")),
        ]
        self.disk = disk.Partitions(self.partitions)
        self.addCleanup(self.disk.close)

    def image(self, name):
        path = os.path.join(self.folder, name)
        files.write(path, b"." * 3 * SECTOR)
        return path

    def replay(self, *operations):
        file = io.BytesIO(log_bytes(*operations))
        return disk.Replay(file, blocklog.read_log(file).entries, self.disk)

    def shown(self):
        """One letter for each sector of both partitions."""
        letters = []
        for partition in self.partitions:
            content = files.content(partition.path)
            self.assertEqual(len(content), 3 * SECTOR)
            letters.append(content[::SECTOR].decode())
        return " ".join(letters)

    def test_each_partition_gets_its_part_of_a_write(self):
        self.replay((0, A + B + C + A + B + C + A + B, 0)).advance(1)
        self.assertEqual(self.shown(), "bca cab")

    def test_a_cut_is_undone(self):
        replay = self.replay((1, A, 0), (2, B, 0), (0, 0, FLUSH), (2, C, 0), (1, B + B, 0))
        expected = {
            cuts.Cut(0): "... ...",
            cuts.Cut(1): "a.. ...",
            cuts.Cut(2): "ab. ...",
            cuts.Cut(2, 0, frozenset({0})): ".b. ...",
            cuts.Cut(4): "ac. ...",
            cuts.Cut(4, SECTOR): "bc. ...",
            cuts.Cut(5): "bb. ...",
            cuts.Cut(5, 0, frozenset({3})): "bb. ...",
            cuts.Cut(5, 0, frozenset({4})): "ac. ...",
            cuts.Cut(5, 0, frozenset({3, 4})): "ab. ...",
        }
        found = {}
        for cut in expected:
            with replay.state(cut):
                found[cut] = self.shown()
        self.assertEqual(found, expected)
        replay.advance(5)
        self.assertEqual(self.shown(), "bb. ...")

    def test_a_cut_is_undone_after_a_failure(self):
        replay = self.replay((1, A, 0))
        with self.assertRaises(KeyError), replay.state(cuts.Cut(1)):
            raise KeyError
        self.assertEqual(self.shown(), "... ...")

    def test_no_way_back(self):
        replay = self.replay((1, A, 0), (0, 0, FLUSH))
        replay.advance(2)
        with self.assertRaises(ValueError):
            replay.advance(1)


if __name__ == "__main__":
    unittest.main()
