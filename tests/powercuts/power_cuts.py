# SPDX-License-Identifier: Apache-2.0
"""The power-cut campaign: what power cuts leave of installs on a virtual module.

A virtual module publishes a package and installs it, and then an image by blocks; QEMU logs every
write of its disk. The log is replayed up to many cuts, in order and with lost unflushed writes, and
the disk after each is repaired and compared with the files. The module is started from some of
these disks. The last part cuts the power while a chip is written. The exit status is 1 if a promise
was broken.
"""

import argparse
import os
import shutil
import sys
import time

from scripts.lib import results
from tests import ROOT
from tests.powercuts import booting, campaign, findings, recording, scenario, upgrades
from tests.powercuts.bench import Bench
from tests.powercuts.findings import FileState

PERCENTS = (10, 50, 90)
SUMMARY = ("part", "order", "cuts", "broken promises", "files empty", "incomplete files")


def parse_arguments():
    folder = os.path.join(ROOT, "build", "power-cuts")
    parser = argparse.ArgumentParser(
        prog="scripts/check power-cuts --", description=__doc__.splitlines()[0]
    )

    def option(name, default, metavar, text):
        parser.add_argument(name, type=type(default), default=default, metavar=metavar, help=text)

    option("--image", os.environ.get("MODULE_IMAGE", ""), "DIR", "folder of the virtual module")
    option("--programs", os.environ.get("MODULE_PROGRAMS", ""), "DIR", "folder of the programs")
    option("--folder", folder, "DIR", "where the recording is kept (build/power-cuts)")
    option("--cuts", 200, "N", "cuts in order, of each part (200)")
    option("--reordered", 100, "N", "cuts with lost writes, of each part (100)")
    chip = "how many disks to start from (24); 0 also leaves out the upgrades of a chip"
    option("--boots", 24, "N", chip)
    option("--seed", "1", "SEED", "what chooses the lost writes (1)")
    for name, text in (
        ("--replay", "use the recording of the last time again"),
        ("--record", "write the figures into docs/results.md"),
    ):
        parser.add_argument(name, action="store_true", help=text)
    return parser.parse_args()


def summary(judged):
    """The figures of each part, in order and with lost writes."""
    rows = []
    for window in scenario.expectations():
        for order, lost in (("in order", False), ("with lost writes", True)):
            members = [one for one in judged if one.window == window and bool(one.cut.lost) == lost]
            if not members:
                continue
            broken = sum(bool(one.broken) for one in members)
            empty = findings.spread_of([one.state.files[FileState.EMPTY] for one in members])
            incomplete = findings.spread_of([one.state.incomplete for one in members])
            rows.append((window, order, len(members), broken, empty, incomplete))
    return results.table(SUMMARY, rows, right=(2, 3, 4, 5))


def report(judged):
    """The summary, and the kinds of states of each install."""
    parts = [summary(judged)]
    for window in scenario.expectations():
        states = [one.state for one in judged if one.window == window]
        if window != "publication":
            parts.append(f"Install, {window}:\n\n" + findings.state_table(states))
    return "\n\n".join(parts)


def boot_some(bench, folder, replay, chosen):
    """Starts the module from the disk after each of these cuts. Returns those that failed."""
    expectations = scenario.expectations()
    failed = []
    cuts = [(one.window, one.cut) for one in chosen]
    for number, partitions in enumerate(replay.replayed(cuts)):
        one = chosen[number]
        shutil.rmtree(folder, ignore_errors=True)
        booting.keep(partitions, folder)
        booted = booting.boot(bench, folder, one, expectations[one.window])
        verdict = ", ".join(booted.failures) or "as expected"
        print(
            f"started after a cut: {one.window}, entry {one.cut.whole}, marker {one.state.marker},"
            f" files {one.state.mixture}: {verdict}, {booted.seconds:.0f} s",
            flush=True,
        )
        if booted.failures:
            failed.append(booted)
    return failed


def show_broken(judged):
    for one in judged:
        if one.broken:
            print(f"{one.window}, {one.cut}: {', '.join(one.broken)}")


def run_modules(bench, options, replay, judged):
    """The parts that start the module. Returns whether all is as expected, and the text."""
    chosen = booting.choose(judged, options.boots)
    failed = boot_some(bench, os.path.join(options.folder, "boot"), replay, chosen)
    upgrades.UpgradeCuts(bench, os.path.join(options.folder, "upgrades")).run(PERCENTS)
    percents = ", ".join(map(str, PERCENTS))
    return not failed, (
        f"The module was started from {len(chosen)} of these disks:"
        f" {len(chosen) - len(failed)} were as expected after it.\n"
        f"After power cuts at {percents} percent of an upgrade of a chip, the next one succeeded."
    )


def main():
    options = parse_arguments()
    bench = Bench(options.image, options.programs)
    record = recording.Recording(os.path.join(options.folder, "recording"))
    if not options.replay:
        shutil.rmtree(record.folder, ignore_errors=True)
        recording.Recorder(bench, record).record()
    replay = campaign.Campaign(record, options.cuts, options.reordered, options.seed)
    begin = time.monotonic()
    judged = replay.judged(scenario.expectations())
    text = report(judged)
    print(f"{len(judged)} cuts judged in {time.monotonic() - begin:.0f} s\n\n{text}\n", flush=True)
    show_broken(judged)
    good = not any(one.broken for one in judged)
    if options.boots:
        as_expected, more = run_modules(bench, options, replay, judged)
        good = good and as_expected
        text += "\n\n" + more
        print(more)
    if options.record:
        results.record("power-cuts", text)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
