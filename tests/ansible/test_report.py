# SPDX-License-Identifier: Apache-2.0
"""The HTML page of a report."""

import html.parser
import unittest

from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import report_page, rollout

from tests.ansible.test_rollout import complete, run

VOID = ("meta", "br", "rect", "line")


class Page(html.parser.HTMLParser):
    """The text of a page, its titles in the chart and every address; tags must close in order."""

    def __init__(self, text):
        super().__init__()
        self.open: list[str] = []
        self.texts: list[str] = []
        self.titles: list[str] = []
        self.addresses: list[str] = []
        self.marks = 0
        self.feed(text)
        assert not self.open, self.open

    def handle_starttag(self, tag, attrs):
        self.addresses += [value for name, value in attrs if name in ("src", "href")]
        if tag == "rect":
            self.marks += 1
        if tag not in ("meta", "br"):
            self.open.append(tag)

    def handle_startendtag(self, tag, attrs):
        assert tag in VOID, tag

    def handle_endtag(self, tag):
        assert self.open.pop() == tag, tag

    def handle_data(self, data):
        if self.open and self.open[-1] == "title":
            self.titles.append(data)
        elif data.strip() and "style" not in self.open:
            self.texts.append(data.strip())


def record(*names):
    made = rollout.Rollout()
    made.begin_wave("2026-03-02T14:00:00Z", names, names)
    return made


def page(made):
    made.end("2026-03-02T14:10:05Z")
    return Page(report_page.page(made.document()))


class Report(unittest.TestCase):
    def test_complete_rollout(self):
        made = record("m1", "m2")
        complete(made, "m1")
        complete(made, "m2")
        got = page(made)
        self.assertIn("Complete: 2 modules, all healthy.", got.texts)
        self.assertIn("Rollout of HX-8 1.0.5", got.texts)
        self.assertIn(
            "Started 2026-03-02T14:00:00Z, finished 2026-03-02T14:10:05Z, took 10:05", got.texts
        )
        self.assertEqual(got.addresses, [])
        # One bar of results and a mark for each run.
        self.assertEqual(got.marks, 3)
        self.assertIn("m1: 0:10, updated", got.titles)
        self.assertNotIn("Modules with a problem", got.texts)

    def test_problems_come_first(self):
        made = record("m1", "m2", "m3")
        complete(made, "m1")
        made.failed("m2", run(msg="no answer"), "Upgrade the device", "t")
        got = page(made)
        self.assertIn("Not complete: 1 failed of 3 modules, 1 module not started.", got.texts)
        first = got.texts.index("Modules with a problem")
        self.assertLess(first, got.texts.index("All modules"))
        self.assertIn("Upgrade the device: no answer", got.texts[first:])

    def test_check_mode(self):
        made = rollout.Rollout()
        made.begin_wave("", ["m1"], ["m1"], check_mode=True)
        made.upgraded("m1", run(outcome="predicted"), "t")
        got = page(made)
        self.assertIn("Check mode: 1 module of 1 may change.", got.texts)

    def test_rollout_that_was_stopped_with_its_controller(self):
        made = record("m1")
        made.step("m1", "Upgrade", "t")
        got = Page(report_page.page(made.document()))
        self.assertIn("Not finished: the rollout runs, or its controller was stopped.", got.texts)

    def test_texts_of_others_are_escaped(self):
        made = record("<b>m1")
        chip = {"name": "<i>", "chip_type": 0, "chip_index": 0, "decision": "<u>"}
        versions = {"version_before": "<s>", "version_after": ""}
        result = run(msg="<script>", chips=[{**chip, **versions}])
        made.failed("<b>m1", result, "<p>", "t")
        got = page(made)
        self.assertIn("<p>: <script>", got.texts)
        self.assertIn("<i> <s> → ?, <u>", got.texts)

    def test_durations(self):
        for seconds, text in ((None, ""), (0, "0:00"), (59.6, "1:00"), (3725, "1:02:05")):
            self.assertEqual(report_page.duration_text(seconds), text)


if __name__ == "__main__":
    unittest.main()
