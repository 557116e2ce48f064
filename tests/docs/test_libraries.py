# SPDX-License-Identifier: Apache-2.0
"""The pages that list run-time libraries against the NEEDED entries of the programs."""

import os
import re
import unittest

from tests.docs import pages
from tests.harness.command import output

# What a library is called in the text of a page.
NAMES = {
    "libQt5Core": "Core",
    "libQt5Network": "Network",
    "libQt5SerialPort": "SerialPort",
    "libdeflate": "libdeflate",
    "libsodium": "libsodium",
    "libz": "zlib",
    "libedit": "libedit",
    "libmicrohttpd": "libmicrohttpd",
}
PROGRAMS = os.environ["PROGRAMS"].split(":")
# These come with the compiler; which of them a program names depends on the processor.
COMPILER = re.compile(r"(libc|libm|libstdc\+\+|libgcc_s|libatomic|ld-linux[\w-]*)\.so\.\d+$")
SHARED_OBJECT = re.compile(r"[\w+-]+\.so\.\d+")


def needed(program):
    """The names of the shared objects that a program asks the loader for."""
    listed = output(os.environ["READELF"], "-d", program)
    return set(re.findall(r"\(NEEDED\).*\[(.+)\]", listed))


def own(libraries):
    return {name for name in libraries if not COMPILER.match(name)}


def row(page, start):
    """The cells of the table row that starts with this text."""
    found = [line for line in pages.read(page).splitlines() if line.startswith(start)]
    if len(found) != 1:
        raise AssertionError(f"{page}: {len(found)} rows start with {start!r}")
    return [cell.strip() for cell in found[0].split("|")[1:-1]]


class Libraries(unittest.TestCase):
    def test_operations_lists_what_the_agent_loads(self):
        page = pages.read("docs/use/operations.md")
        section = page[page.index("## Requirements") :].split("\n## ")[0]
        libraries = needed(os.environ["AGENT"])
        self.assertIn("libc.so.6", libraries)
        self.assertEqual(own(SHARED_OBJECT.findall(section)), own(libraries))

    def test_packages_names_the_libraries_of_each_package(self):
        for package, programs in (
            ("upgrade-agent", [os.environ["AGENT"]]),
            ("upgrade-agent-tools", [one for one in PROGRAMS if not one.endswith("-web")]),
            ("upgrade-agent-web", [one for one in PROGRAMS if one.endswith("-web")]),
        ):
            with self.subTest(package):
                libraries = own(set().union(*map(needed, programs)))
                wanted = {NAMES[name.split(".so")[0]] for name in libraries}
                depends = row("docs/use/packages.md", f"| `{package}` |")[-1]
                named = set(re.findall(r"[\w-]+", re.sub(r"`[^`]*`", "", depends))) - {"Qt", "5"}
                self.assertEqual(named, wanted)


if __name__ == "__main__":
    unittest.main()
