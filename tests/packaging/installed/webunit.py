# SPDX-License-Identifier: Apache-2.0
"""Looks from outside at the service of upgrade-web and at the console port in a booted root."""

import json
import os
import re
import subprocess
import sys

from tests.harness import files, wait
from tests.harness.command import output, run
from tests.packaging.installed import recorders

PASSWORD = "a long password"
DROP_IN = "usr/share/upgrade-agent-web/console-loopback.conf"
DEVICE_LINE = "#IPAddressAllow=192.0.2.17"
# The module, a device with a network link, which the drop-in names, and another machine.
MODULE, DEVICE, STRANGER = "192.0.2.1", "192.0.2.17", "192.0.2.99"
SOURCES = (DEVICE, STRANGER)
CONSOLE, HTTP = 35353, 8353
# In the agent's place: a program that listens where the agent does.
LISTENER = f"""#!/usr/bin/python3
import os, socket
server = socket.create_server(("::", {CONSOLE}), family=socket.AF_INET6, dualstack_ipv6=True)
with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
    manager.sendto(b"READY=1", os.environ["NOTIFY_SOCKET"].replace("@", "\\0", 1))
peers = []
while True:
    peers.append(server.accept())
"""
# Arguments: address, port, own address. What is dropped never answers.
CONNECT = """
import socket, sys
try:
    socket.create_connection((sys.argv[1], int(sys.argv[2])), 1, (sys.argv[3], 0))
except OSError:
    sys.exit(9)
"""
# Reads a package from standard input, logs in, uploads it, and prints each status.
UPLOAD = f"""
import http.client, json, sys
origin = "http://127.0.0.1:{HTTP}"
def ask(path, body, **more):
    peer = http.client.HTTPConnection("127.0.0.1", {HTTP}, timeout=30)
    peer.request("POST", path, body, {{"Origin": origin, **more}})
    answer = peer.getresponse()
    return answer, json.loads(answer.read())
first, session = ask("/api/login", json.dumps({{"password": "{PASSWORD}"}}))
cookie = first.headers["Set-Cookie"].split(";")[0]
token = {{"Cookie": cookie, "X-CSRF-Token": session["csrf_token"]}}
second, package = ask("/api/package", sys.stdin.buffer.read(), **token)
print(json.dumps([first.status, second.status, package["error"]]))
"""


def prepare(drop_in):
    """A fresh copy of the root with a listener for the agent; with or without the drop-in."""
    recorders.make()
    recorders.write("usr/sbin/upgrade-agent", LISTENER)
    if drop_in:
        text = files.text(recorders.ROOT, DROP_IN)
        assert DEVICE_LINE in text
        recorders.add_drop_in("console.conf", text.replace(DEVICE_LINE, DEVICE_LINE[1:]))
    recorders.check_harmless()


class Machine:
    """A booted system, seen from outside of its namespaces."""

    def __init__(self, system):
        self._system = system
        init = wait.until(self._init, what="the system's first process")
        self.network = ["nsenter", f"--net=/proc/{init}/ns/net"]

    def _init(self):
        """The first process, as soon as it has its own network."""
        pid = self._system.pid
        children = files.text(f"/proc/{pid}/task/{pid}/children").split()
        own = os.readlink("/proc/self/ns/net")
        if children and os.readlink(f"/proc/{children[0]}/ns/net") != own:
            return int(children[0])
        return None

    def process(self, program):
        """The number of the process that runs a program of the root."""
        for name in filter(str.isdecimal, os.listdir("/proc")):
            try:
                words = files.content(f"/proc/{name}/cmdline").split(b"\0")
                root = os.readlink(f"/proc/{name}/ns/pid")
            except OSError:
                continue
            if program.encode() in words[:2] and root != os.readlink("/proc/self/ns/pid"):
                return int(name)
        return None

    def wait_for(self, address, port):
        wait.until(lambda: self.reaches(address, port, address), 60, f"port {port}")

    def reaches(self, address, port, source, network=None):
        """Whether a connection from an address comes about."""
        words = (*(network or self.network), sys.executable, "-c", CONNECT)
        return run(*words, address, str(port), source).returncode == 0

    def upload(self, package):
        """Logs in to the server and uploads a package; both statuses and the error."""
        words = (*self.network, sys.executable, "-c", UPLOAD)
        return json.loads(output(*words, input=package, text=False))

    @staticmethod
    def rights(pid):
        """What the kernel says of a process."""
        found = dict(re.findall(r"(?m)^(\w+):\s*(.*)$", files.text(f"/proc/{pid}/status")))
        return {name: found[name] for name in ("CapEff", "CapBnd", "NoNewPrivs", "Seccomp")}, {
            int(word) for word in found["Uid"].split() + found["Gid"].split()
        }

    @staticmethod
    def can_write(pid, folder):
        """Whether even root could make a file where a process has its folders."""
        script = f'touch "{folder}/probe" && rm "{folder}/probe"'
        place = (f"--mount=/proc/{pid}/ns/mnt", f"--root=/proc/{pid}/root")
        return run("nsenter", *place, "sh", "-c", script).returncode == 0


class Cable:
    """A network beside the system, connected to it; a device and a stranger are there."""

    def __init__(self, machine):
        self._machine = machine
        self._peer = subprocess.Popen(["unshare", "--net", "sleep", "600"])
        self.network = ["nsenter", f"--net=/proc/{self._peer.pid}/ns/net"]
        own = os.readlink("/proc/self/ns/net")
        wait.until(lambda: os.readlink(f"/proc/{self._peer.pid}/ns/net") != own, what="a network")
        link = f"link add cable type veth peer name cable netns {self._peer.pid}"
        for network, words in (
            (machine.network, link),
            (machine.network, f"address add {MODULE}/24 dev cable"),
            (self.network, f"address add {DEVICE}/24 dev cable"),
            (self.network, f"address add {STRANGER}/24 dev cable"),
            (machine.network, "link set cable up"),
            (self.network, "link set cable up"),
        ):
            output(*network, "ip", *words.split())

    def reaches_console(self, source):
        """Whether a connection from one of SOURCES to the console port comes about."""
        return self._machine.reaches(MODULE, CONSOLE, source, self.network)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._peer.kill()
        self._peer.wait()
