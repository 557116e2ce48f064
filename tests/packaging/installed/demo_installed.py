# SPDX-License-Identifier: Apache-2.0
"""Inside the sandbox, on the throw-away root: one upgrade by the installed programs alone. Then an
install of the module's own firmware, both ways, for the command lines that it runs."""

import json
import os
import subprocess

from scripts.lib import demo_images, demo_run
from tests.harness import module, wait
from tests.harness.agent import Agent
from tests.harness.notify import Manager
from tests.harness.simulator import Simulator

WORK = "/tmp/work"
MODULE_CHIP = {"name": "NET", "chip_type": 32, "chip_index": 0, "version": "1.0"}


def run(*command):
    print("$", *command, flush=True)
    done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False, timeout=150)
    print(done.stdout, end="", flush=True)
    assert done.returncode == 0, f"{command[0]} ended with {done.returncode}"


def make_packages():
    """The package of the demonstration, and an image of the module's own firmware."""
    os.makedirs(WORK)
    demo_images.write(WORK)
    run("fwm", "build", f"{WORK}/request.json", "-o", "/data/FW.fwm")
    run("fwm", "verify", "/data/FW.fwm")
    os.makedirs(f"{WORK}/firmware/etc")
    with open(f"{WORK}/firmware/etc/agent.conf", "w", encoding="ascii") as file:
        file.write("level=2\n")
    run("fwm", "make-net", f"{WORK}/firmware", "--net-version", "1.23", "-o", f"{WORK}/net.bin")


def start_device():
    """The demonstration's device, on a line without a speed."""
    master = os.environ["SANDBOX_PTY_FD"]
    device: dict = {**demo_run.device(), "restart_ms": 300, "reboot_ms": 300}
    device["chips"].append(MODULE_CHIP)
    return Simulator(
        "/usr/bin/device-simulator",
        "/tmp/device",
        device,
        ("--fd", master),
        pass_fds=(int(master),),
    )


def main():
    make_packages()
    images = demo_run.records("/data/FW.fwm")
    simulator = start_device()
    # As the unit starts it: a manager waits for its word that it is ready.
    manager = Manager("@manager")
    agent = Agent(NOTIFY_SOCKET=manager.address)
    wait.until(lambda: any(one.startswith("READY=1\n") for one in manager.messages()), 10, "READY")
    assert os.readlink(f"/proc/{agent.popen.pid}/exe") == "/usr/sbin/upgrade-agent"
    run("upgrade-console", "version")
    rows = [f"{chip[0]},{chip[1]},{chip[2]}" for chip in demo_run.CHIPS]
    run("upgrade-console", "upgrade", *rows)
    print("The device's flash, against the package:")
    assert demo_run.compare(simulator, images)
    assert module.commands() == []

    run("fwm", "add-net", "/data/FW.fwm", f"{WORK}/net.bin", "-o", "/data/FW.fwm")
    run("upgrade-console", "upgrade", "--mode", "5", "--yes", "NET,32,0")
    assert module.commands() == module.INSTALL, module.commands()
    module.clean()
    run("upgrade-console", "send-net", f"{WORK}/net.bin")
    wait.until(lambda: module.commands() == [*module.INSTALL, module.REBOOT], 20, "reboot")
    assert agent.alive, agent.report()
    agent.kill()
    simulator.stop()
    print(json.dumps({"commands": module.commands()}))


if __name__ == "__main__":
    main()
