# SPDX-License-Identifier: Apache-2.0
"""The base of the cases of rollouts: a fleet, packages, and the report against the devices."""

import csv
import hashlib
import json
import os
import signal
import unittest

from tests.fleet.fleet import Fleet
from tests.harness import files
from tests.harness import package as packages
from tests.harness import wait

PLAYBOOK = "upgrade_agent.fleet.rollout"
AUX, FPGA = (1, 0), (17, 0)
# The outcomes of a module after which nothing more is to do.
COMPLETE = ("updated", "unchanged")


def images(seed=1, aux=(1, 1, 0), fpga=(3, 1, 0), size=4196):
    """The images of a package for the devices of the fleet."""
    return [
        packages.Image("AUX", packages.image_bytes(size, f"aux {seed}"), 1, 1, 2, version=aux),
        packages.Image("FPGA", packages.image_bytes(size, f"fpga {seed}"), 17, 1, 0, version=fpga),
    ]


class FleetCase(unittest.TestCase):
    """tests/fleet/cases.py runs each test in a separate process, since a private network has one
    fleet."""

    maxDiff = None
    count = 4
    # What the last rollout has printed.
    output = ""

    def setUp(self):
        # A shell's background jobs ignore Ctrl-C, and so would the controllers.
        signal.signal(signal.SIGINT, signal.default_int_handler)
        self.fleet = Fleet(self.count)
        self.addCleanup(self.fleet.stop)
        self.fleet.start()
        self.modules = list(self.fleet.modules.values())
        self.names = list(self.fleet.modules)
        self.folder = os.path.join(self.fleet.home, "report")

    def run(self, result=None):
        """Shows what the programs have written if the test fails."""
        before = len(result.failures) + len(result.errors)
        done = super().run(result)
        if len(result.failures) + len(result.errors) > before and hasattr(self, "fleet"):
            print(self.output, self.fleet.report(), sep="\n")
        return done

    # What a case is made of.

    def write_package(self, content_images, name="FW.fwm", **more):
        """Writes a package on the controller, or replaces it; returns its bytes."""
        return self.write_bytes(packages.build(content_images, **more), name)

    def write_bytes(self, content, name="FW.fwm"):
        """Replaces a file on the controller by rename."""
        path = os.path.join(self.fleet.home, name)
        files.write(path + ".new", content)
        os.replace(path + ".new", path)
        return content

    def _rollout(self, options, variables):
        command = ["ansible-playbook", "-i", self.fleet.inventory, PLAYBOOK, *options]
        for name, value in {"package": "FW.fwm", **variables}.items():
            value = os.path.join(self.fleet.home, value) if name == "package" else value
            command += ["-e", f"upgrade_agent_{name}={value}"]
        environment = {
            "ANSIBLE_CALLBACKS_ENABLED": "upgrade_agent.fleet.report",
            "UPGRADE_AGENT_REPORT_DIR": self.folder,
            "ANSIBLE_NOCOLOR": "1",
        }
        return command, environment

    def rollout(self, *options, environment=None, **variables):
        """Rolls a package out; returns the exit status of ansible-playbook."""
        command, values = self._rollout(options, variables)
        done = self.fleet.run(*command, **{**values, **(environment or {})})
        self.output = done.stdout + done.stderr
        return done.returncode

    def begin_rollout(self, module):
        """Starts a rollout, and waits until it writes to the device of this module; returns the
        process."""
        command, environment = self._rollout((), {})
        process = self.fleet.begin(*command, **environment)
        self.addCleanup(process.kill)
        self.wait_until_writing(module)
        return process

    def end_rollout(self, process):
        """Waits for its end; returns its exit status."""
        self.output = process.popen.communicate(timeout=300)[0].decode()
        return process.popen.returncode

    def assert_rollout(self, *options, **variables):
        """Rolls the package out; every module gets it."""
        self.assertEqual(self.rollout(*options, **variables), 0, self.output)
        self.assert_outcomes(*["updated"] * self.count)

    def assert_stops(self, *outcomes, **variables):
        """Rolls the package out, which does not succeed."""
        self.assertNotEqual(self.rollout(**variables), 0, self.output)
        self.assert_outcomes(*outcomes)

    def resume(self, **variables):
        """Continues with the modules that are not complete."""
        return self.rollout("--limit", f"@{self.folder}/remaining.txt", **variables)

    def assert_resumes(self):
        """Continues; now every module has the package."""
        self.assertEqual(self.resume(), 0, self.output)
        self.assert_outcomes(*["updated"] * self.count)

    def wait_until_writing(self, module, chip=AUX):
        """Waits until a part of an image is in the device."""
        wait.until(lambda: module.device.chip(*chip)["half_written"], 60, "half-written image")

    # The report.

    def report(self, folder=None):
        """The report as values."""
        return json.loads(files.text(folder or self.folder, "report.json"))

    def entries(self):
        """The report's modules by their names."""
        return {entry["module"]: entry for entry in self.report()["modules"]}

    def outcomes(self):
        """The outcome of each module, in the order of the inventory."""
        entries = self.entries()
        return [entries[name]["outcome"] for name in self.names]

    def remaining(self):
        """The modules for the next run."""
        return files.text(self.folder, "remaining.txt").split()

    def predictions(self):
        """What check mode has predicted for the chips of each module."""
        report = self.report(os.path.join(self.folder, "check"))
        self.assertEqual({entry["outcome"] for entry in report["modules"]}, {"predicted"})
        return [[chip["decision"] for chip in entry["chips"]] for entry in report["modules"]]

    def assert_outcomes(self, *expected):
        """The outcomes, the files of the report, and what the modules hold agree."""
        self.assertEqual(self.outcomes(), list(expected), self.output)
        report = self.report()
        counts = {name: expected.count(name) for name in report["counts"]}
        self.assertEqual(report["counts"], counts)
        complete = [
            entry["module"]
            for entry in report["modules"]
            if entry["outcome"] in COMPLETE and entry["healthy"]
        ]
        self.assertEqual(self.remaining(), [name for name in self.names if name not in complete])
        lines = files.text(self.folder, "report.csv").splitlines()
        rows = {(row["module"], row["outcome"]) for row in csv.DictReader(lines)}
        self.assertEqual(rows, set(zip(self.names, expected)))
        page = files.text(self.folder, "report.html")
        self.assertEqual([name for name in self.names if name not in page], [])

    def assert_devices(self, package_images, package=None, but=()):
        """Every flash is what the report says: a chip that has its image according to the report
        has it, byte for byte, and every other chip does not. So does the module's package, if its
        bytes are given. `but` are names of modules that the report cannot know."""
        for name, entry in self.entries().items():
            if name in but:
                continue
            module = self.fleet.modules[name]
            flash = module.flash()
            chips = {(chip["chip_type"], chip["chip_index"]): chip for chip in entry["chips"]}
            for image in package_images:
                place = (image.chip_type, 0)
                decision = chips[place]["decision"] if place in chips else "none"
                claimed = decision == "updated" or (
                    decision == "up-to-date" and entry["outcome"] in COMPLETE
                )
                holds = flash.get(place) == packages.expected_flash(image.data)
                self.assertEqual(holds, claimed, f"{name}, {image.name}, decision '{decision}'")
            if package is not None and entry["package_sha256"]:
                digest = hashlib.sha256(module.package() or b"").hexdigest()
                self.assertEqual(digest, entry["package_sha256"], name)
                self.assertEqual(module.package(), package, name)

    def assert_untouched(self, *modules):
        """Nothing was sent to these devices, and no file is on their modules."""
        for module in modules:
            self.assertEqual(module.device.host_frames(), [], module.name)
            self.assertEqual(os.listdir(module.data), [], module.name)

    def written(self):
        """How many images were written to each device."""
        return [
            sum(chip["images_written"] for chip in module.device.status()["chips"])
            for module in self.modules
        ]
