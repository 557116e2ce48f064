# SPDX-License-Identifier: Apache-2.0
"""A bridge with network namespaces on it, inside the private network of this process."""

import os
import subprocess

from tests.harness import files

NAMESPACES = "/run/netns"
_BRIDGE = "fleet"
# Of the 16 bits below: the bridge has 0.1, the controller 0.2, module N has 1.N, 2.N and so on.
_NETWORK = "10.77"
_MODULES_PER_BYTE = 250


class NotPrivate(RuntimeError):
    """The process is in a network that others use."""


def require_private():
    """Refuses to change anything unless scripts/lib/private-network started this process: its
    network is new, and has nothing but the loopback interface."""
    lines = files.text("/proc/net/dev").splitlines()[2:]
    interfaces = [line.split(":")[0].strip() for line in lines]
    if interfaces != ["lo"] or os.readlink("/proc/self/ns/net") != os.readlink("/proc/1/ns/net"):
        raise NotPrivate("start this program with scripts/lib/private-network")


def run(*command):
    """Runs a command that must succeed."""
    subprocess.run(command, check=True)


def namespace(name):
    """The file of a namespace."""
    return os.path.join(NAMESPACES, name)


def module_address(number):
    """The address of the module with this number, from 1 on."""
    high, low = divmod(number - 1, _MODULES_PER_BYTE)
    return f"{_NETWORK}.{high + 1}.{low + 1}"


CONTROLLER_ADDRESS = f"{_NETWORK}.0.2"


class Network:
    """The bridge. This process is on it, too, so that it can wait for servers."""

    def __init__(self):
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", _BRIDGE, "type", "bridge")
        run("ip", "addr", "add", f"{_NETWORK}.0.1/16", "dev", _BRIDGE)
        run("ip", "link", "set", _BRIDGE, "up")
        self._ports: dict[str, str] = {}

    def add(self, name, address):
        """A namespace of this name with an address on the bridge; returns its file. In it an
        ordinary user may listen on every port."""
        port = f"port{len(self._ports)}"
        self._ports[name] = port
        run("ip", "netns", "add", name)
        run(*f"ip link add {port} type veth peer name eth0 netns {name}".split())
        run("ip", "link", "set", port, "master", _BRIDGE, "up")
        script = f"""set -e
            ip link set lo up
            ip addr add {address}/16 dev eth0
            ip link set eth0 up
            echo 0 >/proc/sys/net/ipv4/ip_unprivileged_port_start"""
        run("nsenter", f"--net={namespace(name)}", "sh", "-c", script)
        return namespace(name)

    def unplug(self, name):
        """Nothing reaches this namespace any more, and nothing leaves it."""
        run("ip", "link", "set", self._ports[name], "down")

    def plug(self, name):
        """Undoes unplug()."""
        run("ip", "link", "set", self._ports[name], "up")
