# SPDX-License-Identifier: Apache-2.0
"""A request of very many rows."""

import resource

from tests.harness import agentcase, framelist, texts, wait
from tests.harness.package import Image, image_bytes

# A function that calls itself for each row overflows the stack if it takes 84 bytes or more.
ROWS = 12_500
STACK = 1024 * 1024


def limit_stack():
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, STACK))


class TestRows(agentcase.AgentCase):
    """Nothing recurses once per row."""

    def start_agent(self, **environment):
        # A sanitizer or an emulator needs more stack itself.
        if wait.SLOWNESS != 1:
            return super().start_agent(**environment)
        agent = super().start_agent(popen={"preexec_fn": limit_stack}, **environment)
        self.assertEqual(resource.prlimit(agent.popen.pid, resource.RLIMIT_STACK), (STACK, STACK))
        return agent

    def test_very_many_fpga_rows(self):
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
