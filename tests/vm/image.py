# SPDX-License-Identifier: Apache-2.0
"""Builds the disks of the virtual module: a root with the Debian packages, and /data.

usage: python3 -B -m tests.vm.image FOLDER PACKAGE...

FOLDER has base.tar and gets: root.img and data.img, ext4 without a partition table; kernel;
id_ed25519, the key for root's SSH login. No loop device and no mount is needed. Nothing is built
again while base.tar, the packages and this file stay the same.
"""

import glob
import hashlib
import os
import shutil
import subprocess
import sys

from tests.harness import files
from tests.packaging.installed import chroot
from tests.vm import kernel

ROOT_MIB = 640
DATA_MIB = 64
# The addresses of QEMU's user network.
ADDRESS = "10.0.2.15/24"
# What would only take time or write on its own.
MASKED = """
    apt-daily.timer apt-daily-upgrade.timer dpkg-db-backup.timer e2scrub_all.timer fstrim.timer
    e2scrub_reap.service getty@tty1.service serial-getty@ttyS0.service serial-getty@ttyAMA0.service
    systemd-networkd-wait-online.service
""".split()
FILES = {
    "etc/hostname": "module\n",
    "etc/hosts": "127.0.0.1 localhost module\n",
    "etc/fstab": "/dev/root / ext4 defaults 0 0\nLABEL=data /data ext4 defaults 0 2\n",
    # An emulated processor of a busy machine takes minutes until a disk has its device node.
    "etc/systemd/system.conf.d/module.conf": (
        "[Manager]\nDefaultTimeoutStartSec=600\nDefaultDeviceTimeoutSec=600\n"
    ),
    "etc/systemd/network/module.network": (
        f"[Match]\nName=en* eth*\n\n[Network]\nAddress={ADDRESS}\nLinkLocalAddressing=no\n"
    ),
    "etc/systemd/journald.conf.d/module.conf": "[Journal]\nStorage=persistent\n",
    "etc/ssh/sshd_config.d/module.conf": "UseDNS no\nUsePAM no\n",
}
ENABLED = ("systemd-networkd.service",)


def digest(paths):
    """One digest of the contents of files, in this order."""
    total = hashlib.sha256()
    for path in paths:
        total.update(hashlib.sha256(files.content(path)).digest())
    return total.hexdigest()


def make_key(folder):
    """The key pair for root's login; returns the public key."""
    path = os.path.join(folder, "id_ed25519")
    if not os.path.exists(path):
        subprocess.run(
            ["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "module", "-f", path], check=True
        )
    return files.text(path + ".pub")


def install(root, packages):
    """apt installs the packages, as an administrator would, without a network."""
    folder = os.path.join(root, "var/tmp")
    names = [shutil.copy(package, folder) for package in packages]
    inside = ["/var/tmp/" + os.path.basename(name) for name in names]
    chroot.run("apt-get", "install", "-y", *inside, root=root)
    for name in names:
        os.remove(name)


def configure(root, key):
    for name, text in {**FILES, "etc/machine-id": "uninitialized\n"}.items():
        files.write(os.path.join(root, name), text)
    files.write(os.path.join(root, "root/.ssh/authorized_keys"), key, 0o600)
    os.chmod(os.path.join(root, "root/.ssh"), 0o700)
    for unit in MASKED:
        chroot.run("systemctl", "mask", unit, root=root)
    for unit in ENABLED:
        chroot.run("systemctl", "enable", unit, root=root)


def make_disk(path, mib, label, folder=None):
    with open(path, "wb") as file:
        file.truncate(mib << 20)
    command = ["/usr/sbin/mke2fs", "-q", "-F", "-t", "ext4", "-L", label]
    if folder:
        command += ["-d", folder]
    subprocess.run([*command, path], check=True)


def make_kernel(root, path):
    """The kernel in the form that starts quickest."""
    (source,) = glob.glob(os.path.join(root, "boot/vmlinuz-*"))
    image = files.content(source)
    files.write(path, image if "arm64" in source else kernel.unpacked(image))


def build(folder, packages):
    """Builds the disks, unless they are there already."""
    mark = os.path.join(folder, "image.digest")
    wanted = digest([os.path.join(folder, "base.packages"), *packages, __file__])
    if os.path.exists(mark):
        if files.text(mark) == wanted:
            return
        os.remove(mark)
    root = os.path.join(folder, "root")
    shutil.rmtree(root, ignore_errors=True)
    os.makedirs(root)
    subprocess.run(
        ["tar", "-x", "--numeric-owner", "--xattrs", "-C", root, "--exclude=./dev/*", "-f"]
        + [os.path.join(folder, "base.tar")],
        check=True,
    )
    # The root of another architecture is made without it.
    os.makedirs(os.path.join(root, "dev"), exist_ok=True)
    make_kernel(root, os.path.join(folder, "kernel"))
    install(root, packages)
    configure(root, make_key(folder))
    # /data is empty on its own disk; the folder below it is the mount point.
    make_disk(os.path.join(folder, "data.img"), DATA_MIB, "data")
    make_disk(os.path.join(folder, "root.img"), ROOT_MIB, "root", root)
    shutil.rmtree(root)
    files.write(mark, wanted)


if __name__ == "__main__":
    build(sys.argv[1], sys.argv[2:])
