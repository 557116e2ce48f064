# SPDX-License-Identifier: Apache-2.0
"""A device with one main MCU, written from docs/reference/mcu-protocol.md alone.

It listens on a TCP port, which it prints. SIGUSR1 switches its power off and on."""

import signal
import socket
import time

RESTART, HALF_FRAME = 1, 0.5
MODEL, VERSION, NEW_VERSION = b"Page-1", bytes([1, 0, 0]), bytes([1, 1, 0])
state = {"record": b"\1A" + bytes([8, 0]) + bytes(10) + bytes([1, 6]) + MODEL, "virtual": 0}
state |= {"version": VERSION, "next": None, "last": None, "down_until": 0}


def restart(_=None, __=None):
    state.update(next=None, last=None, down_until=time.monotonic() + RESTART)
    return 0


def enter(_):
    state.update(next=0, last=None)
    return 0


def block(data):
    number, is_last = int.from_bytes(data[2:4], "little"), data[4] == 0x40
    if state["last"] == data:
        return 0
    if len(data) != 261 or number != state["next"]:
        return 3
    state.update(next=(number + 1) % 65536, last=data, version=bytes(3))
    if is_last:
        state["version"] = NEW_VERSION
        restart()
    return 0


def set_virtual_version(data):
    state["virtual"] = data[0]
    return 0


def write_record(data):
    state["record"] = data[2:]
    return data[:2] + b"\0"


CHIP = {0x7900: enter, 0x7901: block, 0x7903: write_record}
CHIP[0xF900] = lambda data: data + bytes([1, 0, 1, state["version"] == bytes(3), 1])
CHIP |= {0xF901: lambda data: data + state["record"], 0xF902: lambda data: data + state["version"]}
OTHER = {0x7902: restart, 0x7905: set_virtual_version, 0xF802: lambda _: b"id"}
OTHER |= {0xF903: lambda _: MODEL, 0xF905: lambda _: bytes([state["virtual"]])}


def answer(frame):
    word, data = int.from_bytes(frame[7:9], "little"), frame[9:-1]
    if time.monotonic() < state["down_until"] or (word in CHIP and data[:2] != b"\0\0"):
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
    received, last = b"", 0
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
