# SPDX-License-Identifier: Apache-2.0
"""The control channel: its socket, its commands, the flash."""

import os
import socket
import unittest

from tests.harness import frames, wait
from tests.harness.simulatorcase import ASK_MODEL, SimulatorCase, read_bytes


class TestControl(SimulatorCase):
    def test_control_path_as_given(self):
        other = os.path.join(self.folder, "below")
        os.mkdir(other)
        device = self.device_file()
        for given in ("../control.sock", "sock"):
            path = os.path.join(other, given)
            with socket.socket(socket.AF_UNIX) as old:
                old.bind(path)  # of a simulator that was killed
            with self.running("--device", device, "--control", given, cwd=other) as (popen, output):
                self.assertTrue(output.readline().startswith("ready "))
                with socket.socket(socket.AF_UNIX) as client:
                    client.settimeout(10)
                    client.connect(path)
                    client.sendall(b"quit\n")
                    self.assertEqual(client.makefile().readline(), "ok\n")
                self.assertEqual(popen.wait(10), 0)
            self.assertFalse(os.path.lexists(path))

    def test_control_never_removes_a_file(self):
        path = self.file("control", b"mine")
        os.symlink("control", os.path.join(self.folder, "link"))
        self.fifo()
        for name in ("control", "link", "fifo", "."):
            before = os.listdir(self.folder) + ["d.json"]
            result = self.run_program("--control", name)
            self.assertEqual(
                (result.returncode, result.stderr),
                (
                    1,
                    "device-simulator: error: the control socket cannot be created: "
                    f"{name}: exists and is not a socket\n  Check that nothing else uses "
                    "its name, and that you may write to its folder.\n",
                ),
            )
            self.assertEqual(set(os.listdir(self.folder)), set(before))
        with open(path, "rb") as file:
            self.assertEqual(file.read(), b"mine")

    def test_numbers_of_control_commands(self):
        simulator = self.start()
        image = self.file("image", b"")
        fifo = self.fifo()
        for wrong, words in (
            (f"flash compare 256 0 {image}", "from 0 to 255"),
            (f"flash compare 0 256 {image}", "from 0 to 255"),
            (f"flash compare 65537 1 {image}", "from 0 to 255"),
            (f"flash compare -1 0 {image}", "from 0 to 255"),
            (f"flash compare x 0 {image}", "from 0 to 255"),
            (f"flash compare 0 9 {image}", "no such chip"),
            (f"flash compare 0 0 {fifo}", "not an ordinary file"),
            ("fault add silent:type=256", "cannot read 'type=256'"),
            ("fault add silent:index=-1", "cannot read 'index=-1'"),
            ("fault add refuse:status=256", "cannot read 'status=256'"),
            ("fault add late:delay=1000000001", "cannot read 'delay=1000000001'"),
            ("fault add silent:count=1000000001", "cannot read 'count="),
            ("fault add short:bytes=65537", "cannot read 'bytes=65537'"),
            ("fault add silent:skip=-1", "cannot read 'skip=-1'"),
            ("fault add wrong-word:as=1F900", "cannot read 'as=1F900'"),
        ):
            with self.assertRaisesRegex(AssertionError, f"error: .*{words}"):
                simulator.control(wrong)
        self.assertEqual(simulator.control("fault list"), "")

    def test_control_channel(self):
        simulator = self.start()
        with self.host() as fd:
            simulator.control("fault add silent:word=model-name,count=once")
            self.assertEqual(simulator.control("fault list"), "silent:word=model-name,count=once")
            os.write(fd, ASK_MODEL)
            self.ask(fd)
            simulator.control("fault add silent")
            simulator.control("fault clear")
            self.assertEqual(simulator.control("fault list"), "")
            simulator.control("link off")
            os.write(fd, ASK_MODEL)
            self.assertEqual(read_bytes(fd, 1, 0.2), b"")
            lost = len(ASK_MODEL)
            wait.until(lambda: simulator.status()["lost_bytes"] == lost, what="lost command")
            simulator.control("link on")
            self.ask(fd)
            for wrong in ("", "fault", "fault add quiet", "link loose", "flash save", "status now"):
                with self.assertRaisesRegex(AssertionError, "error: "):
                    simulator.control(wrong)
            simulator.control("quit")
            self.assertEqual(simulator.popen.wait(10), 0)

    def test_flash_is_written_compared_and_saved(self):
        simulator = self.start()
        image = bytes(range(256)) + b"end"
        padded = image + b"\xff" * 253
        done = frames.status(frames.BLOCK, 0)
        with self.host() as fd:
            self.ask(fd, frames.host(frames.ENTER, bytes([1, 1])), frames.status(frames.ENTER, 0))
            self.ask(fd, frames.block(1, 1, 0, padded[:256]), done)
            self.assertTrue(simulator.chip(1, 1)["half_written"])
            self.ask(fd, frames.block(1, 1, 1, padded[256:], last=True), done)

        path = self.file("image.bin", image)
        self.assertEqual(simulator.control(f"flash compare 1 1 {path}"), "equal, 259 bytes")
        self.assertEqual(simulator.flash(1, 1), padded)
        self.assertIsNone(simulator.flash(0, 0))
        self.assertEqual(simulator.chip(1, 1)["images_written"], 1)
        self.file("image.bin", image + b"x")
        with self.assertRaisesRegex(AssertionError, "byte 259 is 0xff, must be 0x78"):
            simulator.control(f"flash compare 1 1 {path}")

        os.remove(os.path.join(simulator.flash_folder, "AUX_1-1-1.bin"))
        self.assertEqual(simulator.stop(), 0)
        self.assertEqual(os.listdir(simulator.flash_folder), ["AUX_1-1-1.bin"])


if __name__ == "__main__":
    unittest.main()
