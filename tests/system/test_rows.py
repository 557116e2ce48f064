# SPDX-License-Identifier: Apache-2.0
"""A request of very many rows."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

ROWS = 100_000


class TestRows(agentcase.AgentCase):
    """Nothing recurses once per row."""

    def test_hundred_thousand_fpga_rows(self):
        """Every row is skipped by the first reads and up to date at the version read."""
        client = self.start(
            agentcase.chip("X", 17, 1, version="1.0", upgrades_to="1.0"),
            images=(Image("X", image_bytes(300), chip_type=17, version=(1, 0, 0)),),
        )
        client.send("UPGRADE" + "||X,17,1" * ROWS)
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_fpga("X") * ROWS
            + texts.reads_done()
            + texts.read_version("X", "1.0") * ROWS
            + texts.decided("1.0.0", "equal", "X", "1.0.0") * ROWS
            + texts.finished(written=False),
            240,
        )
        client.sync()
        self.assertEqual(len(self.simulator.host_frames()), ROWS + 3)
        self.assertEqual(
            self.simulator.host_frames()[-2:], [framelist.REBOOT, framelist.PRODUCT_ID]
        )


if __name__ == "__main__":
    agentcase.main()
