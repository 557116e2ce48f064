# SPDX-License-Identifier: Apache-2.0
"""Makes the pictures of the page, inside the sandbox.

usage: python3 -m tests.browser.screenshots WORK FOLDER

WORK has the package of the demonstration. The pictures are named VIEW-SIZE.png.
"""

import os
import re
import sys
import unittest

from scripts.lib import demo_run
from tests.browser import browsercase
from tests.browser.browser import DESKTOP, PHONE
from tests.harness import module

WORK, FOLDER = sys.argv[1:3]
FILE = os.path.join(WORK, "FW.fwm")
SIZES = {"desktop": (*DESKTOP, 1), "phone": (*PHONE, 2)}
# Where the pointer and the keyboard are is of no interest.
QUIET = "document.activeElement.blur(); scrollTo(0, 0)"


class Screenshots(browsercase.BrowserCase):
    """One upgrade, one that fails, and one whose device loses its power, at the real line speed."""

    def picture(self, view, *sizes, scheme="light", scroll=None):
        browser = self.browser
        browser.scheme(scheme)
        for size in sizes:
            browser.size(*SIZES[size])
            if scroll:
                browser.script("arguments[0].scrollIntoView()", browser.element(scroll))
            elif not browser.is_shown("confirm"):
                browser.script(QUIET)
            browser.driver.save_screenshot(os.path.join(FOLDER, f"{view}-{size}.png"))
        browser.size(*DESKTOP)
        browser.scheme("light")

    def begin_demo(self, **more):
        device = demo_run.device()
        self.put_bytes(module.content(FILE))
        super().begin(
            *device["chips"], images=(), options=browsercase.SLOW, virtual_version=3, **more
        )
        self.browser.reads("agent-state", "Ready")

    def test_a_good_run(self):
        self.begin_demo()
        browser = self.browser
        self.upload(FILE)
        self.picture("package", "desktop", "phone")
        browser.go("module")
        browser.reads("package-model", "HX-8")
        self.picture("device", "desktop", "phone")
        browser.go("upgrade")
        browser.reads("upgrade-estimate", "takes")
        self.picture("upgrade", "desktop", "phone")
        browser.click("upgrade-start")
        self.picture("confirmation", "desktop", "phone")
        browser.click("confirm-start")
        browser.shown("view-run")
        browser.until(
            lambda: re.search(r"Writing, [3-9]\d %", self.chip_state("AUX2")), "half of AUX2", 120
        )
        self.picture("run", "desktop", "phone")
        self.picture("run-dark", "desktop", scheme="dark")
        self.assertEqual(browser.result("run-summary", 180), "done")
        self.picture("done", "desktop", "phone")

    def test_refused_and_failed(self):
        self.begin_demo(faults=["refuse:type=2"])
        content = bytearray(module.content(FILE))
        content[-9] ^= 0xFF
        self.assert_upload("refused", self.file("FW.fwm", bytes(content)))
        self.picture("refused", "desktop")
        self.browser.go("upgrade")
        self.browser.reads("upgrade-estimate", "takes")
        for number in (0, 4):
            self.browser.click(self.browser.elements(".chip-check")[number].get_attribute("id"))
        self.confirm()
        self.assertNotIn(self.browser.result("run-summary", 180), ("done", "nothing-to-do"))
        self.picture("failed", "desktop", "phone")

    def test_a_silent_device(self):
        self.begin_demo()
        browser = self.browser
        self.upload(FILE)
        self.start_run()
        self.wait_for_writing("AUX1")
        self.kill_device()
        browser.reads("run-wait", "The device does not answer", 60)
        self.picture("silent", "phone", scheme="dark")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
