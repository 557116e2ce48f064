# SPDX-License-Identifier: Apache-2.0
"""Mode 5: no model name is read, and every version is written."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(512, "main"))
AUX = Image("AUX", image_bytes(513, "aux"), chip_type=1, mcu_type=2, version=(0, 9, 0))


class TestMode5(agentcase.AgentCase):
    """A forced upgrade."""

    def test_older_and_equal_versions_are_written(self):
        """A main MCU at index 1 is one MCU among others: no restart is awaited."""
        client = self.start(
            agentcase.chip("MAIN", 0, 1, upgrades_to="1.0.0"),
            agentcase.chip("AUX", 1, 0, mcu_type=2),
            images=(MAIN, AUX),
            package={"model": "OTHER"},
            mode=5,
        )
        client.send("UPGRADE||MAIN,0,1||AUX,1,0")
        client.expect(
            texts.started()
            + texts.log("Firmware file checksum ok.")
            + texts.read_chips(("MAIN", "1.0.0"), ("AUX", "1.0.0"))
            + texts.image("MAIN", 0, 2, 512)
            + texts.image("AUX", 1, 2, 513)
            + texts.finished(),
            40,
        )
        client.sync()
        self.assert_flash({(0, 1): MAIN.data, (1, 0): AUX.data})
        self.assert_frames(
            *framelist.mcu(0, 1),
            *framelist.mcu(1, 0),
            framelist.version(0, 1),
            framelist.version(1, 0),
            *framelist.image(0, 1, 512),
            *framelist.image(1, 0, 513),
            framelist.REBOOT,
            framelist.PRODUCT_ID,
            framelist.virtual(5),
        )

    def test_mode_is_kept_for_other_clients(self):
        client = self.start(agentcase.chip("AUX", 1, 0, mcu_type=2), images=(AUX,), mode=5)
        client.close()
        other = self.connect()
        other.send("UPGRADE||AUX,1,0,more,fields")
        other.expect(
            texts.started()
            + texts.log("Firmware file checksum ok.")
            + texts.read_chips(("AUX", "1.0.0"))
            + texts.image("AUX", 0, 1, 513)
            + texts.finished(),
            40,
        )
        self.assert_flash({(1, 0): AUX.data})

    def test_rows_without_firmware(self):
        client = self.start(agentcase.chip("A", 3), agentcase.chip("B", 4), images=(AUX,), mode=5)
        client.send("UPGRADE||A,3,0||B,4,0")
        client.expect(
            texts.started()
            + texts.log("Firmware file checksum ok.")
            + texts.read_chips(("A", "1.0.0"), ("B", "1.0.0"))
            + texts.not_in_list("A", 0, 2)
            + texts.not_in_list("B", 1, 2)
            + texts.finished(written=False),
            40,
        )
        client.sync()
        self.assert_flash({})

    def test_virtual_version_of_the_package(self):
        """The last part counts; if it is not a number from 1 to 255, 0 is sent."""
        for version, number in (("7", 7), ("2.300", 0), ("1.0.12", 12)):
            client = self.start(
                agentcase.chip("AUX", 1, 0, mcu_type=2),
                images=(AUX,),
                mode=5,
                package={"version": version},
            )
            client.send("UPGRADE||AUX,1,0")
            client.wait_for("UPGRADESUCCESS", 40)
            self.assertEqual(self.simulator.host_frames()[-1], framelist.virtual(number))
            self.agent.kill()


if __name__ == "__main__":
    agentcase.main()
