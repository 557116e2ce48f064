# SPDX-License-Identifier: Apache-2.0
"""Uploads from a browser: what is accepted, what is refused, and with which words."""

import os

from tests.browser import browsercase
from tests.browser.browsercase import GOOD, IMAGES
from tests.harness import agentcase, module, signing, wait
from tests.harness.package import Image, build, image_bytes

OLD = build([Image("OLD", image_bytes(500))], version="1.0.4")
LARGE = build([Image("MAIN", image_bytes(900_000))])
SECOND = build(IMAGES, version="1.0.6")


def damaged(content, place):
    return content[:place] + bytes([content[place] ^ 0xFF]) + content[place + 1 :]


class TestUploads(browsercase.BrowserCase):
    """A refused or cancelled upload leaves the old package."""

    def begin(self, **more):
        super().begin(**more)
        self.put_bytes(OLD)
        self.browser.reads("agent-state", "Ready")

    def begin_slow_upload(self):
        """A large package is on its way."""
        self.begin()
        browser = self.browser
        browser.upload_speed(100_000)
        self.stack.callback(browser.upload_speed, -1)
        browser.go("package")
        browser.choose("package-file", self.file("large.fwm", LARGE))
        browser.click("upload-start")
        progress = browser.shown("upload-progress")
        browser.until(lambda: 0 < float(progress.get_property("value")) < 100, "progress")
        return browser

    def assert_untouched(self):
        self.assertEqual(module.content(agentcase.PACKAGE), OLD)
        names = {one for one in os.listdir("/data") if one.startswith("FW.")}
        self.assertEqual(names - {"FW.fwm.new"}, {"FW.fwm"})

    def test_good(self):
        self.begin()
        self.assert_upload("done", self.file("FW.fwm", GOOD))
        self.browser.reads("upload-result", "release 1.0.5")
        self.assertEqual(module.content(agentcase.PACKAGE), GOOD)
        # The same again, in the same view.
        self.browser.choose("package-file", self.file("second.fwm", SECOND))
        self.browser.hidden("upload-result")
        self.browser.click("upload-start")
        self.browser.reads("upload-result", "release 1.0.6")

    def test_damaged(self):
        self.begin()
        self.assert_upload("refused", self.file("FW.fwm", damaged(GOOD, len(GOOD) - 9)))
        self.browser.reads("upload-result", "release 1.0.4")
        self.assertRegex(self.browser.text("upload-findings"), r"Error at byte \d+: .*checksum")
        self.assert_untouched()
        # The page stays usable.
        self.assert_upload("done", self.file("FW.fwm", GOOD))

    def test_oversized(self):
        """Refused by the page before anything is sent."""
        self.begin(server=("--upload-limit", "1"))
        self.browser.go("package")
        self.browser.reads("upload-limits", "At most 1.0 MB")
        self.browser.choose("package-file", self.file("large.fwm", bytes(2**20 + 1)))
        self.browser.reads("choice-problem", "larger than the server accepts")
        self.assertFalse(self.browser.element("upload-start").is_enabled())
        self.assert_untouched()
        self.browser.choose("package-file", self.file("empty.fwm", b""))
        self.browser.reads("choice-problem", "empty")
        self.browser.choose("package-file", self.file("FW.fwm", GOOD))
        self.browser.hidden("choice-problem")
        self.assertTrue(self.browser.element("upload-start").is_enabled())

    def test_cancel(self):
        browser = self.begin_slow_upload()
        self.assertRegex(browser.text("upload-figures"), r"^\d+ %: .* of 900 kB")
        browser.click("upload-cancel")
        self.assertEqual(browser.result("upload-result"), "cancelled")
        wait.until(lambda: os.listdir("/data") and not self.leftovers(), what="end of the upload")
        self.assert_untouched()
        browser.upload_speed(-1)
        self.assert_upload("done", self.file("FW.fwm", GOOD))

    @staticmethod
    def leftovers():
        return [one for one in os.listdir("/data") if one.startswith("FW.fwm.")]

    def test_the_connection_is_lost(self):
        """An upload that ends early is never shown as done."""
        browser = self.begin_slow_upload()
        port = self.server.port
        self.server.kill()
        self.assertEqual(browser.result("upload-result"), "failed")
        self.assertEqual(module.content(agentcase.PACKAGE), OLD)
        browser.shown("connection")
        browser.upload_speed(-1)
        self.start_server(port=port)
        browser.hidden("connection", 60)
        browser.errors()
        self.assert_upload("done", self.file("FW.fwm", GOOD))


class TestSignatures(browsercase.BrowserCase):
    """On a module with a key."""

    def setUp(self):
        super().setUp()
        signing.clean()
        self.stack.callback(signing.clean)

    def test_the_signature_is_chosen_with_the_package(self):
        key, other = signing.Key("release"), signing.Key("other")
        signing.install(key)
        self.begin(images=())
        package = self.file("FW.fwm", GOOD)
        self.assert_upload("refused", package)
        self.browser.reads("upload-result", "sign")
        wrong = self.file("other.minisig", other.sign(GOOD))
        self.assert_upload("refused", package, wrong)
        self.assertFalse(os.path.exists(agentcase.PACKAGE))
        self.assertFalse(os.path.exists(signing.SIGNATURE))
        good = key.sign(GOOD, "release 5")
        self.assert_upload("done", package, self.file("FW.fwm.minisig", good))
        self.assertEqual(module.content(signing.SIGNATURE), good)
        self.browser.go("module")
        self.browser.reads("package-signature", "trusted")
        self.browser.reads("package-signature", "release 5")
        self.start_run()
        self.assertEqual(self.result(), "done")
        self.assert_flashed(*IMAGES)


if __name__ == "__main__":
    agentcase.main(900)
