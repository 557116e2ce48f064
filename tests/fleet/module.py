# SPDX-License-Identifier: Apache-2.0
"""A simulated module: sshd and the agent in a sandbox with an address, and its device."""

import contextlib
import fcntl
import os
import signal
import socket
import subprocess
import termios
import tty

from tests import ROOT
from tests.harness import files, module, wait
from tests.harness.console import PORT as AGENT_PORT
from tests.harness.process import Process
from tests.harness.simulator import Simulator

SANDBOX = os.path.join(ROOT, "scripts", "sandbox")
INIT = os.path.join(ROOT, "tests", "fleet", "bin", "module-init")
SSH_PORT = 22


def descendants(pid):
    """The process ids of all processes below a process."""
    children: list[str] = []
    with contextlib.suppress(FileNotFoundError, ProcessLookupError):
        for task in os.listdir(f"/proc/{pid}/task"):
            children += files.text(f"/proc/{pid}/task/{task}/children").split()
    for child in map(int, children):
        yield child
        yield from descendants(child)


class Module:
    """One module. Its files are in `folder`: data is /data, keys is /etc/upgrade-agent/keys,
    log/agent.log is what the agent has written to standard error."""

    def __init__(self, site, name, address, device):
        self.site = site
        self.name = name
        self.address = address
        self.folder = os.path.join(site.folder, name)
        self.network = site.network.add(name, address)
        self.data = os.path.join(self.folder, "data")
        self.keys = os.path.join(self.folder, "settings", "upgrade-agent", "keys")
        self.log = os.path.join(self.folder, "log")
        for folder in (self.data, self.keys, self.log):
            os.makedirs(folder)
        site.write_users(os.path.join(self.folder, "settings"), home="/tmp")
        self._master, self._line = os.openpty()
        tty.setraw(self._line)
        self.device = Simulator(
            os.path.join(site.programs, "device-simulator"),
            os.path.join(self.folder, "device"),
            device,
            ("--fd", str(self._master)),
            options=("--baud", site.baud),
            pass_fds=(self._master,),
        )
        self.sandbox: Process | None = None

    # Power.

    def power_on(self):
        """Starts the module; wait_until_ready() waits for it. The device is always on."""
        binds = [self.site.programs, self.site.ssh_folder]
        self.sandbox = Process(
            self.name,
            [SANDBOX, "--as-user", "--network", self.network, "--tty", os.ttyname(self._line)]
            + ["--data", self.data, "--settings", os.path.join(self.folder, "settings")]
            + [f"--bind={path}" for path in binds]
            + [f"--bind-writable={self.log}", "--"]
            + [INIT, self.site.sshd, self.site.sshd_settings, self.site.programs, self.log],
            stdin=subprocess.DEVNULL,
        )

    def power_off(self):
        """Ends every process of the module; the device loses its power for a moment."""
        assert self.sandbox is not None
        self.sandbox.kill()
        self._free_line()
        self.device.control("power-cycle")

    def _free_line(self):
        """Does what the last close of a real serial port does, which a pseudo-terminal leaves out:
        another process may open it, and no old byte is left."""
        fcntl.ioctl(self._line, termios.TIOCNXCL)
        termios.tcflush(self._line, termios.TCIOFLUSH)

    def stop(self):
        """Ends everything."""
        if self.sandbox is not None:
            self.sandbox.kill()
        self.device.stop()
        os.close(self._master)
        os.close(self._line)

    def wait_until_ready(self, seconds=60):
        """Waits for sshd and the agent."""
        for port in (SSH_PORT, AGENT_PORT):
            wait.until(lambda: self._listens(port), seconds, f"{self.name} on port {port}")

    def _listens(self, port):
        assert self.sandbox is not None and self.sandbox.alive, self.report()
        with socket.socket() as probe:
            probe.settimeout(1)
            return probe.connect_ex((self.address, port)) == 0

    # Network.

    def unplug(self):
        """Takes the module off the network."""
        self.site.network.unplug(self.name)

    def plug(self):
        """Puts it back."""
        self.site.network.plug(self.name)

    # The agent and its device.

    def agent_pid(self):
        """The agent's process id, or None while it does not run."""
        assert self.sandbox is not None
        for pid in descendants(self.sandbox.popen.pid):
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):
                if files.content(f"/proc/{pid}/comm") == b"upgrade-agent\n":
                    return pid
        return None

    def kill_agent(self):
        """Kills it; the module starts it again, as its service manager would."""
        pid = self.agent_pid()
        assert pid is not None, self.report()
        os.kill(pid, signal.SIGKILL)
        wait.until(lambda: self.agent_pid() != pid, what="end of the agent")
        self._free_line()

    def control_device(self, line):
        """A line of the simulator's control channel."""
        return self.device.control(line)

    def flash(self):
        """The flash of every chip that was written: {(chip type, index): bytes}."""
        chips = [
            (one["chip_type"], one["chip_index"])
            for one in self.device.status()["chips"]
            if one["flash_bytes"]
        ]
        return {chip: self.device.flash(*chip) for chip in chips}

    def package(self):
        """The bytes of the module's package, or None."""
        return module.content(os.path.join(self.data, "FW.fwm"))

    def put(self, name, content):
        """Replaces a file of /data by rename, as other programs do; None removes it."""
        path = os.path.join(self.data, name)
        if content is None:
            os.remove(path)
            return
        files.write(path + ".new", content)
        os.replace(path + ".new", path)

    def report(self):
        """What its programs have written, for the report of a failure."""
        parts = [one.report() for one in (self.sandbox, self.device) if one]
        for name in sorted(os.listdir(self.log)):
            log = files.content(self.log, name).decode(errors="replace")
            parts.append(f"--- {self.name}, {name}:\n{log[-4000:]}")
        return "\n".join(parts)
