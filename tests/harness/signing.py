# SPDX-License-Identifier: Apache-2.0
"""Keys and signatures, made by the program minisign; the folder of the module's keys."""

import base64
import contextlib
import os
import re
import shutil
import subprocess

from . import agentcase

KEYS = "/etc/upgrade-agent/keys"
SIGNATURE = agentcase.PACKAGE + ".minisig"
LIMIT = 64 * 1024
# What a CRC-32 does not detect: its polynomial, least significant bits first.
UNSEEN = bytes.fromhex("410671db01")


def minisign(*arguments):
    """Runs the program and returns its exit status."""
    return subprocess.run(
        ["minisign", *arguments], check=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE
    ).returncode


def content(path):
    """All bytes of a file."""
    with open(path, "rb") as file:
        return file.read()


class Key:
    """A key pair in a folder."""

    def __init__(self, name, folder="/tmp"):
        self.public_file = os.path.join(folder, name + ".pub")
        self._secret = os.path.join(folder, name + ".key")
        self._signed = os.path.join(folder, name + ".signed")
        minisign("-G", "-W", "-f", "-p", self.public_file, "-s", self._secret)
        self.public = content(self.public_file)
        self.id = re.findall(r"public key (\w+)", self.public.decode())[0]

    def with_id_of(self, other):
        """The public key's file with the id of another key."""
        _, line, *_ = other.public.split(b"\n")
        front = base64.b64decode(line)[:10]
        return with_line(
            self.public, 1, lambda own: base64.b64encode(front + base64.b64decode(own)[10:])
        )

    def sign(self, data, comment="release 4", *options):
        """The signature file of these bytes."""
        with open(self._signed, "wb") as file:
            file.write(data)
        output = self._signed + ".minisig"
        minisign(
            *("-S", "-W", "-s", self._secret, "-m", self._signed, "-x", output),
            *("-t", comment, *options),
        )
        return content(output)


def remove(path):
    """Removes whatever is there."""
    with contextlib.suppress(FileNotFoundError):
        shutil.rmtree(path) if os.path.isdir(path) and not os.path.islink(path) else os.remove(path)


def clean():
    """A module without keys and without a signature."""
    remove(KEYS)
    remove(SIGNATURE)


def put(path, data):
    """Replaces a file by rename, or removes it when there are no bytes."""
    remove(path)
    if data is None:
        return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path + ".new", "wb") as file:
        file.write(data)
    os.replace(path + ".new", path)


def install(*keys):
    """These keys, and no others, are installed."""
    remove(KEYS)
    for number, key in enumerate(keys):
        put(f"{KEYS}/{number}.pub", key if isinstance(key, bytes) else key.public)


def with_line(file, number, change):
    """A file with one line, counted from 0, changed."""
    lines = file.split(b"\n")
    lines[number] = change(lines[number])
    return b"\n".join(lines)


def flip(line, byte, mask=1):
    """A base64 line with a bit of its bytes flipped."""
    raw = bytearray(base64.b64decode(line))
    raw[byte] ^= mask
    return base64.b64encode(raw)


def same_crc(data):
    """Other bytes with the same CRC-32."""
    end = bytes(one ^ other for one, other in zip(data[-len(UNSEEN) :], UNSEEN))
    return data[: -len(UNSEEN)] + end


def odd_files(target):
    """What may be in the place of a file: {name: a function that makes it at a path}. `target` is
    the content of a good file."""

    def sparse(path):
        put(path, target)
        os.truncate(path, 1 << 30)

    def linked_fifo(path):
        remove("/tmp/fifo")
        os.mkfifo("/tmp/fifo")
        os.symlink("/tmp/fifo", path)

    return {
        "larger than 64 KiB": lambda path: put(path, target.ljust(LIMIT + 1, b"\n")),
        "sparse, 1 GiB": sparse,
        "FIFO": os.mkfifo,
        "link to a FIFO": linked_fifo,
        "folder": os.mkdir,
        "dangling link": lambda path: os.symlink("/nowhere", path),
        "loop": lambda path: os.symlink(path, path),
        "endless device": lambda path: os.symlink("/dev/zero", path),
    }
