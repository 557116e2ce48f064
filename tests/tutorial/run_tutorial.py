#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the tutorial as a reader would: every sh block in one shell, in order. Each line of a text
block must appear in what the block before it printed, in that order.

usage: run_tutorial.py TUTORIAL PROGRAMS SANDBOX
"""

import re
import subprocess
import sys
import tempfile

MARK = "=== end of block ==="


def blocks(text):
    """(kind, content) of each fenced block."""
    return re.findall(r"^```(sh|text)\n(.*?)^```$", text, re.M | re.S)


def script(found):
    """All commands for one shell; each block ends it if it fails."""
    return "".join(f"set -eu\n{content}echo '{MARK}'\n" for kind, content in found if kind == "sh")


def missing_line(found, output):
    """The first line of a text block that the blocks before it did not print in this order; None if
    there is none."""
    printed = output.split(MARK)
    done = 0
    for kind, content in found:
        if kind == "sh":
            done += 1
            rest = printed[done - 1] if done <= len(printed) else ""
            continue
        for line in content.splitlines():
            at = rest.find(line)
            if at < 0:
                return f"block {done} did not print, or not in this order: {line}"
            rest = rest[at + len(line) :]
    return None


def judge(found, run):
    """Shows everything; ends with an error if a block failed or did not print its lines."""
    print(run.stdout, run.stderr, sep="\n--- standard error:\n")
    if run.returncode != 0:
        sys.exit(f"a block failed with {run.returncode}")
    missing = missing_line(found, run.stdout)
    if missing:
        sys.exit(missing)


def main():
    tutorial, programs, sandbox = sys.argv[1:]
    with open(tutorial, encoding="utf-8") as file:
        found = blocks(file.read())
    assert len(found) >= 8, "the tutorial has lost its blocks"
    with tempfile.TemporaryDirectory() as folder:
        commands = (
            script(found)
            .replace('"$root/build/release/bin"', f'"{programs}"')
            .replace("$root/build/release/bin", programs)
            .replace("build/tutorial", folder)
            .replace('"$root/scripts/sandbox"', f'"{sandbox}"')
        )
        run = subprocess.run(
            ["bash", "-c", commands], capture_output=True, text=True, timeout=200, check=False
        )
    judge(found, run)


if __name__ == "__main__":
    main()
