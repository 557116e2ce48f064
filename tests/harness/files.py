# SPDX-License-Identifier: Apache-2.0
"""Whole files."""

import os


def text(*path):
    """The text of a file; the words are the parts of its path."""
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def content(*path):
    """The bytes of a file."""
    with open(os.path.join(*path), "rb") as file:
        return file.read()


def write(path, what, mode=0o644):
    """Writes a file of text or bytes, and makes its folder."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(what.encode() if isinstance(what, str) else what)
    os.chmod(path, mode)


def below(*path):
    """The paths, relative to the first part, of all files in a folder and in its folders."""
    for folder, _, names in os.walk(os.path.join(*path)):
        for name in names:
            yield os.path.relpath(os.path.join(folder, name), path[0])
