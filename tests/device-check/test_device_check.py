# SPDX-License-Identifier: Apache-2.0
"""device-check as its users start it: reports, mistakes, and lines that break."""

import functools
import json
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import tty
import unittest

from tests.harness import wait
from tests.harness.upgrade_console.screen import Screen

PROGRAM = os.environ["DEVICE_CHECK"]
SIMULATOR = os.environ["DEVICE_SIMULATOR"]
HERE = os.path.dirname(os.path.realpath(__file__))
DONE, FAILED, USAGE, CANNOT_CONNECT, LOST, REFUSED, NOT_PASSED = 0, 1, 2, 5, 6, 7, 10
PRODUCT_ID = bytes.fromhex("5a5ba50500000002f8a7")
ANSWER = bytes.fromhex("5b5ba50800000002f8485838cb")
# Longer than any run here.
LONGEST = 300


@functools.cache
def points():
    """The points, as the program lists them."""
    return json.loads(subprocess.check_output([PROGRAM, "--list", "--json"]))["points"]


def run(*options, **more):
    return subprocess.run(
        [PROGRAM, *options],
        capture_output=True,
        text=True,
        timeout=LONGEST,
        check=False,
        stdin=subprocess.DEVNULL,
        **more,
    )


def first_line(popen):
    assert popen.stdout is not None
    return popen.stdout.readline()


def report_lines(states):
    """The lines of a text report without failed points: {id: (state, reason)}."""
    lines = []
    for point in points():
        state, reason = states.get(point["id"], ("passed", ""))
        lines.append(
            f"{point['level']:13}{state:16}{point['id']:23}{point['rule']}"
            + (f" ({reason})" if reason else "")
        )
    return lines


def serial_port(answer):
    """The name of a port whose device answers what it has read; None unplugs the adapter."""
    master, slave = os.openpty()
    tty.setraw(slave)
    name = os.ttyname(slave)

    def serve():
        while (reply := answer(os.read(master, 4096))) is not None:
            os.write(master, reply)
        os.close(slave)
        os.close(master)

    threading.Thread(target=serve, daemon=True).start()
    return name


class Case(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())

    def file(self, name, content):
        """Makes a file of bytes, or of a JSON value, and returns its path."""
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else json.dumps(content).encode())
        return path


class TestCommandLine(Case):
    def fails(self, options, status, text, advice):
        with self.subTest(options):
            result = run(*options.split())
            self.assertEqual(
                (result.returncode, result.stdout, result.stderr),
                (status, "", f"device-check: error: {text}\n  {advice}\n"),
            )

    def test_wrong_usage(self):
        chip = "is not TYPE,INDEX, two numbers from 0 to 255"
        version = "is not a version like 1.2 or 1.2.3"
        for options, what in (
            ("", "give one of --port, --connect and --simulator"),
            ("--port x --connect y", "give one of --port, --connect and --simulator"),
            ("--port x --baud fast", "--baud: 'fast' is not a speed from 50 to 4000000"),
            ("--connect x --baud 9600", "--baud needs --port"),
            ("--connect x:0", "--connect: 'x:0' is not HOST or HOST:PORT"),
            ("--port x --chip 17", f"--chip: '17' {chip}"),
            ("--port x --write i --target 1,256", f"--target: '1,256' {chip}"),
            ("--port x --write i --image-version 1", f"--image-version: '1' {version}"),
            ("--port x --yes", "--yes needs --write"),
            ("--port x --target 1,0", "--target needs --write"),
            ("--simulator x --control y", "--control is for a simulator that runs already"),
            ("--fram", "unknown option '--fram'; did you mean '--frames'?"),
        ):
            text = f"the command line is wrong: {what}"
            self.fails(options, USAGE, text, "See 'device-check --help'.")

    def test_lines_that_cannot_be_opened(self):
        advice = (
            "Check the name of the port or the address, that no other program uses it, and that "
            "you may use it: serial ports belong to the group dialout."
        )
        with socket.create_server(("127.0.0.1", 0)) as server:
            closed = f"127.0.0.1:{server.getsockname()[1]}"
        missing = "No such file or directory"
        for options, what in (
            ("--port /dev/ttyNone", f"/dev/ttyNone: {missing}"),
            (f"--connect {closed}", f"{closed}: Connection refused"),
            (
                "--simulator /none.json",
                f"device-simulator: the file cannot be read: /none.json: {missing}",
            ),
        ):
            text = f"the line to the device cannot be opened: {what}"
            self.fails(options, CANNOT_CONNECT, text, advice)

    def test_images(self):
        path = self.file("image", bytes(512))
        self.fails(
            f"--port x --write {path} --yes",
            REFUSED,
            f"the image is too short or too long for the checks: {path}: 512 bytes",
            "Give an image of 513 bytes to 256 MiB, so that it has at least three blocks.",
        )
        fifo = os.path.join(self.folder, "fifo")
        os.mkfifo(fifo)
        self.fails(
            f"--port x --write {fifo} --yes",
            FAILED,
            f"the file cannot be read: {fifo}: not an ordinary file",
            "Check its name, its rights and its content.",
        )

    def test_writing_is_confirmed(self):
        self.fails(
            f"--port x --write {self.file('image', bytes(513))}",
            USAGE,
            "writing to the device was not confirmed",
            "Answer the question with 'yes', or give --yes where there is no terminal. "
            "Nothing was sent to the device.",
        )

    def test_list(self):
        self.assertEqual(
            run("--list").stdout.splitlines()[0],
            "required     reads   answers                the device answers a command",
        )
        self.assertGreater(len(points()), 40)


class TestBrokenLines(Case):
    """A maker's usual mistakes with a serial port."""

    def finds_no_device(self, answer, what):
        port = serial_port(answer)
        result = run("--port", port)
        self.assertEqual(result.returncode, NOT_PASSED)
        self.assertEqual(
            result.stderr,
            "device-check: error: the device does not answer: F802: read the product ID: "
            f"no answer within 10 s{what}\n  Check its power, the port, the speed (57600 baud, "
            "8N1), and that TX and RX are crossed and the grounds are connected.\n",
        )
        output = result.stdout
        self.assertIn(f"Device: model unknown at {port}, 57600 baud\n", output)
        counts = [output.count(state) for state in (" FAILED ", "  passed  ", " not-tested ")]
        self.assertEqual(counts, [1, 0, len(points()) - 1], output)

    def test_silent(self):
        self.finds_no_device(lambda _: b"", "")

    def test_echo(self):
        self.finds_no_device(lambda host: host, "; received: the host's own bytes")

    def test_wrong_speed(self):
        noise = bytes.fromhex("f8 80 00 fe 1c")
        what = "; received: 5 bytes that are not a frame: f8 80 00 fe 1c"
        self.finds_no_device(lambda _: noise, what)

    def test_unplugged(self):
        answers = iter((ANSWER, None))
        port = serial_port(lambda _: next(answers))
        result = run("--port", port)
        self.assertEqual(result.returncode, LOST)
        self.assertEqual(
            result.stderr,
            "device-check: error: the line to the device was lost during the checks: "
            f"{port}, 57600 baud\n  Check the cable and the adapter, and run "
            "the checks again. The report has what was done before.\n",
        )
        lines = result.stdout.splitlines()
        self.assertEqual([line for line in lines if "  passed  " in line], report_lines({})[:1])
        self.assertEqual(
            sum(line.endswith("(the link to the device was lost)") for line in lines),
            len(points()) - 1,
        )


class TestInterrupted(Case):
    def test_report_of_what_was_done(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with socket.create_server(("127.0.0.1", 0)) as server, subprocess.Popen(
                [PROGRAM, "--connect", f"127.0.0.1:{server.getsockname()[1]}", "--json"],
                stdout=subprocess.PIPE,
            ) as popen:
                line = server.accept()[0]
                self.assertEqual(line.recv(100), PRODUCT_ID)
                line.sendall(ANSWER)
                line.recv(100)
                popen.send_signal(number)
                document = json.loads(popen.communicate(timeout=LONGEST)[0])
                line.close()
            self.assertEqual(popen.returncode, LOST)
            self.assertEqual(document["error"]["id"], "interrupted")
            states = [point["state"] for point in document["points"]]
            self.assertEqual(states, ["passed"] + ["not-tested"] * (len(points()) - 1))
            traffic = document["points"][0]["exchanges"][0]["traffic"]
            self.assertEqual(
                [(one["from"], one["bytes"]) for one in traffic],
                [("host", PRODUCT_ID.hex(" ")), ("device", ANSWER.hex(" "))],
            )


class TestWholeChecks(Case):
    """All points, with an image. Nearly all of the time is that of the waits for restarts."""

    def setUp(self):
        super().setUp()
        self.image = self.file("image", os.urandom(1000))

    def test_device_written_from_the_page(self):
        """A person answers the questions; the whole report is as expected."""
        with subprocess.Popen(
            [sys.executable, os.path.join(HERE, "device_from_the_page.py")],
            stdout=subprocess.PIPE,
            text=True,
        ) as device:
            port = first_line(device).strip()
            screen = Screen()
            with subprocess.Popen(
                [PROGRAM, "--connect", f"127.0.0.1:{port}", "--write", self.image]
                + ["--image-version", "1.1.0"],
                stdin=screen.slave,
                stdout=subprocess.PIPE,
                stderr=screen.slave,
                text=True,
            ) as popen:
                self.wait_for(screen, "Write to the device? [yes/no] ")
                os.write(screen.master, b"yes\n")
                self.wait_for(screen, "press Enter (type 'skip' if you cannot): ")
                device.send_signal(signal.SIGUSR1)
                os.write(screen.master, b"\n")
                output = popen.communicate(timeout=LONGEST)[0]
            screen.close()
            device.terminate()
        reason = "no FPGA is known; --chip names one"
        expected = [
            f"Device: Page-1 at 127.0.0.1:{port}",
            "Chips: 0,0 (1.0.0)",
            "",
            *report_lines({"fpga-reads": ("not-applicable", reason)}),
            "",
            "Required points: 34 passed; recommended points: 14 passed, 1 not applicable.",
            "The device passes.",
        ]
        self.assertEqual(output.splitlines(), expected)
        self.assertEqual(popen.returncode, DONE, screen.raw)

    @staticmethod
    def wait_for(screen, question):
        wait.until(lambda: question in screen.raw, LONGEST, question)

    def test_simulator(self):
        chips: list[dict] = [{"name": "MAIN", "version": "1.0.0", "upgrades_to": "1.1.0"}]
        chips.append({"name": "FPGA", "chip_type": 17, "version": "3.1"})
        device = self.file("device.json", {"model": "HX-8", "chips": chips})
        html = os.path.join(self.folder, "report.html")
        result = run(
            *("--simulator", device, "--chip", "17,0", "--write", self.image, "--yes"),
            *("--image-version", "1.1.0", "--html", html),
        )
        self.assertEqual((result.returncode, result.stderr), (DONE, ""), result.stdout)
        self.assertEqual(
            result.stdout.splitlines(),
            [
                f"Device: HX-8 at simulator {device}",
                "Chips: 0,0 (1.0.0), 17,0 (3.1)",
                "",
                *report_lines({}),
                "",
                "Required points: 34 passed; recommended points: 15 passed.",
                "The device passes.",
            ],
        )
        with open(html, encoding="utf-8") as file:
            page = file.read()
        self.assertEqual(
            re.findall(r'<tr class="(\S+)" id="(\S+)">', page),
            [("passed", point["id"]) for point in points()],
        )
        self.assertRegex(page, r"<footer>device-check [\d.]+, 20\d\d-\S+Z</footer>")
        self.assertNotRegex(page, r"<script|https?://|src=|@import")


class TestRunningSimulator(Case):
    """A fault that a required point finds, in all three reports."""

    def test_report_of_a_failed_point(self):
        device = self.file("device.json", {"model": "<HX-8>", "chips": [{"version": "1.0.0"}]})
        page = os.path.join(self.folder, "page.html")
        with subprocess.Popen(
            [SIMULATOR, "--device", device, "--listen", "127.0.0.1:0"]
            + ["--fault", "bad-checksum:word=bootcode,count=once"],
            stdout=subprocess.PIPE,
            text=True,
        ) as simulator:
            address = first_line(simulator).split()[1]
            result = run("--connect", address, "--html", page)
            simulator.terminate()
        with open(page, encoding="utf-8") as file:
            html = file.read()
        self.assertEqual(result.returncode, NOT_PASSED, result.stdout)
        self.assertEqual(
            result.stderr,
            "device-check: error: the device fails required points: read-bootcode\n"
            "  The report has the frames of each failed point, and the paragraph with its rule.\n",
        )
        failed = re.findall(r"^required +FAILED .*\n((?: .*\n)+)", result.stdout, re.M)
        what = (
            "F900: read the bootcode information of chip 0,0: no answer within 10 s; "
            "received: a frame with the checksum 9E, must be 9D"
        )
        self.assertEqual(
            [re.sub(r"^ +[\d.]+ s", "", line) for line in failed[0].splitlines()],
            [
                f"  {what}",
                "  see docs/reference/mcu-protocol.md#commands",
                "    F900: read the bootcode information of chip 0,0",
                "  host   5a 5b a5 07 00 00 00 00 f9 00 00 a6",
                "  device 5b 5b a5 0c 00 00 00 00 f9 00 00 01 00 01 00 01 9e",
            ],
        )
        self.assertIn("<title>Check of &lt;HX-8&gt;</title>", html)
        self.assertRegex(html, r'<tr class="failed" id="read-bootcode">.*\n?.*<details open>')
        self.assertIn(f'<span class="reason">{what}</span>', html)


if __name__ == "__main__":
    unittest.main()
