# SPDX-License-Identifier: Apache-2.0
"""UPGRADEALL and its synonym: the rows come from the package."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN MCU", image_bytes(400, "main"))
AUX = Image("AUX", image_bytes(300, "aux"), chip_type=1, quantity=2, mcu_type=2)
FPGA = Image("FPGA", image_bytes(257, "fpga"), chip_type=17, version=(2, 0, 0))


class TestUpgradeAll(agentcase.AgentCase):
    """The quantity is in the field of the chip's index, and is sent as the index."""

    def test_every_image_of_the_package(self):
        client = self.start(
            agentcase.chip("MAIN", 0, 1),
            agentcase.chip("AUX", 1, 2, mcu_type=2),
            agentcase.chip("FPGA", 17, 1, version="1.0", upgrades_to="2.0"),
            images=(MAIN, AUX, FPGA),
        )
        client.send("UPGRADEALL")
        client.expect(
            texts.package_listed()
            + texts.begun(("MAIN MCU", "1.0.0"), ("AUX", "1.0.0"), ("FPGA", "1.0", "FPGA"))
            + texts.upgraded("MAIN MCU", 0, 3, 400)
            + texts.upgraded("AUX", 1, 3, 300)
            + texts.upgraded("FPGA", 2, 3, 257, new="2.0.0")
            + texts.finished(),
            60,
        )
        client.sync()
        self.assert_flash({(0, 1): MAIN.data, (1, 2): AUX.data, (17, 1): FPGA.data})
        self.assert_frames(
            framelist.MODEL,
            *framelist.reads((0, 1), (1, 2), (17, 1)),
            *framelist.image(0, 1, 400),
            *framelist.image(1, 2, 300),
            *framelist.image(17, 1, 257),
            *framelist.end(),
        )

        client.send("GETVERINF")
        upgraded = ("MAIN MCU", "1.1.0"), ("AUX", "1.1.0"), ("FPGA", "2.0", "FPGA")
        client.expect(
            texts.package_listed()
            + texts.begun(*upgraded, first=False)
            + texts.decided("1.1.0", "equal", "MAIN MCU", "1.1.0")
            + texts.decided("1.1.0", "equal", "AUX", "1.1.0")
            + texts.decided("2.0.0", "equal", "FPGA", "2.0.0")
            + texts.finished(written=False),
            40,
        )
        client.sync()


if __name__ == "__main__":
    agentcase.main()
