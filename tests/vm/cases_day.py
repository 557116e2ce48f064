# SPDX-License-Identifier: Apache-2.0
"""What a module does in a day, one after the other without the time between."""

import contextlib

from tests.vm import case

# One upgrade an hour, a client each minute, a heartbeat of a client that stays every ten seconds.
UPGRADES = 24
CONNECTIONS = 24 * 60
HEARTBEATS = 24 * 360
GROWTH_KIB = 1024


class TestDay(case.ModuleCase):
    def usage(self):
        """The open files and the resident KiB of the agent."""
        pid = self.agent_pid()
        files = self.shell(f"ls /proc/{pid}/fd | wc -l")
        memory = self.shell(f"sed -n 's/^VmRSS:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/{pid}/status")
        return pid, int(files), int(memory)

    def hour(self, client):
        """An upgrade of one chip, and this hour's share of the rest."""
        client.send("UPGRADE||MAIN,0,0")
        client.wait_for("UPGRADESUCCESS", 120)
        for _ in range(CONNECTIONS // UPGRADES):
            self.module.console().close()
        for _ in range(HEARTBEATS // UPGRADES):
            client.send("HEARTBEAT")
        client.wait_for("HEARTBEAT", 120, count=HEARTBEATS // UPGRADES)
        client.mark()

    def test_1_day(self):
        """24 upgrades, 1440 connections and 8640 heartbeats leave files and memory as they were"""
        self.put(case.IMAGES[:1])
        with contextlib.closing(self.module.console()) as client:
            # The first ones fill the caches of the libraries.
            self.hour(client)
            self.hour(client)
            pid, files, memory = self.usage()
            for _ in range(UPGRADES - 2):
                self.hour(client)
            after = self.usage()
        self.assertEqual(after[:2], (pid, files))
        self.assertLess(after[2] - memory, GROWTH_KIB)
