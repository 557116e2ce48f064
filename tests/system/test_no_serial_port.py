# SPDX-License-Identifier: Apache-2.0
"""A module whose serial port is not there."""

import time

from tests.harness import agentcase, texts
from tests.harness.package import Image, image_bytes


class TestNoSerialPort(agentcase.AgentCase):
    """The run ends through its time-outs, and the agent takes the next request."""

    def test_run_ends_and_the_next_is_taken(self):
        self.put_package(Image("AUX", image_bytes(300), chip_type=1))
        self.start_agent()
        client = self.connect()
        closed = texts.closed()
        refused = texts.log(
            "ConnectFail", "ttyS2 connect failed, serial port is occupied or does not exist"
        )
        start = time.monotonic()
        client.send("UPGRADE||AUX,1,0")
        client.expect(
            texts.closed("")
            + closed
            + refused
            + texts.log("Firmware file checksum ok.", "Read model name.")
            + closed
            + texts.log("Read model name fail, retry 1.")
            + closed
            + texts.log("Read model name fail, retry 2.")
            + closed
            + texts.log("Read model name fail, upgrade fail, exit.")
            + texts.failed(),
            45,
        )
        self.assertGreater(time.monotonic() - start, 28)
        client.sync()
        client.send("UPGRADE||AUX,1,0")
        client.expect(
            closed * 2
            + refused
            + texts.log("Firmware file checksum ok.", "Read model name.")
            + closed
        )


if __name__ == "__main__":
    agentcase.main()
