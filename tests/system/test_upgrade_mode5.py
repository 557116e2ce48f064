# SPDX-License-Identifier: Apache-2.0
"""Mode 5: no model name is read, and every version is written."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(512, "main"))
AUX = Image("AUX", image_bytes(513, "aux"), chip_type=1, mcu_type=2, version=(0, 9, 0))


class TestMode5(agentcase.AgentCase):
    """A forced upgrade."""

    def test_older_and_equal_versions_are_written(self):
        """A main MCU at index 1 is one MCU among others: no restart is awaited. The mode is that
        of the agent, not of the client."""
        self.start(
            agentcase.chip("MAIN", 0, 1, upgrades_to="1.0.0"),
            agentcase.chip("AUX", 1, 0, mcu_type=2),
            agentcase.chip("NONE", 3),
            images=(MAIN, AUX),
            package={"model": "OTHER", "version": "2.0.12"},
            mode=5,
        ).close()
        client = self.connect()
        client.send("UPGRADE||MAIN,0,1||NONE,3,0||AUX,1,0,more,fields")
        client.expect(
            texts.begun(("MAIN", "1.0.0"), ("NONE", "1.0.0"), ("AUX", "1.0.0"), mode=5)
            + texts.image("MAIN", 0, 3, 512)
            + texts.not_in_list("NONE", 1, 3)
            + texts.image("AUX", 2, 3, 513)
            + texts.finished(),
            40,
        )
        client.sync()
        self.assert_flash({(0, 1): MAIN.data, (1, 0): AUX.data})
        self.assert_frames(
            *framelist.reads((0, 1), (3, 0), (1, 0)),
            *framelist.image(0, 1, 512),
            *framelist.image(1, 0, 513),
            *framelist.end(12),
        )


if __name__ == "__main__":
    agentcase.main()
