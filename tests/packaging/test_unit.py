# SPDX-License-Identifier: Apache-2.0
"""The systemd unit and the tmpfiles: they load, and take nothing away that the agent needs."""

import json
import os
import re
import shutil
import tempfile
import unittest

from tests import ROOT
from tests.harness import files
from tests.harness.command import output, run

PACKAGING = os.path.join(ROOT, "packaging")
UNIT = os.path.join(PACKAGING, "upgrade-agent.service")
WEB_UNIT = os.path.join(PACKAGING, "upgrade-web.service")
TMPFILES = os.path.join(PACKAGING, "upgrade-agent.tmpfiles")

# Each of these implies NoNewPrivileges=yes for a service that does not run as root, and
# with no new privileges sudo fails. systemd.exec(5), NoNewPrivileges=.
IMPLY_NO_NEW_PRIVILEGES = """
    SystemCallFilter SystemCallArchitectures SystemCallLog RestrictAddressFamilies
    RestrictNamespaces RestrictRealtime RestrictSUIDSGID LockPersonality MemoryDenyWriteExecute
    PrivateDevices ProtectClock ProtectHostname ProtectKernelLogs ProtectKernelModules
    ProtectKernelTunables DynamicUser
"""
# tar must be able to write everywhere, as the module's own root.
CLOSE_FOLDERS = """
    ProtectSystem ProtectHome ReadOnlyPaths InaccessiblePaths TemporaryFileSystem NoExecPaths
    RootDirectory RootImage PrivateUsers
"""
HIDE_PROCESSES = " ProtectProc ProcSubset "
NOT_TO_BE_SET = set(
    (IMPLY_NO_NEW_PRIVILEGES + CLOSE_FOLDERS + HIDE_PROCESSES + "PrivateNetwork").split()
)
# What sudo needs to become root and to look its user up, mount to remount, tar to unpack as root.
NEEDED_CAPABILITIES = """
    CAP_SETUID CAP_SETGID CAP_AUDIT_WRITE CAP_SYS_ADMIN
    CAP_CHOWN CAP_DAC_OVERRIDE CAP_FOWNER CAP_FSETID CAP_MKNOD
"""


def unit_text():
    return files.text(UNIT)


def settings():
    """What the unit sets: {key: [values]}."""
    values: dict[str, list[str]] = {}
    for key, value in re.findall(r"(?m)^(\w+)=(.*)$", unit_text()):
        values.setdefault(key, []).append(value)
    return values


def verify(unit, drop_ins=()):
    """What systemd says of a unit on a root that has nothing else of ours. The arguments are the
    unit's name and text, and those of its drop-ins: (status, words)."""
    with tempfile.TemporaryDirectory() as root:
        units = os.path.join(root, "usr/lib/systemd/system")
        shutil.copytree("/usr/lib/systemd/system", units, symlinks=True)
        os.symlink("usr/lib", os.path.join(root, "lib"))
        for program in ("sbin/upgrade-agent", "bin/upgrade-web", "bin/systemd-tmpfiles"):
            files.write(os.path.join(root, "usr", program), "", 0o755)
        for name, text in (unit, *drop_ins):
            files.write(os.path.join(units, name), text)
        done = run(
            *("systemd-analyze", "verify", "--man=no", "--recursive-errors=no"),
            *(f"--root={root}", unit[0]),
        )
        return done.returncode, done.stdout + done.stderr


class TestUnit(unittest.TestCase):
    def test_loads(self):
        name, text = "upgrade-agent.service", unit_text()
        self.assertEqual(verify((name, text)), (0, ""))
        wrong = text.replace("SocketBindDeny", "SockteBindDeny")
        self.assertIn("SockteBindDeny", verify((name, wrong))[1])
        drop_in = files.text(PACKAGING, "console-loopback.conf")
        self.assertEqual(verify((name, text), [(f"{name}.d/console.conf", drop_in)]), (0, ""))
        self.assertEqual(verify(("upgrade-web.service", files.text(WEB_UNIT))), (0, ""))

    def test_runs_the_agent_as_it_is_meant_to(self):
        expected = {
            "Type": "notify",
            # As root, without the unit's restrictions, and without effect on the agent's start.
            "ExecStartPre": "-+/usr/bin/systemd-tmpfiles --create upgrade-agent.conf",
            "ExecStart": "/usr/sbin/upgrade-agent",
            "User": "upgrade-agent",
            "Group": "upgrade-agent",
            "SupplementaryGroups": "dialout",
            "Restart": "always",
            "StartLimitIntervalSec": "0",
            "KillMode": "process",
        }
        found = settings()
        self.assertEqual(
            {key: found.get(key) for key in expected},
            {key: [value] for key, value in expected.items()},
        )
        self.assertGreaterEqual(int(found["LimitNOFILE"][0]), 4096)
        self.assertGreater(int(found["WatchdogSec"][0]), 0)

    def test_port_is_the_agent_s(self):
        header = files.text(ROOT, "src/platform/Platform.h")
        port = re.findall(r"quint16 console = (\d+);", header)[0]
        self.assertEqual(settings()["SocketBindAllow"], [f"tcp:{port}"])
        rules = files.text(PACKAGING, "management-network.nft")
        self.assertIn(f"tcp dport {port} jump console", rules)

    def test_leaves_sudo_tar_and_reboot_what_they_need(self):
        self.assertEqual(set(settings()) & NOT_TO_BE_SET, set())
        self.assertEqual(settings()["NoNewPrivileges"], ["no"])
        bounding = set(" ".join(settings()["CapabilityBoundingSet"]).split())
        self.assertEqual(set(NEEDED_CAPABILITIES.split()) - bounding, set())

    def test_explains_everything_it_leaves_out(self):
        """Against systemd's own list of what a unit may take away."""
        found = output("systemd-analyze", "security", "--offline=true", "--json=short", UNIT)
        open_ends = [
            name
            for check in json.loads(found)
            if not check["set"]
            for name in re.findall(r"(\w+)=", check["name"])
        ]
        self.assertGreater(len(open_ends), 30)
        self.assertEqual({name for name in open_ends if f"{name}=" not in unit_text()}, set())
        for name in NOT_TO_BE_SET:
            self.assertIn(f"{name}=", unit_text())


class TestWebUnit(unittest.TestCase):
    """The unit of upgrade-web."""

    def test_only_the_folder_of_the_package_can_be_written(self):
        lines = files.text(WEB_UNIT).splitlines()
        for line in ("ProtectSystem=strict", "ReadWritePaths=-/data", "User=upgrade-web"):
            self.assertIn(line, lines)
        self.assertEqual([line for line in lines if "Directory=" in line], [])

    def test_it_is_hardened(self):
        """systemd's own rating; 10 is a service without any restriction."""
        done = run("systemd-analyze", "security", "--offline=true", "--threshold=20", WEB_UNIT)
        self.assertEqual(done.returncode, 0, done.stdout)


class TestTmpfiles(unittest.TestCase):
    @unittest.skipUnless(os.geteuid() == 0, "files get other owners")
    def test_makes_data_for_the_agent(self):
        with tempfile.TemporaryDirectory() as root:
            os.makedirs(os.path.join(root, "data"), mode=0o700)
            etc = os.path.join(root, "etc")
            files.write(f"{etc}/passwd", "upgrade-agent:x:990:991::/:\nroot:x:0:0::/:\n")
            files.write(f"{etc}/group", "upgrade-agent:x:991:\nroot:x:0:\n")
            # Those of the agent, and those that only their owner may change.
            names = ("sysupdate.tar.bz2", "version", "FW.fwm", "sysupdate.marker")
            paths = [os.path.join(root, "data", name) for name in names]
            for path in paths:
                files.write(path, "kept")
            done = run("systemd-tmpfiles", "--create", f"--root={root}", TMPFILES)
            self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))
            found = [os.stat(path) for path in (os.path.join(root, "data"), *paths)]
            self.assertEqual(
                [(oct(one.st_mode & 0o7777), one.st_uid, one.st_gid) for one in found],
                [("0o2775", 0, 991)] + [("0o664", 990, 991)] * 2 + [("0o644", 0, 0)] * 2,
            )
            self.assertEqual([files.text(path) for path in paths], ["kept"] * 4)


if __name__ == "__main__":
    unittest.main(verbosity=2)
