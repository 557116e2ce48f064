# SPDX-License-Identifier: Apache-2.0
"""One full upgrade with the agent under valgrind: no error, nothing definitely lost.

Run by scripts/check memcheck, which sets $AGENT_WRAPPER.
"""

import re

from tests.harness import agentcase
from tests.system import test_upgrade_mode2 as upgrade

LOG = "/tmp/memcheck.{}"  # of the process


class TestMemory(upgrade.TestMode2):
    """The upgrade of six chips, then the end of the agent, at which valgrind looks for leaks."""

    def setUp(self):
        super().setUp()
        self.addCleanup(self.assert_clean)
        self.addCleanup(self.stop_agent)

    def stop_agent(self):
        self.agent.stop()

    def assert_clean(self):
        with open(LOG.format(self.agent.popen.pid), encoding="utf-8") as file:
            log = file.read()
        print(log)
        summary = re.findall(r"ERROR SUMMARY: (\d+) errors", log)
        self.assertEqual(summary, ["0"], "errors, or valgrind did not come to its end")
        self.assertIn("LEAK SUMMARY", log)


if __name__ == "__main__":
    agentcase.main()
