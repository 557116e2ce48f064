# SPDX-License-Identifier: Apache-2.0
"""The network module around the agent: its files, and the commands that are run there."""

import contextlib
import os
import shutil

from . import netimage, wait

LOG = "/tmp/sudo.log"
ROOT = "/tmp/root"
HOLD = "/tmp/hold"

MD5SUM = f"sudo md5sum {netimage.ARCHIVE}"
WRITABLE = "sudo mount -o remount rw /"
UNPACK = f"sudo tar -C / -xf {netimage.ARCHIVE}"
REMOVE = f"sudo rm {netimage.ARCHIVE}"
READ_ONLY = "sudo mount -o remount ro /"
SYNC = "sync"
REBOOT = "sudo reboot"
INSTALL = [MD5SUM, WRITABLE, UNPACK, REMOVE, READ_ONLY, SYNC]
# What an interrupted install is completed with, if the archive is there.
ALL_AGAIN = INSTALL[1:]
REMAINING = INSTALL[3:]


def clean(old_files=(), but=()):
    """A module that was never upgraded, with {name: bytes} as its files; some paths stay."""
    for path in {LOG, HOLD, netimage.ARCHIVE, netimage.VERSION_FILE, netimage.MARKER}.difference(
        but
    ):
        with contextlib.suppress(OSError):
            os.rmdir(path) if os.path.isdir(path) else os.remove(path)
    shutil.rmtree(ROOT, ignore_errors=True)
    for name, content in dict(old_files).items():
        put(os.path.join(ROOT, name), content)


def put(path, content):
    """Makes a file, and the folders that it is in."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def content(path):
    """All bytes of a file, or None without one."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return None


def archive():
    return content(netimage.ARCHIVE)


def version():
    return content(netimage.VERSION_FILE)


def marker():
    return content(netimage.MARKER)


def files():
    """Everything on the module's private root: {name: bytes}."""
    return {
        os.path.relpath(os.path.join(folder, name), ROOT): content(os.path.join(folder, name))
        for folder, _, names in os.walk(ROOT)
        for name in names
    }


def commands():
    """Every command that was run, in order."""
    return (content(LOG) or b"").decode().splitlines()


def forget_commands():
    with contextlib.suppress(FileNotFoundError):
        os.remove(LOG)


def wait_for_command(line, seconds=15):
    wait.until(lambda: line in commands(), seconds, f"command {line!r}")


def hold(line):
    """From now on this command does not begin."""
    with open(HOLD + ".new", "w", encoding="ascii") as file:
        file.write(line)
    os.replace(HOLD + ".new", HOLD)


def release():
    """Every command may begin."""
    with contextlib.suppress(FileNotFoundError):
        os.remove(HOLD)
