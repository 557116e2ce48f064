# SPDX-License-Identifier: Apache-2.0
"""The role agent, run twice in the throw-away root of scripts/check fleet-role."""

import glob
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from tests import ROOT
from tests.packaging.installed import chroot

PACKAGES = os.environ["PACKAGES"]
WORK = "/var/tmp/role"
KEYS = "/etc/upgrade-agent/keys"
RULES = "/etc/nftables-upgrade-agent.nft"
# The rule set that the Debian package installs as an example.
PACKAGED_RULES = "/usr/share/upgrade-agent/management-network.nft"
PLAYBOOK = [
    {
        "hosts": "localhost",
        "gather_facts": False,
        "roles": [{"role": "upgrade_agent.fleet.agent"}],
    }
]


def write(name, text):
    with open(chroot.path(os.path.join(WORK, name)), "w", encoding="utf-8") as file:
        file.write(text)


def prepare():
    """The controller's files, which are on the module here, since it is its own controller."""
    work = chroot.path(WORK)
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    shutil.copytree(os.path.join(ROOT, "ansible"), os.path.join(work, "collections"))
    for name in ("upgrade-agent_", "upgrade-agent-tools_"):
        (package,) = glob.glob(os.path.join(PACKAGES, f"{name}*.deb"))
        shutil.copy(package, work)
    for name in ("release", "recovery"):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(
                ["minisign", "-G", "-W", "-p", f"{work}/{name}.pub", "-s", f"{folder}/key"],
                check=True,
                stdout=subprocess.DEVNULL,
            )
    write("playbook.yml", json.dumps(PLAYBOOK))
    with open(chroot.path("/etc/hosts"), "w", encoding="ascii") as file:
        file.write("127.0.0.1 localhost module\n::1 localhost\n")


def loaded(rules):
    """What the kernel has after loading a rule set, as nft prints it."""
    return chroot.run("sh", "-c", f"nft -f {rules} && nft list ruleset").stdout


def variables(**more):
    """The variables of the role; one that is None has its default."""
    packages = sorted(os.path.basename(name) for name in glob.glob(chroot.path(f"{WORK}/*.deb")))
    values = {
        "agent_packages": [f"{WORK}/{name}" for name in packages],
        "agent_keys": [f"{WORK}/release.pub"],
        "agent_networks4": ["192.0.2.0/24", "198.51.100.7"],
        "agent_networks6": [],
        "agent_services": False,
        **more,
    }
    return {name: value for name, value in values.items() if value is not None}


class TestRole(unittest.TestCase):
    """The tests run in the order of their names; each continues with the same module."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        prepare()

    def play(self, *options, check=True, **more):
        """Runs the role; returns Ansible's counts for the module."""
        write("variables.json", json.dumps(variables(**more)))
        done = chroot.run(
            "ansible-playbook",
            "--connection=local",
            "--inventory=localhost,",
            f"--extra-vars=@{WORK}/variables.json",
            *options,
            f"{WORK}/playbook.yml",
            check=check,
            HOME="/root",
            ANSIBLE_COLLECTIONS_PATH=f"{WORK}/collections",
        )
        recap = done.stdout.split("PLAY RECAP", 1)[1]
        counts = {name: int(number) for name, number in re.findall(r"(\w+)=(\d+)", recap)}
        return {**counts, "failures": counts["failed"], "text": done.stdout}

    def keys(self):
        return sorted(os.listdir(chroot.path(KEYS)))

    def test_1_check_mode_changes_nothing(self):
        self.assertEqual(self.play("--check")["failures"], 0)
        for name in (KEYS, RULES, "/usr/sbin/upgrade-agent"):
            self.assertFalse(os.path.exists(chroot.path(name)), name)

    def test_2_first_run(self):
        counts = self.play()
        self.assertEqual(counts["failures"], 0)
        self.assertGreater(counts["changed"], 0)
        for package in ("upgrade-agent", "upgrade-agent-tools"):
            state = chroot.run("dpkg-query", "-W", "-f", "${db:Status-Abbrev}", package).stdout
            self.assertEqual(state, "ii ")
        self.assertEqual(self.keys(), ["README", "release.pub"])
        self.assertEqual(chroot.read(f"{KEYS}/release.pub"), chroot.read(f"{WORK}/release.pub"))
        status = os.stat(chroot.path(f"{KEYS}/release.pub"))
        self.assertEqual((status.st_uid, oct(status.st_mode & 0o777)), (0, "0o644"))
        self.assertIn(
            'include "/etc/nftables-upgrade-agent.nft"', chroot.read("/etc/nftables.conf")
        )
        self.assertIn("elements = { 192.0.2.0/24, 198.51.100.7 }", chroot.read(RULES))
        chroot.run("nft", "-c", "-f", "/etc/nftables.conf")

    def test_3_second_run_changes_nothing(self):
        self.assertEqual(self.play()["changed"], 0)
        self.assertEqual(self.play("--check")["changed"], 0)

    def test_4_new_key_is_added(self):
        self.play(agent_keys=[f"{WORK}/recovery.pub"])
        self.assertEqual(self.keys(), ["README", "recovery.pub", "release.pub"])

    def test_5_other_keys_are_removed(self):
        only = {"agent_keys": [f"{WORK}/recovery.pub"], "agent_keys_exclusive": True}
        self.assertEqual(self.play(**only)["changed"], 1)
        self.assertEqual(self.keys(), ["README", "recovery.pub"])
        self.assertEqual(self.play(**only)["changed"], 0)

    def test_6_last_key_is_not_removed(self):
        counts = self.play(agent_keys=[], agent_keys_exclusive=True, check=False)
        self.assertEqual(counts["failures"], 1)
        self.assertIn("a module without keys takes every package", counts["text"])
        self.assertEqual(self.keys(), ["README", "recovery.pub"])

    def test_7_rules_that_cannot_be_loaded_are_not_written(self):
        before = chroot.read(RULES)
        counts = self.play(agent_networks4=["192.0.2.0/99"], check=False)
        self.assertEqual(counts["failures"], 1)
        self.assertEqual(chroot.read(RULES), before)

    def test_8_rules_are_those_of_the_debian_package(self):
        """With the networks of that file, which are the role's defaults, the kernel gets the same
        rules; with another network it does not."""
        expected = loaded(PACKAGED_RULES)
        self.assertIn("jump console", expected)
        self.assertNotEqual(loaded(RULES), expected)
        self.assertEqual(self.play(agent_networks4=None, agent_networks6=None)["failures"], 0)
        self.assertEqual(loaded(RULES), expected)


if __name__ == "__main__":
    unittest.main(verbosity=2)
