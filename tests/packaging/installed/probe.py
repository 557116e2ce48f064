#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Stands in for the agent while the unit is tried, and writes down what the unit leaves it.

It is started three times: the first time it ends, the second time it hangs, the third time it is
still there when it is asked.
"""

import json
import os
import re
import resource
import socket
import subprocess
import time

FOLDER = "/data/probe"
KEYS = "/etc/upgrade-agent/keys"
COMMANDS = (
    "sudo md5sum /data/sysupdate.tar.bz2",
    "sudo mount -o remount rw /",
    "sudo tar -C / -xf /data/sysupdate.tar.bz2",
    "sudo rm /data/sysupdate.tar.bz2",
    "sudo mount -o remount ro /",
    "sudo reboot",
)


def notify_manager(words):
    address = os.environ["NOTIFY_SOCKET"].replace("@", "\0", 1)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
        manager.sendto(words.encode(), address)


def attempt(action):
    """ "ok", or what the system says."""
    try:
        action()
    except OSError as error:
        return error.strerror
    return "ok"


def opened(name, flags):
    return attempt(lambda: os.close(os.open(name, flags | os.O_NOCTTY)))


def status_of(line):
    return subprocess.run(["sh", "-c", line], stderr=subprocess.DEVNULL, check=False).returncode


def findings():
    with open("/proc/self/status", encoding="ascii") as file:
        status = dict(re.findall(r"(?m)^(\w+):\s*(\S+)", file.read()))
    write = os.O_WRONLY | os.O_CREAT
    return {
        "user": os.getresuid(),
        "groups": sorted({os.getgid(), *os.getgroups()}),
        "bounding": status["CapBnd"],
        "effective": status["CapEff"],
        "no_new_privileges": status["NoNewPrivs"],
        "seccomp": status["Seccomp"],
        "files": resource.getrlimit(resource.RLIMIT_NOFILE),
        "serial": opened("/dev/ttyS2", os.O_RDWR),
        "opened": {
            "other device": opened("/dev/fuse", os.O_RDWR),
            "null": opened("/dev/null", os.O_RDWR),
            "etc": opened("/etc/probe", write),
            "keys": attempt(lambda: os.listdir(KEYS)),
            "own key": opened(f"{KEYS}/own.pub", write),
            "data": opened("/data/sysupdate.tar.bz2", write),
            "lock": opened("/run/lock/LCK..ttyS2", write),
            "port": attempt(socket.create_server(("", 35353)).close),
        },
        "commands": [status_of(line) for line in COMMANDS],
        "others": [status_of("sudo -n reboot -f"), status_of("sudo -n sh -c true")],
        "watchdog": os.environ.get("WATCHDOG_USEC"),
    }


def main():
    os.makedirs(FOLDER, exist_ok=True)
    start = len(os.listdir(FOLDER))
    found = {}
    if start == 0:
        found = findings()
        with subprocess.Popen(["sleep", "600"], start_new_session=True) as command:
            found["command"] = command.pid
            finish(start, found)
            os._exit(1)
    with open(f"{FOLDER}/0", encoding="ascii") as file:
        command = json.load(file)["command"]
    found["command still runs"] = os.path.exists(f"/proc/{command}")
    finish(start, found)
    time.sleep(600)


def finish(start, found):
    notify_manager(f"READY=1\nSTATUS=start {start}")
    with open(f"{FOLDER}/new", "w", encoding="ascii") as file:
        json.dump(found, file)
    os.rename(f"{FOLDER}/new", f"{FOLDER}/{start}")


if __name__ == "__main__":
    main()
