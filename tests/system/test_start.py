# SPDX-License-Identifier: Apache-2.0
"""The agent starts for an ordinary user, who may open neither the serial device nor the package."""

import os

from tests.harness import agentcase, texts
from tests.harness.package import Image, image_bytes

# The end lines begin with an empty line; a package that cannot be read is reported twice.
END = ("", "DISCONNECTCOM", "", "UPGRADEFAIL")


class TestStart(agentcase.AgentCase):
    def test_ordinary_user(self):
        self.assertNotEqual(os.getuid(), 0)
        self.start_agent()
        client = self.connect()
        client.ask("VERSION", "VERSION||1.15")
        self.put_package(Image("AUX", image_bytes(300), chip_type=1))
        os.chmod(agentcase.PACKAGE, 0)
        client.ask(
            "GETFIRMWARELIST",
            *END,
            *END,
            "FIRMWARELIST||ERROR:Faild to open firmware file.",
            *texts.closed(""),
            *texts.closed(""),
        )
        client.sync()


if __name__ == "__main__":
    agentcase.main()
