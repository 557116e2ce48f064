# SPDX-License-Identifier: Apache-2.0
"""Shows the figures of upgrade-web and its page; scripts/bench --web starts it."""

import argparse
import json
import statistics
import sys

from scripts.lib import results

HEAD = ("figure", "against", "median", "range")
DIGITS = {"times": 2, "ms": 1}


def row(line):
    """A figure's row."""
    digits = DIGITS.get(line["unit"], 0)
    texts = [
        f"{value:.{digits}f}"
        for value in (
            statistics.median(line["samples"]),
            min(line["samples"]),
            max(line["samples"]),
        )
    ]
    spread = f"{texts[1]} to {texts[2]}" if len(line["samples"]) > 1 else ""
    unit = f" ({line['unit']})" if line["unit"] else ""
    return [line["what"] + unit, line["against"], texts[0], spread]


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench --web", description=__doc__)
    parser.add_argument("figures", metavar="FIGURES", help="the document of the measurement")
    parser.add_argument(
        "--record", action="store_true", help="write the figures into docs/results.md"
    )
    options = parser.parse_args()
    with open(options.figures, encoding="utf-8") as file:
        text = results.table(HEAD, [row(line) for line in json.load(file)], {2})
    print(text)
    if options.record:
        results.record("web", text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
