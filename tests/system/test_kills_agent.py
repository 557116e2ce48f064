# SPDX-License-Identifier: Apache-2.0
"""The agent is killed while it awaits a reply, and started again."""

from tests.harness import agentcase, chain, table, wait
from tests.harness.chain import NEW, OLD

# What AUX and MAIN run when the agent is gone; None stands for an image that was never finished.
# Where everything is new already, the second upgrade is a forced one.
CASES = {
    "model_name": (OLD, OLD),
    "bootcode": (OLD, OLD),
    "product_info": (OLD, OLD),
    "version": (OLD, OLD),
    "enter": (NEW, OLD),
    "first_block": (NEW, None),
    "middle_block": (NEW, None),
    "last_block": (NEW, None),
    "last_acknowledgement": (NEW, NEW),
    "product_id_of_main": (NEW, NEW),
    "reboot": (NEW, NEW),
    "product_id_of_system": (NEW, NEW),
    "set_virtual_version": (NEW, NEW),
}


POWER_CUTS = ("version", "middle_block", "product_id_of_system")


@table.cases("kill_while_awaiting", {step: (step,) for step in CASES})
@table.cases("kill_while_awaiting", {f"power_cut_at_{step}": (step, True) for step in POWER_CUTS})
class TestKilledAgent(chain.TwoChips):
    """The step that is awaited is the test."""

    def kill_while_awaiting(self, step, power_cut=False):
        client = self.run_until(step)
        self.agent.kill()
        self.assertTrue(client.closed.wait(10))
        self.assertEqual(client.raw, b"")
        self.assert_reported(chain.until(step))
        self.simulator.control("fault clear")
        if power_cut:
            self.simulator.control("power-cycle")
        wait.until(lambda: not self.simulator.status()["silent"], 10, "device that is up")
        self.start_agent()
        versions = CASES[step]
        self.assert_whole_run(self.connect(), True, 5 if versions == (NEW, NEW) else 2, *versions)
        self.assertEqual(self.simulator.status()["violations"], 0)


if __name__ == "__main__":
    agentcase.main()
