# SPDX-License-Identifier: Apache-2.0
"""The arguments of the agent: two print something, and any other is ignored."""

import os
import re
import subprocess

from tests.harness import agentcase


class TestArguments(agentcase.AgentCase):
    """Questions about the program, and clients."""

    def run_agent(self, argument, **popen):
        """Ends the test when the agent starts to serve clients instead."""
        done = subprocess.run(
            [os.environ["AGENT_PROGRAM"], argument],
            stderr=subprocess.PIPE,
            text=True,
            check=False,
            timeout=30,
            **popen,
        )
        return done.returncode, done.stdout, done.stderr

    def test_version(self):
        for argument in ("-v", "--version"):
            status, output, errors = self.run_agent(argument, stdout=subprocess.PIPE)
            self.assertEqual((status, errors), (0, ""))
            self.assertRegex(output, r"\Aupgrade-agent \d+\.\d+\.\d+\n\Z")
        self.start_agent()
        number = re.search(r"\d+\.\d+", output).group()
        self.connect().ask("VERSION", f"VERSION||{number}")

    def test_help(self):
        for argument in ("-h", "--help"):
            status, output, errors = self.run_agent(argument, stdout=subprocess.PIPE)
            self.assertEqual((status, errors), (0, ""))
            self.assertIn("usage: upgrade-agent [--help | --version]\n", output)

    def test_full_disk(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            self.assertEqual(self.run_agent("--version", stdout=full)[0], 1)

    def test_other_arguments_are_ignored(self):
        self.start_agent(arguments=["--verbose"])
        self.connect().ask("VERSION", "VERSION||1.15")


if __name__ == "__main__":
    agentcase.main()
