# SPDX-License-Identifier: Apache-2.0
"""Power cuts of the module while it upgrades a chip: after the start the next upgrade succeeds."""

import re

from tests.harness import wait
from tests.harness.package import expected_flash
from tests.powercuts import scenario

REQUEST = "UPGRADE||AUX,1,0"
CHIP = (1, 0)
UPGRADE_SECONDS = 300


def percentages(lines):
    """The progress of the run in percent, so far."""
    return [
        float(found[1]) for line in lines if (found := re.match(r"PROGRESSVALUE\|\|([\d.]+)", line))
    ]


class UpgradeCuts:
    """One module and one device; the device keeps its power, and so it stays in the middle of its
    image. Each cut is followed by a start and a whole upgrade."""

    def __init__(self, bench, folder):
        self.device = bench.device(folder, "--baud", "57600")
        self.module = bench.module(folder, self.device)

    def begin(self):
        """Starts an upgrade with every image, from a separate client."""
        console = self.module.console()
        console.send("UPGRADEMODE||5")
        console.send(REQUEST)
        return console

    def cut_at(self, percent):
        """Cuts the power when a new run has come this far; raises AssertionError if its image is
        complete by then."""
        console = self.begin()
        wait.until(
            lambda: max(percentages(console.lines), default=0) >= percent,
            UPGRADE_SECONDS,
            f"{percent} % of an upgrade; received: {console.lines[-5:]}",
        )
        self.module.crash()
        console.close()
        assert self.device.chip(*CHIP)["half_written"], "the image was complete"

    def whole(self):
        """A whole upgrade; raises AssertionError or wait.TimeOut if it does not succeed."""
        images = self.device.chip(*CHIP)["images_written"]
        console = self.begin()
        console.wait_for("UPGRADESUCCESS", UPGRADE_SECONDS)
        console.close()
        assert self.device.chip(*CHIP)["images_written"] == images + 1, "nothing was written"
        assert self.device.flash(*CHIP) == expected_flash(scenario.AUX.data), "the flash differs"

    def run(self, percents):
        """Cuts at each of these percentages of a run."""
        try:
            self.module.start().wait_until_ready()
            self.module.run(
                "cat >/data/FW.fwm; chown upgrade-agent: /data/FW.fwm; sync",
                input=scenario.firmware(scenario.VERSIONS[0]),
                text=False,
            )
            for percent in percents:
                self.cut_at(percent)
                self.module.start().wait_until_ready()
                self.whole()
        finally:
            self.module.crash()
            self.device.kill()
