# SPDX-License-Identifier: Apache-2.0
"""The initial RAM file system for a module whose disk is a virtio block device.

Debian's cloud kernel has the drivers of these disks as modules only. BusyBox loads them, mounts the
root and starts the root's init; the cpio archive has the format "newc".
"""

import os
import shutil
import subprocess
import tempfile

from tests.harness import files

BUSYBOX = "/bin/busybox"
DRIVERS = tuple(
    f"virtio{part}" for part in ("", "_ring", "_pci_legacy_dev", "_pci_modern_dev", "_pci", "_blk")
)
# The words of the kernel's command line are in /proc/cmdline; the last one of a kind holds.
INIT = f"""#!/bin/busybox sh
b=/bin/busybox
$b mount -t proc proc /proc
$b mount -t devtmpfs devtmpfs /dev
for driver in {" ".join(DRIVERS)}; do $b insmod /$driver.ko; done
mode=rw
for word in $($b cat /proc/cmdline); do
    case $word in root=*) root=${{word#root=}} ;; ro | rw) mode=$word ;; esac
done
until [ -b "$root" ]; do $b sleep 0.1; done
$b mount -t ext4 -o "$mode" "$root" /root
$b umount /proc
exec $b switch_root /root /sbin/init
"""


def make_initrd(base, target):
    """Makes the file `target` with the drivers out of the tar file of a root."""
    with tempfile.TemporaryDirectory() as folder:
        top = os.path.join(folder, "initrd")
        for name in ("bin", "dev", "proc", "root"):
            os.makedirs(os.path.join(top, name))
        shutil.copy(BUSYBOX, os.path.join(top, "bin"))
        copy_drivers(base, folder, top)
        files.write(os.path.join(top, "init"), INIT, 0o755)
        names = "\n".join(
            os.path.relpath(os.path.join(place, name), top)
            for place, folders, found in os.walk(top)
            for name in (*folders, *found)
        )
        with open(target, "wb") as output:
            subprocess.run(
                ["cpio", "--quiet", "-o", "-H", "newc", "-R", "0:0"],
                cwd=top,
                input=names.encode(),
                stdout=output,
                check=True,
            )


def copy_drivers(base, folder, top):
    patterns = [f"*/{driver}.ko" for driver in DRIVERS]
    subprocess.run(["tar", "-x", "-C", folder, "-f", base, "--wildcards", *patterns], check=True)
    for place, _, names in os.walk(os.path.join(folder, "usr")):
        for name in names:
            shutil.move(os.path.join(place, name), top)
