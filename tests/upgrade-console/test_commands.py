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
from tests.harness.upgrade_console.fake_agent import (
    BUSY,
    CLOSE,
    FAIL,
    PACKAGE,
    ROWS,
    SUCCESS,
    FakeAgent,
    Wait,
    listing,
    log,
)
from tests.harness.upgrade_console.program import (
    CANNOT,
    DONE,
    FAILED,
    LOST,
    NO_RUN,
    NOTHING,
    USAGE,
    ProgramTest,
    masked,
)


class LinesTest(ProgramTest):
    """What these tests share."""

    def lines(self, text):
        """The objects of JSON lines, without the times that differ from run to run."""
        objects = [json.loads(line) for line in text.splitlines()]
        for one in objects:
            self.assertRegex(one.pop("time"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            one.pop("seconds", None)
            one.pop("seconds_left", None)
        return objects

    def events(self, result):
        """All but the last line, and the last line."""
        *events, last = self.lines(result.stdout)
        self.assertEqual((last["event"], last["exit"]), ("result", result.returncode))
        return events, last


class TestJsonLines(LinesTest):
    """--json-progress."""

    def upgrade(self, run, *arguments, **more):
        return self.with_agent({ROWS: run}, "--json-progress", "upgrade", *arguments, **more)

    def test_whole_run(self):
        events, last = self.events(self.upgrade(runs.full_run()))
        main = {"row": 0, "name": "MAIN", "chip_type": 0, "chip_index": 0}
        aux = {"row": 1, "name": "AUX 1", "chip_type": 1, "chip_index": 0}

        def chip(which, old, new, phase, **more):
            return {
                "event": "chip",
                **which,
                "old_version": old,
                "new_version": new,
                "phase": phase,
                "retries": 0,
                **more,
            }

        def phases(which, old, new, *names):
            return [chip(which, old, new, name) for name in names]

        def progress(percent, which, own, is_whole):
            return {
                "event": "progress",
                "percent": percent,
                "seconds_left_is_whole": is_whole,
                **which,
                "chip_percent": own,
            }

        found = [event for event in events if event["event"] != "progress"]
        self.assertEqual(
            found,
            [
                {
                    "event": "run",
                    "host": "127.0.0.1",
                    "mode": 2,
                    "package": {"model": "HX-8", "version": "7"},
                    "chips": [{**main, "new_version": "1.1.0"}, {**aux, "new_version": "2.1.0"}],
                },
                {"event": "phase", "phase": "reading"},
                chip(main, "", "1.1.0", "reading"),
                chip(aux, "", "2.1.0", "reading"),
                chip(main, "1.0.0", "1.1.0", "reading"),
                chip(aux, "2.0", "2.1.0", "reading"),
                {"event": "phase", "phase": "writing"},
                *phases(main, "1.0.0", "1.1.0", "entering", "erasing", "writing"),
                chip(main, "1.0.0", "1.1.0", "finished", result="updated", error=None),
                *phases(aux, "2.0", "2.1.0", "entering", "erasing", "writing"),
                chip(aux, "2.0", "2.1.0", "finished", result="updated", error=None),
                {"event": "phase", "phase": "rebooting"},
                {"event": "phase", "phase": "set-version"},
            ],
        )
        figures = [event for event in events if event["event"] == "progress"]
        self.assertIn(progress(40, main, 80, False), figures)
        self.assertIn(progress(60, aux, 20, True), figures)
        # One for each tenth, however fast they come.
        self.assertEqual([event["percent"] // 10 for event in figures], list(range(1, 11)))
        self.assertEqual([mcu["result"] for mcu in last["mcus"]], ["updated", "updated"])

    def test_nothing_else_is_shown(self):
        result = self.upgrade(runs.full_run())
        self.assertEqual(len(result.stderr.splitlines()), 2, result.stderr)  # the announcement

    def test_failures(self):
        events, last = self.events(self.upgrade(runs.half_failed_run()))
        retries = [event["retries"] for event in events if event["event"] == "retry"]
        self.assertEqual(retries, list(range(1, 9)))
        messages = [
            (event["id"], event["error"]["id"], event["text"])
            for event in events
            if event["event"] == "message"
        ]
        self.assertEqual(
            messages[0], ("write-retry", "image-not-written", "'AUX 1' F/W update fail, retry 1.")
        )
        chips = [event for event in events if event.get("result") == "failed"]
        self.assertEqual([chip["error"]["id"] for chip in chips], ["image-not-written"])
        self.assertEqual(last["error"]["id"], "image-not-written")

    def test_names_are_those_of_the_package(self):
        """A real agent takes the blanks out of the names that it is sent."""
        run = [
            line.replace(b"'AUX 1'", b"'AUX1'") if isinstance(line, bytes) else line
            for line in runs.half_failed_run()
        ]
        result = self.upgrade(run)
        self.assertNotIn("AUX1", result.stdout)
        _, last = self.events(result)
        self.assertEqual([mcu["name"] for mcu in last["mcus"]], ["MAIN", "AUX 1"])
        self.assertEqual(last["error"]["detail"], "'AUX 1' F/W Update fail.")
        result = self.with_agent({ROWS: run}, "upgrade")
        self.assertIn("agent: 'AUX 1' F/W Update fail.", result.stderr)
        self.assertNotIn("AUX1", result.stdout + result.stderr)

    def test_late_answer(self):
        run = runs.START + [log("Read model name."), 4.5, *runs.wrong_model_run()[5:]]
        events, _ = self.events(self.upgrade(run, timeout="30"))
        waits = [event for event in events if event["event"] == "wait"]
        self.assertGreaterEqual(len(waits), 1)
        self.assertEqual(
            {key: waits[0][key] for key in ("limit", "attempt", "attempts")},
            {"limit": 10, "attempt": 1, "attempts": 3},
        )

    def test_errors_are_lines(self):
        for arguments, status, cause in (
            (["upgrade", "--mode", "3"], USAGE, "usage"),
            (["bogus"], USAGE, "usage"),
            (["--port", "1", "ping"], CANNOT, "cannot-connect"),
        ):
            result = self.run_alone("--json-progress", *arguments)
            self.assertEqual(result.stdout.count("\n"), 1)
            last = json.loads(result.stdout)
            self.assertEqual(
                (last["event"], last["exit"], last["error"]["id"]), ("result", status, cause)
            )
            self.assertEqual(result.returncode, status)
        result = self.with_agent({"UPGRADE||": [BUSY]}, "--json-progress", "upgrade")
        self.assertEqual(self.events(result)[1]["error"]["id"], "busy")

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
            self.assertEqual(program.popen.wait(60), FAILED, program.report())
        self.assertIn("standard output cannot be written", program.stderr())

    def test_the_page_has_every_kind(self):
        with open(os.path.join(ROOT, "docs/use/upgrade-console.md"), encoding="utf-8") as file:
            page = file.read().split("## JSON lines")[1].split("\n## ")[0]
        described = set(re.findall(r"^\| `(\w+)` \|", page, re.MULTILINE)) - {"event"}
        used = set()
        # The events of upgrade-web are on another page.
        for path in glob.glob(os.path.join(ROOT, "tools", "*", "*.cpp")):
            if "/upgrade-web/" in path:
                continue
            with open(path, encoding="utf-8") as file:
                text = file.read()
            used |= set(re.findall(r'eventNamed\("(\w+)"\)|\{"event", "(\w+)"\}', text))
        used = {one or other for one, other in used} | {"reply", "result"}
        self.assertEqual(described, used)


class TestStatus(LinesTest):
    """What the agent reports about itself."""

    def status(self, answers):
        return self.with_agent(answers, "--json", "status")

    def test_idle(self):
        result = self.with_agent({}, "status")
        self.assertEqual(
            (result.returncode, result.stdout, result.stderr),
            (
                DONE,
                """\
Agent: reachable, version 1.15
Device: not busy
Package: HX-8 7, 2 chips
Last result: not known; the agent does not report it, its log has it
""",
                "",
            ),
        )
        self.assertEqual(
            json.loads(self.status({}).stdout),
            {
                "command": "status",
                "result": "done",
                "exit": 0,
                "host": "127.0.0.1",
                "error": None,
                "warnings": [],
                "package_problem": None,
                "reachable": True,
                "agent_version": "1.15",
                "busy": False,
                "last_result": None,
                "package": {"model": "HX-8", "version": "7", "chips": 2},
            },
        )

    def test_busy(self):
        """The lines of the run say nothing about the package."""
        description = listing(PACKAGE)[listing(PACKAGE).index(b"FIRMWARELIST") :]
        result = self.status(
            {
                "UPGRADE||": [log("Read model name fail, upgrade fail, exit."), BUSY],
                "VERSION": [log("'MAIN' F/W Update fail."), b"VERSION||1.15\r\n"],
                "GETFIRMWARELIST": [description],
            }
        )
        document = json.loads(result.stdout)
        self.assertEqual(
            (result.returncode, document["busy"], document["package"]["chips"]), (DONE, True, 2)
        )

    def test_package_that_cannot_be_used(self):
        for text, cause in (
            ("ERROR:Firmware file is not exist.", "package-missing"),
            ("ERROR:Firmware file checksum error.", "package-damaged"),
            ("", "description-broken"),
        ):
            result = self.status({"GETFIRMWARELIST": [f"FIRMWARELIST||{text}\r\n".encode()]})
            document = json.loads(result.stdout)
            self.assertEqual((result.returncode, document["package"]), (DONE, None))
            self.assertEqual(document["package_problem"]["id"], cause)

    def test_unreachable(self):
        result = self.run_alone("--port", "1", "--json", "status")
        document = json.loads(result.stdout)
        self.assertEqual((result.returncode, document["reachable"]), (CANNOT, False))
        self.assertEqual(document["error"]["id"], "cannot-connect")
        for answer in ([], [CLOSE]):
            result = self.with_agent(
                {"VERSION": answer, "HEARTBEAT": [], "GETFIRMWARELIST": []},
                "--json",
                "status",
                timeout=self.UNANSWERED,
            )
            document = json.loads(result.stdout)
            self.assertEqual((result.returncode, document["reachable"]), (LOST, False))


class TestAttach(LinesTest):
    """A run that another client started."""

    def attach(self, lines, *arguments, **more):
        """`lines` come once the program follows the run."""
        description = listing(PACKAGE)[listing(PACKAGE).index(b"FIRMWARELIST") :]
        answers = {"UPGRADE||": [BUSY], "GETFIRMWARELIST": [description, *lines]}
        return self.with_agent(answers, *arguments, "attach", **more)

    def document(self, lines):
        result = self.attach(lines, "--json")
        document = json.loads(result.stdout)
        self.assertEqual((document["exit"], document["attached"]), (result.returncode, True))
        return document

    def test_no_run(self):
        result = self.with_agent({}, "attach")
        self.assertEqual(
            (result.returncode, result.stdout, result.stderr),
            (
                NO_RUN,
                "",
                "upgrade-console: error: no upgrade is active\n  Start one "
                "with 'upgrade'; the agent does not report how the last one ended.\n",
            ),
        )
        self.assertEqual(self.agent.lines, ["UPGRADE||", "HEARTBEAT"])
        result = self.with_agent({}, "attach", "--json")
        document = json.loads(result.stdout)
        self.assertEqual(document.pop("error")["id"], "no-run")
        self.assertEqual(
            document,
            {
                "command": "attach",
                "result": "no-run",
                "exit": NO_RUN,
                "host": "127.0.0.1",
                "attached": False,
                "warnings": [],
            },
        )

    def test_from_the_beginning(self):
        result = self.attach(runs.full_run())
        self.assertEqual(result.returncode, DONE, result.stderr)
        table = re.sub(r"followed for \d+:\d\d", "followed for #", masked(result.stdout))
        self.assertEqual(
            table,
            """\
MCU    Old    New    Result   Seconds
MAIN   1.0.0  1.1.0  updated #
AUX 1  2.0    2.1.0  updated #

2 MCUs updated.
Host 127.0.0.1, package HX-8 7, followed for #.
""",
        )
        self.assertIs(self.document(runs.full_run())["saw_beginning"], True)
        document = self.document(runs.half_failed_run())
        self.assertEqual((document["exit"], document["error"]["id"]), (FAILED, "image-not-written"))
        self.assertEqual(self.document(runs.idle_run())["exit"], NOTHING)

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
            at = max(i for i, line in enumerate(run) if last in line)
            document = self.document(run[at:])
            self.assertEqual(
                (document["exit"], document["error"]["id"]), (LOST, "beginning-unseen"), last
            )
            self.assertEqual(
                [(mcu["name"], mcu["result"]) for mcu in document["mcus"]],
                [(name, "updated") for name in wanted],
                last,
            )
            self.assertIs(document["saw_beginning"], False)

    def test_failure_in_the_middle(self):
        run = runs.half_failed_run()
        document = self.document(run[-20:])
        self.assertEqual((document["exit"], document["error"]["id"]), (FAILED, "image-not-written"))
        document = self.document([FAIL])
        self.assertEqual((document["exit"], document["error"]["id"]), (FAILED, "beginning-unseen"))

    def test_two_rows_of_one_name(self):
        """The second one's success does not hide the first one's failure."""
        lines = [
            log("'AUX' F/W Update fail."),
            runs.greater("AUX", "2.1.0", "2.0.0"),
            *runs.write("AUX", 1, 2),
            SUCCESS,
        ]
        document = self.document(lines)
        self.assertEqual([mcu["result"] for mcu in document["mcus"]], ["failed", "updated"])
        self.assertEqual(document["exit"], FAILED)

    def test_no_separate_progress(self):
        """Without the number of rows nothing is known of an MCU's share."""
        result = self.attach(runs.full_run(), "--json-progress")
        events, _ = self.events(result)
        self.assertEqual(events[0], {"event": "phase", "phase": "joining"})
        figures = [event for event in events if event["event"] == "progress"]
        self.assertGreater(len(figures), 5)
        for event in figures:
            self.assertNotIn("chip_percent", event)
            self.assertIs(event["seconds_left_is_whole"], event["percent"] == 100)

    def test_contact_lost(self):
        for lines, wanted in (
            ([CLOSE], "How far the run was is not known."),
            ([*runs.enter("AUX"), CLOSE], "'AUX' was being written."),
        ):
            document = self.document(lines)
            self.assertEqual((document["exit"], document["error"]["id"]), (LOST, "connection-lost"))
            self.assertEqual(document["likely_state"][0], wanted)
            self.assertEqual({mcu["result"] for mcu in document["mcus"]} - {"unknown"}, set())

    def test_interrupt(self):
        pause = Wait()
        answers = {"UPGRADE||": [BUSY], "GETFIRMWARELIST": [*runs.enter("AUX"), pause]}
        with FakeAgent(answers) as agent:
            program = self.start_program(agent.port, "--json", "attach")
            self.assertTrue(pause.reached.wait(60))
            program.popen.send_signal(signal.SIGINT)
            self.assertEqual(program.popen.wait(60), LOST, program.report())
            pause.go_on.set()
        self.assertEqual(json.loads(program.stdout())["error"]["id"], "interrupted")

    def test_last_words_went_elsewhere(self):
        """The agent is idle, and the end was not seen."""
        idle = []

        def answer(_agent):
            idle.append(1)
            return [BUSY] if len(idle) == 1 else [log("Disconnect")]

        result = self.with_agent({"UPGRADE||": answer}, "--json", "attach", timeout=self.UNANSWERED)
        self.assertEqual(json.loads(result.stdout)["error"]["id"], "outcome-unseen")
        self.assertEqual(result.returncode, LOST)


if __name__ == "__main__":
    unittest.main()
