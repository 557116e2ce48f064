# SPDX-License-Identifier: Apache-2.0
"""The Debian packages, made from the programs as they are built here."""

import os
import re
import shutil
import subprocess
import tarfile
import tempfile
import unittest

PROJECT, BUILD = os.environ["PROJECT"], os.environ["BUILD"]
TOOLS = ("device-check", "device-simulator", "edid-report", "fwm", "upgrade-console")
IS_CROSS = bool(re.fullmatch(r"(?i)1|on|true|yes", os.environ.get("CROSS", "")))
# What packages need beside libraries, in dpkg's own form.
OTHER_NEEDS: dict[str, set[str]] = {
    "upgrade-agent": {"adduser", "bzip2", "mount", "sudo", "systemd-sysv"},
    "upgrade-agent-tools": set(),
    "upgrade-agent-web": {"adduser", "upgrade-agent"},
    "upgrade-agent-doc": set(),
    "ansible-collection-upgrade-agent": {"ansible-core", "upgrade-agent-tools"},
}
# Class (1 for 32 bit, 2 for 64) and machine in the head of an ELF file.
ELF_HEADS = {"amd64": (2, 62), "arm64": (2, 183), "armhf": (1, 40)}
PROGRAM, FILE, SECRET = 0o755, 0o644, 0o440


def run(*command, **more):
    return subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=True, **more
    ).stdout


def common_files(package):
    return {f"usr/share/doc/{package}/{name}": FILE for name in ("changelog.gz", "copyright")}


def agent_files():
    return {
        "etc/sudoers.d/upgrade-agent": SECRET,
        "etc/upgrade-agent/keys/README": FILE,
        "usr/lib/systemd/system/upgrade-agent.service": FILE,
        "usr/lib/tmpfiles.d/upgrade-agent.conf": FILE,
        "usr/sbin/upgrade-agent": PROGRAM,
        "usr/share/man/man8/upgrade-agent.8.gz": FILE,
        "usr/share/upgrade-agent/management-network.nft": FILE,
        **common_files("upgrade-agent"),
    }


def tools_files():
    files = common_files("upgrade-agent-tools")
    for tool in TOOLS:
        files |= {
            f"usr/bin/{tool}": PROGRAM,
            f"usr/share/man/man1/{tool}.1.gz": FILE,
            f"usr/share/bash-completion/completions/{tool}": FILE,
        }
    for name in os.listdir(os.path.join(PROJECT, "tools/device-simulator/examples")):
        files[f"usr/share/doc/upgrade-agent-tools/examples/{name}"] = FILE
    return files


def web_files():
    return {
        "usr/bin/upgrade-web": PROGRAM,
        "usr/lib/systemd/system/upgrade-web.service": FILE,
        "usr/share/bash-completion/completions/upgrade-web": FILE,
        "usr/share/man/man1/upgrade-web.1.gz": FILE,
        "usr/share/upgrade-agent-web/console-loopback.conf": FILE,
        **common_files("upgrade-agent-web"),
    }


def doc_files():
    files = {
        f"usr/share/doc/upgrade-agent-doc/{name}.md": FILE
        for name in ("README", "ARCHITECTURE", "CHANGELOG", "CONTRIBUTING", "SECURITY")
    }
    for folder, _, names in os.walk(os.path.join(PROJECT, "docs")):
        where = os.path.relpath(folder, PROJECT)
        if where.split("/")[:2] != ["docs", "man"]:
            files |= {f"usr/share/doc/upgrade-agent-doc/{where}/{name}": FILE for name in names}
    return files | common_files("upgrade-agent-doc")


def ansible_files():
    """The collection as it is here, without its tests and its licence."""
    top = os.path.join(PROJECT, "ansible")
    files = common_files("ansible-collection-upgrade-agent")
    files["usr/share/lintian/overrides/ansible-collection-upgrade-agent"] = FILE
    for folder, folders, names in os.walk(top):
        folders[:] = set(folders) - {"tests", "__pycache__"}
        where = os.path.relpath(folder, top)
        files |= {
            f"usr/share/ansible/collections/{where}/{name}": FILE
            for name in names
            if name != "LICENSE"
        }
    return files


class TestPackages(unittest.TestCase):
    maxDiff = None
    folder: str
    packages: dict[str, str]

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        run("cpack", "--config", os.path.join(BUILD, "CPackConfig.cmake"), "-B", cls.folder)
        cls.packages = {
            name.split("_")[0]: os.path.join(cls.folder, name)
            for name in os.listdir(cls.folder)
            if name.endswith(".deb")
        }

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def contents(self, package):
        """The tar members of a package: {path: member}."""
        archive = os.path.join(self.folder, f"{package}.tar")
        with open(archive, "wb") as file:
            subprocess.run(
                ["dpkg-deb", "--fsys-tarfile", self.packages[package]], stdout=file, check=True
            )
        with tarfile.open(archive) as tar:
            return {member.name.removeprefix("./"): member for member in tar}

    def unpacked(self, package):
        root = os.path.join(self.folder, "root", package)
        if not os.path.isdir(root):
            os.makedirs(root)
            run("dpkg-deb", "-x", self.packages[package], root)
        return root

    def test_every_file_and_no_other(self):
        for package, expected in (
            ("upgrade-agent", agent_files()),
            ("upgrade-agent-tools", tools_files()),
            ("upgrade-agent-web", web_files()),
            ("upgrade-agent-doc", doc_files()),
            ("ansible-collection-upgrade-agent", ansible_files()),
        ):
            members = self.contents(package)
            self.assertEqual(
                {name: oct(member.mode) for name, member in members.items() if not member.isdir()},
                {name: oct(mode) for name, mode in expected.items()},
            )
            for name, member in members.items():
                self.assertEqual((member.uid, member.gid), (0, 0), name)
                if member.isdir():
                    self.assertEqual(oct(member.mode), "0o755", name)

    def test_versions_agree(self):
        with open(os.path.join(PROJECT, "CMakeLists.txt"), encoding="utf-8") as file:
            version = re.findall(r"VERSION ([\d.]+) ", file.read().split("project(")[1])[0]
        changelog = os.path.join(PROJECT, "packaging", "changelog")
        self.assertEqual(
            run("dpkg-parsechangelog", "-l", changelog, "-S", "Version").strip(), version
        )
        self.assertEqual({self.field(package, "Version") for package in self.packages}, {version})
        self.assertEqual(
            re.findall(r"^version: (.*)$", self.galaxy(), re.M), [version], "of the collection"
        )

    def galaxy(self):
        folder = "usr/share/ansible/collections/ansible_collections/upgrade_agent/fleet"
        package = self.unpacked("ansible-collection-upgrade-agent")
        with open(os.path.join(package, folder, "galaxy.yml"), encoding="utf-8") as file:
            return file.read()

    def test_architectures(self):
        for package in ("upgrade-agent-doc", "ansible-collection-upgrade-agent"):
            self.assertEqual(self.field(package, "Architecture"), "all")
        self.assertEqual(
            self.field("upgrade-agent", "Architecture"),
            self.field("upgrade-agent-tools", "Architecture"),
        )
        if not IS_CROSS:
            self.assertEqual(
                self.field("upgrade-agent", "Architecture"),
                run("dpkg", "--print-architecture").strip(),
            )

    def test_programs_are_for_the_architecture(self):
        architecture = self.field("upgrade-agent", "Architecture")
        if architecture not in ELF_HEADS:
            self.skipTest(f"the ELF machine of {architecture} is not known here")
        for package, programs in (
            ("upgrade-agent", ["usr/sbin/upgrade-agent"]),
            ("upgrade-agent-tools", [f"usr/bin/{tool}" for tool in TOOLS]),
            ("upgrade-agent-web", ["usr/bin/upgrade-web"]),
        ):
            for program in programs:
                with open(os.path.join(self.unpacked(package), program), "rb") as file:
                    head = file.read(20)
                self.assertEqual(head[:4], b"\x7fELF", program)
                self.assertEqual(
                    (head[4], int.from_bytes(head[18:20], "little")),
                    ELF_HEADS[architecture],
                    program,
                )

    @unittest.skipIf(IS_CROSS, "dpkg-shlibdeps does not know another machine's libraries")
    def test_libraries_are_those_that_the_programs_need(self):
        for package, programs in (
            ("upgrade-agent", ["usr/sbin/upgrade-agent"]),
            ("upgrade-agent-tools", [f"usr/bin/{tool}" for tool in TOOLS]),
            ("upgrade-agent-web", ["usr/bin/upgrade-web"]),
        ):
            found = self.needed_libraries(
                [os.path.join(self.unpacked(package), program) for program in programs]
            )
            declared = self.declared(package)
            self.assertEqual(set(declared) - OTHER_NEEDS[package], set(found))
            for library, version in found.items():
                newer = subprocess.run(
                    ["dpkg", "--compare-versions", declared[library], "ge", version], check=False
                )
                self.assertEqual(newer.returncode, 0, f"{library}: {declared[library]} {version}")

    def needed_libraries(self, programs):
        os.makedirs(os.path.join(self.folder, "debian"), exist_ok=True)
        with open(os.path.join(self.folder, "debian/control"), "w", encoding="ascii") as file:
            file.write("Source: any\n\nPackage: any\nArchitecture: any\n")
        line = run("dpkg-shlibdeps", "-O", *programs, cwd=self.folder).strip()
        return dict(self.versioned(line.removeprefix("shlibs:Depends=")))

    def declared(self, package):
        return dict(self.versioned(self.field(package, "Depends")))

    @staticmethod
    def versioned(text):
        """The packages of a dependency field with the least version of each, or 0."""
        for need in text.split(", "):
            name, version = re.findall(r"^(\S+)(?: \(>= (\S+)\))?$", need)[0]
            yield name, version or "0"

    def test_other_needs_are_declared(self):
        for package in ("upgrade-agent", "ansible-collection-upgrade-agent"):
            self.assertEqual(OTHER_NEEDS[package] - set(self.declared(package)), set())
        self.assertEqual(self.field("upgrade-agent-doc", "Depends"), "")

    def test_lintian_finds_no_error(self):
        done = subprocess.run(
            ["lintian", "--allow-root", "--fail-on", "error", *self.packages.values()],
            capture_output=True,
            text=True,
            check=False,
        )
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_manual_pages_have_no_faults(self):
        pages = [
            os.path.join(self.unpacked(package), name)
            for package in ("upgrade-agent", "upgrade-agent-tools", "upgrade-agent-web")
            for name in self.contents(package)
            if "/man/" in name and name.endswith(".gz")
        ]
        self.assertEqual(len(pages), len(TOOLS) + 2)
        for page in pages:
            done = subprocess.run(
                ["man", "--warnings", "-E", "UTF-8", "-l", page],
                capture_output=True,
                text=True,
                check=False,
            )
            self.assertEqual((done.returncode, done.stderr), (0, ""), page)

    def test_completions(self):
        folder = os.path.join(
            self.unpacked("upgrade-agent-tools"), "usr/share/bash-completion/completions"
        )
        for tool in TOOLS:
            with open(os.path.join(folder, tool), encoding="utf-8") as file:
                script = file.read()
            self.assertEqual(
                run("bash", "--norc", "-c", f"{script}\ncomplete -p {tool}").split()[-1], tool
            )

    def test_package_is_the_same_wherever_it_is_made(self):
        """No folder of the machine that built it is in a program."""
        for package in ("upgrade-agent", "upgrade-agent-tools", "upgrade-agent-web"):
            for name, member in self.contents(package).items():
                if member.mode & 0o111 and member.isfile():
                    with open(os.path.join(self.unpacked(package), name), "rb") as file:
                        self.assertFalse(PROJECT.encode() in file.read(), name)


if __name__ == "__main__":
    if shutil.which("cpack") is None:
        raise SystemExit("cpack is missing; install the package 'cmake'")
    unittest.main(verbosity=2)
