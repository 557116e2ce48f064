# SPDX-License-Identifier: Apache-2.0
"""The parts of the simulated fleet that need no network."""

import unittest

from bench.fleet import row
from bench.runner.fleet import tasks
from tests.fleet import cases, control, network
from tests.harness import files

LOG = """\
2026-03-02 14:07:31,250 p=7 u=operator n=ansible | PLAY [Roll out a package] *****
2026-03-02 14:07:31,250 p=7 u=operator n=ansible | TASK [Reach the module] *******
2026-03-02 14:07:32,500 p=7 u=operator n=ansible | ok: [module1]
2026-03-02 14:07:33,000 p=7 u=operator n=ansible | TASK [Upgrade the device] *****
2026-03-02 14:08:00,125 p=7 u=operator n=ansible | PLAY RECAP ********************
"""


class Module:
    """A module that records what is done to it."""

    def __init__(self):
        self.calls = []

    def __getattr__(self, name):
        return lambda *arguments: self.calls.append((name, *arguments))


class Fleet:
    """A fleet of one such module."""

    def __init__(self):
        self.module = Module()
        self.modules = {"module1": self.module}


class TestParts(unittest.TestCase):
    """Without root and without namespaces."""

    def test_the_machine_s_network_is_refused(self):
        """The machine has more than a loopback interface, or at least another first process."""
        if len(files.text("/proc/net/dev").splitlines()) == 3:
            self.skipTest("this machine has no network")
        with self.assertRaises(network.NotPrivate):
            network.require_private()

    def test_addresses(self):
        self.assertEqual(
            [network.module_address(number) for number in (1, 250, 251, 1000)],
            ["10.77.1.1", "10.77.1.250", "10.77.2.1", "10.77.4.250"],
        )

    def test_control(self):
        table = {
            "module1 unplug": ("ok\n", [("unplug",)]),
            "module1 power-on": ("ok\n", [("power_on",), ("wait_until_ready",)]),
            "module1 device fault list": ("ok\nNone", [("control_device", "fault list")]),
            "module1 device": ("error\nunknown action 'device'", []),
            "module1 plug in": ("error\nunknown action 'plug in'", []),
            "module2 plug": ("error\nthere is no module 'module2'", []),
            "": ("error\nthere is no module ''", []),
        }
        for line, (answer, calls) in table.items():
            with self.subTest(line):
                fleet = Fleet()
                self.assertEqual(control.execute(fleet, line + "\n").split(";")[0], answer)
                self.assertEqual(fleet.module.calls, calls)

    def test_times_of_tasks(self):
        self.assertEqual(tasks(LOG), [("Reach the module", 1.75), ("Upgrade the device", 27.125)])
        self.assertEqual(tasks(""), [])

    def test_row_of_the_bench(self):
        single = {"wall_s": 30.0, "run_longest_s": 20.0}
        line = {
            "modules": 10,
            "wall_s": 45.0,
            "run_longest_s": 21.2,
            "controller_cpu_s": 12.0,
            "busy": 0.5,
            "memory_bytes": 300 << 20,
        }
        self.assertEqual(
            row(line, single), ["10", "45.0", "1.50", "1.06", "1.20", "50 %", "300", "no"]
        )
        self.assertEqual(row({**line, "run_longest_s": 21}, single)[-1], "yes")

    def test_every_case_is_listed(self):
        names = [name.rsplit(".", 1)[1] for name in cases.cases()]
        self.assertEqual(len(names), len(set(names)))
        self.assertIn("test_failing_canary", names)
        self.assertIn("test_modules_are_separate", names)


if __name__ == "__main__":
    unittest.main()
