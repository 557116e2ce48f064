# SPDX-License-Identifier: Apache-2.0
"""A copy of the throw-away root in which the real sudo runs, and every command that it may run only
writes down how it was called."""

import json
import os
import re
import shutil
import subprocess

from tests.harness import files
from tests.packaging.installed import chroot

ROOT = chroot.ROOT + "-recorders"
UNIT = "/usr/lib/systemd/system/upgrade-agent.service"
COMMANDS = ("usr/bin/md5sum", "usr/bin/mount", "usr/bin/tar", "usr/bin/rm", "usr/sbin/reboot")
# What else could end or change a system; not in the copy at all.
HARMFUL = ("usr/bin/systemctl", "usr/bin/umount") + tuple(
    f"usr/sbin/{name}" for name in ("halt", "init", "poweroff", "shutdown", "telinit", "runlevel")
)
# Called as, user numbers, and what of the agent's environment has reached it.
RECORDER = """#!/usr/bin/python3
import json, os, sys
with open("/run/recorded", "a") as file:
    print(json.dumps([sys.argv, os.getresuid(), os.environ.get("TAR_OPTIONS"),
                      os.environ.get("NOTIFY_SOCKET")]), file=file)
"""
# The unit's user and what it leaves of root's rights. The commands that ran follow the status.
AS_AGENT = """setpriv --reuid upgrade-agent --regid upgrade-agent --init-groups \\
    --bounding-set=-all,{capabilities} sh -c "$0"
printf '\\nstatus %s\\n' $?
cat /run/recorded 2>/dev/null || :
"""


def write(name, text):
    """A program that exists only in the copy: the file is a new one."""
    path = os.path.join(ROOT, name)
    if os.path.lexists(path):
        os.remove(path)
    files.write(path, text, 0o755)


def add_drop_in(name, text):
    """A file with further settings of the agent's unit, in the copy."""
    folder = os.path.join(ROOT, "etc/systemd/system/upgrade-agent.service.d")
    files.write(os.path.join(folder, name), text)


def make():
    """Makes a fresh copy. Its files are links to the root's files, except the replaced ones."""
    shutil.rmtree(ROOT, ignore_errors=True)
    subprocess.run(["cp", "-al", chroot.ROOT, ROOT], check=True)
    for name in HARMFUL:
        path = os.path.join(ROOT, name)
        if os.path.lexists(path):
            os.remove(path)
    for name in COMMANDS:
        write(name, RECORDER)


def check_harmless():
    """Nothing is run unless every command is a recorder."""
    for name in COMMANDS:
        path = os.path.join(ROOT, name)
        assert files.text(path) == RECORDER and not os.path.islink(path), name
    for name in HARMFUL:
        assert not os.path.lexists(os.path.join(ROOT, name)), name


def capabilities():
    """What the unit leaves of root's rights, as setpriv names them."""
    lines = re.findall(r"(?m)^CapabilityBoundingSet=(.*)$", chroot.read(UNIT))
    return {name.removeprefix("CAP_").lower() for name in " ".join(lines).split()}


def names_of(mask):
    """The names of a hexadecimal mask of rights, as /proc shows it."""
    names = chroot.output("setpriv", "--list-caps").split()
    return {name for number, name in enumerate(names) if int(mask, 16) >> number & 1}


def own_capabilities():
    """What this very process may hand on; a container's root has less than the machine's."""
    return names_of(re.findall(r"CapBnd:\s*(\S+)", files.text("/proc/self/status"))[0])


def as_agent(line, **environment):
    """Runs a command line as the agent would: (status, [what ran], standard error)."""
    check_harmless()
    allowed = ",".join(f"+{name}" for name in sorted(capabilities() & own_capabilities()))
    done = chroot.run(
        "sh", "-c", AS_AGENT.format(capabilities=allowed), line, root=ROOT, **environment
    )
    status, *ran = done.stdout.rpartition("\nstatus ")[2].splitlines()
    return int(status), [json.loads(one) for one in ran], done.stderr
