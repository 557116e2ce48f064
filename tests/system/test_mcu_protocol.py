# SPDX-License-Identifier: Apache-2.0
"""docs/reference/mcu-protocol.md against the real agent: the page itself plays the device."""

import errno
import os
import select
import time

from tests.harness import agentcase, pages, texts
from tests.harness.package import Image, image_bytes
from tests.harness.strangersdevice import Chip, StrangersDevice

# Images of the sizes that the page explains.
SIZES = {(0, 0): 700, (1, 0): 256, (2, 3): 257, (17, 0): 512}


class TestPageAsDevice(agentcase.AgentCase):
    def test_whole_run(self):
        """The agent sends exactly the page's commands and is content with the page's answers."""
        self.put_package(*pages.PACKAGE)
        self._drain_line()
        self.start_agent()
        client = self.connect()
        client.send("UPGRADE||MAIN,0,0||AUX,1,0||FPGA,17,0")
        client.wait_for("Connect success.")
        ((_, lines),) = [
            block for block in pages.blocks(pages.MCU, "frames") if block[0] == ["run"]
        ]
        waited = False
        for who, frame in pages.conversation(lines):
            if who == "wait":
                waited = True
            elif who == "device":
                os.write(agentcase.MASTER, frame)
            else:
                before = time.monotonic()
                self.assertEqual(self.read(len(frame)).hex(" "), frame.hex(" "))
                if waited:
                    self.assertGreater(time.monotonic() - before, 9)
                waited = False
        client.wait_for("UPGRADESUCCESS")
        for name in ("MAIN", "AUX"):
            self.assertIn(f"UPGRADELOG||Write firmware '{name}' success.", client.lines)
        self.assertIn(texts.log("Set virtual version success.")[0], client.lines)
        client.wait_for("UPGRADELOG||ttyS2 port is disconnected.")
        with self.assertRaises(OSError) as closed:  # and nothing more was sent
            os.read(agentcase.MASTER, 1)
        self.assertEqual(closed.exception.errno, errno.EIO)

    def read(self, size):
        """That many bytes of the agent."""
        got = b""
        while len(got) < size:
            self.assertTrue(
                select.select([agentcase.MASTER], [], [], 20)[0], f"only {got.hex(' ')}"
            )
            got += os.read(agentcase.MASTER, size - len(got))
        return got


class TestStrangersDevice(agentcase.AgentCase):
    """The agent upgrades a device that was built from the page alone."""

    def test_main_mcu_in_its_bootcode_and_three_others(self):
        images = {place: image_bytes(size, f"{place}") for place, size in SIZES.items()}
        chips = {
            place: Chip(mcu_type=place[0] + 1, version=(1, 0, 0)[: 2 + place[1] % 2])
            for place in SIZES
        }
        chips[0, 0].bootcode = True
        self.put_package(
            *(
                Image(f"C{place[0]}", images[place], place[0], mcu_type=place[0] + 1)
                for place in SIZES
            ),
            model="Stranger",
        )
        self._drain_line()
        device = StrangersDevice(agentcase.MASTER, "Stranger", chips)
        self.stack.callback(device.close)
        self.start_agent()
        client = self.connect()
        client.send("UPGRADE||" + "||".join(f"C{kind},{kind},{index}" for kind, index in SIZES))
        client.wait_for("UPGRADESUCCESS", 60)
        self.assertEqual([line for line in client.lines if "fail" in line or "retry" in line], [])
        self.assertIn("UPGRADELOG||MAIN MCU running in Bootcode.", client.lines)
        for place, image in images.items():
            size = len(image)
            self.assertTrue(chips[place].complete, place)
            written = b"".join(chips[place].blocks or [])
            self.assertEqual(written, image + b"\xff" * (-size % 256), place)
        self.assertEqual(device.virtual_version, 5)
        self.assertEqual(device.broken, [])


if __name__ == "__main__":
    agentcase.main()
