# SPDX-License-Identifier: Apache-2.0
"""QEMU's command line for the virtual module, and nothing that runs."""

import dataclasses
import os
import platform

SSH_PORT, CONSOLE_PORT = 22, 35353
MEMORY_MIB = 512
PROGRAMS = {"amd64": "qemu-system-x86_64", "arm64": "qemu-system-aarch64"}
_MACHINES = {"x86_64": "amd64", "aarch64": "arm64"}


def own():
    """The architecture of this machine."""
    return _MACHINES[platform.machine()]


@dataclasses.dataclass(frozen=True)
class Disk:
    """One disk. `file` is an image in raw format, or `nodes` are the -blockdev arguments of a graph
    whose top node is named like the disk; the order of the disks is that of their numbers in the
    guest."""

    name: str
    file: str = ""
    nodes: tuple[str, ...] = ()

    def blockdevs(self):
        if self.nodes:
            return list(self.nodes)
        file = f"driver=file,node-name={self.name}-file,filename={self.file}"
        return [file, f"driver=raw,node-name={self.name},file={self.name}-file"]


@dataclasses.dataclass(frozen=True)
class Machine:
    """A virtual module.

    folder          of the kernel, and of the sockets and files of this run
    device          "HOST:PORT" of the simulator at the end of ttyS2; without it there is no ttyS2
    storage         "nvme" (/dev/nvme0n1, nvme1n1) or "virtio" (/dev/vda, vdb; needs an initrd)
    append          further words for the kernel
    """

    architecture: str
    kernel: str
    disks: tuple[Disk, ...]
    folder: str
    ssh_port: int
    console_port: int
    device: str = ""
    storage: str = "nvme"
    initrd: str = ""
    append: str = ""
    accelerator: str = "tcg"
    writable_root: bool = True
    extra: tuple[str, ...] = ()

    def path(self, name):
        return os.path.join(self.folder, name)

    def _board(self):
        if self.architecture == "arm64":
            board = f"virt,gic-version=2,accel={self.accelerator}"
            return [PROGRAMS["arm64"], "-M", board, "-cpu", "cortex-a53"]
        # Not the processor "max", for which udev loads crypto modules.
        return [PROGRAMS["amd64"], "-M", f"q35,accel={self.accelerator}", "-cpu", "qemu64"]

    def _disks(self):
        kind = "nvme" if self.storage == "nvme" else "virtio-blk-pci"
        words = []
        for disk in self.disks:
            for node in disk.blockdevs():
                words += ["-blockdev", node]
            words += ["-device", f"{kind},serial={disk.name},drive={disk.name}"]
        return words

    def _serial(self):
        """The kernel's console, and the 16550 of the device as ttyS2."""
        words = ["-chardev", f"file,id=log,path={self.path('console')}"]
        if self.device:
            host, port = self.device.rsplit(":", 1)
            words += ["-chardev", f"socket,id=device,host={host},port={port},reconnect=1"]
        if self.architecture == "arm64":
            words += ["-serial", "chardev:log"]
            if not self.device:
                return words
            # ttyS2 is the third port of this card.
            for name in ("first", "second", "fourth"):
                words += ["-chardev", f"null,id={name}"]
            card = "pci-serial-4x,chardev1=first,chardev2=second,chardev3=device,chardev4=fourth"
            return [*words, "-device", card]
        words += ["-device", "isa-serial,chardev=log,index=0"]
        if self.device:
            words += ["-device", "isa-serial,chardev=device,index=2,iobase=0x3e8,irq=5"]
        return words

    def _kernel(self):
        tty = "ttyAMA0" if self.architecture == "arm64" else "ttyS0"
        root = "/dev/nvme0n1" if self.storage == "nvme" else "/dev/vda"
        words = ["-kernel", self.kernel]
        if self.initrd:
            words += ["-initrd", self.initrd]
        mode = "rw" if self.writable_root else "ro"
        line = f"root={root} {mode} console={tty} quiet systemd.show_status=1 panic=1"
        return [*words, "-append", f"{line} {self.append}".strip()]

    def _network(self):
        """Nothing but the two ports, and those on the loopback address only."""
        ports = {self.ssh_port: SSH_PORT, self.console_port: CONSOLE_PORT}
        forwards = (f"hostfwd=tcp:127.0.0.1:{one}-:{inside}" for one, inside in ports.items())
        return [
            *("-netdev", f"user,id=net,restrict=on,{','.join(forwards)}"),
            *("-device", "virtio-net-pci,netdev=net,romfile=", "-device", "virtio-rng-pci"),
        ]

    def command(self):
        return [
            *self._board(),
            *("-smp", "1", "-m", str(MEMORY_MIB), "-nodefaults", "-no-user-config"),
            *("-display", "none", "-qmp", f"unix:{self.path('qmp')},server=on,wait=off"),
            *self._kernel(),
            *self._disks(),
            *self._network(),
            *self._serial(),
            *self.extra,
        ]
