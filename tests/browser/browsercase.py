# SPDX-License-Identifier: Apache-2.0
"""The base of the tests in a browser: the real server, the real agent and a simulated device, all
inside the sandbox."""

import contextlib
import os

from selenium.common import exceptions

from tests.browser.browser import Browser
from tests.harness import agentcase, signing, web
from tests.harness.package import Image, build, expected_flash, image_bytes

MAIN = Image("MAIN", image_bytes(3000, "main"))
AUX = Image("AUX", image_bytes(30000, "aux"), chip_type=1)
FPGA = Image("FPGA", image_bytes(700, "fpga"), chip_type=17, version=(3, 2, 0))
IMAGES = (MAIN, AUX, FPGA)
CHIPS = (
    agentcase.chip("MAIN"),
    agentcase.chip("AUX", 1),
    agentcase.chip("FPGA", 17, version="3.1", upgrades_to="3.2"),
)
GOOD = build(IMAGES)
# Twenty seconds for AUX, for more than one look at a run.
LONG = (MAIN, Image("AUX", image_bytes(120000, "aux"), chip_type=1), FPGA)
# The line's real speed: AUX takes five seconds, so that a test can do something meanwhile.
SLOW = ("--baud", "57600")
HISTORY, PASSWORD_FILE = "/data/upgrade-web-history.json", "/data/password"
RUN_SECONDS = 120


class BrowserCase(agentcase.AgentCase):
    """Browsers live as long as the class, since each needs seconds to start."""

    browsers: list[Browser] = []

    @classmethod
    def setUpClass(cls):
        cls.browsers = [Browser()]
        cls.addClassCleanup(lambda: [one.close() for one in cls.browsers])

    def setUp(self):
        super().setUp()
        for path in (HISTORY, PASSWORD_FILE, agentcase.PACKAGE + ".minisig"):
            with contextlib.suppress(FileNotFoundError):
                os.remove(path)
        self.browser = self.browsers[0]
        self.browser.open("about:blank")
        self.browser.driver.delete_all_cookies()
        self.browser.errors()

    def tearDown(self):
        """No script failed, nothing broke the content security policy, nothing came from another
        host. The programs still run: a page without its server reports errors."""
        if self.browser.driver.current_url.startswith("http"):
            self.assertEqual(self.browser.errors(), [])
            self.assertLessEqual(self.browser.hosts(), {self.server.origin})

    def second_browser(self):
        if len(self.browsers) == 1:
            self.browsers.append(Browser())
        return self.browsers[1]

    def begin(self, *chips, images=IMAGES, server=(), password=None, **more):
        """Everything runs, and the browser shows the first page."""
        self.start(*(chips or CHIPS), images=images, **more)
        if password:
            web.set_password("/data", password)
        self.start_server(*server)
        if not password:
            self.server.wait_until_reachable()
        self.browser.open(self.server.address)

    def start_server(self, *options, port=0):
        options = ("--timeout", "15", *options)
        self.server = web.WebServer("/data", 35353, *options, port=port, keys=signing.KEYS)
        self.processes.append(self.server)
        self.stack.callback(self.server.stop)

    @staticmethod
    def file(name, content):
        """A file for the browser to choose."""
        path = os.path.join("/tmp/files", name)
        os.makedirs("/tmp/files", exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def upload(self, *paths):
        """Chooses files and uploads them, and returns the result."""
        self.browser.go("package")
        self.browser.choose("package-file", *paths)
        self.browser.click("upload-start")
        return self.browser.result("upload-result")

    def assert_upload(self, result, *paths):
        """Uploads files with this result."""
        self.assertEqual(self.upload(*paths), result, self.browser.text("view-package"))

    def start_run(self, mode=2):
        """From the first page to the live view, with the mouse."""
        self.browser.go("upgrade")
        self.browser.click(f"mode-{mode}")
        self.confirm()

    def confirm(self):
        self.browser.click("upgrade-start")
        self.browser.click("confirm-start")
        self.browser.shown("view-run")

    def wait_for_writing(self, name="AUX", browser=None):
        """Until the chip is being written; returns the percentage of the run."""
        one = browser or self.browser
        one.until(
            lambda: "Writing" in self.chip_state(name, one), f"writing of {name}", RUN_SECONDS
        )

    def chip(self, name, browser=None):
        """The element of one chip in the live view."""
        for one in (browser or self.browser).elements("#run-chips > li"):
            if one.find_element("class name", "chip-name").text == name:
                return one
        raise exceptions.NoSuchElementException(name)

    def chip_state(self, name, browser=None):
        return self.chip(name, browser).find_element("class name", "chip-state").text

    def result(self, browser=None):
        return (browser or self.browser).result("run-summary", RUN_SECONDS)

    def assert_ends(self, result, title, seconds=RUN_SECONDS):
        """Waits for the result of the run that is shown, also after another run."""
        one = self.browser
        one.until(lambda: one.data("run-summary", "result") == result, result, seconds)
        self.assertEqual(one.text("summary-title"), title)

    def assert_flashed(self, *images):
        for image in images:
            self.assertEqual(
                self.simulator.flash(image.chip_type, 0), expected_flash(image.data), image.name
            )
