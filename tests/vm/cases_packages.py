# SPDX-License-Identifier: Apache-2.0
"""Upgrades of the agent's own Debian package on a running module."""

import contextlib
import os
import re
import tempfile

from tests.harness import files, package
from tests.harness.command import output
from tests.vm import case

OLD_VERSION = "0.0.1"


def with_version(source, folder, version):
    """The same Debian package with another version."""
    root = os.path.join(folder, "unpacked")
    output("dpkg-deb", "-R", source, root)
    control = os.path.join(root, "DEBIAN/control")
    files.write(control, re.sub(r"(?m)^Version: .*$", f"Version: {version}", files.text(control)))
    target = os.path.join(folder, f"upgrade-agent_{version}.deb")
    output("dpkg-deb", "--root-owner-group", "-Zgzip", "-b", root, target)
    return target


class TestPackages(case.ModuleCase):
    def install(self, source):
        """apt installs a package file, older versions included."""
        self.module.put(source, "/root/agent.deb", "root:root")
        self.module.run(
            "DEBIAN_FRONTEND=noninteractive apt-get install -y --allow-downgrades /root/agent.deb"
        )

    def version(self):
        return self.shell("dpkg-query -W -f '${Status} ${Version}' upgrade-agent")

    def program(self, pid):
        """The program that a process runs; a replaced one is marked as deleted."""
        return self.shell(f"readlink /proc/{pid}/exe")

    def test_1_downgrade_at_rest(self):
        """a downgrade of the package leaves the agent running until it is restarted"""
        pid = self.agent_pid()
        with tempfile.TemporaryDirectory() as folder:
            self.install(with_version(self.environment.package, folder, OLD_VERSION))
        self.assertEqual(self.version(), f"install ok installed {OLD_VERSION}")
        self.assertEqual(self.agent_pid(), pid)
        self.assertEqual(self.program(pid), "/usr/sbin/upgrade-agent (deleted)")
        self.upgrade_console("ping")
        self.module.run("systemctl restart upgrade-agent")
        pid = self.agent_pid()
        self.assertEqual(self.program(pid), "/usr/sbin/upgrade-agent")
        self.upgrade_console("ping")

    def test_2_upgrade_during_a_run(self):
        """an upgrade of the package during an upgrade of the device does not interrupt it"""
        pid = self.agent_pid()
        # A minute and a half on the line: apt takes that long on an emulated processor.
        chip = package.Image("MAIN", package.image_bytes(500_000, "run"))
        self.put([chip])
        with contextlib.closing(self.module.console()) as client:
            client.send("UPGRADE||MAIN,0,0")
            client.wait_for("Writing...", 60)
            self.install(self.environment.package)
            self.assertNotIn("UPGRADESUCCESS", client.lines, "the run ended before the package")
            client.wait_for("UPGRADESUCCESS", 120)
        self.assert_flash([chip])
        self.assertEqual(self.agent_pid(), pid)
        self.assertNotIn(OLD_VERSION, self.version())
        self.assertEqual(self.program(pid), "/usr/sbin/upgrade-agent (deleted)")
        self.module.run("systemctl restart upgrade-agent")
        self.assertEqual(self.program(self.agent_pid()), "/usr/sbin/upgrade-agent")
        self.upgrade_console("ping")
