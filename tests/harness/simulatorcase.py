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
ASK_MODEL = frames.host(frames.MODEL_NAME)
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

    @contextlib.contextmanager
    def host(self):
        """A host that opens the line, reads the model, does more and closes the line."""
        fd = os.open(self.link, os.O_RDWR | os.O_NOCTTY)
        try:
            tty.setraw(fd)
            self.ask(fd)
            yield fd
        finally:
            os.close(fd)

    def ask(self, fd, request=ASK_MODEL, answer=MODEL):
        os.write(fd, request)
        self.assertEqual(read_bytes(fd, len(answer)).hex(), answer.hex())

    def file(self, name, content):
        """Makes a file of bytes and returns its path."""
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def fifo(self):
        path = os.path.join(self.folder, "fifo")
        os.mkfifo(path)
        return path

    def device_file(self):
        """The path of a device file."""
        return self.file("d.json", json.dumps(DEVICE).encode())

    @contextlib.contextmanager
    def running(self, *options, cwd=None):
        """Runs the program on the link, and ends it if it has not ended."""
        with subprocess.Popen(
            [PROGRAM, "--pty-link", self.link, *options],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            cwd=cwd,
        ) as popen:
            assert popen.stdout is not None
            yield popen, popen.stdout
            popen.terminate()

    def run_bare(self, *options, stdout=subprocess.PIPE):
        """Runs the program until it ends."""
        return subprocess.run(
            [PROGRAM, *options],
            stdout=stdout,
            stderr=subprocess.PIPE,
            text=True,
            timeout=20,
            check=False,
            cwd=self.folder,
        )

    def run_program(self, *options, **more):
        """Runs the program on a device file until it ends."""
        return self.run_bare(
            "--device", self.device_file(), "--pty-link", self.link, *options, **more
        )
