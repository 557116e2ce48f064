# SPDX-License-Identifier: Apache-2.0
"""Boots of modules that lack something: the serial port, /data in time, a writable root."""

import contextlib

from tests.harness import texts
from tests.vm import case

# A disk that is there ten seconds after everything else, and that the boot does not wait for.
LATE_DISK = """[Unit]
DefaultDependencies=no
After=systemd-tmpfiles-setup.service

[Service]
Type=oneshot
RemainAfterExit=yes
ExecStart=/bin/sleep 10
"""
FSTAB = "LABEL=root / ext4 {root} 0 0\nLABEL=data /data ext4 {data} 0 2\n"
LATE_OPTIONS = "nofail,x-systemd.requires=late-disk.service,x-systemd.after=late-disk.service"


class TestNoSerialPort(case.ModuleCase):
    """A kernel without ttyS2."""

    has_device = False
    append = "8250.nr_uarts=1"

    def test_1_no_serial_port(self):
        """without ttyS2 the agent serves clients, and an upgrade fails with its message"""
        self.assertEqual(self.shell("ls /dev/ttyS2 2>/dev/null || echo none"), "none")
        self.put(case.IMAGES)
        with contextlib.closing(self.module.console()) as client:
            client.send("UPGRADE||MAIN,0,0")
            client.wait_for("UPGRADEFAIL", 60)
            for line in texts.log(
                "ConnectFail", "ttyS2 connect failed, serial port is occupied or does not exist"
            ):
                self.assertIn(line, client.lines)
            client.sync_among_others()


class TestNoDevice(case.ModuleCase):
    """A ttyS2 of the kernel to which no chip is connected: it exists, but cannot be opened."""

    has_device = False

    def test_1_no_chip_at_the_port(self):
        """with a ttyS2 that has no chip an upgrade fails with its message"""
        self.assertRegex(self.shell("cat /proc/tty/driver/serial"), r"(?m)^2: uart:unknown ")
        self.put(case.IMAGES)
        with contextlib.closing(self.module.console()) as client:
            client.send("UPGRADE||MAIN,0,0")
            client.wait_for("UPGRADEFAIL", 60)
            client.sync_among_others()


class TestLateData(case.ModuleCase):
    """/data on a disk that the boot does not wait for."""

    root_files = {
        "/etc/fstab": FSTAB.format(root="defaults", data=LATE_OPTIONS),
        "/etc/systemd/system/late-disk.service": LATE_DISK,
    }

    def test_1_rights(self):
        """a /data that is mounted late has the agent's rights"""
        self.assertRegex(self.shell("findmnt -n -o SOURCE /data"), r"^/dev/")
        self.assertEqual(self.shell("stat -c '%a %U %G' /data"), "2775 root upgrade-agent")

    def test_2_install(self):
        """a module with a late /data takes its own firmware"""
        image, files = self.make_firmware("1.40", 10)
        self.upgrade_console("send-net", image)
        self.module.wait_until_ready()
        self.assert_firmware("1.40", files)


class TestReadOnlyRoot(case.ModuleCase):
    """A root that is mounted read-only, with memory for what systemd and the journal write."""

    is_root_writable = False
    root_files = {
        "/etc/fstab": FSTAB.format(root="ro", data="defaults")
        + "tmpfs /var/lib/systemd tmpfs mode=755 0 0\ntmpfs /var/log tmpfs mode=755 0 0\n"
    }

    def root_options(self):
        return self.shell("findmnt -n -o OPTIONS /").split(",")

    def test_1_boot(self):
        """a module with a read-only root boots, and the agent serves clients"""
        self.assertIn("ro", self.root_options())
        self.assertEqual(self.shell("stat -c '%a %U %G' /data"), "2775 root upgrade-agent")
        self.upgrade_console("ping")

    def test_2_install(self):
        """a read-only root gets the new firmware, and is read-only for all others meanwhile"""
        image, files = self.make_firmware("1.50", 10)
        self.upgrade_console("send-net", image)
        self.module.wait_until_ready()
        self.assert_firmware("1.50", files)
        self.assertIn("ro", self.root_options())
