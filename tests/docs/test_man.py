# SPDX-License-Identifier: Apache-2.0
"""Each program's man page against its --help: options, commands and exit statuses, both ways."""

import os
import re
import unittest

from tests.docs import pages
from tests.harness.command import output

PROGRAMS = os.environ["PROGRAMS"].split(":")
OPTION = re.compile(r"(?<![\w-])(--[a-z][a-z-]*[a-z]|-[a-zA-Z])(?![\w-])")
# The libraries' own word for the help of everything.
NOT_OURS = {"--help-all"}


def commands(text):
    """The names under a heading of sub-commands, in help as CLI11 writes it."""
    part = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    return re.findall(r"^  ([a-z-]+) ", part.group(1), re.M) if part else []


def statuses(text):
    """The numbers under a heading of exit statuses."""
    part = re.search(r"^Exit status:\n((?:  .*\n)+)", text, re.M)
    return set(re.findall(r"^  (\d+) ", part.group(1), re.M)) if part else None


def sections(page):
    """Heading -> text, with the marks of roff taken out."""
    found = {}
    for part in re.split(r"^\.SH ", page, flags=re.M)[1:]:
        heading, _, text = part.partition("\n")
        found[heading] = re.sub(r"\\f.", "", text.replace("\\-", "-"))
    return found


class ManPages(unittest.TestCase):
    def each(self):
        self.assertEqual(len(PROGRAMS), 6)
        for program in PROGRAMS:
            name = os.path.basename(program)
            yield program, output(program, "--help"), sections(pages.read(f"docs/man/{name}.1"))

    def test_options(self):
        for program, text, page in self.each():
            for command in commands(text):
                text += output(program, command, "--help")
            of_page = "\n".join(words for heading, words in page.items() if heading != "EXAMPLES")
            self.assertEqual(
                sorted(set(OPTION.findall(of_page)) - NOT_OURS),
                sorted(set(OPTION.findall(text)) - NOT_OURS),
                program,
            )

    def test_commands(self):
        counts = []
        for program, text, page in self.each():
            of_page = re.findall(
                r"^\.TP\n\.(?:B|BR|BI) ([a-z-]+)\b", page.get("COMMANDS", ""), re.M
            )
            self.assertEqual(sorted(of_page), sorted(commands(text)), program)
            counts.append(len(of_page))
        self.assertEqual(sorted(counts), [0, 0, 0, 2, 11, 13])

    def test_statuses(self):
        checked = 0
        for program, text, page in self.each():
            if statuses(text) is not None:
                self.assertEqual(
                    set(re.findall(r"\b\d+\b", page["EXIT STATUS"])), statuses(text), program
                )
                checked += 1
        self.assertEqual(checked, 6)

    def test_names(self):
        for program, _, page in self.each():
            self.assertTrue(page["NAME"].startswith(os.path.basename(program) + " - "))


if __name__ == "__main__":
    unittest.main()
