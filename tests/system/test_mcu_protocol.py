# SPDX-License-Identifier: Apache-2.0
"""docs/mcu-protocol.md against the real agent: the page itself plays the device."""

import os
import select
import time

from harness import pages, texts, world


class TestPageAsDevice(world.World):
    def test_whole_run(self):
        """The agent sends exactly the page's commands and is content with the page's answers."""
        self.put_package(*pages.PACKAGE)
        self._drain_line()
        self.start_agent()
        client = self.connect()
        client.send("UPGRADE||MAIN,0,0||AUX,1,0||FPGA,17,0")
        client.wait_for("Connect success.")
        ((_, lines),) = [block for block in pages.blocks(pages.MCU, "frames") if block[0] == ["run"]]
        waited = False
        for who, frame in pages.conversation(lines):
            if who == "wait":
                waited = True
            elif who == "device":
                os.write(world.MASTER, frame)
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
        with self.assertRaises(OSError):  # closed, and nothing more was sent
            os.read(world.MASTER, 1)

    def read(self, size):
        """That many bytes of the agent."""
        got = b""
        while len(got) < size:
            self.assertTrue(select.select([world.MASTER], [], [], 20)[0], f"only {got.hex(' ')}")
            got += os.read(world.MASTER, size - len(got))
        return got


if __name__ == "__main__":
    world.main()
