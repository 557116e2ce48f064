# SPDX-License-Identifier: Apache-2.0
"""The Debian packages, installed into a throw-away root by scripts/check packages."""

import glob
import json
import os
import re
import shutil
import subprocess
import sys
import time
import unittest

from tests import ROOT
from tests.harness import files, package
from tests.packaging.installed import booted, chroot, recorders, webunit

HERE = os.path.dirname(os.path.realpath(__file__))
PACKAGES = os.environ["PACKAGES"]
NAMES = tuple(f"upgrade-agent{part}" for part in ("", "-tools", "-web", "-doc")) + (
    "ansible-collection-upgrade-agent",
)
TOOLS = ("device-check", "device-simulator", "edid-report", "fwm", "upgrade-console")
PROGRAMS = ["/usr/sbin/upgrade-agent", *(f"/usr/bin/{tool}" for tool in (*TOOLS, "upgrade-web"))]
WANTED_BY = "/etc/systemd/system/multi-user.target.wants/upgrade-agent.service"
WATCHDOG_SECONDS = 4
KEY = "/etc/upgrade-agent/keys/release.pub"
UNIT = "/usr/lib/systemd/system/upgrade-agent.service"


def version_of(package):
    return chroot.output("dpkg-query", "-W", "-f", "${db:Status-Abbrev}${Version}", package)


def groups_of(user):
    return chroot.output("id", "-Gn", user).split()


def is_locked(user):
    return chroot.output("passwd", "-S", user).split()[1] == "L"


def mode_and_owner(*paths):
    return chroot.output("stat", "-c", "%a %U %G", *paths).splitlines()


def install():
    """As an administrator who has copied the packages to the module."""
    # The one file that every machine has and Debian's minimal variant has not.
    chroot.write("/etc/hosts", "127.0.0.1 localhost module\n::1 localhost\n")
    folder = chroot.path("/var/tmp/packages")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for name in sorted(glob.glob(os.path.join(PACKAGES, "*.deb"))):
        shutil.copy(name, folder)
    names = sorted(os.listdir(folder))
    return chroot.run("dpkg", "-i", *(f"/var/tmp/packages/{name}" for name in names))


class TestInstalled(unittest.TestCase):
    """The tests run in the order of their names: from the install to the purge."""

    maxDiff = None
    commands: list[str] = []

    def test_1_install(self):
        done = install()
        self.assertNotIn("warning", (done.stdout + done.stderr).lower())
        for name in NAMES:
            self.assertRegex(version_of(name), r"^ii [\d.]+$")
        self.assertEqual(chroot.output("dpkg", "--audit"), "")

    def test_2_collection_is_where_ansible_looks_for_it(self):
        page = chroot.output("ansible-doc", "upgrade_agent.fleet.upgrade", HOME="/root")
        self.assertIn("Upgrades the chips of a device", page)

    def test_2_users(self):
        self.assertRegex(
            chroot.output("getent", "passwd", "upgrade-agent"),
            r"^upgrade-agent:x:\d+:\d+:Firmware upgrade agent,,,:/nonexistent:"
            r"/usr/sbin/nologin$",
        )
        for user, group in (("upgrade-agent", "dialout"), ("upgrade-web", "upgrade-agent")):
            self.assertEqual((groups_of(user), is_locked(user)), ([user, group], True))

    def test_2_owners_of_the_folders(self):
        keys = ("/etc/upgrade-agent", "/etc/upgrade-agent/keys", "/etc/upgrade-agent/keys/README")
        self.assertEqual(
            mode_and_owner("/data", "/etc/upgrade-web", *keys),
            ["2775 root upgrade-agent", "700 upgrade-web upgrade-web"]
            + ["755 root root", "755 root root", "644 root root"],
        )

    def test_2_service_is_enabled(self):
        self.assertEqual(
            os.readlink(chroot.path(WANTED_BY)).removeprefix("/usr"), UNIT.removeprefix("/usr")
        )
        for unit in ("upgrade-agent.service", "upgrade-web.service"):
            self.assertEqual(chroot.output("systemctl", "is-enabled", unit), "enabled\n")
            done = chroot.run("systemd-analyze", "verify", "--man=no", unit)
            self.assertEqual(done.stdout + done.stderr, "")

    def test_2_policy_is_whole(self):
        self.assertIn("/etc/sudoers.d/upgrade-agent: parsed OK", chroot.output("visudo", "-c"))

    def test_2_libraries_are_all_there(self):
        for program in PROGRAMS:
            self.assertNotIn("not found", chroot.output("ldd", program))
        for tool in TOOLS:
            self.assertRegex(chroot.output(tool, "--version"), r"\d+\.\d+\.\d+")

    def test_3_an_upgrade_by_the_installed_programs(self):
        """The demonstration, with nothing from the build; the commands are kept for below."""
        done = subprocess.run(
            [os.path.join(ROOT, "scripts/sandbox"), "--root", chroot.ROOT, "--pty", "--"]
            + ["/usr/bin/python3", "-B", "-m", "tests.packaging.installed.demo_installed"],
            stdout=subprocess.PIPE,
            text=True,
            check=False,
            timeout=300,
            env={**os.environ, "AGENT_PROGRAM": "/usr/sbin/upgrade-agent"},
        )
        print(f"\n{done.stdout}", file=sys.stderr)
        self.assertEqual(done.returncode, 0)
        TestInstalled.commands = json.loads(done.stdout.splitlines()[-1])["commands"]
        self.assertEqual(len(self.commands), 7)

    # The real sudo, as the agent calls it, on a root without a program that does anything.

    def test_4_every_command_of_the_agent_runs_as_root(self):
        lines = [line for line in self.commands if line.startswith("sudo ")]
        self.assertEqual(len(lines), 6)
        recorders.make()
        for line in lines:
            status, ran, errors = recorders.as_agent(line)
            self.assertEqual((status, errors), (0, ""))
            name, *words = line.split()[1:]
            folder = "/usr/sbin/" if name == "reboot" else "/usr/bin/"
            self.assertEqual(ran, [[[folder + name, *words], [0, 0, 0], None, None]])

    def test_4_nothing_else_runs_and_no_password_is_asked(self):
        for line in (
            "sudo reboot -f",
            "sudo sh -c reboot",
            "sudo tar -C / -xf /data/FW.fwm",
            "sudo -u upgrade-agent reboot",
            "sudo rm /data/version",
            "sudo -s",
            "sudo -i",
            "sudo TAR_OPTIONS=-v tar -C / -xf /data/sysupdate.tar.bz2",
            "sudo -E reboot",
            "sudo mount -o remount,rw /",
        ):
            status, ran, errors = recorders.as_agent(line)
            self.assertEqual((status, ran), (1, []), f"{line}: {errors}")

    def test_4_neither_the_environment_nor_usr_local_reaches_tar(self):
        """A tar in /usr/local is not taken for the system's, as Debian's own policy would."""
        recorders.write("usr/local/bin/tar", "#!/bin/sh\necho own >>/run/recorded\n")
        status, ran, errors = recorders.as_agent(
            "sudo tar -C / -xf /data/sysupdate.tar.bz2", TAR_OPTIONS="-v", NOTIFY_SOCKET="@x"
        )
        self.assertEqual(status, 0, errors)
        self.assertEqual([one[1:] for one in ran], [[[0, 0, 0], None, None]])

    # The unit, under the system's own systemd, with a probe in the agent's place.

    @unittest.skipUnless(booted.control_groups(), "there are no control groups of version 2 here")
    def test_4_the_unit_under_systemd(self):
        recorders.make()
        recorders.write("usr/sbin/upgrade-agent", files.text(HERE, "probe.py"))
        recorders.add_drop_in("quick.conf", f"[Service]\nWatchdogSec={WATCHDOG_SECONDS}\n")
        recorders.check_harmless()
        starts = [os.path.join(recorders.ROOT, f"data/probe/{number}") for number in range(3)]
        with booted.booted(recorders.ROOT) as system:
            end = time.monotonic() + 60
            while not os.path.exists(starts[2]) and time.monotonic() < end:
                self.assertIsNone(system.poll(), "systemd has ended")
                time.sleep(0.2)
            seconds = os.path.getmtime(starts[2]) - os.path.getmtime(starts[1])
        found, *later = [json.loads(files.text(path)) for path in starts]
        self.check_rights(found)
        # It came back after it had ended and after it had hung, and its command lived on.
        self.assertGreaterEqual(seconds, WATCHDOG_SECONDS)
        self.assertEqual(later, [{"command still runs": True}] * 2)

    def check_rights(self, found):
        user, group = (
            int(number)
            for number in re.findall(
                r"(?m)^upgrade-agent:x:(\d+):(\d+):", chroot.read("/etc/passwd")
            )[0]
        )
        dialout = int(re.findall(r"(?m)^dialout:x:(\d+):", chroot.read("/etc/group"))[0])
        self.assertEqual(found["user"], [user] * 3)
        self.assertEqual(found["groups"], sorted([group, dialout]))
        self.assertEqual(int(found["effective"], 16), 0)
        self.assertEqual(
            recorders.names_of(found["bounding"]),
            recorders.capabilities() & recorders.own_capabilities(),
        )
        self.assertEqual((found["no_new_privileges"], found["seccomp"]), ("0", "0"))
        self.assertEqual(found["files"], [8192, 8192])
        self.assertEqual(found["watchdog"], str(WATCHDOG_SECONDS * 1000000))
        # No chip is connected to the serial line here; the agent only must be allowed to open it.
        self.assertIn(found["serial"], ("ok", "No such device or address", "Input/output error"))
        self.assertEqual(
            found["opened"],
            {
                "other device": "Operation not permitted",
                "null": "ok",
                "etc": "Permission denied",
                "keys": "ok",
                "own key": "Permission denied",
                "data": "ok",
                "lock": "ok",
                "port": "ok",
            },
        )
        self.assertEqual((found["commands"], found["others"]), ([0] * 6, [1] * 2))

    @unittest.skipUnless(booted.control_groups(), "there are no control groups of version 2 here")
    def test_4_the_web_server_under_systemd(self):
        """The real server, with its unit; it takes a password and a package, and can write to the
        folder of the package only."""
        chroot.run(
            *("setpriv", "--reuid=upgrade-web", "--regid=upgrade-web", "--init-groups"),
            *("sh", "-c", f"echo '{webunit.PASSWORD}' | upgrade-web set-password"),
        )
        webunit.prepare(drop_in=False)
        content = package.build([package.Image("MAIN", package.image_bytes(3000))])
        with booted.booted(recorders.ROOT) as system:
            machine = webunit.Machine(system)
            machine.wait_for("127.0.0.1", webunit.HTTP)
            self.assertEqual(machine.upload(content), [200, 200, None])
            pid = machine.process("/usr/bin/upgrade-web")
            rights, users = machine.rights(pid)
            writable = {
                folder: machine.can_write(pid, folder)
                for folder in ("/data", "/", "/etc", "/etc/upgrade-web", "/usr", "/var", "/root")
            }
            with webunit.Cable(machine) as cable:
                machine.wait_for(webunit.MODULE, webunit.CONSOLE)
                self.assertEqual(
                    [cable.reaches_console(source) for source in webunit.SOURCES], [True, True]
                )
        none = "0" * 16
        self.assertEqual(
            rights, {"CapEff": none, "CapBnd": none, "NoNewPrivs": "1", "Seccomp": "2"}
        )
        found = re.findall(r"(?m)^upgrade-web:x:(\d+):(\d+):", chroot.read("/etc/passwd"))[0]
        self.assertEqual(users, set(map(int, found)))
        self.assertEqual([folder for folder in writable if writable[folder]], ["/data"])
        self.assertEqual(files.content(recorders.ROOT, "data/FW.fwm"), content)
        os.remove(os.path.join(recorders.ROOT, "data/FW.fwm"))
        os.remove(chroot.path("/etc/upgrade-web/password"))

    @unittest.skipUnless(booted.control_groups(), "there are no control groups of version 2 here")
    def test_4_the_drop_in_closes_the_console_port(self):
        """To all but the module itself and the device that it names."""
        webunit.prepare(drop_in=True)
        with booted.booted(recorders.ROOT) as system:
            machine = webunit.Machine(system)
            machine.wait_for("127.0.0.1", webunit.CONSOLE)
            machine.wait_for("127.0.0.1", webunit.HTTP)
            with webunit.Cable(machine) as cable:
                self.assertEqual(
                    [cable.reaches_console(source) for source in webunit.SOURCES], [True, False]
                )

    def test_5_upgrade_keeps_everything(self):
        for path in ("/data/FW.fwm", KEY):
            chroot.write(path, "kept")
        before = chroot.read("/etc/passwd")
        install()
        self.assertEqual(chroot.read("/etc/passwd"), before)
        self.assertEqual((chroot.read("/data/FW.fwm"), chroot.read(KEY)), ("kept", "kept"))
        self.assertTrue(os.path.islink(chroot.path(WANTED_BY)))

    def test_5_upgrade_leaves_a_disabled_service_disabled(self):
        chroot.run("systemctl", "disable", "upgrade-agent")
        install()
        self.assertFalse(os.path.lexists(chroot.path(WANTED_BY)))
        chroot.run("systemctl", "enable", "upgrade-agent")

    def test_6_remove(self):
        chroot.run("dpkg", "-r", *NAMES)
        self.assertFalse(os.path.exists(chroot.path("/usr/share/ansible/collections")))
        for program in PROGRAMS:
            self.assertFalse(os.path.exists(chroot.path(program)))
        self.assertTrue(os.path.exists(chroot.path("/etc/sudoers.d/upgrade-agent")))
        self.assertEqual(chroot.read("/data/FW.fwm"), "kept")

    def test_7_purge(self):
        chroot.run("dpkg", "-P", *NAMES)
        folders = ("/etc", "/usr", "/var/lib/systemd")
        self.assertEqual(chroot.output("find", *folders, "-name", "*upgrade-web*"), "")
        left = chroot.output("find", *folders, "-name", "*upgrade-agent*")
        # A later installation must not take packages that this key did not sign.
        self.assertEqual((left, chroot.read(KEY)), ("/etc/upgrade-agent\n", "kept"))
        self.assertEqual(chroot.read("/data/FW.fwm"), "kept")
        self.assertIn("upgrade-agent:", chroot.read("/etc/passwd"))


if __name__ == "__main__":
    unittest.main(verbosity=2, failfast=True)
