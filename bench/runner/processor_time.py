# SPDX-License-Identifier: Apache-2.0
"""Runs a command in a sandbox and writes the processor time that all processes of the sandbox used.

usage: python3 -B -m bench.runner.processor_time FILE COMMAND [ARGUMENT]...
"""

import contextlib
import os
import resource
import subprocess
import sys


def running_seconds():
    """Of the other processes that still run, such as the ssh connections that Ansible keeps."""
    ticks = 0
    for pid in os.listdir("/proc"):
        if pid.isdigit() and int(pid) not in (1, os.getpid()):
            with contextlib.suppress(OSError), open(f"/proc/{pid}/stat", encoding="ascii") as file:
                ticks += sum(map(int, file.read().rsplit(")", 1)[1].split()[11:15]))
    return ticks / os.sysconf("SC_CLK_TCK")


def main():
    status = subprocess.run(sys.argv[2:], check=False).returncode
    ended = resource.getrusage(resource.RUSAGE_CHILDREN)
    with open(sys.argv[1], "w", encoding="ascii") as file:
        print(ended.ru_utime + ended.ru_stime + running_seconds(), file=file)
    return status


if __name__ == "__main__":
    sys.exit(main())
