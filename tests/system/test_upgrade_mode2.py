# SPDX-License-Identifier: Apache-2.0
"""Mode 2: only what is older than the package is written."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(3000, "main"))
AUX = Image("AUX", image_bytes(1024, "aux"), chip_type=1, quantity=2, mcu_type=2)
KEY = Image("KEY", image_bytes(600, "key"), chip_type=2, mcu_type=3, version=(1, 0, 0))
OLD = Image("OLD", image_bytes(600, "old"), chip_type=3, mcu_type=4, version=(1, 9, 0))
FPGA = Image("FPGA", image_bytes(5001, "fpga"), chip_type=17, version=(3, 2, 0))
IMAGES = (MAIN, AUX, KEY, OLD, FPGA)

CHIPS = (
    agentcase.chip("MAIN"),
    agentcase.chip("AUX1", 1, 0, mcu_type=2),
    agentcase.chip("AUX2", 1, 1, mcu_type=2, version="0.255"),
    agentcase.chip("KEY", 2, 0, mcu_type=3, upgrades_to="1.0.0"),
    agentcase.chip("OLD", 3, 0, mcu_type=4, version="1.10.0"),
    agentcase.chip("FPGA", 17, 0, version="3.1", upgrades_to="3.2"),
)
REQUEST = "UPGRADE||MAIN,0,0||AUX1,1,0||AUX2,1,1||KEY,2,0||OLD,3,0||FPGA,17,0"


def begun(main, aux1, aux2, fpga, first=True):
    """What is read of all six, with their versions."""
    return texts.begun(
        ("MAIN", main, "APP"),
        ("AUX1", aux1),
        ("AUX2", aux2),
        ("KEY", "1.0.0"),
        ("OLD", "1.10.0"),
        ("FPGA", fpga, "FPGA"),
        first=first,
    )


PLACES = (0, 0), (1, 0), (1, 1), (2, 0), (3, 0), (17, 0)
READ_FRAMES = [framelist.MODEL, *framelist.reads(*PLACES)]


class TestMode2(agentcase.AgentCase):
    """Six chips: four are older, one is equal, one is newer."""

    def test_upgrade_then_nothing_left(self):
        client = self.start(*CHIPS, images=IMAGES)
        client.send(REQUEST)
        kept = texts.decided("1.0.0", "equal", "KEY", "1.0.0") + texts.decided(
            "1.9.0", "less", "OLD", "1.10.0"
        )
        client.expect(
            begun("1.0.0", "1.0.0", "0.255", "3.1")
            + texts.upgraded("MAIN", 0, 6, 3000)
            + texts.main_restarted()
            + texts.upgraded("AUX1", 1, 6, 1024)
            + texts.upgraded("AUX2", 2, 6, 1024, "0.255.0")
            + kept
            + texts.upgraded("FPGA", 5, 6, 5001, "3.1.0", "3.2.0")
            + texts.finished(),
            60,
        )
        client.sync()
        self.assert_flash(
            {(0, 0): MAIN.data, (1, 0): AUX.data, (1, 1): AUX.data, (17, 0): FPGA.data}
        )
        written = [
            *framelist.image(0, 0, 3000),
            framelist.PRODUCT_ID,
            *framelist.image(1, 0, 1024),
            *framelist.image(1, 1, 1024),
            *framelist.image(17, 0, 5001),
            *framelist.end(),
        ]
        self.assert_frames(*READ_FRAMES, *written)
        self.assertEqual(self.simulator.status()["virtual_version"], 5)

        # The same process, the same rows: everything is up to date now.
        client.send(REQUEST)
        client.expect(
            begun("1.1.0", "1.1.0", "1.1.0", "3.2", first=False)
            + texts.decided("1.1.0", "equal", "MAIN", "1.1.0")
            + texts.decided("1.1.0", "equal", "AUX1", "1.1.0")
            + texts.decided("1.1.0", "equal", "AUX2", "1.1.0")
            + kept
            + texts.decided("3.2.0", "equal", "FPGA", "3.2.0")
            + texts.finished(written=False),
            60,
        )
        client.sync()
        self.assert_frames(
            *READ_FRAMES, *written, *READ_FRAMES, framelist.REBOOT, framelist.PRODUCT_ID
        )

    def test_model_mismatch(self):
        client = self.start(
            agentcase.chip("AUX", 1, mcu_type=2), images=(AUX,), package={"model": "HX-9"}
        )
        for first in (True, False):
            client.send("UPGRADE||AUX,1,0||AUX,1,1")
            client.expect(
                texts.started(first)
                + texts.log(
                    "Firmware file checksum ok.",
                    "Read model name.",
                    "Firmware Model Name is HX-9.\r\nDevice Model Name is HX-8.\r\n"
                    "Model Name does not match, upgrade fail.",
                )
                + texts.failed(0, 2)
            )
            client.sync()
        self.assert_frames(framelist.MODEL, framelist.MODEL)


if __name__ == "__main__":
    agentcase.main()
