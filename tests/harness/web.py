# SPDX-License-Identifier: Apache-2.0
"""upgrade-web as a process, and a viewer of it without a browser."""

import http.client
import json
import os
import socket
import subprocess
import time
import urllib.parse

from . import wait
from .process import Process

PROGRAM = os.environ.get("UPGRADE_WEB", "")
# The longest wait for one event; the stream has a keep-alive comment more often.
EVENT_SECONDS = 120


class Answer:
    """A response: status, headers and body."""

    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()

    @property
    def document(self):
        return json.loads(self.body)

    @property
    def problem(self):
        """(HTTP status, id of the error)."""
        error = self.document["error"]
        return self.status, error["id"] if error else None


class Events:
    """The event stream of one viewer."""

    def __init__(self, server, last=None, headers=None):
        self._connection = http.client.HTTPConnection("127.0.0.1", server.port, timeout=60)
        more = {"Last-Event-ID": last} if last else {}
        self._connection.request("GET", "/api/events", headers={**(headers or {}), **more})
        self.response = self._connection.getresponse()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._connection.close()

    def next(self):
        """The next event; its "id" is that of the stream."""
        fields: dict[str, str] = {}
        deadline = time.monotonic() + EVENT_SECONDS
        while True:
            raw = self.response.readline()
            assert raw, "the stream has ended"
            assert time.monotonic() < deadline, "only keep-alive comments"
            line = raw.decode().rstrip("\n")
            if line.startswith(":"):
                continue
            if not line and fields:
                event = json.loads(fields["data"])
                assert event["event"] == fields["event"], fields
                return fields["id"], event
            if line:
                name, _, value = line.partition(": ")
                fields[name] = value

    def until(self, kind):
        """Every event until the first of a kind: [(id, event)]."""
        seen = [self.next()]
        while seen[-1][1]["event"] != kind:
            seen.append(self.next())
        return seen


class WebServer(Process):
    """The server on the loopback address, by default on a free port."""

    def __init__(self, folder, agent_port, *options, port=0, keys=None):
        self.folder = folder
        self.package = os.path.join(folder, "FW.fwm")
        super().__init__(
            "upgrade-web",
            [
                *(PROGRAM, "serve", "--port", str(port), "--package", self.package),
                *("--agent-host", "127.0.0.1", "--agent-port", str(agent_port)),
                *("--keys", keys or os.path.join(folder, "keys")),
                *("--password-file", os.path.join(folder, "password"), *options),
            ],
            stdout=subprocess.PIPE,
        )
        assert self.popen.stdout
        self.address = self.popen.stdout.readline().decode().strip()
        assert self.address, self.stderr()
        self.port = urllib.parse.urlsplit(self.address).port
        self.origin = f"http://127.0.0.1:{self.port}"
        self.cookie = None

    def request(self, method, path, body=None, **headers):
        """One request on a connection of its kind; header names have underscores."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            names = {name.replace("_", "-"): value for name, value in headers.items()}
            if self.cookie:
                names.setdefault("Cookie", self.cookie)
            connection.request(method, path, body=body, headers=names)
            return Answer(connection.getresponse())
        finally:
            connection.close()

    def get(self, path, **headers):
        return self.request("GET", path, **headers)

    def token(self):
        return self.get("/api/session").document["csrf_token"]

    def post(self, path, body, **headers):
        """As the page does it; an object becomes JSON."""
        if isinstance(body, dict):
            body = json.dumps(body).encode()
        headers = {"Origin": self.origin, "X_CSRF_Token": self.token(), **headers}
        return self.request("POST", path, body, **headers)

    def log_in(self, password):
        answer = self.request(
            "POST", "/api/login", json.dumps({"password": password}), Origin=self.origin
        )
        if answer.status == 200:
            self.cookie = answer.headers["Set-Cookie"].split(";")[0]
        return answer

    def wait_until_reachable(self):
        wait.until(lambda: self.get("/api/status").document["reachable"], what="agent")

    def raw(self):
        """A connection for bytes that no client library sends."""
        return socket.create_connection(("127.0.0.1", self.port), timeout=60)

    def begin_upload(self, size, path="/api/package"):
        """A connection with the head of an upload, as the page sends it."""
        token, peer = self.token(), self.raw()
        head = (
            f"POST {path} HTTP/1.1\r\nHost: 127.0.0.1:{self.port}\r\n"
            f"Origin: {self.origin}\r\nX-CSRF-Token: {token}\r\n"
            f"Content-Length: {size}\r\n\r\n"
        )
        peer.sendall(head.encode())
        return peer


def set_password(folder, password):
    return subprocess.run(
        [PROGRAM, "--password-file", os.path.join(folder, "password"), "set-password"],
        input=password + "\n",
        capture_output=True,
        text=True,
        check=False,
        timeout=60,
    )
