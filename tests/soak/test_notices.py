# SPDX-License-Identifier: Apache-2.0
"""The soak test sees a broken promise of the real agent. There is one that the protocol itself
forces, and that the generator therefore leaves out: an acknowledgement bears no block number, so
one that comes after its block was sent again counts for the next block."""

import unittest

import lane
import scenario


class TestNotices(unittest.TestCase):
    """One run by hand."""

    def test_acknowledgement_behind_its_time_out(self):
        """The second block's late word is taken for that of the last one, which never arrived."""
        chip = {"name": "AUX1", "chip_type": 1, "chip_index": 0, "mcu_type": 1, "pcb_version": 1,
                "speciality": "A", "version": "1.0.0", "upgrades_to": "1.1.0"}
        run = scenario.Scenario(
            1, 5, "UPGRADE||AUX1,1,0", [chip],
            [scenario.Image("AUX1", 1, 700, "seed", (1, 1, 0))], "good", {}, [("AUX1", 1, 0)],
            cost=30, faults=["late:word=block,block=1,delay=16000,count=once",
                             "silent:word=block,block=2"])
        one = lane.Lane("1")
        self.addCleanup(one.agent.forget)
        self.addCleanup(one.agent.kill)
        report = one.perform_scenario(run)
        self.assertRegex(report["violation"], "AUX1 was reported as written.*from byte 512 on")
        self.assertEqual(report["faults"], ["late", "silent"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
