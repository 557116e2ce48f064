# SPDX-License-Identifier: Apache-2.0
"""The Debian packages, made from the programs as they are built here."""

import io
import os
import re
import shutil
import subprocess
import tarfile
import tempfile
import unittest

from tests import ROOT
from tests.harness import files
from tests.harness.command import output, run

BUILD = os.environ["BUILD"]
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
PROGRAMS = {
    "upgrade-agent": ["usr/sbin/upgrade-agent"],
    "upgrade-agent-tools": [f"usr/bin/{tool}" for tool in TOOLS],
    "upgrade-agent-web": ["usr/bin/upgrade-web"],
}
COLLECTION = "usr/share/ansible/collections/ansible_collections/upgrade_agent/fleet"


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
    found = common_files("upgrade-agent-tools")
    for tool in TOOLS:
        found |= {
            f"usr/bin/{tool}": PROGRAM,
            f"usr/share/man/man1/{tool}.1.gz": FILE,
            f"usr/share/bash-completion/completions/{tool}": FILE,
        }
    for name in os.listdir(os.path.join(ROOT, "tools/device-simulator/examples")):
        found[f"usr/share/doc/upgrade-agent-tools/examples/{name}"] = FILE
    return found


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
    found = {
        f"usr/share/doc/upgrade-agent-doc/{name}.md": FILE
        for name in ("README", "ARCHITECTURE", "CHANGELOG", "CONTRIBUTING", "SECURITY")
    }
    for folder, _, names in os.walk(os.path.join(ROOT, "docs")):
        where = os.path.relpath(folder, ROOT)
        if where.split("/")[:2] != ["docs", "man"]:
            found |= {f"usr/share/doc/upgrade-agent-doc/{where}/{name}": FILE for name in names}
    return found | common_files("upgrade-agent-doc")


def ansible_files():
    """The collection as it is here, without its tests and its licence."""
    top = os.path.join(ROOT, "ansible")
    found = common_files("ansible-collection-upgrade-agent")
    found["usr/share/lintian/overrides/ansible-collection-upgrade-agent"] = FILE
    for folder, folders, names in os.walk(top):
        folders[:] = set(folders) - {"tests", "__pycache__"}
        where = os.path.relpath(folder, top)
        for name in set(names) - {"LICENSE"}:
            found[f"usr/share/ansible/collections/{where}/{name}"] = FILE
    return found


class TestPackages(unittest.TestCase):
    maxDiff = None
    folder: str
    packages: dict[str, str]

    @classmethod
    def setUpClass(cls):
        cls.folder = cls.enterClassContext(tempfile.TemporaryDirectory())
        output("cpack", "--config", os.path.join(BUILD, "CPackConfig.cmake"), "-B", cls.folder)
        cls.packages = {
            name.split("_")[0]: os.path.join(cls.folder, name)
            for name in os.listdir(cls.folder)
            if name.endswith(".deb")
        }

    def field(self, package, name):
        return output("dpkg-deb", "-f", self.packages[package], name).strip()

    def contents(self, package):
        """The tar members of a package: {path: member}."""
        archive = subprocess.check_output(["dpkg-deb", "--fsys-tarfile", self.packages[package]])
        with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
            return {member.name.removeprefix("./"): member for member in tar}

    def unpacked(self, package):
        root = os.path.join(self.folder, "root", package)
        if not os.path.isdir(root):
            os.makedirs(root)
            output("dpkg-deb", "-x", self.packages[package], root)
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
        project = files.text(ROOT, "CMakeLists.txt").split("project(")[1]
        version = re.findall(r"VERSION ([\d.]+) ", project)[0]
        changelog = os.path.join(ROOT, "packaging", "changelog")
        collection = self.unpacked("ansible-collection-upgrade-agent")
        galaxy = files.text(collection, COLLECTION, "galaxy.yml")
        found = [self.field(package, "Version") for package in self.packages]
        found.append(output("dpkg-parsechangelog", "-l", changelog, "-S", "Version").strip())
        found += re.findall(r"^version: (.*)$", galaxy, re.M)
        self.assertEqual(found, [version] * (len(self.packages) + 2))

    def test_architectures(self):
        for package in ("upgrade-agent-doc", "ansible-collection-upgrade-agent"):
            self.assertEqual(self.field(package, "Architecture"), "all")
        architecture = self.field("upgrade-agent", "Architecture")
        self.assertEqual(self.field("upgrade-agent-tools", "Architecture"), architecture)
        if not IS_CROSS:
            self.assertEqual(output("dpkg", "--print-architecture").strip(), architecture)

    def test_programs_are_for_the_architecture(self):
        architecture = self.field("upgrade-agent", "Architecture")
        if architecture not in ELF_HEADS:
            self.skipTest(f"the ELF machine of {architecture} is not known here")
        for package, programs in PROGRAMS.items():
            for program in programs:
                head = files.content(self.unpacked(package), program)[:20]
                self.assertEqual(head[:4], b"\x7fELF", program)
                machine = int.from_bytes(head[18:20], "little")
                self.assertEqual((head[4], machine), ELF_HEADS[architecture], program)

    @unittest.skipIf(IS_CROSS, "dpkg-shlibdeps does not know another machine's libraries")
    def test_libraries_are_those_that_the_programs_need(self):
        for package, programs in PROGRAMS.items():
            found = self.needed_libraries(
                [os.path.join(self.unpacked(package), program) for program in programs]
            )
            declared = self.declared(package)
            self.assertEqual(set(declared) - OTHER_NEEDS[package], set(found))
            for library, version in found.items():
                newer = run("dpkg", "--compare-versions", declared[library], "ge", version)
                self.assertEqual(newer.returncode, 0, f"{library}: {declared[library]} {version}")

    def needed_libraries(self, programs):
        control = os.path.join(self.folder, "debian/control")
        files.write(control, "Source: any\n\nPackage: any\nArchitecture: any\n")
        line = output("dpkg-shlibdeps", "-O", *programs, cwd=self.folder).strip()
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
        done = run("lintian", "--allow-root", "--fail-on", "error", *self.packages.values())
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_manual_pages_have_no_faults(self):
        pages = [
            os.path.join(self.unpacked(package), name)
            for package in PROGRAMS
            for name in self.contents(package)
            if "/man/" in name and name.endswith(".gz")
        ]
        self.assertEqual(len(pages), len(TOOLS) + 2)
        for page in pages:
            done = run("man", "--warnings", "-E", "UTF-8", "-l", page)
            self.assertEqual((done.returncode, done.stderr), (0, ""), page)

    def test_completions(self):
        folder = self.unpacked("upgrade-agent-tools")
        for tool in TOOLS:
            script = files.text(folder, "usr/share/bash-completion/completions", tool)
            shown = output("bash", "--norc", "-c", f"{script}\ncomplete -p {tool}")
            self.assertEqual(shown.split()[-1], tool)

    def test_package_is_the_same_wherever_it_is_made(self):
        """No folder of the machine that built it is in a program."""
        for package in PROGRAMS:
            for name, member in self.contents(package).items():
                if member.mode & 0o111 and member.isfile():
                    program = files.content(self.unpacked(package), name)
                    self.assertFalse(ROOT.encode() in program, name)


if __name__ == "__main__":
    if shutil.which("cpack") is None:
        raise SystemExit("cpack is missing; install the package 'cmake'")
    unittest.main(verbosity=2)
