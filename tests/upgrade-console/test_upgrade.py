# SPDX-License-Identifier: Apache-2.0
"""Runs and their ends: the table, the document, and each kind of failure."""

import json
import os
import subprocess
import sys
import tempfile
import unittest

from tests import ROOT
from tests.harness.package import Image, build, description, image_bytes
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.lines import BUSY, FAIL, SUCCESS, chip, listing, log, package
from tests.harness.upgrade_console.program import Exit, ProgramTest, done, masked, results

DUMP = os.environ["EDID_DUMP"]


class TestUpgrade(ProgramTest):
    """Runs and their ends."""

    def test_success_however_cut(self):
        for cut in (None, 1, 5, 100):
            result = self.upgrade(runs.full_run(), cut=cut)
            self.assertEqual(result.returncode, Exit.DONE, result.stderr)
            self.assertEqual(masked(result.stdout), runs.FULL_TABLE)

    def test_success_in_one_piece(self):
        result = self.upgrade([b"".join(runs.full_run())])
        self.assertEqual(masked(result.stdout), runs.FULL_TABLE)

    def test_requests(self):
        self.upgrade(runs.full_run())
        first = ["UPGRADE||", "HEARTBEAT", "GETFIRMWARELIST"]
        self.assertEqual(
            self.agent.lines, [*first, "UPGRADEMODE||2", "UPGRADE||MAIN,0,0||AUX 1,1,0"]
        )
        request = "UPGRADE||MAIN,0,1||AUX 1,1,0"
        words = ("upgrade", "--mode", "5", "--yes", "MAIN,0,1", "AUX 1")
        result = self.with_agent({request: runs.full_run()}, *words)
        self.assertEqual(self.agent.lines, [*first, "UPGRADEMODE||5", request])
        self.assertEqual(result.returncode, Exit.DONE)

    def test_plain_progress(self):
        result = self.upgrade(runs.full_run())
        self.assertEqual(
            masked(result.stderr),
            """\
Time: at least 0:21 for restarts and pauses; with --package and a copy of the package the images count, too.
The device reboots at the end, also when nothing was to be written.
MAIN: reading
AUX 1: reading
MAIN: entering
MAIN: erasing
MAIN: writing
10 %, #
20 %, #
30 %, #
40 %, #
MAIN: updated
AUX 1: entering
AUX 1: erasing
50 %, #
AUX 1: writing
60 %, #
70 %, #
80 %, #
90 %, #
AUX 1: updated
device: rebooting
device: set version
100 %, #
""",
        )
        self.assertRegex(result.stderr, r"\n40 %, 0:0\d, at least 0:21 left\n")

    def test_sizes_from_a_copy(self):
        """The package of the agent's list, so that the time is known before anything is sent."""
        images = [Image("MAIN", image_bytes(25600)), Image("AUX", image_bytes(102400), 1)]
        with tempfile.TemporaryDirectory() as folder:
            copy = os.path.join(folder, "FW.fwm")
            with open(copy, "wb") as file:
                file.write(build(images))
            answers = {"GETFIRMWARELIST": [listing(json.loads(description(images)))]}
            result = self.upgrade(runs.full_run(), "--package", copy, answers=answers)
            # 500 blocks of 284 bytes at 57600 baud, twice 10 s, 1 s and two times 0.2 s.
            self.assertIn(
                "Time: about 0:46 if every image is written, otherwise less.\n", result.stderr
            )
            result = self.upgrade([], "--json", "--package", copy)
            self.assert_failure(result, Exit.FAILED, "package-differs")
            self.assertEqual(self.agent.lines[-1], "GETFIRMWARELIST")
            for path in (DUMP, os.path.join(folder, "none"), folder):
                result = self.upgrade([], "--json", "--package", path)
                self.assertEqual(self.document(result)["error"]["id"], "file-unreadable")

    def test_json(self):
        result = self.upgrade(runs.full_run(), "--json")
        document = self.document(result)
        for part in (document, *document["mcus"]):
            self.assertGreaterEqual(part.pop("seconds"), 0)
        self.assertRegex(document.pop("started"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        updated = {"chip_index": 0, "result": "updated", "retries": 0, "error": None}
        main = {"name": "MAIN", "chip_type": 0, "old_version": "1.0.0", "new_version": "1.1.0"}
        aux = {"name": "AUX 1", "chip_type": 1, "old_version": "2.0", "new_version": "2.1.0"}
        self.assertEqual(
            document,
            done(
                "upgrade",
                host="127.0.0.1",
                mode=2,
                summary="2 MCUs updated.",
                rebooted=True,
                package={"model": "HX-8", "version": "7"},
                mcus=[main | updated, aux | updated],
            ),
        )

    def test_nothing_to_do(self):
        result = self.upgrade(runs.idle_run())
        self.assertEqual(result.returncode, Exit.NOTHING)
        self.assertEqual(
            masked(result.stdout),
            """\
MCU    Old    New    Result      Seconds
MAIN   1.1.0  1.1.0  up to date        -
AUX 1  2.1    2.1.0  up to date        -

Nothing to do: no MCU needs an image from the package. The device was rebooted anyway.
Host 127.0.0.1, package HX-8 7, started #, took #.
""",
        )
        # Before the run as well.
        self.assertIn("The device reboots at the end, also when nothing was", result.stderr)
        result = self.upgrade(runs.idle_run(), "--json")
        self.assertIs(self.document(result)["rebooted"], True)
        self.assertNotIn("upgrade-console:", result.stderr)

    def test_empty_package(self):
        result = self.upgrade([], answers={"GETFIRMWARELIST": [listing(package())]})
        self.assertEqual(result.returncode, Exit.NOTHING)
        self.assertEqual(self.agent.lines[-1], "GETFIRMWARELIST")

    def test_one_mcu_fails(self):
        result = self.upgrade(runs.half_failed_run(), "--json")
        document = self.assert_failure(result, Exit.FAILED, "image-not-written")
        self.assertEqual(document["summary"], "1 MCU updated, 1 failed.")
        self.assertEqual(results(document), ["updated", "failed"])
        self.assertEqual(document["mcus"][1]["retries"], 8)
        self.assertIn("agent: 'AUX 1' F/W update fail, retry 1.\n", result.stderr)

    def test_busy(self):
        result = self.upgrade([], answers={"UPGRADE||": [BUSY]})
        self.assertEqual((result.returncode, result.stdout), (Exit.BUSY, ""))
        self.assertEqual(self.agent.lines, ["UPGRADE||", "HEARTBEAT"])
        # Another client started a run first.
        result = self.with_agent({"UPGRADE||MAIN,0,0": [BUSY]}, "upgrade", "MAIN,0,0")
        self.assertEqual(result.returncode, Exit.BUSY)

    def test_failures(self):
        """Each end that is not a result of the MCUs."""
        too_old = log("FWM file version error, must greater or equal to 6.")
        no_port = [
            log("Disconnect"),
            log("ConnectFail"),
            log("ttyS2 connect failed, serial port is occupied or does not exist"),
            log("Firmware file checksum ok."),
            log("Read model name."),
            log("Read model name fail, retry 1."),
            log("Read model name fail, retry 2."),
            log("Read model name fail, upgrade fail, exit."),
        ]
        for run, status, problem in (
            (runs.wrong_model_run(), Exit.REFUSED, "wrong-model"),
            (runs.START + [too_old, FAIL], Exit.REFUSED, "package-too-old"),
            (no_port + [FAIL], Exit.FAILED, "port-unavailable"),
            (runs.START + [FAIL], Exit.FAILED, "unexplained"),
        ):
            with self.subTest(problem):
                document = self.assert_failure(self.upgrade(run, "--json"), status, problem)
                self.assertIs(document["rebooted"], False)

    def test_what_the_package_lacks(self):
        """Nothing is asked of the device, which would be silent for a while and then reboot."""
        for rows, detail in (
            (["BOGUS"], "nothing named 'BOGUS'"),
            (["X,9,0"], "chip type 9"),
            (["MAIN,0,0", "X,9,0"], "chip type 9"),
        ):
            result = self.with_agent({}, "--json", "upgrade", *rows)
            document = self.assert_failure(result, Exit.USAGE, "not-in-package")
            self.assertIn(detail, document["error"]["detail"])
            self.assertEqual(self.agent.lines, ["UPGRADE||", "HEARTBEAT", "GETFIRMWARELIST"])
        only_aux = {"GETFIRMWARELIST": [listing(package(chip("AUX 1", 1, "2.1.0")))]}
        result = self.with_agent(only_aux, "net-upgrade", "10.0.0.7")
        self.assertEqual(result.returncode, Exit.USAGE)

    def test_nothing_fits(self):
        nothing = log("No suitable firmware for 'MAIN' in the firmware package.")
        run = [*runs.START, *runs.MODEL, nothing, *runs.REBOOT, SUCCESS]
        result = self.upgrade(run, "MAIN,0,0")
        self.assertEqual(result.returncode, Exit.NOTHING)

    def test_demo_of_the_readme(self):
        """Without rows the request is the one that the demo makes by hand."""
        with tempfile.TemporaryDirectory() as folder:
            images = [sys.executable, "-B", "-m", "scripts.lib.demo_images", folder]
            subprocess.run(images, check=True, timeout=20)
            with open(os.path.join(folder, "request.json"), encoding="ascii") as file:
                answers = {"GETFIRMWARELIST": [listing(json.load(file))]}
        self.upgrade(runs.idle_run(), answers=answers)
        with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as file:
            self.assertIn(f"> {self.agent.lines[-1]}\n", file.read())

    def test_rows_of_the_agent(self):
        """Only on request, and with the words that explain the index."""
        result = self.with_agent({"UPGRADEALL": runs.full_run()}, "upgrade", "--request-all")
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assertEqual(self.agent.lines[-1], "UPGRADEALL")
        self.assertIn("with its quantity as the index", result.stderr)

    def test_mode_5_without_a_terminal(self):
        """Nothing is sent, not even a question to the agent."""
        for command in (["upgrade"], ["net-upgrade", "10.0.0.7"]):
            result = self.with_agent({}, "--json", *command, "--mode", "5")
            document = self.assert_failure(result, Exit.USAGE, "not-confirmed")
            self.assertIn("--yes", document["error"]["advice"])
            self.assertEqual(self.agent.lines, [])

    def test_net_upgrade(self):
        run = [log("Device connected."), log("Firmware file checksum ok.")] + runs.MODEL
        run += runs.reads({"MAIN": "1.0.0"}) + [runs.greater("MAIN", "1.1.0", "1.0.0")]
        run += runs.write("MAIN", 0, 1) + runs.REBOOT + runs.VIRTUAL + [SUCCESS]
        request, words = "UPGRADEORVALE1G||10.0.0.7", ("net-upgrade", "10.0.0.7")
        result = self.with_agent({request: run}, *words)
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assertIn("MAIN", result.stdout)
        missing = [log("Firmware file does not exist.")]
        self.assertEqual(self.with_agent({request: missing}, *words).returncode, Exit.REFUSED)
        result = self.with_agent({}, "--json", *words, timeout=self.UNANSWERED)
        self.assert_failure(result, Exit.FAILED, "not-started")

    def test_request_passed_over(self):
        result = self.upgrade([], "--json", timeout=self.UNANSWERED)
        self.assert_failure(result, Exit.FAILED, "not-started")


if __name__ == "__main__":
    unittest.main()
