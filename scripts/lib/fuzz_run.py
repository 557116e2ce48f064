# SPDX-License-Identifier: Apache-2.0
"""Runs the fuzz targets of a build tree, one after the other, and prints the results.

The inputs that reach new code stay in build/fuzz/corpus for the next run; an input that fails
is kept in build/fuzz/findings. The exit status is 1 if there is one.
"""

import argparse
import os
import re
import subprocess
import sys

from scripts.lib import results

# Far above what any input needs, and low enough that a hang or a leak shows.
SECONDS_PER_INPUT = 25
MEGABYTES = 1024

HEAD = ("target", "seconds", "executions", "coverage", "inputs", "findings")
COLUMNS = "{:<16} {:>8} {:>12} {:>10} {:>9} {:>9}"


class Target:
    """One line of the build's list: NAME|LONGEST INPUT|SEED FOLDER|..."""

    def __init__(self, build, line):
        self.name, self.longest, *self.seeds = line.split("|")
        self.program = os.path.join(build, "bin", self.name + "_fuzz")
        self.corpus = os.path.join(build, "corpus", self.name)
        self.findings = os.path.join(build, "findings", self.name)
        self.log = os.path.join(build, "logs", self.name + ".log")
        for folder in (self.corpus, self.findings, os.path.dirname(self.log)):
            os.makedirs(folder, exist_ok=True)

    def command(self, *arguments):
        """The program with the limits of every run."""
        return [
            self.program,
            f"-timeout={SECONDS_PER_INPUT}",
            f"-rss_limit_mb={MEGABYTES}",
            f"-report_slow_units={SECONDS_PER_INPUT}",
            *arguments,
        ]

    def still_failing(self):
        """The findings of earlier runs that still fail."""
        paths = [os.path.join(self.findings, name) for name in sorted(os.listdir(self.findings))]
        return [
            path
            for path in paths
            if subprocess.run(self.command(path), capture_output=True, check=False).returncode
        ]

    def run(self, seconds):
        """Fuzzes for this time. Returns the exit status."""
        command = self.command(
            f"-max_total_time={seconds}",
            f"-max_len={self.longest}",
            f"-artifact_prefix={self.findings}/",
            "-print_final_stats=1",
            self.corpus,
            *self.seeds,
        )
        with open(self.log, "w", encoding="utf-8") as log:
            return subprocess.run(
                command, stdout=log, stderr=subprocess.STDOUT, check=False
            ).returncode

    def figures(self):
        """Executions and covered edges of the last run, and the inputs that are kept."""
        with open(self.log, encoding="utf-8", errors="replace") as log:
            text = log.read()
        executions, coverage = (
            (re.findall(pattern, text) or ["-"])[-1]
            for pattern in (r"stat::number_of_executed_units:\s*(\d+)", r"\bcov: (\d+)")
        )
        return [executions, coverage, len(os.listdir(self.corpus))]


def read_targets(build, wanted):
    """The targets of the build tree, or those of them that are wanted."""
    with open(os.path.join(build, "fuzz-targets.txt"), encoding="utf-8") as file:
        targets = {line.split("|")[0]: line for line in file.read().splitlines()}
    unknown = [name for name in wanted if name not in targets]
    if unknown:
        sys.exit(f"No such target: {', '.join(unknown)}. There are: {', '.join(targets)}.")
    return [Target(build, targets[name]) for name in wanted or targets]


def run(target, seconds):
    """One row of the table, and whether anything was found."""
    print(f"{target.name}: {seconds} s, log in {os.path.relpath(target.log)}", flush=True)
    known = target.still_failing()
    status = target.run(seconds)
    found = sorted(set(known) | set(target.still_failing()))
    for path in found:
        print(f"  found: {os.path.relpath(path)}", flush=True)
    if status != 0 and not found:
        print(f"  ended with {status}; see the log", flush=True)
    row = (target.name, seconds, *target.figures(), len(found))
    return row, bool(found) or status != 0


def main():
    """Runs what the command line asks for."""
    parser = argparse.ArgumentParser(
        prog="scripts/check fuzz --",
        description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument(
        "--build", default="build/fuzz", help="the build tree (default: %(default)s)"
    )
    parser.add_argument(
        "--seconds",
        type=int,
        default=60,
        metavar="N",
        help="how long each target runs (default: 60)",
    )
    parser.add_argument(
        "--record",
        action="store_true",
        help="write the figures of all targets into docs/results.md",
    )
    parser.add_argument("targets", nargs="*", metavar="TARGET", help="all when none is named")
    options = parser.parse_args()
    if options.record and options.targets:
        parser.error("--record needs a run of all targets")
    # An input may use up the memory; the allocator must report it, not the kernel.
    os.environ.setdefault("ASAN_OPTIONS", "allocator_may_return_null=0:detect_leaks=1")
    # Some targets write the files that they then read.
    if os.path.isdir("/dev/shm"):
        os.environ.setdefault("TMPDIR", "/dev/shm")

    done = [
        run(target, options.seconds)
        for target in read_targets(os.path.abspath(options.build), options.targets)
    ]
    print()
    rows = [row for row, _ in done]
    for row in (HEAD, *rows):
        print(COLUMNS.format(*row))
    if options.record:
        results.record("fuzz", results.table(HEAD, rows, range(1, len(HEAD))))
    return 1 if any(failed for _, failed in done) else 0


if __name__ == "__main__":
    sys.exit(main())
