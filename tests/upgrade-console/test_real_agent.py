# SPDX-License-Identifier: Apache-2.0
"""The program with the real agent and a simulated device, inside the sandbox."""

import contextlib
import json
import os
import subprocess

from tests import ROOT
from tests.harness import agentcase, module, netcase, netimage, wait
from tests.harness.package import Image, build, image_bytes
from tests.harness.upgrade_console.program import PROGRAM, Background, Exit, masked, results
from tests.harness.upgrade_console.screen import Screen

EXAMPLE = os.path.join(ROOT, "tools/device-simulator/examples/six-chips.json")
MAIN = Image("MAIN", image_bytes(3000, "main"))
AUX = Image("AUX 1", image_bytes(20000, "aux"), chip_type=1)
FPGA = Image("FPGA", image_bytes(700, "fpga"), chip_type=17, version=(3, 0, 0))
CHIPS = (
    agentcase.chip("MAIN", 0, 1),
    agentcase.chip("AUX", 1, 1),
    agentcase.chip("FPGA", 17, 1, version="3.0"),
)


class TestRealAgent(netcase.NetCase):
    """What users do."""

    def run_program(self, *arguments, stdin=""):
        return subprocess.run(
            [PROGRAM, "--timeout", "15", *arguments],
            input=stdin,
            capture_output=True,
            text=True,
            timeout=120,
            check=False,
        )

    def document(self, *arguments):
        """The document of a command, whose exit status is that of the program."""
        result = self.run_program("--json", *arguments)
        document = json.loads(result.stdout)
        self.assertEqual(document["exit"], result.returncode, result.stderr)
        return document

    def start_program(self, *arguments, **popen):
        background = Background(35353, *arguments, **popen)
        self.stack.callback(background.close)
        return background

    def begin(self, *images, **more):
        return self.start(*CHIPS, images=images or (MAIN, AUX, FPGA), **more)

    def test_upgrade_twice(self):
        self.begin()
        result = self.run_program("upgrade", "--request-all")
        self.assertEqual(result.returncode, Exit.DONE, result.stderr)
        self.assertEqual(
            masked(result.stdout),
            """\
MCU    Old    New    Result      Seconds
MAIN   1.0.0  1.1.0  updated #
AUX 1  1.0.0  1.1.0  updated #
FPGA   3.0    3.0.0  up to date        -

2 MCUs updated.
Host localhost, package HX-8 1.0.5, started #, took #.
""",
        )
        self.assertEqual(
            masked(result.stderr),
            """\
Time: about 0:18 if every image is written, otherwise less.
The agent makes the rows (UPGRADEALL): it addresses each chip with its quantity as the index.
The device reboots at the end, also when nothing was to be written.
MAIN: reading
AUX 1: reading
FPGA: reading
MAIN: entering
MAIN: erasing
MAIN: writing
10 %, #
20 %, #
30 %, #
MAIN: updated
AUX 1: entering
AUX 1: erasing
AUX 1: writing
40 %, #
50 %, #
60 %, #
AUX 1: updated
FPGA: up to date
device: rebooting
device: set version
100 %, #
""",
        )
        self.assert_flash({(0, 1): MAIN.data, (1, 1): AUX.data})
        again = self.document("upgrade", "--request-all")
        self.assertEqual((again["exit"], results(again)), (Exit.NOTHING, ["up-to-date"] * 3))

    def test_shipped_example(self):
        """Everything that the example has, without a word about rows."""
        device = json.loads(module.content(EXAMPLE))
        images = [
            Image("MAIN", image_bytes(700, 1)),
            Image("AUX", image_bytes(900, 2), 1, quantity=2, mcu_type=2),
            Image("KEY", image_bytes(800, 3), 2, 1, 3, 2, "B", version=(2, 0, 5)),
            Image("FPGA", image_bytes(600, 4), 17, version=(3, 2, 0)),
            Image("FPGA2", image_bytes(600, 5), 18, version=(1, 4, 0)),
        ]
        self.start(*device.pop("chips"), images=images, **device)
        document = self.document("upgrade")
        self.assertEqual(
            [(mcu["name"], mcu["result"]) for mcu in document["mcus"]],
            [
                ("MAIN", "updated"),
                ("AUX[0]", "updated"),
                ("AUX[1]", "updated"),
                ("KEY", "up-to-date"),
                ("FPGA", "updated"),
                ("FPGA2", "up-to-date"),
            ],
        )
        self.assert_flash(
            {
                (0, 0): images[0].data,
                (1, 0): images[1].data,
                (1, 1): images[1].data,
                (17, 0): images[3].data,
            }
        )

    def test_row_in_mode_5_on_a_terminal(self):
        self.start(agentcase.chip("AUX", 1), images=(AUX,), options=("--baud", "57600"))
        screen = Screen()
        self.stack.callback(screen.close)
        program = self.start_program(
            *("upgrade", "--mode", "5", "--yes", "AUX,1,0"),
            stderr=screen.slave,
            env={**os.environ, "TERM": "xterm", "NO_COLOR": "1"},
        )
        pictures = []

        def watch():
            pictures.append(screen.text())
            return program.popen.poll() is not None

        wait.until(watch, 90, "the end of the program")
        self.assertEqual((program.popen.returncode, screen.problems), (Exit.DONE, []))
        bar = "AUX           writing        1.0.0 -> 1.1.0  [#"
        written = [picture for picture in pictures if bar in picture]
        self.assertRegex(written[-1], r"\d\d %  0:0\d left\nall           writing        \[####")
        self.assertIn("AUX  1.0.0  1.1.0  updated #", masked(program.stdout()))
        self.assert_flash({(1, 0): AUX.data})

    def test_refused_packages(self):
        client = self.begin()
        client.close()

        def refusal(*command):
            document = self.document(*command)
            return document["exit"], document["error"]["id"]

        upgrade = ("upgrade", "--request-all")
        self.put_package(MAIN, model="HX-9")
        self.assertEqual(refusal(*upgrade), (Exit.REFUSED, "wrong-model"))
        self.put_package(MAIN, package_version=5)
        self.assertEqual(refusal(*upgrade), (Exit.REFUSED, "package-too-old"))
        content = bytearray(module.content(agentcase.PACKAGE))
        content[-1] ^= 1
        self.put_bytes(content)
        for command in (("list",), upgrade):
            self.assertEqual(refusal(*command), (Exit.REFUSED, "package-damaged"))
        os.remove(agentcase.PACKAGE)
        self.assertEqual(refusal(*upgrade), (Exit.REFUSED, "package-missing"))
        self.put_package(MAIN)
        self.assertEqual(self.run_program(*upgrade).returncode, Exit.DONE)

    def test_busy_and_lost_contact(self):
        self.start(agentcase.chip("AUX", 1, 1), images=(AUX,), options=("--baud", "57600"))
        first = self.start_program("upgrade", "--request-all")
        wait.until(lambda: "writing" in first.stderr(), 30)
        for command in (
            ["upgrade", "--request-all"],
            ["upgrade", "AUX,1,1"],
            ["net-upgrade", "127.0.0.1"],
        ):
            result = self.run_program(*command)
            self.assertEqual((result.returncode, result.stdout), (Exit.BUSY, ""), result.stderr)
        first.popen.terminate()
        self.assertEqual(first.popen.wait(60), Exit.LOST)
        self.assertIn("'AUX 1' was being written.", first.stderr())
        # As the program reported, the agent continues alone.
        wait.until(lambda: self.simulator.chip(1, 1)["images_written"] == 1, 30)

    def test_pings_beside_a_run(self):
        """A health check takes the lines for a moment; the verdict stays right."""
        self.begin(options=("--baud", "57600"))
        program = self.start_program("--json", "upgrade", "--request-all")
        wait.until(lambda: "AUX 1: writing" in program.stderr(), 30)
        self.assertEqual(self.run_program("ping").returncode, Exit.DONE)
        self.assertEqual(program.popen.wait(60), Exit.DONE, program.report())
        self.assertEqual(
            results(json.loads(program.stdout())), ["updated", "updated", "up-to-date"]
        )
        # Far more often than any health check, from the start on.
        program = self.start_program(
            "--timeout", "15", "--json", "upgrade", "--mode", "5", "--yes", "--request-all"
        )
        while program.popen.poll() is None:
            self.assertEqual(self.run_program("ping").returncode, Exit.DONE)
            with contextlib.suppress(subprocess.TimeoutExpired):
                program.popen.wait(2)
        document = json.loads(program.stdout())
        outcome = (program.popen.returncode, (document["error"] or {}).get("id"))
        # A ping may take the lines of an MCU, or the verdict on the whole run after all of them.
        self.assertIn(outcome, ((Exit.DONE, None), (Exit.LOST, "outcome-unseen")), document)
        self.assertLessEqual(set(results(document)), {"updated", "unknown"})
        if "unknown" in results(document):
            self.assertEqual(program.popen.returncode, Exit.LOST)
        wait.until(lambda: self.simulator.chip(17, 1)["images_written"] == 1, 60)

    def test_attach(self):
        """The client that started the run goes away; another one sees the rest."""
        self.begin(options=("--baud", "57600"))
        self.assertEqual(self.run_program("attach").returncode, Exit.NO_RUN)
        first = self.start_program("upgrade", "--request-all")
        wait.until(lambda: "AUX 1: writing" in first.stderr(), 30)
        first.popen.terminate()
        self.assertEqual(first.popen.wait(60), Exit.LOST)
        self.assertIs(self.document("status")["busy"], True)
        document = self.document("attach")
        self.assertEqual(
            (document["exit"], document["error"]["id"]), (Exit.LOST, "beginning-unseen"), document
        )
        self.assertEqual(
            [(mcu["name"], mcu["result"]) for mcu in document["mcus"]],
            [("AUX 1", "updated"), ("FPGA", "up-to-date")],
        )
        status = self.document("status")
        self.assertEqual((status["busy"], status["package"]["chips"]), (False, 3))

    def test_deploy(self):
        """With OpenSSH's own sftp and its server, without the network between them."""
        client = self.begin()
        client.close()
        module.put("/tmp/sftp", b"#!/bin/sh\nexec sftp -D /usr/lib/openssh/sftp-server -b -\n")
        os.chmod("/tmp/sftp", 0o755)
        newer = [Image("MAIN", image_bytes(3000, "newer")), AUX, FPGA]
        module.put("/tmp/new *[1].fwm", build(newer, version="1.0.6"))
        module.put("/data/FW.fwm.put-1", b"left by an interrupted copy")
        words = ("--request-all", "--sftp", "/tmp/sftp", "/tmp/new *[1].fwm")
        document = self.document("deploy", *words)
        self.assertEqual(results(document), ["updated", "updated", "up-to-date"], document)
        self.assert_flash({(0, 1): newer[0].data, (1, 1): AUX.data})
        self.assertEqual(document["copy"]["package_before"], {"model": "HX-8", "version": "1.0.5"})
        self.assertEqual(document["package"], {"model": "HX-8", "version": "1.0.6"})
        self.assertEqual(module.content(agentcase.PACKAGE), build(newer, version="1.0.6"))
        self.assertEqual([name for name in os.listdir("/data") if "put" in name], [])

    def test_questions(self):
        self.begin()
        self.assertEqual(self.run_program("version").stdout, "1.15\n")
        self.assertEqual(self.run_program("ping").returncode, Exit.DONE)
        package = self.document("list")["package"]
        self.assertEqual((package["model"], package["version"]), ("HX-8", "1.0.5"))
        keys = ("name", "chip_type", "chip_quantity", "version")
        self.assertEqual(
            [tuple(image[key] for key in keys) for image in package["images"]],
            [("MAIN", 0, 1, "1.1.0"), ("AUX 1", 1, 1, "1.1.0"), ("FPGA", 17, 1, "3.0.0")],
        )
        result = self.run_program("edid", os.environ["EDID_DUMP"])
        self.assertEqual(
            result.stdout.splitlines()[:4],
            ["Manufacturer: DEL", "Name: DELL P2415Q", "Input: HDMI", "3840x2160@30Hz"],
        )
        shell = self.run_program("shell", stdin="VERSION\nbogus\n")
        self.assertEqual(shell.stdout, "VERSION||1.15\nUPGRADELOG||Unknow command.\n")

    def test_send_net(self):
        self.start_agent()
        module.put("/tmp/NET.bin", netimage.image())
        result = self.run_program("send-net", "/tmp/NET.bin")
        self.assertEqual(
            (result.returncode, result.stdout),
            (
                Exit.DONE,
                "Installed version: 1.23\n"
                "The module restarts now; in a minute its agent answers again.\n",
            ),
            result.stderr,
        )
        module.wait_for_command(module.REBOOT)
        self.assert_installed()

    def test_send_net_with_an_archive_that_ends_in_padding(self):
        """No other sender can do this: the module strips FF from the last block."""
        self.start_agent()
        module.put("/tmp/NET.bin", netimage.with_head(b"no archive" + b"\xff" * 300))
        result = self.run_program("send-net", "/tmp/NET.bin")
        self.assertIn("agent: NET package checksum OK.", result.stderr)


if __name__ == "__main__":
    agentcase.main()
