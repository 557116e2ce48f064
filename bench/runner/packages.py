# SPDX-License-Identifier: Apache-2.0
"""Packages with images of any size, which are never in memory as a whole."""

import os
import random
import struct
import time
import zlib

from tests.harness import package

BLOCK = 256
PIECE = 1 << 20


# The chip of the example device that most images here are for.
AUX = package.Image("AUX", b"", chip_type=1, mcu_type=2)


def pieces(size, has_content):
    """Random bytes, or zeros for a hole in the file."""
    generator = random.Random(1)
    for start in range(0, size, PIECE):
        length = min(PIECE, size - start)
        yield generator.randbytes(length) if has_content else bytes(length)


def write_record(file, image, size, has_content, checksum):
    """Writes one record and returns the checksum after it. Without content the file gets a hole."""
    head = image.record()[:-4] + struct.pack("<I", size)
    file.write(head)
    checksum = zlib.crc32(head, checksum)
    for piece in pieces(size, has_content):
        if has_content:
            file.write(piece)
        else:
            file.seek(len(piece), 1)
        checksum = zlib.crc32(piece, checksum)
    file.truncate()
    return checksum


def write_package(path, *images, has_content=True):
    """Writes a package of (image, size) pairs."""
    text = package.description([image for image, _ in images])
    head = package.body(text, [])
    with open(path, "wb") as file:
        file.write(bytes(8) + head)
        checksum = zlib.crc32(head)
        for image, size in images:
            checksum = write_record(file, image, size, has_content, checksum)
        file.seek(0)
        file.write(format(checksum, "x").encode().ljust(8, b"\0"))


def read_at_each_list(path):
    """Makes the agent check the package for each list request: it does not trust the times of a
    file when they are in the future."""
    tomorrow = time.time() + 24 * 3600
    os.utime(path, (tomorrow, tomorrow))
