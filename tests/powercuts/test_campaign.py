# SPDX-License-Identifier: Apache-2.0
"""The campaign over a small recording that is made without a virtual machine."""

import tempfile
import unittest

from tests.harness import files
from tests.harness.command import output
from tests.powercuts import blocklog, booting, campaign, filesystem, recording, scenario
from tests.powercuts.cuts import Cut
from tests.powercuts.findings import Expected, FileState, Module
from tests.powercuts.test_findings import state
from tests.powercuts.test_replay import log_bytes

BLOCK = 4096
MIB = recording.MIB
OLD = Module({"a": b"old a", "b": b"old b"}, package=b"one", version=b"1.0")
NEW = Module({"a": b"new a", "b": b"new b"}, package=b"one", version=b"1.1")
EXPECTED = {"package": Expected(OLD, NEW, b"archive")}


class TestCampaign(unittest.TestCase):
    """Every block that differs between two disks is one write."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.recording = recording.Recording(self.folder)
        writes = []
        start = recording.FIRST
        for name in recording.NAMES:
            after = self.disk_of(name, NEW)
            before = self.disk_of(name, OLD)
            writes += [
                ((start + place) // recording.SECTOR, after[place : place + BLOCK], 0)
                for place in range(0, len(after), BLOCK)
                if after[place : place + BLOCK] != before[place : place + BLOCK]
            ]
            start += len(after)
        self.writes = len(writes)
        content = log_bytes(*writes, (0, 0, blocklog.FLUSH))
        files.write(self.recording.log, content)
        self.recording.keep([recording.Window("package", 0, len(content))])
        recording.join_disk([self.recording.image(n) for n in recording.NAMES], self.recording.disk)
        for number in range(self.writes):
            sector, data, _ = writes[number]
            self.change_disk(sector * recording.SECTOR, data)

    def disk_of(self, name, module):
        contents = {"FW.fwm": module.package, "version": module.version}
        if name == "root":
            top = scenario.FOLDER.strip("/")
            contents = {f"{top}/{path}": content for path, content in module.files.items()}
        filesystem.make(self.recording.image(name), contents)
        return files.content(self.recording.image(name))

    def change_disk(self, place, data):
        with open(self.recording.disk, "r+b") as file:
            file.seek(place)
            file.write(data)

    def test_first_and_last_cut(self):
        judged = campaign.Campaign(self.recording, 1000, 5).judged(EXPECTED)
        ordered = [one for one in judged if not one.cut.lost]
        self.assertEqual(len(ordered), self.writes + 1)
        self.assertEqual(ordered[0].cut, Cut(0))
        self.assertEqual(ordered[0].state, state({FileState.OLD: 2}))
        self.assertEqual(ordered[-1].state, state({FileState.NEW: 2}, version=FileState.NEW))
        self.assertEqual(len(judged) - len(ordered), 5)

    def test_a_replay_that_differs_from_the_disk(self):
        self.change_disk(recording.FIRST + 3 * MIB, b"other")
        with self.assertRaisesRegex(AssertionError, "root differs"):
            campaign.Campaign(self.recording, 2, 0).judged(EXPECTED)

    def test_partition_table(self):
        """Read by a program that is independent of this one."""
        options = ("--show", "--bytes", "--noheadings", "-o", "START,SIZE")
        listed = output("partx", *options, self.recording.disk).split()
        self.assertEqual(listed, ["2048", str(4 * MIB), "10240", str(4 * MIB)])


class TestBooting(unittest.TestCase):
    def judged(self, states, number=0, **more):
        return campaign.Judged("package", Cut(number), state(states, **more))

    def test_the_choice_has_every_kind_of_state(self):
        cases = [self.judged({FileState.OLD: 2}, number) for number in range(100)]
        cases += [self.judged({FileState.NEW: 2}, 100, version=FileState.NEW)]
        cases += [
            self.judged({FileState.EMPTY: 2}, number, marker="unpacking")
            for number in range(101, 104)
        ]
        cases += [campaign.Judged("publication", Cut(200), state({FileState.OLD: 2}))]
        chosen = [one.cut.whole for one in booting.choose(cases, 8)]
        self.assertEqual(chosen[-4:], [100, 101, 102, 103])
        self.assertEqual((len(chosen), chosen[0], chosen[3]), (8, 0, 99))
        self.assertEqual([one.cut.whole for one in booting.choose(cases, 1)], [99, 100, 103])

    def test_the_state_after_a_start(self):
        new = state({FileState.NEW: 2}, version=FileState.NEW)
        old = state({FileState.OLD: 2})
        begun = self.judged({FileState.EMPTY: 2}, archive=FileState.NEW, marker="unpacking")
        for before, after, failures in (
            (begun, new, []),
            (self.judged({FileState.OLD: 2}), old, []),
            (self.judged({FileState.NEW: 2}, version=FileState.NEW), new, []),
            (begun, old, ["the files are old instead of new", "the version file is not new"]),
            (
                begun,
                state({FileState.NEW: 2}, marker="unpacked", version=FileState.NEW),
                ["the marker is still there"],
            ),
            (
                begun,
                state({FileState.NEW: 1, FileState.EMPTY: 1}, version=FileState.NEW),
                [
                    "version file ahead of the files",
                    "neither archive nor complete files",
                    "incomplete files without a marker",
                    "the files are mixed instead of new",
                ],
            ),
        ):
            with self.subTest(after):
                self.assertEqual(booting.Booted(before, after).failures, failures)
        self.assertEqual(booting.Booted(begun, None, 9, "no boot").failures, ["no boot"])


if __name__ == "__main__":
    unittest.main()
