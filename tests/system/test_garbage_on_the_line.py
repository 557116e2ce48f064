# SPDX-License-Identifier: Apache-2.0
"""A serial line full of noise: nothing crashes, hangs or grows."""

import contextlib
import os
import random

from tests.harness import agentcase, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)


class TestGarbage(agentcase.AgentCase):
    """Random bytes come faster than any line could bring them."""

    def check(self, alphabet):
        client = self.start(agentcase.chip("AUX", 1), images=(AUX,), faults=["silent"])
        before = self.agent.memory()
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADELOG||Read model name.")
        chunk = bytes(random.Random(1).choices(alphabet, k=4096))

        def flood():
            with contextlib.suppress(BlockingIOError):
                os.write(agentcase.MASTER, chunk)

        end = self.repeat(flood)
        client.wait_for("UPGRADEFAIL", 45)
        end()
        self.assertLess(self.agent.memory() - before, 16 * 1024 * 1024)
        client.wait_for(texts.closed()[1])
        client.mark()
        self.start_device(agentcase.chip("AUX", 1))
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADESUCCESS", 40)
        self.assert_flash({(1, 0): AUX.data})

    def test_any_bytes(self):
        self.check(bytes(range(256)))

    def test_bytes_of_headers(self):
        """Mostly what headers are made of, so that lengths of every size come up."""
        self.check(b"\x5b\x5b\x5b\xa5\xa5\x05\x00\x01\xff\x79\x03\xf9")


if __name__ == "__main__":
    agentcase.main()
