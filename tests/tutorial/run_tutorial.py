#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the tutorial as a reader would: every sh block in one shell, in order. Each line of a text
block must appear in what the blocks before it printed, in that order.

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


def script(found, folder, programs, sandbox):
    lines = ["set -eu"]
    for kind, content in found:
        if kind == "sh":
            lines.append(content)
            lines.append(f"echo '{MARK}'")
    whole = "\n".join(lines)
    return (
        whole.replace('"$root/build/release/bin"', f'"{programs}"')
        .replace("$root/build/release/bin", programs)
        .replace("build/tutorial", folder)
        .replace('"$root/scripts/sandbox"', f'"{sandbox}"')
    )


def main():
    tutorial, programs, sandbox = sys.argv[1:]
    with open(tutorial, encoding="utf-8") as file:
        found = blocks(file.read())
    assert len(found) >= 8, "the tutorial has lost its blocks"
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            ["bash", "-c", script(found, folder, programs, sandbox)],
            capture_output=True,
            text=True,
            timeout=200,
            check=False,
        )
    printed = run.stdout.split(MARK)
    print(run.stdout, run.stderr, sep="\n--- standard error:\n")
    if run.returncode != 0:
        sys.exit(f"a block failed with {run.returncode}")
    done = 0
    for kind, content in found:
        if kind == "sh":
            done += 1
            continue
        rest = printed[done - 1]
        for line in content.splitlines():
            at = rest.find(line)
            if at < 0:
                sys.exit(f"block {done} did not print, or not in this order: {line}")
            rest = rest[at + len(line) :]


main()
