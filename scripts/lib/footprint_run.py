# SPDX-License-Identifier: Apache-2.0
"""Measures the agent's memory at rest and over one upgrade, inside the sandbox.

On an emulated processor the agent's memory is in a range that is passed to the emulator; only this
range counts, not the memory of the emulator.
"""

import os
import re
import shutil
import sys
import time

from scripts.lib import demo_run
from tests.harness import wait
from tests.harness.agent import Agent
from tests.harness.console import Console
from tests.harness.simulator import Simulator

IS_EMULATED = os.environ.get("AGENT_EMULATED") == "1"
GUEST_BASE = 1 << 44
GUEST_BYTES = 1 << 40
KINDS = ("Rss", "Anonymous")
SECONDS_OF_RUN = 300
SECONDS_OF_REST = 3


def own_range(start):
    """Whether an area of the process belongs to the agent."""
    return not IS_EMULATED or GUEST_BASE <= start < GUEST_BASE + GUEST_BYTES


def memory(pid):
    """Resident KiB of the agent: all of it, and what no file backs."""
    sums = dict.fromkeys(KINDS, 0)
    counts = False
    with open(f"/proc/{pid}/smaps", encoding="utf-8", errors="replace") as file:
        for line in file:
            area = re.match(r"([0-9a-f]+)-[0-9a-f]+ ", line)
            if area:
                counts = own_range(int(area.group(1), 16))
                continue
            kind, _, value = line.partition(":")
            if counts and kind in sums:
                sums[kind] += int(value.split()[0])
    return sums


def show(when, sums):
    print(f"{when}: {sums['Rss']} KiB resident, {sums['Anonymous']} KiB of it not backed by a file")


def start_agent():
    """The agent; an emulated one is in a separate address range."""
    agent = Agent(**({"QEMU_GUEST_BASE": str(GUEST_BASE)} if IS_EMULATED else {}))
    agent.wait_until_it_listens(60)
    return agent


def upgrade(agent):
    """One upgrade of all chips; the most that the agent had at a time."""
    client = Console()
    client.send(
        "UPGRADE||" + "||".join(f"{chip[0]},{chip[1]},{chip[2]}" for chip in demo_run.CHIPS)
    )
    peak = dict.fromkeys(KINDS, 0)
    end = time.monotonic() + SECONDS_OF_RUN
    while time.monotonic() < end:
        now = memory(agent.popen.pid)
        peak = {kind: max(peak[kind], now[kind]) for kind in KINDS}
        if "UPGRADESUCCESS" in client.lines:
            client.close()
            return peak
        time.sleep(0.02)
    raise wait.TimeOut(f"no end of the upgrade within {SECONDS_OF_RUN} s")


def main():
    shutil.copy(os.path.join(sys.argv[1], "FW.fwm"), "/data/FW.fwm")
    master = os.environ["SANDBOX_PTY_FD"]
    simulator = Simulator(
        os.environ["DEVICE_SIMULATOR"],
        "/tmp/device",
        demo_run.device(),
        ("--fd", master),
        pass_fds=(int(master),),
    )
    agent = start_agent()
    time.sleep(SECONDS_OF_REST)
    show("agent at rest", memory(agent.popen.pid))
    show("most during an upgrade", upgrade(agent))
    time.sleep(SECONDS_OF_REST)
    show("at rest after the upgrade", memory(agent.popen.pid))
    agent.kill()
    simulator.stop()


if __name__ == "__main__":
    main()
