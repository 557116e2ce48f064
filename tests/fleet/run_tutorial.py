# SPDX-License-Identifier: Apache-2.0
"""Runs the tutorial of fleets: its sh blocks are typed into one shell, and from the line that starts
the modules on into the shell on the controller. Each line of a text block must appear in what the
block before it printed, in that order.

usage: python3 -B -m tests.fleet.run_tutorial [PAGE]
"""

import os
import shutil
import subprocess
import sys

from tests import ROOT
from tests.tutorial import run_tutorial

PAGE = os.path.join(ROOT, "docs", "use", "fleet.md")
# Where the page works.
FOLDER = os.path.join(ROOT, "build", "fleet-tutorial")
START = "scripts/fleet "
LIMIT_S = 1800


def main():
    with open(sys.argv[1] if len(sys.argv) > 1 else PAGE, encoding="utf-8") as file:
        found = run_tutorial.blocks(file.read())
    commands = run_tutorial.script(found)
    assert commands.count(START) == 1 and os.path.basename(FOLDER) in commands, commands
    shutil.rmtree(FOLDER, ignore_errors=True)
    # A shell reads its commands from a pipe byte by byte, so the one on the controller continues
    # where the first one has stopped.
    run = subprocess.run(
        ["bash"],
        input=commands,
        cwd=ROOT,
        capture_output=True,
        text=True,
        timeout=LIMIT_S,
        check=False,
    )
    run_tutorial.judge(found, run)


if __name__ == "__main__":
    main()
