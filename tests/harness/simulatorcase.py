# SPDX-License-Identifier: Apache-2.0
"""The base of the tests of device-simulator as a program."""

import contextlib
import json
import os
import select
import subprocess
import tempfile
import time
import tty
import unittest

from tests.harness import frames
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
MODEL = frames.frame(frames.REPLY, frames.MODEL_NAME, b"HX-8")


def read_bytes(fd, count, seconds=10):
    """Reads exactly `count` bytes, or what came in that time."""
    got = b""
    end = time.monotonic() + seconds
    while len(got) < count and select.select([fd], [], [], max(0, end - time.monotonic()))[0]:
        got += os.read(fd, count - len(got))
    return got


class SimulatorCase(unittest.TestCase):
    """A folder for each test, and simulators that are always ended."""

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
