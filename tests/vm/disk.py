# SPDX-License-Identifier: Apache-2.0
"""Changes and reads the files of an ext4 image that no virtual machine uses, without a mount."""

import os
import subprocess
import tempfile

DEBUGFS = "/usr/sbin/debugfs"
E2FSCK = "/usr/sbin/e2fsck"


def _debugfs(image, commands, writable=False):
    with tempfile.NamedTemporaryFile("w", suffix=".debugfs") as script:
        script.write("\n".join(commands) + "\n")
        script.flush()
        words = [DEBUGFS, *(["-w"] if writable else []), "-f", script.name, image]
        return subprocess.run(words, capture_output=True, text=True, check=True)


def write(image, files):
    """Replaces or creates files of root with mode 0644, {path: text}; their folders exist."""
    with tempfile.TemporaryDirectory() as folder:
        commands = []
        for number, (path, text) in enumerate(files.items()):
            source = os.path.join(folder, str(number))
            with open(source, "w", encoding="utf-8") as file:
                file.write(text)
            os.chmod(source, 0o644)
            commands += [f"rm {path}", f"write {source} {path}"]
        _debugfs(image, commands, writable=True)
    for path, text in files.items():
        if read(image, path) != text.encode():
            raise RuntimeError(f"{path} was not written into {image}")


def read(image, path):
    """The bytes of a file, or None without one."""
    with tempfile.TemporaryDirectory() as folder:
        target = os.path.join(folder, "file")
        _debugfs(image, [f"dump {path} {target}"])
        if not os.path.exists(target):
            return None
        with open(target, "rb") as file:
            return file.read()


def check(image):
    """What is wrong with a file system after a clean shutdown, or nothing."""
    done = subprocess.run([E2FSCK, "-fn", image], capture_output=True, text=True, check=False)
    return "" if done.returncode == 0 else done.stdout + done.stderr
