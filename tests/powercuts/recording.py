# SPDX-License-Identifier: Apache-2.0
"""Records every write of a virtual module while a package is published and installed.

Root and /data are partitions of one virtio disk, so that one log has the writes to both in their
order. QEMU writes the log below the disk, with each flush of the guest.
"""

import dataclasses
import json
import os
import struct
import time

from tests.harness import blocksender, files
from tests.harness.command import output
from tests.powercuts import disk, initrd, scenario
from tests.vm import machine
from tests.vm.module import copy_disk

MIB = 1 << 20
# Of the first partition; the table of partitions is before it.
FIRST = MIB
NAMES = ("root", "data")
SECTOR = 512
LINUX = 0x83
INSTALL_SECONDS = 600
BLOCKS_SECONDS = 1200


def partition_table(sizes):
    """A master boot record with primary partitions of these sizes in bytes, from FIRST on."""
    table = bytearray(SECTOR)
    start = FIRST
    for number, size in enumerate(sizes):
        entry = struct.pack("<B3xB3xII", 0, LINUX, start // SECTOR, size // SECTOR)
        table[446 + 16 * number : 462 + 16 * number] = entry
        start += size
    table[510:] = b"\x55\xaa"
    return bytes(table)


def join_disk(images, target):
    """Makes one disk of images of partitions, with their holes."""
    sizes = [os.path.getsize(image) for image in images]
    with open(target, "wb") as file:
        file.write(partition_table(sizes))
        file.truncate(FIRST + sum(sizes))
    place = FIRST
    for image, size in zip(images, sizes):
        places = (f"if={image}", f"of={target}", f"seek={place // MIB}")
        output("dd", "status=none", "conv=sparse,notrunc", "bs=1M", *places)
        place += size


@dataclasses.dataclass(frozen=True)
class Window:
    """A part of the recording: the positions in the log at its begin and end."""

    name: str
    begin: int
    end: int


class Recording:
    """The files of one recording in a folder, and its windows."""

    def __init__(self, folder):
        self.folder = folder
        self.log = os.path.join(folder, "log")
        self.disk = os.path.join(folder, "disk.img")
        self._windows = os.path.join(folder, "windows.json")

    def image(self, name):
        """The content of a partition before the recording."""
        return os.path.join(self.folder, name + ".img")

    def partitions(self, folder):
        """Fresh copies of the partitions, for a replay."""
        made = []
        start = FIRST
        for name in NAMES:
            path = copy_disk(self.image(name), os.path.join(folder, name + ".img"))
            made.append(disk.Partition(name, start, os.path.getsize(path), path))
            start += os.path.getsize(path)
        return made

    def windows(self):
        return [Window(*window) for window in json.loads(files.text(self._windows))]

    def keep(self, windows):
        files.write(self._windows, json.dumps([dataclasses.astuple(one) for one in windows]))


class Recorder:
    """Runs the module and makes a recording of it."""

    def __init__(self, bench, recording):
        self.bench = bench
        self.recording = recording
        self.windows = []
        folder = recording.folder
        os.makedirs(folder, exist_ok=True)
        for name in NAMES:
            copy_disk(os.path.join(bench.image, name + ".img"), recording.image(name))
        join_disk([recording.image(name) for name in NAMES], recording.disk)
        files.write(recording.log, b"")
        ram_disk = os.path.join(folder, "initrd")
        initrd.make_initrd(os.path.join(bench.image, "base.tar"), ram_disk)
        self.device = bench.device(folder)
        self.module = bench.module(
            folder,
            self.device,
            disks=(logged_disk(recording),),
            storage="virtio",
            initrd=ram_disk,
            append="root=/dev/vda1",
            extra=("-no-reboot",),
        )

    def record(self):
        """Everything, in the order of the scenario."""
        first, second, third = scenario.VERSIONS
        try:
            self.module.start().wait_until_ready()
            self.prepare(first)
            self.window("publication", lambda: self.publish(second))
            self.window("package", self.install)
            self.window("blocks", lambda: self.send(third))
        finally:
            self.recording.keep(self.windows)
            self.module.crash()
            self.device.kill()

    def position(self):
        return os.path.getsize(self.recording.log)

    def window(self, name, operation):
        begin = self.position()
        started = time.monotonic()
        operation()
        if self.module.process.alive:
            self.module.run("sync")
        self.windows.append(Window(name, begin, self.position()))
        print(f"recorded: {name}, {time.monotonic() - started:.0f} s", flush=True)

    def prepare(self, version):
        """Gives the module its first files and its first package."""
        old = scenario.module(version, version)
        entries = {f"{scenario.FOLDER}/{name}": content for name, content in old.files.items()}
        entries.update({"/data/FW.fwm": old.package, "/data/version": old.version})
        self.module.run("tar -C / -x", input=scenario.archive(entries), text=False)
        self.module.run("chown upgrade-agent: /data/*; sync")

    def publish(self, version):
        """Replaces the package with upgrade-console, over ssh."""
        package = os.path.join(self.recording.folder, "FW.fwm")
        files.write(package, scenario.firmware(version))
        port = str(self.module.machine.console_port)
        words = ("put", package, "--host", "127.0.0.1", "--port", port)
        output(self.bench.program("upgrade-console"), *words, *self.module.copy_options())

    def install(self):
        """Installs the image in the package."""
        console = self.module.console()
        console.send("UPGRADEMODE||5")
        console.send("UPGRADE||NET,32,0")
        console.wait_for("UPGRADESUCCESS", INSTALL_SECONDS)
        console.close()

    def send(self, version):
        """Sends the image by blocks; the install ends with the reboot, and so QEMU ends."""
        console = self.module.console()
        blocksender.BlockSender(console).send_all(scenario.image(version))
        self.module.process.popen.wait(BLOCKS_SECONDS)
        console.close()


def logged_disk(recording):
    """The disk whose writes go to the recording's log. The host does not need to flush either."""
    nodes = [
        f"driver=file,node-name={name}-file,filename={path},cache.no-flush=on"
        for name, path in (("disk", recording.disk), ("log", recording.log))
    ]
    log = "driver=blklogwrites,node-name=disk,file=disk-file,log=log-file,log-sector-size=512"
    return machine.Disk("disk", nodes=(*nodes, log))
