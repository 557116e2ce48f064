# SPDX-License-Identifier: Apache-2.0
"""JSON lines, status and attach, against an agent that a test scripts."""

import glob
import json
import os
import re
import signal
import unittest

from tests import ROOT
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import CLOSE, ROWS, FakeAgent, Wait
from tests.harness.upgrade_console.lines import BUSY, FAIL, PACKAGE, SUCCESS, listed, log
from tests.harness.upgrade_console.program import Exit, ProgramTest, done, masked, results


class LinesTest(ProgramTest):
    """What these tests share."""

    def events(self, result):
        """All but the last line, and the last line, without the times that differ from run to
        run."""
        *events, last = [json.loads(line) for line in result.stdout.splitlines()]
        for one in (*events, last):
            self.assertRegex(one.pop("time"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            one.pop("seconds", None)
            one.pop("seconds_left", None)
        self.assertEqual((last["event"], last["exit"]), ("result", result.returncode))
        return events, last


def of_kind(events, kind):
    return [event for event in events if event["event"] == kind]


class TestJsonLines(LinesTest):
    """--json-progress."""

    def upgrade(self, run, *arguments, **more):
        return super().upgrade(run, "--json-progress", *arguments, **more)

    def test_whole_run(self):
        result = self.upgrade(runs.full_run())
        self.assertEqual(len(result.stderr.splitlines()), 2, result.stderr)  # the announcement
        events, last = self.events(result)
        main = {"row": 0, "name": "MAIN", "chip_type": 0, "chip_index": 0}
        aux = {"row": 1, "name": "AUX 1", "chip_type": 1, "chip_index": 0}

        def chips(which, old, new, *phases, **more):
            versions = {"old_version": old, "new_version": new, "retries": 0}
            return [{"event": "chip", **which, **versions, "phase": one, **more} for one in phases]

        def written(which, old, new):
            updated = {"result": "updated", "error": None}
            return chips(which, old, new, "entering", "erasing", "writing") + chips(
                which, old, new, "finished", **updated
            )

        def progress(percent, which, own, is_whole):
            percents = {"percent": percent, "chip_percent": own}
            return {"event": "progress", "seconds_left_is_whole": is_whole, **which, **percents}

        self.assertEqual(
            [event for event in events if event["event"] != "progress"],
            [
                {
                    "event": "run",
                    "host": "127.0.0.1",
                    "mode": 2,
                    "package": {"model": "HX-8", "version": "7"},
                    "chips": [{**main, "new_version": "1.1.0"}, {**aux, "new_version": "2.1.0"}],
                },
                {"event": "phase", "phase": "reading"},
                *chips(main, "", "1.1.0", "reading"),
                *chips(aux, "", "2.1.0", "reading"),
                *chips(main, "1.0.0", "1.1.0", "reading"),
                *chips(aux, "2.0", "2.1.0", "reading"),
                {"event": "phase", "phase": "writing"},
                *written(main, "1.0.0", "1.1.0"),
                *written(aux, "2.0", "2.1.0"),
                {"event": "phase", "phase": "rebooting"},
                {"event": "phase", "phase": "set-version"},
            ],
        )
        figures = of_kind(events, "progress")
        self.assertIn(progress(40, main, 80, False), figures)
        self.assertIn(progress(60, aux, 20, True), figures)
        # One for each tenth, however fast they come.
        self.assertEqual([event["percent"] // 10 for event in figures], list(range(1, 11)))
        self.assertEqual(results(last), ["updated", "updated"])

    def test_failures(self):
        events, last = self.events(self.upgrade(runs.half_failed_run()))
        retries = [event["retries"] for event in of_kind(events, "retry")]
        self.assertEqual(retries, list(range(1, 9)))
        message = of_kind(events, "message")[0]
        self.assertEqual(
            (message["id"], message["error"]["id"], message["text"]),
            ("write-retry", "image-not-written", "'AUX 1' F/W update fail, retry 1."),
        )
        chips = [event for event in events if event.get("result") == "failed"]
        self.assertEqual([chip["error"]["id"] for chip in chips], ["image-not-written"])
        self.assertEqual(last["error"]["id"], "image-not-written")

    def test_names_are_those_of_the_package(self):
        """A real agent takes the blanks out of the names that it is sent."""
        run = [line.replace(b"'AUX 1'", b"'AUX1'") for line in runs.half_failed_run()]
        result = self.upgrade(run)
        self.assertNotIn("AUX1", result.stdout)
        _, last = self.events(result)
        self.assertEqual([mcu["name"] for mcu in last["mcus"]], ["MAIN", "AUX 1"])
        self.assertEqual(last["error"]["detail"], "'AUX 1' F/W Update fail.")
        result = super().upgrade(run)
        self.assertIn("agent: 'AUX 1' F/W Update fail.", result.stderr)
        self.assertNotIn("AUX1", result.stdout + result.stderr)

    def test_errors_are_lines(self):
        for arguments, status, cause in (
            (["upgrade", "--mode", "3"], Exit.USAGE, "usage"),
            (["bogus"], Exit.USAGE, "usage"),
            (["--port", "1", "ping"], Exit.CANNOT, "cannot-connect"),
        ):
            result = self.run_alone("--json-progress", *arguments)
            self.assertEqual(result.stdout.count("\n"), 1)
            self.assertEqual(self.assert_failure(result, status, cause)["event"], "result")

    def test_replies(self):
        result = self.with_agent({}, "--json-progress", "shell", stdin="VERSION\n")
        events, last = self.events(result)
        self.assertEqual(events, [{"event": "reply", "kind": "version", "text": "1.15"}])
        self.assertEqual(last["result"], "done")

    def test_reader_goes_away(self):
        """The upgrade is followed to its end anyway."""
        pause = Wait()
        with FakeAgent({ROWS: runs.START + [pause, *runs.full_run()[4:]]}) as agent:
            reader, writer = os.pipe()
            program = self.start_program(agent.port, "--json-progress", "upgrade", stdout=writer)
            os.close(writer)
            self.assertTrue(pause.reached.wait(60))
            os.close(reader)
            pause.go_on.set()
            self.assert_ends(program, Exit.FAILED)
        self.assertIn("standard output cannot be written", program.stderr())

    def test_the_page_has_every_kind(self):
        with open(os.path.join(ROOT, "docs/use/upgrade-console.md"), encoding="utf-8") as file:
            page = file.read().split("## JSON lines")[1].split("\n## ")[0]
        described = set(re.findall(r"^\| `(\w+)` \|", page, re.MULTILINE)) - {"event"}
        used = {"reply", "result"}
        # The events of upgrade-web are on another page.
        for path in glob.glob(os.path.join(ROOT, "tools", "*", "*.cpp")):
            if "/upgrade-web/" not in path:
                with open(path, encoding="utf-8") as file:
                    used |= set(re.findall(r'(?:eventNamed\(|\{"event", )"(\w+)"', file.read()))
        self.assertEqual(described, used)


class TestStatus(LinesTest):
    """What the agent reports about itself."""

    def status(self, answers, **more):
        result = self.with_agent(answers, "--json", "status", **more)
        return result.returncode, self.document(result)

    def test_idle(self):
        self.assert_output(
            self.with_agent({}, "status"),
            Exit.DONE,
            """\
Agent: reachable, version 1.15
Device: not busy
Package: HX-8 7, 2 chips
Last result: not known; the agent does not report it, its log has it
""",
        )
        self.assertEqual(
            self.status({})[1],
            done(
                "status",
                host="127.0.0.1",
                package_problem=None,
                reachable=True,
                agent_version="1.15",
                busy=False,
                last_result=None,
                package={"model": "HX-8", "version": "7", "chips": 2},
            ),
        )

    def test_busy(self):
        """The lines of the run say nothing about the package."""
        unsigned = log("Firmware package is not signed, upgrade fail.")
        status, document = self.status(
            {
                "UPGRADE||": [log("Read model name fail, upgrade fail, exit."), BUSY],
                "VERSION": [unsigned, b"VERSION||1.15\r\n"],
                "GETFIRMWARELIST": [listed(json.dumps(PACKAGE))],
            }
        )
        found = (status, document["busy"], document["package"]["chips"])
        self.assertEqual(found, (Exit.DONE, True, 2))

    def test_package_that_cannot_be_used(self):
        for text, cause in (
            ("ERROR:Firmware file is not exist.", "package-missing"),
            ("ERROR:Firmware file checksum error.", "package-damaged"),
            ("", "description-broken"),
        ):
            status, document = self.status({"GETFIRMWARELIST": [listed(text)]})
            self.assertEqual((status, document["package"]), (Exit.DONE, None))
            self.assertEqual(document["package_problem"]["id"], cause)

    def test_unreachable(self):
        result = self.run_alone("--port", "1", "--json", "status")
        document = self.assert_failure(result, Exit.CANNOT, "cannot-connect")
        self.assertIs(document["reachable"], False)
        for answer in ([], [CLOSE]):
            silent = {"VERSION": answer, "HEARTBEAT": [], "GETFIRMWARELIST": []}
            status, document = self.status(silent, timeout=self.UNANSWERED)
            self.assertEqual((status, document["reachable"]), (Exit.LOST, False))


class TestAttach(LinesTest):
    """A run that another client started."""

    def attach(self, lines, *arguments, **more):
        """`lines` come once the program follows the run."""
        answers = {"UPGRADE||": [BUSY], "GETFIRMWARELIST": [listed(json.dumps(PACKAGE)), *lines]}
        return self.with_agent(answers, *arguments, "attach", **more)

    def attached(self, lines, status, problem):
        document = self.assert_failure(self.attach(lines, "--json"), status, problem)
        self.assertIs(document["attached"], True)
        return document

    def test_no_run(self):
        self.assert_output(
            self.with_agent({}, "attach"),
            Exit.NO_RUN,
            "",
            "upgrade-console: error: no upgrade is active\n  Start one "
            "with 'upgrade'; the agent does not report how the last one ended.\n",
        )
        self.assertEqual(self.agent.lines, ["UPGRADE||", "HEARTBEAT"])
        result = self.with_agent({}, "attach", "--json")
        document = self.assert_failure(result, Exit.NO_RUN, "no-run")
        found = (document["result"], document["attached"])
        self.assertEqual(found, ("no-run", False))

    def test_from_the_beginning(self):
        result = self.attach(runs.full_run())
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        table = re.sub(r"followed for \d+:\d\d", "started #, took #", result.stdout)
        self.assertEqual(masked(table), runs.FULL_TABLE)
        document = self.document(self.attach(runs.full_run(), "--json"))
        self.assertIs(document["saw_beginning"], True)
        self.attached(runs.idle_run(), Exit.NOTHING, None)

    def test_in_the_middle(self):
        """MCUs before the first line that was seen may have failed."""
        run = runs.full_run()
        cases: tuple[tuple[list, bytes], ...] = (
            ([], b"Start to reboot"),
            (["AUX 1"], b"Enter F/W Upgrade Mode'"),
            (["AUX 1"], b"Writing..."),
            (["AUX 1"], b"Write firmware 'AUX"),
            (["MAIN", "AUX 1"], b"Write firmware 'MAIN"),
        )
        for wanted, last in cases:
            with self.subTest(last):
                at = max(i for i, line in enumerate(run) if last in line)
                document = self.attached(run[at:], Exit.LOST, "beginning-unseen")
                self.assertEqual(
                    [(mcu["name"], mcu["result"]) for mcu in document["mcus"]],
                    [(name, "updated") for name in wanted],
                )
                self.assertIs(document["saw_beginning"], False)

    def test_failure_in_the_middle(self):
        self.attached(runs.half_failed_run()[-20:], Exit.FAILED, "image-not-written")
        self.attached([FAIL], Exit.FAILED, "beginning-unseen")

    def test_two_rows_of_one_name(self):
        """The second one's success does not hide the first one's failure."""
        failed = [log("'AUX' F/W Update fail."), runs.greater("AUX", "2.1.0", "2.0.0")]
        lines = [*failed, *runs.write("AUX", 1, 2), SUCCESS]
        document = self.attached(lines, Exit.FAILED, "image-not-written")
        self.assertEqual(results(document), ["failed", "updated"])

    def test_no_separate_progress(self):
        """Without the number of rows nothing is known of an MCU's share."""
        events, _ = self.events(self.attach(runs.full_run(), "--json-progress"))
        self.assertEqual(events[0], {"event": "phase", "phase": "joining"})
        figures = of_kind(events, "progress")
        self.assertGreater(len(figures), 5)
        for event in figures:
            self.assertNotIn("chip_percent", event)
            self.assertIs(event["seconds_left_is_whole"], event["percent"] == 100)

    def test_contact_lost(self):
        for lines, wanted in (
            ([CLOSE], "How far the run was is not known."),
            ([*runs.enter("AUX"), CLOSE], "'AUX' was being written."),
        ):
            document = self.attached(lines, Exit.LOST, "connection-lost")
            self.assertEqual(document["likely_state"][0], wanted)
            self.assertEqual(set(results(document)) - {"unknown"}, set())

    def test_interrupt(self):
        pause = Wait()
        answers = {"UPGRADE||": [BUSY], "GETFIRMWARELIST": [*runs.enter("AUX"), pause]}
        with FakeAgent(answers) as agent:
            program = self.start_program(agent.port, "--json", "attach")
            self.assertTrue(pause.reached.wait(60))
            program.popen.send_signal(signal.SIGINT)
            self.assert_ends(program, Exit.LOST)
            pause.go_on.set()
        self.assertEqual(json.loads(program.stdout())["error"]["id"], "interrupted")

    def test_last_words_went_elsewhere(self):
        """The agent is idle, and the end was not seen."""
        busy = iter([[BUSY]])
        answers = {"UPGRADE||": lambda _: next(busy, [log("Disconnect")])}
        result = self.with_agent(answers, "--json", "attach", timeout=self.UNANSWERED)
        self.assert_failure(result, Exit.LOST, "outcome-unseen")


if __name__ == "__main__":
    unittest.main()
