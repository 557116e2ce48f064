# SPDX-License-Identifier: Apache-2.0
"""The systemd unit and the tmpfiles: they load, and take nothing away that the agent needs."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

PROJECT = os.environ["PROJECT"]
UNIT = os.path.join(PROJECT, "packaging", "upgrade-agent.service")
TMPFILES = os.path.join(PROJECT, "packaging", "upgrade-agent.tmpfiles")

# Each of these implies NoNewPrivileges=yes for a service that does not run as root, and
# with no new privileges sudo fails. systemd.exec(5), NoNewPrivileges=.
IMPLY_NO_NEW_PRIVILEGES = {
    "SystemCallFilter",
    "SystemCallArchitectures",
    "SystemCallLog",
    "RestrictAddressFamilies",
    "RestrictNamespaces",
    "RestrictRealtime",
    "RestrictSUIDSGID",
    "LockPersonality",
    "MemoryDenyWriteExecute",
    "PrivateDevices",
    "ProtectClock",
    "ProtectHostname",
    "ProtectKernelLogs",
    "ProtectKernelModules",
    "ProtectKernelTunables",
    "DynamicUser",
}
# tar must be able to write everywhere, as the module's own root.
CLOSE_FOLDERS = {
    "ProtectSystem",
    "ProtectHome",
    "ReadOnlyPaths",
    "InaccessiblePaths",
    "TemporaryFileSystem",
    "NoExecPaths",
    "RootDirectory",
    "RootImage",
    "PrivateUsers",
}
HIDE_PROCESSES = {"ProtectProc", "ProcSubset"}
NOT_TO_BE_SET = IMPLY_NO_NEW_PRIVILEGES | CLOSE_FOLDERS | HIDE_PROCESSES | {"PrivateNetwork"}
# What sudo needs to become root and to look its user up, mount to remount, tar to unpack as root.
NEEDED_CAPABILITIES = {
    "CAP_SETUID",
    "CAP_SETGID",
    "CAP_AUDIT_WRITE",
    "CAP_SYS_ADMIN",
    "CAP_CHOWN",
    "CAP_DAC_OVERRIDE",
    "CAP_FOWNER",
    "CAP_FSETID",
    "CAP_MKNOD",
}


def unit_text():
    with open(UNIT, encoding="utf-8") as file:
        return file.read()


def settings():
    """What the unit sets: {key: [values]}."""
    values: dict[str, list[str]] = {}
    for key, value in re.findall(r"(?m)^(\w+)=(.*)$", unit_text()):
        values.setdefault(key, []).append(value)
    return values


def verify(unit):
    """What systemd says of a unit on a root that has nothing else of ours: (status, words)."""
    with tempfile.TemporaryDirectory() as root:
        units = os.path.join(root, "usr/lib/systemd/system")
        shutil.copytree("/usr/lib/systemd/system", units, symlinks=True)
        for folder in ("usr/sbin", "etc"):
            os.makedirs(os.path.join(root, folder))
        os.symlink("usr/lib", os.path.join(root, "lib"))
        for program in ("usr/sbin/upgrade-agent", "usr/bin/systemd-tmpfiles"):
            os.makedirs(os.path.dirname(os.path.join(root, program)), exist_ok=True)
            shutil.copy("/bin/true", os.path.join(root, program))
        with open(os.path.join(units, "upgrade-agent.service"), "w", encoding="utf-8") as file:
            file.write(unit)
        done = subprocess.run(
            [
                "systemd-analyze",
                "verify",
                "--man=no",
                "--recursive-errors=no",
                f"--root={root}",
                "upgrade-agent.service",
            ],
            capture_output=True,
            text=True,
            check=False,
        )
        return done.returncode, done.stdout + done.stderr


class TestUnit(unittest.TestCase):
    def test_loads(self):
        self.assertEqual(verify(unit_text()), (0, ""))
        self.assertIn(
            "SockteBindDeny", verify(unit_text().replace("SocketBindDeny", "SockteBindDeny"))[1]
        )

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
        with open(os.path.join(PROJECT, "src/platform/Platform.h"), encoding="utf-8") as file:
            port = re.findall(r"quint16 console = (\d+);", file.read())[0]
        self.assertEqual(settings()["SocketBindAllow"], [f"tcp:{port}"])
        with open(
            os.path.join(PROJECT, "packaging/management-network.nft"), encoding="utf-8"
        ) as file:
            self.assertIn(f"tcp dport {port} jump console", file.read())

    def test_leaves_sudo_tar_and_reboot_what_they_need(self):
        self.assertEqual(set(settings()) & NOT_TO_BE_SET, set())
        self.assertEqual(settings()["NoNewPrivileges"], ["no"])
        bounding = set(" ".join(settings()["CapabilityBoundingSet"]).split())
        self.assertEqual(NEEDED_CAPABILITIES - bounding, set())

    def test_explains_everything_it_leaves_out(self):
        """Against systemd's own list of what a unit may take away."""
        done = subprocess.run(
            ["systemd-analyze", "security", "--offline=true", "--json=short", UNIT],
            capture_output=True,
            text=True,
            check=True,
        )
        open_ends = [
            name
            for check in json.loads(done.stdout)
            if not check["set"]
            for name in re.findall(r"(\w+)=", check["name"])
        ]
        self.assertGreater(len(open_ends), 30)
        self.assertEqual({name for name in open_ends if f"{name}=" not in unit_text()}, set())
        for name in NOT_TO_BE_SET:
            self.assertIn(f"{name}=", unit_text())


class TestWebUnit(unittest.TestCase):
    """The unit of upgrade-web, and the drop-in that closes the agent's port."""

    @staticmethod
    def verify(files):
        """What systemd says of units that are files of the project: {where: name}."""
        with tempfile.TemporaryDirectory() as root:
            units = os.path.join(root, "usr/lib/systemd/system")
            shutil.copytree("/usr/lib/systemd/system", units, symlinks=True)
            os.symlink("usr/lib", os.path.join(root, "lib"))
            for program in ("usr/sbin/upgrade-agent", "usr/bin/upgrade-web"):
                os.makedirs(os.path.dirname(os.path.join(root, program)))
                shutil.copy("/bin/true", os.path.join(root, program))
            for where, name in files.items():
                os.makedirs(os.path.dirname(os.path.join(units, where)), exist_ok=True)
                shutil.copy(os.path.join(PROJECT, "packaging", name), os.path.join(units, where))
            unit = next(iter(files))
            done = subprocess.run(
                ["systemd-analyze", "verify", "--man=no", "--recursive-errors=no"]
                + [f"--root={root}", unit],
                capture_output=True,
                text=True,
                check=False,
            )
            return done.returncode, done.stdout + done.stderr

    def test_they_load(self):
        web = {"upgrade-web.service": "upgrade-web.service"}
        self.assertEqual(self.verify(web), (0, ""))
        drop_in = "upgrade-agent.service.d/console-loopback.conf"
        agent = {"upgrade-agent.service": "upgrade-agent.service", drop_in: "console-loopback.conf"}
        self.assertEqual(self.verify(agent), (0, ""))

    def test_only_the_folder_of_the_package_can_be_written(self):
        with open(os.path.join(PROJECT, "packaging/upgrade-web.service"), encoding="utf-8") as file:
            lines = file.read().splitlines()
        for line in ("ProtectSystem=strict", "ReadWritePaths=-/data", "User=upgrade-web"):
            self.assertIn(line, lines)
        self.assertEqual([line for line in lines if "Directory=" in line], [])

    def test_it_is_hardened(self):
        """systemd's own rating; 10 is a service without any restriction."""
        unit = os.path.join(PROJECT, "packaging/upgrade-web.service")
        done = subprocess.run(
            ["systemd-analyze", "security", "--offline=true", "--threshold=20", unit],
            capture_output=True,
            text=True,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stdout)


class TestTmpfiles(unittest.TestCase):
    @unittest.skipUnless(os.geteuid() == 0, "files get other owners")
    def test_makes_data_for_the_agent(self):
        with tempfile.TemporaryDirectory() as root:
            os.makedirs(os.path.join(root, "etc"))
            os.makedirs(os.path.join(root, "data"), mode=0o700)
            for name, lines in (
                ("passwd", "upgrade-agent:x:990:991::/:\nroot:x:0:0::/:\n"),
                ("group", "upgrade-agent:x:991:\nroot:x:0:\n"),
            ):
                with open(os.path.join(root, "etc", name), "w", encoding="ascii") as file:
                    file.write(lines)
            archive = os.path.join(root, "data/sysupdate.tar.bz2")
            version = os.path.join(root, "data/version")
            package = os.path.join(root, "data/FW.fwm")
            marker = os.path.join(root, "data/sysupdate.marker")
            for path in (archive, version, package, marker):
                with open(path, "w", encoding="ascii") as file:
                    file.write("kept")
            done = subprocess.run(
                ["systemd-tmpfiles", "--create", f"--root={root}", TMPFILES],
                capture_output=True,
                text=True,
                check=False,
            )
            self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))
            found = {
                path: os.stat(path)
                for path in (os.path.dirname(archive), archive, version, package, marker)
            }
            self.assertEqual(
                [(oct(one.st_mode & 0o7777), one.st_uid, one.st_gid) for one in found.values()],
                [
                    ("0o2775", 0, 991),
                    ("0o664", 990, 991),
                    ("0o664", 990, 991),
                    ("0o644", 0, 0),
                    ("0o644", 0, 0),
                ],
            )
            for path in (archive, version, package):
                self.assertEqual(os.path.getsize(path), 4)


if __name__ == "__main__":
    unittest.main(verbosity=2)
