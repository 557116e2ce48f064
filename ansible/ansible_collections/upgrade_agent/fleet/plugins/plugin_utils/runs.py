# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""The runs of one upgrade: after another client's run, and again after a lost connection."""

from __future__ import annotations

import time

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import documents

# Each question redirects the lines of an active run for a moment, so there are few of them.
POLL_SECONDS = 30


class Clock:
    """Real time; tests have another one."""

    now = staticmethod(time.monotonic)
    sleep = staticmethod(time.sleep)


def command_of(arguments):
    """The command and its options for upgrade-console."""
    command = ["upgrade", "--mode", str(arguments["mode"])]
    if arguments["mode"] == 5:
        command.append("--yes")
    if arguments["wait_back"]:
        command.append("--wait-back")
    if arguments["request_all"]:
        command.append("--request-all")
    if arguments["package"]:
        command += ["--package", arguments["package"]]
    return command + arguments["rows"]


def _attempts(clock, seconds):
    """Yields at once, then every POLL_SECONDS until this time is over, and once at its end."""
    end = clock.now() + seconds
    while True:
        yield
        left = end - clock.now()
        if left <= 0:
            return
        clock.sleep(min(POLL_SECONDS, left))


def run_when_idle(console, command, seconds, clock):
    """The document of a run, after another client's run if that ends within these seconds."""
    document: dict = {}
    for _attempt in _attempts(clock, seconds):
        document = console.run(*command)
        if document["exit"] != documents.BUSY:
            break
    return document


def wait_until_idle(console, seconds, clock):
    """Whether the agent answers and is not busy within these seconds."""
    for _attempt in _attempts(clock, seconds):
        state = documents.state_of(console.quick("status"))
        if state["reachable"] and not state["busy"]:
            return True
    return False


def upgrade(console, arguments, clock=Clock):
    """The result of the task: one run, and a second one after a lost connection in mode 2, which
    writes only what the first has not written."""
    command = command_of(arguments)
    first = documents.upgrade_result(
        run_when_idle(console, command, arguments["busy_timeout"], clock)
    )
    if first["exit"] != documents.CONNECTION_LOST or arguments["mode"] != 2:
        return first
    if not wait_until_idle(console, arguments["lost_timeout"], clock):
        return first
    second = documents.upgrade_result(console.run(*command))
    return documents.continued(first, second)
