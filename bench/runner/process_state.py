# SPDX-License-Identifier: Apache-2.0
"""The memory and processor time of a process, from /proc."""

import os

KIB = 1024


def status_bytes(pid, key):
    """A size out of /proc/PID/status, such as VmRSS or VmHWM, in bytes."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        for line in file:
            if line.startswith(key + ":"):
                return int(line.split()[1]) * KIB
    raise KeyError(key)


def resident(pid):
    """Bytes of memory in use now."""
    return status_bytes(pid, "VmRSS")


def forget_peak(pid):
    """Resets the peak of memory to the current use."""
    with open(f"/proc/{pid}/clear_refs", "w", encoding="ascii") as file:
        file.write("5")


def peak(pid):
    """The most memory in use since forget_peak, in bytes."""
    return status_bytes(pid, "VmHWM")


def processor_time(pid):
    """Seconds on the processors of all threads."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/schedstat", encoding="ascii") as file:
            total += int(file.read().split()[0])
    return total / 1e9
