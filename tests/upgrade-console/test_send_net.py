# SPDX-License-Identifier: Apache-2.0
"""send-net against a receiver that plays the module's part, written from the protocol alone."""

import hashlib
import json
import os
import tempfile
import unittest

from tests.harness import frames, wait
from tests.harness.upgrade_console.fake_agent import CLOSE, FakeAgent
from tests.harness.upgrade_console.lines import BUSY, log
from tests.harness.upgrade_console.module import INSTALL, REBOOT, Module, answer, image
from tests.harness.upgrade_console.program import Exit, ProgramTest, done

DAMAGED = [answer(frames.BLOCK, 1)]
REFUSED = [answer(frames.BLOCK, 3)]
ENTRY_REFUSED = [answer(frames.ENTER, 3)]


class TestSendNet(ProgramTest):
    """Blocks, their answers, the installation."""

    def stored(self, content):
        file = self.enterContext(tempfile.NamedTemporaryFile())
        file.write(content)
        file.flush()
        return file.name

    def send(self, content, module, *arguments, answers=None, **more):
        words = (*arguments, "send-net", self.stored(content))
        return self.with_agent(answers, *words, fragments=module, **more)

    def test_images(self):
        """Every length and every ending arrives whole."""
        noise = os.urandom(1500).replace(b"\xff", b"\xfe")
        for archive in (
            b"a",
            noise[:193],
            noise[:194],
            noise[:195],
            noise[:449],
            noise[:450],
            noise[:451],
            noise,
            noise + b"\xff",
            b"\xff" * 194,
            b"\xff" * 700,
            noise[:190] + b"RebootDone" + noise[:450] + b"RebootDoneRebootDone",
        ):
            module = Module()
            result = self.send(image(archive), module)
            self.assertEqual(
                (result.returncode, result.stdout),
                (
                    Exit.DONE,
                    "Installed version: 1.23\n"
                    "The module restarts now; in a minute its agent answers again.\n",
                ),
                result.stderr,
            )
            self.assertEqual(module.archive, archive)
            self.assertEqual(module.numbers, list(range(len(module.numbers))))
        self.assertEqual(self.agent.lines[:2], ["UPGRADE||", "HEARTBEAT"])

    def test_plain_progress_and_json(self):
        result = self.send(image(b"archive" * 100), Module(), "--json")
        self.assertEqual(
            self.document(result),
            done("send-net", bytes=762, net_version="1.23", retries=0),
        )
        self.assertEqual(
            result.stderr.splitlines()[:3],
            ["module: sending", "module: installing", "agent: NET package checksum OK."],
        )

    def test_lost_and_damaged_blocks_are_repeated(self):
        archive = os.urandom(1000) + b"x"
        module = Module({0: [], 2: DAMAGED, 3: DAMAGED, 6: []})
        result = self.send(image(archive), module, "--json", timeout="3")
        self.assertEqual(self.assert_failure(result, Exit.DONE, None)["retries"], 4)
        self.assertEqual(module.archive, archive)

    def test_answers_cut_and_merged(self):
        archive = os.urandom(1000) + b"x"
        for cut in (1, 15):
            module = Module()
            result = self.send(image(archive), module, cut=cut)
            self.assertEqual(result.returncode, Exit.DONE, result.stderr)
            self.assertEqual(module.archive, archive)
        merged = Module(install=[b"".join(INSTALL + REBOOT)])
        self.assertEqual(self.send(image(archive), merged).returncode, Exit.DONE)

    def failure(self, code, cause, faults=None, install=None, **more):
        content = image(os.urandom(1000) + b"x")
        result = self.send(content, Module(faults, install), "--json", **more)
        return self.assert_failure(result, code, cause)

    def test_failures(self):
        document = self.failure(Exit.FAILED, "block-refused", {2: REFUSED})
        self.assertIn("Nothing was installed", document["likely_state"][0])
        self.failure(Exit.FAILED, "block-damaged", {2: DAMAGED, 3: DAMAGED, 4: DAMAGED})
        self.failure(Exit.LOST, "block-unanswered", {2: [], 3: [], 4: []}, timeout="3")
        self.failure(Exit.BUSY, "busy", {0: ENTRY_REFUSED})
        self.failure(Exit.BUSY, "busy", answers={"UPGRADE||": [BUSY]})
        self.failure(Exit.LOST, "connection-lost", {3: [CLOSE]})

    def test_module_that_takes_signed_packages_only(self):
        line = log("NET package refused, this module takes signed packages only.")
        for faults in ({0: [line, *ENTRY_REFUSED]}, {2: [line, *REFUSED]}):
            self.failure(Exit.NOT_TRUSTED, "net-signed-only", faults)
        self.failure(Exit.NOT_TRUSTED, "net-signed-only", install=[line, *REFUSED])

    def test_failures_of_the_installation(self):
        self.failure(
            Exit.REFUSED, "net-image-damaged", install=[log("NET package checksum error.")]
        )
        self.failure(Exit.LOST, "no-sign-of-life", install=[], timeout=self.UNANSWERED)
        document = self.failure(Exit.LOST, "connection-lost", install=INSTALL[:3] + [CLOSE])
        self.assertIn("installs it without this connection", document["likely_state"][0])
        unrecorded = [line for line in INSTALL if b"Create version" not in line]
        unrecorded.insert(3, log("Failed to create version file"))
        self.failure(Exit.FAILED, "net-version-not-stored", install=unrecorded + REBOOT)

    def test_last_block_that_is_not_taken(self):
        """Nothing is installed then, and a damaged one is worth another attempt."""
        archive = os.urandom(1000) + b"x"
        last = 1 + len(image(archive)) // 256
        for cause, faults in (
            ("block-refused", {last: REFUSED}),
            ("block-damaged", {last + i: DAMAGED for i in range(3)}),
        ):
            self.assertEqual(
                self.failure(Exit.FAILED, cause, faults)["likely_state"],
                [
                    "Nothing was installed: the module installs only after the last block.",
                    "Send the image again.",
                ],
            )
        module = Module({last: DAMAGED})
        result = self.send(image(archive), module, "--json")
        self.assertEqual(self.assert_failure(result, Exit.DONE, None)["retries"], 1)
        self.assertEqual(module.archive, archive)

    def test_answers_to_another_sender(self):
        """While the module installs, and after it, a status is not about this image."""
        module = Module(install=INSTALL[:3] + REFUSED + ENTRY_REFUSED + INSTALL[3:] + REBOOT)
        self.assertEqual(self.send(image(b"archive" * 100), module).returncode, Exit.DONE)

    def test_files_that_are_not_images(self):
        for content, words in (
            (b"", "shorter than"),
            (bytes(62), "shorter than"),
            (image(b"x", "0" * 32), "not that of its archive"),
            (image(b"abc", hashlib.md5(b"abc").hexdigest().upper()), "upper case"),
        ):
            module = Module()
            result = self.send(content, module)
            self.assertEqual(result.returncode, Exit.REFUSED)
            self.assertIn(words, result.stderr)
            self.assertEqual((module.count, self.agent.lines), (-1, []))

    def test_wait_back(self):
        """The connection ends with the module; its agent answers on the same port later."""
        name = self.stored(image(b"archive" * 100))
        going_down = INSTALL + REBOOT + [lambda agent: agent.stop(), CLOSE]
        with FakeAgent(fragments=Module(install=going_down)) as agent:
            program = self.start_program(agent.port, "--json", "send-net", name, "--wait-back")
            wait.until(lambda: "module: restarting" in program.stderr())
            with FakeAgent({"VERSION": [b"VERSION||1.16\r\n"]}, port=agent.port):
                self.assert_ends(program, Exit.DONE)
        self.assertEqual(json.loads(program.stdout())["agent_version"], "1.16")


if __name__ == "__main__":
    unittest.main()
