# SPDX-License-Identifier: Apache-2.0
"""What the tutorial expects of scripts/demo, and what it does where that is missing."""

import os
import re
import subprocess
import tempfile
import unittest

from tests import ROOT

PROGRAMS = {
    "device-check",
    "device-simulator",
    "edid-report",
    "fwm",
    "upgrade-agent",
    "upgrade-console",
}


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return file.read()


class FirstSteps(unittest.TestCase):
    def test_demo_builds_what_the_tutorial_runs(self):
        blocks = "".join(
            re.findall(r"^```sh\n(.*?)^```$", read("docs/use/tutorial.md"), re.M | re.S)
        )
        wanted = set(re.findall(r"[a-z-]+", blocks)) & PROGRAMS
        self.assertIn("upgrade-console", wanted)
        built = re.findall(r"^build release (.*)$", read("scripts/lib/demo-upgrade"), re.M)[0]
        self.assertLessEqual(wanted, set(built.split()))

    def test_unknown_option_of_the_demo_starts_nothing(self):
        run = subprocess.run(
            [os.path.join(ROOT, "scripts", "demo"), "--upgrade"],
            capture_output=True,
            text=True,
            timeout=30,
            check=False,
        )
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertIn("usage: scripts/demo", run.stderr)

    def test_wait_for_the_agent_ends(self):
        """Without any of the programs, as for a reader who has not built them."""
        script = re.findall(
            r"^cat > session.sh <<'EOF'\n(.*?)^EOF$", read("docs/use/tutorial.md"), re.M | re.S
        )[0]
        with tempfile.TemporaryDirectory() as folder:
            for name in PROGRAMS:
                with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                    file.write("#!/bin/sh\nexit 127\n")
                os.chmod(os.path.join(folder, name), 0o755)
            environment = {
                **os.environ,
                "PATH": folder + ":" + os.environ["PATH"],
                "SANDBOX_PTY_FD": "3",
            }
            run = subprocess.run(
                ["bash", "-c", script],
                capture_output=True,
                text=True,
                timeout=30,
                check=False,
                cwd=folder,
                env=environment,
            )
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn("The agent does not answer.", run.stderr)


if __name__ == "__main__":
    unittest.main()
