# SPDX-License-Identifier: Apache-2.0
"""put and deploy, with a folder in the place of the module's /data."""

import hashlib
import json
import os
import re
import signal
import unittest
import unittest.mock

from tests.harness import wait
from tests.harness.package import build
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import ROWS
from tests.harness.upgrade_console.lines import BUSY, listing, package
from tests.harness.upgrade_console.program import Exit, done, masked
from tests.harness.upgrade_console.putcase import IMAGES, NEW, OLD, SFTP, PutTest
from tests.harness.upgrade_console.screen import Screen


class TestPut(PutTest):
    """The copy."""

    def test_copy(self):
        result = self.run_put()
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assert_on_module(NEW)
        self.assertEqual(os.stat(self.module_package()).st_mode & 0o777, 0o644)
        digest = hashlib.sha256(NEW).hexdigest()
        self.assertRegex(
            result.stdout,
            rf"^127\.0\.0\.1 has HX-8 1\.0\.5 now: {len(NEW)} bytes, "
            r"copied, read back and compared in \d+\.\d s\.\n"
            rf"SHA-256 {digest}\n$",
        )
        # On a busy machine the copy takes long enough to show a percentage.
        notes = re.sub(r"^(copying|reading back): \d+ %\n", "", result.stderr, flags=re.M)
        self.assertEqual(
            notes,
            "The module has HX-8 1.0.4.\n" f"Copying HX-8 1.0.5, {len(NEW)} bytes, to 127.0.0.1.\n",
        )
        self.assertEqual(
            self.agent.lines, ["UPGRADE||", "HEARTBEAT", "GETFIRMWARELIST", "GETFIRMWARELIST"]
        )

    def test_json(self):
        os.remove(self.module_package())
        document = self.document(self.run_put("--json"))
        self.assertGreaterEqual(document.pop("copy_seconds"), 0)
        self.assertEqual(
            document,
            done(
                "put",
                host="127.0.0.1",
                file=self.file,
                bytes=len(NEW),
                sha256=hashlib.sha256(NEW).hexdigest(),
                package={"model": "HX-8", "version": "1.0.5", "chips": 2},
                package_before=None,
                signed=False,
            ),
        )
        lines = [json.loads(line) for line in self.run_put("--json-progress").stdout.splitlines()]
        self.assertEqual(
            [line["event"] for line in lines if line["event"] != "progress"], ["copy", "result"]
        )
        self.assertRegex(lines[0]["name"], r"^/data/FW\.fwm\.put-[0-9a-f]+$")

    def test_progress(self):
        """Halfway, the size of the copy on the module, or of the one that is read back, is half of
        the file's."""
        screen = Screen(columns=100)
        self.addCleanup(screen.close)
        self.enterContext(unittest.mock.patch.dict(os.environ, TERM="xterm", NO_COLOR="1"))
        event = '"event":"progress","percent":49,"phase":'
        for fault, option, half in (
            ("slow-put", "--no-progress", "\ncopying: 49 %\n"),
            ("slow-put", "--json-progress", event + '"copying"'),
            ("slow-put", None, "copying        [##############................] 49 %"),
            ("slow-get", "--no-progress", "\nreading back: 49 %\n"),
            ("slow-get", "--json-progress", event + '"reading-back"'),
        ):
            self.set_fault(fault)
            terminal = {} if option else {"stderr": screen.slave}
            program, _ = self.start_put(*([option] if option else []), **terminal)
            wait.until(
                lambda program=program, half=half: half
                in program.stdout() + program.stderr() + screen.text(),
                20,
                half,
            )
            self.write(self.data + ".go", b"")
            self.assert_ends(program, Exit.DONE)
            os.remove(self.data + ".go")

    def test_what_sftp_gets(self):
        options = "--ssh-option IdentityFile=/k --ssh-option ConnectTimeout=3"
        who = "--ssh-user admin --ssh-port 2222"
        self.run_put(*who.split(), *options.split(), timeout="30")
        first, second = self.sessions()
        self.assertEqual(
            first["arguments"],
            [
                *("-oIdentityFile=/k", "-oConnectTimeout=3", "-oUser=admin", "-oPort=2222"),
                *("-oConnectTimeout=10", "-oServerAliveInterval=10", "-oServerAliveCountMax=3"),
                *("-b", "-", "--", "127.0.0.1"),
            ],
        )
        self.assertEqual(first["arguments"], second["arguments"])
        name = first["commands"][1][-1]
        self.assertEqual(
            [" ".join(words) for words in first["commands"] + second["commands"]],
            [
                "-rm /data/FW.fwm.put-*",
                f"put -f package {name}",
                f"chmod 644 {name}",
                f"get {name} back",
                f"rename {name} /data/FW.fwm",
                "-rm /data/FW.fwm.minisig",
            ],
        )
        self.assertEqual(len(second["commands"]), 2)

    def test_signature(self):
        """It gets its name before the package, and that of the old package does not stay."""
        signature = self.module_package() + ".minisig"
        self.write(self.file + ".minisig", b"new")
        self.write(signature, b"old")
        result = self.run_put()
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assertIn(f"Copying HX-8 1.0.5, {len(NEW)} bytes and a signature, to ", result.stderr)
        self.assert_on_module(NEW, "FW.fwm.minisig")
        with open(signature, "rb") as file:
            self.assertEqual(file.read(), b"new")
        self.assertEqual(os.stat(signature).st_mode & 0o777, 0o644)
        commands = self.sessions()[1]["commands"]
        name = commands[1][1]
        self.assertEqual(
            commands,
            [
                ["rename", name + ".minisig", "/data/FW.fwm.minisig"],
                ["rename", name, "/data/FW.fwm"],
            ],
        )
        self.assertTrue(self.document(self.run_put("--json"))["signed"])
        os.remove(self.file + ".minisig")
        self.assertEqual(self.run_put().returncode, Exit.DONE)
        self.assert_on_module(NEW)

    def test_signature_that_cannot_be_copied(self):
        os.mkfifo(self.file + ".minisig")
        self.assertEqual(self.failure(), (Exit.FAILED, "file-unreadable", self.file + ".minisig"))
        os.remove(self.file + ".minisig")
        self.write(self.file + ".minisig", b"new")
        for fault in ("damage", "damage-signature"):
            self.set_fault(fault)
            self.assertEqual(self.failure()[:2], (Exit.FAILED, "copy-damaged"))

    def test_unsound_packages(self):
        """Nothing is even connected to: the port is closed."""
        for data in (NEW[:-1], NEW[:-1] + b"x", b"no package", build(IMAGES, package_version=5)):
            self.write(self.file, data)
            result = self.run_program(1, "--json", "put", "--sftp", SFTP, self.file)
            error = self.assert_failure(result, Exit.REFUSED, "package-unsound")["error"]
            self.assertRegex(error["detail"], r":0x[0-9a-f]{8}: .* \[[a-z-]+\]$")
            self.assertNotIn("error:", error["detail"])
        result = self.run_program(1, "put", "/nonexistent")
        self.assertIn("/nonexistent: No such file", result.stderr)
        self.write(self.file, NEW)
        self.assertEqual(self.run_program(1, "put", self.file).returncode, Exit.CANNOT)

    def test_busy(self):
        self.assertEqual(self.failure(answers={"UPGRADE||": [BUSY]})[:2], (Exit.BUSY, "busy"))
        self.assertFalse(os.path.exists(self.data + ".log"))

    def test_other_model(self):
        other = listing(package(model="HX-4"))
        result = self.run_put(answers={"GETFIRMWARELIST": [other]})
        self.assertIn("The model differs: this package is for HX-8.\n", result.stderr)
        # And it stays so: ssh and the agent's port lead to different modules.
        self.assertEqual(result.returncode, Exit.FAILED)
        self.assertIn("the agent lists another package", result.stderr)

    def test_faults(self):
        for fault, cause, detail in (
            ("half", "ssh-failed", "closed by remote host.; Connection closed"),
            ("damage", "copy-damaged", ""),
            ("rename", "ssh-failed", "Permission denied"),
        ):
            self.set_fault(fault)
            found = self.failure()
            self.assertEqual(found[:2], (Exit.FAILED, cause))
            self.assertIn(detail, found[2])
        self.set_fault("refuse")
        self.assertIn("Permission denied (publickey)", self.failure()[2])
        self.assertIn("/nonexistent: ", self.failure("--sftp", "/nonexistent")[2])

    def test_module_that_hangs(self):
        self.set_fault("hang")
        result = self.run_put("--json", timeout="5")
        error = self.document(result)["error"]
        # And a second for every 8 KiB, there and back.
        self.assertEqual((error["id"], error["detail"]), ("ssh-failed", "no end within 7 s"))
        self.assertEqual(self.content(), OLD)

    def test_interrupt(self):
        """Half a copy stays under its own name, and the next put removes it."""
        self.set_fault("hang")
        program, _ = self.start_put()
        wait.until(lambda: len(os.listdir(self.data)) == 2)
        program.popen.send_signal(signal.SIGINT)
        self.assert_ends(program, Exit.LOST)
        left = re.findall(r"as /data/(FW\.fwm\.put-[0-9a-f]+);", program.stderr())[0]
        self.assert_on_module(OLD, left)
        self.set_fault("")
        self.assertEqual(self.run_put().returncode, Exit.DONE)
        self.assert_on_module(NEW)


class TestDeploy(PutTest):
    """The copy and the upgrade."""

    def deploy(self, *arguments, **more):
        answers = {ROWS: runs.full_run()}
        return self.run_put(*arguments, command="deploy", answers=answers, **more)

    def test_whole(self):
        result = self.deploy()
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assertEqual(self.content(), NEW)
        table = masked(result.stdout).split("\n\n", 1)[1]
        self.assertEqual(table, runs.FULL_TABLE.replace("HX-8 7", "HX-8 1.0.5"))
        # The sizes are those of the file.
        self.assertRegex(result.stderr, r"\nTime: about 0:2\d if every image is written")
        self.assertIn("UPGRADE||MAIN,0,0||AUX 1,1,0", self.agent.lines)

    def test_row(self):
        document = self.document(self.deploy("--json", rows=["MAIN,0,0"]))
        self.assertIn("UPGRADE||MAIN,0,0", self.agent.lines)
        self.assertEqual((document["exit"], document["copy"]["bytes"]), (Exit.DONE, len(NEW)))

    def test_no_upgrade_without_the_copy(self):
        self.set_fault("damage")
        self.assertEqual(self.failure(command="deploy")[:2], (Exit.FAILED, "copy-damaged"))
        self.assertEqual(self.agent.lines[-1], "GETFIRMWARELIST")

    def test_mode_5_without_a_terminal(self):
        failure = self.failure("--mode", "5", command="deploy")
        self.assertEqual(failure[:2], (Exit.USAGE, "not-confirmed"))
        self.assertEqual(self.agent.lines, [])

    def test_mode_5_asks_before_the_copy(self):
        for answer, status, stored in (("no", Exit.USAGE, OLD), ("yes", Exit.DONE, NEW)):
            screen = Screen()
            self.addCleanup(screen.close)
            terminal = {"stdin": screen.slave, "stderr": screen.slave}
            answers = {ROWS: runs.full_run()}
            program, _ = self.start_put(
                "--mode", "5", command="deploy", answers=answers, **terminal
            )
            wait.until(lambda screen=screen: "[yes/no]" in screen.text())
            self.assert_on_module(OLD)
            os.write(screen.master, answer.encode() + b"\n")
            self.assertEqual(program.popen.wait(60), status)
            self.assertEqual(screen.raw.count("[yes/no]"), 1)
            self.assert_on_module(stored)

    def test_interrupt_of_the_upgrade(self):
        program, agent = self.start_put(command="deploy", answers={ROWS: runs.START})
        wait.until(lambda: any(line.startswith("UPGRADE||M") for line in agent.lines))
        program.popen.send_signal(signal.SIGTERM)
        self.assert_ends(program, Exit.LOST)
        self.assertIn("The outcome is not known.", program.stdout())


if __name__ == "__main__":
    unittest.main()
