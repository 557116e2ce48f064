# SPDX-License-Identifier: Apache-2.0
"""docs/reference/messages.md and the source have the same texts, and no other file has one."""

import json
import os
import re
import subprocess
import unittest

from tests import ROOT
from tests.docs import wire_texts

PAGE = os.path.join(ROOT, "docs", "reference", "messages.md")
# What may send something: every call in these folders takes its text from the texts' own headers.
SPEAKING_FOLDERS = ["console", "engine", "netupgrade", "upload"]
SPEAKING_CALLS = re.compile(
    r"\b(say|inChain|sayNet|sayTo|list|reply|write|emit message)" r"\([^;]*?\"[^\"]{4,}\"", re.S
)


def documented():
    """Text -> number of rows that have it, from the first column of every table."""
    found: dict = {}
    with open(PAGE, encoding="utf-8") as file:
        for line in file:
            if not line.startswith("| `"):
                continue
            first = re.split(r"(?<!\\)\|", line)[1]
            for text in re.findall(r"`([^`]+)`", first):
                text = text.replace("\\|", "|")
                found[text] = found.get(text, 0) + 1
    return found


def page_about_the_log():
    with open(os.path.join(ROOT, "docs", "reference", "log.md"), encoding="utf-8") as file:
        return file.read()


class Messages(unittest.TestCase):
    def test_every_text_is_documented(self):
        missing = sorted(set(wire_texts.all_texts()) - set(documented()))
        self.assertEqual(missing, [], "missing in docs/reference/messages.md")

    def test_every_documented_text_exists(self):
        unknown = sorted(set(documented()) - set(wire_texts.all_texts()))
        self.assertEqual(unknown, [], "in docs/reference/messages.md, but nowhere in the source")

    def test_every_text_has_one_row(self):
        twice = sorted(text for text, rows in documented().items() if rows > 1)
        self.assertEqual(twice, [])

    def test_rows_are_complete(self):
        with open(PAGE, encoding="utf-8") as file:
            header = ""
            for number, line in enumerate(file, 1):
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
        printed = subprocess.run(
            [os.environ["PRINT_STATES"], "--texts"], capture_output=True, text=True, check=True
        ).stdout
        texts = json.loads(printed)
        self.assertGreater(len(texts), 45)
        self.assertEqual(sorted(set(texts) - set(wire_texts.all_texts())), [])

    def test_every_warning_is_explained(self):
        """What is logged without being asked for stands on a page for people who run the agent."""
        warnings = []
        for folder, _, files in os.walk(os.path.join(ROOT, "src")):
            for name in files:
                if name.endswith(".cpp"):
                    with open(os.path.join(folder, name), encoding="utf-8") as file:
                        warnings += re.findall(
                            r'qC(?:Warning|Critical)\(\w+\)[^;]*?"([^"]+)"', file.read()
                        )
        self.assertGreater(len(warnings), 3)
        self.assertEqual([text for text in warnings if text not in page_about_the_log()], [])

    def test_every_category_is_listed(self):
        with open(os.path.join(ROOT, "src", "platform", "Log.cpp"), encoding="utf-8") as file:
            found = re.findall(r'Q_LOGGING_CATEGORY\(\w+, "([\w.]+)"', file.read())
        categories = {name.removesuffix(".bytes") for name in found}
        listed = set(re.findall(r"`(agent\.[a-z]+)`", page_about_the_log()))
        self.assertGreater(len(categories), 5)
        self.assertEqual(sorted(listed), sorted(categories))

    def test_no_text_is_written_elsewhere(self):
        for folder in SPEAKING_FOLDERS:
            top = os.path.join(ROOT, "src", folder)
            names = [
                os.path.join(place, name)
                for place, _, files in os.walk(top)
                for name in files
                if name.endswith(".cpp")
            ]
            self.assertNotEqual(names, [])
            for name in sorted(names):
                with open(name, encoding="utf-8") as file:
                    source = re.sub(r"^\s*qC.*?;$", "", file.read(), flags=re.M | re.S)
                self.assertIsNone(SPEAKING_CALLS.search(source), name)


if __name__ == "__main__":
    unittest.main()
