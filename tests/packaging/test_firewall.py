# SPDX-License-Identifier: Apache-2.0
"""The nftables snippet: nft takes it, and the kernel then does what it says."""

import contextlib
import os
import socket
import subprocess
import sys
import unittest

from tests import ROOT
from tests.harness.command import output, run

SNIPPET = os.path.join(ROOT, "packaging", "management-network.nft")
PORT, OTHER_PORT = 35353, 80
# (family, network, an address of the module in it, an address of a peer in it)
MANAGEMENT = (
    (socket.AF_INET, "192.168.10.1", "192.168.10.7"),
    (socket.AF_INET6, "fd00:10::1", "fd00:10::7"),
)
ELSEWHERE = (
    (socket.AF_INET, "192.168.11.1", "192.168.11.7"),
    (socket.AF_INET6, "fd00:11::1", "fd00:11::7"),
)
SKIPPED = 77
MODULE = "tests.packaging.test_firewall"
INSIDE = "FIREWALL_TEST_INSIDE"
# What runs in the peer's network; what is dropped never answers.
CONNECT = """
import socket, sys
try: socket.create_connection((sys.argv[1], int(sys.argv[2])), 0.7)
except TimeoutError: sys.exit(9)
"""
SEND = """
import socket, sys
peer = socket.socket(int(sys.argv[1]), socket.SOCK_DGRAM)
peer.sendto(b"x", (sys.argv[2], int(sys.argv[3])))
"""


def ip(words, *, network=()):
    output(*network, "ip", *words.split())


class TestFirewall(unittest.TestCase):
    """The module and its peer are two networks with a cable between them."""

    peer: list[str]

    @classmethod
    def setUpClass(cls):
        peer = subprocess.Popen(["unshare", "--net", "sleep", "300"])
        cls.addClassCleanup(peer.wait)
        cls.addClassCleanup(peer.kill)
        cls.peer = ["nsenter", f"--net=/proc/{peer.pid}/ns/net"]
        own = os.readlink("/proc/self/ns/net")
        while os.readlink(f"/proc/{peer.pid}/ns/net") == own:
            pass
        ip("link set lo up")
        ip(f"link add module type veth peer name peer netns {peer.pid}")
        ip("link set module up")
        ip("link set peer up", network=cls.peer)
        for family, module, client in MANAGEMENT + ELSEWHERE:
            size = "/24" if family == socket.AF_INET else "/64 nodad"
            ip(f"address add {module}{size} dev module")
            ip(f"address add {client}{size} dev peer", network=cls.peer)
        for port in (PORT, OTHER_PORT):
            server = socket.create_server(
                ("::", port), family=socket.AF_INET6, dualstack_ipv6=True, backlog=100
            )
            cls.addClassCleanup(server.close)

    def setUp(self):
        output("nft", "flush", "ruleset")

    def load(self):
        output("nft", "-f", SNIPPET)

    def reaches(self, address, port, peer=True):
        """Whether a connection comes about."""
        place = self.peer if peer else []
        done = run(*place, sys.executable, "-c", CONNECT, address, str(port))
        self.assertIn(done.returncode, (0, 9), done.stderr)
        return done.returncode == 0

    def test_nft_takes_it(self):
        output("nft", "-c", "-f", SNIPPET)
        self.assertEqual(output("nft", "list", "ruleset"), "")

    def test_management_network_reaches_the_port(self):
        self.load()
        for _, module, _ in MANAGEMENT:
            self.assertTrue(self.reaches(module, PORT), module)

    def test_other_clients_do_not(self):
        for _, module, _ in ELSEWHERE:
            self.assertTrue(self.reaches(module, PORT), module)
        self.load()
        for _, module, _ in ELSEWHERE:
            self.assertFalse(self.reaches(module, PORT), module)

    def test_other_ports_and_the_module_itself_are_free(self):
        self.load()
        for _, module, _ in MANAGEMENT + ELSEWHERE:
            self.assertTrue(self.reaches(module, OTHER_PORT), module)
            self.assertTrue(self.reaches(module, PORT, peer=False), module)
        for address in ("127.0.0.1", "::1"):
            self.assertTrue(self.reaches(address, PORT, peer=False), address)

    def test_other_protocols_are_free(self):
        self.load()
        for family, module, _ in ELSEWHERE:
            with contextlib.closing(socket.socket(family, socket.SOCK_DGRAM)) as server:
                server.bind((module, PORT))
                server.settimeout(5)
                arguments = (str(int(family)), module, str(PORT))
                output(*self.peer, sys.executable, "-c", SEND, *arguments)
                self.assertEqual(server.recv(9), b"x")

    def test_loading_it_again_changes_nothing(self):
        output("nft", "add table inet another_table")
        self.load()
        first = output("nft", "list", "ruleset")
        self.load()
        self.assertEqual(output("nft", "list", "ruleset"), first)
        self.assertIn("another_table", first)


def missing():
    """What this kernel cannot do, or nothing."""
    for command in ("nft list ruleset", "ip link add name probe type veth", "ip link delete probe"):
        done = run(*command.split())
        if done.returncode != 0:
            return f"{command}: {done.stderr.strip()}"
    return None


def main():
    """Enters a private network first, so the machine's rules do not change."""
    if os.geteuid() != 0:
        print("skipped: firewall rules need root")
        sys.exit(SKIPPED)
    if os.environ.get(INSIDE) != "1":
        os.execvpe(
            "unshare",
            ["unshare", "--net", sys.executable, "-B", "-m", MODULE, *sys.argv[1:]],
            {**os.environ, INSIDE: "1"},
        )
    reason = missing()
    if reason:
        print(f"skipped: {reason}")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
