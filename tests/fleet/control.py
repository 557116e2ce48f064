# SPDX-License-Identifier: Apache-2.0
"""The control socket of a fleet: a request is one line, MODULE ACTION [ARGUMENT]..., the answer a
line "ok" or "error", and its text."""

import contextlib
import os
import select
import socket

from tests.fleet.fleet import FOLDER

SOCKET = os.path.join(FOLDER, "control", "socket")
_TIME_OUT = 60


def _power_on(module):
    module.power_on()
    module.wait_until_ready()


_ACTIONS = {
    "unplug": lambda module: module.unplug(),
    "plug": lambda module: module.plug(),
    "power-off": lambda module: module.power_off(),
    "power-on": _power_on,
    "kill-agent": lambda module: module.kill_agent(),
}


def execute(fleet, line):
    """Executes a request; returns the answer."""
    name, _, rest = line.strip().partition(" ")
    action, _, argument = rest.partition(" ")
    module = fleet.modules.get(name)
    try:
        if module is None:
            return f"error\nthere is no module '{name}'"
        if action == "device" and argument:
            return f"ok\n{module.control_device(argument)}"
        if action in _ACTIONS and not argument:
            _ACTIONS[action](module)
            return "ok\n"
        return f"error\nunknown action '{rest}'; known: {', '.join(_ACTIONS)}, device COMMAND"
    except (AssertionError, OSError) as problem:
        return f"error\n{problem}"


class ControlServer:
    """Serves the socket until a process ends."""

    def __init__(self, fleet):
        self.fleet = fleet
        self.folder = os.path.dirname(SOCKET)
        os.mkdir(self.folder)
        self._server = socket.socket(socket.AF_UNIX)
        self._server.bind(SOCKET)
        self._server.listen()

    def serve_until_end_of(self, process):
        """Returns the exit status of the process."""
        end = os.pidfd_open(process.pid)
        while True:
            ready = select.select([self._server, end], [], [])[0]
            if end in ready:
                return process.wait()
            client, _ = self._server.accept()
            with client, contextlib.suppress(OSError):
                client.settimeout(_TIME_OUT)
                answer = execute(self.fleet, client.makefile().readline())
                client.sendall(answer.encode())


def request(words):
    """Sends a request; returns whether it succeeded, and the answer's text."""
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(_TIME_OUT)
        client.connect(SOCKET)
        client.sendall(" ".join(words).encode() + b"\n")
        status, _, text = client.makefile().read().partition("\n")
    return status == "ok", text
