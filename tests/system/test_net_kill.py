# SPDX-License-Identifier: Apache-2.0
"""The agent and its commands are killed at every step of an install. What is left, and what the
next start of the agent does about it, is what the table of docs/use/net-install.md says."""

import os
import re
import typing

from tests.harness import agentcase, module, netcase, netimage, texts, wait
from tests.harness.package import image_bytes

DOCUMENT = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "use", "net-install.md")
# More than tar takes at once, so that it can be stopped in the middle of a file.
FILES = {**netimage.FILES, "usr/bin/agent": image_bytes(24_000, "large")}
NEW_FILES = {**netcase.OLD_FILES, **FILES}
IMAGE = netimage.image(FILES)
ARCHIVE = IMAGE[netimage.HEAD_SIZE :]
VERSIONS = {"old": "1.00", "new": "1.23"}
HALF_PATH = f"/tmp/bin:{os.environ.get('PATH')}"
# A program in the way of tar: the beginning of the archive, and no end.
HALF_BZIP2 = b'#!/bin/sh\n/usr/bin/bzip2 "$@" | head -c 20480\nexec sleep 1000\n'

HELD = {
    "`sudo md5sum`": module.MD5SUM,
    "`sudo mount -o remount rw /`": module.WRITABLE,
    "`sudo tar`": module.UNPACK,
    "`sudo rm`": module.REMOVE,
    "`sudo mount -o remount ro /`": module.READ_ONLY,
    "`sync`": module.SYNC,
    "`sudo reboot`": module.REBOOT,
}
# What the next start runs, before the reboot of an install by blocks.
RESUMED: dict[str, list[str]] = {
    "nothing": [],
    "all again": module.ALL_AGAIN,
    "from `rm`": module.REMAINING,
    "after `rm`": module.REMAINING[1:],
}
LAST_BLOCK, END_OF_TAR, NEXT_ROW = "the last block", "the end of `sudo tar`", "the next row"


class Cut(typing.NamedTuple):
    """One line of the document's table."""

    before: str
    archive: str
    files: str
    package: str
    blocks: str
    resumed: str


def document():
    return module.content(DOCUMENT).decode()


def table():
    rows = document().split("| before | archive |")[1].split("\n\n")[0].splitlines()[2:]
    return [Cut(*(cell.strip() for cell in row.strip("|").split("|"))) for row in rows]


def code_block(language):
    return re.findall(rf"```{language}\n(.*?)```", document(), re.DOTALL)[0]


class TestNetKill(netcase.NetCase):
    """Each line of the table, for either way: cuts the power, looks at the disk, and installs
    again."""

    def prepare(self, cut):
        """A module with an older version, about to be stopped."""
        if hasattr(self, "agent"):
            self.agent.cut_power()
        module.clean(netcase.OLD_FILES)
        module.put(netimage.VERSION_FILE, b"1.00")
        more = {}
        if cut.before in HELD:
            module.hold(HELD[cut.before])
        elif cut.before == END_OF_TAR:
            module.put("/tmp/bin/bzip2", HALF_BZIP2)
            os.chmod("/tmp/bin/bzip2", 0o755)
            more = {"PATH": HALF_PATH}
        self.start_agent(**more)

    def wait_for(self, cut):
        if cut.before in HELD:
            module.wait_for_command(HELD[cut.before])
        elif cut.before == END_OF_TAR:

            def mixed():
                agent = module.files().get("usr/bin/agent")
                return agent and agent != netcase.OLD_FILES["usr/bin/agent"]

            wait.until(mixed, 15, "mixture of files")
        elif cut.before == NEXT_ROW:
            wait.until(
                lambda: module.version() == b"1.23" and module.marker() is None,
                15,
                "version file",
            )

    def cut(self, cut, version):
        self.wait_for(cut)
        self.agent.cut_power()
        self.assert_left(cut, version)
        module.release()

    def assert_left(self, cut, version):
        archive, agent = module.archive(), module.files().get("usr/bin/agent")
        if cut.archive == "a part":
            self.assertTrue(0 < len(archive) < len(ARCHIVE) and ARCHIVE.startswith(archive))
        if cut.files == "mixed":
            self.assertTrue(0 < len(agent) < 24_000 and FILES["usr/bin/agent"].startswith(agent))
        mixed = {
            "etc/hostname": netcase.OLD_FILES["etc/hostname"],
            "etc/agent.conf": FILES["etc/agent.conf"],
            "usr/bin/agent": agent,
        }
        self.assert_module(
            {"whole": ARCHIVE, "none": None, "a part": archive}[cut.archive],
            {"old": netcase.OLD_FILES, "new": NEW_FILES, "mixed": mixed}[cut.files],
            VERSIONS[version],
        )

    def begin_again(self):
        """The module is back, with an empty record of commands."""
        module.forget_commands()
        self.start_agent()

    def begin_resumed(self, cut, reboot=()):
        """The module is back, and completes the install on its own."""
        self.begin_again()
        expected = RESUMED[cut.resumed]
        if expected:
            expected = [*expected, *reboot]
            wait.until(lambda: module.commands() == expected, 15, f"commands {expected}")
            wait.until(lambda: module.marker() is None, 15, "end of the install")
            self.assert_installed(files=NEW_FILES)
            # What the reboot does.
            self.agent.cut_power()
            self.begin_again()
        self.assertEqual((module.commands(), module.marker()), ([], None))

    def test_table_is_complete(self):
        cuts = table()
        self.assertEqual({cut.before for cut in cuts}, {*HELD, LAST_BLOCK, END_OF_TAR, NEXT_ROW})
        self.assertEqual(
            [cut.before for cut in cuts if cut.package == "-"], [LAST_BLOCK, "`sudo reboot`"]
        )
        self.assertEqual([cut.before for cut in cuts if cut.blocks == "-"], [NEXT_ROW])

    def test_document_s_commands(self):
        """The list of commands, and who may run them."""
        listed = document().split("## Required permissions")[1].split("```")[1].split("\n")
        self.assertEqual(listed[1:-1], [*module.INSTALL, module.REBOOT])
        allowed = re.findall(r"/usr/s?bin/(.*?)(?:, \\| \"\")\n", code_block("sudoers"))
        self.assertEqual(
            [f"sudo {command}" for command in allowed],
            [line for line in listed[1:-1] if line != module.SYNC],
        )

    def test_package(self):
        for cut in table():
            if cut.package == "-":
                continue
            with self.subTest(before=cut.before):
                self.put_package(netimage.in_package(IMAGE))
                self.prepare(cut)
                self.upgrade()
                self.cut(cut, cut.package)
                self.begin_resumed(cut)
                client = self.upgrade()
                client.expect(self.run_lines() + texts.rebooted()[:2], 30)
                self.assertEqual(module.commands(), module.INSTALL)
                self.assert_installed(files=NEW_FILES)

    def upgrade(self):
        """Starts a run on a new device; it is not observed beyond the install."""
        self.start_device(netcase.CHIP)
        client = self.connect()
        client.send("UPGRADE||NET,32,0")
        return client

    @staticmethod
    def run_lines():
        return (
            texts.begun(("NET", "1.0", "FPGA"))
            + texts.decided("1.23.0", "greater", "NET", "1.0.0")
            + texts.net_item()
        )

    def test_blocks(self):
        for cut in table():
            if cut.blocks == "-":
                continue
            with self.subTest(before=cut.before):
                self.prepare(cut)
                if cut.before == LAST_BLOCK:
                    self.sender().begin(IMAGE)
                else:
                    self.sender().send_all(IMAGE)
                self.cut(cut, cut.blocks)
                self.begin_resumed(cut, [module.REBOOT])
                self.install_blocks(IMAGE, files=NEW_FILES)

    def test_agent_alone_is_killed(self):
        """Its last command ends by itself and nothing follows."""
        cut = next(cut for cut in table() if cut.before == "`sudo tar`")
        self.prepare(cut)
        self.sender().send_all(IMAGE)
        self.wait_for(cut)
        self.agent.kill()
        module.release()
        wait.until(lambda: module.files() == NEW_FILES, what="unpacked files")
        self.assertEqual(module.commands(), module.INSTALL[:3])
        self.assert_module(ARCHIVE, NEW_FILES, "1.00")
        self.begin_resumed(cut, [module.REBOOT])
        self.install_blocks(IMAGE, files=NEW_FILES)


if __name__ == "__main__":
    agentcase.main()
