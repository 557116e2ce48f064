# SPDX-License-Identifier: Apache-2.0
"""The simulated modules themselves, with scripts/fleet as all users run it."""

import os
import subprocess
import unittest

from tests import ROOT
from tests.harness import command, files

FLEET = os.path.join(ROOT, "scripts", "fleet")
LIMIT_S = 300


def run(script, modules=2):
    """Runs a shell script on the controller; returns the completed process."""
    words = (FLEET, str(modules), "--", "sh", "-c", script)
    return command.run(*words, cwd="/tmp", stdin=subprocess.DEVNULL, timeout=LIMIT_S)


class TestSimulated(unittest.TestCase):
    """Each test starts a fleet."""

    maxDiff = None

    def check(self, script, expected, status=0):
        """The script's standard output and exit status."""
        done = run(script)
        self.assertEqual((done.returncode, done.stdout), (status, expected), done.stderr)

    def test_modules_are_separate(self):
        self.check(
            """
            ssh module1 'touch /data/one /tmp/one; id -un'
            ssh module2 'ls /data; ls /tmp; touch /etc/x 2>/dev/null || echo refused'
            exit 7""",
            "operator\nagent.log\nrefused\n",
            7,
        )

    def test_programs_of_a_module(self):
        self.check(
            "ssh module2 'command -v fwm upgrade-console sudo | xargs -n 1 basename'; "
            'upgrade-console --host module2 --json ping | grep -o \'"result": "[a-z]*"\'',
            'fwm\nupgrade-console\nsudo\n"result": "done"\n',
        )

    def test_control(self):
        """Each change is seen by a client: 5 is "cannot connect"."""
        ping = "upgrade-console --host module2 --timeout 2 ping >/dev/null 2>&1; echo $?\n"
        back = (
            "for try in $(seq 100); do upgrade-console --host module2 ping >/dev/null 2>&1 && "
            "break; sleep 0.1; done\n"
        )
        changes = ("unplug", "plug", "power-off", "power-on", "kill-agent")
        self.check(
            "".join(f"fleet-control module2 {change}\n{ping}" for change in changes) + back + ping,
            "5\n0\n5\n0\n5\n0\n",
        )

    def test_control_of_a_device(self):
        self.check(
            """
            fleet-control module1 device fault add silent:word=enter
            fleet-control module1 device fault list
            fleet-control module1 device fault clear
            fleet-control module1 device nonsense || echo "status $?"
            fleet-control module1 explode || echo "status $?"
            fleet-control module9 plug || echo "status $?"
            """,
            "silent:word=enter\nstatus 1\nstatus 1\nstatus 1\n",
        )

    def test_nothing_is_left(self):
        """The folder of the fleet is in a private mount, and all processes have ended."""
        run("ssh module1 true")
        self.assertFalse(os.path.exists("/run/fleet"))
        self.assertFalse(os.path.exists("/run/netns/module1"))
        left = [pid for pid in os.listdir("/proc") if pid.isdigit() and self._is_of_a_fleet(pid)]
        self.assertEqual(left, [])

    @staticmethod
    def _is_of_a_fleet(pid):
        try:
            return b"/run/fleet" in files.content(f"/proc/{pid}/cmdline")
        except OSError:
            return False
