# SPDX-License-Identifier: Apache-2.0
"""One rollout to N simulated modules, all in one wave, with its time and its load. Prints one JSON
document. Runs in a private network."""

import datetime
import json
import os
import re
import sys
import threading
import time

from tests import ROOT
from tests.fleet.fleet import Fleet
from tests.harness import package

# Two images of 32 KiB: at 57600 baud the line is busy for about 13 seconds of a run.
IMAGES = [
    package.Image("AUX", package.image_bytes(32 * 1024, "aux"), 1, 1, 2, version=(1, 1, 0)),
    package.Image("FPGA", package.image_bytes(32 * 1024, "fpga"), 17, 1, 0, version=(3, 1, 0)),
]
SAMPLE_S = 0.5
# All modules are asked at once, and share this machine's processors with the controller.
CONNECT_S = 300
_TASK = re.compile(r"^(\S+ \S+),(\d+) .*? \| (?:TASK \[(.*?)\]|(PLAY RECAP))", re.M)


def processor_seconds():
    """(busy, total) seconds of all processors since the start of the machine."""
    with open("/proc/stat", encoding="ascii") as file:
        values = [int(word) / os.sysconf("SC_CLK_TCK") for word in file.readline().split()[1:9]]
    idle = values[3] + values[4]
    return sum(values) - idle, sum(values)


def available_memory():
    """Bytes of memory that programs may still use."""
    with open("/proc/meminfo", encoding="ascii") as file:
        return int(re.findall(r"^MemAvailable:\s+(\d+) kB", file.read(), re.M)[0]) * 1024


class MemoryWatch(threading.Thread):
    """The least available memory until stop()."""

    def __init__(self):
        super().__init__()
        self._end = threading.Event()
        self.least = available_memory()

    def run(self):
        while not self._end.wait(SAMPLE_S):
            self.least = min(self.least, available_memory())

    def stop(self):
        """Returns the least that was seen."""
        self._end.set()
        self.join()
        return self.least


def tasks(log):
    """The seconds of each task, from Ansible's log: [(name, seconds)]."""
    marks = [
        (
            task or end,
            datetime.datetime.fromisoformat(second).timestamp() + int(milliseconds) / 1000,
        )
        for second, milliseconds, task, end in _TASK.findall(log)
    ]
    return [(name, after - begin) for (name, begin), (_, after) in zip(marks, marks[1:])]


def roll_out(fleet):
    """One rollout with as many forks as modules; returns the processor seconds of the controller,
    the log and the report."""
    folder = fleet.home
    with open(os.path.join(folder, "FW.fwm"), "wb") as file:
        file.write(package.build(IMAGES))
    done = fleet.run(
        *("python3", "-B", "-m", "bench.runner.processor_time", f"{folder}/seconds"),
        *("ansible-playbook", "-i", fleet.inventory, "upgrade_agent.fleet.rollout"),
        *("-e", f"upgrade_agent_package={folder}/FW.fwm"),
        *("-e", '{"upgrade_agent_waves": ["100%"]}'),
        *("-e", f"upgrade_agent_connect_timeout={CONNECT_S}"),
        timeout=3600,
        PYTHONPATH=ROOT,
        ANSIBLE_FORKS=str(len(fleet.modules)),
        ANSIBLE_TIMEOUT=str(CONNECT_S),
        ANSIBLE_CALLBACKS_ENABLED="upgrade_agent.fleet.report",
        UPGRADE_AGENT_REPORT_DIR=f"{folder}/report",
        ANSIBLE_LOG_PATH=f"{folder}/log",
        ANSIBLE_NOCOLOR="1",
    )
    if done.returncode != 0:
        sys.exit(f"bench: the rollout failed:\n{done.stdout}{done.stderr}")
    with open(f"{folder}/seconds", encoding="ascii") as file:
        seconds = float(file.read())
    with open(f"{folder}/log", encoding="utf-8") as file:
        log = file.read()
    with open(f"{folder}/report/report.json", encoding="utf-8") as file:
        return seconds, log, json.load(file)


def check(fleet):
    """Every device has its images; a figure of a wrong rollout is worth nothing."""
    expected = {(image.chip_type, 0): package.expected_flash(image.data) for image in IMAGES}
    wrong = [module.name for module in fleet.modules.values() if module.flash() != expected]
    if wrong:
        sys.exit(f"bench: wrong flash: {', '.join(wrong)}")


def measure(count):
    """The figures of one rollout."""
    begin = time.monotonic()
    with Fleet(count) as fleet:
        ready = time.monotonic()
        memory = MemoryWatch()
        before = memory.least
        memory.start()
        busy = processor_seconds()
        controller, log, report = roll_out(fleet)
        end = time.monotonic()
        busy_after = processor_seconds()
        least = memory.stop()
        check(fleet)
    durations = sorted(entry["duration"] for entry in report["modules"])
    return {
        "modules": count,
        "start_s": ready - begin,
        "wall_s": end - ready,
        "run_median_s": durations[len(durations) // 2],
        "run_longest_s": durations[-1],
        "controller_cpu_s": controller,
        "busy_cpu_s": busy_after[0] - busy[0],
        "busy": (busy_after[0] - busy[0]) / (busy_after[1] - busy[1]),
        "memory_bytes": before - least,
        "tasks": tasks(log),
    }


if __name__ == "__main__":
    print(json.dumps(measure(int(sys.argv[1]))))
