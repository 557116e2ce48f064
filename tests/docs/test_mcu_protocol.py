# SPDX-License-Identifier: Apache-2.0
"""docs/reference/mcu-protocol.md against the device simulator: every example, byte for byte."""

import os
import re
import socket
import tempfile
import time
import unittest

from tests.docs import examples
from tests.harness.simulator import Simulator

PAGE = examples.page("mcu-protocol.md")
# The page's device restarts in 0.2 s; a host that waits longer finds it back.
RESTART = 0.5
SILENCE = 0.3


class Device:
    """device-simulator with the page's device file, over TCP."""

    def __init__(self, folder):
        self.simulator = Simulator(
            os.environ["DEVICE_SIMULATOR"],
            folder,
            examples.device(PAGE),
            ("--listen", "127.0.0.1:0"),
        )
        host, port = self.simulator.address.split(":")
        self.socket = socket.create_connection((host, int(port)))

    def ask(self, host, size):
        """What comes back: as many bytes as are expected, and whatever comes on top."""
        self.socket.sendall(host)
        got = b""
        self.socket.settimeout(10 if size else SILENCE)
        try:
            while len(got) < size or not size:
                piece = self.socket.recv(65536)
                if not piece:
                    break
                got += piece
        except TimeoutError:
            pass
        return got

    def close(self):
        self.socket.close()
        self.simulator.stop()


class McuProtocol(unittest.TestCase):
    def test_there_are_examples(self):
        found = examples.blocks(PAGE, "frames")
        self.assertGreater(len(found), 4)
        self.assertEqual(sum(words == ["run"] for words, _ in found), 1)

    def test_frames_are_whole(self):
        for _, lines in examples.blocks(PAGE, "frames"):
            for (who, frame), line in zip(examples.conversation(lines), lines):
                if not frame or "a wrong checksum" in line:
                    continue
                with self.subTest(line):
                    self.assertEqual(sum(frame) % 256, 0)
                    self.assertEqual(int.from_bytes(frame[3:5], "little"), len(frame) - 5)
                    self.assertEqual(frame[1:3], b"\x5b\xa5")
                    if who == "device":
                        self.assertEqual(frame[0], 0x5B)

    def test_the_frame_of_the_explanation(self):
        frame = bytes.fromhex(re.findall(r"^    (5a [0-9a-f ]+)$", PAGE, re.M)[0])
        self.assertEqual(sum(frame) % 256, 0)
        self.assertIn(
            f"first nine bytes add up to {sum(frame[:9]):X}, so the checksum is " f"{frame[9]:X}:",
            PAGE,
        )

    def test_the_device_answers_so(self):
        for _, lines in examples.blocks(PAGE, "frames"):
            with self.subTest(lines[0]), tempfile.TemporaryDirectory() as folder:
                device = Device(folder)
                self.addCleanup(device.close)
                self.hold(device, list(examples.conversation(lines)), lines)

    def hold(self, device, talk, lines):
        for place, (who, frame) in enumerate(talk):
            if who == "wait":
                time.sleep(RESTART)
            elif who == "host":
                self.assertEqual(talk[place + 1][0], "device", lines[place])
                expected = talk[place + 1][1]
                got = device.ask(frame, len(expected))
                self.assertEqual(got.hex(" "), expected.hex(" "), lines[place])


if __name__ == "__main__":
    unittest.main()
