# SPDX-License-Identifier: Apache-2.0
"""put and deploy, with a folder in the place of the module's /data."""

import hashlib
import json
import os
import re
import signal
import unittest

from tests.harness import wait
from tests.harness.package import build
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import BUSY, ROWS, FakeAgent, listing
from tests.harness.upgrade_console.program import (
    BUSY_CODE,
    CANNOT,
    DONE,
    FAILED,
    LOST,
    NOTHING,
    REFUSED,
    USAGE,
    masked,
)
from tests.harness.upgrade_console.putcase import IMAGES, NEW, OLD, SFTP, PutTest
from tests.harness.upgrade_console.screen import Screen


class TestPut(PutTest):
    """The copy."""

    def test_copy(self):
        result = self.run_put()
        self.assertEqual(result.returncode, DONE, result.stderr)
        self.assertEqual(self.content(), NEW)
        self.assertEqual(os.listdir(self.data), ["FW.fwm"])
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
        document = json.loads(self.run_put("--json").stdout)
        self.assertGreaterEqual(document.pop("copy_seconds"), 0)
        self.assertEqual(
            document,
            {
                "command": "put",
                "result": "done",
                "exit": 0,
                "error": None,
                "warnings": [],
                "host": "127.0.0.1",
                "file": self.file,
                "bytes": len(NEW),
                "sha256": hashlib.sha256(NEW).hexdigest(),
                "package": {"model": "HX-8", "version": "1.0.5", "chips": 2},
                "package_before": None,
                "signed": False,
            },
        )
        lines = [json.loads(line) for line in self.run_put("--json-progress").stdout.splitlines()]
        self.assertEqual(
            [line["event"] for line in lines if line["event"] != "progress"], ["copy", "result"]
        )
        self.assertRegex(lines[0]["name"], r"^/data/FW\.fwm\.put-[0-9a-f]+$")

    def test_progress(self):
        """Halfway, the size of the copy on the module is half of the file's."""
        self.set_fault("slow")
        for option in ("--no-progress", "--json-progress"):
            with FakeAgent({"GETFIRMWARELIST": self.listed}) as agent:
                program = self.start_program(agent.port, option, "put", "--sftp", SFTP, self.file)
                shown = program.stdout if option == "--json-progress" else program.stderr
                wait.until(lambda shown=shown: "copying" in shown(), 20)
                self.write(self.data + ".go", b"")
                self.assertEqual(program.popen.wait(20), DONE, program.report())
            os.remove(self.data + ".go")
            if option == "--no-progress":
                self.assertIn("\ncopying: 49 %\n", program.stderr())
                continue
            lines = [json.loads(line) for line in program.stdout().splitlines()]
            self.assertIn(
                ("progress", "copying", 49),
                [(line["event"], line.get("phase"), line.get("percent")) for line in lines],
            )

    def test_what_sftp_gets(self):
        self.run_put(
            "--ssh-user",
            "admin",
            "--ssh-port",
            "2222",
            "--ssh-option",
            "IdentityFile=/k",
            "--ssh-option",
            "ConnectTimeout=3",
            timeout="30",
        )
        first, second = self.sessions()
        self.assertEqual(
            first["arguments"],
            [
                "-oIdentityFile=/k",
                "-oConnectTimeout=3",
                "-oUser=admin",
                "-oPort=2222",
                "-oConnectTimeout=10",
                "-oServerAliveInterval=10",
                "-oServerAliveCountMax=3",
                "-b",
                "-",
                "--",
                "127.0.0.1",
            ],
        )
        self.assertEqual(first["arguments"], second["arguments"])
        name = first["commands"][1][-1]
        self.assertEqual(
            (first["commands"], second["commands"]),
            (
                [
                    ["-rm", "/data/FW.fwm.put-*"],
                    ["put", "-f", "package", name],
                    ["chmod", "644", name],
                    ["get", name, "back"],
                ],
                [["rename", name, "/data/FW.fwm"], ["-rm", "/data/FW.fwm.minisig"]],
            ),
        )

    def test_signature(self):
        """It gets its name before the package, and that of the old package does not stay."""
        signature = self.module_package() + ".minisig"
        self.write(self.file + ".minisig", b"new")
        self.write(signature, b"old")
        result = self.run_put()
        self.assertEqual(result.returncode, DONE, result.stderr)
        self.assertIn(f"Copying HX-8 1.0.5, {len(NEW)} bytes and a signature, to ", result.stderr)
        self.assertEqual(sorted(os.listdir(self.data)), ["FW.fwm", "FW.fwm.minisig"])
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
        self.assertTrue(json.loads(self.run_put("--json").stdout)["signed"])
        os.remove(self.file + ".minisig")
        self.assertEqual(self.run_put().returncode, DONE)
        self.assertEqual((self.content(), os.listdir(self.data)), (NEW, ["FW.fwm"]))

    def test_signature_that_cannot_be_copied(self):
        os.mkfifo(self.file + ".minisig")
        self.assertEqual(self.failure(), (FAILED, "file-unreadable", self.file + ".minisig"))
        os.remove(self.file + ".minisig")
        self.write(self.file + ".minisig", b"new")
        self.set_fault("damage")
        self.assertEqual(self.failure()[:2], (FAILED, "copy-damaged"))
        self.set_fault("damage-signature")
        self.assertEqual(self.failure()[:2], (FAILED, "copy-damaged"))

    def test_unsound_packages(self):
        """Nothing is even connected to: the port is closed."""
        for data in (NEW[:-1], NEW[:-1] + b"x", b"no package", build(IMAGES, package_version=5)):
            self.write(self.file, data)
            result = self.run_program(1, "--json", "put", "--sftp", SFTP, self.file)
            error = json.loads(result.stdout)["error"]
            self.assertEqual((result.returncode, error["id"]), (REFUSED, "package-unsound"))
            self.assertRegex(error["detail"], r":0x[0-9a-f]{8}: .* \[[a-z-]+\]$")
            self.assertNotIn("error:", error["detail"])
        result = self.run_program(1, "put", "/nonexistent")
        self.assertIn("/nonexistent: No such file", result.stderr)
        self.write(self.file, NEW)
        result = self.run_program(1, "put", self.file)
        self.assertEqual(result.returncode, CANNOT)

    def test_busy(self):
        self.assertEqual(self.failure(answers={"UPGRADE||": [BUSY]})[:2], (BUSY_CODE, "busy"))
        self.assertFalse(os.path.exists(self.data + ".log"))

    def test_other_model(self):
        other = listing({"model": "HX-4", "version": "1", "chips": []})
        result = self.run_put(answers={"GETFIRMWARELIST": [other]})
        self.assertIn("The model differs: this package is for HX-8.\n", result.stderr)
        # And it stays so: ssh and the agent's port lead to different modules.
        self.assertEqual(result.returncode, FAILED)
        self.assertIn("the agent lists another package", result.stderr)

    def test_faults(self):
        for fault, cause, detail in (
            ("half", "ssh-failed", "closed by remote host.; Connection closed"),
            ("damage", "copy-damaged", ""),
            ("rename", "ssh-failed", "Permission denied"),
        ):
            self.set_fault(fault)
            found = self.failure()
            self.assertEqual(found[:2], (FAILED, cause))
            self.assertIn(detail, found[2])
        self.set_fault("refuse")
        self.assertIn("Permission denied (publickey)", self.failure()[2])
        self.assertIn("/nonexistent: ", self.failure("--sftp", "/nonexistent")[2])

    def test_module_that_hangs(self):
        self.set_fault("hang")
        result = self.run_put("--json", timeout="5")
        error = json.loads(result.stdout)["error"]
        # And a second for every 8 KiB, there and back.
        self.assertEqual((error["id"], error["detail"]), ("ssh-failed", "no end within 7 s"))
        self.assertEqual(self.content(), OLD)

    def test_interrupt(self):
        """Half a copy stays under its own name, and the next put removes it."""
        self.set_fault("hang")
        with FakeAgent({"GETFIRMWARELIST": self.listed}) as agent:
            program = self.start_program(agent.port, "put", "--sftp", SFTP, self.file)
            wait.until(lambda: len(os.listdir(self.data)) == 2)
            program.popen.send_signal(signal.SIGINT)
            self.assertEqual(program.popen.wait(60), LOST, program.report())
        left = re.findall(r"as /data/(FW\.fwm\.put-[0-9a-f]+);", program.stderr())[0]
        self.assertEqual(sorted(os.listdir(self.data)), ["FW.fwm", left])
        self.assertEqual(self.content(), OLD)
        self.set_fault("")
        self.assertEqual(self.run_put().returncode, DONE)
        self.assertEqual(os.listdir(self.data), ["FW.fwm"])

    def test_usage(self):
        for arguments in (
            ["put"],
            ["deploy"],
            ["put", "x", "--ssh-port", "0"],
            ["put", "x", "y"],
            ["deploy", "x", "--mode", "3"],
        ):
            self.assertEqual(self.run_alone(*arguments).returncode, USAGE, arguments)


class TestDeploy(PutTest):
    """The copy and the upgrade."""

    def deploy(self, run, *arguments):
        return self.run_put(*arguments, command="deploy", answers={ROWS: run})

    def test_whole(self):
        result = self.deploy(runs.full_run())
        self.assertEqual(result.returncode, DONE, result.stderr)
        self.assertEqual(self.content(), NEW)
        table = masked(result.stdout).split("\n\n", 1)[1]
        self.assertEqual(
            table,
            """\
MCU    Old    New    Result   Seconds
MAIN   1.0.0  1.1.0  updated #
AUX 1  2.0    2.1.0  updated #

2 MCUs updated.
Host 127.0.0.1, package HX-8 1.0.5, started #, took #.
""",
        )
        # The sizes are those of the file.
        self.assertRegex(result.stderr, r"\nTime: about 0:2\d if every image is written")
        self.assertIn("UPGRADE||MAIN,0,0||AUX 1,1,0", self.agent.lines)

    def test_verdicts(self):
        for run, status in (
            (runs.idle_run(), NOTHING),
            (runs.half_failed_run(), FAILED),
            (runs.wrong_model_run(), REFUSED),
        ):
            result = self.deploy(run, "--json")
            document = json.loads(result.stdout)
            self.assertEqual((result.returncode, document["command"]), (status, "deploy"))
            self.assertEqual(document["copy"]["bytes"], len(NEW))

    def test_row(self):
        result = self.with_agent(
            {"GETFIRMWARELIST": self.listed, ROWS: runs.full_run()},
            "deploy",
            "--sftp",
            SFTP,
            self.file,
            "MAIN,0,0",
        )
        self.assertIn("UPGRADE||MAIN,0,0", self.agent.lines)
        self.assertEqual(result.returncode, DONE)

    def test_no_upgrade_without_the_copy(self):
        self.set_fault("damage")
        self.assertEqual(self.failure(command="deploy")[:2], (FAILED, "copy-damaged"))
        self.assertEqual(self.agent.lines[-1], "GETFIRMWARELIST")

    def test_mode_5_without_a_terminal(self):
        self.assertEqual(
            self.failure("--mode", "5", command="deploy")[:2], (USAGE, "not-confirmed")
        )
        self.assertEqual(self.agent.lines, [])

    def test_mode_5_asks_before_the_copy(self):
        for answer, status, package in (("no", USAGE, OLD), ("yes", DONE, NEW)):
            screen = Screen()
            self.addCleanup(screen.close)
            answers = {"GETFIRMWARELIST": self.listed, ROWS: runs.full_run()}
            with FakeAgent(answers) as agent:
                program = self.start_program(
                    agent.port,
                    "deploy",
                    "--mode",
                    "5",
                    "--sftp",
                    SFTP,
                    self.file,
                    stdin=screen.slave,
                    stderr=screen.slave,
                )
                wait.until(lambda screen=screen: "[yes/no]" in screen.text())
                self.assertEqual((self.content(), os.listdir(self.data)), (OLD, ["FW.fwm"]))
                os.write(screen.master, answer.encode() + b"\n")
                self.assertEqual(program.popen.wait(60), status)
            self.assertEqual(screen.raw.count("[yes/no]"), 1)
            self.assertEqual((self.content(), os.listdir(self.data)), (package, ["FW.fwm"]))

    def test_interrupt_of_the_upgrade(self):
        with FakeAgent({"GETFIRMWARELIST": self.listed, ROWS: runs.START}) as agent:
            program = self.start_program(agent.port, "deploy", "--sftp", SFTP, self.file)
            wait.until(lambda: any(line.startswith("UPGRADE||M") for line in agent.lines))
            program.popen.send_signal(signal.SIGTERM)
            self.assertEqual(program.popen.wait(60), LOST, program.report())
        self.assertIn("The outcome is not known.", program.stdout())


if __name__ == "__main__":
    unittest.main()
