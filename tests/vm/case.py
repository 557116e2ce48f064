# SPDX-License-Identifier: Apache-2.0
"""The base of the cases: one virtual module, and one device on its serial line, for each class."""

import json
import os
import subprocess
import tempfile
import unittest

from tests.harness import files, package
from tests.harness.command import output, run
from tests.harness.package import Image, image_bytes
from tests.harness.simulator import Simulator
from tests.vm import accelerator, disk
from tests.vm.module import VirtualModule

BAUD = 57600
# Big enough to last some seconds on the line.
IMAGES = (
    Image("MAIN", image_bytes(16 * 1024 + 17, "main")),
    Image("AUX", image_bytes(8 * 1024, "aux"), chip_type=1, mcu_type=2),
)
CHIPS = [
    {
        "name": image.name,
        "chip_type": image.chip_type,
        "chip_index": 0,
        "mcu_type": image.mcu_type,
        "version": "1.0.0",
        "upgrades_to": "1.1.0",
    }
    for image in IMAGES
]
DEVICE = {"model": "HX-8", "product_id": "HX8", "virtual_version": 3, "chips": CHIPS}
CONSOLE_SECONDS = 300
# Files of the module's new firmware, in a folder that nothing else uses.
FIRMWARE = "opt/firmware"


class Environment:
    """What the script passes on: the folder with the disks, and the programs of this machine."""

    def __init__(self):
        self.image = os.environ["MODULE_IMAGE"]
        self.architecture = os.environ["MODULE_ARCHITECTURE"]
        self.programs = os.environ["MODULE_PROGRAMS"]
        self.package = os.environ["MODULE_PACKAGE"]
        self.accelerator = accelerator.accelerator(
            os.path.join(self.image, "kernel"), self.architecture
        )

    def program(self, name):
        return os.path.join(self.programs, name)


class ModuleCase(unittest.TestCase):
    """A class is one boot of a fresh module; its tests run in the order of their names."""

    maxDiff = None
    has_device = True
    is_root_writable = True
    append = ""
    # Files of the root that differ, {path: text}.
    root_files: dict[str, str] = {}

    environment: Environment
    module: VirtualModule
    simulator: Simulator
    folder: str

    @classmethod
    def setUpClass(cls):
        cls.environment = Environment()
        cls.folder = cls.enterClassContext(
            tempfile.TemporaryDirectory(dir=cls.environment.image, prefix="run-")
        )
        # The path of a Unix socket has at most 107 bytes.
        sockets = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="module-"))
        if cls.has_device:
            cls.simulator = Simulator(
                cls.environment.program("device-simulator"),
                sockets,
                DEVICE,
                ("--listen", "127.0.0.1:0"),
                options=("--baud", str(BAUD)),
            )
            cls.addClassCleanup(cls.simulator.stop)
        cls.module = VirtualModule(
            cls.environment.image,
            sockets,
            cls.environment.architecture,
            disk_folder=cls.folder,
            device=cls.simulator.address if cls.has_device else "",
            accelerator=cls.environment.accelerator,
            writable_root=cls.is_root_writable,
            append=cls.append,
        )
        if cls.root_files:
            disk.write(os.path.join(cls.folder, "root.img"), cls.root_files)
        cls.addClassCleanup(cls.module.crash)
        cls.module.start().wait_until_ready()

    # What people run.

    def upgrade_console(self, *words, status=0):
        """Runs the console client; returns the JSON document of its result."""
        done = run(
            self.environment.program("upgrade-console"),
            *("--host", "127.0.0.1", "--port", str(self.module.machine.console_port)),
            *("--json", *words),
            timeout=CONSOLE_SECONDS,
        )
        self.assertEqual(done.returncode, status, f"{words}: {done.stdout}{done.stderr}")
        return json.loads(done.stdout)

    def put(self, images):
        """Copies a package of images to the module."""
        self.upgrade_console("put", *self.module.copy_options(), self.write_package(images))

    def deploy(self, images, *options):
        """Copies a package of images, and upgrades with it."""
        path = self.write_package(images)
        self.upgrade_console("deploy", *self.module.copy_options(), *options, path)

    def fwm(self, *words):
        output(self.environment.program("fwm"), *words)

    def write_package(self, images):
        """A package of images in the folder of this boot."""
        path = os.path.join(self.folder, "FW.fwm")
        files.write(path, package.build(list(images)))
        return path

    # What is on the module.

    def shell(self, command, **more):
        """The standard output of a shell command of root, without the last line end."""
        return self.module.run(command, **more).stdout.rstrip("\n")

    def agent_pid(self):
        return int(self.shell("systemctl show -P MainPID upgrade-agent"))

    def boot_id(self):
        return self.shell("cat /proc/sys/kernel/random/boot_id")

    def journal(self, words=""):
        """Messages of this boot."""
        return self.shell(f"journalctl -b -q --no-pager -o cat {words}").splitlines()

    # The device.

    def assert_flash(self, images=IMAGES):
        """Every chip holds its image, byte for byte."""
        for image in images:
            flash = self.simulator.flash(image.chip_type, 0)
            self.assertIsNotNone(flash, image.name)
            self.assertEqual(len(flash), len(package.expected_flash(image.data)), image.name)
            self.assertTrue(flash == package.expected_flash(image.data), image.name)

    # The module's own firmware.

    def make_firmware(self, version, count=40, size=4000):
        """A NET image of that many files; returns its path and {path on the module: bytes}."""
        root = os.path.join(self.folder, f"firmware-{version}")
        contents = {
            f"/{FIRMWARE}/{number:03}": image_bytes(size, f"{version} {number}")
            for number in range(count)
        }
        for path, content in contents.items():
            files.write(root + path, content)
        image = os.path.join(self.folder, f"net-{version}.bin")
        self.fwm("make-net", root, "--net-version", version, "-o", image)
        return image, contents

    def assert_firmware(self, version, contents):
        """These files and nothing else are in their folder, and the version file fits."""
        with tempfile.TemporaryDirectory() as folder:
            archive = self.module.run(f"tar -C /{FIRMWARE} -cf - .", text=False).stdout
            subprocess.run(["tar", "-C", folder, "-xf", "-"], input=archive, check=True)
            found = {
                f"/{FIRMWARE}/{name}": files.content(folder, name) for name in os.listdir(folder)
            }
        self.assertEqual(sorted(found), sorted(contents))
        different = [path for path in contents if found[path] != contents[path]]
        self.assertEqual(different, [])
        self.assertEqual(self.shell("stat -c %a /"), "755")
        self.assertEqual(self.module.get("/data/version"), version.encode())
        for name in ("sysupdate.tar.bz2", "sysupdate.marker"):
            self.assertIsNone(self.module.get(f"/data/{name}"), name)
