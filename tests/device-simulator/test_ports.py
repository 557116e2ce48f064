# SPDX-License-Identifier: Apache-2.0
"""Where the host connects: pseudo-terminals, descriptors, TCP, and the speed of the line."""

import os
import signal
import socket
import stat
import subprocess
import time
import tty
import unittest

from tests.harness import frames, wait
from tests.harness.simulatorcase import PROGRAM, SimulatorCase, read_bytes


def state_of(pid):
    """The state of a process, a letter as in ps; "S" for one that waits."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        return file.read().rsplit(") ", 1)[1][0]


class TestPorts(SimulatorCase):
    def test_pseudo_terminal(self):
        simulator = self.start()
        self.assertEqual(simulator.address, self.link)
        self.assertTrue(stat.S_ISCHR(os.stat(self.link).st_mode))
        for _ in range(3):  # a host may come and go
            with self.host():
                pass
        self.assertEqual(simulator.stop(), 0)
        self.assertFalse(os.path.lexists(self.link))

    def test_never_replaces_a_file(self):
        self.file("tty", b"mine")
        with self.assertRaisesRegex(AssertionError, "cannot make the link"):
            self.start()
        with open(self.link, "rb") as file:
            self.assertEqual(file.read(), b"mine")

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

    def test_inherited_descriptor(self):
        master, slave = os.openpty()
        tty.setraw(slave)
        for _ in range(2):  # the holder of the master may start another simulator
            simulator = self.start("--fd", str(master), pass_fds=(master,))
            self.ask(slave)
            self.assertEqual(simulator.stop(), 0)
        os.close(master)
        os.close(slave)

    def test_socket_descriptor_ends_with_its_peer(self):
        mine, other = socket.socketpair()
        simulator = self.start("--fd", str(other.fileno()), pass_fds=(other.fileno(),))
        other.close()
        self.ask(mine.fileno())
        mine.close()
        self.assertEqual(simulator.popen.wait(10), 0)

    def test_tcp(self):
        simulator = self.start("--listen", "127.0.0.1:0")
        host, port = simulator.address.rsplit(":", 1)
        for _ in range(2):
            with socket.create_connection((host, int(port)), 10) as link:
                self.ask(link.fileno())

    def test_pacing_never_answers_before_the_wire_could(self):
        self.start(options=("--baud", "57600"))
        request = frames.host(frames.ENTER, bytes(2))
        answer = frames.status(frames.ENTER, 0)
        least = (len(request) + len(answer)) * 10 / 57600
        with self.host() as fd:
            for _ in range(5):
                start = time.monotonic()
                self.ask(fd, request, answer)
                self.assertGreaterEqual(time.monotonic() - start, least)

    def test_late_answer_is_overtaken(self):
        self.start(faults=["late:word=product-id,delay=700,count=once"])
        with self.host() as fd:
            os.write(fd, frames.host(frames.PRODUCT_ID))
            self.ask(fd)
            late = frames.frame(frames.REPLY, frames.PRODUCT_ID, b"HX8")
            self.assertEqual(read_bytes(fd, len(late)).hex(), late.hex())

    def test_pipes_that_never_end(self):
        """Until it is ready a signal ends it, whatever it waits for."""
        fifo = self.fifo()
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


if __name__ == "__main__":
    unittest.main()
