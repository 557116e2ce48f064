# SPDX-License-Identifier: Apache-2.0
"""Chromium without a window, by Selenium. Elements are named by their id."""

import contextlib
import json
import shutil
import tempfile

from selenium import webdriver
from selenium.common import exceptions
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from tests.harness import wait

# In a sandbox, by root, without a graphics card and with no requests to its maker.
FLAGS = (
    "--headless --no-sandbox --disable-gpu --disable-dev-shm-usage --disable-quic "
    "--disable-background-networking --disable-component-update --disable-sync --no-first-run "
    "--hide-scrollbars"
).split()
DESKTOP, PHONE = (1280, 900), (360, 740)
# Refusals are replies of the server that a test expects; Chromium reports each as an error.
EXPECTED = "Failed to load resource: the server responded with a status of 4"
# Of the element that has the focus: whether its outline can be seen.
FOCUS_IS_VISIBLE = """
const style = getComputedStyle(document.activeElement);
return style.outlineStyle !== "none" && parseFloat(style.outlineWidth) > 0;
"""
MOST_TABS = 80
ORIGINS = """
return performance.getEntries().filter(one => one.name.includes('://'))
  .map(one => new URL(one.name).origin);
"""
# With axe-core: ["rule", "help", "elements"] of each violation.
VIOLATIONS = """
const done = arguments[arguments.length - 1];
axe.run(document).then(found => done(JSON.stringify(found.violations.map(one =>
  [one.id, one.help, one.nodes.map(node => node.html + ' ' + node.failureSummary)]))));
"""


class Browser:
    """One browser with a private profile, which is removed at the end."""

    def __init__(self):
        self.downloads = tempfile.mkdtemp()
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for flag in FLAGS:
            options.add_argument(flag)
        options.add_argument(f"--user-data-dir={self.downloads}/profile")
        options.add_experimental_option("prefs", {"download.default_directory": self.downloads})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        self.size(*DESKTOP)

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.downloads, ignore_errors=True)

    def size(self, width, height, scale=1):
        """The page's size in CSS pixels, smaller than a window could be."""
        self.driver.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": scale, "mobile": width < 600},
        )

    def scheme(self, name):
        """dark or light."""
        self.driver.execute_cdp_cmd(
            "Emulation.setEmulatedMedia",
            {"features": [{"name": "prefers-color-scheme", "value": name}]},
        )

    def upload_speed(self, bytes_per_second):
        """Slows requests down; -1 is the usual speed."""
        self.driver.execute_cdp_cmd("Network.enable", {})
        speeds = {"downloadThroughput": -1, "uploadThroughput": bytes_per_second}
        self.driver.execute_cdp_cmd(
            "Network.emulateNetworkConditions", {"offline": False, "latency": 0, **speeds}
        )

    def open(self, address):
        self.driver.get(address)

    # What is on the page.

    def element(self, name):
        return self.driver.find_element(By.ID, name)

    def elements(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def is_shown(self, name):
        return self.element(name).is_displayed()

    def text(self, name):
        """What a person reads there; nothing in a hidden element."""
        return self.element(name).text

    def all_text(self, name):
        """The text of an element, hidden or not."""
        return self.element(name).get_property("textContent")

    def texts(self, selector):
        return [one.text for one in self.elements(selector)]

    def data(self, name, key):
        return self.element(name).get_attribute(f"data-{key}")

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    # Waiting, always for a condition.

    def until(self, condition, what, seconds=30):
        """Elements may be replaced while they are read; then the condition is asked again."""

        def holds():
            with contextlib.suppress(
                exceptions.StaleElementReferenceException, exceptions.NoSuchElementException
            ):
                return condition()
            return False

        try:
            return wait.until(holds, seconds, what)
        except wait.TimeOut as error:
            raise wait.TimeOut(f"{error}\n{self.state()}") from error

    def counts(self, selector, number, seconds=30):
        """Waits until so many elements are there."""
        self.until(lambda: len(self.elements(selector)) == number, selector, seconds)

    def shown(self, name, seconds=30):
        return self.until(lambda: self.is_shown(name) and self.element(name), name, seconds)

    def hidden(self, name, seconds=30):
        self.until(lambda: not self.is_shown(name), f"hidden {name}", seconds)

    def reads(self, name, part, seconds=30):
        """Waits until an element has a text."""
        self.until(lambda: part in self.text(name), f"{part!r} in {name}", seconds)

    def result(self, name, seconds=30):
        """Waits for the result of an element that is shown."""
        return self.until(
            lambda: self.is_shown(name) and self.data(name, "result"), f"result in {name}", seconds
        )

    def state(self):
        """For the report of a failure."""
        shown = self.script("return document.body ? document.body.innerText : ''")
        return f"{self.driver.current_url}\n{shown[:3000]}\n{self.errors()}"

    def errors(self):
        """What the console has of errors since the last call."""
        return [
            one["message"]
            for one in self.driver.get_log("browser")
            if one["level"] == "SEVERE" and EXPECTED not in one["message"]
        ]

    def hosts(self):
        """From where anything was loaded."""
        return set(self.script(ORIGINS))

    # What a person does.

    def click(self, name):
        """With the mouse, as soon as it is possible."""
        element = self.until(
            lambda: self.is_shown(name) and self.element(name).is_enabled() and self.element(name),
            f"{name} to click",
        )
        actions = ActionChains(self.driver).scroll_to_element(element)
        actions.move_to_element(element).click().perform()

    def go(self, view):
        self.click(f"nav-{view}")
        self.shown(f"view-{view}")

    def choose(self, name, *paths):
        """Files, as a file dialog would return them."""
        self.element(name).send_keys("\n".join(paths))

    def press(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def focused(self):
        return self.driver.switch_to.active_element.get_attribute("id")

    def tab_to(self, name):
        """With the key Tab alone; each element on the way shows that it has the focus."""
        for _ in range(MOST_TABS):
            if self.focused() == name:
                return
            self.press(Keys.TAB)
            where = self.driver.switch_to.active_element
            if where.tag_name != "body" and not self.script(FOCUS_IS_VISIBLE):
                raise AssertionError(f"the focus on {where.get_attribute('outerHTML')} is unseen")
        raise AssertionError(f"{name} cannot be reached by Tab\n{self.state()}")

    def press_on(self, name, key=Keys.ENTER):
        self.until(lambda: self.is_shown(name) and self.element(name).is_enabled(), name)
        self.tab_to(name)
        self.press(key)

    # Accessibility, by axe-core.

    def findings(self, axe):
        """The violations in what is shown now."""
        self.script(axe)
        return json.loads(self.driver.execute_async_script(VIOLATIONS))
