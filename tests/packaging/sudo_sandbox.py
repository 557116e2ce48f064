# SPDX-License-Identifier: Apache-2.0
"""A sandbox in which only sudo runs, to ask it what a user may do.

Every other program is an empty file, so that whatever would be run by mistake does nothing.
"""

import os
import shutil

from tests.harness import files
from tests.harness.command import run

AGENT = "upgrade-agent"
OTHER = "other-user"

# Programs that the policy names, similar ones, and ones that no user should get.
PROGRAMS = """
    bin/md5sum bin/mount bin/tar bin/rm sbin/reboot
    bin/bash bin/bzip2 bin/cat bin/chmod bin/cp bin/mv bin/sh bin/su bin/sync bin/systemctl
    bin/umount bin/vi bin/visudo sbin/halt sbin/poweroff sbin/shutdown
""".split()
ELSEWHERE = ("opt/tar", "opt/reboot", "tmp/tar", "data/tar", "data/reboot")
OWN_FOLDERS = ("etc", "usr/bin", "usr/sbin", "opt", "tmp", "data")
LIBRARIES = ("/usr/lib", "/usr/lib64", "/usr/libexec")
LINKS = ("bin", "sbin", "lib", "lib64")
HOST = "module"
ACCOUNTS = ((AGENT, 990), (OTHER, 1001), ("daemon", 1))
# Debian's own sudoers, without its comments.
MAIN_POLICY = """Defaults env_reset
Defaults mail_badpass
Defaults secure_path="/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
Defaults use_pty
root ALL=(ALL:ALL) ALL
%sudo ALL=(ALL:ALL) ALL
@includedir /etc/sudoers.d
"""
END = "=end="
# One answer for each line: what sudo prints, its status, the end.
ASK = f"""while read -r words; do
    sudo -n -l $words
    printf '%s{END}' $?
done"""
SESSION_LIMIT, SERVICE_LIMIT = 77, 99
PERMIT = "".join(
    f"{kind} required pam_permit.so\n" for kind in ("auth", "account", "password", "session")
)


def program(name):
    """The path of a program, which must be there."""
    path = shutil.which(name)
    assert path is not None, f"{name} is missing"
    return path


class SudoSandbox:
    """Uses a folder; each question runs in a separate process."""

    def __init__(self, root, policy):
        self.root = root
        self.put(
            "etc/passwd",
            "root:x:0:0::/root:/bin/sh\n"
            + "".join(
                f"{name}:x:{number}:{number}::/nonexistent:/usr/sbin/nologin\n"
                for name, number in ACCOUNTS
            ),
        )
        groups = "".join(f"{name}:x:{number}:\n" for name, number in ACCOUNTS)
        self.put("etc/group", f"root:x:0:\n{groups}")
        self.put("etc/nsswitch.conf", "passwd: files\ngroup: files\nhosts: files\n")
        self.put("etc/hosts", f"127.0.0.1 {HOST}\n")
        self.put("etc/pam.d/sudo", PERMIT)
        self.put("etc/sudoers", MAIN_POLICY, 0o440)
        self.put(f"etc/sudoers.d/{AGENT}", files.text(policy), 0o440)
        for name in (*(f"usr/{one}" for one in PROGRAMS), *ELSEWHERE):
            self.put(name, "", 0o755)
        shutil.copy(program("sudo"), os.path.join(root, "usr/bin/sudo"))

    def put(self, name, text, mode=0o644):
        files.write(os.path.join(self.root, name), text, mode)

    def answers(self, questions):
        """What sudo answers to each list of words after `sudo -l`: the command as it would be
        run, or None where it is not permitted."""
        done = self._run(ASK, "\n".join(" ".join(words) for words in questions) + "\n")
        answers = done.stdout.split(END)[:-1]
        assert len(answers) == len(questions), done
        return [
            answer.removesuffix("0").strip() if answer.endswith("0") else None for answer in answers
        ]

    def permits(self, *words):
        """The answer to one question."""
        return self.answers([words])[0]

    def limit_of_files(self, *words):
        """Runs a permitted command, which only prints its limit of open files, as the agent does.
        A session for root has SESSION_LIMIT."""
        name = os.path.join("usr/bin", words[0])
        self.put(name, "#!/asker\nulimit -n\n", 0o755)
        self.put("etc/security/limits.conf", f"root - nofile {SESSION_LIMIT}\n")
        self.put("etc/pam.d/sudo", PERMIT + "session required pam_limits.so\n")
        shutil.copy(program("setpriv"), os.path.join(self.root, "usr/bin/setpriv"))
        # Nothing is setuid in the sandbox, so root takes the agent's number as its real one only.
        agent = f"setpriv --ruid={dict(ACCOUNTS)[AGENT]} sudo -n {' '.join(words)}"
        done = self._run(f"ulimit -n {SERVICE_LIMIT}\n{agent}", "")
        self.put("etc/pam.d/sudo", PERMIT)
        self.put(name, "", 0o755)
        return done.stdout.strip() or done.stderr

    def _run(self, script, text):
        binds = {f"/{name}": os.path.join(self.root, name) for name in OWN_FOLDERS}
        binds |= {name: name for name in LIBRARIES if os.path.isdir(name)}
        binds["/asker"] = program("dash")
        # As root without a user namespace: sudo takes on other users to read its files.
        return run(
            *("bwrap", "--unshare-net", "--unshare-pid", "--unshare-ipc", "--unshare-uts"),
            *("--hostname", HOST, "--die-with-parent", "--new-session"),
            *(word for bind in binds.items() for word in ("--ro-bind", bind[1], bind[0])),
            *(word for link in LINKS for word in ("--symlink", f"usr/{link}", f"/{link}")),
            *("--proc", "/proc", "--dev", "/dev", "--tmpfs", "/run", "--dir", "/var"),
            *("--clearenv", "--setenv", "PATH", "/usr/bin:/usr/sbin", "--chdir", "/"),
            *("--", "/asker", "-fc", script),
            input=text,
        )
