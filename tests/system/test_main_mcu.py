# SPDX-License-Identifier: Apache-2.0
"""The main MCU at index 0 in its bootcode."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(1000, "main"))
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1, mcu_type=2)


class TestMainMcu(agentcase.AgentCase):
    def test_main_in_bootcode_goes_first(self):
        client = self.start(
            agentcase.chip("MAIN", bootcode=True),
            agentcase.chip("AUX", 1, mcu_type=2),
            images=(MAIN, AUX),
        )
        client.send("UPGRADE||MAIN,0,0||AUX,1,0")
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_mcu("MAIN", "Bootcode")
            + texts.log(
                "'MAIN' product information flag is valid, start to upgrade main mcu first."
            )
            + texts.upgraded("MAIN", 0, 2, 1000, "0.0.0")
            + texts.main_restarted()
            + texts.read_mcu("AUX")
            + texts.reads_done()
            + texts.read_version("MAIN", "1.1.0")
            + texts.read_version("AUX", "1.0.0")
            + texts.upgraded("AUX", 1, 2, 700)
            + texts.finished(),
            60,
        )
        client.sync()
        self.assert_flash({(0, 0): MAIN.data, (1, 0): AUX.data})
        self.assert_frames(
            framelist.MODEL,
            *framelist.mcu(0),
            *framelist.image(0, 0, 1000),
            framelist.PRODUCT_ID,
            *framelist.mcu(1),
            framelist.version(0),
            framelist.version(1),
            *framelist.image(1, 0, 700),
            *framelist.end(),
        )


if __name__ == "__main__":
    agentcase.main()
