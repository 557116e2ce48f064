# SPDX-License-Identifier: Apache-2.0
"""A console client that keeps every byte it receives."""

import socket
import struct
import threading
import time

from . import transcript, wait

PORT = 35353


class Console:
    """One connection. Received bytes are kept from the last mark on."""

    def __init__(self, address="127.0.0.1", port=PORT):
        self.socket = socket.create_connection((address, port), 10)
        self.socket.settimeout(None)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.port = self.socket.getsockname()[1]
        self._lock = threading.Lock()
        self._raw = bytearray()
        self._mark = 0
        self.closed = threading.Event()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        while True:
            try:
                got = self.socket.recv(65536)
            except OSError:
                got = b""
            if not got:
                self.closed.set()
                return
            self._take(got)

    def _take(self, got):
        with self._lock:
            self._raw += got

    def send(self, line, end="\r\n"):
        self.send_raw((line + end).encode())

    def send_raw(self, raw):
        self.socket.sendall(raw)

    @property
    def raw(self):
        """Everything received since the mark."""
        with self._lock:
            return bytes(self._raw[self._mark :])

    @property
    def lines(self):
        return transcript.lines_of(self.raw)

    def mark(self):
        """Starts a new transcript."""
        with self._lock:
            self._mark = len(self._raw)

    def wait_for(self, line, seconds=15, count=1):
        """Waits until a line has come so many times since the mark."""

        def found():
            return self.lines.count(line) >= count

        try:
            wait.until(found, seconds, f"line {line!r}")
        except wait.TimeOut as error:
            raise wait.TimeOut(f"{error}; received:\n" + "\n".join(self.lines[-40:])) from None

    def _take_lines(self, start):
        """The complete lines after an offset, and where the next one begins."""
        with self._lock:
            end = self._raw.rfind(b"\r\n", start) + 2
            raw = bytes(self._raw[start:end]) if end > 1 else b""
        return transcript.lines_of(raw), start + len(raw)

    def expect(self, expected, seconds=15):
        """Waits until the transcript since the mark is `expected`, and fails as soon as a
        line differs. The next expect starts after it."""
        expected = list(expected)
        matcher = transcript.Matcher(expected)
        place = self._mark
        seconds *= wait.PATIENCE
        end = time.monotonic() + seconds
        while True:
            lines, place = self._take_lines(place)
            verdict = matcher.feed(lines)
            if verdict != "prefix" or time.monotonic() > end:
                break
            time.sleep(0.005)
        if verdict != "equal":
            why = "differs" if verdict == "differs" else f"is not complete after {seconds:g} s"
            raise AssertionError(
                f"the transcript {why}:\n" + transcript.side_by_side(self.lines, expected)
            )
        self._mark = place

    def ask(self, line, *replies, seconds=15):
        """Sends a line and expects exactly these replies."""
        self.send(line)
        self.expect(replies, seconds)

    def sync(self):
        """A round trip: whatever the agent had for this client by now has come, and it is this
        heartbeat's reply alone."""
        self.ask("HEARTBEAT", "HEARTBEAT")

    def sync_among_others(self):
        """A round trip; other messages may arrive before the reply."""
        count = self.lines.count("HEARTBEAT")
        self.send("HEARTBEAT")
        self.wait_for("HEARTBEAT", count=count + 1)

    def close(self, reset=False):
        """Ends the connection, in order or with a reset. The reader is woken first: as long as it
        waits for bytes, the connection would outlive its socket."""
        if reset:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        try:
            self.socket.shutdown(socket.SHUT_RD if reset else socket.SHUT_RDWR)
        except OSError:
            pass
        self._reader.join(10)
        self.socket.close()
