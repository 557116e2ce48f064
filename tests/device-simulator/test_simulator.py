# SPDX-License-Identifier: Apache-2.0
"""The program around the simulated device: ports, pacing, control channel, files, exit."""

import contextlib
import json
import os
import select
import signal
import socket
import stat
import subprocess
import tempfile
import time
import tty
import unittest

from tests.harness import frames, wait
from tests.harness.simulator import Simulator

PROGRAM = os.environ["DEVICE_SIMULATOR"]
DEVICE = {
    "model": "HX-8",
    "product_id": "HX8",
    "chips": [
        {"name": "MAIN", "version": "1.0.0", "upgrades_to": "1.1.0"},
        {"name": "AUX 1", "chip_type": 1, "chip_index": 1, "version": "2.0"},
    ],
}
UNWRITTEN = (
    b"device-simulator: error: standard output cannot be written\n"
    b"  Check that the disk is not full and that the program that reads the output still "
    b"runs.\n"
)
MODEL = frames.frame(frames.REPLY, frames.MODEL_NAME, b"HX-8")


def read_bytes(fd, count, seconds=10):
    """Reads exactly `count` bytes, or what came in that time."""
    got = b""
    end = time.monotonic() + seconds
    while len(got) < count and select.select([fd], [], [], max(0, end - time.monotonic()))[0]:
        got += os.read(fd, count - len(got))
    return got


def state_of(pid):
    """The state of a process, a letter as in ps; "S" for one that waits."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        return file.read().rsplit(") ", 1)[1][0]


class TestProgram(unittest.TestCase):
    """One simulator for each test, always ended."""

    def setUp(self):
        self.stack = contextlib.ExitStack()
        self.addCleanup(self.stack.close)
        self.folder = self.stack.enter_context(tempfile.TemporaryDirectory())
        self.link = os.path.join(self.folder, "tty")

    def start(self, *where, **more):
        simulator = Simulator(
            PROGRAM, self.folder, DEVICE, where or ("--pty-link", self.link), **more
        )
        self.stack.callback(simulator.stop)
        return simulator

    def open_link(self):
        fd = os.open(self.link, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(fd)
        return fd

    def ask(self, fd, request, answer):
        os.write(fd, request)
        self.assertEqual(read_bytes(fd, len(answer)).hex(), answer.hex())

    def test_pseudo_terminal(self):
        simulator = self.start()
        self.assertEqual(simulator.address, self.link)
        self.assertTrue(stat.S_ISCHR(os.stat(self.link).st_mode))
        for _ in range(3):  # a host may come and go
            fd = self.open_link()
            self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
            os.close(fd)
        self.assertEqual(simulator.stop(), 0)
        self.assertFalse(os.path.lexists(self.link))

    def test_never_replaces_a_file(self):
        with open(self.link, "w", encoding="ascii") as file:
            file.write("mine")
        with self.assertRaisesRegex(AssertionError, "cannot make the link"):
            self.start()
        with open(self.link, encoding="ascii") as file:
            self.assertEqual(file.read(), "mine")

    def test_links_that_may_be_replaced(self):
        master, slave = os.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        for target in (os.ttyname(slave), "/dev/pts/gone", "gone"):
            os.symlink(target, self.link)
            simulator = self.start()
            self.assertNotEqual(os.readlink(self.link), target)
            self.assertEqual(simulator.stop(), 0)
            self.assertFalse(os.path.lexists(self.link))

    def test_links_that_may_not_be_replaced(self):
        for target in (self.folder, PROGRAM, "/dev/null"):
            os.symlink(target, self.link)
            with self.assertRaisesRegex(AssertionError, "cannot make the link"):
                self.start()
            self.assertEqual(os.readlink(self.link), target)
            os.remove(self.link)

    def test_removes_only_its_own_link(self):
        simulator = self.start()
        os.remove(self.link)
        os.symlink("/dev/null", self.link)
        self.assertEqual(simulator.stop(), 0)
        self.assertEqual(os.readlink(self.link), "/dev/null")

    def device_file(self):
        """The path of a device file."""
        path = os.path.join(self.folder, "d.json")
        with open(path, "w", encoding="ascii") as file:
            json.dump(DEVICE, file)
        return path

    @contextlib.contextmanager
    def running(self, *options, cwd=None):
        """Runs the program, and ends it if it has not ended."""
        with subprocess.Popen(
            [PROGRAM, *options],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            cwd=cwd,
        ) as popen:
            assert popen.stdout is not None
            yield popen, popen.stdout
            popen.terminate()

    def run_program(self, *options, stdout=subprocess.PIPE):
        """Runs the program on a device file until it ends."""
        device = self.device_file()
        return subprocess.run(
            [PROGRAM, "--device", device, "--pty-link", self.link, *options],
            stderr=subprocess.PIPE,
            timeout=20,
            check=False,
            cwd=self.folder,
            stdout=stdout,
        )

    def test_control_path_as_given(self):
        other = os.path.join(self.folder, "below")
        os.mkdir(other)
        device = self.device_file()
        for given in ("../control.sock", "sock"):
            path = os.path.join(other, given)
            with socket.socket(socket.AF_UNIX) as old:
                old.bind(path)  # of a simulator that was killed
            options = ("--device", device, "--pty-link", self.link, "--control", given)
            with self.running(*options, cwd=other) as (popen, output):
                self.assertTrue(output.readline().startswith("ready "))
                with socket.socket(socket.AF_UNIX) as client:
                    client.settimeout(10)
                    client.connect(path)
                    client.sendall(b"quit\n")
                    self.assertEqual(client.makefile().readline(), "ok\n")
                self.assertEqual(popen.wait(10), 0)
            self.assertFalse(os.path.lexists(path))

    def test_control_never_removes_a_file(self):
        path = os.path.join(self.folder, "control")
        with open(path, "w", encoding="ascii") as file:
            file.write("mine")
        link = os.path.join(self.folder, "link")
        os.symlink("control", link)
        os.mkfifo(os.path.join(self.folder, "fifo"))
        for name in ("control", "link", "fifo", "."):
            before = sorted(os.listdir(self.folder)) + ["d.json"]
            result = self.run_program("--control", name)
            self.assertEqual(
                (result.returncode, result.stderr.decode()),
                (
                    1,
                    "device-simulator: error: the control socket cannot be created: "
                    f"{name}: exists and is not a socket\n  Check that nothing else uses "
                    "its name, and that you may write to its folder.\n",
                ),
            )
            self.assertEqual(set(os.listdir(self.folder)), set(before))
        with open(path, encoding="ascii") as file:
            self.assertEqual(file.read(), "mine")

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

    def test_numbers_of_control_commands(self):
        simulator = self.start()
        image = os.path.join(self.folder, "image")
        with open(image, "wb"):
            pass
        fifo = os.path.join(self.folder, "fifo")
        os.mkfifo(fifo)
        for wrong, words in (
            (f"flash compare 256 0 {image}", "from 0 to 255"),
            (f"flash compare 0 256 {image}", "from 0 to 255"),
            (f"flash compare 65537 1 {image}", "from 0 to 255"),
            (f"flash compare -1 0 {image}", "from 0 to 255"),
            (f"flash compare x 0 {image}", "from 0 to 255"),
            (f"flash compare 0 9 {image}", "no such chip"),
            (f"flash compare 0 0 {fifo}", "not an ordinary file"),
            ("fault add silent:type=256", "cannot read 'type=256'"),
            ("fault add silent:index=-1", "cannot read 'index=-1'"),
            ("fault add refuse:status=256", "cannot read 'status=256'"),
            ("fault add late:delay=1000000001", "cannot read 'delay=1000000001'"),
            ("fault add silent:count=1000000001", "cannot read 'count="),
            ("fault add short:bytes=65537", "cannot read 'bytes=65537'"),
            ("fault add silent:skip=-1", "cannot read 'skip=-1'"),
            ("fault add wrong-word:as=1F900", "cannot read 'as=1F900'"),
        ):
            with self.assertRaisesRegex(AssertionError, f"error: .*{words}"):
                simulator.control(wrong)
        self.assertEqual(simulator.control("fault list"), "")

    def test_pipes_that_never_end(self):
        """Until it is ready a signal ends it, whatever it waits for."""
        fifo = os.path.join(self.folder, "fifo")
        os.mkfifo(fifo)
        device = self.device_file()
        for options in (
            ("--device", fifo),
            ("--replay", fifo),
            ("--device", device, "--trace", fifo),
        ):
            for number in (signal.SIGINT, signal.SIGTERM):
                popen = subprocess.Popen([PROGRAM, *options, "--pty-link", self.link])
                self.stack.callback(popen.wait)
                self.stack.callback(popen.kill)
                wait.until(lambda pid=popen.pid: state_of(pid) == "S", what="a blocked process")
                popen.send_signal(number)
                self.assertEqual(popen.wait(10), -number, options)

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

    def test_inherited_descriptor(self):
        master, slave = os.openpty()
        tty.setraw(slave)
        for _ in range(2):  # the holder of the master may start another simulator
            simulator = self.start("--fd", str(master), pass_fds=(master,))
            self.ask(slave, frames.host(frames.MODEL_NAME), MODEL)
            self.assertEqual(simulator.stop(), 0)
        os.close(master)
        os.close(slave)

    def test_socket_descriptor_ends_with_its_peer(self):
        mine, other = socket.socketpair()
        simulator = self.start("--fd", str(other.fileno()), pass_fds=(other.fileno(),))
        other.close()
        self.ask(mine.fileno(), frames.host(frames.MODEL_NAME), MODEL)
        mine.close()
        self.assertEqual(simulator.popen.wait(10), 0)

    def test_tcp(self):
        simulator = self.start("--listen", "127.0.0.1:0")
        host, port = simulator.address.rsplit(":", 1)
        for _ in range(2):
            with socket.create_connection((host, int(port)), 10) as link:
                self.ask(link.fileno(), frames.host(frames.MODEL_NAME), MODEL)

    def test_pacing_never_answers_before_the_wire_could(self):
        self.start(options=("--baud", "57600"))
        fd = self.open_link()
        request = frames.host(frames.ENTER, bytes(2))
        answer = frames.status(frames.ENTER, 0)
        for _ in range(5):
            start = time.monotonic()
            self.ask(fd, request, answer)
            self.assertGreaterEqual(
                time.monotonic() - start, (len(request) + len(answer)) * 10 / 57600
            )
        os.close(fd)

    def test_late_answer_is_overtaken(self):
        self.start(faults=["late:delay=700,count=once"])
        fd = self.open_link()
        os.write(fd, frames.host(frames.PRODUCT_ID))
        self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
        late = frames.frame(frames.REPLY, frames.PRODUCT_ID, b"HX8")
        self.assertEqual(read_bytes(fd, len(late)).hex(), late.hex())
        os.close(fd)

    def test_control_channel(self):
        simulator = self.start()
        fd = self.open_link()
        simulator.control("fault add silent:word=model-name,count=once")
        self.assertEqual(simulator.control("fault list"), "silent:word=model-name,count=once")
        os.write(fd, frames.host(frames.MODEL_NAME))
        self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
        simulator.control("fault add silent")
        simulator.control("fault clear")
        self.assertEqual(simulator.control("fault list"), "")
        simulator.control("link off")
        os.write(fd, frames.host(frames.MODEL_NAME))
        self.assertEqual(read_bytes(fd, 1, 0.2), b"")
        lost = len(frames.host(frames.MODEL_NAME))
        wait.until(lambda: simulator.status()["lost_bytes"] == lost, what="lost command")
        simulator.control("link on")
        self.ask(fd, frames.host(frames.MODEL_NAME), MODEL)
        for wrong in ("", "fault", "fault add quiet", "link loose", "flash save", "status now"):
            with self.assertRaisesRegex(AssertionError, "error: "):
                simulator.control(wrong)
        simulator.control("quit")
        self.assertEqual(simulator.popen.wait(10), 0)
        os.close(fd)

    def test_flash_is_written_compared_and_saved(self):
        simulator = self.start()
        image = bytes(range(256)) + b"end"
        fd = self.open_link()
        self.ask(fd, frames.host(frames.ENTER, bytes([1, 1])), frames.status(frames.ENTER, 0))
        done = frames.status(frames.BLOCK, 0)
        self.ask(fd, frames.block(1, 1, 0, image[:256]), done)
        self.assertTrue(simulator.chip(1, 1)["half_written"])
        self.ask(fd, frames.block(1, 1, 1, image[256:] + b"\xff" * 253, last=True), done)
        os.close(fd)

        path = os.path.join(self.folder, "image.bin")
        with open(path, "wb") as file:
            file.write(image)
        self.assertEqual(simulator.control(f"flash compare 1 1 {path}"), "equal, 259 bytes")
        self.assertEqual(simulator.flash(1, 1), image + b"\xff" * 253)
        self.assertIsNone(simulator.flash(0, 0))
        self.assertEqual(simulator.chip(1, 1)["images_written"], 1)
        with open(path, "ab") as file:
            file.write(b"x")
        with self.assertRaisesRegex(AssertionError, "byte 259 is 0xff, must be 0x78"):
            simulator.control(f"flash compare 1 1 {path}")

        os.remove(os.path.join(simulator.flash_folder, "AUX_1-1-1.bin"))
        self.assertEqual(simulator.stop(), 0)
        self.assertEqual(os.listdir(simulator.flash_folder), ["AUX_1-1-1.bin"])

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
