# SPDX-License-Identifier: Apache-2.0
"""Usual mistakes of an operator: each ends the rollout with its cause, and nothing is sent to the
device."""

import os

from tests.fleet.fleetcase import FleetCase, images

# No key of the user, and no settings that name one.
NO_KEY = '{"ansible_ssh_common_args": "-F /dev/null -o StrictHostKeyChecking=no"}'
WRONG_DIGEST = 64 * "0"
# (options, variables of the rollout, environment, what the operator reads)
MISTAKES: tuple[tuple[list, dict, dict, str], ...] = (
    ([], {"modules": "hall-3"}, {}, "The inventory has no module that matches 'hall-3'."),
    (["-i", "modul1,"], {"modules": "modul1"}, {}, "Could not resolve hostname modul1"),
    (["-e", NO_KEY], {}, {}, "Permission denied (publickey"),
    ([], {"package": "other.fwm"}, {}, "other.fwm does not exist on the controller."),
    ([], {"package_sha256": WRONG_DIGEST}, {}, "is not the package that is wanted"),
    ([], {"trusted_keys": "keys"}, {}, "The package is refused on the controller"),
    ([], {}, {"PATH": "/usr/bin:/bin"}, "fwm is not installed on the controller. Install"),
    ([], {"port": 35354}, {}, "the agent cannot be reached: module1, port 35354"),
)


class TestMistakes(FleetCase):
    """One module is sufficient."""

    count = 1

    def assert_refused(self, text, *options, environment=None, **variables):
        """The rollout fails with this text, and the module is as it was."""
        status = self.rollout(*options, environment=environment, connect_timeout=3, **variables)
        self.assertNotEqual(status, 0, self.output)
        self.assertIn(text, self.output)
        self.assertNotIn("exception", self.output)
        self.assert_untouched(*self.modules)

    def test_mistakes(self):
        self.write_package(images())
        os.mkdir(os.path.join(self.fleet.home, "keys"))
        for options, variables, environment, text in MISTAKES:
            with self.subTest(text):
                self.assert_refused(text, *options, environment=environment, **variables)

    def test_user_without_rights(self):
        self.write_package(images())
        os.chmod(self.modules[0].data, 0o555)
        self.assert_refused("Connect as root or as a member of the group upgrade-agent")

    def test_no_inventory(self):
        """Ansible itself warns only, and ends with 0."""
        done = self.fleet.run("ansible-playbook", "upgrade_agent.fleet.rollout")
        self.assertNotEqual(done.returncode, 0, done.stdout)
        self.assertIn("The inventory has no module that matches 'all'.", done.stdout)
