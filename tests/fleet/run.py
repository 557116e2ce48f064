# SPDX-License-Identifier: Apache-2.0
"""Runs a command on the controller of a fleet of simulated modules; scripts/fleet starts it."""

import argparse
import json
import os
import subprocess
import sys

from tests.fleet.control import ControlServer
from tests.fleet.fleet import BAUD, PROGRAMS, Fleet
from tests.harness import files

CANNOT_RUN = 125


def parse_arguments():
    """The command line of scripts/fleet."""
    parser = argparse.ArgumentParser(
        prog="scripts/fleet",
        usage="%(prog)s [OPTION]... MODULES -- COMMAND [ARGUMENT]...",
        description="Starts simulated modules, module1 and so on, and runs a command that reaches "
        "them over ssh. The command works in the current folder, which it may write. Everything "
        "ends with it.",
    )
    parser.add_argument("modules", metavar="MODULES", type=int, help="how many modules")
    parser.add_argument("--device", metavar="FILE", help="the device file of every module")
    parser.add_argument(
        "--baud",
        metavar="RATE",
        default=BAUD,
        help=f"speed of the serial lines ({BAUD}), or 'unpaced'",
    )
    parser.add_argument(
        "--programs",
        metavar="DIR",
        default=PROGRAMS,
        help="folder of the built programs (build/release/bin)",
    )
    parser.add_argument("command", nargs="+", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.modules < 1:
        parser.error("at least one module")
    for name in ("upgrade-agent", "device-simulator", "fwm", "upgrade-console"):
        if not os.access(os.path.join(options.programs, name), os.X_OK):
            parser.error(f"{options.programs} has no program '{name}'; scripts/demo builds it")
    return options


def main():
    """Returns the exit status of the command."""
    options = parse_arguments()
    device = None
    if options.device:
        device = json.loads(files.text(options.device))
    with Fleet(options.modules, options.programs, device, baud=options.baud) as fleet:
        server = ControlServer(fleet)
        here = os.getcwd()
        command = fleet.controller_command(options.command, [here, server.folder])
        try:
            with subprocess.Popen(command, cwd=here) as process:
                return server.serve_until_end_of(process)
        except KeyboardInterrupt:
            return CANNOT_RUN


if __name__ == "__main__":
    sys.exit(main())
