# SPDX-License-Identifier: Apache-2.0
"""A running module: permissions, restarts, a full disk, the clock, the log, packages with NET."""

import contextlib
import re
import shlex
import time

from tests.harness import files, netimage, package
from tests.vm import case

ARCHIVE = "/data/sysupdate.tar.bz2"
AS_AGENT = "runuser -u upgrade-agent -- sudo -n"
PERMITTED = (
    f"md5sum {ARCHIVE}",
    "mount -o remount rw /",
    f"tar -C / -xf {ARCHIVE}",
    f"rm {ARCHIVE}",
    "mount -o remount ro /",
)
REFUSED = (
    "reboot -f",
    "sh -c true",
    "-s",
    "-u root true",
    f"tar -C / -cf {ARCHIVE}",
    "tar -C / -xf /data/FW.fwm",
    "rm /data/version",
    f"rm -r {ARCHIVE}",
    "mount -o remount,rw /",
    "mount /dev/nvme1n1 /mnt",
    "cat /etc/shadow",
    "systemctl stop upgrade-agent",
    f"TAR_OPTIONS=-v tar -C / -xf {ARCHIVE}",
)
STOPPED_SECONDS = 120
CONNECTIONS = 1000
# 200 lines, and for each second of a slow machine one line and one that others are left out.
MOST_LINES = 600


class TestRunning(case.ModuleCase):
    def restarted(self, old, seconds):
        """Waits for another process of the service; returns how long it took."""
        begin = time.monotonic()
        wait = (
            f"for i in $(seq {seconds}); do pid=$(systemctl show -P MainPID upgrade-agent);"
            f" [ $pid -ne 0 ] && [ $pid -ne {old} ] &&"
            " [ $(systemctl is-active upgrade-agent) = active ] && exit 0; sleep 1; done; exit 1"
        )
        self.module.run(wait, seconds=2 * seconds)
        return time.monotonic() - begin

    def test_1_permitted_commands(self):
        """sudo runs the agent's command lines as root, without a password"""
        image, contents = self.make_firmware("1.20", 1)
        content = files.content(image)[netimage.HEAD_SIZE :]
        self.module.run(f"cat >{ARCHIVE}", input=content, text=False)
        for line in PERMITTED:
            done = self.module.run(f"{AS_AGENT} {line}", check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""), line)
        for path, content in contents.items():
            self.assertTrue(self.module.get(path) == content, path)
        self.assertIsNone(self.module.get(ARCHIVE))

    def test_1_refused_commands(self):
        """sudo refuses every other command line, and asks for no password"""
        self.module.run(f"echo kept >{ARCHIVE}; echo kept >/data/version")
        for line in REFUSED:
            done = self.module.run(f"{AS_AGENT} {line}", check=False)
            self.assertEqual((done.returncode, done.stdout), (1, ""), f"{line}: {done.stderr}")
        self.assertEqual(self.shell(f"cat {ARCHIVE} /data/version"), "kept\nkept")
        self.module.run(f"rm {ARCHIVE} /data/version")

    def test_2_killed(self):
        """systemd restarts an agent that was killed"""
        old = self.agent_pid()
        self.module.run(f"kill -9 {old}")
        self.assertLess(self.restarted(old, 60), 60)
        self.upgrade_console("ping")

    def test_2_hanging(self):
        """systemd's watchdog ends an agent that hangs, and restarts it"""
        old = self.agent_pid()
        self.module.run(f"kill -STOP {old}")
        self.restarted(old, STOPPED_SECONDS)
        self.assertIn(
            "upgrade-agent.service: Watchdog timeout (limit 1min)!", self.journal("-u init.scope")
        )
        self.upgrade_console("ping")

    def test_3_data_full(self):
        """with a full /data nothing is installed, and the agent goes on"""
        image, contents = self.make_firmware("1.30")
        self.module.run("cat /dev/zero >/data/filler 2>/dev/null; sync; test -s /data/filler")
        try:
            result = self.upgrade_console("send-net", image, status=1)
        finally:
            self.module.run("rm /data/filler")
        self.assertEqual(result["error"]["id"], "block-refused")
        (path, *_) = contents
        self.assertNotEqual(self.module.get(path), contents[path])
        self.upgrade_console("ping")

    def test_4_package_with_module(self):
        """a package upgrades a chip of the device and the module's own firmware"""
        image, contents = self.make_firmware("1.31")
        net = netimage.in_package(files.content(image))
        before = self.boot_id()
        chip = package.Image("MAIN", package.image_bytes(2000, "1.31"), version=(1, 2, 0))
        self.deploy([chip, net], "--mode", "5", "--yes")
        self.assert_flash([chip])
        self.assert_firmware("1.31", contents)
        self.assertEqual(self.boot_id(), before)

    def test_5_clock(self):
        """jumps of the clock by a year end neither the agent nor an upgrade"""
        old = self.agent_pid()
        chip = package.Image("MAIN", package.image_bytes(20000, "clock"), version=(1, 3, 0))
        self.put([chip])
        with contextlib.closing(self.module.console()) as client:
            client.send("UPGRADEMODE||5")
            client.send("UPGRADE||MAIN,0,0")
            client.wait_for("Writing...", 60)
            for jump in ("+1 year", "-2 years", "+1 year"):
                self.module.run(f"date -s {shlex.quote(jump)}")
            client.wait_for("UPGRADESUCCESS", 120)
        self.assert_flash([chip])
        self.assertEqual(self.agent_pid(), old)

    def test_6_log_limits(self):
        """a thousand connections leave few lines in the journal, and the number of the others"""
        before = len(self.journal("-u upgrade-agent"))
        for _ in range(CONNECTIONS):
            self.module.console().close()
        # The first line after the limit has the number of those that were left out.
        self.module.run("sleep 3")
        self.upgrade_console("ping")
        lines = self.journal("-u upgrade-agent")[before:]
        written = [line for line in lines if "event=client_" in line]
        left_out = sum(int(number) for number in re.findall(r" left_out=(\d+)", "\n".join(lines)))
        self.assertLess(len(lines), MOST_LINES)
        # Two for each connection; those of the last client may not be there yet.
        self.assertGreaterEqual(len(written) + left_out, 2 * CONNECTIONS)
        self.assertLessEqual(len(written) + left_out, 2 * CONNECTIONS + 2)

    def test_9_journal_of_sudo(self):
        """the journal has one line for each command of sudo, and none about its sessions"""
        self.module.run(f"{AS_AGENT} mount -o remount rw /")
        lines = self.journal("-t sudo")
        self.assertIn("COMMAND=/usr/bin/mount -o remount rw /", "\n".join(lines))
        self.assertEqual([line for line in lines if "(sudo:session)" in line], [])

    def test_9_journal(self):
        """nothing in the journal is an error, except what the cases before caused"""
        expected = ("Watchdog timeout", "Failed with result", "Main process exited", "not allowed")
        lines = [
            line for line in self.journal("-p err") if not any(text in line for text in expected)
        ]
        self.assertEqual(lines, [])
