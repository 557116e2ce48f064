# SPDX-License-Identifier: Apache-2.0
"""docs/reference/messages.md and the source have the same texts, and no other file has one."""

import json
import os
import re
import unittest

from tests import ROOT
from tests.docs import pages, wire_texts
from tests.harness import files
from tests.harness.command import output

PAGE = "docs/reference/messages.md"
# What may send something: every call in these folders takes its text from the texts' own headers.
SPEAKING_FOLDERS = ["console", "engine", "netupgrade", "upload"]
SPEAKING_CALLS = re.compile(
    r"\b(say|inChain|sayNet|sayTo|list|reply|write|emit message)" r"\([^;]*?\"[^\"]{4,}\"", re.S
)


def documented():
    """Text -> number of rows that have it, from the first column of every table."""
    found: dict = {}
    for line in pages.read(PAGE).splitlines():
        if line.startswith("| `"):
            first = re.split(r"(?<!\\)\|", line)[1]
            for text in re.findall(r"`([^`]+)`", first):
                text = text.replace("\\|", "|")
                found[text] = found.get(text, 0) + 1
    return found


def sources(folder):
    """The text of each source file below a folder of the project, by its path."""
    names = [name for name in files.below(ROOT, folder) if name.endswith(".cpp")]
    return {name: pages.read(name) for name in names}


class Messages(unittest.TestCase):
    def test_every_text_is_documented_and_no_other(self):
        self.assertEqual(sorted(documented()), sorted(wire_texts.all_texts()))

    def test_every_text_has_one_row(self):
        twice = sorted(text for text, rows in documented().items() if rows > 1)
        self.assertEqual(twice, [])

    def test_rows_are_complete(self):
        header = ""
        for number, line in enumerate(pages.read(PAGE).splitlines(), 1):
            if line.startswith("| ") and not line.startswith(("| `", "| ---")):
                header = line
            if line.startswith("| `"):
                cells = re.split(r"(?<!\\)\|", line.strip())[1:-1]
                self.assertEqual(len(cells), 5 if "| id |" in header else 4, f"line {number}")
                self.assertTrue(all(cell.strip() for cell in cells), f"line {number}")

    def test_there_are_as_many_as_expected(self):
        """A reader that finds nothing would find nothing missing, too."""
        texts = wire_texts.all_texts()
        self.assertGreater(len(texts), 180)
        for text in (
            "Read model name.",
            "APPSTATUS",
            "UPGRADELOG||Unknow command.\\r\\n",
            "NET firmware ver%1 upgrade success.",
            "Reboot systerm fail.",
            "SingleUploadFail",
            "Speciality error.",
        ):
            self.assertIn(text, texts)

    def test_every_step_text_has_an_id(self):
        texts = json.loads(output(os.environ["PRINT_STATES"], "--texts"))
        self.assertGreater(len(texts), 45)
        self.assertEqual(sorted(set(texts) - set(wire_texts.all_texts())), [])

    def test_every_warning_is_explained(self):
        """What is logged without being asked for stands on a page for people who run the agent."""
        pattern = r'qC(?:Warning|Critical)\(\w+\)[^;]*?"([^"]+)"'
        warnings = re.findall(pattern, "".join(sources("src").values()))
        self.assertGreater(len(warnings), 3)
        page = pages.read("docs/reference/log.md")
        self.assertEqual([text for text in warnings if text not in page], [])

    def test_no_text_is_written_elsewhere(self):
        for folder in SPEAKING_FOLDERS:
            found = sources(f"src/{folder}")
            self.assertNotEqual(found, {})
            for name, source in found.items():
                without_log = re.sub(r"^\s*qC.*?;$", "", source, flags=re.M | re.S)
                self.assertIsNone(SPEAKING_CALLS.search(without_log), name)


if __name__ == "__main__":
    unittest.main()
