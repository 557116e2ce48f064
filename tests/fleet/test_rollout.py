# SPDX-License-Identifier: Apache-2.0
"""Rollouts to simulated modules with the playbook, and with everything that it uses."""

import os
from datetime import datetime

from tests.fleet.fleetcase import AUX, FPGA, FleetCase, images
from tests.harness import files
from tests.harness import package as packages
from tests.harness import signing, wait

DEAD = "die-at-block:block=8,type=1"
REFUSES = "refuse:word=enter,type=1"


def seconds(time):
    """A time of the report in seconds."""
    return datetime.strptime(time, "%Y-%m-%dT%H:%M:%S%z").timestamp()


class TestRollout(FleetCase):
    """Waves of four modules: the canary, a tenth (one module), the rest."""

    def test_all_good_and_again(self):
        """The second rollout writes nothing."""
        new = images()
        package = self.write_package(new)
        self.assert_rollout()
        self.assert_devices(new, package)
        self.assertEqual(self.written(), [2] * 4)
        self.assertEqual([wave["modules"] for wave in self.report()["waves"]], [1, 1, 2])
        self.assertEqual(self.rollout(), 0, self.output)
        self.assert_outcomes(*["unchanged"] * 4)
        self.assertNotRegex(self.output, r"changed=[1-9]")
        self.assert_devices(new, package)
        self.assertEqual(self.written(), [2] * 4)

    def test_check_mode(self):
        """It changes nothing. What a device runs is known from the log of its module's agent, and
        not before the first run."""
        self.write_package(images())
        self.assertEqual(self.rollout("--check", "--diff"), 0, self.output)
        self.assertEqual(self.predictions(), [["unknown", "unknown"]] * 4)
        self.assert_untouched(*self.modules)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "report.json")))

    def test_check_mode_after_a_rollout(self):
        """It predicts what would be written."""
        self.write_package(images())
        self.assertEqual(self.rollout(), 0, self.output)
        self.assertEqual(self.rollout("--check"), 0, self.output)
        self.assertEqual(self.predictions(), [["up-to-date", "up-to-date"]] * 4)
        self.assertNotRegex(self.output, r"changed=[1-9]")
        self.write_package(images(aux=(1, 2, 0)))
        self.assertEqual(self.rollout("--check"), 0, self.output)
        self.assertEqual(self.predictions(), [["would-write", "up-to-date"]] * 4)
        self.assertEqual(self.written(), [2] * 4)
        self.assert_outcomes(*["updated"] * 4)

    def test_failing_canary(self):
        """No other module is touched."""
        new = images()
        package = self.write_package(new)
        self.modules[0].control_device(f"fault add {REFUSES}")
        self.assert_stops("failed", *["not-started"] * 3)
        self.assert_devices(new, package)
        self.assert_untouched(*self.modules[1:])
        self.assertIn("update mode", self.entries()["module1"]["message"])

    def test_unreachable_module(self):
        """The rollout stops with its wave, and continues when the module is back."""
        new = images()
        package = self.write_package(new)
        self.modules[1].unplug()
        self.assert_stops("updated", "unreachable", "not-started", "not-started", connect_timeout=5)
        self.assert_devices(new, package)
        self.assert_untouched(*self.modules[1:])
        self.modules[1].plug()
        self.assert_resumes()
        self.assert_devices(new, package)
        self.assertEqual(self.written(), [2] * 4)

    def test_device_dies_in_mid_flash(self):
        """In the last wave, beside a good module; after the repair the rollout is completed. One
        image only, since the agent waits a minute or more for each chip of a dead device."""
        new = images()[:1]
        package = self.write_package(new)
        self.modules[2].control_device(f"fault add {DEAD}")
        self.assert_stops("updated", "updated", "failed", "updated")
        self.assertEqual(self.remaining(), ["module3"])
        self.assert_devices(new, package)
        self.assertTrue(self.modules[2].device.chip(*AUX)["half_written"])
        self.modules[2].control_device("fault clear")
        self.modules[2].control_device("power-cycle")
        self.assert_resumes()
        self.assert_devices(new, package)
        self.assertEqual(self.written(), [1] * 4)

    def test_agent_dies_in_mid_flash(self):
        """The module starts it again, and the image is written once more."""
        new = images()
        package = self.write_package(new)
        process = self.begin_rollout(self.modules[0])
        self.modules[0].kill_agent()
        self.assertEqual(self.end_rollout(process), 0, self.output)
        self.assert_outcomes(*["updated"] * 4)
        self.assert_devices(new, package)


class TestOthers(FleetCase):
    """Other clients, another controller, other packages."""

    count = 3

    def test_busy_module(self):
        """Another client's run is not disturbed; after its end the rollout is completed."""
        other, new = images("other", size=60000), images(aux=(1, 2, 0), fpga=(3, 2, 0))
        canary = self.modules[0]
        canary.put("FW.fwm", packages.build(other))
        # The run lasts until the rollout has ended, also on a busy machine.
        canary.control_device("fault add late:word=block,delay=3000")
        client = self.fleet.begin("upgrade-console", "--json", "--host", "module1", "upgrade")
        self.addCleanup(client.kill)
        self.wait_until_writing(canary)
        package = self.write_package(new)
        self.assert_stops("failed", "not-started", "not-started")
        self.assertIn("busy", self.entries()["module1"]["message"])
        self.assert_untouched(*self.modules[1:])
        self.assertEqual(canary.package(), packages.build(other))
        self.assertIsNone(client.popen.poll())
        canary.control_device("fault clear")
        client.popen.communicate(timeout=300)
        self.assertEqual(client.popen.returncode, 0)
        written = [packages.expected_flash(image.data) for image in other]
        self.assertEqual(canary.flash(), dict(zip((AUX, FPGA), written)))
        self.assert_resumes()
        self.assert_devices(new, package)

    def test_pause_between_waves(self):
        """A minute after the canary, and none after the last wave."""
        new = images()
        package = self.write_package(new)
        waves = ["-e", '{"upgrade_agent_waves": [1, "100%"]}']
        self.assert_rollout(*waves, pause_minutes=1)
        self.assert_devices(new, package)
        self.assertEqual(self.output.count("Pausing for 60 seconds"), 1, self.output)
        begin = seconds(self.report()["waves"][1]["started"])
        self.assertGreaterEqual(begin - seconds(self.entries()["module1"]["finished"]), 60)

    def test_killed_controller(self):
        """The run of a module continues without it; a new rollout completes the rest, and writes
        nothing twice."""
        new = images()
        package = self.write_package(new)
        process = self.begin_rollout(self.modules[1])
        process.kill()
        self.assertEqual(self.outcomes(), ["updated", "running", "not-started"])
        self.assertEqual(self.remaining(), self.names[1:])
        self.assert_devices(new, package, but=["module2"])
        self.assert_untouched(self.modules[2])
        self.assertEqual(self.resume(busy_timeout=60), 0, self.output)
        self.assert_outcomes("updated", "unchanged", "updated")
        self.assert_devices(new, package)
        self.assertEqual(self.written(), [2] * 3)

    def test_interrupted_controller(self):
        """Ctrl-C in the run of a module: the report shows it, and the rollout can be completed."""
        new = images()
        package = self.write_package(new)
        process = self.begin_rollout(self.modules[1])
        self.fleet.interrupt(process)
        self.assertNotEqual(self.end_rollout(process), 0)
        self.assertEqual(self.remaining(), self.names[1:])
        self.assert_devices(new, package, but=["module2"])
        self.assert_untouched(self.modules[2])
        self.assertEqual(self.resume(busy_timeout=60), 0, self.output)
        self.assertEqual(self.written(), [2] * 3)
        self.assert_devices(new, package)

    def test_damaged_package(self):
        """It is refused on the controller."""
        content = bytearray(packages.build(images()))
        content[-1] ^= 1
        self.write_bytes(bytes(content))
        self.assert_stops("failed", "not-started", "not-started")
        self.assert_untouched(*self.modules)
        self.assertIn("refused on the controller", self.entries()["module1"]["message"])

    def test_foreign_package(self):
        """The canary's agent refuses the package of another model."""
        new = images()
        package = self.write_package(new, model="HX-9")
        self.assert_stops("failed", "not-started", "not-started")
        self.assert_devices(new, package)
        self.assert_untouched(*self.modules[1:])
        self.assertEqual(self.written(), [0] * 3)

    def test_unsigned_package(self):
        """A module with keys refuses it and keeps its package; with the signature it is taken."""
        key = signing.Key("release", self.fleet.home)
        old = packages.build(images("old", (0, 9, 0), (2, 9, 0)))
        for module in self.modules:
            files.write(os.path.join(module.keys, "release.pub"), key.public)
            module.put("FW.fwm", old)
            module.put("FW.fwm.minisig", key.sign(old))
        new = images()
        package = self.write_package(new)
        self.assert_stops("failed", "not-started", "not-started")
        self.assertEqual([module.package() for module in self.modules], [old] * 3)
        self.assertEqual([module.device.host_frames() for module in self.modules], [[]] * 3)
        self.write_bytes(key.sign(package), "FW.fwm.minisig")
        self.assert_resumes()
        self.assert_devices(new, package)

    def test_package_replaced_on_the_controller(self):
        """After the canary: no module gets the other package."""
        new = images()
        package = self.write_package(new)
        process = self.begin_rollout(self.modules[0])
        self.write_package(images("other", (1, 2, 0), (3, 2, 0)))
        self.assertNotEqual(self.end_rollout(process), 0)
        self.assert_outcomes("updated", "failed", "not-started")
        self.assertIn("replaced", self.entries()["module2"]["message"])
        self.assert_devices(new, package)
        self.assert_untouched(*self.modules[1:])

    def test_package_replaced_on_a_module(self):
        """By another program in a run: the run ends with the package that it began with."""
        new = images()
        package = self.write_package(new)
        process = self.begin_rollout(self.modules[0])
        other = packages.build(images("other", (1, 2, 0), (3, 2, 0)))
        self.modules[0].put("FW.fwm", other)
        self.assertEqual(self.end_rollout(process), 0, self.output)
        self.assert_outcomes(*["updated"] * 3)
        self.assert_devices(new)
        self.assertEqual([module.package() for module in self.modules], [other, package, package])

    def test_module_restarts_in_mid_flash(self):
        """Its power fails for a moment: the rollout stops, and is completed later."""
        new = images()
        package = self.write_package(new)
        process = self.begin_rollout(self.modules[0])
        self.modules[0].power_off()
        self.modules[0].power_on()
        self.modules[0].wait_until_ready()
        self.end_rollout(process)
        wait.until(lambda: self.modules[0].agent_pid() is not None, what="agent")
        self.assert_devices(new, package)
        if self.remaining():
            self.assertEqual(self.resume(), 0, self.output)
        self.assertEqual(self.remaining(), [])
        self.assert_devices(new, package)
