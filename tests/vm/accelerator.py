# SPDX-License-Identifier: Apache-2.0
"""Finds out whether KVM really runs the module's kernel on this machine.

/dev/kvm may be there, and usable by its answers, in a virtual machine that cannot run a kernel in
it. So the kernel is started once without disks: it must get as far as its panic.
"""

import functools
import os
import subprocess

from tests.harness.command import run
from tests.vm import machine

PROBE_SECONDS = 15


def command(kernel, architecture):
    board, tty = {"amd64": ("q35", "ttyS0"), "arm64": ("virt", "ttyAMA0")}[architecture]
    program = machine.PROGRAMS[architecture]
    return [
        *(program, "-M", f"{board},accel=kvm", "-cpu", "host", "-m", "256"),
        *("-nodefaults", "-no-user-config", "-display", "none", "-serial", "stdio", "-no-reboot"),
        *("-kernel", kernel, "-append", f"console={tty} panic=-1"),
    ]


@functools.cache
def accelerator(kernel, architecture, seconds=PROBE_SECONDS):
    """Either "kvm" or "tcg"."""
    if machine.own() != architecture or not os.access("/dev/kvm", os.W_OK):
        return "tcg"
    try:
        words = command(kernel, architecture)
        done = run(*words, stdin=subprocess.DEVNULL, text=False, timeout=seconds)
    except subprocess.TimeoutExpired:
        return "tcg"
    return "kvm" if b"Kernel panic" in done.stdout else "tcg"
