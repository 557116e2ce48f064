# SPDX-License-Identifier: Apache-2.0
"""Runs commands in a throw-away root, in private namespaces: no network, no other process,
and no mount that reaches the machine."""

import os
import shlex
import subprocess

from tests.harness import command, files

ROOT = os.environ.get("THROW_AWAY_ROOT", "")
NAMESPACES = (
    "unshare --mount --pid --net --ipc --uts --fork --kill-child --propagation private".split()
)
# Inside, before anything else. The mounts end with the namespace.
PREPARE = """set -e
mount -t proc proc "$0/proc"
mount -t tmpfs -o mode=755 run "$0/run"
mount -t tmpfs -o mode=755 dev "$0/dev"
mkdir -m 1777 "$0/dev/shm"
for name in null zero urandom tty; do
    touch "$0/dev/$name"
    mount --bind "/dev/$name" "$0/dev/$name"
done
hostname module
"""
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"


def path(name):
    """A file of the root, seen from outside."""
    return os.path.join(ROOT, name.lstrip("/"))


def run(*words, root=ROOT, check=True, **environment):
    """Runs a command as the root's root."""
    script = f"{PREPARE}\nexec {shlex.join(['chroot', root, *words])}"
    settings = {"PATH": PATH, "LC_ALL": "C.UTF-8", "DEBIAN_FRONTEND": "noninteractive"}
    return command.run(
        *(*NAMESPACES, "sh", "-c", script, root),
        must_succeed=check,
        stdin=subprocess.DEVNULL,
        timeout=300,
        env={**settings, **environment},
    )


def output(*words, **more):
    """The standard output of a command of the root's root."""
    return run(*words, **more).stdout


def read(name):
    return files.text(path(name))


def write(name, text):
    files.write(path(name), text)
