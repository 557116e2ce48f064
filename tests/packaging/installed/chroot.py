# SPDX-License-Identifier: Apache-2.0
"""Runs commands in a throw-away root, in private namespaces: no network, no other process,
and no mount that reaches the machine."""

import os
import shlex
import subprocess

ROOT = os.environ.get("THROW_AWAY_ROOT", "")
NAMESPACES = [
    "unshare",
    "--mount",
    "--pid",
    "--net",
    "--ipc",
    "--uts",
    "--fork",
    "--kill-child",
    "--propagation",
    "private",
]
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


def run(*command, root=ROOT, check=True, **environment):
    """Runs a command as the root's root."""
    script = f"{PREPARE}\nexec {shlex.join(['chroot', root, *command])}"
    done = subprocess.run(
        [*NAMESPACES, "sh", "-c", script, root],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        check=False,
        timeout=300,
        env={"PATH": PATH, "LC_ALL": "C.UTF-8", "DEBIAN_FRONTEND": "noninteractive", **environment},
    )
    if check and done.returncode != 0:
        raise AssertionError(
            f"{shlex.join(command)}: {done.returncode}\n{done.stdout}{done.stderr}"
        )
    return done


def read(name):
    with open(path(name), encoding="utf-8") as file:
        return file.read()
