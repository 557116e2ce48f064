# SPDX-License-Identifier: Apache-2.0
"""Keys and signatures, made by the program minisign; the folder of the module's keys."""

import contextlib
import os
import re
import shutil
import subprocess

from . import agentcase, module
from .module import content

KEYS = "/etc/upgrade-agent/keys"
SIGNATURE = agentcase.PACKAGE + ".minisig"
# What a CRC-32 does not detect: its polynomial, least significant bits first.
UNSEEN = bytes.fromhex("410671db01")


def minisign(*arguments):
    """Runs the program and returns its exit status."""
    return subprocess.run(
        ["minisign", *arguments], check=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE
    ).returncode


class Key:
    """A key pair in a folder."""

    def __init__(self, name, folder="/tmp"):
        self.public_file = os.path.join(folder, name + ".pub")
        self._secret = os.path.join(folder, name + ".key")
        self._signed = os.path.join(folder, name + ".signed")
        minisign("-G", "-W", "-f", "-p", self.public_file, "-s", self._secret)
        self.public = content(self.public_file)
        self.id = re.findall(r"public key (\w+)", self.public.decode())[0]

    def sign(self, data, comment="release 4", *options):
        """The signature file of these bytes."""
        module.put(self._signed, data)
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
    module.put(path + ".new", data)
    os.replace(path + ".new", path)


def install(*keys):
    """These keys, and no others, are installed."""
    remove(KEYS)
    for number, key in enumerate(keys):
        put(f"{KEYS}/{number}.pub", key if isinstance(key, bytes) else key.public)


def same_crc(data):
    """Other bytes with the same CRC-32."""
    end = bytes(one ^ other for one, other in zip(data[-len(UNSEEN) :], UNSEEN))
    return data[: -len(UNSEEN)] + end
