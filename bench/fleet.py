# SPDX-License-Identifier: Apache-2.0
"""Measures rollouts to many simulated modules; scripts/bench --fleet starts it."""

import argparse
import json
import os
import subprocess
import sys

from scripts.lib import results
from tests import ROOT

PRIVATE_NETWORK = os.path.join(ROOT, "scripts", "lib", "private-network")
# Every simulated module shares this machine's processors. A count is honest while no module's run
# takes longer than this many times the run of a single module.
HONEST = 1.05
HEAD = (
    "modules",
    "time, s",
    "over one module",
    "longest run over one module's",
    "controller's CPU per module, s",
    "processors busy",
    "memory, MiB",
    "honest",
)


def parse_arguments():
    parser = argparse.ArgumentParser(prog="scripts/bench --fleet", description=__doc__)
    parser.add_argument(
        "--modules",
        metavar="N[,N]...",
        default="1,10,50,100",
        help="how many modules, beginning with 1 (1,10,50,100)",
    )
    parser.add_argument("--json", metavar="FILE", help="write everything as JSON, too")
    parser.add_argument(
        "--record", action="store_true", help="write the figures into docs/results.md"
    )
    options = parser.parse_args()
    options.counts = [int(count) for count in options.modules.split(",")]
    if options.counts[0] != 1:
        parser.error("--modules: the first is 1, to which the others are compared")
    return options


def measure(count):
    """One rollout in a private network."""
    print(f"{count} modules", file=sys.stderr, flush=True)
    done = subprocess.run(
        [PRIVATE_NETWORK, sys.executable, "-B", "-m", "bench.runner.fleet", str(count)],
        cwd=ROOT,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        check=False,
    )
    if done.returncode != 0:
        sys.exit(done.returncode)
    return json.loads(done.stdout)


def row(line, single):
    """The figures of a count, compared with the single module."""
    longest = line["run_longest_s"] / single["run_longest_s"]
    return [
        str(line["modules"]),
        f"{line['wall_s']:.1f}",
        f"{line['wall_s'] / single['wall_s']:.2f}",
        f"{longest:.2f}",
        f"{line['controller_cpu_s'] / line['modules']:.2f}",
        f"{line['busy'] * 100:.0f} %",
        f"{line['memory_bytes'] / 1024 / 1024:.0f}",
        "yes" if longest <= HONEST else "no",
    ]


def task_table(lines):
    """Where the time goes: the seconds of each task for each count."""
    names = list(dict.fromkeys(name for line in lines for name, _ in line["tasks"]))
    rows = []
    for name in names:
        seconds = [sum(time for task, time in line["tasks"] if task == name) for line in lines]
        rows.append([name, *(f"{value:.1f}" for value in seconds)])
    head = ("task", *(f"{line['modules']}, s" for line in lines))
    return results.table(head, rows, range(1, len(head)))


def main():
    options = parse_arguments()
    lines = [measure(count) for count in options.counts]
    text = results.table(HEAD, [row(line, lines[0]) for line in lines], range(len(HEAD) - 1))
    text += f"\n\nThe time of each task:\n\n{task_table(lines)}"
    print(text)
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump(lines, file, indent=1)
    if options.record:
        results.record("fleet", text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
