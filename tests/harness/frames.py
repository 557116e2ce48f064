# SPDX-License-Identifier: Apache-2.0
"""MCU frames, built independently of the product's own code."""

HOST, REPLY = 0x5A, 0x5B
ENTER, BLOCK, REBOOT, WRITE_INFO, SET_VIRTUAL = 0x7900, 0x7901, 0x7902, 0x7903, 0x7905
PRODUCT_ID, BOOTCODE, PRODUCT_INFO, VERSION = 0xF802, 0xF900, 0xF901, 0xF902
MODEL_NAME, VIRTUAL = 0xF903, 0xF905


def frame(start, word, data=b""):
    """A whole frame; all its bytes add up to 0 modulo 256."""
    head = bytes([start, 0x5B, 0xA5]) + (len(data) + 5).to_bytes(2, "little") + bytes(2)
    body = head + word.to_bytes(2, "little") + bytes(data)
    return body + bytes([-sum(body) & 0xFF])


def host(word, data=b""):
    return frame(HOST, word, data)


def status(word, value):
    """The extended reply: FF FF, the word, one status byte."""
    return frame(REPLY, 0xFFFF, word.to_bytes(2, "little") + bytes([value]))


def block(chip_type, chip_index, number, data, last=False):
    """One write-block command with exactly 256 bytes of data."""
    assert len(data) == 256
    head = bytes([chip_type, chip_index]) + number.to_bytes(2, "little")
    return host(BLOCK, head + bytes([0x40 if last else 0]) + data)


def split(stream):
    """Cuts a byte stream of whole frames into (word, data) pairs; asserts every checksum."""
    frames = []
    while stream:
        size = int.from_bytes(stream[3:5], "little") + 5
        one, stream = stream[:size], stream[size:]
        assert len(one) == size and sum(one) % 256 == 0, one.hex()
        frames.append((int.from_bytes(one[7:9], "little"), one[9:-1]))
    return frames
