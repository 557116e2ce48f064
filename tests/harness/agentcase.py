# SPDX-License-Identifier: Apache-2.0
"""The base of every system test: one agent, one device and any number of clients per test."""

import contextlib
import faulthandler
import os
import select
import sys
import termios
import threading
import unittest

from . import package as packages
from .agent import Agent
from .console import Console
from .process import Process
from .simulator import Simulator
from .wait import PATIENCE

PACKAGE = "/data/FW.fwm"
SERIAL_DEVICE = "/dev/ttyS2"
MASTER = int(os.environ.get("SANDBOX_PTY_FD", "-1"))


def chip(name, chip_type=0, chip_index=0, **more):
    """A chip of a device file; it runs 1.0.0 until it gets its image."""
    return {
        "name": name,
        "chip_type": chip_type,
        "chip_index": chip_index,
        "version": "1.0.0",
        "upgrades_to": "1.1.0",
        **more,
    }


def device(*chips, **more):
    """A device file: quick to restart."""
    return {
        "model": "HX-8",
        "product_id": "HX8",
        "restart_ms": 300,
        "reboot_ms": 300,
        "chips": list(chips),
        **more,
    }


class AgentCase(unittest.TestCase):
    """Starts and ends everything; a failing test shows what the programs had to say."""

    maxDiff = None
    # Set when they are started.
    agent: Agent
    simulator: Simulator

    def setUp(self):
        self.processes: list[Process] = []
        self.stack = contextlib.ExitStack()
        self.addCleanup(self.assert_no_sanitizer_reports)
        self.addCleanup(self.stack.close)
        if os.access(os.path.dirname(PACKAGE), os.W_OK):
            with contextlib.suppress(FileNotFoundError):
                os.remove(PACKAGE)

    def run(self, result=None):
        """Runs the test and reports the programs when it fails."""
        before = len(result.failures) + len(result.errors)
        done = super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(
                f"=== {self.id()}", *(p.report() for p in self.processes), sep="\n", file=sys.stderr
            )
            if hasattr(self, "simulator"):
                self._show_trace()
        for process in self.processes:
            process.forget()
        return done

    def _show_trace(self):
        with open(self.simulator.trace_file, encoding="utf-8") as file:
            lines = file.read().splitlines()
        print(
            "--- last lines of the trace:",
            *(line[:160] for line in lines[-60:]),
            sep="\n",
            file=sys.stderr,
        )

    # What a test is made of.

    def put_package(self, *images, **more):
        """Makes a good package the current one."""
        self.put_bytes(packages.build(images, **more))

    @staticmethod
    def put_bytes(content):
        """Replaces the current package; a reader sees the old one or the new one."""
        with open(PACKAGE + ".new", "wb") as file:
            file.write(content)
        os.replace(PACKAGE + ".new", PACKAGE)

    def start_agent(self, **environment):
        self.agent = self.keep(Agent(**environment))
        self.agent.wait_until_it_listens()
        return self.agent

    def keep(self, process):
        """The process is ended with the test, and reported if the test fails."""
        self.processes.append(process)
        self.stack.callback(process.stop if isinstance(process, Simulator) else process.kill)
        return process

    def start_device(self, *chips, where=None, faults=(), options=(), **more):
        """Starts the simulator on the serial line, or where its port option says. What the line
        still held is thrown away."""
        if hasattr(self, "simulator"):
            self.simulator.stop()
        if where is None:
            self._drain_line()
        folder = f"/tmp/device-{len(self.processes)}"
        self.simulator = Simulator(
            os.environ["DEVICE_SIMULATOR"],
            folder,
            device(*chips, **more),
            where or ("--fd", str(MASTER)),
            faults,
            options,
            () if where else (MASTER,),
        )
        return self.keep(self.simulator)

    def kill_device(self):
        """Takes the device's power away in the middle of whatever it does; returns the chips and
        further keys of the device file with which it may come back. A flash that was only half
        written leaves the chip in its bootcode."""
        device = self.simulator.device()
        status = self.simulator.status()
        for one, now in zip(device["chips"], status["chips"]):
            one["version"] = "0.0.0" if now["half_written"] else now["version"]
            one["bootcode"] = now["bootcode"]
        device["virtual_version"] = status["virtual_version"]
        self.simulator.kill()
        return device.pop("chips"), device

    @staticmethod
    def _drain_line():
        slave = os.open(SERIAL_DEVICE, os.O_RDWR | os.O_NOCTTY)
        termios.tcflush(slave, termios.TCIOFLUSH)
        while select.select([MASTER], [], [], 0)[0]:
            os.read(MASTER, 65536)
        os.close(slave)

    def connect(self):
        client = Console()
        self.stack.callback(client.close)
        return client

    def start(self, *chips, images=(), package=None, mode=None, environment=None, **more):
        """Package, device, agent and one client; the mode is set when one is given."""
        if images or package:
            self.put_package(*images, **(package or {}))
        self.start_device(*chips, **more)
        self.start_agent(**(environment or {}))
        client = self.connect()
        if mode is not None:
            client.ask(f"UPGRADEMODE||{mode}", f"UPGRADELOG||Set UPGRADEMODE to {mode}")
        return client

    def assert_no_sanitizer_reports(self):
        """A sanitizer may have reported a defect that no other check noticed."""
        self.assertEqual([p.name for p in self.processes if p.has_sanitizer_report()], [])

    def repeat(self, action, pause=0.001):
        """Performs the action again and again in a thread. Call what is returned to end it, which
        gives the number of times; the end of the test ends it, too."""
        stop = threading.Event()
        times = 0

        def perform():
            nonlocal times
            while not stop.wait(pause):
                action()
                times += 1

        thread = threading.Thread(target=perform)
        thread.start()

        def end():
            stop.set()
            thread.join()
            return times

        self.stack.callback(end)
        return end

    # What is checked at the end of every run.

    def assert_flash(self, images):
        """These images, and no others, are in the device's flash: {(type, index): bytes}."""
        held = {
            (one["chip_type"], one["chip_index"]): one["flash_bytes"]
            for one in self.simulator.status()["chips"]
            if one["flash_bytes"]
        }
        self.assertEqual(sorted(held), sorted(images))
        for place, image in images.items():
            self.assert_holds(place, image)

    def assert_holds(self, place, image):
        """One chip's flash is this image, the padding included."""
        flash = self.simulator.flash(*place) or b""
        self.assertEqual(
            flash.hex(), packages.expected_flash(image).hex(), f"flash of chip {place}"
        )

    def assert_frames(self, *expected):
        """The frames that the device saw, decoded, blocks of one image as one entry."""
        self.assertEqual(self.simulator.host_frames(), list(expected))
        self.assertEqual(self.simulator.status()["violations"], 0)


def main(seconds=300):
    """Runs the file's tests; a file that hangs is ended with a stack trace."""
    faulthandler.dump_traceback_later(seconds * PATIENCE, exit=True)
    unittest.main(verbosity=2)
