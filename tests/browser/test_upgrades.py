# SPDX-License-Identifier: Apache-2.0
"""Upgrades from a browser: by mouse, by keyboard, with failures, and with several viewers."""

import json
import os

from selenium.webdriver.common.keys import Keys

from tests.browser import browsercase
from tests.browser.browsercase import AUX, FPGA, GOOD, IMAGES, LONG, MAIN, RUN_SECONDS, SLOW
from tests.harness import agentcase, module, wait

# The longest time that the agent tries to write a chip of a device without power, in seconds: three
# times a block, then twice the whole image again, which begins with three requests for the update
# mode, then three requests to reboot.
TRIES, BLOCK_SECONDS, UPDATE_MODE_SECONDS, COMMAND_SECONDS = 3, 15, 30, 10
SILENT_RUN_SECONDS = TRIES * (BLOCK_SECONDS + (TRIES - 1) * UPDATE_MODE_SECONDS + COMMAND_SECONDS)
# Holds each document of the run back for two seconds.
LATE_ANSWERS = """
const fetchNow = window.fetch;
window.fetch = async (path, options) => {
  const answer = await fetchNow(path, options);
  if (path === "/api/run" && options.method === "GET") {
    await new Promise((go) => setTimeout(go, 2000));
  }
  return answer;
};
"""


class TestUpgrades(browsercase.BrowserCase):
    """Complete upgrades."""

    def test_everything_by_mouse(self):
        """From a module without a package to a device with the new firmware."""
        self.begin(images=())
        browser = self.browser
        browser.reads("agent-state", "Ready")
        browser.shown("package-none")
        browser.shown("history-empty")
        self.assert_upload("done", self.file("FW.fwm", GOOD))
        browser.click("nav-module")
        browser.reads("package-model", "HX-8")
        browser.reads("package-release", "1.0.5")
        names = [one.split("\n")[0] for one in browser.texts("#package-images tbody th")]
        self.assertEqual(names, ["MAIN", "AUX", "FPGA"])

        browser.go("upgrade")
        browser.counts(".chip-check", 3)
        self.assertTrue(browser.element("mode-2").is_selected())
        browser.reads("upgrade-start", "Upgrade 3 chips")
        browser.click("upgrade-start")
        browser.shown("confirm")
        self.assertRegex(browser.text("confirm-duration"), r"takes (about|at least) \d+ s")
        self.assertIn("reboots at the end, even when nothing is written", browser.text("confirm"))
        self.assertIn("must stay powered", browser.text("confirm"))
        browser.click("confirm-cancel")
        browser.hidden("confirm")
        self.assertEqual(self.simulator.status()["violations"], 0)
        self.assertEqual(browser.script("return location.hash"), "#upgrade")

        self.start_run()
        self.assert_ends("done", "Upgrade complete")
        for name, version in (("MAIN", "1.1.0"), ("AUX", "1.1.0"), ("FPGA", "3.2.0")):
            self.assertEqual(self.chip_state(name), "Done")
            self.assertIn(version, self.chip(name).text)
        self.assert_flashed(*IMAGES)

        browser.go("module")
        browser.until(lambda: browser.texts("#history tbody tr"), "history")
        self.assertIn("3 MCUs updated", browser.texts("#history tbody tr")[0])

        # Again: nothing is newer now.
        self.start_run()
        self.assert_ends("nothing-to-do", "Nothing to write")
        self.assertIn("Skipped", self.chip_state("AUX"))

    def test_everything_by_keyboard(self):
        """Tab, Space, arrows, Enter and Escape. A file dialog belongs to the system: its button can
        get the focus."""
        self.begin()
        browser = self.browser
        browser.shown("view-module")
        browser.press_on("nav-package")
        browser.shown("view-package")
        browser.tab_to("package-file")
        browser.press_on("nav-upgrade")
        browser.shown("view-upgrade")
        browser.counts(".chip-check", 3)
        browser.press_on("chips-all", Keys.SPACE)
        browser.reads("upgrade-estimate", "No chip is chosen")
        browser.press_on(browser.elements(".chip-check")[1].get_attribute("id"), Keys.SPACE)
        browser.tab_to("mode-2")
        browser.press(Keys.ARROW_DOWN)
        browser.until(lambda: browser.element("mode-5").is_selected(), "mode 5")
        browser.press_on("upgrade-start")
        browser.shown("confirm")
        browser.press(Keys.ESCAPE)
        browser.hidden("confirm")
        self.assertEqual(browser.focused(), "upgrade-start")
        browser.press(Keys.ENTER)
        browser.shown("confirm")
        # The dialog keeps the focus inside, and a single Enter does not start anything.
        self.assertEqual(browser.focused(), "confirm-cancel")
        browser.press_on("confirm-start")
        browser.shown("view-run")
        self.assertEqual(self.result(), "done")
        browser.until(lambda: browser.focused() == "run-summary", "focus on the summary")
        self.assert_flash({(1, 0): AUX.data})
        browser.press_on("nav-module")
        browser.shown("view-module")
        browser.until(lambda: browser.texts("#history tbody tr"), "history")

    def test_a_failing_chip(self):
        self.begin(faults=["refuse:type=1"])
        self.start_run()
        self.assert_ends("failed", "Upgrade failed")
        states = [self.chip_state(name) for name in ("MAIN", "AUX", "FPGA")]
        self.assertEqual(states, ["Done", "Failed", "Done"])
        self.assertTrue(self.browser.text("summary-advice"))
        why = self.chip("AUX").text.split("Failed")[1]
        document = self.server.get("/api/run").document
        failed = next(one for one in document["chips"] if one["name"] == "AUX")
        self.assertIn(failed["error"]["advice"], why)
        self.assert_flashed(MAIN, FPGA)

    def test_the_report(self):
        self.begin()
        self.start_run()
        self.result()
        for form, part in (("text", "Write firmware 'MAIN' success"), ("json", '"transcript"')):
            self.browser.click(f"report-{form}")
            content = self.browser.until(self.downloaded, f"the report as {form}")
            self.assertIn(part, content)
            if form == "json":
                self.assertEqual(json.loads(content)["command"], "report")

    def downloaded(self):
        """The content of the only complete file, which is removed."""
        folder = self.browser.downloads
        names = [one for one in os.listdir(folder) if one.startswith("upgrade-")]
        if len(names) != 1 or names[0].endswith(".crdownload"):
            return None
        path = os.path.join(folder, names[0])
        content = module.content(path).decode()
        os.remove(path)
        return content


class TestInterruptions(browsercase.BrowserCase):
    """What happens to the view and to the device in the middle of a run."""

    def percent(self):
        return int(self.browser.text("run-percent").rstrip(" %") or 0)

    def test_reload_and_close(self):
        self.begin(options=SLOW)
        self.start_run()
        self.wait_for_writing()
        self.browser.reads("run-phase", "Writing")
        self.assertRegex(self.browser.text("run-left"), r"^(about|at least) \d+ .* left$")
        log = self.browser.texts("#run-log li")
        before = self.percent()
        self.browser.driver.refresh()
        self.browser.shown("view-run")
        self.browser.until(lambda: self.percent() >= before > 0, "the percentage from before")
        self.browser.until(
            lambda: self.browser.texts("#run-log li")[: len(log)] == log, "the log from before"
        )
        self.browser.open("about:blank")
        self.browser.open(self.server.address)
        self.browser.shown("view-run")
        self.assertEqual(self.result(), "done")
        self.assert_flashed(*IMAGES)

    def test_an_answer_that_is_late(self):
        """The document of the run arrives after events that are newer than it."""
        self.begin(options=SLOW)
        self.browser.script(LATE_ANSWERS)
        self.start_run()
        self.wait_for_writing()
        self.browser.reads("run-phase", "Writing")
        self.assertEqual(self.result(), "done")

    def test_two_browsers(self):
        """The second one comes in the middle, sees the run from every view, and both end alike."""
        second = self.second_browser()
        self.begin(options=SLOW, images=LONG)
        self.start_run()
        self.wait_for_writing()
        second.open(self.server.address + "#module")
        second.shown("run-notice")
        second.go("upgrade")
        second.until(lambda: not second.element("upgrade-start").is_enabled(), "no second run")
        second.go("package")
        second.choose("package-file", self.file("FW.fwm", GOOD))
        second.shown("choice-problem")
        self.assertFalse(second.element("upload-start").is_enabled())
        second.go("run")
        second.until(lambda: self.chip_state("MAIN", second) == "Done", "the first chip")
        self.assertEqual(self.result(second), "done")
        self.assertEqual(self.result(), "done")
        for name in ("summary-title", "summary-text", "run-chips"):
            self.assertEqual(self.browser.text(name), second.text(name))
        self.assertEqual(self.browser.texts("#run-log li"), second.texts("#run-log li"))
        self.assertEqual(second.errors(), [])
        second.open("about:blank")

    def test_eight_tabs(self):
        """More than the connections that a browser opens to one server: hidden tabs have no stream,
        and show the state as soon as they are seen."""
        driver = self.browser.driver
        first = driver.current_window_handle
        self.addCleanup(self.close_other_tabs, first)
        self.begin(options=SLOW, images=LONG)
        for _ in range(7):
            driver.switch_to.new_window("tab")
            self.browser.open(self.server.address)
            self.browser.reads("agent-state", "Ready")
        self.start_run()
        self.wait_for_writing()
        for tab in driver.window_handles:
            driver.switch_to.window(tab)
            self.browser.until(
                lambda: "AUX" in self.browser.all_text("run-chips"), "the run in a tab"
            )
            self.browser.reads("agent-state", "Upgrading")
        driver.switch_to.window(first)
        self.browser.go("run")
        self.assertEqual(self.result(), "done")

    def close_other_tabs(self, first):
        driver = self.browser.driver
        for tab in driver.window_handles:
            if tab != first:
                driver.switch_to.window(tab)
                driver.close()
        driver.switch_to.window(first)

    def test_a_run_of_another_client(self):
        self.begin(options=SLOW)
        self.browser.reads("agent-state", "Ready")
        client = self.connect()
        client.send("UPGRADE||AUX,1,0")
        wait.until(lambda: any("Upgrade start" in one or "PROGRESS" in one for one in client.lines))
        self.browser.open(self.server.address)
        self.browser.until(
            lambda: self.browser.text("agent-state") in ("Busy", "Upgrading"), "the foreign run", 60
        )
        self.browser.go("run")
        self.browser.shown("run-origin")
        self.result()

    def test_the_agent_is_killed(self):
        self.begin(options=SLOW)
        self.start_run(mode=5)
        self.wait_for_writing()
        self.agent.kill()
        self.assert_ends("connection-lost", "The outcome is not known")
        self.assertTrue(self.browser.text("summary-advice"))
        self.browser.reads("agent-state", "Not reachable")
        self.start_agent()
        self.browser.until(lambda: self.browser.text("agent-state") == "Ready", "agent", 60)
        self.start_run()
        self.assert_ends("done", "Upgrade complete")
        self.assert_flashed(AUX, FPGA)

    def test_the_device_is_unplugged(self):
        """The agent gives up within a known time, which the page shows meanwhile."""
        self.begin(options=SLOW, images=(AUX,))
        self.start_run()
        self.wait_for_writing()
        chips, more = self.kill_device()
        self.browser.reads("run-wait", "The device does not answer", RUN_SECONDS)
        self.assertRegex(self.browser.text("run-wait"), r"fails in (\d+ min|\d+ seconds)")
        self.assertEqual(self.browser.text("run-left"), "")
        self.assert_ends("failed", "Upgrade failed", SILENT_RUN_SECONDS)
        self.assertEqual(self.chip_state("AUX"), "Failed")
        self.assertTrue(self.browser.text("summary-advice"))
        self.start_device(*chips, **more)
        self.start_run(mode=5)
        self.assert_ends("done", "Upgrade complete")
        self.assert_flashed(AUX)

    def test_the_server_is_gone(self):
        """The page reports it, and continues by itself when the server is back."""
        self.begin()
        browser = self.browser
        browser.reads("agent-state", "Ready")
        port = self.server.port
        self.server.stop()
        browser.reads("connection", "Connection lost, retrying")
        self.start_server(port=port)
        browser.hidden("connection", 60)
        browser.reads("agent-state", "Ready")
        browser.errors()
        self.start_run()
        self.assertEqual(self.result(), "done")


if __name__ == "__main__":
    agentcase.main(1500)
