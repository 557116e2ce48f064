# SPDX-License-Identifier: Apache-2.0
"""The programs of a measurement: the agent, references, peers and load generators."""

import json
import os
import resource
import socket
import subprocess
import time

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
PROGRAMS = os.environ.get("BENCH_PROGRAMS", os.path.join(PROJECT, "build", "bench", "bin"))
DEVICES = os.path.join(PROJECT, "tools", "device-simulator", "examples")
SERIAL_DEVICE = "/dev/ttyS2"
PACKAGE = "/data/FW.fwm"

AGENT_PORT = 35353
QT_PORT = 35354
EPOLL_PORT = 35355
REDIS_PORT = 35356

START_LIMIT = 10.0
START_PAUSE = 0.005
RUN_LIMIT = 300.0


class Failure(Exception):
    """A measurement that gave no figure."""


def program(name):
    """The path of a program of the build."""
    return os.path.join(PROGRAMS, name)


def allow_many_sockets():
    """A thousand clients need more descriptors than the usual soft limit leaves."""
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))


def keep_server_ports_free():
    """Gives clients only ports above the servers': among thousands, one that has just hung up would
    keep a server from listening there. This changes only the sandbox's own network."""
    with open("/proc/sys/net/ipv4/ip_local_port_range", "w", encoding="ascii") as file:
        file.write("36000 60999")


def try_port(port):
    """True when a server accepts a connection."""
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


def await_port(port):
    """Returns once a server accepts connections there."""
    limit = time.monotonic() + START_LIMIT
    while not try_port(port):
        if time.monotonic() > limit:
            raise Failure(f"no server listens on port {port}")
        time.sleep(START_PAUSE)


class Server:
    """A server that runs until the end of the with-block."""

    def __init__(self, port, *command):
        self.port = port
        self.command = command
        self.process: subprocess.Popen[bytes]

    def __enter__(self):
        self.process = subprocess.Popen(
            self.command,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        await_port(self.port)
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()

    @property
    def pid(self):
        """The process."""
        return self.process.pid


def agent():
    """The agent, on its usual port."""
    return Server(AGENT_PORT, program("upgrade-agent"))


def qt_server():
    """The limit of a line server with Qt."""
    return Server(QT_PORT, program("qt-server"), str(QT_PORT))


def epoll_server():
    """The practical limit of a line server."""
    return Server(EPOLL_PORT, program("epoll-server"), str(EPOLL_PORT))


def redis():
    """Redis as a line server, which only answers PING here."""
    return Server(
        REDIS_PORT,
        "redis-server",
        "--port",
        str(REDIS_PORT),
        "--bind",
        "127.0.0.1",
        "--save",
        "",
        "--appendonly",
        "no",
        "--maxclients",
        "4000",
        "--dir",
        "/tmp",
    )


def line_load(port, *, clients=1, depth=1, seconds=1.0, pause=0):
    """Loads a server; rate and latencies as a dictionary."""
    words = ["--request", "PING", "--reply", "+PONG"] if port == REDIS_PORT else []
    output = check_output(
        [
            program("line-load"),
            "--port",
            str(port),
            "--clients",
            str(clients),
            "--depth",
            str(depth),
            "--seconds",
            str(seconds),
            "--pause",
            str(pause),
            *words,
        ]
    )
    return json.loads(output)


def times(*command):
    """Runs a program that prints nanoseconds, a line each; the list of them in seconds."""
    return [int(line) / 1e9 for line in check_output(command).split()]


def check_output(command):
    """The output of a program, which must succeed."""
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False, timeout=RUN_LIMIT
    )
    if done.returncode != 0:
        raise Failure(f"{command[0]}: {done.stderr.decode(errors='replace')[-500:]}")
    return done.stdout.decode()


class Responder:
    """The device's side of the serial line, which measures the sender."""

    def __init__(self, *arguments, device=None, command=()):
        play = ["--device", device] if device else ["--xmodem"]
        self.command = [
            program("block-responder"),
            "--link",
            SERIAL_DEVICE,
            *play,
            *map(str, arguments),
            *(["--", *map(str, command)] if command else []),
        ]
        self.process: subprocess.Popen[bytes]

    def __enter__(self):
        self.process = subprocess.Popen(
            self.command,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )
        assert self.process.stdout is not None
        if self.process.stdout.readline() != b"ready\n":
            raise Failure("the responder does not start")
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    def finish(self):
        """Ends it now and returns its measurements."""
        # A signal between two of its waits is seen only after the next one.
        while True:
            self.process.terminate()
            try:
                self.process.wait(0.2)
                return self.result()
            except subprocess.TimeoutExpired:
                pass

    def result(self):
        """Waits for its blocks and returns its measurements."""
        try:
            output, _ = self.process.communicate(timeout=RUN_LIMIT)
        except subprocess.TimeoutExpired as error:
            raise Failure("the blocks did not come") from error
        seen = json.loads(output)
        if seen["offended"]:
            raise Failure("the sender violated the protocol")
        return seen


class Console:
    """A console client that requests upgrades and reads the replies on demand."""

    def __init__(self):
        self.socket = socket.create_connection(("127.0.0.1", AGENT_PORT))
        self.text = b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, *lines):
        """Sends lines."""
        self.socket.sendall(b"".join(line.encode() + b"\r\n" for line in lines))

    def upgrade(self, *rows, mode=5):
        """Asks for an upgrade of rows such as "AUX,1,0"."""
        self.send(f"UPGRADEMODE||{mode}", "||".join(["UPGRADE", *rows]))

    def read_until(self, *words, limit=RUN_LIMIT):
        """Reads until one of the words has arrived; returns all text so far."""
        self.socket.settimeout(limit)
        while not any(word.encode() in self.text for word in words):
            try:
                received = self.socket.recv(65536)
            except socket.timeout as error:
                raise Failure(f"none of {words} came: {self.text[-500:]!r}") from error
            if not received:
                raise Failure(f"the agent hung up: {self.text[-500:]!r}")
            self.text += received
        return self.text.decode(errors="replace")
