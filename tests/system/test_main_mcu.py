# SPDX-License-Identifier: Apache-2.0
"""The main MCU at index 0: its restart, its bootcode, its product information."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(1000, "main"))
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1, mcu_type=2)
ROWS = "UPGRADE||MAIN,0,0||AUX,1,0"


def aux_chip(**more):
    return agentcase.chip("AUX", 1, 0, mcu_type=2, **more)


class TestMainMcu(agentcase.AgentCase):
    """Each test is one run."""

    def test_main_alone(self):
        client = self.start(agentcase.chip("MAIN"), images=(MAIN,))
        client.send("UPGRADE||MAIN,0,0")
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_chips(("MAIN", "1.0.0", "APP"))
            + texts.decided("1.1.0", "greater", "MAIN", "1.0.0")
            + texts.image("MAIN", 0, 1, 1000)
            + texts.main_restarted()
            + texts.finished(),
            60,
        )
        client.sync()
        self.assert_flash({(0, 0): MAIN.data})

    def test_main_in_bootcode_goes_first(self):
        client = self.start(agentcase.chip("MAIN", bootcode=True), aux_chip(), images=(MAIN, AUX))
        client.send(ROWS)
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_mcu("MAIN", "Bootcode")
            + texts.log(
                "'MAIN' product information flag is valid, start to upgrade main mcu " "first."
            )
            + texts.decided("1.1.0", "greater", "MAIN", "0.0.0")
            + texts.image("MAIN", 0, 2, 1000)
            + texts.main_restarted()
            + texts.read_mcu("AUX")
            + texts.reads_done()
            + texts.read_version("MAIN", "1.1.0")
            + texts.read_version("AUX", "1.0.0")
            + texts.decided("1.1.0", "greater", "AUX", "1.0.0")
            + texts.image("AUX", 1, 2, 700)
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
            framelist.REBOOT,
            framelist.PRODUCT_ID,
            framelist.virtual(5),
        )

    def test_main_that_stays_in_bootcode_is_written_once(self):
        """In mode 5, where every version is written."""
        client = self.start(
            agentcase.chip("MAIN", bootcode=True, bootcode_clears=False), images=(MAIN,), mode=5
        )
        client.send("UPGRADE||MAIN,0,0")
        client.expect(
            texts.started()
            + texts.log("Firmware file checksum ok.")
            + texts.read_mcu("MAIN", "Bootcode")
            + texts.log(
                "'MAIN' product information flag is valid, start to upgrade main mcu " "first."
            )
            + texts.image("MAIN", 0, 1, 1000)
            + texts.main_restarted()
            + texts.reads_done()
            + texts.read_version("MAIN", "1.1.0")
            + texts.finished(),
            60,
        )
        client.sync()
        self.assertEqual(self.simulator.chip(0, 0)["images_written"], 1)

    def test_invalid_product_information(self):
        client = self.start(
            agentcase.chip("MAIN", product_information=False), aux_chip(), images=(MAIN, AUX)
        )
        for first in (True, False):
            client.send(ROWS)
            client.expect(
                texts.started(first)
                + texts.model_read()
                + texts.read_bootcode("MAIN", "APP")
                + texts.log("'MAIN' product information flag is invalid, exit all upgrade.")
                + texts.failed(0, 2)
            )
            client.sync()
        self.assert_frames(*[framelist.MODEL, framelist.bootcode(0)] * 2)

    def test_invalid_product_information_of_another(self):
        """Only the main MCU's flag ends a run."""
        client = self.start(aux_chip(product_information=False), images=(AUX,))
        client.send("UPGRADE||AUX,1,0")
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_chips(("AUX", "1.0.0"))
            + texts.decided("1.1.0", "greater", "AUX", "1.0.0")
            + texts.image("AUX", 0, 1, 700)
            + texts.finished(),
            40,
        )


if __name__ == "__main__":
    agentcase.main()
