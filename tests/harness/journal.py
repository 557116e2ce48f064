# SPDX-License-Identifier: Apache-2.0
"""The agent's log, with what differs from run to run masked."""

import re

from . import wait

# The uploader's word for each frame, which says nothing new.
UPLOADER = "successfully send command_jumpTokeyboardMCU"
CATEGORY = "agent.operations: "


def lines(agent, clients=()):
    """The agent's standard error except the uploader's word, without the
    category of the log of operations. A client's port is its place in `clients`, and "probe" for
    one that is not in there; times are "T"."""
    ports = {client.port: str(number) for number, client in enumerate(clients)}
    found = []
    for line in agent.stderr().splitlines():
        if line == UPLOADER:
            continue
        line = line.replace(CATEGORY, "")
        line = re.sub(
            r"(?<=address=127\.0\.0\.1 port=)(\d+)",
            lambda port: ports.get(int(port.group(1)), "probe"),
            line,
        )
        found.append(re.sub(r"(?<= seconds=)\d+\.\d$", "T", line))
    return found


def start():
    """The lines of every start, with the connection that probes the port."""
    return [
        "event=start version=1.15 package=/data/FW.fwm net_archive=/data/sysupdate.tar.bz2 "
        "net_version=/data/version serial=ttyS2",
        "event=listening port=35353",
        "event=client_connected address=127.0.0.1 port=probe clients=1",
        "event=client_disconnected address=127.0.0.1 port=probe clients=0",
    ]


def wait_for_lines(agent, count, seconds=10):
    """Waits until there are so many lines."""
    wait.until(lambda: len(lines(agent)) >= count, seconds, f"{count} log lines")
