# SPDX-License-Identifier: Apache-2.0
"""The soak test: simulated upgrades with random faults, many at the same time.

Each worker is a sandbox with one real agent, which executes run after run. Most of the time is
spent in the protocol's time-outs, so there may be many more workers than processors. A run depends
only on the seed and its number. verdict.py and worker.py check each run; the first violation ends
its worker, prints all details and makes the exit status 1.
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

from scripts.lib import results
from tests import ROOT
from tests.soak import scenario


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=100, metavar="N", help="how many runs (100)")
    parser.add_argument("--seed", default="1", metavar="N", help="what the runs are made from (1)")
    parser.add_argument(
        "--first",
        type=int,
        default=1,
        metavar="N",
        help="number of the first run (1), to continue with a seed",
    )
    parser.add_argument(
        "--only",
        metavar="RUN[,RUN]...",
        help="only these runs, in this order and in one worker: a replay",
    )
    parser.add_argument(
        "--workers", type=int, default=40, metavar="N", help="number of agents in parallel (40)"
    )
    parser.add_argument(
        "--quick", action="store_true", help="only short runs, each of less than a minute"
    )
    parser.add_argument(
        "--programs",
        default=os.path.join(ROOT, "build", "release", "bin"),
        metavar="DIR",
        help="folder of the built programs",
    )
    parser.add_argument(
        "--bind",
        action="append",
        default=[],
        metavar="DIR",
        help="another folder that the programs need",
    )
    parser.add_argument(
        "--record", action="store_true", help="write the figures into docs/results.md"
    )
    parser.add_argument("--show", action="store_true", help="a line of JSON for each run")
    parser.add_argument("--details", action="store_true", help="print all details of each run")
    options = parser.parse_args()
    if options.record and options.only:
        parser.error("--record does not go with --only")
    return options


class Soak:
    """All workers and their reports."""

    def __init__(self, options):
        self.options = options
        self.jobs: queue.Queue[int] = queue.Queue()
        self.reports = []
        self.broken = []
        self.lock = threading.Lock()

    def numbers(self):
        """The runs' numbers; the long ones first, so that no worker starts one at the end."""
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
        workers = 1 if self.options.only else min(self.options.workers, len(numbers))
        threads = [
            threading.Thread(target=self.worker, args=(worker,)) for worker in range(1, workers + 1)
        ]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        return len(numbers)

    def worker(self, worker):
        """Runs one sandbox until there are no more runs."""
        programs = os.path.realpath(self.options.programs)
        command = [
            os.path.join(ROOT, "scripts", "sandbox"),
            "--pty",
            *(f"--bind={folder}" for folder in (programs, *self.options.bind)),
            "--",
            "python3",
            "-B",
            "-m",
            "tests.soak.worker",
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
            assert sandbox.stdin is not None and sandbox.stdout is not None
            while True:
                try:
                    number = self.jobs.get_nowait()
                except queue.Empty:
                    break
                done.append(number)
                with contextlib.suppress(BrokenPipeError):
                    print(number, file=sandbox.stdin, flush=True)
                line = sandbox.stdout.readline()
                if not self.take(worker, done, line):
                    break
            with contextlib.suppress(BrokenPipeError):
                sandbox.stdin.close()

    def take(self, worker, done, line):
        """One report; False when its worker has ended."""
        report = json.loads(line) if line else {"run": done[-1], "violation": "the worker has died"}
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
                self.explain(worker, done, report)
        return "violation" not in report

    def explain(self, worker, done, report):
        """Prints the violation and the commands that repeat it."""
        seed = f"--seed {self.options.seed}" + " --quick" * self.options.quick
        print(
            f"VIOLATION in run {report['run']} of seed {self.options.seed}, worker {worker}: "
            f"{report['violation']}\n"
            f"  alone:              scripts/check soak -- {seed} --only {report['run']}\n"
            f"  as in this worker:  scripts/check soak -- {seed} --only {','.join(map(str, done))}",
            file=sys.stderr,
        )
        print(json.dumps(report.get("evidence"), indent=1), file=sys.stderr, flush=True)


def summary(reports, seconds):
    """The figures, as pairs of a name and a text."""
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
        ("runs", f"{len(reports)} in {seconds:.0f} s, the longest {longest:.0f} s"),
        ("ended with", counted(ends)),
        ("images", counted(rows)),
        ("faults", f"{sum(faults.values())}: {counted(faults)}"),
        ("events", f"{sum(events.values())}: {counted(events)}"),
        ("memory at rest", f"at most {memory / 1024 / 1024:.1f} MiB"),
        ("greatest growth in a worker", f"{growth / 1024:.0f} KiB"),
        ("violations", sum("violation" in one for one in reports)),
    ]


def main():
    options = parse_arguments()
    started = time.monotonic()
    soak = Soak(options)
    wanted = soak.perform()
    figures = summary(soak.reports, time.monotonic() - started)
    for name, text in figures:
        print(f"{name:<27}  {text}")
    missing = wanted - len(soak.reports)
    if missing:
        print(f"{missing} runs were not done, because their workers had ended")
    if options.record:
        remark = f"--seed {options.seed} --first {options.first} --runs {options.runs}"
        results.record("soak", results.table(("figure", "value"), figures), f"`{remark}`")
    return 1 if soak.broken or missing or not soak.reports else 0


if __name__ == "__main__":
    sys.exit(main())
