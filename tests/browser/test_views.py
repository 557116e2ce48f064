# SPDX-License-Identifier: Apache-2.0
"""Every view with axe-core, in both colour schemes and on two sizes; EDID; metrics."""

import os
import subprocess

from prometheus_client.openmetrics import parser

from tests import ROOT
from tests.browser import browsercase
from tests.browser.browser import DESKTOP, PHONE
from tests.browser.browsercase import GOOD, IMAGES, LONG, SLOW
from tests.harness import agentcase, module

DUMP = os.path.join(ROOT, "tests", "edid", "data", "v4l-dell-p2415q-hdmi1.4.bin")
# A part of the content that is wider than the screen would need horizontal scrolling.
OVERFLOW = "return document.documentElement.scrollWidth - document.documentElement.clientWidth"
LIVE = (
    "return Boolean(arguments[0].closest('[aria-live], [role=status], [role=log], [role=alert]'))"
)

# Gives the page a run as if the server had sent it.
SHOW_RUN = """
const [run, done] = arguments;
import("/api.js").then((api) => { api.change("run", run); done(); });
"""
# A run with a message more each time, of which the page keeps the last ones, and once every message
# at the same time; returns how many elements the log got, and how often.
LONG_LOG = """
const [count, kept, done] = arguments;
let added = 0, times = 0;
const log = document.getElementById("run-log");
import("/api.js").then(async (api) => {
  const watch = new MutationObserver((all) => {
    all.forEach((one) => (added += one.addedNodes.length));
    ++times;
  });
  watch.observe(log, { childList: true });
  let messages = [];
  const add = (number) => {
    const time = "2026-01-01T00:00:00.000Z";
    messages = [...messages, { text: `line ${number}`, time }].slice(-kept);
    api.change("run", { id: 1, state: "running", chips: [], messages });
  };
  const shown = (number) => new Promise((go) => {
    const look = () => {
      if (log.lastChild?.textContent.endsWith(`line ${number}`)) go();
      else setTimeout(look);
    };
    look();
  });
  for (let number = 0; number < count; ++number) {
    add(number);
    await shown(number);
  }
  for (let number = count; number < 2 * count; ++number) add(number);
  await shown(2 * count - 1);
  done([added, times, log.children.length, log.firstChild.textContent, log.lastChild.textContent]);
});
"""


class TestViews(browsercase.BrowserCase):
    """axe-core finds nothing, and nothing is wider than a phone."""

    axe: str

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.axe = module.content(os.environ["AXE_CORE"]).decode()

    def check(self, view):
        """What is shown now, in every form."""
        browser = self.browser
        self.stack.callback(browser.size, *DESKTOP)
        self.stack.callback(browser.scheme, "light")
        for size in (PHONE, DESKTOP):
            browser.size(*size)
            self.assertEqual(browser.script(OVERFLOW), 0, f"{view} at {size}")
            for scheme in ("light", "dark"):
                browser.scheme(scheme)
                with self.subTest(view=view, size=size, scheme=scheme):
                    self.assertEqual(browser.findings(self.axe), [])

    def test_axe_finds_a_fault(self):
        """So that an empty list means something."""
        self.begin()
        self.browser.shown("view-module")
        self.browser.script("document.getElementById('view-module').append(new Image())")
        self.assertIn("image-alt", [one[0] for one in self.browser.findings(self.axe)])
        self.browser.open("about:blank")

    def test_module_and_edid(self):
        self.begin()
        self.browser.reads("package-model", "HX-8")
        self.check("module")
        self.browser.go("edid")
        self.check("edid")
        self.browser.element("edid-text").send_keys(module.content(DUMP).hex(" "))
        self.browser.click("edid-send")
        self.browser.reads("edid-report", "DELL P2415Q")
        self.check("edid report")
        self.browser.element("edid-text").clear()
        self.browser.click("edid-send")
        self.browser.shown("edid-problem")
        self.check("edid problem")
        self.browser.choose("edid-file", DUMP)
        self.browser.reads("edid-report", "DELL P2415Q")

    def test_package(self):
        self.begin(images=())
        self.browser.shown("package-none")
        self.check("module without a package")
        self.browser.go("upgrade")
        self.browser.shown("upgrade-problem")
        self.check("upgrade without a package")
        self.assert_upload("refused", self.file("FW.fwm", b"no package"))
        self.check("refused")
        self.assert_upload("done", self.file("FW.fwm", GOOD))
        self.check("accepted")

    def test_upgrade_and_run(self):
        self.begin(options=SLOW, images=LONG, faults=["refuse:type=17"])
        self.browser.go("upgrade")
        self.browser.reads("upgrade-start", "3 chips")
        self.check("upgrade")
        for mode in (2, 5):
            self.browser.click(f"mode-{mode}")
            self.browser.click("upgrade-start")
            self.browser.shown("confirm")
            self.check(f"confirmation of mode {mode}")
            if mode == 2:
                self.browser.click("confirm-cancel")
        self.browser.click("confirm-start")
        self.browser.shown("view-run")
        # Changes are announced: a screen reader needs no focus on them.
        for name in ("announcer", "agent-state"):
            self.assertTrue(self.browser.script(LIVE, self.browser.element(name)), name)
        self.wait_for_writing()
        self.check("live")
        self.browser.go("module")
        self.check("notice of a run")
        self.browser.go("run")
        self.result()
        self.check("failed")
        self.simulator.control("fault clear")
        self.start_run()
        self.assert_ends("done", "Upgrade complete")
        self.check("done")
        self.browser.go("module")
        self.browser.counts("#history tbody tr", 2)
        self.check("history")

    def test_run_without_one(self):
        self.begin()
        self.browser.go("run")
        self.browser.shown("run-none")
        self.browser.reads("agent-state", "Ready")
        self.check("no run")
        chip = {"name": "AUX", "phase": "writing", "percent": 40, "retries": 1}
        wait = {"waited": 4, "limit": 15, "attempt": 2, "attempts": 9, "gives_up_in": 215}
        run = {"id": 1, "state": "running", "phase": "writing", "chips": [chip], "wait": wait}
        self.browser.driver.execute_async_script(SHOW_RUN, run)
        self.browser.reads("run-wait", "attempt 2 of 9")
        self.browser.reads("run-wait", "fails in 3 min 35 s")
        self.check("a silent device")

    def test_a_long_log(self):
        """The page changes only what is new, also when the first lines leave the log."""
        self.begin()
        self.browser.reads("agent-state", "Ready")
        found = self.browser.driver.execute_async_script(LONG_LOG, 30, 20)
        self.assertEqual(found[:3], [30 + 20, 30 + 1, 20])
        self.assertIn("line 40", found[3])
        self.assertIn("line 59", found[4])

    def test_login(self):
        self.begin(password="a long password")
        self.browser.shown("view-login")
        self.check("login")
        self.browser.element("login-password").send_keys("wrong password")
        self.browser.click("login-submit")
        self.browser.shown("login-problem")
        self.check("refused login")

    def test_no_agent(self):
        self.begin()
        self.browser.reads("agent-state", "Ready")
        self.agent.kill()
        self.browser.reads("agent-state", "Not reachable", 60)
        self.check("no agent")
        self.server.stop()
        self.browser.shown("connection")
        self.check("no server")
        self.browser.open("about:blank")


class TestMetrics(browsercase.BrowserCase):
    """Two parsers that are not ours, one for each form."""

    def test_they_can_be_read(self):
        self.begin()
        self.start_run()
        self.result()
        plain = self.server.get("/metrics").body
        self.assertEqual(self.promtool(plain), (0, ""))
        self.assertNotEqual(self.promtool(b"upgrade_runs_total{ 1\n")[0], 0)
        opened = self.server.get("/metrics", Accept="application/openmetrics-text; version=1.0.0")
        families = parser.text_string_to_metric_families(opened.body.decode())
        found = {one.name: [sample.value for sample in one.samples] for one in families}
        self.assertEqual(found["upgrade_agent_reachable"], [1])
        self.assertEqual(found["upgrade_runs"], [1])
        self.assertEqual(found["upgrade_last_run_bytes"], [sum(len(one.data) for one in IMAGES)])

    @staticmethod
    def promtool(metrics):
        done = subprocess.run(
            ["promtool", "check", "metrics"], input=metrics, capture_output=True, check=False
        )
        return done.returncode, (done.stdout + done.stderr).decode()


if __name__ == "__main__":
    agentcase.main(1500)
