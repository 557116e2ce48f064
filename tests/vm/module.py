# SPDX-License-Identifier: Apache-2.0
"""The virtual module while it runs."""

import contextlib
import os
import re
import shlex
import socket
import subprocess
import time

from tests.harness import files
from tests.harness.command import run
from tests.harness.console import Console
from tests.harness.process import Process
from tests.vm import machine
from tests.vm.qmp import Qmp

READY = (r"Started.* upgrade-agent", r"Started.* ssh\.service")
# For a machine that does much else; every wait ends on its condition.
BOOT_SECONDS = 600
COMMAND_SECONDS = 300
LOGIN_SECONDS = 120


class NotReady(AssertionError):
    """The module did not get as far as it should have."""


def free_ports(count):
    """TCP ports of the loopback address that nothing uses at the moment."""
    listeners = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [listener.getsockname()[1] for listener in listeners]
    for listener in listeners:
        listener.close()
    return ports


def copy_disk(source, target):
    """A private copy of an image, with its holes."""
    subprocess.run(["cp", "--sparse=always", "--reflink=auto", source, target], check=True)
    return target


class VirtualModule:
    """One virtual module with private copies of the disks in `image`, or with the given disks.

    start(), wait_until_ready(), then run() and console(); power_off() ends it in order, crash() as
    a power cut does. The disks stay in `disk_folder`, which is `folder` unless it is given, and
    start() may follow again. `options` are those of Machine.
    """

    def __init__(self, image, folder, architecture="amd64", disks=None, disk_folder="", **options):
        disk_folder = disk_folder or folder
        for path in (folder, disk_folder):
            os.makedirs(path, exist_ok=True)
        self.image = image
        self.folder = folder
        if disks is None:
            disks = tuple(
                machine.Disk(name, copy_disk(f"{image}/{name}.img", f"{disk_folder}/{name}.img"))
                for name in ("root", "data")
            )
        ssh_port, console_port = free_ports(2)
        self.machine = machine.Machine(
            architecture,
            os.path.join(image, "kernel"),
            disks,
            folder,
            ssh_port,
            console_port,
            **options,
        )
        self._process: Process | None = None
        self._ready_count = 0

    @property
    def process(self):
        """QEMU; started once at least."""
        assert self._process is not None
        return self._process

    def start(self):
        """Starts QEMU; the guest boots meanwhile."""
        for name in ("console", "qmp"):
            if os.path.exists(self.machine.path(name)):
                os.remove(self.machine.path(name))
        self._ready_count = 0
        self._process = Process(
            "qemu", self.machine.command(), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL
        )
        return self

    def console_text(self):
        """What the kernel and systemd wrote since start(), without colours."""
        try:
            with open(self.machine.path("console"), encoding="utf-8", errors="replace") as file:
                return re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]", "", file.read())
        except FileNotFoundError:
            return ""

    def wait_for_console(self, pattern, count=1, seconds=BOOT_SECONDS):
        """Waits until the console has so many matches; connections during the boot would be
        answered late, so nothing else shows how far it is."""
        end = time.monotonic() + seconds
        while len(re.findall(pattern, self.console_text())) < count:
            if not self.process.alive:
                raise NotReady(f"QEMU has ended\n{self.report()}")
            if time.monotonic() > end:
                raise NotReady(f"no {count} x {pattern!r} within {seconds:g} s\n{self.report()}")
            time.sleep(0.2)

    def wait_until_ready(self, seconds=BOOT_SECONDS):
        """Waits for the agent and for SSH of the next boot since start(); returns self."""
        self._ready_count += 1
        for pattern in READY:
            self.wait_for_console(pattern, self._ready_count, seconds)
        return self

    def copy_options(self):
        """The options of upgrade-console's put and deploy."""
        ssh_options = (
            f"IdentityFile={self.image}/id_ed25519",
            "StrictHostKeyChecking=no",
            "UserKnownHostsFile=/dev/null",
            "LogLevel=ERROR",
            f"ConnectTimeout={LOGIN_SECONDS}",
        )
        return [
            *("--ssh-user", "root", "--ssh-port", str(self.machine.ssh_port)),
            *(f"--ssh-option={option}" for option in ssh_options),
        ]

    def _ssh_options(self):
        return [
            *("-i", os.path.join(self.image, "id_ed25519"), "-F", "none", "-q"),
            *("-o", "StrictHostKeyChecking=no", "-o", "UserKnownHostsFile=/dev/null"),
            *("-o", "BatchMode=yes", "-o", "IdentitiesOnly=yes"),
            *("-o", f"ConnectTimeout={LOGIN_SECONDS}"),
            *("-o", "ControlMaster=auto", "-o", "ControlPersist=yes"),
            *("-o", f"ControlPath={self.machine.path('ssh')}"),
        ]

    def ssh_command(self, *words):
        """The ssh command line for people and for run()."""
        target = ["-p", str(self.machine.ssh_port), "root@127.0.0.1", *words]
        return ["ssh", *self._ssh_options(), *target]

    def run(self, command, check=True, seconds=COMMAND_SECONDS, **more):
        """Runs a shell command as root; an AssertionError shows why it failed."""
        if "input" not in more:
            more["stdin"] = subprocess.DEVNULL
        words = self.ssh_command("--", command)
        return run(*words, must_succeed=check, timeout=seconds, **more)

    def put(self, source, target, owner="upgrade-agent:upgrade-agent"):
        """Copies a file to the module, complete before it has its name."""
        path = shlex.quote(target)
        command = f"cat >{path}.new && chown {owner} {path}.new && mv {path}.new {path}"
        self.run(command, input=files.content(source), text=False)

    def get(self, path):
        """The bytes of a file, or None without one."""
        done = self.run(f"cat {shlex.quote(path)}", check=False, text=False)
        return None if done.returncode else done.stdout

    def console(self):
        """A console client, connected to the agent."""
        return Console(port=self.machine.console_port)

    def close_ssh(self):
        """Ends the shared connection, if there is one."""
        if os.path.exists(self.machine.path("ssh")):
            run(*self.ssh_command("-O", "exit"), timeout=30)

    def power_off(self, seconds=BOOT_SECONDS):
        """Stops the system in order and waits until it has stopped."""
        if self.machine.architecture == "arm64":
            # The button of that board is a GPIO, for which Debian's cloud kernel has no driver.
            self.run("systemctl --no-block poweroff", check=False)
        else:
            with contextlib.closing(Qmp(self.machine.path("qmp"))) as qmp:
                qmp("system_powerdown")
        self.close_ssh()
        self.process.popen.wait(seconds)

    def crash(self):
        """Ends QEMU at once, as a power cut does."""
        if self._process:
            self.process.kill()
        self.close_ssh()

    def report(self):
        """For the message of a failed test."""
        tail = "\n".join(self.console_text().splitlines()[-40:])
        return f"{self.process.report()}--- console, last lines:\n{tail}"
