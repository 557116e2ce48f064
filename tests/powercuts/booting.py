# SPDX-License-Identifier: Apache-2.0
"""Starts the module from the disk after a power cut, and looks at what its agent makes of it."""

import dataclasses
import os
import subprocess
import time

from tests.harness import wait
from tests.powercuts import campaign, cuts, findings, recording
from tests.powercuts.disk import Partition
from tests.powercuts.findings import FileState
from tests.vm import machine
from tests.vm.module import copy_disk

INSTALL_SECONDS = 300


@dataclasses.dataclass(frozen=True)
class Booted:
    """A cut, the state that it left, and the state after the start of the module; without that,
    why there is none."""

    judged: campaign.Judged
    after: findings.State | None
    seconds: float = 0
    problem: str = ""

    @property
    def failures(self):
        """What is not as it should be: empty after an install that was completed, and after one
        that had not begun."""
        if self.after is None:
            return [self.problem]
        before = self.judged.state
        began = before.marker != "none" or before.mixture == "new"
        wanted = FileState.NEW if began else FileState.OLD
        failures = findings.broken_promises(self.after)
        if not self.after.all_files(wanted):
            failures.append(f"the files are {self.after.mixture} instead of {wanted.value}")
        if self.after.version is not wanted:
            failures.append(f"the version file is not {wanted.value}")
        if self.after.marker != "none":
            failures.append("the marker is still there")
        return failures


def choose(judged, count):
    """Cuts of installs, `count` or one of each kind of state if that is more; as many as possible
    of each kind."""
    kinds: dict[tuple, list] = {}
    for one in judged:
        if one.window != "publication":
            kind = (one.window, one.state.marker, one.state.mixture, bool(one.cut.lost))
            kinds.setdefault(kind, []).append(one)
    chosen: list[campaign.Judged] = []
    for number, members in enumerate(sorted(kinds.values(), key=len)):
        share = -(-(count - len(chosen)) // (len(kinds) - number))
        chosen += cuts.spread(members, max(share, 1))
    return sorted(chosen, key=judged.index)


def keep(partitions, folder):
    """Copies the disk of a cut, as the cut left it."""
    os.makedirs(folder, exist_ok=True)
    for partition in partitions:
        copy_disk(partition.path, os.path.join(folder, partition.name + ".img"))


def partitions_in(folder):
    return [Partition(name, 0, 0, os.path.join(folder, name + ".img")) for name in recording.NAMES]


def boot(bench, folder, judged, expected):
    """Starts the module from the disk in this folder, and judges its disk after a sync."""
    started = time.monotonic()
    try:
        run_module(bench, folder, judged)
        after, problem = campaign.judge(partitions_in(folder), expected), ""
    except (AssertionError, OSError, subprocess.TimeoutExpired) as error:
        after, problem = None, str(error)
    return Booted(judged, after, time.monotonic() - started, problem)


def run_module(bench, folder, judged):
    """Starts the module, waits until it has completed its install, and cuts the power."""
    device = bench.device(folder)
    disks = tuple(
        machine.Disk(partition.name, partition.path) for partition in partitions_in(folder)
    )
    module = bench.module(folder, device, disks=disks)
    try:
        module.start().wait_until_ready()
        if judged.window == "blocks" and judged.state.marker != "none":
            # The agent reboots the module after it has completed the install.
            module.wait_until_ready()
        wait.until(
            lambda: not module.run(f"test ! -e {campaign.MARKER}", check=False).returncode,
            INSTALL_SECONDS,
            "end of the install",
        )
        console = module.console()
        console.sync()
        console.close()
        module.run("sync")
    finally:
        module.crash()
        device.kill()
