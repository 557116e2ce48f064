# SPDX-License-Identifier: Apache-2.0
"""Shows upgrades in the browser: device, agent and upgrade-web run in the sandbox, and the page is
on this machine's loopback address. Ends with Ctrl-C.

usage: python3 -B -m scripts.lib.demo_web WORK [--once]

WORK has the package FW.fwm. With --once it starts one run itself, as a page does it, and ends with
the result of this run.
"""

import argparse
import asyncio
import contextlib
import http.client
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading

from scripts.lib import demo_run
from tests.harness import signing, web
from tests.harness.agent import Agent
from tests.harness.simulator import Simulator

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
SANDBOX = os.path.join(ROOT, "scripts", "sandbox")
# The usual port of upgrade-web.
PORT = 8353
CHUNK = 65536


def listening_socket():
    """A listener on the loopback address, on the usual port if that is free."""
    for port in (PORT, 0):
        with contextlib.suppress(OSError):
            return socket.create_server(("127.0.0.1", port), backlog=100)
    raise SystemExit("No TCP port of 127.0.0.1 is free.")


class Forwarder(threading.Thread):
    """Connects what a listener outside of the sandbox accepts to the port inside; a socket belongs
    to the network in which it was made."""

    def __init__(self, listener, port):
        super().__init__(daemon=True)
        self._listener = listener
        self._port = port

    def run(self):
        asyncio.run(self._serve())

    async def _serve(self):
        server = await asyncio.start_server(self._connect, sock=self._listener)
        await server.serve_forever()

    async def _connect(self, reader, writer):
        try:
            to_reader, to_writer = await asyncio.open_connection("127.0.0.1", self._port)
        except OSError:
            writer.close()
            return
        await asyncio.gather(self._copy(reader, to_writer), self._copy(to_reader, writer))

    @staticmethod
    async def _copy(reader, writer):
        """Until the end of one direction; then the other end is closed, too."""
        with contextlib.suppress(OSError):
            while data := await reader.read(CHUNK):
                writer.write(data)
                await writer.drain()
        writer.close()


def follow(server, simulator, images, once):
    """Prints the beginning and the result of each run; with `once` until the first result."""
    with web.Events(server) as events:
        _, event = events.until("snapshot")[-1]
        while True:
            _, event = events.next()
            if event["event"] == "run":
                print("A run has begun.", flush=True)
            if event["event"] != "result":
                continue
            document = event["run"]["document"]
            print(f"\n{document['summary']}\nThe device's flash, against the package:")
            equal = demo_run.compare(simulator, images)
            sys.stdout.flush()
            if once:
                return equal and document["result"] == "done"


def inside(work, listener, port, once):
    """In the sandbox: everything on its default port and path, but the port of the page."""
    shutil.copy(os.path.join(work, "FW.fwm"), "/data/FW.fwm")
    master = int(os.environ["SANDBOX_PTY_FD"])
    simulator = Simulator(
        os.environ["DEVICE_SIMULATOR"],
        "/tmp/device",
        demo_run.device(),
        ("--fd", str(master)),
        options=("--baud", "57600"),
        pass_fds=(master,),
    )
    agent = Agent()
    agent.wait_until_it_listens()
    server = web.WebServer("/data", 35353, port=port, keys=signing.KEYS)
    server.wait_until_reachable()
    Forwarder(socket.socket(fileno=listener), port).start()
    print(
        f"\nThe page: {server.address}\n\n"
        "It upgrades a simulated device with the serial line at its real speed; a run of all chips "
        "takes about two minutes.\nCtrl-C ends the demonstration.\n",
        flush=True,
    )
    good = False
    with contextlib.suppress(KeyboardInterrupt):
        good = follow(server, simulator, demo_run.records("/data/FW.fwm"), once)
    for process in (server, agent, simulator):
        process.stop()
    return 0 if good or not once else 1


def start_run(port):
    """Starts a run through the address that a browser uses."""

    def ask(method, path, body=None, **headers):
        peer = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
        peer.request(method, path, body, headers)
        return web.Answer(peer.getresponse())

    assert ask("GET", "/").status == 200, "the page is missing"
    token = ask("GET", "/api/session").document["csrf_token"]
    headers = {"Origin": f"http://127.0.0.1:{port}", "X-CSRF-Token": token}
    assert ask("POST", "/api/run", json.dumps({"mode": 2}), **headers).status == 202, "no run"


def outside(work, once):
    """On the machine: the listener, and the sandbox with everything else."""
    listener = listening_socket()
    port = listener.getsockname()[1]
    command = [SANDBOX, "--pty", "--", "python3", "-B", "-m", "scripts.lib.demo_web", work]
    command += ["--listener", str(listener.fileno()), "--port", str(port)]
    # Ctrl-C reaches the sandbox by itself; this process waits for its end.
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    sandbox = subprocess.Popen(
        command + (["--once"] if once else []),
        pass_fds=[listener.fileno()],
        stdout=subprocess.PIPE if once else None,
        text=True,
        preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL),
    )
    listener.close()
    if once:
        assert sandbox.stdout
        for line in sandbox.stdout:
            print(line, end="", flush=True)
            if line.startswith("Ctrl-C"):
                start_run(port)
    status = sandbox.wait()
    return 0 if status == -signal.SIGINT else status


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("work")
    parser.add_argument("--once", action="store_true")
    parser.add_argument("--listener", type=int)
    parser.add_argument("--port", type=int)
    options = parser.parse_args()
    if options.listener is None:
        return outside(os.path.abspath(options.work), options.once)
    return inside(options.work, options.listener, options.port, options.once)


if __name__ == "__main__":
    sys.exit(main())
