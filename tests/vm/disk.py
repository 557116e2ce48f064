# SPDX-License-Identifier: Apache-2.0
"""Changes and reads the files of an ext4 image that no virtual machine uses, without a mount."""

import os
import tempfile

from tests.harness import files
from tests.harness.command import output, run

DEBUGFS = "/usr/sbin/debugfs"
E2FSCK = "/usr/sbin/e2fsck"


def _debugfs(image, commands, writable=False):
    with tempfile.NamedTemporaryFile("w", suffix=".debugfs") as script:
        script.write("\n".join(commands) + "\n")
        script.flush()
        output(DEBUGFS, *(["-w"] if writable else []), "-f", script.name, image)


def write(image, texts):
    """Replaces or creates files of root with mode 0644, {path: text}; their folders exist."""
    with tempfile.TemporaryDirectory() as folder:
        commands = []
        for number, (path, text) in enumerate(texts.items()):
            source = os.path.join(folder, str(number))
            files.write(source, text)
            commands += [f"rm {path}", f"write {source} {path}"]
        _debugfs(image, commands, writable=True)
    for path, text in texts.items():
        if read(image, path) != text.encode():
            raise RuntimeError(f"{path} was not written into {image}")


def read(image, path):
    """The bytes of a file, or None without one."""
    with tempfile.TemporaryDirectory() as folder:
        target = os.path.join(folder, "file")
        _debugfs(image, [f"dump {path} {target}"])
        return files.content(target) if os.path.exists(target) else None


def check(image):
    """What is wrong with a file system after a clean shutdown, or nothing."""
    done = run(E2FSCK, "-fn", image)
    return "" if done.returncode == 0 else done.stdout + done.stderr
