# SPDX-License-Identifier: Apache-2.0
"""Runs a command that starts programs of another architecture, without a change of the machine.

usage: python3 -B -m scripts.lib.emulated arm64 COMMAND...

Since Linux 6.7 a user namespace can have its own list of binary formats: the emulator is entered
into that of a new namespace, in which root and all other users are those of the machine. An older
kernel must have the emulator in its list, where Debian's package qemu-user-static enters it.
"""

import ctypes
import os
import platform
import sys

CLONE_NEWNS, CLONE_NEWUSER = 0x00020000, 0x10000000
LIST = "/proc/sys/fs/binfmt_misc"
ALL_IDS = "0 0 4294967295\n"
MACHINES = {"amd64": "x86_64", "arm64": "aarch64"}
# The first bytes of a program: 64 bits, little-endian, an executable or a library, the machine.
MACHINE_NUMBERS = {"amd64": 62, "arm64": 183}
# F: the emulator is opened at once, so it need not be in the root of a chroot.
FLAGS = "F"


def entry(architecture):
    """The line for the kernel's list."""
    magic = b"\x7fELF\x02\x01\x01" + bytes(9) + b"\x02\x00"
    magic += MACHINE_NUMBERS[architecture].to_bytes(2, "little")
    mask = b"\xff" * 7 + b"\x00" + b"\xff" * 8 + b"\xfe\xff\xff\xff"

    def escaped(raw):
        return "".join(f"\\x{byte:02x}" for byte in raw)

    emulator = f"/usr/bin/qemu-{MACHINES[architecture]}-static"
    name = f"module-{architecture}"
    return f":{name}:M::{escaped(magic)}:{escaped(mask)}:{emulator}:{FLAGS}"


def write(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)


def enter_namespace(architecture):
    """Makes the namespaces in a child of this process, which returns."""
    libc = ctypes.CDLL(None, use_errno=True)
    ready, mapped = os.pipe(), os.pipe()
    child = os.fork()
    if child:
        os.read(ready[0], 1)
        for name in ("uid_map", "gid_map"):
            write(f"/proc/{child}/{name}", ALL_IDS)
        os.write(mapped[1], b"x")
        sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
    if libc.unshare(CLONE_NEWUSER | CLONE_NEWNS):
        raise OSError(ctypes.get_errno(), "unshare")
    os.write(ready[1], b"x")
    os.read(mapped[0], 1)
    if libc.mount(b"binfmt_misc", LIST.encode(), b"binfmt_misc", 0, None):
        raise OSError(ctypes.get_errno(), "mount binfmt_misc")
    write(f"{LIST}/register", entry(architecture))


def is_listed(architecture):
    """Whether the machine's own list has an emulator."""
    return os.path.exists(f"{LIST}/qemu-{MACHINES[architecture]}")


def main():
    architecture, *command = sys.argv[1:]
    if MACHINES[architecture] != platform.machine() and not is_listed(architecture):
        enter_namespace(architecture)
    os.execvp(command[0], command)


if __name__ == "__main__":
    main()
