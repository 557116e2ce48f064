# SPDX-License-Identifier: Apache-2.0
"""The parts of the virtual module that need no virtual machine."""

import contextlib
import io
import json
import os
import socket
import struct
import tempfile
import threading
import types
import unittest

from scripts.lib import emulated
from tests.harness import files
from tests.harness.command import output
from tests.vm import case, disk, kernel, machine, run
from tests.vm.qmp import Qmp, QmpError


def bz_image(payload, size, setup_sectors=3, offset=16, version=0x020F):
    """A file with the fields of the boot protocol and nothing else."""
    image = bytearray((setup_sectors + 1) * kernel.SECTOR + offset)
    image[kernel.SECTORS_AT] = setup_sectors
    image[0x202:0x206] = b"HdrS"
    struct.pack_into("<H", image, kernel.VERSION_AT, version)
    struct.pack_into("<II", image, kernel.PAYLOAD_AT, offset, len(payload) + 4)
    return bytes(image) + payload + struct.pack("<I", size)


class TestKernel(unittest.TestCase):
    def test_payload(self):
        image = bz_image(b"compressed", 123)
        self.assertEqual(kernel.payload(image), (b"compressed", 123))
        self.assertEqual(kernel.payload(image + b"signature"), (b"compressed", 123))

    def test_no_sectors_stand_for_four(self):
        image = bytearray(bz_image(b"compressed", 123, setup_sectors=4))
        image[kernel.SECTORS_AT] = 0
        self.assertEqual(kernel.payload(bytes(image)), (b"compressed", 123))

    def test_bad_images(self):
        good = bz_image(b"compressed", 123)
        for what, image, error in (
            ("empty", b"", "not a bzImage"),
            ("no magic", good.replace(b"HdrS", b"HdrT"), "not a bzImage"),
            ("cut", good[:-1], "not inside"),
            ("old", bz_image(b"compressed", 123, version=0x0207), "older than 2.08"),
            ("nothing compressed", bz_image(b"", 0), "not inside"),
        ):
            with self.subTest(what), self.assertRaisesRegex(ValueError, error):
                kernel.payload(image)

    def test_other_compression(self):
        with self.assertRaisesRegex(ValueError, "not compressed with LZ4: 28b52ffd"):
            kernel.unpacked(bz_image(bytes.fromhex("28b52ffd"), 4))


class TestMachine(unittest.TestCase):
    maxDiff = None

    def command(self, **options):
        disks = (machine.Disk("root", "/r.img"), machine.Disk("data", nodes=("driver=x", "y")))
        words = machine.Machine("amd64", "/k", disks, "/f", 1001, 1002, **options).command()
        return " ".join(words)

    def test_amd64(self):
        self.assertEqual(
            self.command(device="127.0.0.1:9"),
            "qemu-system-x86_64 -M q35,accel=tcg -cpu qemu64 -smp 1 -m 512 -nodefaults"
            " -no-user-config -display none -qmp unix:/f/qmp,server=on,wait=off -kernel /k"
            " -append root=/dev/nvme0n1 rw console=ttyS0 quiet systemd.show_status=1 panic=1"
            " -blockdev driver=file,node-name=root-file,filename=/r.img"
            " -blockdev driver=raw,node-name=root,file=root-file"
            " -device nvme,serial=root,drive=root"
            " -blockdev driver=x -blockdev y -device nvme,serial=data,drive=data"
            " -netdev user,id=net,restrict=on,hostfwd=tcp:127.0.0.1:1001-:22,"
            "hostfwd=tcp:127.0.0.1:1002-:35353"
            " -device virtio-net-pci,netdev=net,romfile= -device virtio-rng-pci"
            " -chardev file,id=log,path=/f/console"
            " -chardev socket,id=device,host=127.0.0.1,port=9,reconnect=1"
            " -device isa-serial,chardev=log,index=0"
            " -device isa-serial,chardev=device,index=2,iobase=0x3e8,irq=5",
        )

    def test_options(self):
        """What an option changes, and that no port is open to others."""
        cases: tuple[tuple[dict, str], ...] = (
            ({}, "-device isa-serial,chardev=log,index=0"),
            ({"storage": "virtio"}, "-device virtio-blk-pci,serial=root,drive=root"),
            ({"storage": "virtio"}, "root=/dev/vda "),
            ({"initrd": "/i"}, "-initrd /i"),
            ({"writable_root": False}, "root=/dev/nvme0n1 ro "),
            ({"append": "more"}, "panic=1 more "),
            ({"extra": ("-snapshot",)}, "-snapshot"),
            ({"accelerator": "kvm"}, "q35,accel=kvm"),
        )
        for options, expected in cases:
            with self.subTest(options=options):
                self.assertIn(expected, self.command(**options) + " ")
                self.assertNotIn("hostfwd=tcp::", self.command(**options))
        self.assertNotIn("index=2", self.command())

    def test_arm64(self):
        """The device is at the third port of the card, and the console at the board's own."""
        disks = (machine.Disk("root", "/r.img"),)
        with_device = machine.Machine("arm64", "/k", disks, "/f", 1, 2, device="127.0.0.1:9")
        words = " ".join(with_device.command())
        for expected in ("qemu-system-aarch64", "console=ttyAMA0", "chardev3=device,"):
            self.assertIn(expected, words)
        without = machine.Machine("arm64", "/k", disks, "/f", 1, 2).command()
        self.assertNotIn("pci-serial", " ".join(without))


class TestEmulated(unittest.TestCase):
    def test_entry(self):
        """The line fits programs and libraries of the architecture, and no others."""
        empty, name, kind, offset, magic, mask, program, flags = emulated.entry("arm64").split(":")
        self.assertEqual((empty, name, kind, offset, flags), ("", "module-arm64", "M", "", "F"))
        self.assertEqual(program, "/usr/bin/qemu-aarch64-static")
        expected, bits = (bytes.fromhex(text.replace("\\x", "")) for text in (magic, mask))
        for machine_number, elf_type, version, fits in (
            (183, 2, 0, True),
            (183, 3, 3, True),
            (183, 1, 0, False),
            (62, 2, 0, False),
            (40, 2, 0, False),
        ):
            head = b"\x7fELF\x02\x01\x01" + bytes([version]) + bytes(8)
            head += struct.pack("<HH", elf_type, machine_number)
            masked = bytes(one & bit for one, bit in zip(head, bits))
            self.assertEqual(masked == expected, fits, (machine_number, elf_type, version))


class TestQmp(unittest.TestCase):
    def answering(self, *lines):
        """A machine that sends these lines; returns the path of its socket and its requests."""
        folder = self.enterContext(tempfile.TemporaryDirectory())
        path = os.path.join(folder, "qmp")
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(path)
        listener.listen()
        self.addCleanup(listener.close)
        requests = []

        def serve():
            connection, _ = listener.accept()
            with connection, connection.makefile("rwb") as file:
                file.write(b'{"QMP": {}}\n')
                for line in lines:
                    file.flush()
                    requests.append(json.loads(file.readline()))
                    file.write(line + b"\n")

        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        self.addCleanup(thread.join, 10)
        return path, requests

    def test_commands(self):
        path, requests = self.answering(b'{"return": {}}', b'{"event": "X"}\n{"return": 7}')
        with contextlib.closing(Qmp(path)) as qmp:
            self.assertEqual(qmp("query", name="a"), 7)
        self.assertEqual(
            requests,
            [{"execute": "qmp_capabilities"}, {"execute": "query", "arguments": {"name": "a"}}],
        )

    def test_errors(self):
        path, _ = self.answering(
            b'{"return": {}}', b'{"error": {"desc": "no such thing"}}', b'{"event": "SHUTDOWN"}'
        )
        with contextlib.closing(Qmp(path)) as qmp:
            with self.assertRaisesRegex(QmpError, "query: no such thing"):
                qmp("query")
            with self.assertRaisesRegex(QmpError, "has closed"):
                qmp("quit")


class TestDisk(unittest.TestCase):
    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.image = os.path.join(folder, "image")
        root = os.path.join(folder, "root")
        files.write(os.path.join(root, "old"), "old")
        output("/usr/sbin/mke2fs", "-q", "-t", "ext4", "-d", root, self.image, "4M")

    def test_files(self):
        disk.write(self.image, {"/old": "changed\n", "/new": "new\n"})
        self.assertEqual(disk.read(self.image, "/old"), b"changed\n")
        self.assertEqual(disk.read(self.image, "/new"), b"new\n")
        self.assertIsNone(disk.read(self.image, "/none"))
        self.assertEqual(disk.check(self.image), "")

    def test_no_folder(self):
        with self.assertRaisesRegex(RuntimeError, "/none/new was not written"):
            disk.write(self.image, {"/none/new": "new"})

    def test_damage(self):
        with open(self.image, "r+b") as file:
            file.seek(4096)
            file.write(bytes(64 * 1024))
        self.assertNotEqual(disk.check(self.image), "")


class Good(unittest.TestCase):
    def test_good(self):
        """good"""


class Bad(unittest.TestCase):
    def test_bad(self):
        """bad"""
        self.fail("on purpose")


class Unprepared(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        raise ValueError("on purpose")

    def test_never(self):
        """never"""


class Interrupted(case.ModuleCase):
    """Has no module, and ends as after Ctrl-C."""

    cleaned: list[str] = []

    @classmethod
    def setUpClass(cls):
        cls.addClassCleanup(cls.cleaned.append, "module")

    def test_interrupted(self):
        """interrupted"""
        raise KeyboardInterrupt


class TestRun(unittest.TestCase):
    """The report, and that every kind of failure fails the whole."""

    def outcome(self, *classes, words=()):
        module = types.ModuleType("cases")
        for one in classes:
            setattr(module, one.__name__, one)
        with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()):
            rows, is_good = run.run([module], words)
        return [row[:2] for row in rows], is_good

    def test_outcomes(self):
        good, bad = ("good", "passed"), ("bad", "FAILED")
        for classes, words, expected in (
            ((Good,), (), ([good], True)),
            ((Bad,), (), ([bad], False)),
            ((Bad, Good), (), ([bad, good], False)),
            ((Bad, Good), ("test_good",), ([good], True)),
            ((Bad, Good), ("good",), ([good], True)),
            ((Good,), ("nothing",), ([], False)),
        ):
            with self.subTest(classes=classes, words=words):
                self.assertEqual(self.outcome(*classes, words=words), expected)

    def test_module_that_does_not_boot(self):
        rows, is_good = self.outcome(Good, Unprepared)
        self.assertFalse(is_good)
        self.assertEqual(rows[0], ("good", "passed"))
        self.assertEqual([row[1] for row in rows[1:]], ["FAILED"])

    def test_wrong_usage(self):
        """Is reported before anything is built."""
        for words, error in (
            (["--all", "none such"], "no case has 'none such' in its name or description"),
            (["--quick", "full"], "no case has 'full' in its name or description"),
            (["--shell", "full"], "--shell runs no case"),
            (["--quick", "--arch", "mips"], "invalid choice: 'mips'"),
            ([], "one of the arguments --quick --all --shell is required"),
        ):
            with self.subTest(words), contextlib.redirect_stderr(io.StringIO()) as shown:
                with self.assertRaises(SystemExit) as ended:
                    run.read_options(words)
                self.assertEqual(ended.exception.code, 2)
                self.assertIn(error, shown.getvalue())
        self.assertEqual(run.read_options(["--all", "full"]).modules, run.ALL)
        self.assertEqual(run.read_options(["--quick", "a power-off"]).modules, run.QUICK)

    def test_interrupted(self):
        """The module does not outlive the program."""
        Interrupted.cleaned.clear()
        with self.assertRaises(KeyboardInterrupt):
            self.outcome(Interrupted, Good)
        self.assertEqual(Interrupted.cleaned, ["module"])


def load_tests(loader, _tests, _pattern):
    """Not the examples for the runner."""
    real = (TestKernel, TestMachine, TestEmulated, TestQmp, TestDisk, TestRun)
    return unittest.TestSuite(loader.loadTestsFromTestCase(one) for one in real)


if __name__ == "__main__":
    unittest.main()
