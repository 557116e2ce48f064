# SPDX-License-Identifier: Apache-2.0
"""upgrade-web with the real agent and a simulated device, inside the sandbox."""

import contextlib
import os
import unittest

from tests.harness import agentcase, wait, web
from tests.harness.package import Image, build, expected_flash, image_bytes

MAIN = Image("MAIN", image_bytes(3000, "main"))
AUX = Image("AUX", image_bytes(20000, "aux"), chip_type=1)
FPGA = Image("FPGA", image_bytes(700, "fpga"), chip_type=17, version=(3, 2, 0))
IMAGES = (MAIN, AUX, FPGA)
CHIPS = (
    agentcase.chip("MAIN"),
    agentcase.chip("AUX", 1),
    agentcase.chip("FPGA", 17, version="3.1", upgrades_to="3.2"),
)


class TestRealModule(agentcase.AgentCase):
    """What users do with a module."""

    def begin(self, **more):
        self.start(*CHIPS, images=IMAGES, **more)
        with contextlib.suppress(FileNotFoundError):
            os.remove("/data/upgrade-web-history.json")
        self.server = web.WebServer("/data", 35353, "--timeout", "15")
        self.processes.append(self.server)
        self.stack.callback(self.server.stop)
        self.server.wait_until_reachable()

    def run_to_its_end(self, **wish):
        with web.Events(self.server) as events:
            events.until("snapshot")
            self.assertEqual(self.server.post("/api/run", {"mode": 2, **wish}).status, 202)
            return [event for _, event in events.until("result")]

    def test_upload_and_upgrade(self):
        self.begin()
        os.remove("/data/FW.fwm")
        self.assertFalse(self.server.get("/api/package").document["present"])
        self.assertEqual(self.server.post("/api/package", build(IMAGES)).problem, (200, None))
        plan = self.server.get("/api/plan?mode=2").document
        self.assertEqual([chip["name"] for chip in plan["chips"]], ["MAIN", "AUX", "FPGA"])
        run = self.run_to_its_end()[-1]["run"]
        self.assertEqual(run["document"]["summary"], "3 MCUs updated.")
        self.assertLess(run["document"]["seconds"], 4 * plan["seconds"])
        for image in IMAGES:
            self.assertEqual(
                self.simulator.flash(image.chip_type, 0), expected_flash(image.data), image.name
            )
        again = self.run_to_its_end()[-1]["run"]
        self.assertEqual(again["document"]["result"], "nothing-to-do")
        history = self.server.get("/api/history").document["runs"]
        self.assertEqual([one["result"] for one in history], ["nothing-to-do", "done"])

    def test_a_chip_that_fails(self):
        self.begin(faults=["refuse:type=1"])
        run = self.run_to_its_end()[-1]["run"]
        self.assertEqual(
            [(chip["name"], chip["result"]) for chip in run["chips"]],
            [("MAIN", "updated"), ("AUX", "failed"), ("FPGA", "updated")],
        )
        self.assertEqual(run["document"]["error"]["id"], "mcu-silent")

    def test_an_agent_that_dies_and_comes_back(self):
        self.begin()
        with web.Events(self.server) as events:
            events.until("snapshot")
            self.server.post("/api/run", {"mode": 5, "confirmed": True})
            events.until("progress")
            self.agent.kill()
            run = events.until("result")[-1][1]["run"]
        self.assertEqual(run["document"]["error"]["id"], "connection-lost")
        self.assertTrue(run["document"]["likely_state"])
        self.start_agent()
        wait.until(lambda: self.server.get("/api/status").document["reachable"], 60, what="agent")
        self.assertEqual(self.run_to_its_end()[-1]["run"]["document"]["result"], "done")


if __name__ == "__main__":
    unittest.main()
