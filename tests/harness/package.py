# SPDX-License-Identifier: Apache-2.0
"""Builds firmware packages, good ones and broken ones, independently of the product's code."""

import dataclasses
import json
import struct
import zlib

MAGIC = b"MTU"


@dataclasses.dataclass
class Image:
    """One image and the chip it is for; chip_type is that of records and rows."""

    name: str
    data: bytes
    chip_type: int = 0
    quantity: int = 1
    mcu_type: int = 1
    pcb_version: int = 1
    speciality: str = "A"
    version: tuple = (1, 1, 0)

    def record(self):
        key = bytes(
            [
                self.chip_type,
                self.quantity,
                self.mcu_type,
                self.pcb_version,
                ord(self.speciality or "\0"),
                *self.version,
            ]
        )
        return key + struct.pack("<I", len(self.data)) + self.data

    def chip(self):
        """The chip object of the description; its chip_type is one greater."""
        first, second, third = (str(number) for number in self.version)
        pcb = {
            "name": self.name,
            "pcb_version": str(self.pcb_version),
            "speciality": self.speciality,
            "ver1": first,
            "ver2": second,
            "ver3": third,
        }
        mcu = {"mcu_type": str(self.mcu_type), "pcbs": [pcb]}
        return {
            "name": self.name,
            "chip_type": str(self.chip_type + 1),
            "chip_quanity": str(self.quantity),
            "mcus": [mcu],
        }


def image_bytes(size, seed=1):
    """Bytes that repeat nowhere soon and differ from image to image."""
    state = zlib.crc32(str(seed).encode())
    out = bytearray()
    while len(out) < size:
        state = zlib.crc32(out[-4:] + struct.pack("<I", state))
        out += struct.pack("<I", state)
    return bytes(out[:size])


def description(images, model="HX-8", version="1.0.5"):
    """The JSON description, compact."""
    return json.dumps(
        {"model": model, "version": version, "chips": [image.chip() for image in images]},
        separators=(",", ":"),
    )


def with_checksum(body):
    """Adds the checksum text in front: hexadecimal, lower case, no leading zeros, then NULs."""
    text = format(zlib.crc32(body), "x").encode()
    return text.ljust(8, b"\0") + body


def body(text, images, version=6):
    """Everything after the checksum text, in the current header form."""
    raw = text.encode()
    length = struct.pack("<I", len(raw)) if version == 2 else struct.pack("<H", len(raw))
    return (
        MAGIC
        + struct.pack(">H", version)
        + length
        + raw
        + b"".join(image.record() for image in images)
    )


def build(images, model="HX-8", version="1.0.5", package_version=6, text=None):
    """A whole package in the current form."""
    text = description(images, model, version) if text is None else text
    return with_checksum(body(text, images, package_version))


def build_bare(images, package_version=6, text=None):
    """The form without a checksum."""
    raw = (description(images) if text is None else text).encode()
    return (
        MAGIC
        + struct.pack(">H", package_version)
        + struct.pack("<I", len(raw))
        + raw
        + b"".join(image.record() for image in images)
    )


def expected_flash(data):
    """The raw blocks that a chip holds after an image; zeros pad an image of less than a block."""
    blocks = -(-len(data) // 256)
    return data.ljust(256 * blocks, b"\0" if len(data) < 256 else b"\xff")
