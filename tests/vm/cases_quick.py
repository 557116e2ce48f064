# SPDX-License-Identifier: Apache-2.0
"""The shortest complete check: a boot, an upgrade of the device, an upgrade of the module."""

import os
import re

from tests.vm import case, disk

DEB_FIELDS = "dpkg-query -W -f '${db:Status-Abbrev}${Version}' upgrade-agent"


class TestQuick(case.ModuleCase):
    def test_1_boot(self):
        """the module boots, and the agent serves clients"""
        self.assertEqual(self.shell("systemctl list-units --failed --plain -q"), "")
        self.assertEqual(self.shell("systemctl is-system-running --wait"), "running")
        self.assertRegex(self.shell(DEB_FIELDS), r"^ii [\d.]+$")
        service = self.shell(
            "systemctl show -P ActiveState -P Type -P User -P NRestarts -P StatusText upgrade-agent"
        )
        self.assertEqual(
            sorted(service.split("\n")),
            sorted(["active", "notify", "upgrade-agent", "0", "Idle, listening on port 35353."]),
        )
        self.assertEqual(self.shell("stat -c '%a %U %G' /data"), "2775 root upgrade-agent")
        self.assertRegex(self.shell("findmnt -n -o SOURCE /data"), r"^/dev/(nvme1n1|vdb)$")
        version = self.upgrade_console("version")
        self.assertRegex(self.shell(DEB_FIELDS), rf" {re.escape(version['agent_version'])}\b")

    def test_2_serial_port(self):
        """ttyS2 is a 16550A of the group dialout"""
        self.assertEqual(self.shell("stat -c '%G %a' /dev/ttyS2"), "dialout 660")
        self.assertRegex(self.shell("cat /proc/tty/driver/serial"), r"(?m)^2: uart:16550A ")

    def test_3_upgrade(self):
        """upgrade-console copies a package over ssh and upgrades two chips"""
        self.deploy(case.IMAGES)
        self.assert_flash()
        # The driver counts errors only after the first one.
        (line,) = re.findall(r"(?m)^2: .*$", self.shell("cat /proc/tty/driver/serial"))
        sent = int(re.findall(r"tx:(\d+)", line)[0])
        self.assertGreater(sent, sum(len(image.data) for image in case.IMAGES))
        self.assertNotRegex(line, r"(fe|pe|brk|oe):")

    def test_4_module_by_blocks(self):
        """upgrade-console sends the module's own firmware; the module reboots"""
        image, files = self.make_firmware("1.24")
        before = self.boot_id()
        self.upgrade_console("send-net", image)
        self.module.wait_until_ready()
        self.assertNotEqual(self.boot_id(), before)
        self.assert_firmware("1.24", files)
        self.assertEqual(self.shell("systemctl is-active upgrade-agent"), "active")

    def test_5_power_off(self):
        """a power-off stops the module, and leaves both file systems in order"""
        self.module.power_off()
        self.assertIn("reboot: Power down", self.module.console_text())
        for name in ("root.img", "data.img"):
            self.assertEqual(disk.check(os.path.join(self.folder, name)), "")
