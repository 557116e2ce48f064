# SPDX-License-Identifier: Apache-2.0
"""The agent is killed while it awaits a reply, and started again."""

from tests.harness import agentcase, chain, wait
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

    def test_model_name(self):
        self.kill_while_awaiting("model_name")

    def test_bootcode(self):
        self.kill_while_awaiting("bootcode")

    def test_product_info(self):
        self.kill_while_awaiting("product_info")

    def test_version(self):
        self.kill_while_awaiting("version")

    def test_enter(self):
        self.kill_while_awaiting("enter")

    def test_first_block(self):
        self.kill_while_awaiting("first_block")

    def test_middle_block(self):
        self.kill_while_awaiting("middle_block")

    def test_last_block(self):
        self.kill_while_awaiting("last_block")

    def test_last_acknowledgement(self):
        self.kill_while_awaiting("last_acknowledgement")

    def test_product_id_of_main(self):
        self.kill_while_awaiting("product_id_of_main")

    def test_reboot(self):
        self.kill_while_awaiting("reboot")

    def test_product_id_of_system(self):
        self.kill_while_awaiting("product_id_of_system")

    def test_set_virtual_version(self):
        self.kill_while_awaiting("set_virtual_version")

    def test_power_cut_at_version(self):
        self.kill_while_awaiting("version", power_cut=True)

    def test_power_cut_at_middle_block(self):
        self.kill_while_awaiting("middle_block", power_cut=True)

    def test_power_cut_at_product_id_of_system(self):
        self.kill_while_awaiting("product_id_of_system", power_cut=True)


if __name__ == "__main__":
    agentcase.main()
