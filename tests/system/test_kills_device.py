# SPDX-License-Identifier: Apache-2.0
"""The device is killed while its reply is awaited. It comes back at once, and the run continues
through a retry; or it comes back when the run has failed."""

from tests.harness import agentcase, chain, table, texts
from tests.harness.chain import NEW

# A device that lost power is no longer in update mode: it refuses the block when it is sent
# again, and the image starts again.
IMAGE_AGAIN = (
    texts.log(
        "F/W update timeout, retry 1.",
        "F/W update timeout, retry 2.",
        "'MAIN' F/W update fail, retry 1.",
    )
    + texts.entered("MAIN")
    + chain.main_image_blocks()
)
BLOCKS = ("first_block", "middle_block", "last_block", "last_acknowledgement")


@table.cases("kill_while_awaiting", {step: (step,) for step in chain.FAULTS})
@table.cases("kill_permanently", {f"{step}_permanently": (step,) for step in chain.GIVEN_UP})
class TestKilledDevice(chain.TwoChips):
    """The step that is awaited is the test. The device comes back with empty flash files, so
    the second upgrade is a forced one."""

    def kill_while_awaiting(self, step):
        """It comes back at once: the run succeeds."""
        client = self.run_until(step)
        chips, more = self.kill_device()
        self.start_device(*chips, **more)
        rest = (
            IMAGE_AGAIN + chain.rest(BLOCKS[-1])
            if step in BLOCKS
            else chain.retries(step) + chain.rest(step)
        )
        client.expect(rest, 90)
        client.sync()
        self.assert_reported(rest)
        self.assertEqual(self.simulator.status()["virtual_version"], 5)
        self.assert_whole_run(client, False, 5, NEW, NEW)

    def kill_permanently(self, step):
        """It comes back when the run has failed."""
        client = self.run_until(step)
        chips, more = self.kill_device()
        client.expect(chain.given_up(step), 90)
        client.sync()
        self.start_device(*chips, **more)
        self.assert_whole_run(client, False, 5, *chain.versions_when_given_up(step))
        self.assertEqual(self.simulator.status()["violations"], 0)


if __name__ == "__main__":
    agentcase.main()
