# SPDX-License-Identifier: Apache-2.0
"""Prints gcovr's figures per folder, or what was not reached.

usage: python3 -B -m scripts.lib.coverage_report coverage.json [--record | FILE REGEX]
"""

import collections
import json
import os
import re
import sys

from scripts.lib import results


class Count:
    """How many there are and how many were reached."""

    def __init__(self):
        self.lines = [0, 0]
        self.branches = [0, 0]

    def add(self, line):
        """Takes one line of gcovr's report."""
        self.lines[0] += line["count"] > 0
        self.lines[1] += 1
        self.branches[0] += sum(branch["count"] > 0 for branch in line["branches"])
        self.branches[1] += len(line["branches"])

    def row(self, name):
        """One line of the table."""
        cells = [
            f"{reached}/{all_} ({100 * reached / all_ if all_ else 100:.1f} %)"
            for reached, all_ in (self.lines, self.branches)
        ]
        return [f"`{name}`", *cells]


def counted(file):
    return [line for line in file["lines"] if not line.get("gcovr/noncode")]


def table(files):
    """One line per folder, and one for all of src and of tools."""
    folders: dict[str, Count] = collections.defaultdict(Count)
    for file in files:
        folder = os.path.dirname(file["file"])
        for line in counted(file):
            folders[folder].add(line)
            folders[folder.split("/")[0]].add(line)
    rows = [folders[name].row(name) for name in sorted(folders)]
    return results.table(["folder", "lines", "branches"], rows)


def print_missed(files, pattern):
    """Each line that was not reached, or not to every side."""
    for file in files:
        if not re.search(pattern, file["file"]):
            continue
        with open(file["file"], encoding="utf-8") as source:
            texts = source.read().splitlines()
        for line in counted(file):
            missed = sum(branch["count"] == 0 for branch in line["branches"])
            if line["count"] == 0 or missed:
                what = (
                    "not reached" if line["count"] == 0 else f"{missed} of {len(line['branches'])}"
                )
                number = line["line_number"]
                print(f"{file['file']}:{number}: {what}: {texts[number - 1].strip()}")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        files = json.load(file)["files"]
    if len(sys.argv) > 2 and sys.argv[2] != "--record":
        print_missed(files, sys.argv[2])
        return
    print(table(files))
    if len(sys.argv) > 2:
        results.record("coverage", table(files))


if __name__ == "__main__":
    main()
