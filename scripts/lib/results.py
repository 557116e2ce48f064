# SPDX-License-Identifier: Apache-2.0
"""Writes the figures of a measurement into its section of docs/results.md.

usage: python3 -B -m scripts.lib.results SECTION < FIGURES

Each line of FIGURES is NAME: VALUE; for the section 'checks' it is STEP RESULT TIME.
"""

import os
import platform
import re
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
PAGE = os.path.join(ROOT, "docs", "results.md")


def processor():
    """The model of the processor, or its architecture where the system has no name for it."""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        models = re.findall(r"^model name\s*: (.*)$", file.read(), re.M)
    return models[0] if models else platform.machine()


def facts():
    """The date and the machine, in one line."""
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    count = os.cpu_count()
    return ", ".join(
        [
            time.strftime("%Y-%m-%d"),
            f"{count} processor{'' if count == 1 else 's'} ({processor()})",
            f"Linux {'.'.join(platform.release().split('.')[:2])}",
            system,
        ]
    )


def table(head, rows, right=()):
    """A Markdown table; the columns with the numbers `right` are aligned to the right."""
    lines = [head, ["---:" if number in right else "---" for number in range(len(head))], *rows]
    lines[1] = "|" + "|".join(lines[1]) + "|"
    return "\n".join(
        line if isinstance(line, str) else "| " + " | ".join(map(escaped, line)) + " |"
        for line in lines
    )


def escaped(cell):
    """A cell's text, in which a bar does not end the cell."""
    return str(cell).replace("|", "\\|")


def edges(section):
    return f"<!-- begin {section} -->\n", f"<!-- end {section} -->\n"


def section_of(page, section):
    """The text of a section; ValueError if the page does not have it exactly once."""
    begin, end = edges(section)
    if page.count(begin) != 1 or page.count(end) != 1 or page.index(begin) > page.index(end):
        raise ValueError(f"the page has no section '{section}'")
    return page[page.index(begin) + len(begin) : page.index(end)]


def replaced(page, section, text):
    """The page with another text in a section."""
    begin, end = edges(section)
    old = begin + section_of(page, section) + end
    return page.replace(old, f"{begin}{text.strip()}\n{end}")


def write(section, text):
    """Replaces a section in docs/results.md."""
    with open(PAGE, encoding="utf-8") as file:
        page = replaced(file.read(), section, text)
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(page)
    print(f"docs/results.md: replaced section '{section}'", file=sys.stderr)


def record(section, text, remark=""):
    """Replaces a section by the date, the machine, a remark about the run, and its figures."""
    write(section, f"{facts()}{', ' if remark else ''}{remark}:\n\n{text}")


def updated_rows(text, rows):
    """A table whose rows begin with a name, with these rows in the place of older ones."""
    head, line, *old = text.strip().splitlines()
    by_name = {row.split(" | ")[0].strip("| "): row for row in old}
    for row in rows:
        by_name[row[0]] = "| " + " | ".join(map(escaped, row)) + " |"
    return "\n".join([head, line, *by_name.values()])


def record_checks(rows):
    """Takes (name, result, time) of steps of scripts/check; the other steps stay as they are."""
    with open(PAGE, encoding="utf-8") as file:
        old = section_of(file.read(), "checks").partition("\n\n")[2]
    today = time.strftime("%Y-%m-%d")
    text = updated_rows(old, [(f"`{name}`", today, *rest) for name, *rest in rows])
    write("checks", f"{today}, the last recorded run of each step:\n\n{text}")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    lines = sys.stdin.read().splitlines()
    if sys.argv[1] == "checks":
        record_checks([line.split(None, 2) for line in lines])
    else:
        record(sys.argv[1], table(("figure", "value"), [line.split(": ", 1) for line in lines]))


if __name__ == "__main__":
    main()
