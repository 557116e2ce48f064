# SPDX-License-Identifier: Apache-2.0
"""A bridge with network namespaces on it, inside the private network of this process."""

import os
import subprocess

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
    with open("/proc/net/dev", encoding="ascii") as file:
        interfaces = [line.split(":")[0].strip() for line in file.readlines()[2:]]
    if interfaces != ["lo"] or os.readlink("/proc/self/ns/net") != os.readlink("/proc/1/ns/net"):
        raise NotPrivate("start this program with scripts/lib/private-network")


def run(*command, text=None):
    """Runs a command that must succeed."""
    subprocess.run(command, input=text, text=True, check=True)


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
        run(
            "ip",
            "-batch",
            "-",
            text=f"link set lo up\n"
            f"link add {_BRIDGE} type bridge\n"
            f"addr add {_NETWORK}.0.1/16 dev {_BRIDGE}\n"
            f"link set {_BRIDGE} up\n",
        )
        self._ports: dict[str, str] = {}

    def add(self, name, address):
        """A namespace of this name with an address on the bridge; returns its file. In it an
        ordinary user may listen on every port."""
        port = f"port{len(self._ports)}"
        self._ports[name] = port
        run(
            "ip",
            "-batch",
            "-",
            text=f"netns add {name}\n"
            f"link add {port} type veth peer name eth0 netns {name}\n"
            f"link set {port} master {_BRIDGE} up\n",
        )
        setting = "/proc/sys/net/ipv4/ip_unprivileged_port_start"
        run(
            "nsenter",
            f"--net={namespace(name)}",
            "sh",
            "-c",
            f"ip -batch - && echo 0 >{setting}",
            text=f"link set lo up\naddr add {address}/16 dev eth0\nlink set eth0 up\n",
        )
        return namespace(name)

    def unplug(self, name):
        """Nothing reaches this namespace any more, and nothing leaves it."""
        run("ip", "link", "set", self._ports[name], "down")

    def plug(self, name):
        """Undoes unplug()."""
        run("ip", "link", "set", self._ports[name], "up")
