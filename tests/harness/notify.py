# SPDX-License-Identifier: Apache-2.0
"""Simulates the service manager: receives the agent's messages."""

import os
import socket
import struct
import threading

from . import wait

CREDENTIALS = struct.Struct("3i")


class Manager:
    """A notify socket, by a path or by an abstract name, which begins with "@"."""

    def __init__(self, address):
        self.address = address
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_PASSCRED, 1)
        self.socket.bind(address.replace("@", "\0", 1))
        self._received = []
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        """Reads at once: the socket's buffer holds only a few messages."""
        while True:
            message, extra, _, _ = self.socket.recvmsg(4096, 64)
            if not message:
                return
            self._received.append((message.decode(), CREDENTIALS.unpack(extra[0][2])[0]))

    def close(self):
        """May be called twice."""
        if self.socket.fileno() < 0:
            return
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as end:
            end.sendto(b"", self.socket.getsockname())
        self._reader.join(10)
        self.socket.close()
        if self.address.startswith("/"):
            os.remove(self.address)

    def messages(self):
        """Every datagram so far."""
        return [message for message, _ in list(self._received)]

    def senders(self):
        """The processes that the datagrams came from, as the kernel says."""
        return {process for _, process in list(self._received)}

    def forget(self):
        self._received.clear()

    def count(self, message):
        return self.messages().count(message)

    def wait_for(self, message, seconds=10, count=1):
        wait.until(lambda: self.count(message) >= count, seconds, f"message {message!r}")
