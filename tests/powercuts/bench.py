# SPDX-License-Identifier: Apache-2.0
"""Makes the virtual module and the simulated device of the campaign."""

import os

from tests.harness import simulator
from tests.powercuts import scenario
from tests.vm import accelerator, machine
from tests.vm.module import VirtualModule


class Bench:
    """The built module in a folder, and the folder of the built programs."""

    def __init__(self, image, programs):
        self.image = image
        self.programs = programs
        self.architecture = machine.own()
        self.accelerator = accelerator.accelerator(os.path.join(image, "kernel"), self.architecture)

    def program(self, name):
        return os.path.join(self.programs, name)

    def device(self, folder, *options):
        """A device; without options its line is as fast as the machine."""
        return simulator.Simulator(
            self.program("device-simulator"),
            os.path.join(folder, "device"),
            scenario.DEVICE,
            ["--listen", "127.0.0.1:0"],
            options=options,
        )

    def module(self, folder, device, **options):
        """A module at this device; the options are those of VirtualModule."""
        return VirtualModule(
            self.image,
            os.path.join(folder, "module"),
            self.architecture,
            device=device.address,
            accelerator=self.accelerator,
            **options,
        )
