#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures the agent against its references. Runs inside the sandbox; scripts/bench starts it."""

import argparse
import json
import os
import platform
import sys
import time

from bench.runner import console, growth, transfer
from bench.runner.figures import FIGURES, format_table, summarize
from bench.runner.programs import Failure, allow_many_sockets, keep_server_ports_free

MEASUREMENTS = {
    "transfer": transfer.measure_transfer,
    "turnaround": transfer.measure_turnaround,
    "writing": transfer.measure_heartbeats_while_writing,
    "heartbeats": console.measure_heartbeats,
    "check": console.measure_check,
    "signed": console.measure_signed_check,
    "edid": console.measure_parse_edid,
    "memory": console.measure_memory,
    "start": console.measure_start,
    "rest": console.measure_rest,
}
QUICK_SCALE = 0.05


def parse_arguments():
    """The command line; scripts/bench passes its own on."""
    parser = argparse.ArgumentParser(description=__doc__, prog="bench")
    parser.add_argument("--rounds", type=int, default=5, help="rounds (default 5)")
    parser.add_argument(
        "--only",
        metavar="NAME",
        action="append",
        choices=MEASUREMENTS,
        help=f"only these of: {', '.join(MEASUREMENTS)}",
    )
    parser.add_argument(
        "--quick",
        action="store_true",
        help="one short round that only checks that every figure is measured",
    )
    parser.add_argument(
        "--growth",
        action="store_true",
        help="how times and memory grow with images, rows and packages instead",
    )
    parser.add_argument("--json", metavar="FILE", help="write everything as JSON, too")
    options = parser.parse_args()
    if options.rounds < 1:
        parser.error("--rounds: at least 1")
    if options.quick:
        options.rounds = 1
    return options


def machine():
    """The machine that is measured."""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        models = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return {
        "processor": models[0] if models else platform.machine(),
        "cores": os.cpu_count(),
        "kernel": platform.release(),
        "load": os.getloadavg()[0],
        "date": time.strftime("%Y-%m-%d"),
    }


def measure(names, rounds, scale):
    """All measurements in turn, round by round, so that a disturbance affects all of them."""
    samples: dict = {}
    for number in range(1, rounds + 1):
        for name in names:
            print(f"round {number} of {rounds}: {name}", file=sys.stderr, flush=True)
            for key, sample in MEASUREMENTS[name](scale).items():
                samples.setdefault(key, []).append(sample)
    return samples


def main():
    """Measures, prints the table, writes the JSON."""
    options = parse_arguments()
    allow_many_sockets()
    keep_server_ports_free()
    result = {"machine": machine()}
    try:
        if options.growth:
            result["growth"] = growth.measure_all()
        else:
            samples = measure(
                options.only or MEASUREMENTS, options.rounds, QUICK_SCALE if options.quick else 1
            )
            result["figures"] = [
                summarize(figure, samples[figure.key])
                for figure in FIGURES
                if figure.key in samples
            ]
            print(format_table(result["figures"]))
    except Failure as problem:
        print(f"bench: {problem}", file=sys.stderr)
        return 1
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump(result, file, indent=1)
            file.write("\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
