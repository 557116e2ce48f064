# SPDX-License-Identifier: Apache-2.0
"""Upgrades ten simulated modules with Ansible, one of them faulty, and compares every device with
what the report says. Runs in a private network; scripts/demo --fleet starts it."""

import collections
import json
import os
import shutil
import subprocess
import sys

from scripts.lib import demo_images
from tests import ROOT
from tests.fleet.fleet import Fleet
from tests.harness import package

MODULES = 10
FAULTY = "module7"
FAULT = "refuse-block:block=40,type=17"
# name, chip type, MCU type, version, bytes
IMAGES = [
    ("MAIN", 0, 1, (1, 1, 0), 16 * 1024 + 17),
    ("FPGA", 17, 0, (3, 2, 0), 24 * 1024 + 1),
]
DEVICE = {
    "model": "HX-8",
    "product_id": "HX8",
    "chips": [
        {"name": "MAIN", "chip_type": 0, "mcu_type": 1, "version": "1.0.0", "upgrades_to": "1.1.0"},
        {"name": "FPGA", "chip_type": 17, "version": "3.1", "upgrades_to": "3.2"},
    ],
}
# How a wrong demonstration ends.
WRONG = 1


def build_package(folder, programs):
    """Makes FW.fwm in a folder."""
    demo_images.write(folder, IMAGES)
    subprocess.run(
        [os.path.join(programs, "fwm"), "build", "request.json", "-o", "FW.fwm"],
        cwd=folder,
        check=True,
    )


def roll_out(fleet, folder):
    """The rollout, with its output as it comes; returns the exit status."""
    command = ["ansible-playbook", "-i", "inventory.ini", "upgrade_agent.fleet.rollout"]
    command += ["-e", f"upgrade_agent_package={folder}/FW.fwm"]
    print(f"\n$ {' '.join(command)}".replace(folder, "."), flush=True)
    return subprocess.run(
        fleet.controller_command(
            command,
            [folder],
            ANSIBLE_CALLBACKS_ENABLED="upgrade_agent.fleet.report",
            UPGRADE_AGENT_REPORT_DIR=os.path.join(folder, "report"),
            ANSIBLE_CALLBACK_RESULT_FORMAT="yaml",
            ANSIBLE_FORKS=str(MODULES),
        ),
        cwd=folder,
        check=False,
    ).returncode


def image_bytes(folder, name):
    """An image of the package."""
    with open(os.path.join(folder, f"{name}.bin"), "rb") as file:
        return file.read()


def disagreements(fleet, folder, report):
    """Each chip whose flash is not what the report says."""
    for entry in report["modules"]:
        flash = fleet.modules[entry["module"]].flash()
        decisions = {chip["chip_type"]: chip["decision"] for chip in entry["chips"]}
        for name, chip_type, *_ in IMAGES:
            expected = package.expected_flash(image_bytes(folder, name))
            holds = flash.get((chip_type, 0)) == expected
            if holds != (decisions.get(chip_type) == "updated"):
                yield f"{entry['module']}, {name}"


def show_summary(report):
    """The number of modules for each outcome, and why modules failed."""
    outcomes = collections.Counter(entry["outcome"] for entry in report["modules"])
    print("\n" + ", ".join(f"{count} {outcome}" for outcome, count in outcomes.items()))
    for entry in report["modules"]:
        if entry["outcome"] == "failed":
            print(f"  {entry['module']}: {entry['message']}")


def main():
    folder = sys.argv[1]
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    print(f"Starting {MODULES} modules.", flush=True)
    with Fleet(MODULES, device=DEVICE) as fleet:
        build_package(folder, fleet.programs)
        shutil.copy(fleet.inventory, folder)
        fleet.modules[FAULTY].control_device(f"fault add {FAULT}")
        status = roll_out(fleet, folder)
        with open(os.path.join(folder, "report", "report.json"), encoding="utf-8") as file:
            report = json.load(file)
        show_summary(report)
        wrong = list(disagreements(fleet, folder, report))
    failed = [entry["module"] for entry in report["modules"] if entry["outcome"] == "failed"]
    path = os.path.relpath(os.path.join(folder, "report", "report.html"), ROOT)
    print(f"\nThe report, with a chart of the waves: {path}")
    if wrong or status == 0 or failed != [FAULTY]:
        print(f"The demonstration FAILED: not as expected: {wrong or failed}")
        return WRONG
    print("The flash of every device is what the report says, byte for byte.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
