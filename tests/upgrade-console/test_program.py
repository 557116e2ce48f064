# SPDX-License-Identifier: Apache-2.0
"""The program against an agent that a test scripts: results, exit codes, JSON, the network's
whims."""

import json
import os
import signal
import subprocess
import sys
import tempfile
import unittest
from contextlib import ExitStack

from tests import ROOT
from tests.harness import wait
from tests.harness.package import Image, build, description, image_bytes
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import (
    BUSY,
    CLOSE,
    FAIL,
    RESET,
    ROWS,
    SUCCESS,
    FakeAgent,
    Wait,
    chip,
    listing,
    log,
    progress,
)
from tests.harness.upgrade_console.program import (
    BUSY_CODE,
    CANNOT,
    DONE,
    FAILED,
    LOST,
    NOTHING,
    PROGRAM,
    REFUSED,
    USAGE,
    ProgramTest,
    masked,
)

DUMP = os.environ["EDID_DUMP"]


class ConsoleTest(ProgramTest):
    """What these tests share."""

    def upgrade(self, run, *arguments, answers=None, **more):
        return self.with_agent({ROWS: run, **(answers or {})}, "upgrade", *arguments, **more)

    def document(self, result):
        """The one JSON document on standard output."""
        document = json.loads(result.stdout)
        self.assertEqual(document["exit"], result.returncode, result.stdout)
        return document


class TestUsage(ConsoleTest):
    """What ends before any connection."""

    def test_wrong_usage(self):
        cases: tuple[list[str], ...] = (
            [],
            ["bogus"],
            ["upgrade", "--all"],
            ["upgrade", "--request-all", "MAIN,0,0"],
            ["upgrade", "--mode", "3"],
            ["ping", "--port", "0"],
            ["ping", "--port", "65536"],
            ["ping", "--timeout", "0"],
            ["ping", "--timeout", "nan"],
            ["ping", "--host", ""],
            ["net-upgrade", "1.2.3"],
            ["net-upgrade", "1.2.3.256"],
            ["edid"],
            ["send-net"],
            ["ping", "surplus"],
            ["--bogus", "ping"],
        )
        for arguments in cases:
            result = self.run_alone(*arguments)
            self.assertEqual(result.returncode, USAGE, arguments)
            self.assertEqual(result.stdout, "", arguments)
            self.assertRegex(result.stderr, r"(?s)^upgrade-console: error: .+\n.*--help", arguments)

    def test_rows_that_cannot_be_read(self):
        for row in ("MAIN,0", "MAIN,0,256", "X||UPGRADEALL,0,0", "HEART BEAT,0,0", "A\nB,0,0"):
            result = self.run_alone("upgrade", "--json", row)
            self.assertEqual((result.returncode, result.stderr), (USAGE, ""), row)
            self.assertEqual(self.document(result)["error"]["id"], "rows-refused", row)

    def test_usage_as_json(self):
        for arguments in (
            ["--json", "upgrade", "--mode", "3"],
            ["--json=1", "ping"],
            ["ping", "--json=false"],
        ):
            result = self.run_alone(*arguments)
            self.assertEqual(self.document(result)["error"]["id"], "usage", arguments)

    def test_help_and_version(self):
        for arguments, wanted in (
            (["--help"], "Exit status:"),
            (["upgrade", "--help"], "--mode"),
            (["--version"], "upgrade-console 1."),
        ):
            result = self.run_alone(*arguments)
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertIn(wanted, result.stdout)

    def test_unreadable_files(self):
        for command in ("edid", "send-net"):
            result = self.run_program(1, command, "/nonexistent")
            self.assertEqual(result.returncode, FAILED)
            self.assertIn("/nonexistent: No such file", result.stderr)


class TestInput(ConsoleTest):
    """A pipe on which nothing ever comes must not hold the program."""

    def commands(self):
        """Each command that reads something, with what it reads and its standard input."""
        folder = self.enterContext(tempfile.TemporaryDirectory())
        fifo = os.path.join(folder, "fifo")
        os.mkfifo(fifo)
        held = os.path.join(folder, "held")
        os.mkfifo(held)
        writer = os.open(held, os.O_RDWR)
        self.addCleanup(os.close, writer)
        reader, open_end = os.pipe()
        self.addCleanup(os.close, reader)
        self.addCleanup(os.close, open_end)
        for arguments in (
            ["edid", "-"],
            ["edid", fifo],
            ["edid", held],
            ["send-net", fifo],
            ["send-net", held],
        ):
            yield arguments, reader

    def test_signals(self):
        for arguments, stdin in self.commands():
            for number in (signal.SIGINT, signal.SIGTERM):
                with self.subTest(arguments=arguments, number=number):
                    program = self.start_program(1, "--json", *arguments, stdin=stdin)
                    wait.until(lambda pid=program.popen.pid: blocks(pid, signal.SIGTERM))
                    program.popen.send_signal(number)
                    self.assertEqual(program.popen.wait(60), LOST, program.report())
                    self.assertEqual(json.loads(program.stdout())["error"]["id"], "interrupted")

    def test_time_out(self):
        for arguments, stdin in self.commands():
            with self.subTest(arguments=arguments):
                program = self.start_program(1, "--timeout", "0.2", *arguments, stdin=stdin)
                self.assertEqual(program.popen.wait(60), FAILED, program.report())
                self.assertIn("no end of it within 0.2", program.stderr())

    def test_slow_pipe(self):
        with open(DUMP, "rb") as file:
            dump = file.read(256)
        answer = b"PARSEEDIDRESULT||DEL,X,HDMI,\r\n"
        with FakeAgent({"PARSEEDID||" + dump.hex(" "): [answer]}) as agent:
            program = self.start_program(agent.port, "edid", "-", stdin=subprocess.PIPE)
            for byte in dump:
                program.popen.stdin.write(bytes([byte]))
                program.popen.stdin.flush()
            program.popen.stdin.close()
            self.assertEqual(program.popen.wait(60), DONE, program.report())


def blocks(pid, number):
    """Whether the process has blocked a signal, which it does before it reads anything."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        mask = next(line for line in file if line.startswith("SigBlk:")).split()[1]
    return bool(int(mask, 16) >> (number - 1) & 1)


class TestOutput(ConsoleTest):
    """What cannot be written is a failure, whatever was asked for."""

    def statuses(self, *arguments, answers=None, stdin=""):
        """The exit statuses on a full disk, on a pipe without a reader, and without an output."""
        found = []
        for how in ("full", "broken pipe", "closed"):
            with FakeAgent(answers or {}) as agent:
                command = [
                    PROGRAM,
                    "--host",
                    "127.0.0.1",
                    "--port",
                    str(agent.port),
                    "--timeout",
                    self.ANSWERED,
                    *arguments,
                ]
                with ExitStack() as stack:
                    output = None
                    if how == "full":
                        output = os.open("/dev/full", os.O_WRONLY)
                        stack.callback(os.close, output)
                    elif how == "broken pipe":
                        reader, output = os.pipe()
                        os.close(reader)
                        stack.callback(os.close, output)
                    else:
                        command = ["sh", "-c", 'exec "$@" >&-', "sh", *command]
                    result = subprocess.run(
                        command,
                        input=stdin,
                        stdout=output,
                        stderr=subprocess.PIPE,
                        text=True,
                        timeout=60,
                        check=False,
                    )
            self.assertIn("tandard output cannot be written", result.stderr, (how, arguments))
            found.append(result.returncode)
        return found

    def test_answers(self):
        for arguments in (
            ["--help"],
            ["upgrade", "--help"],
            ["--help", "--json"],
            ["--version"],
            ["--bash-completion"],
        ):
            program = subprocess.run(
                ["sh", "-c", 'exec "$@" > /dev/full', "sh", PROGRAM, *arguments],
                capture_output=True,
                timeout=60,
                check=False,
            )
            self.assertEqual(program.returncode, FAILED, arguments)

    def test_results(self):
        for json_option in ((), ("--json",)):
            for command in (["version"], ["list"], ["ping"]):
                statuses = self.statuses(*json_option, *command)
                self.assertEqual(statuses, [FAILED] * 3, (json_option, command))
            statuses = self.statuses(*json_option, "upgrade", answers={ROWS: runs.full_run()})
            self.assertEqual(statuses, [FAILED] * 3, json_option)

    def test_errors(self):
        busy = {"UPGRADE||": [BUSY]}
        self.assertEqual(self.statuses("--json", "upgrade", answers=busy), [FAILED] * 3)

    def test_traffic(self):
        talk = {"HEARTBEAT": [b"HEARTBEAT\r\n"] + [log("x"), 0.01] * 100}
        for json_option in ((), ("--json",)):
            self.assertEqual(self.statuses(*json_option, "watch", answers=talk), [FAILED] * 3)
            self.assertEqual(self.statuses(*json_option, "shell", stdin="VERSION\n"), [FAILED] * 3)
        self.assertEqual(self.statuses("--json", "shell"), [FAILED] * 3)


class TestSimple(ConsoleTest):
    """One question, one answer."""

    def test_ping(self):
        result = self.with_agent({}, "ping")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertRegex(result.stdout, r"^the agent answers, after \d+\.\d ms\n$")
        self.assertEqual(self.agent.lines, ["HEARTBEAT"])

    def test_version(self):
        result = self.with_agent({}, "version", cut=1)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (DONE, "1.15\n", ""))

    def test_json(self):
        result = self.with_agent({}, "--json", "version")
        self.assertEqual(
            self.document(result),
            {
                "command": "version",
                "exit": 0,
                "result": "done",
                "error": None,
                "warnings": [],
                "agent_version": "1.15",
            },
        )
        # Options may also follow the command.
        result = self.with_agent({}, "version", "--json")
        self.assertEqual(self.document(result)["agent_version"], "1.15")

    def test_list(self):
        for cut in (None, 7):
            result = self.with_agent({}, "list", cut=cut)
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertEqual(
                result.stdout,
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
        answer = ("FIRMWARELIST||" + text.replace("\n", "\r\n") + "\r\n").encode()
        result = self.with_agent({"GETFIRMWARELIST": [answer]}, "--json", "list")
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
            answer = [
                FAIL,
                FAIL,
                log("Invalid firmware file, file head error."),
                f"FIRMWARELIST||{text}\r\n".encode(),
            ]
            for arguments in (["list"], ["upgrade"]):
                result = self.with_agent({"GETFIRMWARELIST": answer}, "--json", *arguments)
                self.assertEqual(result.returncode, REFUSED, text)
                self.assertEqual(self.document(result)["error"]["id"], cause)

    def test_hostile_names_do_not_reach_the_terminal(self):
        package = {"model": "\x1b]0;x\x07", "version": "7", "chips": [chip("\x1b[2J", 0, "1.1.0")]}
        result = self.with_agent({"GETFIRMWARELIST": [listing(package)]}, "list")
        self.assertEqual(result.returncode, DONE)
        self.assertNotIn("\x1b", result.stdout)

    def test_edid(self):
        with open(DUMP, "rb") as file:
            dump = file.read(256)
        request = "PARSEEDID||" + dump.hex(" ")
        answer = b"PARSEEDIDRESULT||DEL,DELL 30,07,HDMI,1920x1080@60Hz,LPCM. 2CH,\r\n"
        for name, stdin in ((DUMP, ""), ("-", dump.hex("\n"))):
            result = self.with_agent({request: [answer]}, "edid", name, stdin=stdin)
            self.assertEqual((result.returncode, result.stderr), (DONE, ""))
            self.assertEqual(
                result.stdout,
                "Manufacturer: DEL\nName: DELL 30,07\nInput: HDMI\n" "1920x1080@60Hz\nLPCM. 2CH\n",
            )
        for answer, cause in (
            (b"PARSEEDID||ERROR:PARSEEDID parameter command.\r\n", "edid-refused"),
            (b"PARSEEDIDRESULT||EDID data header error !\r\n", "edid-refused"),
            (log("Unknow command."), "unknown-request"),
        ):
            result = self.with_agent({request: [answer]}, "--json", "edid", DUMP)
            self.assertEqual(result.returncode, FAILED)
            self.assertEqual(self.document(result)["error"]["id"], cause)

    def test_cannot_connect(self):
        agent = FakeAgent()
        agent.stop()
        for command in (["ping"], ["upgrade"], ["watch"], ["shell"]):
            result = self.run_program(agent.port, "--json", *command)
            self.assertEqual(result.returncode, CANNOT)
            self.assertEqual(self.document(result)["error"]["id"], "cannot-connect")
            self.assertIn("Check the address", self.document(result)["error"]["advice"])
            self.assertRegex(
                self.document(result)["error"]["detail"],
                rf"^(localhost|127\.0\.0\.1), port {agent.port}: ",
            )
            self.assertNotIn("upgrade-console:", result.stderr)

    def test_connection_that_fails_at_once(self):
        """The kernel refuses a TCP connection to this address without a packet."""
        for command in (["ping"], ["upgrade"], ["edid", DUMP], ["watch"], ["shell"]):
            result = self.run_alone("--host", "255.255.255.255", "--json", *command)
            self.assertEqual(result.returncode, CANNOT, result.stderr)
            self.assertEqual(self.document(result)["error"]["id"], "cannot-connect")

    def test_dead_peer(self):
        for command in (["ping"], ["version"], ["list"], ["upgrade"], ["edid", DUMP]):
            silent: dict[str, list] = {
                line: [] for line in ("HEARTBEAT", "VERSION", "GETFIRMWARELIST")
            }
            result = self.with_agent(silent, "--json", *command, timeout=self.UNANSWERED)
            self.assertEqual(result.returncode, LOST, command)
            self.assertEqual(self.document(result)["error"]["id"], "no-sign-of-life")

    def test_connection_lost(self):
        for action in (CLOSE, RESET):
            result = self.with_agent({"VERSION": [b"VERSI", action]}, "--json", "version")
            self.assertEqual(result.returncode, LOST)
            self.assertEqual(self.document(result)["error"]["id"], "connection-lost")

    def test_answer_before_the_end_counts(self):
        result = self.with_agent({"VERSION": [b"VERSION||1.15\r\n", CLOSE]}, "version")
        self.assertEqual((result.returncode, result.stdout), (DONE, "1.15\n"))

    def test_flood(self):
        """A million bytes of anything, and lines without an end, hide no answer."""
        noise = os.urandom(1 << 20).replace(b"\n", b"-") + b"\r\n" + b"x\r\n" * 300000
        result = self.with_agent(
            {"VERSION": [noise, b"VERSION||1.15\r\n"]}, "version", timeout="60"
        )
        self.assertEqual((result.returncode, result.stdout), (DONE, "1.15\n"))

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
        self.assertEqual((program.popen.returncode, program.stdout()), (DONE, "1.15\n"))
        self.assertLess(usage.ru_maxrss, 128 * 1024)  # KiB


FULL_TABLE = """\
MCU    Old    New    Result   Seconds
MAIN   1.0.0  1.1.0  updated #
AUX 1  2.0    2.1.0  updated #

2 MCUs updated.
Host 127.0.0.1, package HX-8 7, started #, took #.
"""


class TestUpgrade(ConsoleTest):
    """Runs and their ends."""

    def test_success_however_cut(self):
        for cut in (None, 1, 5, 100):
            result = self.upgrade(runs.full_run(), cut=cut)
            self.assertEqual(result.returncode, DONE, result.stderr)
            self.assertEqual(masked(result.stdout), FULL_TABLE)

    def test_success_in_one_piece(self):
        result = self.upgrade([b"".join(runs.full_run())])
        self.assertEqual(masked(result.stdout), FULL_TABLE)

    def test_requests(self):
        self.upgrade(runs.full_run())
        self.assertEqual(
            self.agent.lines,
            [
                "UPGRADE||",
                "HEARTBEAT",
                "GETFIRMWARELIST",
                "UPGRADEMODE||2",
                "UPGRADE||MAIN,0,0||AUX 1,1,0",
            ],
        )
        request = "UPGRADE||MAIN,0,1||AUX 1,1,0"
        result = self.with_agent(
            {request: runs.full_run()}, "upgrade", "--mode", "5", "--yes", "MAIN,0,1", "AUX 1"
        )
        self.assertEqual(
            self.agent.lines,
            ["UPGRADE||", "HEARTBEAT", "GETFIRMWARELIST", "UPGRADEMODE||5", request],
        )
        self.assertEqual(result.returncode, DONE)

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
            self.assertEqual(result.returncode, FAILED)
            self.assertEqual(self.document(result)["error"]["id"], "package-differs")
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
        self.assertEqual(
            document,
            {
                "command": "upgrade",
                "host": "127.0.0.1",
                "exit": 0,
                "result": "done",
                "mode": 2,
                "summary": "2 MCUs updated.",
                "rebooted": True,
                "error": None,
                "warnings": [],
                "package": {"model": "HX-8", "version": "7"},
                "mcus": [
                    {
                        "name": "MAIN",
                        "chip_type": 0,
                        "chip_index": 0,
                        "old_version": "1.0.0",
                        "new_version": "1.1.0",
                        "result": "updated",
                        "retries": 0,
                        "error": None,
                    },
                    {
                        "name": "AUX 1",
                        "chip_type": 1,
                        "chip_index": 0,
                        "old_version": "2.0",
                        "new_version": "2.1.0",
                        "result": "updated",
                        "retries": 0,
                        "error": None,
                    },
                ],
            },
        )

    def test_nothing_to_do(self):
        result = self.upgrade(runs.idle_run())
        self.assertEqual(result.returncode, NOTHING)
        self.assertEqual(
            masked(result.stdout),
            """\
MCU    Old    New    Result      Seconds
MAIN   1.1.0  1.1.0  up to date        -
AUX 1  2.1    2.1.0  up to date        -

Nothing to do: no MCU needs what the package holds. The device was rebooted all the same.
Host 127.0.0.1, package HX-8 7, started #, took #.
""",
        )
        # Before the run as well.
        self.assertIn("The device reboots at the end, also when nothing was", result.stderr)
        result = self.upgrade(runs.idle_run(), "--json")
        self.assertIs(self.document(result)["rebooted"], True)
        self.assertNotIn("upgrade-console:", result.stderr)

    def test_empty_package(self):
        empty = {"model": "HX-8", "version": "7", "chips": []}
        result = self.upgrade([], answers={"GETFIRMWARELIST": [listing(empty)]})
        self.assertEqual(result.returncode, NOTHING)
        self.assertEqual(self.agent.lines[-1], "GETFIRMWARELIST")

    def test_one_mcu_fails(self):
        result = self.upgrade(runs.half_failed_run(), "--json")
        self.assertEqual(result.returncode, FAILED)
        document = self.document(result)
        self.assertEqual(document["error"]["id"], "image-not-written")
        self.assertEqual(document["summary"], "1 MCU updated, 1 failed.")
        self.assertEqual([mcu["result"] for mcu in document["mcus"]], ["updated", "failed"])
        self.assertEqual(document["mcus"][1]["retries"], 8)
        self.assertIn("agent: 'AUX 1' F/W update fail, retry 1.\n", result.stderr)

    def test_busy(self):
        result = self.upgrade([], answers={"UPGRADE||": [BUSY]})
        self.assertEqual((result.returncode, result.stdout), (BUSY_CODE, ""))
        self.assertEqual(self.agent.lines, ["UPGRADE||", "HEARTBEAT"])
        # Another client started a run first.
        result = self.with_agent({"UPGRADE||MAIN,0,0": [BUSY]}, "upgrade", "MAIN,0,0")
        self.assertEqual(result.returncode, BUSY_CODE)

    def test_wrong_model(self):
        result = self.upgrade(runs.wrong_model_run(), "--json")
        self.assertEqual(result.returncode, REFUSED)
        self.assertEqual(self.document(result)["error"]["id"], "wrong-model")
        self.assertIs(self.document(result)["rebooted"], False)

    def test_refused_by_the_run(self):
        run = runs.START + [log("FWM file version error, must greater or equal to 6."), FAIL]
        result = self.upgrade(run, "--json")
        self.assertEqual(result.returncode, REFUSED)
        self.assertEqual(self.document(result)["error"]["id"], "package-too-old")

    def test_port_unavailable(self):
        run = [
            log("Disconnect"),
            log("ConnectFail"),
            log("ttyS2 connect failed, serial port is occupied or does not exist"),
            log("Firmware file checksum ok."),
            log("Read model name."),
            log("Read model name fail, retry 1."),
            log("Read model name fail, retry 2."),
            log("Read model name fail, upgrade fail, exit."),
            FAIL,
        ]
        result = self.upgrade(run, "--json")
        self.assertEqual(result.returncode, FAILED)
        self.assertEqual(self.document(result)["error"]["id"], "port-unavailable")

    def test_unexplained(self):
        result = self.upgrade(runs.START + [FAIL], "--json")
        self.assertEqual(result.returncode, FAILED)
        self.assertEqual(self.document(result)["error"]["id"], "unexplained")

    def test_name_that_the_package_lacks(self):
        result = self.with_agent({}, "--json", "upgrade", "BOGUS")
        self.assertEqual(result.returncode, USAGE)
        self.assertIn("nothing named 'BOGUS'", self.document(result)["error"]["detail"])

    def test_chip_type_that_the_package_lacks(self):
        """Nothing is asked of the device, which would be silent for a while and then reboot."""
        for arguments in (["upgrade", "X,9,0"], ["upgrade", "MAIN,0,0", "X,9,0"]):
            result = self.with_agent({}, "--json", *arguments)
            self.assertEqual(result.returncode, USAGE)
            self.assertEqual(self.document(result)["error"]["id"], "not-in-package")
            self.assertIn("chip type 9", self.document(result)["error"]["detail"])
            self.assertEqual(self.agent.lines, ["UPGRADE||", "HEARTBEAT", "GETFIRMWARELIST"])
        only_aux = {"model": "HX-8", "version": "7", "chips": [chip("AUX 1", 1, "2.1.0")]}
        result = self.with_agent(
            {"GETFIRMWARELIST": [listing(only_aux)]}, "net-upgrade", "10.0.0.7"
        )
        self.assertEqual(result.returncode, USAGE)

    def test_nothing_fits(self):
        run = (
            runs.START
            + runs.MODEL
            + [log("No suitable firmware for 'MAIN' in the firmware package.")]
            + runs.REBOOT
        )
        result = self.with_agent({ROWS: run + [SUCCESS]}, "upgrade", "MAIN,0,0")
        self.assertEqual(result.returncode, NOTHING)

    def test_demo_of_the_readme(self):
        """Without rows the request is the one that the demo makes by hand."""
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(
                [sys.executable, "-B", "-m", "scripts.lib.demo_images", folder],
                check=True,
                timeout=20,
            )
            with open(os.path.join(folder, "request.json"), encoding="ascii") as file:
                package = json.load(file)
        self.upgrade(runs.idle_run(), answers={"GETFIRMWARELIST": [listing(package)]})
        with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as file:
            self.assertIn(f"> {self.agent.lines[-1]}\n", file.read())

    def test_rows_of_the_agent(self):
        """Only on request, and with the words that explain the index."""
        result = self.with_agent({"UPGRADEALL": runs.full_run()}, "upgrade", "--request-all")
        self.assertEqual(result.returncode, DONE, result.stderr)
        self.assertEqual(self.agent.lines[-1], "UPGRADEALL")
        self.assertIn("with its quantity as the index", result.stderr)

    def test_mode_5_without_a_terminal(self):
        """Nothing is sent, not even a question to the agent."""
        for command in (["upgrade"], ["net-upgrade", "10.0.0.7"]):
            result = self.with_agent({}, "--json", *command, "--mode", "5")
            self.assertEqual(result.returncode, USAGE)
            self.assertEqual(self.document(result)["error"]["id"], "not-confirmed")
            self.assertIn("--yes", self.document(result)["error"]["advice"])
            self.assertEqual(self.agent.lines, [])

    def test_contact_lost(self):
        """What the device is likely doing depends on where the run was."""
        full = runs.full_run()
        begun = full[: full.index(log("Read model name.")) + 1]
        written = full[: full.index(log("Write firmware 'MAIN' success.")) - 3]
        rebooting = full[: full.index(log("Start to reboot, please wait.")) + 1]
        for run, state, results in (
            (begun, "Nothing was written so far", ["unknown", "unknown"]),
            (written, "'MAIN' was being written", ["unknown", "unknown"]),
            (rebooting, "the device was rebooting", ["updated", "updated"]),
        ):
            result = self.upgrade(run + [CLOSE], "--json")
            self.assertEqual(result.returncode, LOST)
            document = self.document(result)
            self.assertEqual(document["error"]["id"], "connection-lost")
            self.assertIn(state, "".join(document["likely_state"]))
            self.assertEqual([mcu["result"] for mcu in document["mcus"]], results)
            self.assertIn(state, document["error"]["advice"])

    def test_agent_dies_in_silence(self):
        def die(agent):
            agent.answers.clear()

        result = self.upgrade(runs.START + runs.MODEL + [die], "--json", timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, LOST)
        self.assertEqual(self.document(result)["error"]["id"], "no-sign-of-life")

    def test_last_words_went_elsewhere(self):
        """The agent answers but has nothing to say about a run: it must not be waited for."""
        result = self.upgrade(runs.START + runs.MODEL, "--json", timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, LOST)
        self.assertEqual(self.document(result)["error"]["id"], "outcome-unseen")
        self.assertNotIn("likely_state", self.document(result))

    def lose(self, run, first, last, **more):
        """An upgrade whose lines from `first` to the one before `last` go to another client; the
        rest comes after the heartbeat with which the program wins them back."""
        start, end = run.index(first), run.index(last)

        def take(agent):
            agent.answers["HEARTBEAT"] = win_back

        def win_back(agent):
            agent.answers["HEARTBEAT"] = [b"HEARTBEAT\r\n"]
            return [b"HEARTBEAT\r\n"] + run[end:]

        return self.upgrade(run[:start] + [take], "--json", **more)

    def test_another_client_asks(self):
        """Lost lines make an MCU unknown at most, never failed."""
        full = runs.full_run()
        half = runs.half_failed_run()
        seen = {mcu: log(f"Write firmware '{mcu}' success.") for mcu in runs.NAMES}
        enter = {mcu: runs.enter(mcu)[0] for mcu in runs.NAMES}
        for run, first, last, status, results in (
            # Progress alone, and then also the line that the update mode was entered.
            (full, progress(5), progress(45), DONE, ["updated", "updated"]),
            (full, enter["MAIN"], progress(45), DONE, ["updated", "updated"]),
            # What was read before.
            (full, log("Read model name."), enter["MAIN"], DONE, ["updated", "updated"]),
            # The end of an image.
            (full, progress(45), enter["AUX 1"], LOST, ["unknown", "updated"]),
            (full, progress(20), progress(70), LOST, ["unknown", "updated"]),
            (full, progress(70), runs.REBOOT[0], LOST, ["updated", "unknown"]),
            (full, progress(70), SUCCESS, LOST, ["updated", "unknown"]),
            # A whole image, or all of them.
            (full, seen["MAIN"], runs.REBOOT[0], LOST, ["unknown", "unknown"]),
            (full, enter["MAIN"], enter["AUX 1"], LOST, ["unknown", "updated"]),
            (full, log("Read model name."), SUCCESS, LOST, ["unknown", "unknown"]),
            # Only what comes after the images.
            (full, runs.REBOOT[0], SUCCESS, DONE, ["updated", "updated"]),
            # What failed before the eyes of the program stays failed.
            (half, runs.REBOOT[0], SUCCESS, FAILED, ["updated", "failed"]),
            (half, log("'AUX 1' F/W Update fail."), runs.REBOOT[0], LOST, ["updated", "unknown"]),
        ):
            with self.subTest(first=first, last=last):
                result = self.lose(run, first, last)
                document = self.document(result)
                self.assertEqual([mcu["result"] for mcu in document["mcus"]], results)
                self.assertEqual(result.returncode, status)
                if status == LOST:
                    self.assertEqual(document["error"]["id"], "outcome-unseen")
                    self.assertIn("another client took the messages", document["error"]["text"])

    def test_heartbeat_after_a_second(self):
        """While a run is followed, whatever the time-out."""
        pause = Wait()
        with FakeAgent({ROWS: runs.START + [pause]}) as agent:
            program = self.start_program(agent.port, "--timeout", "60", "upgrade")
            self.assertTrue(pause.reached.wait(60))
            pause.go_on.set()
            before = agent.lines.count("HEARTBEAT")
            wait.until(lambda: agent.lines.count("HEARTBEAT") >= before + 2, 30)
            program.stop()

    def test_request_passed_over(self):
        result = self.upgrade([], "--json", timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, FAILED)
        self.assertEqual(self.document(result)["error"]["id"], "not-started")

    def test_long_silence_of_a_busy_agent(self):
        """Another client sends a request during the run; the run and the wait for it continue."""

        def busy(agent):
            agent.answers["UPGRADE||"] = [BUSY]

        full = runs.full_run()
        run = full[:30] + [busy]
        rest = full[30:]

        def answer(agent):
            if len([line for line in agent.lines if line == "UPGRADE||"]) < 3:
                return [BUSY]
            return [BUSY] + rest

        def later(agent):
            agent.answers["UPGRADE||"] = answer

        result = self.upgrade(run + [later], timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, DONE, result.stderr)
        self.assertEqual(masked(result.stdout), FULL_TABLE)

    def test_foreign_noise_in_a_run(self):
        noise = [
            b"bogus\r\n",
            b"UpgradeDatas||\xab\x01",
            log("bogus"),
            b"PROGRESSVALUE||nan\r\n",
            b"UPGRADELOG||\r\n",
            progress(1e9),
            progress(-5),
        ]
        run = []
        for line in runs.full_run():
            run += [line] + (noise if line.startswith(b"UPGRADELOG||Read") else [])
        self.assertEqual(self.upgrade(run).returncode, DONE)

    def test_wait_back(self):
        """The module goes down with the device and comes back on the same port."""
        full = runs.full_run()
        before = full[: full.index(log("Start to reboot, please wait.")) + 1]

        def vanish(agent):
            agent.stop()

        with FakeAgent({ROWS: before + [vanish, CLOSE]}) as agent:
            program = self.start_program(agent.port, "--json", "upgrade", "--wait-back")
            wait.until(lambda: "network module restarts" in program.stderr())
            with FakeAgent(port=agent.port):
                self.assertEqual(program.popen.wait(60), DONE, program.report())
        document = json.loads(program.stdout())
        self.assertEqual(document["agent_version"], "1.15")
        self.assertIs(document["verdict_seen"], False)

    def test_net_upgrade(self):
        run = [log("Device connected."), log("Firmware file checksum ok.")] + runs.MODEL
        run += runs.reads({"MAIN": "1.0.0"}) + [runs.greater("MAIN", "1.1.0", "1.0.0")]
        run += runs.write("MAIN", 0, 1) + runs.REBOOT + runs.VIRTUAL + [SUCCESS]
        result = self.with_agent({"UPGRADEORVALE1G||10.0.0.7": run}, "net-upgrade", "10.0.0.7")
        self.assertEqual(result.returncode, DONE, result.stderr)
        self.assertIn("MAIN", result.stdout)
        result = self.with_agent(
            {"UPGRADEORVALE1G||10.0.0.7": [log("Firmware file does not exist.")]},
            "net-upgrade",
            "10.0.0.7",
        )
        self.assertEqual(result.returncode, REFUSED)
        result = self.with_agent({}, "--json", "net-upgrade", "10.0.0.7", timeout=self.UNANSWERED)
        self.assertEqual(self.document(result)["error"]["id"], "not-started")

    def test_interrupt(self):
        pause = Wait()
        begun = runs.START + runs.MODEL + runs.reads({"MAIN": "1.0.0"})
        with FakeAgent({ROWS: begun + [pause]}) as agent:
            program = self.start_program(agent.port, "--json", "upgrade")
            wait.until(lambda: "MAIN: reading" in program.stderr())
            program.popen.send_signal(signal.SIGINT)
            self.assertEqual(program.popen.wait(60), LOST, program.report())
            pause.go_on.set()
        self.assertEqual(json.loads(program.stdout())["error"]["id"], "interrupted")
        self.assertIn("leave the device on", json.loads(program.stdout())["error"]["advice"])


class TestTraffic(ConsoleTest):
    """shell and watch."""

    def test_shell_script(self):
        script = "VERSION\n\nHEARTBEAT\r\nbogus"
        result = self.with_agent({"bogus": [log("Unknow command.")]}, "shell", stdin=script)
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertEqual(result.stdout, "VERSION||1.15\nHEARTBEAT\nUPGRADELOG||Unknow command.\n")
        self.assertEqual(self.agent.lines, ["VERSION", "HEARTBEAT", "bogus", "HEARTBEAT"])

    def test_shell_json(self):
        result = self.with_agent({}, "--json", "shell", stdin="VERSION\n")
        replies = self.document(result)["replies"]
        self.assertEqual(
            [(reply["kind"], reply["text"]) for reply in replies], [("version", "1.15")]
        )
        result = self.with_agent({}, "--json", "shell")
        self.assertEqual(self.document(result)["replies"], [])

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
                self.assertEqual(program.popen.wait(60), DONE)
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
        def talk(_agent):
            return [log("x"), 0.01] * 500

        with FakeAgent({"HEARTBEAT": talk}) as agent:
            reader, writer = os.pipe()
            program = self.start_program(agent.port, "watch", stdout=writer)
            os.close(writer)
            os.read(reader, 10)
            os.close(reader)
            self.assertNotEqual(program.popen.wait(60), DONE)

    def test_watch_notices_a_dead_agent(self):
        result = self.with_agent({"HEARTBEAT": []}, "watch", timeout=self.UNANSWERED)
        self.assertEqual(result.returncode, LOST)

    def test_watch_stays_alive(self):
        """It sends heartbeats, so it does not take silence for a dead agent; their answers are not
        shown."""
        with FakeAgent() as agent:
            program = self.start_program(agent.port, "--timeout", self.UNANSWERED, "watch")
            wait.until(lambda: agent.lines.count("HEARTBEAT") >= 5)
            self.assertEqual((program.stop(), program.stdout().count("\n")), (DONE, 1))


class TestCompletion(ConsoleTest):
    """The script that bash reads."""

    def complete(self, *words):
        script = self.run_alone("--bash-completion").stdout
        script += f"\nCOMP_WORDS=({' '.join(repr(word) for word in words)})\n"
        script += (
            f"COMP_CWORD={len(words) - 1}\n_upgrade_console\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"\n"
        )
        result = subprocess.run(
            ["bash", "--norc", "-u", "-c", script],
            capture_output=True,
            text=True,
            timeout=60,
            check=True,
        )
        self.assertEqual(result.stderr, "")
        return result.stdout.split()

    def test_completion(self):
        self.assertEqual(self.complete("upgrade-console", "ver"), ["version"])
        self.assertEqual(self.complete("upgrade-console", "u"), ["upgrade"])
        self.assertIn("--json", self.complete("upgrade-console", "--"))
        self.assertNotIn("--mode", self.complete("upgrade-console", "--"))
        self.assertEqual(
            self.complete("upgrade-console", "--json", "upgrade", "--w"), ["--wait-back"]
        )
        self.assertEqual(self.complete("upgrade-console", "upgrade", "--mode", ""), ["2", "5"])
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "dump.bin")
            with open(path, "wb"):
                pass
            self.assertEqual(self.complete("upgrade-console", "edid", path[:-4]), [path])


if __name__ == "__main__":
    unittest.main()
