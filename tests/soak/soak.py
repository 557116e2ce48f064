# SPDX-License-Identifier: Apache-2.0
"""The soak test: simulated upgrades with random faults, many at the same time.

Each lane is a sandbox of its own with one real agent, which is kept for one run after the other.
Most of the time goes by in the protocol's time-outs, so there may be many more lanes than
processors. A run is made from the seed and its number alone. What must hold behind each run is in
verdict.py and lane.py; the first violation of a lane ends that lane, prints everything known about
it and makes the exit status 1.
"""

import argparse
import collections
import contextlib
import json
import os
import queue
import subprocess
import sys
import threading
import time

import scenario

HERE = os.path.dirname(os.path.realpath(__file__))
PROJECT = os.path.dirname(os.path.dirname(HERE))


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=100, metavar="N", help="how many runs (100)")
    parser.add_argument("--seed", default="1", metavar="N", help="what the runs are made from (1)")
    parser.add_argument(
        "--first",
        type=int,
        default=1,
        metavar="N",
        help="number of the first run (1), to go on with a seed",
    )
    parser.add_argument(
        "--only",
        metavar="RUN[,RUN]...",
        help="these runs alone, in this order and in one lane: a replay",
    )
    parser.add_argument(
        "--lanes", type=int, default=40, metavar="N", help="how many agents at the same time (40)"
    )
    parser.add_argument(
        "--quick", action="store_true", help="short runs alone, each of less than a minute"
    )
    parser.add_argument(
        "--programs",
        default=os.path.join(PROJECT, "build", "release", "bin"),
        metavar="DIR",
        help="where the built programs are",
    )
    parser.add_argument(
        "--bind", action="append", default=[], metavar="DIR", help="what the programs need besides"
    )
    parser.add_argument("--show", action="store_true", help="a line of JSON for each run")
    parser.add_argument("--details", action="store_true", help="print all details of each run")
    return parser.parse_args()


class Soak:
    """All lanes, and what they report."""

    def __init__(self, options):
        self.options = options
        self.jobs = queue.Queue()
        self.reports = []
        self.broken = []
        self.lock = threading.Lock()

    def numbers(self):
        """The runs' numbers; the long ones first, so that no lane begins one at the very end."""
        if self.options.only:
            return [int(number) for number in self.options.only.split(",")]
        numbers = range(self.options.first, self.options.first + self.options.runs)
        return sorted(
            numbers,
            key=lambda number: -scenario.make(self.options.seed, number, self.options.quick).cost,
        )

    def perform(self):
        """Everything, to the end."""
        numbers = self.numbers()
        for number in numbers:
            self.jobs.put(number)
        lanes = 1 if self.options.only else min(self.options.lanes, len(numbers))
        threads = [threading.Thread(target=self.lane, args=(lane,)) for lane in range(1, lanes + 1)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        return len(numbers)

    def lane(self, lane):
        """One sandbox, as long as there are runs."""
        programs = os.path.realpath(self.options.programs)
        command = [
            os.path.join(PROJECT, "scripts", "sandbox"),
            "--pty",
            *(f"--bind={folder}" for folder in (programs, *self.options.bind)),
            "--",
            "python3",
            "-B",
            os.path.join(HERE, "lane.py"),
            str(self.options.seed),
        ]
        environment = {
            **os.environ,
            "AGENT_PROGRAM": os.path.join(programs, "upgrade-agent"),
            "DEVICE_SIMULATOR": os.path.join(programs, "device-simulator"),
        }
        done = []
        command += ["quick"] * self.options.quick + ["details"] * self.options.details
        with subprocess.Popen(
            command, env=environment, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE
        ) as sandbox:
            while True:
                try:
                    number = self.jobs.get_nowait()
                except queue.Empty:
                    break
                done.append(number)
                with contextlib.suppress(BrokenPipeError):
                    print(number, file=sandbox.stdin, flush=True)
                line = sandbox.stdout.readline()
                if not self.take(lane, done, line):
                    break
            with contextlib.suppress(BrokenPipeError):
                sandbox.stdin.close()

    def take(self, lane, done, line):
        """One report; False when its lane has ended."""
        report = json.loads(line) if line else {"run": done[-1], "violation": "the lane has died"}
        with self.lock:
            self.reports.append(report)
            if self.options.show:
                print(
                    json.dumps({key: value for key, value in report.items() if key != "evidence"}),
                    flush=True,
                )
            if self.options.details:
                print(json.dumps(report.get("evidence"), indent=1), flush=True)
            if "violation" in report:
                self.broken.append(report)
                self.explain(lane, done, report)
        return "violation" not in report

    def explain(self, lane, done, report):
        """What broke, and how to see it again."""
        seed = f"--seed {self.options.seed}" + " --quick" * self.options.quick
        print(
            f"VIOLATION in run {report['run']} of seed {self.options.seed}, lane {lane}: "
            f"{report['violation']}\n"
            f"  again alone:      scripts/check soak -- {seed} --only {report['run']}\n"
            f"  as in this lane:  scripts/check soak -- {seed} --only {','.join(map(str, done))}",
            file=sys.stderr,
        )
        print(json.dumps(report.get("evidence"), indent=1), file=sys.stderr, flush=True)


def summary(reports, seconds):
    """The figures, as lines."""
    faults = collections.Counter(name for one in reports for name in one.get("faults", ()))
    events = collections.Counter(name for one in reports for name in one.get("events", ()))
    rows = collections.Counter(
        outcome for one in reports for outcome in one.get("rows", {}).values()
    )
    ends = collections.Counter(
        "success" if one.get("status") == ["6"] else "failure" for one in reports
    )
    longest = max((one.get("seconds", 0) for one in reports), default=0)
    growth = max((one.get("growth", 0) for one in reports), default=0)
    memory = max((size for one in reports for size in one.get("memory", ())), default=0)

    def counted(counter):
        return ", ".join(f"{name} {count}" for name, count in sorted(counter.items())) or "none"

    return [
        f"runs        {len(reports)} in {seconds:.0f} s, the longest {longest:.0f} s",
        f"ended with  {counted(ends)}",
        f"images      {counted(rows)}",
        f"faults      {sum(faults.values())}: {counted(faults)}",
        f"events      {sum(events.values())}: {counted(events)}",
        f"memory      at most {memory / 1024:.0f} KiB at rest; greatest growth in a lane "
        f"{growth / 1024:.0f} KiB; no descriptor more",
    ]


def main():
    options = parse_arguments()
    started = time.monotonic()
    soak = Soak(options)
    wanted = soak.perform()
    print(*summary(soak.reports, time.monotonic() - started), sep="\n")
    missing = wanted - len(soak.reports)
    if missing:
        print(f"{missing} runs were not done, because their lanes had ended")
    print(f"violations  {len(soak.broken)}")
    return 1 if soak.broken or missing or not soak.reports else 0


if __name__ == "__main__":
    sys.exit(main())
