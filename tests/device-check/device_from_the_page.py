# SPDX-License-Identifier: Apache-2.0
"""A device with one main MCU, written from docs/reference/mcu-protocol.md alone.

It listens on a TCP port, which it prints. SIGUSR1 switches its power off and on."""

import signal
import socket
import time
from collections.abc import Callable

RESTART, HALF_FRAME, MODEL = 1, 0.5, b"Page-1"


class Mcu:
    record = b"\1A" + bytes([8, 0]) + bytes(10) + bytes([1, 6]) + MODEL
    version, new_version, no_version = bytes([1, 0, 0]), bytes([1, 1, 0]), bytes(3)
    virtual_version = bytes(1)
    next, last = -1, b""
    down_until = 0.0


def restart(*_) -> int:
    Mcu.next, Mcu.last, Mcu.down_until = -1, b"", time.monotonic() + RESTART
    return 0


def enter(_) -> int:
    Mcu.next, Mcu.last = 0, b""
    return 0


def block(data) -> int:
    number, is_last = int.from_bytes(data[2:4], "little"), data[4] == 0x40
    if Mcu.last == data:
        return 0
    if len(data) != 261 or number != Mcu.next:
        return 3
    Mcu.next, Mcu.last, Mcu.version = (number + 1) % 65536, data, Mcu.no_version
    if is_last:
        Mcu.version = Mcu.new_version
        restart()
    return 0


def set_virtual_version(data) -> int:
    Mcu.virtual_version = data
    return 0


def write_record(data) -> bytes:
    Mcu.record = data[2:]
    return data[:2] + b"\0"


CHIP: dict[int, Callable] = {0x7900: enter, 0x7901: block, 0x7903: write_record}
CHIP[0xF900] = lambda data: data + bytes([1, 0, 1, Mcu.version == Mcu.no_version, 1])
CHIP |= {0xF901: lambda data: data + Mcu.record, 0xF902: lambda data: data + Mcu.version}
OTHER: dict[int, Callable] = {0x7902: restart, 0x7905: set_virtual_version}
OTHER |= {0xF802: lambda _: b"id", 0xF903: lambda _: MODEL, 0xF905: lambda _: Mcu.virtual_version}


def answer(frame):
    word, data = int.from_bytes(frame[7:9], "little"), frame[9:-1]
    if time.monotonic() < Mcu.down_until or (word in CHIP and data[:2] != b"\0\0"):
        return b""
    if word not in CHIP and word not in OTHER:
        return b""
    result = 1 if sum(frame) % 256 else (CHIP | OTHER)[word](data)
    if isinstance(result, int):
        word, result = 0xFFFF, frame[7:9] + bytes([result])
    head = b"\x5b\x5b\xa5" + (len(result) + 5).to_bytes(2, "little") + b"\0\0"
    frame = head + word.to_bytes(2, "little") + result
    return frame + bytes([-sum(frame) % 256])


def serve(line):
    received, last = b"", 0.0
    while piece := line.recv(4096):
        received = piece if time.monotonic() - last > HALF_FRAME else received + piece
        last = time.monotonic()
        while (start := received.find(b"\x5a\x5b\xa5")) >= 0 and len(received) >= start + 5:
            received = received[start:]
            size = 5 + int.from_bytes(received[3:5], "little")
            if len(received) < size:
                break
            line.sendall(answer(received[:size]))
            received = received[size:]


signal.signal(signal.SIGUSR1, restart)
with socket.create_server(("127.0.0.1", 0)) as server:
    print(server.getsockname()[1], flush=True)
    serve(server.accept()[0])
