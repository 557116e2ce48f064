# SPDX-License-Identifier: Apache-2.0
"""The module's part in the transfer of a NET image, written from the protocol alone."""

import hashlib

from tests.harness import frames
from tests.harness.upgrade_console.lines import log, logs, progress

INSTALL = [
    log("NET package checksum OK."),
    *(progress(30), log("NET package upgrade 30%.")),
    *(progress(70), log("NET package upgrade 70%.")),
    *(progress(80), log("NET package upgrade 80%.")),
    *logs("NET firmware checksum success.", "Create version file success"),
    b"NETVERSION||1.23\r\n",
    *(progress(90), log("NET package upgrade 90%.")),
    log("NET firmware ver1.23 upgrade success."),
]
REBOOT = [b"UpgradeDatas||WriteIsUgradingTrue", log("NET ready to reboot after 2 seconds.")]


def image(archive, digest=None):
    digest = digest or hashlib.md5(archive).hexdigest()
    return b"1.23\0" + digest.encode() + bytes(25) + archive


def answer(word, status=0):
    """The receiver's answers start with AB."""
    return b"UpgradeDatas||" + frames.frame(
        0xAB, 0xFFFF, word.to_bytes(2, "little") + bytes([status])
    )


class Module:
    """Takes fragments as the module does. `faults` maps the number of a fragment, counted from 0,
    to what happens instead."""

    def __init__(self, faults=None, install=None):
        self.faults = faults or {}
        self.install = INSTALL + REBOOT if install is None else install
        self.count = -1
        self.archive = None
        self.numbers = []

    def __call__(self, payload):
        self.count += 1
        if self.count in self.faults:
            return self.faults[self.count]
        ((word, data),) = frames.split(payload)
        if word == frames.ENTER:
            assert data == b"\x20\x00", data
            return [answer(word)]
        assert word == frames.BLOCK and data[:2] == b"\x20\x00", (word, data[:2])
        number, flags, content = int.from_bytes(data[2:4], "little"), data[4], data[5:]
        self.numbers.append(number)
        if number == 0:
            self.archive = content[62:]
        elif flags == 0x40:
            self.archive += content.rstrip(b"\xff")
            return self.install
        else:
            self.archive += content
        return [answer(word)]
