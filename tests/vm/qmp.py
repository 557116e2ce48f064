# SPDX-License-Identifier: Apache-2.0
"""QEMU's machine protocol: one JSON object per line over a Unix socket."""

import json
import socket


class QmpError(RuntimeError):
    """QEMU refused a command."""


class Qmp:
    """A connection; answers come in the order of the commands, events are skipped."""

    def __init__(self, path, seconds=30):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(seconds)
        self.socket.connect(path)
        self.file = self.socket.makefile("rb")
        self._read()
        self("qmp_capabilities")

    def _read(self):
        line = self.file.readline()
        if not line:
            raise QmpError("QEMU has closed the connection")
        return json.loads(line)

    def __call__(self, command, **arguments):
        """Runs a command and returns its value."""
        request = {"execute": command, **({"arguments": arguments} if arguments else {})}
        self.socket.sendall(json.dumps(request).encode() + b"\n")
        while True:
            answer = self._read()
            if "error" in answer:
                raise QmpError(f"{command}: {answer['error']['desc']}")
            if "return" in answer:
                return answer["return"]

    def close(self):
        self.file.close()
        self.socket.close()
