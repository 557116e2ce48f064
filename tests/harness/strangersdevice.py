# SPDX-License-Identifier: Apache-2.0
"""A device written from docs/reference/mcu-protocol.md alone: none of the
product's code, none of the harness' frames, and no more than the page asks for."""

import dataclasses
import os
import threading
import time

RESTART_SECONDS = 1


@dataclasses.dataclass
class Chip:
    """What one chip reports, and the blocks that it received."""

    mcu_type: int
    version: tuple
    speciality: str = "A"
    bootcode: bool = False
    blocks: list | None = None
    complete: bool = False


class StrangersDevice:
    """Answers on a terminal's master until it is closed. `chips`: {(type, index): Chip}."""

    def __init__(self, master, model, chips):
        self.model = model
        self.chips = chips
        self.virtual_version = 0
        self.broken = []
        self._master = master
        self._silent_until = 0.0
        self._closed = False
        self._commands = {
            0x7900: self._enter,
            0x7901: self._block,
            0x7902: self._reboot,
            0x7905: self._set_virtual_version,
            0xF802: lambda data: b"id",
            0xF900: self._bootcode,
            0xF901: self._record,
            0xF902: self._version,
            0xF903: lambda data: self.model.encode(),
        }
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def close(self):
        self._closed = True
        self._thread.join(5)

    def _serve(self):
        received = b""
        while not self._closed:
            try:
                received += os.read(self._master, 4096)
            except OSError:  # no program has the port open
                time.sleep(0.02)
                continue
            while len(received) >= 5:
                size = 5 + received[3] + 256 * received[4]
                if len(received) < size:
                    break
                self._take(received[:size])
                received = received[size:]

    def _take(self, frame):
        word = frame[7] + 256 * frame[8]
        if (
            frame[:3] != b"\x5a\x5b\xa5"
            or sum(frame) % 256
            or frame[5]
            or frame[6]
            or word not in self._commands
        ):
            self.broken.append(frame.hex())
            return
        if time.monotonic() < self._silent_until:
            return
        answer = self._commands[word](frame[9:-1])
        if answer is not None:
            extended = isinstance(answer, int)
            data = frame[7:9] + bytes([answer]) if extended else answer
            self._send(b"\xff\xff" if extended else frame[7:9], data)

    def _send(self, word, data):
        length = len(data) + 5
        frame = bytes([0x5B, 0x5B, 0xA5, length % 256, length // 256, 0, 0]) + word + data
        os.write(self._master, frame + bytes([-sum(frame) % 256]))

    def _chip(self, data):
        return self.chips[data[0], data[1]]

    def _bootcode(self, data):
        chip = self._chip(data)
        return data + bytes([1, 0, chip.mcu_type, chip.bootcode, 1])

    def _record(self, data):
        speciality = self._chip(data).speciality.encode()
        rest = b""
        if data == b"\0\0":
            rest = bytes([1, len(self.model)]) + self.model.encode()
        return data + b"\1" + speciality + bytes([len(rest), 0]) + bytes(10) + rest

    def _version(self, data):
        return data + bytes(self._chip(data).version)

    def _enter(self, data):
        self._chip(data).blocks = []
        return 0

    def _block(self, data):
        chip = self._chip(data)
        if chip.blocks is None:
            return 3
        number, last, content = data[2] + 256 * data[3], data[4] == 0x40, data[5:]
        if number == len(chip.blocks) - 1:
            return 0
        if number != len(chip.blocks):
            return 3
        chip.blocks.append(content)
        if last:
            chip.complete, chip.bootcode = True, False
            if data[:2] == b"\0\0":
                self._silent_until = time.monotonic() + RESTART_SECONDS
        return 0

    def _reboot(self, _):
        self._silent_until = time.monotonic() + RESTART_SECONDS
        return 0

    def _set_virtual_version(self, data):
        self.virtual_version = data[0]
        return 0
