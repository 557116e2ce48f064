# SPDX-License-Identifier: Apache-2.0
"""The soak test sees a broken promise of the real agent. There is one that the protocol itself
forces, and that the generator therefore leaves out: an acknowledgement carries no block number, so
on a line whose latency is always longer than the wait for a block it counts for a later block."""

import unittest

from tests.soak import worker
from tests.soak.test_verdict import make_run


class TestNotices(unittest.TestCase):
    """Runs by hand, of an image of three blocks."""

    def perform(self, *faults):
        """The report of a run with these faults."""
        run = make_run(700, 5, cost=60, faults=list(faults))
        one = worker.Worker("1")
        self.addCleanup(one.agent.forget)
        self.addCleanup(one.agent.kill)
        return one.perform_scenario(run)

    def test_latency_beyond_the_time_out(self):
        """Every acknowledgement takes 16 s. The one for the second send of block 0 is taken for
        that of block 1, and that of block 1 for that of the last block, which never arrived."""
        report = self.perform("late:word=block,delay=16000", "silent:word=block,block=2")
        self.assertRegex(report["violation"], "AUX1 was reported as written.*from byte 512 on")
        self.assertEqual(set(report["faults"]), {"late", "silent"})

    def test_device_that_was_busy(self):
        """Block 1 is acknowledged twice, and the last block arrives at its second try."""
        report = self.perform(
            "busy:word=block,block=1,delay=16000,count=once", "silent:word=block,block=2,count=once"
        )
        self.assertNotIn("violation", report)
        self.assertEqual(report["rows"], {"AUX1": "written"})
        self.assertEqual(report["faults"], ["busy", "silent"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
