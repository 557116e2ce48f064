# SPDX-License-Identifier: Apache-2.0
"""The serial device hangs up during a run. It does not come back, so this is the only test here."""

import os
import time

from tests.harness import agentcase, texts, wait
from tests.harness.package import Image, image_bytes


class TestUnplugged(agentcase.AgentCase):
    """The run ends through its time-outs, and no loop burns the processor meanwhile."""

    def test_hang_up(self):
        client = self.start(
            agentcase.chip("AUX", 1),
            faults=["silent:word=bootcode"],
            images=(Image("AUX", image_bytes(300), chip_type=1),),
        )
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADELOG||Read bootcode information of 'AUX'.")
        wait.until(lambda: len(self.simulator.host_frames()) == 2)
        self.simulator.kill()
        os.close(agentcase.MASTER)
        time.sleep(2)  # in which the agent may notice
        before = self.agent.processor_seconds()
        time.sleep(4)  # the time over which the processor is watched
        self.assertLess(self.agent.processor_seconds() - before, 0.5)
        # Bootcode and version reads time out, then the reboot.
        client.wait_for("UPGRADEFAIL", 120)
        client.wait_for(texts.closed()[1])
        client.mark()
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADELOG||Firmware file checksum ok.")
        self.assertNotIn(texts.BUSY, client.lines)


if __name__ == "__main__":
    agentcase.main()
