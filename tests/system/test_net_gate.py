# SPDX-License-Identifier: Apache-2.0
"""What makes the receiver of NET blocks silent for ten seconds or an install, and no longer; in
real time."""

import time

from tests.harness import agentcase, frames, module, netcase, netimage, table, texts
from tests.harness.blocksender import REFUSED

IMAGE = netimage.image()
SILENT_SECONDS = 11


# A whole frame that asks for nothing, and one that claims 65,540 bytes.
SILENT_BYTES = {
    "command_of_others": (frames.host(frames.REBOOT),),
    "false_length": (b"\x5a\x5b\xa5\xff\xff" + bytes(4),),
}


@table.cases("becomes_silent", SILENT_BYTES)
class TestNetGate(netcase.NetCase):
    """One way into silence each."""

    def setUp(self):
        super().setUp()
        self.start_agent()
        self.send_as = self.sender()
        self.send_as.client.sync()

    def becomes_silent(self, content):
        """The sender's next frame is not heard."""
        self.assert_silent(self.send_as, content)
        self.assert_silent(self.send_as, netimage.enter())
        time.sleep(SILENT_SECONDS)
        self.send_as.enter()

    def test_half_a_frame(self):
        self.assert_silent(self.send_as, netimage.enter()[:8])
        time.sleep(SILENT_SECONDS)
        self.send_as.enter()

    def test_during_an_install(self):
        """Nothing is answered until it ends: neither a repetition of the last block, which has no
        answer, nor other frames."""
        (last,) = self.send_as.begin(IMAGE)
        module.hold(module.UNPACK)
        self.send_as.send(last)
        client = self.send_as.client
        client.wait_for("UPGRADELOG||NET package upgrade 30%.")
        client.mark()
        module.wait_for_command(module.UNPACK)
        self.assert_silent(self.send_as, netimage.enter())
        time.sleep(SILENT_SECONDS)
        for payload in (last, netimage.enter(), netimage.blocks(IMAGE)[0], b"RebootDone"):
            self.assert_silent(self.send_as, payload)
        module.release()
        client.expect(texts.net_blocks_installed()[3:] + texts.net_reboots())
        # Until the module goes down.
        self.send_as.enter(REFUSED)
        self.assert_silent(self.send_as, last)
        self.assert_reboots(*module.INSTALL)
        self.assert_installed()


if __name__ == "__main__":
    agentcase.main()
