# SPDX-License-Identifier: Apache-2.0
"""The page about signing, as a release engineer follows it: every sh block in one shell, in order,
with the real minisign, the agent and a simulated device. Each line of a text block must appear in
what the block before it printed, in that order."""

import os
import re
import shutil
import subprocess
import sys
import unittest

from tests import ROOT
from tests.harness import agentcase, command
from tests.harness.package import Image, build, image_bytes
from tests.harness.signing import KEYS

PAGE = os.path.join(ROOT, "docs", "use", "signing.md")
MARK = "=== end of block ==="
# The programs that reach a module; here it is this machine.
STAND_INS = {
    "scp": 'cp "$1" "${2#root@127.0.0.1:}"',
    "ssh": 'test "$1" = root@127.0.0.1; shift; exec sh -ec "$*"',
    "sftp": f'PYTHONPATH="{ROOT}" FAKE_SFTP_ROOT=/data exec "{sys.executable}" '
    f'"{ROOT}/tests/harness/upgrade_console/fake_sftp.py" "$@"',
}


def blocks():
    """(kind, content) of each block that is run or compared."""
    with open(PAGE, encoding="utf-8") as file:
        text = file.read().replace("192.168.1.20", "127.0.0.1")
    return re.findall(r"^```(sh|text)\n(.*?)^```$", text, re.M | re.S)


class TestPage(agentcase.AgentCase):
    """The module is the sandbox itself."""

    folder = "/tmp/release"

    def setUp(self):
        super().setUp()
        os.makedirs(KEYS)
        os.makedirs(self.folder + "/bin")
        for name, line in STAND_INS.items():
            self.write(f"bin/{name}", f"#!/bin/sh\nset -e\n{line}\n")
            os.chmod(f"{self.folder}/bin/{name}", 0o755)
        programs = os.path.dirname(os.environ["FWM_PROGRAM"])
        self.path = f"{self.folder}/bin:{programs}:{os.environ['PATH']}"
        self.make_request()

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="ascii") as file:
            file.write(text)

    def make_request(self):
        """The page begins with a request and its images."""
        images = [Image("MAIN", image_bytes(700, 1)), Image("AUX", image_bytes(600, 2), 1)]
        with open("/tmp/package", "wb") as file:
            file.write(build(images, version="1.0.5"))
        command.output(os.environ["FWM_PROGRAM"], "extract", "/tmp/package", "-o", "/tmp/request")
        shutil.copytree("/tmp/request", self.folder, dirs_exist_ok=True)

    def test_page(self):
        self.start_device(
            agentcase.chip("MAIN"), agentcase.chip("AUX", 1, version="1.0", upgrades_to="1.1")
        )
        self.start_agent()
        found = blocks()
        self.assertGreater(len(found), 12)
        script = "".join(f"{content}echo '{MARK}'\n" for kind, content in found if kind == "sh")
        run = command.run(
            *("bash", "-euc", script),
            cwd=self.folder,
            env={**os.environ, "PATH": self.path},
            stdin=subprocess.DEVNULL,
            timeout=150,
        )
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        printed = run.stdout.split(MARK)
        done = 0
        for kind, content in found:
            if kind == "sh":
                done += 1
                continue
            rest = printed[done - 1]
            for line in content.splitlines():
                self.assertIn(line, rest)
                rest = rest[rest.index(line) + len(line) :]
        self.assertEqual(sorted(os.listdir(KEYS)), ["recovery.pub", "release-2.pub"])


if __name__ == "__main__":
    unittest.main()
