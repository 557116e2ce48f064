# SPDX-License-Identifier: Apache-2.0
"""What the installation of the package says about /data, with stand-ins for every program that it
runs."""

import os
import subprocess
import tempfile
import unittest

POSTINST = os.path.join(os.environ["PROJECT"], "packaging", "agent", "postinst")
PROGRAMS = ("adduser", "deb-systemd-helper", "deb-systemd-invoke", "systemctl")


class TestPostinst(unittest.TestCase):
    def configure(self, made, writable):
        """(exit status, standard output, standard error), with the statuses of systemd-tmpfiles and
        of the check of /data."""
        with tempfile.TemporaryDirectory() as folder:
            statuses = {name: 0 for name in PROGRAMS}
            statuses.update({"systemd-tmpfiles": made, "setpriv": writable})
            for name, status in statuses.items():
                path = os.path.join(folder, name)
                with open(path, "w", encoding="ascii") as file:
                    file.write(f'#!/bin/sh\necho "{name} $*" >>{folder}/calls\nexit {status}\n')
                os.chmod(path, 0o755)
            done = subprocess.run(
                ["/bin/sh", POSTINST, "configure"],
                env={"PATH": folder},
                capture_output=True,
                text=True,
                check=False,
            )
            with open(os.path.join(folder, "calls"), encoding="ascii") as file:
                calls = file.read().splitlines()
        self.assertIn("systemd-tmpfiles --create upgrade-agent.conf", calls)
        self.assertIn(
            "setpriv --reuid=upgrade-agent --regid=upgrade-agent --init-groups test -w /data", calls
        )
        # The service is enabled in any case.
        self.assertIn("deb-systemd-helper enable upgrade-agent.service", calls)
        return done.returncode, done.stdout, done.stderr

    def test_data_is_made(self):
        self.assertEqual(self.configure(0, 0), (0, "", ""))

    def test_data_cannot_be_made(self):
        """With or without a message of systemd-tmpfiles itself."""
        report = (
            "upgrade-agent: the agent cannot write /data, so it cannot install the module's own "
            "firmware. See /usr/lib/tmpfiles.d/upgrade-agent.conf.\n"
        )
        for made in (0, 1):
            self.assertEqual(self.configure(made, 1), (0, "", report))

    def test_data_is_writable_anyway(self):
        """Without /proc systemd-tmpfiles fails; an existing folder may have the rights already."""
        self.assertEqual(self.configure(1, 0), (0, "", ""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
