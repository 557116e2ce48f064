# SPDX-License-Identifier: Apache-2.0
"""shell and watch."""

import json
import os
import signal
import unittest

from tests.harness import wait
from tests.harness.upgrade_console.fake_agent import FakeAgent
from tests.harness.upgrade_console.lines import log, progress
from tests.harness.upgrade_console.program import Exit, ProgramTest


class TestTraffic(ProgramTest):
    """shell and watch."""

    def test_shell_script(self):
        script = "VERSION\n\nHEARTBEAT\r\nbogus"
        result = self.with_agent({"bogus": [log("Unknow command.")]}, "shell", stdin=script)
        said = "VERSION||1.15\nHEARTBEAT\nUPGRADELOG||Unknow command.\n"
        self.assert_output(result, Exit.DONE, said)
        self.assertEqual(self.agent.lines, ["VERSION", "HEARTBEAT", "bogus", "HEARTBEAT"])

    def test_shell_json(self):
        for stdin, replies in (("VERSION\n", [("version", "1.15")]), ("", [])):
            document = self.document(self.with_agent({}, "--json", "shell", stdin=stdin))
            found = [(reply["kind"], reply["text"]) for reply in document["replies"]]
            self.assertEqual(found, replies)

    def test_shell_quit(self):
        result = self.with_agent({}, "shell", stdin="VERSION\nquit\nHEARTBEAT\n")
        self.assertEqual(result.stdout, "VERSION||1.15\n")

    def test_watch(self):
        def run(json_option):
            answer = [b"HEARTBEAT\r\n", log("one"), progress(12.5), b"two\r\n"]
            with FakeAgent({"HEARTBEAT": answer}) as agent:
                program = self.start_program(agent.port, *json_option, "watch")
                wait.until(lambda: "two" in program.stdout())
                program.popen.send_signal(signal.SIGINT)
                self.assert_ends(program, Exit.DONE)
            self.assertEqual(program.stderr(), "")
            return program.stdout()

        stamp = r"\d\d:\d\d:\d\d\.\d{3} "
        self.assertRegex(
            run([]),
            f"^{stamp}HEARTBEAT\n{stamp}UPGRADELOG\\|\\|one\n"
            f"{stamp}PROGRESSVALUE\\|\\|12.50\n{stamp}two\n$",
        )
        document = json.loads(run(["--json"]))
        self.assertEqual(document["result"], "done")
        self.assertEqual(document["replies"][2]["percent"], 12.5)

    def test_watch_ends_with_its_reader(self):
        with FakeAgent({"HEARTBEAT": [log("x"), 0.01] * 500}) as agent:
            reader, writer = os.pipe()
            program = self.start_program(agent.port, "watch", stdout=writer)
            os.close(writer)
            os.read(reader, 10)
            os.close(reader)
            self.assertNotEqual(program.popen.wait(60), Exit.DONE)

    def test_watch_notices_a_dead_agent(self):
        result = self.with_agent({"HEARTBEAT": []}, "watch", timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, Exit.LOST)

    def test_watch_stays_alive(self):
        """It sends heartbeats, so it does not take silence for a dead agent; their answers are not
        shown."""
        with FakeAgent() as agent:
            program = self.start_program(agent.port, "--timeout", self.UNANSWERED, "watch")
            wait.until(lambda: agent.lines.count("HEARTBEAT") >= 5)
            self.assertEqual((program.stop(), program.stdout().count("\n")), (Exit.DONE, 1))


if __name__ == "__main__":
    unittest.main()
