# SPDX-License-Identifier: Apache-2.0
"""The console: heartbeats, the package check, EDID reports, memory, start and rest."""

import contextlib
import os
import socket
import statistics
import time

from bench.runner import process_state, signing
from bench.runner.figures import MIB, Sample
from bench.runner.packages import AUX, read_at_each_list, write_package
from bench.runner.programs import (
    AGENT_PORT,
    PACKAGE,
    PROJECT,
    QT_PORT,
    Failure,
    agent,
    epoll_server,
    line_load,
    program,
    qt_server,
    redis,
    times,
)

SERVERS = {"agent": agent, "qt": qt_server, "redis": redis, "epoll": epoll_server}
EDID = os.path.join(PROJECT, "tests", "edid", "data", "v4l-lg-oled-c9-hdmi.bin")
MANY_CLIENTS = 1000
CHECKS = 3


def load_all(names, clients, depth, seconds):
    """Loads the servers one after the other."""
    loads = {}
    for name in names:
        with SERVERS[name]() as server:
            loads[name] = line_load(server.port, clients=clients, depth=depth, seconds=seconds)
    return loads


def rates(loads, clients, depth):
    """The agent's rate against every other server's."""
    prefix = f"rate-{clients}-{depth}" if clients == 1 else f"rate-{clients}"
    return {
        f"{prefix}-{name}": Sample(loads["agent"]["rate"], load["rate"])
        for name, load in loads.items()
        if name != "agent"
    }


def measure_heartbeats(scale):
    """Replies per second, few clients and many."""
    samples: dict = {}
    for depth in (1, 16):
        loads = load_all(("agent", "qt", "redis", "epoll"), 1, depth, scale)
        samples |= rates(loads, 1, depth)
    samples |= rates(load_all(("agent", "qt", "redis"), 50, 1, scale), 50, 1)
    samples |= rates(load_all(("agent", "redis"), 500, 1, scale), 500, 1)
    loads = load_all(("agent", "qt", "redis", "epoll"), MANY_CLIENTS, 1, 2 * scale)
    samples |= rates(loads, MANY_CLIENTS, 1)
    samples["p99-1000-redis"] = Sample(loads["agent"]["p99_ns"], loads["redis"]["p99_ns"])
    return samples


def put_large_package(scale):
    """A package of 256 MB, of which the agent reads everything for each list."""
    size = int(256e6 * scale)
    if not os.path.exists(PACKAGE) or os.path.getsize(PACKAGE) < size:
        write_package(PACKAGE, (AUX, size))
    read_at_each_list(PACKAGE)


def list_package():
    """The time in which the agent checks and lists the package, and how its memory grows."""
    with agent() as server:
        before = process_state.resident(server.pid)
        process_state.forget_peak(server.pid)
        own = statistics.median(
            times(
                program("round-trips"),
                "--port",
                str(AGENT_PORT),
                "--count",
                str(CHECKS),
                "--request",
                "GETFIRMWARELIST",
            )
        )
        return own, process_state.peak(server.pid) - before


def measure_check(scale):
    """A whole package is read and its checksum computed before its list is shown."""
    put_large_package(scale)
    checker = program("zlib-checksum")
    peer = statistics.median(times(checker, PACKAGE, str(CHECKS)))
    reading = statistics.median(times(checker, PACKAGE, str(CHECKS), "--only-read"))
    own, growth = list_package()
    os.remove(PACKAGE)
    # Speeds: the time of the other over the agent's.
    return {
        "check": Sample(peer, own),
        "check-reading": Sample(reading, own),
        "check-growth": Sample(growth / MIB),
    }


def measure_signed_check(scale):
    """The same with a key: checksum and digest come from one reading."""
    put_large_package(scale)
    signing.trust_package()
    peer = statistics.median(
        times(program("process-timer"), "--count", str(CHECKS), "b2sum", PACKAGE)
    )
    with agent():
        signing.require_trust()
    own, growth = list_package()
    signing.clean()
    os.remove(PACKAGE)
    return {"check-signed": Sample(own, peer), "check-signed-growth": Sample(growth / MIB)}


def measure_parse_edid(scale):
    """A report over the console, against edid-decode for the same dump."""
    with open(EDID, "rb") as file:
        dump = file.read()
    with agent():
        own, heartbeat = (
            times(
                program("round-trips"),
                "--port",
                str(AGENT_PORT),
                "--count",
                str(max(int(500 * scale), 10)),
                "--request",
                request,
            )
            for request in ("PARSEEDID||" + dump.hex(" "), "HEARTBEAT")
        )
    peer = times(
        program("process-timer"), "--count", str(max(int(50 * scale), 3)), "edid-decode", EDID
    )
    return {
        "parse-edid": Sample(statistics.median(own), statistics.median(peer)),
        "parse-edid-heartbeat": Sample(statistics.median(own), statistics.median(heartbeat)),
    }


def memory(make_server, clients):
    """Bytes in use once all clients are connected and have got a reply."""
    with make_server() as server, contextlib.ExitStack() as sockets:
        for _ in range(clients):
            one = sockets.enter_context(socket.create_connection(("127.0.0.1", server.port)))
            one.sendall(b"HEARTBEAT\r\n")
            if one.recv(64) != b"HEARTBEAT\r\n":
                raise Failure("another reply than a heartbeat's")
        return process_state.resident(server.pid)


def measure_memory(_scale):
    """Memory at rest, and with many clients."""
    return {
        "memory-rest": Sample(memory(agent, 0), memory(qt_server, 0)),
        "memory-1000": Sample(memory(agent, MANY_CLIENTS), memory(qt_server, MANY_CLIENTS)),
    }


def measure_start(scale):
    """From the start of the process to the first connection."""
    timer = [program("process-timer"), "--count", "1", "--listens-on"]
    own = []
    qt = []
    # Alternately, so that a slower moment of the machine affects both.
    for _ in range(max(int(20 * scale), 3)):
        own += times(*timer, str(AGENT_PORT), program("upgrade-agent"))
        qt += times(*timer, str(QT_PORT), "--", program("qt-server"), str(QT_PORT))
    return {"start": Sample(statistics.median(own), statistics.median(qt))}


def measure_rest(scale):
    """The processor time of an agent without requests."""
    seconds = max(3 * scale, 0.5)
    with agent() as server:
        time.sleep(0.5)
        before = process_state.processor_time(server.pid)
        time.sleep(seconds)
        used = process_state.processor_time(server.pid) - before
    return {"cpu-rest": Sample(used * 1e6 / seconds)}
