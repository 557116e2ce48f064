# SPDX-License-Identifier: Apache-2.0
"""The real agent, started with no arguments."""

import contextlib
import os
import shlex
import signal
import socket

from . import console, wait
from .process import Process


class Agent(Process):
    """Runs only inside the sandbox: outside, it would meet the machine's own sudo. $AGENT_WRAPPER
    is a command to run it under, such as a memory checker."""

    def __init__(self, popen=None, **environment):
        if os.environ.get("AGENT_SANDBOX") != "1":
            raise RuntimeError("the agent is only ever started inside scripts/sandbox")
        wrapper = shlex.split(os.environ.get("AGENT_WRAPPER", ""))
        super().__init__(
            "upgrade-agent",
            [*wrapper, os.environ["AGENT_PROGRAM"]],
            cwd="/",
            env={**os.environ, **environment},
            start_new_session=True,
            **(popen or {}),
        )

    def wait_until_it_listens(self, seconds=10):
        def listening():
            assert self.alive, self.report()
            with socket.socket() as probe:
                return probe.connect_ex(("127.0.0.1", console.PORT)) == 0

        wait.until(listening, seconds, "listening agent")

    def cut_power(self):
        """Ends it with every command that it runs, wherever they are."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.popen.pid, signal.SIGKILL)
        self.kill()

    def memory(self):
        """Resident memory in bytes; 0 where a sanitizer, a wrapper or an emulator adds
        memory."""
        if wait.SLOWNESS != 1:
            return 0
        with open(f"/proc/{self.popen.pid}/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    def processor_seconds(self):
        """Processor time used so far."""
        with open(f"/proc/{self.popen.pid}/stat", encoding="ascii") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def descriptors(self):
        """How many descriptors it holds."""
        return len(os.listdir(f"/proc/{self.popen.pid}/fd"))
