# SPDX-License-Identifier: Apache-2.0
"""Boots the systemd of a root in private namespaces and a control group."""

import contextlib
import os
import re
import subprocess

from tests.harness import files, wait
from tests.packaging.installed.chroot import NAMESPACES

GROUP = f"upgrade-agent-check-{os.getpid()}"
# $0 is the root. A device that no rule of the unit names is /dev/fuse; it and the serial line are
# accessible to every user, so that only the unit can prevent an access.
PREPARE = """set -e
hostname module
mount --bind "$0" "$0"
mount -t proc proc "$0/proc"
mount -t sysfs -o ro sysfs "$0/sys"
mount -t cgroup2 cgroup2 "$0/sys/fs/cgroup"
mount -t tmpfs -o mode=755 run "$0/run"
mount -t tmpfs -o mode=755 dev "$0/dev"
for name in null zero full random urandom tty; do
    touch "$0/dev/$name"
    mount --bind "/dev/$name" "$0/dev/$name"
done
mknod -m 666 "$0/dev/fuse" c 10 229
mknod -m 666 "$0/dev/ttyS2" c 4 66
mkdir "$0/dev/pts" "$0/dev/shm"
mount -t devpts -o newinstance,ptmxmode=666 devpts "$0/dev/pts"
ln -s pts/ptmx "$0/dev/ptmx"
ln -s /proc/self/fd "$0/dev/fd"
cd "$0"
pivot_root . mnt
python3 -c 'import ctypes; raise SystemExit(ctypes.CDLL(None).umount2(b"/mnt", 2))'
exec env -i container=check /usr/lib/systemd/systemd --unit=multi-user.target
"""


def control_groups():
    """Where version 2 of the control groups is mounted and may be changed, or nothing."""
    mounts = files.text("/proc/self/mountinfo")
    found = re.search(r"(?m)^\S+ \S+ \S+ / (\S+) .* - cgroup2 ", mounts)
    return found.group(1) if found and os.access(found.group(1), os.W_OK) else None


@contextlib.contextmanager
def booted(root):
    """A running system; everything in it is gone at the end."""
    group = os.path.join(control_groups(), GROUP)
    os.mkdir(group)
    # In its own control group before that becomes the root of a namespace.
    script = f'echo $$ >"{group}/cgroup.procs"; exec "$@"'
    system = subprocess.Popen(
        ["sh", "-c", script, "sh", *NAMESPACES, "--cgroup", "sh", "-c", PREPARE, root],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        text=True,
    )
    try:
        yield system
    finally:
        system.kill()
        system.communicate()
        wait.until(lambda: is_removed(group), what=f"end of the processes of {group}")


def is_removed(group):
    """Removes a control group; the kernel needs a moment for the last processes."""
    for folder, _, _ in os.walk(group, topdown=False):
        with contextlib.suppress(OSError):
            os.rmdir(folder)
    return not os.path.exists(group)
