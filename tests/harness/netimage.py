# SPDX-License-Identifier: Apache-2.0
"""Images for the network module: real archives, made and measured by the system's own tools."""

import os
import subprocess
import tempfile

from . import frames
from .package import Image, image_bytes

ARCHIVE = "/data/sysupdate.tar.bz2"
VERSION_FILE = "/data/version"
MARKER = "/data/sysupdate.marker"
CHIP_TYPE = 32
HEAD_SIZE = 62
BLOCK = 256

FILES = {
    "etc/agent.conf": b"level=2\n",
    "usr/bin/agent": image_bytes(5000, "agent"),
    "usr/share/agent/notes": b"new\n",
}


def archive(files):
    """What `tar -cjf` makes of {name: bytes}: the same bytes every time, by the order of names."""
    with tempfile.TemporaryDirectory() as folder:
        for name, content in files.items():
            path = os.path.join(folder, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(content)
        return subprocess.run(
            [
                "tar",
                "--sort=name",
                "--mtime=@0",
                "--owner=0",
                "--group=0",
                "--numeric-owner",
                "-C",
                folder,
                "-cjf",
                "-",
                ".",
            ],
            stdout=subprocess.PIPE,
            check=True,
        ).stdout


def md5(content):
    """The digest as `md5sum` prints it."""
    printed = subprocess.run(["md5sum"], input=content, stdout=subprocess.PIPE, check=True).stdout
    return printed.split()[0].decode()


def with_head(content, version="1.23", digest=None):
    """The archive after its head, which has a version and a digest."""
    digest = md5(content) if digest is None else digest
    return (version.encode() + b"\0" + digest.encode()).ljust(HEAD_SIZE, b"\0") + content


def image(files=None, version="1.23"):
    """A good image; blocks() could not carry an archive that ends with FF."""
    content = archive(FILES if files is None else files)
    assert content[-1] != 0xFF
    return with_head(content, version)


def in_package(content, name="NET"):
    """The image with its place in a package."""
    return Image(
        name,
        content,
        chip_type=CHIP_TYPE,
        mcu_type=0,
        pcb_version=0,
        speciality="",
        version=(1, 23, 0),
    )


def enter(start=frames.HOST, chip_type=CHIP_TYPE, chip_index=0):
    return frames.frame(start, frames.ENTER, bytes([chip_type, chip_index]))


def block(number, data, last=False, start=frames.HOST):
    """One write-block frame for the module, with as many data bytes as are given."""
    head = bytes([CHIP_TYPE, 0]) + number.to_bytes(2, "little") + bytes([0x40 if last else 0])
    return frames.frame(start, frames.BLOCK, head + data)


def blocks(content):
    """All frames of an image: the last one is flagged and padded with FF."""
    pieces = [content[place : place + BLOCK] for place in range(0, len(content), BLOCK)]
    return [
        block(number, piece.ljust(BLOCK, b"\xff"), number == len(pieces) - 1)
        for number, piece in enumerate(pieces)
    ]
