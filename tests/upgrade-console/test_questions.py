# SPDX-License-Identifier: Apache-2.0
"""One question and its answer: ping, version, list, edid; and an agent that does not answer."""

import json
import os
import unittest

from tests.harness.upgrade_console.fake_agent import CLOSE, RESET, FakeAgent
from tests.harness.upgrade_console.lines import FAIL, chip, listed, listing, log, package
from tests.harness.upgrade_console.program import Exit, ProgramTest

DUMP = os.environ["EDID_DUMP"]


class TestSimple(ProgramTest):
    """One question, one answer."""

    def test_ping(self):
        result = self.with_agent({}, "ping")
        self.assertEqual((result.returncode, result.stderr), (Exit.DONE, ""))
        self.assertRegex(result.stdout, r"^the agent answers, after \d+\.\d ms\n$")
        self.assertEqual(self.agent.lines, ["HEARTBEAT"])

    def test_version(self):
        self.assert_output(self.with_agent({}, "version", cut=1), Exit.DONE, "1.15\n")
        document = self.document(self.with_agent({}, "--json", "version"))
        self.assertEqual(document["agent_version"], "1.15")

    def test_list(self):
        for cut in (None, 7):
            self.assert_output(
                self.with_agent({}, "list", cut=cut),
                Exit.DONE,
                """\
Model: HX-8
Version: 7

Name   Chip type  Quantity  MCU type  PCB  Speciality  Version
MAIN           0         1         4    1  A           1.1.0
AUX 1          1         1         4    1  A           2.1.0
""",
            )

    def test_list_over_several_lines(self):
        text = json.dumps({"model": "HX-8", "version": "}", "chips": []}, indent=1)
        answer = [listed(text.replace("\n", "\r\n"))]
        result = self.with_agent({"GETFIRMWARELIST": answer}, "--json", "list")
        self.assertEqual(self.document(result)["package"]["model"], "HX-8")

    def test_refused_packages(self):
        cases = {
            "ERROR:Firmware file is not exist.": "package-missing",
            "ERROR:Firmware file checksum error.": "package-damaged",
            "ERROR:Invalid firmware file": "package-invalid",
            "ERROR:Faild to open firmware file.": "package-unreadable",
            "": "package-invalid",
            "no json": "package-invalid",
        }
        for text, cause in cases.items():
            # An idle agent also ends a run that never began.
            reason = log("Invalid firmware file, file head error.")
            answers = {"GETFIRMWARELIST": [FAIL, FAIL, reason, listed(text)]}
            for command in ("list", "upgrade"):
                result = self.with_agent(answers, "--json", command)
                self.assert_failure(result, Exit.REFUSED, cause)

    def test_packages_that_are_not_trusted(self):
        """The agent lists them; only list shows them."""
        unsafe = listing(package(chip("MAIN", 0, "1.1.0")))
        cases = {
            "Firmware package is not signed, upgrade fail.": "package-not-signed",
            "Firmware package is signed by an unknown key A1, upgrade fail.": "package-key-unknown",
            "Firmware package signature error, upgrade fail.": "package-signature-wrong",
            "Key file /etc/upgrade-agent/keys/a.pub cannot be used, upgrade fail.": "keys-unusable",
        }
        for line, cause in cases.items():
            answers = {"GETFIRMWARELIST": [log(line), unsafe]}
            status = Exit.FAILED if cause == "keys-unusable" else Exit.NOT_TRUSTED
            for command in ("list", "upgrade"):
                result = self.with_agent(answers, "--json", command)
                shown = self.assert_failure(result, status, cause).get("package")
                self.assertEqual(shown is not None, command == "list")
            self.assertNotIn("UPGRADE||MAIN,0,0", self.agent.lines)
        trusted = [log("Firmware package signature ok, key A1."), unsafe]
        result = self.with_agent({"GETFIRMWARELIST": trusted}, "list")
        self.assertEqual((result.returncode, result.stderr), (Exit.DONE, ""))

    def test_hostile_names_do_not_reach_the_terminal(self):
        hostile = listing(package(chip("\x1b[2J", 0, "1.1.0"), model="\x1b]0;x\x07"))
        result = self.with_agent({"GETFIRMWARELIST": [hostile]}, "list")
        self.assertEqual(result.returncode, Exit.DONE)
        self.assertNotIn("\x1b", result.stdout)

    def test_edid(self):
        with open(DUMP, "rb") as file:
            dump = file.read(256)
        request = "PARSEEDID||" + dump.hex(" ")
        answer = b"PARSEEDIDRESULT||DEL,DELL 30,07,HDMI,1920x1080@60Hz,LPCM. 2CH,\r\n"
        for name, stdin in ((DUMP, ""), ("-", dump.hex("\n"))):
            self.assert_output(
                self.with_agent({request: [answer]}, "edid", name, stdin=stdin),
                Exit.DONE,
                "Manufacturer: DEL\nName: DELL 30,07\nInput: HDMI\n" "1920x1080@60Hz\nLPCM. 2CH\n",
            )
        for answer, cause in (
            (b"PARSEEDID||ERROR:PARSEEDID parameter command.\r\n", "edid-refused"),
            (b"PARSEEDIDRESULT||EDID data header error !\r\n", "edid-refused"),
            (log("Unknow command."), "unknown-request"),
        ):
            result = self.with_agent({request: [answer]}, "--json", "edid", DUMP)
            self.assert_failure(result, Exit.FAILED, cause)

    def test_cannot_connect(self):
        agent = FakeAgent()
        agent.stop()
        for command in (["ping"], ["upgrade"], ["watch"], ["shell"]):
            result = self.run_program(agent.port, "--json", *command)
            error = self.assert_failure(result, Exit.CANNOT, "cannot-connect")["error"]
            self.assertIn("Check the address", error["advice"])
            self.assertRegex(error["detail"], rf"^(localhost|127\.0\.0\.1), port {agent.port}: ")
            self.assertNotIn("upgrade-console:", result.stderr)

    def test_connection_that_fails_at_once(self):
        """The kernel refuses a TCP connection to this address without a packet."""
        for command in (["ping"], ["upgrade"], ["edid", DUMP], ["watch"], ["shell"]):
            result = self.run_alone("--host", "255.255.255.255", "--json", *command)
            self.assert_failure(result, Exit.CANNOT, "cannot-connect")

    def test_dead_peer(self):
        for command in (["ping"], ["version"], ["list"], ["upgrade"], ["edid", DUMP]):
            silent: dict = {"HEARTBEAT": [], "VERSION": [], "GETFIRMWARELIST": []}
            result = self.with_agent(silent, "--json", *command, timeout=self.UNANSWERED)
            self.assert_failure(result, Exit.LOST, "no-sign-of-life")

    def test_connection_lost(self):
        for action in (CLOSE, RESET):
            result = self.with_agent({"VERSION": [b"VERSI", action]}, "--json", "version")
            self.assert_failure(result, Exit.LOST, "connection-lost")

    def test_answer_before_the_end_counts(self):
        result = self.with_agent({"VERSION": [b"VERSION||1.15\r\n", CLOSE]}, "version")
        self.assert_output(result, Exit.DONE, "1.15\n")

    def test_flood(self):
        """A million bytes of anything, and lines without an end, hide no answer."""
        noise = os.urandom(1 << 20).replace(b"\n", b"-") + b"\r\n" + b"x\r\n" * 300000
        result = self.with_agent(
            {"VERSION": [noise, b"VERSION||1.15\r\n"]}, "version", timeout="60"
        )
        self.assertEqual((result.returncode, result.stdout), (Exit.DONE, "1.15\n"))

    def test_line_that_never_ends(self):
        """Memory stays bounded, and what follows the noise is heard."""

        def noise(_agent):
            return [b"x" * (1 << 20)] * 256 + [b"\r\n", b"VERSION||1.15\r\n"]

        with FakeAgent({"VERSION": noise}) as agent:
            program = self.start_program(
                agent.port, "version", env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=8"}
            )
            _, status, usage = os.wait4(program.popen.pid, 0)
            program.popen.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual((program.popen.returncode, program.stdout()), (Exit.DONE, "1.15\n"))
        self.assertLess(usage.ru_maxrss, 128 * 1024)  # KiB


if __name__ == "__main__":
    unittest.main()
