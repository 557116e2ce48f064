# SPDX-License-Identifier: Apache-2.0
"""An ext4 file system in a file: repaired as at the start of a module, read without a mount."""

import contextlib
import dataclasses
import os
import subprocess
import tempfile

from tests.harness import command, files

# Statuses of e2fsck.
CLEAN = 0
REPAIRED = 1
FAILED = 8


@dataclasses.dataclass(frozen=True)
class Repair:
    """The repair that a module does at its start, and a complete check after it."""

    status: int
    check_status: int
    output: str

    @property
    def succeeded(self):
        return self.status in (CLEAN, REPAIRED) and self.check_status == CLEAN


def run(program, *arguments):
    """Runs a program of e2fsprogs, which an ordinary user's search path does not have."""
    return command.run(os.path.join("/usr/sbin", program), *arguments, stdin=subprocess.DEVNULL)


def make(image, contents, size="4M"):
    """An ext4 file system with these files, {path: bytes}; the same paths get the same inodes."""
    with tempfile.TemporaryDirectory() as tree:
        for path, content in contents.items():
            files.write(os.path.join(tree, path), content)
        made = run("mke2fs", "-q", "-F", "-t", "ext4", "-d", tree, image, size)
        assert made.returncode == 0, made.stdout + made.stderr


@contextlib.contextmanager
def repaired(image):
    """Repairs the file system without questions, and restores the image's bytes at the end."""
    with tempfile.TemporaryDirectory(dir=os.path.dirname(image)) as folder:
        undo = os.path.join(folder, "undo")
        repair = run("e2fsck", "-p", "-z", undo, image)
        try:
            check = run("e2fsck", "-fn", image)
            output = repair.stdout + repair.stderr + check.stdout + check.stderr
            yield Repair(repair.returncode, check.returncode, output)
        finally:
            restore(image, undo, repair.returncode)


def restore(image, undo, status):
    """Undoes a repair. One that could not read the superblock has changed nothing."""
    restored = run("e2undo", undo, image)
    if restored.returncode and status != FAILED:
        raise OSError(f"{image}: e2undo: {restored.stdout}{restored.stderr}")


def read_tree(image, folder):
    """The ordinary files of a folder in an image: path from the folder to bytes."""
    with tempfile.TemporaryDirectory(dir=os.path.dirname(image)) as copy:
        run("debugfs", "-R", f"rdump {folder} {copy}", image)
        top = os.path.join(copy, os.path.basename(folder.rstrip("/")))
        paths = {name: os.path.join(top, name) for name in files.below(top)}
        return {
            name: files.content(path)
            for name, path in paths.items()
            if os.path.isfile(path) and not os.path.islink(path)
        }
