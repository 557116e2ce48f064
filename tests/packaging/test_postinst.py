# SPDX-License-Identifier: Apache-2.0
"""What the installation of the package says about /data, with stand-ins for every program that it
runs."""

import os
import tempfile
import unittest

from tests import ROOT
from tests.harness import files
from tests.harness.command import run

POSTINST = os.path.join(ROOT, "packaging", "agent", "postinst")
PROGRAMS = ("adduser", "deb-systemd-helper", "deb-systemd-invoke", "systemctl")


class TestPostinst(unittest.TestCase):
    def configure(self, made, writable):
        """(exit status, standard output, standard error), with the statuses of systemd-tmpfiles and
        of the check of /data."""
        with tempfile.TemporaryDirectory() as folder:
            statuses = {name: 0 for name in PROGRAMS}
            statuses.update({"systemd-tmpfiles": made, "setpriv": writable})
            for name, status in statuses.items():
                script = f'#!/bin/sh\necho "{name} $*" >>{folder}/calls\nexit {status}\n'
                files.write(os.path.join(folder, name), script, 0o755)
            done = run("/bin/sh", POSTINST, "configure", env={"PATH": folder})
            calls = files.text(folder, "calls").splitlines()
        self.assertIn("systemd-tmpfiles --create upgrade-agent.conf", calls)
        self.assertIn(
            "setpriv --reuid=upgrade-agent --regid=upgrade-agent --init-groups test -w /data", calls
        )
        # The service is enabled in any case.
        self.assertIn("deb-systemd-helper enable upgrade-agent.service", calls)
        return done.returncode, done.stdout, done.stderr

    def test_only_the_access_to_data_counts(self):
        """Without /proc systemd-tmpfiles fails; an existing folder may have the rights already."""
        report = (
            "upgrade-agent: the agent cannot write /data, so it cannot install the module's own "
            "firmware. See /usr/lib/tmpfiles.d/upgrade-agent.conf.\n"
        )
        for made in (0, 1):
            self.assertEqual(self.configure(made, 0), (0, "", ""))
            self.assertEqual(self.configure(made, 1), (0, "", report))


if __name__ == "__main__":
    unittest.main(verbosity=2)
