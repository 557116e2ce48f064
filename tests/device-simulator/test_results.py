# SPDX-License-Identifier: Apache-2.0
"""What the program writes: the trace, JSON lines, errors, help."""

import json
import os
import subprocess
import unittest

from tests.harness import frames
from tests.harness.simulatorcase import MODEL, PROGRAM, SimulatorCase

UNWRITTEN = (
    b"device-simulator: error: standard output cannot be written\n"
    b"  Check that the disk is not full and that the program that reads the output still "
    b"runs.\n"
)


class TestResults(SimulatorCase):
    def test_trace(self):
        simulator = self.start(options=("--print-frames",))
        fd = self.open_link()
        self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
        os.write(fd, b"\r\n")
        os.close(fd)
        simulator.stop()
        expected = [
            ("host", "F903 model-name"),
            ("device", "F903 model-name data=48582d38"),
            ("BROKEN", "bytes outside of any frame"),
        ]
        self.assertEqual(simulator.trace()[:2], expected[:2])
        with open(simulator.trace_file, encoding="utf-8") as file:
            text = file.read()
        self.assertEqual(simulator.stderr(), text)
        self.assertRegex(text.splitlines()[0], r"^\d+\.\d{6} host   F903 model-name \| 5a5b")

    def test_trace_on_a_full_disk(self):
        device = self.device_file()
        options = ("--device", device, "--pty-link", self.link, "--trace", "/dev/full")
        with self.running(*options) as (popen, output):
            self.assertEqual(output.readline(), f"ready {self.link}\n")
            fd = self.open_link()
            for _ in range(2):
                self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
            os.close(fd)
            popen.terminate()
            errors = popen.communicate(timeout=10)[1]
        self.assertEqual(popen.returncode, 1)
        self.assertEqual(
            errors,
            "device-simulator: warning: the trace ends here: /dev/full: No "
            "space left on device [trace-cut]\n"
            "device-simulator: error: the output cannot be written: /dev/full: "
            "No space left on device\n  Check the folder, whether you may write "
            "there, and that the disk is not full.\n",
        )

    def test_replay(self):
        """A recorded run answers like the device did."""
        simulator = self.start()
        fd = self.open_link()
        self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
        os.close(fd)
        simulator.stop()
        options = ("--replay", simulator.trace_file, "--pty-link", self.link)
        with self.running(*options) as (replay, output):
            self.assertEqual(output.readline(), f"ready {self.link}\n")
            fd = self.open_link()
            self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
            os.close(fd)
        self.assertEqual(replay.returncode, 0)

    def lines(self, *options):
        """The JSON lines of a run in which a host comes and goes, and the exit status."""
        device = self.device_file()
        common = ("--json", "--device", device, "--pty-link", self.link)
        with self.running(*common, *options) as (popen, output):
            first = output.readline()
            fd = self.open_link()
            self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
            os.close(fd)
            popen.terminate()
            rest, errors = popen.communicate(timeout=10)
        self.assertEqual(errors, "")
        return [json.loads(line) for line in (first + rest).splitlines()], popen.returncode

    def test_json(self):
        (ready, result), status = self.lines()
        self.assertEqual(status, 0)
        self.assertEqual((ready["event"], ready["address"]), ("ready", self.link))
        self.assertEqual(set(ready), {"event", "address", "time"})
        self.assertEqual(
            (
                result["event"],
                result["command"],
                result["exit"],
                result["result"],
                result["error"],
                result["address"],
                result["lost_bytes"],
            ),
            ("result", "device-simulator", 0, "done", None, self.link, 0),
        )
        self.assertGreaterEqual(result["seconds"], 0)

    def test_json_of_failures(self):
        (ready, warning, result), status = self.lines("--trace", "/dev/full")
        self.assertEqual((status, ready["event"], result["exit"]), (1, "ready", 1))
        self.assertEqual(
            (warning["event"], warning["id"], warning["detail"]),
            ("warning", "trace-cut", "/dev/full: No space left on device"),
        )
        self.assertEqual(result["error"]["id"], "cannot-write")
        self.assertEqual(result["address"], self.link)

        broken = os.path.join(self.folder, "broken.json")
        with open(broken, "w", encoding="ascii") as file:
            file.write("{")
        for options, problem in (
            (("--device", "/nowhere.json"), "file-unreadable"),
            (("--device", broken), "device-unreadable"),
            (("--replay", broken), "trace-unreadable"),
        ):
            done = subprocess.run(
                [PROGRAM, *options, "--pty-link", self.link, "--json"],
                capture_output=True,
                text=True,
                timeout=10,
                check=False,
            )
            self.assertEqual((done.returncode, done.stderr), (1, ""))
            self.assertEqual(json.loads(done.stdout)["error"]["id"], problem)
        for options, problem in (
            (("--pty-link", PROGRAM), "port-not-opened"),
            (("--control", PROGRAM), "control-not-opened"),
            (("--trace", "/nowhere/trace"), "cannot-write"),
        ):
            done = self.run_program("--json", *options)
            self.assertEqual((done.returncode, done.stderr), (1, b""))
            self.assertEqual(json.loads(done.stdout)["error"]["id"], problem)

    def test_output_that_cannot_be_written(self):
        for options in (("--help",), ("--version",), ("--bash-completion",), ()):
            with open("/dev/full", "wb") as full:
                result = self.run_program(*options, stdout=full)
            self.assertEqual((result.returncode, result.stderr), (1, UNWRITTEN), options)
            reader, writer = os.pipe()
            os.close(reader)
            result = self.run_program(*options, stdout=writer)
            os.close(writer)
            self.assertEqual((result.returncode, result.stderr), (1, UNWRITTEN), options)

    def test_usage(self):
        def run(*arguments):
            return subprocess.run(
                [PROGRAM, *arguments], capture_output=True, text=True, timeout=10, check=False
            )

        device = self.device_file()
        for wrong in (
            (),
            ("--device", device),
            ("--device", device, "--fd", "x"),
            ("--device", device, "--fd", "-1"),
            ("--device", device, "--replay", device, "--fd", "3"),
            ("--replay", device, "--fd", "3", "--fault", "silent"),
            ("--device", device, "--fd", "3", "--listen", "127.0.0.1:1"),
            ("--device", device, "--listen", "nowhere"),
            ("--device", device, "--pty-link", "x", "--baud", "fast"),
            ("--device", device, "--pty-link", "x", "--seed", "x"),
            ("--device", device, "--pty-link", "x", "--fault", "quiet"),
            ("--device", device, "--pty-link", "x", "more"),
            ("--colour",),
        ):
            result = run(*wrong)
            self.assertEqual((result.returncode, result.stdout), (2, ""), wrong)
            self.assertRegex(
                result.stderr,
                r"^device-simulator: error: the command line is wrong: "
                r".*\n  See 'device-simulator --help'\.\n$",
            )
            result = run("--json", *wrong)
            self.assertEqual((result.returncode, result.stderr), (2, ""), wrong)
            document = json.loads(result.stdout)
            self.assertEqual(
                (document["event"], document["exit"], document["error"]["id"]),
                ("result", 2, "usage"),
                wrong,
            )
        missing = run("--device", "/nowhere.json", "--pty-link", self.link)
        self.assertEqual((missing.returncode, missing.stdout), (1, ""))
        self.assertIn("/nowhere.json", missing.stderr)
        shown = run("--help")
        self.assertEqual((shown.returncode, shown.stderr), (0, ""))
        completion = run("--bash-completion").stdout
        for option in ("--device", "--fault", "--control"):
            self.assertIn(option, completion)
        self.assertRegex(run("--version").stdout, r"^device-simulator \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    unittest.main()
