# SPDX-License-Identifier: Apache-2.0
"""Replays a recording up to many power cuts, and judges the disk after each."""

import dataclasses
import os
import tempfile

from tests.harness import netimage
from tests.powercuts import blocklog, cuts, filesystem, findings, scenario
from tests.powercuts.disk import Partitions, Replay

MARKER = "/data/sysupdate.marker"
PACKAGE = "/data/FW.fwm"
# In memory a cut costs a fraction of what it costs on a disk.
SHARED_MEMORY = "/dev/shm"


@dataclasses.dataclass(frozen=True)
class Judged:
    """One cut of a window and what was found after it."""

    window: str
    cut: cuts.Cut
    state: findings.State

    @property
    def broken(self):
        return findings.broken_promises(self.state)


def read_module(root, data):
    """The module on these repaired images."""
    files = filesystem.read_tree(root, scenario.FOLDER)
    other = filesystem.read_tree(data, "/")

    def content(path):
        return other.get(os.path.relpath(path, "/data"))

    return findings.Module(
        files,
        content(netimage.ARCHIVE),
        content(PACKAGE),
        content(netimage.VERSION_FILE),
        content(MARKER),
    )


def judge(partitions, expected):
    """The state after the cut that the images have now."""
    root, data = (partition.path for partition in partitions)
    with filesystem.repaired(root) as first, filesystem.repaired(data) as second:
        repairable = first.succeeded and second.succeeded
        return findings.classify(read_module(root, data), expected, repairable)


class Campaign:
    """All windows of one recording."""

    def __init__(self, recording, in_order, reordered, seed="1"):
        self.recording = recording
        self.in_order = in_order
        self.reordered = reordered
        self.seed = seed
        with open(recording.log, "rb") as file:
            self.log = blocklog.read_log(file)

    def chosen(self):
        """(name of the window, cut), oldest first: on a disk that writes in order, and on one with
        a cache."""
        entries = self.log.entries
        chosen = []
        for window in self.recording.windows():
            start, end = (self.log.before(place) for place in (window.begin, window.end))
            order = cuts.in_order(entries, start, end, self.in_order)
            seed = f"{self.seed} {window.name}"
            order += cuts.reordered(entries, start, end, self.reordered, seed)
            order.sort(key=lambda cut: (cut.whole, cut.torn, len(cut.lost)))
            chosen += [(window.name, cut) for cut in order]
        return chosen

    def replayed(self, chosen):
        """The partitions after each of these cuts, in their order; the next cut changes them.
        Raises AssertionError if the replay of the whole log differs from the disk."""
        with tempfile.TemporaryDirectory(dir=SHARED_MEMORY) as folder:
            partitions = self.recording.partitions(folder)
            disk = Partitions(partitions)
            with open(self.recording.log, "rb") as file:
                replay = Replay(file, self.log.entries, disk)
                for _, cut in chosen:
                    with replay.state(cut):
                        yield partitions
                replay.advance(len(self.log.entries))
            disk.close()
            self.assert_whole(partitions)

    def judged(self, expectations):
        """What each cut left."""
        chosen = self.chosen()
        judged = []
        for number, partitions in enumerate(self.replayed(chosen)):
            window, cut = chosen[number]
            judged.append(Judged(window, cut, judge(partitions, expectations[window])))
        return judged

    def assert_whole(self, partitions):
        """The replay of everything is the disk that QEMU wrote."""
        with open(self.recording.disk, "rb") as whole:
            for partition in partitions:
                with open(partition.path, "rb") as part:
                    whole.seek(partition.start)
                    while block := part.read(1 << 20):
                        assert whole.read(len(block)) == block, f"{partition.name} differs"
