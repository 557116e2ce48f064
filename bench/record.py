# SPDX-License-Identifier: Apache-2.0
"""Writes the results of a run of bench into docs/results.md.

usage: python3 -B -m bench.record RESULTS.json
"""

import json
import sys

from scripts.lib import results

HEAD = ("figure", "against", "median", "range", "must", "aim", "meets")
HEADS = {
    "images": ("image, KiB", "µs per block", "CPU µs per block", "memory beyond the image, MiB"),
    "rows": ("rows", "µs per row", "memory, MiB"),
    "packages": ("package, MiB", "ms", "ms per MiB", "memory, MiB"),
}
TITLES = {
    "images": "An image grows, on a line without a speed limit; medians:",
    "rows": "The rows of a request grow; every row is read, and found up to date:",
    "packages": "A package grows; `GETFIRMWARELIST`, medians:",
}


def figure_row(line):
    """A figure's row, with its limits as signs."""
    sign = "≥" if line["more_is_better"] else "≤"
    bounds = [
        f"{sign} {line[name]:g}" if line[name] is not None else "" for name in ("must", "aim")
    ]
    what = line["what"] + (f" ({line['unit']})" if line["unit"] else "")
    median, lowest, highest = (f"{line[name]:.4g}" for name in ("median", "lowest", "highest"))
    return [what, line["against"], median, f"{lowest} to {highest}", *bounds, line["verdict"]]


def figures(lines):
    return results.table(HEAD, [figure_row(line) for line in lines])


def growth(parts):
    """The tables of a run with --growth."""
    texts = []
    for name, title in TITLES.items():
        rows = [
            [f"{value:.4g}" if isinstance(value, float) else value for value in line.values()]
            for line in parts[name]
        ]
        texts += [title, results.table(HEADS[name], rows, range(len(HEADS[name])))]
    whole = parts["whole_upgrade"]
    rows = [[f"{seconds:.3f}", part] for part, seconds in whole["parts"].items()]
    rows.append([f"{whole['bound_s']:.3f}", "lower bound"])
    ratio = f"actual time; bound over actual is {whole['bound_over_actual']:.4f}"
    rows.append([f"{whole['actual_s']:.3f}", ratio])
    texts += [
        "A complete upgrade of six chips, compared with the least time that it can take:",
        results.table(("seconds", "part"), rows, {0}),
    ]
    return "\n\n".join(texts)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        result = json.load(file)
    if "growth" in result:
        results.record("growth", growth(result["growth"]))
        return
    rounds = max(len(line["rounds"]) for line in result["figures"])
    results.record("bench", figures(result["figures"]), f"median of {rounds}")


if __name__ == "__main__":
    main()
