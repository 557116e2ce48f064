# SPDX-License-Identifier: Apache-2.0
"""An agent that sends the answers of a test, cut and merged as the test requires."""

import contextlib
import socket
import struct
import threading
import time
from typing import Any

from tests.harness.upgrade_console.lines import PACKAGE, listing, log

CLOSE = object()  # an action: close the connection
RESET = object()  # an action: end it as a dying machine does
ROWS = "UPGRADE||*"  # any rows


class Wait:
    """An action: hold everything back until the test goes on."""

    def __init__(self):
        self.reached = threading.Event()
        self.go_on = threading.Event()

    def __call__(self, _agent):
        self.reached.set()
        assert self.go_on.wait(60), "the test did not go on"


class FakeAgent:
    """Serves on a free port of the loopback. `answers` maps request lines to lists of actions:
    bytes to send, seconds to sleep, callables, CLOSE or RESET. ROWS stands for every request with
    rows that is not there itself. A line that is missing is passed over in silence."""

    def __init__(self, answers=None, cut=None, fragments=None, port=0):
        self.answers: dict[str, Any] = {
            "HEARTBEAT": [b"HEARTBEAT\r\n"],
            "VERSION": [b"VERSION||1.15\r\n"],
            "GETFIRMWARELIST": [listing(PACKAGE)],
            "UPGRADEMODE||2": [log("Set UPGRADEMODE to 2")],
            "UPGRADEMODE||5": [log("Set UPGRADEMODE to 5")],
            "UPGRADE||": [log("Disconnect"), log(" port is disconnected.")],
            **(answers or {}),
        }
        self.cut = cut
        self.fragments = fragments  # called with each fragment; returns actions
        self.lines = []
        self.failures = []
        self._listener = socket.create_server(("127.0.0.1", port))
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        assert not self.failures, self.failures

    def stop(self):
        """Stops serving clients."""
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()

    def _accept(self):
        while True:
            try:
                client, _ = self._listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        try:
            with client:
                client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                self._talk(client)
        except OSError:
            pass  # the program went away
        except AssertionError as failure:
            self.failures.append(str(failure))

    def _talk(self, client):
        rest = b""
        while True:
            chunk = client.recv(65536)
            if not chunk:
                return
            if chunk.startswith(b"UpgradeDatas||"):
                assert chunk.endswith(b"\r\n"), "a fragment was cut"
                if not self._act(client, self.fragments(chunk[14:-2])):
                    return
                continue
            rest += chunk
            while b"\r\n" in rest:
                raw, rest = rest.split(b"\r\n", 1)
                line = raw.decode("latin-1")
                self.lines.append(line)
                if not self._act(client, self._answer(line)):
                    return

    def _answer(self, line):
        has_rows = line.startswith("UPGRADE||") and line != "UPGRADE||"
        answer = self.answers.get(line, self.answers.get(ROWS, []) if has_rows else [])
        return answer(self) if callable(answer) else answer

    def _act(self, client, actions):
        for action in actions:
            if action is CLOSE:
                return False
            if action is RESET:
                client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                return False
            if isinstance(action, bytes):
                self._send(client, action)
            elif isinstance(action, (int, float)):
                time.sleep(action)
            else:
                action(self)
        return True

    def _send(self, client, data):
        size = self.cut or len(data)
        for start in range(0, len(data), size):
            client.sendall(data[start : start + size])
            if self.cut:
                time.sleep(0.0002)
