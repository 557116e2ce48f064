# SPDX-License-Identifier: Apache-2.0
"""What the program writes: the trace, JSON lines, errors, help."""

import json
import os
import unittest

from tests.harness.simulatorcase import PROGRAM, SimulatorCase

UNWRITTEN = (
    "device-simulator: error: standard output cannot be written\n"
    "  Check that the disk is not full and that the program that reads the output still "
    "runs.\n"
)


class TestResults(SimulatorCase):
    def test_trace(self):
        simulator = self.start(options=("--print-frames",))
        with self.host() as fd:
            os.write(fd, b"\r\n")
        simulator.stop()
        expected = [("host", "F903 model-name"), ("device", "F903 model-name data=48582d38")]
        self.assertEqual(simulator.trace()[:2], expected)
        with open(simulator.trace_file, encoding="utf-8") as file:
            text = file.read()
        self.assertEqual(simulator.stderr(), text)
        self.assertRegex(text.splitlines()[0], r"^\d+\.\d{6} host   F903 model-name \| 5a5b")

    def test_trace_on_a_full_disk(self):
        options = ("--device", self.device_file(), "--trace", "/dev/full")
        with self.running(*options) as (popen, output):
            self.assertEqual(output.readline(), f"ready {self.link}\n")
            with self.host() as fd:
                self.ask(fd)
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
        with self.host():
            pass
        simulator.stop()
        with self.running("--replay", simulator.trace_file) as (replay, output):
            self.assertEqual(output.readline(), f"ready {self.link}\n")
            with self.host():
                pass
        self.assertEqual(replay.returncode, 0)

    def lines(self, *options):
        """The JSON lines of a run in which a host comes and goes, and the exit status."""
        common = ("--json", "--device", self.device_file())
        with self.running(*common, *options) as (popen, output):
            first = output.readline()
            with self.host():
                pass
            popen.terminate()
            rest, errors = popen.communicate(timeout=10)
        self.assertEqual(errors, "")
        return [json.loads(line) for line in (first + rest).splitlines()], popen.returncode

    def test_json(self):
        (ready, result), status = self.lines()
        self.assertEqual(status, 0)
        self.assertEqual((ready["event"], ready["address"]), ("ready", self.link))
        self.assertEqual(set(ready), {"event", "address", "time"})
        expected = {
            "event": "result",
            "command": "device-simulator",
            "exit": 0,
            "result": "done",
            "error": None,
            "address": self.link,
            "lost_bytes": 0,
        }
        self.assertEqual({key: result[key] for key in expected}, expected)
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

        for options, problem in (
            (("--pty-link", PROGRAM), "port-not-opened"),
            (("--control", PROGRAM), "control-not-opened"),
            (("--trace", "/nowhere/trace"), "cannot-write"),
        ):
            done = self.run_program("--json", *options)
            self.assertEqual((done.returncode, done.stderr), (1, ""))
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
        device = ("--device", self.device_file())
        link = ("--pty-link", "x")
        for wrong in (
            (),
            device,
            (*device, "--fd", "x"),
            (*device, "--fd", "-1"),
            (*device, "--replay", "x", "--fd", "3"),
            ("--replay", "x", "--fd", "3", "--fault", "silent"),
            (*device, "--fd", "3", "--listen", "127.0.0.1:1"),
            (*device, "--listen", "nowhere"),
            (*device, *link, "--baud", "fast"),
            (*device, *link, "--seed", "x"),
            (*device, *link, "--fault", "quiet"),
            (*device, *link, "more"),
            ("--colour",),
        ):
            result = self.run_bare(*wrong)
            self.assertEqual((result.returncode, result.stdout), (2, ""), wrong)
            self.assertRegex(
                result.stderr,
                r"^device-simulator: error: the command line is wrong: "
                r".*\n  See 'device-simulator --help'\.\n$",
            )
            result = self.run_bare("--json", *wrong)
            self.assertEqual((result.returncode, result.stderr), (2, ""), wrong)
            self.assertEqual(json.loads(result.stdout)["error"]["id"], "usage", wrong)
        missing = self.run_bare("--device", "/nowhere.json", *link)
        self.assertEqual((missing.returncode, missing.stdout), (1, ""))
        self.assertIn("/nowhere.json", missing.stderr)
        shown = self.run_bare("--help")
        self.assertEqual((shown.returncode, shown.stderr), (0, ""))
        self.assertIn("--control", self.run_bare("--bash-completion").stdout)
        self.assertRegex(self.run_bare("--version").stdout, r"^device-simulator \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    unittest.main()
