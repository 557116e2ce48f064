# SPDX-License-Identifier: Apache-2.0
"""Login, sessions, and texts with markup, in a browser."""

from tests.browser import browsercase

from tests.harness import agentcase
from tests.harness.package import Image, build, image_bytes

PASSWORD = "a long password"
# Each would change the document's title if any of it became markup.
IMG = "<img src=x onerror=\"document.title='XSS'\">"
SCRIPT = "<script>document.title='XSS'</script>"
SVG = "'\"><svg onload=\"document.title='XSS'\">"


class TestLogin(browsercase.BrowserCase):
    def log_in(self, password):
        self.browser.element("login-password").send_keys(password)
        self.browser.click("login-submit")

    def begin(self, is_logged_in=True, **more):
        super().begin(password=PASSWORD, **more)
        self.browser.shown("view-login")
        if is_logged_in:
            self.log_in(PASSWORD)
            self.browser.shown("view-module")

    def test_login_and_logout(self):
        self.begin(is_logged_in=False)
        browser = self.browser
        self.assertFalse(browser.is_shown("nav"))
        self.assertEqual(browser.focused(), "login-password")
        self.log_in("wrong password")
        browser.shown("login-problem")
        self.assertEqual(browser.element("login-password").get_property("value"), "")
        self.log_in(PASSWORD)
        browser.shown("view-module")
        browser.reads("package-model", "HX-8")
        cookie = browser.driver.get_cookie("upgrade_web_session")
        self.assertTrue(cookie["httpOnly"])
        self.assertEqual(cookie["sameSite"], "Strict")
        self.assertEqual(browser.script("return document.cookie"), "")
        browser.driver.refresh()
        browser.shown("view-module")
        browser.click("log-out")
        browser.shown("view-login")
        browser.driver.refresh()
        browser.shown("view-login")

    def test_lock_out(self):
        self.begin(is_logged_in=False)
        browser = self.browser
        for _ in range(5):
            self.log_in("wrong password")
            browser.until(
                lambda: browser.element("login-submit").is_enabled()
                and browser.is_shown("login-problem"),
                "refusal",
            )
            first = browser.text("login-problem")
            browser.script("document.getElementById('login-problem').hidden = true")
        self.log_in(PASSWORD)
        browser.shown("login-problem")
        self.assertNotEqual(browser.text("login-problem"), first)
        self.assertRegex(browser.text("login-problem"), r"Wait \d+ min")
        self.assertTrue(browser.is_shown("view-login"))

    def test_a_session_that_has_ended(self):
        """The server has forgotten it: the page asks for the password and goes on where it was."""
        self.begin()
        browser = self.browser
        browser.go("edid")
        port = self.server.port
        self.server.stop()
        self.start_server(port=port)
        browser.shown("view-login", 60)
        self.assertFalse(browser.is_shown("view-edid"))
        browser.errors()
        self.log_in(PASSWORD)
        browser.shown("view-edid")

    def test_a_session_that_ends_in_a_request(self):
        """The cookie is gone when the user presses a button."""
        self.begin()
        browser = self.browser
        browser.go("edid")
        browser.driver.delete_all_cookies()
        browser.element("edid-text").send_keys("00 ff")
        browser.click("edid-send")
        browser.shown("view-login")


class TestMarkup(browsercase.BrowserCase):
    """Names of chips and packages, file names and dumps are texts, never markup."""

    def assert_text(self, text, where):
        self.browser.until(lambda: text in self.browser.all_text(where), f"{text} in {where}")
        self.assertNotIn("XSS", self.browser.driver.title)
        self.assertEqual(self.browser.elements("main img, main svg, main script"), [])

    def test_names_with_markup(self):
        images = [
            Image(IMG, image_bytes(300)),
            Image(SCRIPT, image_bytes(30000), chip_type=1),
            Image(SVG, image_bytes(300), chip_type=17, version=(3, 2, 0)),
        ]
        content = build(images, model=SCRIPT, version="1.0" + IMG)
        self.begin(images=(), options=browsercase.SLOW, model=SCRIPT)
        browser = self.browser
        name = SVG.replace("/", "") + ".fwm"
        browser.go("package")
        browser.choose("package-file", self.file(name, b"no package"))
        self.assert_text(name, "chosen")
        self.assert_upload("done", self.file(IMG.replace("/", "") + ".fwm", content))
        self.assert_text(SCRIPT, "upload-result")
        browser.go("module")
        self.assert_text(SCRIPT, "package-model")
        for text in (IMG, SCRIPT, SVG):
            self.assert_text(text, "package-images")
        browser.go("upgrade")
        for text in (IMG, SCRIPT, SVG):
            self.assert_text(text, "chips")
        browser.click("mode-5")
        browser.click("upgrade-start")
        self.assert_text(SCRIPT, "confirm-what")
        browser.click("confirm-start")
        browser.shown("view-run")
        for text in (IMG, SCRIPT, SVG):
            self.assert_text(text, "run-chips")
        self.result()
        self.assert_text(IMG, "run-log")
        browser.go("module")
        self.assert_text(SCRIPT, "history")

    def test_a_dump_with_markup(self):
        self.begin()
        self.browser.go("edid")
        self.browser.element("edid-text").send_keys(IMG)
        self.browser.click("edid-send")
        self.browser.shown("edid-problem")
        self.assert_text("", "edid-problem")


if __name__ == "__main__":
    agentcase.main(900)
