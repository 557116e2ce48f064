# SPDX-License-Identifier: Apache-2.0
"""The sandbox keeps its promises: what is there, what is private, what cannot be reached."""

import os
import pathlib
import re
import shutil
import socket
import stat
import subprocess
import sys
import tempfile
import threading
import unittest

SANDBOX = os.environ["SANDBOX"]
PROJECT = os.path.dirname(os.path.dirname(os.path.realpath(SANDBOX)))

WITH_USER_NAMESPACES = unittest.skipUnless(
    subprocess.run(["unshare", "--user", "true"], capture_output=True, check=False).returncode == 0,
    "the kernel gives no user namespaces here, as in a chroot",
)


def run(command, options="", **environment):
    """Runs a shell command in the sandbox; returns (status, output)."""
    done = subprocess.run(
        [SANDBOX, *options.split(), "--", "sh", "-c", command],
        text=True,
        timeout=60,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
        env={**os.environ, **environment},
    )
    return done.returncode, done.stdout


def copy_shell(root):
    """Puts a shell, and nothing else, into a root file system."""
    needed = subprocess.run(["ldd", "/bin/dash"], capture_output=True, text=True, check=True).stdout
    for path in ["/bin/sh", *re.findall(r"(/\S+) \(0x", needed)]:
        os.makedirs(root + os.path.dirname(path), exist_ok=True)
        shutil.copy(path, root + path)


class SandboxCase(unittest.TestCase):
    def check(self, command, expected, options="", status=0, **environment):
        self.assertEqual(run(command, options, **environment), (status, expected))


class TestSandbox(SandboxCase):
    """Each test has a separate sandbox, and an empty folder outside of it."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())

    def test_exit_status_is_the_command_s(self):
        self.check("exit 7", "", status=7)

    def test_network_is_its_own(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            port = server.getsockname()[1]
            probe = f"exec 2>/dev/null; bash -c 'exec 3<>/dev/tcp/127.0.0.1/{port}' || echo none"
            self.check(probe, "none\n")
        self.check(
            "ls /sys/class/net 2>/dev/null; sed -n '3,$s/:.*//p' /proc/net/dev | tr -d ' '", "lo\n"
        )

    def test_many_sandboxes_use_one_port(self):
        results = []
        code = (
            'import socket,time; s=socket.create_server(("127.0.0.1", 35353)); '
            "time.sleep(0.3); print(s.getsockname()[1])"
        )
        sandboxes = [
            threading.Thread(target=lambda: results.append(run(f"python3 -c '{code}'")))
            for _ in range(4)
        ]
        for sandbox in sandboxes:
            sandbox.start()
        for sandbox in sandboxes:
            sandbox.join()
        self.assertEqual(results, [(0, "35353\n")] * 4)

    def test_processes_are_its_own(self):
        status, output = run("ls -d /proc/[0-9]* | wc -l")
        self.assertEqual(status, 0)
        self.assertLess(int(output), 8)

    def test_system_is_read_only(self):
        for place in ("/usr/x", "/etc/x", "/bin/x", "/lib/x", "/sbin/x", f"{PROJECT}/x"):
            self.assertNotEqual(run(f"touch {place} 2>/dev/null")[0], 0, place)

    def test_private_places_are_writable(self):
        for place in ("/tmp", "/run/lock", "/var/lock", "/data"):
            self.check(f"echo a > {place}/x && cat {place}/x", "a\n")
        self.check("ls /data /run/lock", "/data:\n\n/run/lock:\n")

    def test_data(self):
        self.check("test -e /data || echo none", "none\n", "--no-data")
        self.check("touch /data/x 2>/dev/null || echo refused", "refused\n", "--data-read-only")
        self.check(
            "head -c 20000 /dev/zero > /data/x 2>/dev/null; stat -c %s /data/x",
            "8192\n",
            "--data-size 8192",
        )
        self.check("echo kept > /data/x", "", f"--data {self.folder}")
        self.check(
            "cat /data/x; touch /data/y 2>/dev/null || echo refused",
            "kept\nrefused\n",
            f"--data {self.folder} --data-read-only",
        )
        self.assertEqual(os.listdir(self.folder), ["x"])

    def test_keys(self):
        self.check("ls -d /etc/upgrade-agent 2>/dev/null", "", status=2)
        for options in ("--keys", "--keys --as-user"):
            self.check(
                "echo a > /etc/upgrade-agent/x && cat /etc/upgrade-agent/x; ls /etc/upgrade-agent",
                "a\nx\n",
                options,
            )
        self.assertNotEqual(run("touch /etc/x /etc/passwd", "--keys")[0], 0)
        self.check(
            "ls /etc | wc -l; cat /etc/passwd | wc -l",
            run("echo $(($(ls /etc | wc -l) + 1)); cat /etc/passwd | wc -l")[1],
            "--keys",
        )

    def test_keys_of_the_machine_are_hidden(self):
        copy_shell(self.folder)
        os.makedirs(os.path.join(self.folder, "etc/upgrade-agent/keys"))
        found = "/etc/upgrade-agent /etc/upgrade-agent/*\n"
        self.check("echo /etc/* /etc/upgrade-agent/*", found, f"--root {self.folder}")
        self.check("echo /etc/* /etc/upgrade-agent/*", found, f"--root {self.folder} --keys")

    def test_settings(self):
        os.makedirs(os.path.join(self.folder, "upgrade-agent/keys"))
        pathlib.Path(self.folder, "passwd").write_text("operator\n", encoding="ascii")
        command = "cat /etc/passwd; ls /etc/upgrade-agent; ls -A /etc | wc -l"
        entries = len({*os.listdir("/etc"), "upgrade-agent"})
        self.check(command, f"operator\nkeys\n{entries}\n", f"--settings {self.folder}")
        self.check(
            "touch /etc/x 2>/dev/null || echo refused; test -s /etc/group && echo others",
            "refused\nothers\n",
            f"--settings {self.folder}",
        )

    @WITH_USER_NAMESPACES
    def test_existing_network(self):
        """A setting of the namespace shows that it is the one; the caller's own is refused."""
        script = """
            mount -t tmpfs tmpfs /run && touch /run/network && unshare --net=/run/network true
            setting=/proc/sys/net/ipv4/ip_unprivileged_port_start
            nsenter --net=/run/network sh -c "echo 22 > $setting"
            "$0" --network /run/network -- cat $setting
            "$0" --network /proc/self/ns/net -- cat $setting 2>&1"""
        done = subprocess.run(
            ["unshare", "--user", "--map-root-user", "--mount", "--net", "sh", "-c", script]
            + [SANDBOX],
            capture_output=True,
            text=True,
            check=False,
        )
        self.assertEqual(
            (done.returncode, done.stdout),
            (125, "22\nsandbox: /proc/self/ns/net is the caller's own network\n"),
        )

    def test_binds(self):
        self.check(f"test -e {self.folder} || echo none", "none\n")
        self.check(
            f"touch {self.folder}/x 2>/dev/null || echo refused",
            "refused\n",
            f"--bind {self.folder}",
        )
        self.check(f"touch {self.folder}/x", "", f"--bind-writable {self.folder}")
        self.assertEqual(os.listdir(self.folder), ["x"])

    def test_device(self):
        null = os.path.join(self.folder, "null")
        try:
            os.mknod(null, stat.S_IFCHR | 0o666, os.makedev(1, 3))
        except PermissionError:
            self.skipTest("only root makes devices")
        self.check(
            f"(echo x > {null}) 2>/dev/null || echo refused", "refused\n", f"--bind {self.folder}"
        )
        self.check(f"echo x > {null} && cat {null}", "", f"--device {null}")

    def test_another_root(self):
        """One that has nothing but a shell and a marker."""
        copy_shell(self.folder)
        os.mkdir(os.path.join(self.folder, "etc"))
        pathlib.Path(self.folder, "etc/marker").write_text("another\n", encoding="ascii")
        self.check(
            "read line </etc/marker; echo $line; echo /usr* /etc/*; command -v sudo",
            f"another\n/usr* /etc/marker\n{PROJECT}/scripts/sandbox-bin/sudo\n",
            f"--root {self.folder}",
        )

    def test_no_serial_device(self):
        self.check("test -e /dev/ttyS2 || echo none", "none\n")

    def test_own_pseudo_terminal(self):
        code = (
            'import os,tty; m=int(os.environ["SANDBOX_PTY_FD"]); '
            's=os.open("/dev/ttyS2", os.O_RDWR|os.O_NOCTTY); os.write(m, b"a\\rb\\x03\\n"); '
            'print(os.read(s, 9)); os.write(s, b"c\\n"); print(os.read(m, 9))'
        )
        self.check(f"python3 -c '{code}'", "b'a\\rb\\x03\\n'\nb'c\\n'\n", "--pty")

    def test_given_terminal(self):
        master, slave = os.openpty()
        self.check("printf hello > /dev/ttyS2", "", f"--tty {os.ttyname(slave)}")
        self.assertEqual(os.read(master, 10), b"hello")
        os.close(master)
        os.close(slave)

    @WITH_USER_NAMESPACES
    def test_ordinary_user(self):
        self.check("id -u; touch /data/x && echo written", "1000\nwritten\n", "--as-user")

    def test_says_what_is_missing(self):
        self.check("true", "sandbox: /nowhere does not exist\n", "--bind /nowhere", status=125)
        done = subprocess.run(
            [sys.executable, SANDBOX, "--", "true"],
            stderr=subprocess.PIPE,
            text=True,
            check=False,
            env={"PATH": self.folder},
        )
        self.assertEqual(done.returncode, 125)
        self.assertIn("Install the package 'bubblewrap'", done.stderr)


class TestSudo(SandboxCase):
    """The stand-in for sudo records everything and does only what is harmless."""

    def test_records_exact_words(self):
        self.check(
            "sudo mount -o remount rw /; sudo  mount -o remount ro /; sync; sudo reboot;"
            "cat /tmp/sudo.log",
            "sudo mount -o remount rw /\nsudo mount -o remount ro /\nsync\nsudo reboot\n",
        )

    def test_md5sum_computes(self):
        self.check(
            "printf abc > /data/x; sudo md5sum /data/x",
            "900150983cd24fb0d6963f7d28e17f72  /data/x\n",
        )

    def test_tar_unpacks_elsewhere(self):
        self.check(
            "cd /tmp; mkdir a; echo b > a/c; tar -cjf /data/sysupdate.tar.bz2 a; rm -r a;"
            "sudo tar -C / -xf /data/sysupdate.tar.bz2; cat /tmp/root/a/c; test -e /a ||"
            "echo safe; sudo tar -C / -tf /data/sysupdate.tar.bz2 2>/dev/null || echo no",
            "b\nsafe\nno\n",
        )

    def test_rm_knows_one_file(self):
        self.check(
            "touch /data/sysupdate.tar.bz2 /data/x; sudo rm /data/x 2>/dev/null || echo no;"
            "sudo rm /data/sysupdate.tar.bz2; ls /data",
            "no\nx\n",
        )

    def test_refuses_others(self):
        self.check(
            "sudo sh -c 'echo bad' 2>/dev/null || echo no; sudo 2>/dev/null || echo no;"
            "cat /tmp/sudo.log",
            "no\nno\nsudo sh -c echo bad\nsudo \n",
        )

    def test_fails_and_sleeps_on_request(self):
        self.check(
            "sudo reboot || echo failed; sudo mount x && echo went",
            "failed\nwent\n",
            SANDBOX_SUDO_FAIL="md5sum reboot",
        )
        self.check(
            "timeout 0.2 sudo reboot || echo slow; timeout 5 sudo mount x && echo went",
            "slow\nwent\n",
            SANDBOX_SUDO_SLEEP="reboot=9 tar=1",
        )

    def test_holds_one_command_line(self):
        self.check(
            "echo sudo mount x > /tmp/hold; timeout 0.2 sudo mount x || echo held;"
            "sudo mount y && echo went; echo sync > /tmp/hold; timeout 0.2 sync || echo held;"
            "(sleep 0.2; rm /tmp/hold) & sync && echo went; cat /tmp/sudo.log",
            "held\nwent\nheld\nwent\nsudo mount x\nsudo mount y\nsync\nsync\n",
            SANDBOX_SUDO_HOLD="/tmp/hold",
        )


if __name__ == "__main__":
    unittest.main()
