# SPDX-License-Identifier: Apache-2.0
"""Runs as viewers see them, with a scripted agent: events, reload, other clients, lost agents."""

import unittest

from tests.harness import wait, web, webcase
from tests.harness.package import Image, build, image_bytes
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import CLOSE, ROWS, FakeAgent, Wait
from tests.harness.upgrade_console.lines import BUSY
from tests.schemas import documents

GOOD = build(
    [
        Image("MAIN", image_bytes(3000)),
        Image("AUX 1", image_bytes(2000), 1, mcu_type=4, version=(2, 1, 0)),
    ],
    version="7",
)


class RunCase(webcase.WebCase):
    """A server whose agent waits in the middle of a run until the test goes on."""

    def setUp(self):
        self.pause = Wait()
        self.addCleanup(self.pause.go_on.set)
        self.answers = {ROWS: lambda agent: self.run_lines()}
        super().setUp()
        self.put(GOOD)
        self.server.wait_until_reachable()

    def run_lines(self):
        lines = runs.full_run()
        return lines[:30] + [self.pause] + lines[30:]

    def start_run(self, **wish):
        answer = self.server.post("/api/run", {"mode": 2, **wish})
        self.assertEqual(answer.problem, (202, None))
        self.assertTrue(self.pause.reached.wait(60))
        return answer.document["id"]

    def finish(self):
        self.pause.go_on.set()
        wait.until(
            lambda: self.server.get("/api/run").document["state"] == "ended", what="end of the run"
        )
        return self.server.get("/api/run").document


class TestRuns(RunCase):
    def test_a_run_from_the_request_to_the_result(self):
        events = self.watch()
        self.start_run()
        self.pause.go_on.set()
        seen = [event for _, event in events.until("result")]
        after = events.until("status")[-1][1]["status"]
        self.assertEqual((after["busy"], after["run"]), (False, {"id": 1, "state": "ended"}))
        self.assertIn("UPGRADE||MAIN,0,0||AUX 1,1,0", self.agent.lines)
        self.assertEqual(seen[0]["event"], "status")
        self.assertEqual(seen[0]["status"]["run"], {"id": 1, "state": "preparing"})
        self.assertTrue(seen[0]["status"]["busy"])
        kinds = [event["event"] for event in seen[1:] if event["event"] != "message"]
        self.assertEqual(kinds[0], "run")
        self.assertEqual({"run", "phase", "chip", "progress", "result"} - set(kinds), set(), kinds)
        sent = []
        for line in runs.full_run():
            if line.startswith(b"UPGRADELOG||"):
                sent += line.decode().removeprefix("UPGRADELOG||").splitlines()
        messages = [event for event in seen if event["event"] == "message"]
        self.assertEqual([event["text"] for event in messages], sent)
        explanations = {event["text"]: event["explanation"] for event in messages}
        self.assertEqual(explanations["Erasing..."], "Do not cut the power from here on.")
        self.assertEqual(explanations["Model Name match."], "")
        begun = next(event for event in seen if event["event"] == "run")
        self.assertEqual([chip["label"] for chip in begun["chips"]], ["MAIN", "AUX 1"])
        run = seen[-1]["run"]
        self.check_run(run)
        self.assertEqual(run["document"]["result"], "done")
        self.assertEqual(run["document"]["summary"], "2 MCUs updated.")
        self.assertEqual([chip["image_size"] for chip in run["chips"]], [3000, 2000])
        self.assertEqual([chip["result"] for chip in run["chips"]], ["updated"] * 2)

    def check_run(self, run):
        """The document of the run, and that of the command line in it."""
        self.assert_follows_schema("run", {**self.server.get("/api/run").document, **run})
        documents.Documents().check("upgrade-console-upgrade", run["document"])

    def test_history_metrics_and_report_of_a_run(self):
        self.start_run()
        self.finish()
        runs_seen = self.server.get("/api/history").document["runs"]
        self.assertEqual([(run["id"], run["result"]) for run in runs_seen], [(1, "done")])
        metrics = self.server.get("/metrics").body.decode()
        self.assertIn('upgrade_runs_total{result="done"} 1\n', metrics)
        self.assertIn("upgrade_last_run_bytes 5000\n", metrics)
        report = self.server.get("/api/report?form=text")
        self.assertIn("attachment", report.headers["Content-Disposition"])
        text = report.body.decode()
        for part in ("2 MCUs updated.", "Read model name.", "model: HX-8", "image MAIN"):
            self.assertIn(part, text)
        document = self.server.get("/api/report?form=json").document
        self.assertGreater(len(document["transcript"]), 30)
        # The history survives a restart.
        self.server.stop()
        second = web.WebServer(self.folder, self.agent.port)
        self.addCleanup(second.forget)
        self.addCleanup(second.stop)
        self.assertEqual(second.get("/api/history").document["runs"], runs_seen)

    def test_a_viewer_that_comes_back_misses_nothing(self):
        with web.Events(self.server) as all_of_it, web.Events(self.server) as first:
            first.until("snapshot")
            self.start_run()
            last, _ = first.until("run")[-1]
            self.pause.go_on.set()
            expected = all_of_it.until("result")
        with web.Events(self.server, last=last) as again:
            rest = again.until("result")
        self.assertEqual(rest, expected[len(expected) - len(rest) :])
        self.assertGreater(len(rest), 30)
        with web.Events(self.server, last="00000000-3") as stranger:
            _, event = stranger.next()
        self.assertEqual(event["event"], "snapshot")
        self.assertEqual(event["run"]["state"], "ended")

    def test_a_reload_in_the_middle_shows_the_run(self):
        self.start_run()
        with web.Events(self.server) as events:
            last, event = events.next()
            self.assertEqual(event["run"]["state"], "running")
            self.assertEqual(event["run"]["last_event"], last)
            self.assertEqual([chip["name"] for chip in event["run"]["chips"]], ["MAIN", "AUX 1"])
            self.assertTrue(event["run"]["messages"])
            self.pause.go_on.set()
            events.until("result")

    def test_the_module_is_busy_during_a_run(self):
        self.start_run()
        self.assertEqual(self.server.post("/api/run", {"mode": 2}).problem, (409, "busy"))
        self.assertEqual(self.server.post("/api/package", GOOD).problem, (409, "busy"))
        self.assertTrue(self.server.get("/api/status").document["busy"])
        self.finish()
        self.assertEqual(self.server.post("/api/package", GOOD).status, 200)

    def test_a_lost_agent(self):
        self.pause.go_on.set()
        lines = runs.full_run()
        self.agent.answers[ROWS] = lines[:45] + [CLOSE]
        events = self.watch()
        self.server.post("/api/run", {"mode": 2})
        run = events.until("result")[-1][1]["run"]
        self.assertEqual(run["document"]["error"]["id"], "connection-lost")
        self.assertTrue(run["document"]["likely_state"])
        self.check_run(run)

    def test_rows_and_modes(self):
        self.pause.go_on.set()
        self.assertEqual(self.server.post("/api/run", {"mode": 5}).problem, (400, "not-confirmed"))
        self.server.post("/api/run", {"mode": 5, "confirmed": True, "rows": ["AUX 1,1,0"]})
        self.finish()
        self.assertIn("UPGRADEMODE||5", self.agent.lines)
        self.assertIn("UPGRADE||AUX 1,1,0", self.agent.lines)
        self.server.post("/api/run", {"mode": 2, "rows": ["NONE,9,0"]})
        run = self.finish()
        self.assertEqual(run["document"]["error"]["id"], "not-in-package")


class TestOtherClients(RunCase):
    """The run of another client."""

    def setUp(self):
        super().setUp()
        self.pause.go_on.set()

    def test_a_foreign_run_is_followed(self):
        lines = runs.full_run()
        listing = self.agent.answers["GETFIRMWARELIST"]
        events = self.watch()
        self.agent.answers["GETFIRMWARELIST"] = [*listing, *lines[20:]]
        self.agent.answers["UPGRADE||"] = [BUSY]
        events.until("run")
        self.agent.answers["UPGRADE||"] = []
        run = events.until("result")[-1][1]["run"]
        self.assertTrue(run["foreign"])
        self.assertIsNone(run["mode"])
        self.assertEqual(run["document"]["command"], "attach")
        self.assertEqual(run["document"]["error"]["id"], "beginning-unseen")

    def test_a_run_that_has_ended_before_it_could_be_followed(self):
        """The agent was busy when it was asked, and is not any more: the last run stays."""
        self.start_run()
        before = self.finish()
        busy = iter([[BUSY]])
        self.agent.answers["UPGRADE||"] = lambda agent: next(busy, [])
        asked = self.agent.lines.count("UPGRADE||")
        self.watch()
        # The question whether it is busy, the attempt to follow the run, and the next question.
        wait.until(lambda: self.agent.lines.count("UPGRADE||") >= asked + 3, 60, what="questions")
        wait.until(lambda: not self.server.get("/api/status").document["busy"], what="idle")
        after = self.server.get("/api/run").document
        for run in (before, after):
            run.pop("last_event")
        self.assertEqual(after, before)


class TestNoAgent(webcase.WebCase):
    def test_an_agent_that_comes_later(self):
        self.agent.stop()
        wait.until(
            lambda: self.server.get("/api/status").document["reachable"] is not None,
            what="first answer",
        )
        port = self.agent.port
        events = self.watch()
        self.assertEqual(self.server.post("/api/run", {"mode": 2}).status, 202)
        _, event = events.until("result")[-1]
        self.assertEqual(event["run"]["document"]["error"]["id"], "cannot-connect")
        status = self.server.get("/api/status").document
        self.assertFalse(status["reachable"])
        self.assertEqual(status["problem"]["id"], "cannot-connect")
        with FakeAgent(port=port):
            wait.until(
                lambda: self.server.get("/api/status").document["reachable"], 60, what="agent"
            )


if __name__ == "__main__":
    unittest.main()
