# SPDX-License-Identifier: Apache-2.0
"""A fleet of simulated modules, and a controller that reaches them by name over ssh."""

import contextlib
import os
import shutil
import signal
import subprocess

from tests import ROOT
from tests.fleet import network
from tests.fleet.module import SANDBOX, Module, descendants
from tests.harness.command import run
from tests.harness.files import text, write
from tests.harness.process import Process

FOLDER = "/run/fleet"
PROGRAMS = os.environ.get("FLEET_PROGRAMS", os.path.join(ROOT, "build", "release", "bin"))
# The speed of a module's serial line.
BAUD = "57600"
USER = "operator"
# Where sshd is if it is not installed; scripts/lib/fleet.sh unpacks it there.
UNPACKED_SSHD = os.path.join(ROOT, "build", "fleet", "openssh-server", "usr", "sbin", "sshd")

# Where scripts/lib/fleet.sh installs the built collection.
COLLECTIONS = os.path.join(ROOT, "build", "fleet", "collections")

# Small images: at the line's speed each takes about a second.
DEVICE = {
    "model": "HX-8",
    "product_id": "HX8",
    "restart_ms": 300,
    "reboot_ms": 300,
    "chips": [
        {"name": "AUX", "chip_type": 1, "mcu_type": 2, "version": "1.0.0", "upgrades_to": "1.1.0"},
        {"name": "FPGA", "chip_type": 17, "version": "3.0", "upgrades_to": "3.1"},
    ],
}


def module_names(count):
    """module1 and so on."""
    return [f"module{number}" for number in range(1, count + 1)]


class Fleet:
    """`devices` are the device files by the names of their modules; the others have `device`."""

    def __init__(self, count, programs=PROGRAMS, device=None, devices=None, baud=BAUD):
        network.require_private()
        network.run("mount", "-t", "tmpfs", "tmpfs", "/run")
        self.folder = FOLDER
        self.programs = os.path.realpath(programs)
        self.baud = baud
        self.sshd = shutil.which("sshd", path="/usr/sbin") or UNPACKED_SSHD
        self.ssh_folder = os.path.join(FOLDER, "ssh")
        self.sshd_settings = os.path.join(self.ssh_folder, "sshd_config")
        self.network = network.Network()
        names = module_names(count)
        self.addresses = {
            name: network.module_address(number) for number, name in enumerate(names, 1)
        }
        self.home = os.path.join(FOLDER, "controller", "home")
        self._make_ssh_settings()
        self.modules = {
            name: Module(self, name, address, (devices or {}).get(name, device or DEVICE))
            for name, address in self.addresses.items()
        }
        self._make_controller()

    def write_users(self, settings, home):
        """The users and addresses of a sandbox; the only user has the sandbox's number."""
        write(os.path.join(settings, "passwd"), f"{USER}:x:1000:1000::{home}:/bin/bash\n")
        write(os.path.join(settings, "group"), f"{USER}:x:1000:\n")
        hosts = "".join(f"{address} {name}\n" for name, address in self.addresses.items())
        write(os.path.join(settings, "hosts"), f"127.0.0.1 localhost\n{hosts}")

    def _make_ssh_settings(self):
        """One host key for all modules, and the user's key."""
        user = os.path.join(self.home, ".ssh")
        for folder in (self.ssh_folder, user):
            os.makedirs(folder, mode=0o700)
        host_key, user_key = os.path.join(self.ssh_folder, "host_key"), os.path.join(user, "id")
        for key in (host_key, user_key):
            network.run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "fleet", "-f", key)
        shutil.copy(user_key + ".pub", os.path.join(self.ssh_folder, "authorized_keys"))
        write(os.path.join(user, "known_hosts"), f"* {text(host_key + '.pub')}")
        write(
            os.path.join(user, "config"),
            f"Host *\n    User {USER}\n    IdentityFile {user_key}\n    ConnectTimeout 5\n",
            0o600,
        )
        path = f"{ROOT}/scripts/sandbox-bin:{self.programs}:/usr/local/bin:/usr/bin:/bin:/usr/sbin"
        write(
            self.sshd_settings,
            f"HostKey {host_key}\n"
            f"AuthorizedKeysFile {self.ssh_folder}/authorized_keys\n"
            "StrictModes no\nUsePAM no\nPasswordAuthentication no\nPidFile none\n"
            "MaxStartups 100\nMaxSessions 100\nPrintMotd no\n"
            f"SetEnv PATH={path} LC_ALL=C.UTF-8 AGENT_SANDBOX=1\n"
            "Subsystem sftp /usr/lib/openssh/sftp-server\n",
        )

    def _make_controller(self):
        folder = os.path.join(FOLDER, "controller")
        self._controller_settings = os.path.join(folder, "settings")
        self.write_users(self._controller_settings, self.home)
        self._controller_network = self.network.add("controller", network.CONTROLLER_ADDRESS)
        self.inventory = os.path.join(self.home, "inventory.ini")
        lines = ["[modules]", *self.addresses, "", "[modules:vars]"]
        lines += ["ansible_python_interpreter=/usr/bin/python3", "upgrade_agent_log=/tmp/agent.log"]
        write(self.inventory, "\n".join(lines) + "\n")

    def start(self):
        """Switches all modules on, and waits until they are ready."""
        for module in self.modules.values():
            module.power_on()
        for module in self.modules.values():
            module.wait_until_ready()

    def stop(self):
        """Ends everything; the namespaces end with this process."""
        for module in self.modules.values():
            module.stop()

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def controller_command(self, command, binds=(), **environment):
        """The command line that runs a command on the controller, with further environment. The
        home folder stays from one command to the next; /tmp does not."""
        path = [os.path.join(ROOT, "tests", "fleet", "bin"), self.programs, "/usr/bin", "/bin"]
        values = {
            "HOME": self.home,
            "PATH": ":".join(path),
            "LC_ALL": "C.UTF-8",
            "FLEET_INVENTORY": self.inventory,
            "ANSIBLE_COLLECTIONS_PATH": COLLECTIONS,
            **environment,
        }
        options = ["--as-user", "--network", self._controller_network]
        options += ["--settings", self._controller_settings, f"--bind={self.programs}"]
        options += [f"--bind-writable={path}" for path in (self.home, *binds)]
        assignments = [f"{name}={value}" for name, value in values.items()]
        return [SANDBOX, *options, "--", "env", *assignments, *command]

    def run(self, *command, cwd=None, timeout=600, **environment):
        """Runs a command on the controller; returns the completed process with its text. It works
        in `cwd`, which it may write; its home by default."""
        cwd = cwd or self.home
        words = self.controller_command(command, [cwd], **environment)
        return run(*words, cwd=cwd, stdin=subprocess.DEVNULL, timeout=timeout)

    def begin(self, *command, cwd=None, **environment):
        """Starts a command on the controller: a process with its standard output as a pipe."""
        cwd = cwd or self.home
        return Process(
            "controller",
            self.controller_command(command, [cwd], **environment),
            cwd=cwd,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
        )

    @staticmethod
    def interrupt(process):
        """Ctrl-C for a command that begin() has started."""
        for pid in list(descendants(process.popen.pid)):
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGINT)

    def report(self):
        """What the programs of all modules have written."""
        return "\n".join(module.report() for module in self.modules.values())
