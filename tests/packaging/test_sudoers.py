# SPDX-License-Identifier: Apache-2.0
"""The sudoers file permits what the agent runs, and nothing else."""

import json
import os
import re
import shlex
import shutil
import tempfile
import unittest

from tests import ROOT
from tests.harness import files
from tests.harness.command import output, run
from tests.packaging.sudo_sandbox import AGENT, OTHER, SERVICE_LIMIT, SESSION_LIMIT, SudoSandbox

POLICY = os.path.join(ROOT, "packaging", "upgrade-agent.sudoers")
ARCHIVE = "/data/sysupdate.tar.bz2"
RUNS_COMMANDS = re.compile(r"\b(QProcess|system|popen|v?fork|posix_spawnp?|exec[lv]p?e?)\b\s*[(:]")


def command_lines():
    """What the agent runs, as its own code says."""
    return sorted(set(output(*shlex.split(os.environ["COMMAND_LINES"])).splitlines()))


def sudo_words():
    """The words after sudo of every command line that has it."""
    return [line.split()[1:] for line in command_lines() if line.split()[0] == "sudo"]


def sources():
    """Every source file of the agent: (name, text)."""
    for folder, _, names in os.walk(os.path.join(ROOT, "src")):
        for name in names:
            if name.endswith((".cpp", ".h")):
                yield os.path.relpath(os.path.join(folder, name), ROOT), files.text(folder, name)


class TestCommandLines(unittest.TestCase):
    """The list is whole."""

    def test_every_literal_is_run(self):
        literals = {
            literal.replace("%1", ARCHIVE)
            for _, text in sources()
            for literal in re.findall(r'"(sudo\b[^"]*)"', text)
        }
        self.assertEqual(
            sorted(literals), [line for line in command_lines() if line.startswith("sudo ")]
        )

    def test_one_place_runs_commands(self):
        places = {
            name
            for name, text in sources()
            if RUNS_COMMANDS.search(re.sub(r"//.*|/\*.*?\*/|Shell::system|Shell system", "", text))
        }
        self.assertEqual(places, {"src/platform/Platform.cpp"})


class TestPolicy(unittest.TestCase):
    """What the file says."""

    def test_syntax(self):
        done = run("visudo", "-c", "-s", "-f", POLICY)
        self.assertEqual((done.returncode, done.stdout), (0, f"{POLICY}: parsed OK\n"), done.stderr)

    def test_commands_are_those_of_the_agent(self):
        policy = json.loads(output("cvtsudoers", "-e", "-f", "json", POLICY))
        expected = []
        for name, *arguments in sudo_words():
            path = shutil.which(name, path="/usr/sbin:/usr/bin") or f"/usr/sbin/{name}"
            expected.append(" ".join([path, *(arguments or ['""'])]))
        for spec in policy["User_Specs"]:
            for permitted in spec["Cmnd_Specs"]:
                permitted["Commands"].sort(key=lambda one: one["command"])
        permitted = {
            "runasusers": [{"username": "root"}],
            "Options": [{"authenticate": False}, {"setenv": False}],
            "Commands": [{"command": line} for line in sorted(expected)],
        }
        spec = {
            "User_List": [{"username": AGENT}],
            "Host_List": [{"hostname": "ALL"}],
            "Cmnd_Specs": [permitted],
        }
        self.assertEqual(policy["User_Specs"], [spec])


AS_AGENT = ("-U", AGENT)
# What is nearly a command of the agent.
NEAR_MISSES = """
md5sum
md5sum /data/sysupdate.tar.bz2 /etc/shadow
md5sum /etc/shadow
md5sum --check /data/sysupdate.tar.bz2
md5sum /data/../data/sysupdate.tar.bz2
md5sum /data/sysupdate.tar.bz2/
md5sum //data/sysupdate.tar.bz2
md5sum /data/sysupdate.tar.bz2.old
md5sum /data/FW.fwm
md5sum /data/*
/data/md5sum /data/sysupdate.tar.bz2
mount
mount -a
mount -o remount rw
mount -o remount,rw /
mount -o remount rw /data
mount -o remount rw / /
mount -o remount rw /.
mount -o remount suid /
mount -o remount ro /boot
mount -o bind rw /
mount -o remount rw / -o exec
mount /dev/sda1 /
umount /
tar
tar -C / -xf /data/FW.fwm
tar -C / -xf /tmp/sysupdate.tar.bz2
tar -C / -xf /data/sysupdate.tar.bz2 --to-command=sh
tar -C / -xf /data/sysupdate.tar.bz2 --checkpoint=1 --checkpoint-action=exec=sh
tar -C / -xf /data/sysupdate.tar.bz2 -I sh
tar -I sh -C / -xf /data/sysupdate.tar.bz2
tar -C /etc -xf /data/sysupdate.tar.bz2
tar -C / -cf /data/sysupdate.tar.bz2
tar -C / -cf /data/sysupdate.tar.bz2 /etc/shadow
tar -C / -xpf /data/sysupdate.tar.bz2
tar -xf /data/sysupdate.tar.bz2 -C /
tar -C / -xf /data/sysupdate.tar.bz2 etc
/opt/tar -C / -xf /data/sysupdate.tar.bz2
/tmp/tar -C / -xf /data/sysupdate.tar.bz2
/data/tar -C / -xf /data/sysupdate.tar.bz2
bzip2 -d /data/sysupdate.tar.bz2
rm
rm /data/FW.fwm
rm /data/version
rm -r /data/sysupdate.tar.bz2
rm -rf /
rm /data/sysupdate.tar.bz2 /etc/passwd
rm /data/sysupdate.tar.bz2/../../etc/passwd
rm /data/*
reboot -f
reboot --poweroff
reboot now
/opt/reboot
/data/reboot
halt
poweroff
shutdown -r now
systemctl reboot
systemctl start upgrade-agent
sync
bash
sh
sh -c reboot
su
cat /etc/shadow
chmod 4755 /data/sh
cp /bin/sh /data/sh
mv /data/version /etc/passwd
vi /etc/sudoers
visudo
sudo reboot
sudoedit /data/version
sudoedit /etc/sudoers
""".strip().splitlines()


@unittest.skipUnless(os.geteuid() == 0, "sudo reads its files as several users, which needs root")
class TestSudo(unittest.TestCase):
    """What sudo makes of it."""

    sandbox: SudoSandbox

    @classmethod
    def setUpClass(cls):
        folder = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.sandbox = SudoSandbox(folder, POLICY)

    def assert_refused(self, questions):
        for words, answer in zip(questions, self.sandbox.answers(questions)):
            with self.subTest(" ".join(words)):
                self.assertIsNone(answer)

    def test_permits_what_the_agent_runs(self):
        self.assertGreaterEqual(len(sudo_words()), 6)
        answers = self.sandbox.answers([[*AS_AGENT, *words] for words in sudo_words()])
        for words, answer in zip(sudo_words(), answers):
            self.assertRegex(answer or "refused", rf"^/usr/s?bin/{re.escape(' '.join(words))}$")

    def test_refuses_what_is_nearly_that(self):
        self.assert_refused([[*AS_AGENT, *line.split()] for line in NEAR_MISSES])

    def test_refuses_words_left_out_or_repeated(self):
        changed = [
            line
            for words in sudo_words()
            for place in range(len(words))
            for line in (words[:place] + words[place + 1 :], words[: place + 1] + words[place:])
        ]
        self.assert_refused([[*AS_AGENT, *words] for words in changed if words])

    def test_refuses_other_users_and_groups(self):
        self.assert_refused([["-U", OTHER, *words] for words in sudo_words()])
        targets = (f"-u {OTHER}", "-u daemon", f"-u {AGENT}", "-g daemon", "-u root -g daemon")
        self.assert_refused(
            [[*AS_AGENT, *target.split(), *words] for words in sudo_words() for target in targets]
        )

    def test_opens_no_session(self):
        """It would set limits that root of the service may not set."""
        command = sudo_words()[0]
        self.assertEqual(self.sandbox.limit_of_files(*command), str(SERVICE_LIMIT))
        with tempfile.TemporaryDirectory() as folder:
            policy = os.path.join(folder, "policy")
            files.write(policy, files.text(POLICY).replace("!pam_session", "pam_session"))
            other = SudoSandbox(os.path.join(folder, "root"), policy)
            self.assertEqual(other.limit_of_files(*command), str(SESSION_LIMIT))

    def test_lists_nothing_else(self):
        listed = self.sandbox.permits(*AS_AGENT) or ""
        self.assertEqual(listed.count("("), 1, listed)
        for words in sudo_words():
            self.assertIn(" ".join(words), listed)


if __name__ == "__main__":
    unittest.main(verbosity=2)
