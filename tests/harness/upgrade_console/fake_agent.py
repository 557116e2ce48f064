# SPDX-License-Identifier: Apache-2.0
"""An agent that sends the answers of a test, cut and merged as the test requires."""

import json
import socket
import threading
import time
from typing import Any

CLOSE = object()  # an action: close the connection
RESET = object()  # an action: end it as a dying machine does
ROWS = "UPGRADE||*"  # any rows


def log(text):
    return f"UPGRADELOG||{text}\r\n".encode("latin-1")


def progress(percent):
    return f"PROGRESSVALUE||{percent:.2f}\r\n".encode()


SUCCESS = b"\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n"
FAIL = b"\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n"
BUSY = log("The device is busy upgrading.")


def chip(name, chip_type, version):
    """One chip of a package description; `chip_type` as in rows."""
    ver1, ver2, ver3 = version.split(".")
    pcb = {
        "name": name,
        "pcb_version": "1",
        "speciality": "A",
        "ver1": ver1,
        "ver2": ver2,
        "ver3": ver3,
    }
    return {
        "chip_type": str(chip_type + 1),
        "chip_quanity": "1",
        "mcus": [{"mcu_type": "4", "pcbs": [pcb]}],
    }


PACKAGE = {
    "model": "HX-8",
    "version": "7",
    "chips": [chip("MAIN", 0, "1.1.0"), chip("AUX 1", 1, "2.1.0")],
}


def listing(package):
    return (
        log("Firmware file checksum ok.")
        + log("Firmware package version: 6")
        + log("Model Name: HX-8")
        + log("Version: 7")
        + b"FIRMWARELIST||"
        + json.dumps(package).encode()
        + b"\r\n"
    )


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
        self._threads = [threading.Thread(target=self._accept, daemon=True)]
        self._threads[0].start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        assert not self.failures, self.failures

    def stop(self):
        """Stops serving clients."""
        try:
            self._listener.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self._listener.close()

    def _accept(self):
        while True:
            try:
                client, _ = self._listener.accept()
            except OSError:
                return
            thread = threading.Thread(target=self._serve, args=(client,), daemon=True)
            thread.start()

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
                client.setsockopt(
                    socket.SOL_SOCKET, socket.SO_LINGER, bytes([1, 0, 0, 0] + [0] * 4)
                )
                return False
            if isinstance(action, bytes):
                self._send(client, action)
            elif isinstance(action, (int, float)):
                time.sleep(action)
            else:
                action(self)
        return True

    def _send(self, client, data):
        if self.cut is None:
            client.sendall(data)
            return
        for start in range(0, len(data), self.cut):
            client.sendall(data[start : start + self.cut])
            time.sleep(0.0002)
