# SPDX-License-Identifier: Apache-2.0
"""Shows one upgrade live, inside the sandbox, and compares the device with the package."""

import os
import shutil
import struct
import sys
import time

from tests.harness import package
from tests.harness.agent import Agent
from tests.harness.console import Console
from tests.harness.simulator import Simulator

# name, chip type, chip index, MCU type, runs, runs afterwards
CHIPS = [
    ("MAIN", 0, 0, 1, "1.0.0", "1.1.0"),
    ("AUX1", 1, 0, 2, "1.0.0", "1.1.0"),
    ("AUX2", 2, 0, 3, "2.3.9", "2.4.1"),
    ("KEY", 3, 0, 4, "1.0.0", "1.0.0"),
    ("FPGA", 17, 0, 0, "3.1", "3.2"),
]
LIMIT = 170


def device():
    """The device file: five chips on a line that is as slow as the real one."""
    keys = ("name", "chip_type", "chip_index", "mcu_type", "version", "upgrades_to")
    return {
        "model": "HX-8",
        "product_id": "HX8",
        "virtual_version": 3,
        "chips": [dict(zip(keys, chip)) for chip in CHIPS],
    }


def records(path):
    """The image of each chip type, read from the package by nothing but its layout."""
    with open(path, "rb") as file:
        content = file.read()
    place = 15 + struct.unpack_from("<H", content, 13)[0]
    images = {}
    while place < len(content):
        size = struct.unpack_from("<I", content, place + 8)[0]
        images[content[place]] = content[place + 12 : place + 12 + size]
        place += 12 + size
    return images


class Screen:
    """Shows the agent's lines as they come; the progress stays on one line of a terminal."""

    def __init__(self):
        self.start = time.monotonic()
        self.is_terminal = sys.stdout.isatty()
        self.shown_tenth = -1

    def show(self, line):
        if line.startswith("PROGRESSVALUE||"):
            self._progress(float(line.split("||")[1]))
        elif line:
            clear = "\r\033[K" if self.is_terminal else ""
            print(f"{clear}{time.monotonic() - self.start:7.2f} s  {line}", flush=True)

    def _progress(self, percent):
        if self.is_terminal:
            bar = "#" * int(percent / 2.5)
            print(
                f"\r{time.monotonic() - self.start:7.2f} s  [{bar:40}] {percent:6.2f} %",
                end="",
                flush=True,
            )
        elif int(percent / 10) != self.shown_tenth:
            self.shown_tenth = int(percent / 10)
            print(f"{time.monotonic() - self.start:7.2f} s  {percent:6.2f} %", flush=True)


def watch(client):
    """Shows everything until the run has ended; returns whether it succeeded."""
    screen = Screen()
    shown = 0
    while time.monotonic() - screen.start < LIMIT:
        lines = client.lines
        for line in lines[shown:]:
            screen.show(line)
        shown = len(lines)
        if "UPGRADESUCCESS" in lines or "UPGRADEFAIL" in lines:
            return "UPGRADESUCCESS" in lines
        time.sleep(0.05)
    print(f"No end after {LIMIT} s.")
    return False


def compare(simulator, images):
    """Compares each chip's flash with its image, byte for byte; returns whether all is well."""
    good = True
    for name, chip_type, chip_index, _, before, after in CHIPS:
        flash = simulator.flash(chip_type, chip_index)
        if before == after:
            well = flash is None
            what = "was up to date and has been left alone" if well else "was written for nothing"
        else:
            image = images[chip_type]
            well = flash == package.expected_flash(image)
            what = (
                f"holds its image, {len(image)} bytes, byte for byte"
                if well
                else "DIFFERS from its image"
            )
        print(f"  {name:5} {what}")
        good = good and well
    return good


def main():
    work = sys.argv[1]
    shutil.copy(os.path.join(work, "FW.fwm"), "/data/FW.fwm")
    images = records("/data/FW.fwm")
    simulator = Simulator(
        os.environ["DEVICE_SIMULATOR"],
        "/tmp/device",
        device(),
        ("--fd", os.environ["SANDBOX_PTY_FD"]),
        options=("--baud", "57600"),
        pass_fds=(int(os.environ["SANDBOX_PTY_FD"]),),
    )
    agent = Agent()
    agent.wait_until_it_listens()
    client = Console()
    request = "UPGRADE||" + "||".join(f"{chip[0]},{chip[1]},{chip[2]}" for chip in CHIPS)
    print(f"\nThe agent listens on port 35353, the device is on /dev/ttyS2.\n\n> {request}\n")
    client.send(request)
    succeeded = watch(client)
    print("\nThe device's flash, against the package:")
    equal = compare(simulator, images)
    agent.kill()
    simulator.stop()
    if not (succeeded and equal):
        print("\nThe upgrade FAILED.")
        return 1
    print("\nThe upgrade is complete: every image in the device equals the package.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
