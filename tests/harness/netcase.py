# SPDX-License-Identifier: Apache-2.0
"""The base of the tests of the module's own upgrade."""

import zlib

from . import agentcase, journal, module, netimage, texts, wait
from .blocksender import BlockSender

OLD_FILES = {"etc/agent.conf": b"level=1\n", "usr/bin/agent": b"old", "etc/hostname": b"mine\n"}
NEW_FILES = {**OLD_FILES, **netimage.FILES}
# Most devices do not answer for the module; this one does, which saves half a minute.
CHIP = agentcase.chip("NET", 32, version="1.0")


def shown(content):
    """Contents as a failure report can show them: long ones by size and checksum."""
    if isinstance(content, dict):
        return {name: shown(one) for name, one in content.items()}
    if content is None or len(content) < 100:
        return content
    return f"{len(content)} bytes, CRC {zlib.crc32(content):08x}"


class NetCase(agentcase.AgentCase):
    """A module with old firmware; its commands can be held."""

    def setUp(self):
        super().setUp()
        module.clean(OLD_FILES)

    def start_agent(self, **environment):
        return super().start_agent(SANDBOX_SUDO_HOLD=module.HOLD, **environment)

    def sender(self):
        """A block sender with a separate connection."""
        return BlockSender(self.connect())

    def assert_module(self, archive, files, version):
        """What is on the module's disk; the version is None or text."""
        self.assertEqual(shown(module.archive()), shown(archive))
        self.assertEqual(shown(module.files()), shown(files))
        self.assertEqual(module.version(), version and version.encode())

    def assert_installed(self, version="1.23", files=None):
        self.assert_module(None, NEW_FILES if files is None else files, version)

    def finish_blocks(self, client, before=(), files=None):
        """The rest of an install by blocks, from the last block to the reboot; all commands that
        were run before it are given."""
        client.expect(texts.net_blocks_installed() + texts.net_reboots())
        self.assert_reboots(*before, *module.INSTALL)
        self.assert_installed(files=files)

    def install_blocks(self, image, **more):
        """A whole install by blocks; returns its client."""
        sender = self.sender()
        sender.send_all(image)
        self.finish_blocks(sender.client, **more)
        return sender.client

    def assert_reboots(self, *commands):
        """The module reboots after these commands."""
        module.wait_for_command(module.REBOOT)
        self.assertEqual(module.commands(), [*commands, module.REBOOT])

    def assert_log(self, *expected):
        """Exactly these lines after those of the start, except lines about clients."""

        def events():
            return [
                line
                for line in journal.lines(self.agent)
                if "=client_" not in line and "=start" not in line and "=listening" not in line
            ]

        wait.until(lambda: len(events()) >= len(expected), 15, f"lines {expected}")
        self.assertEqual(events(), list(expected))

    def assert_silent(self, sender, payload):
        """The agent has read the fragment and has nothing to say to it."""
        sender.send(payload)
        # On the same connection a further request might be read as a part of the fragment.
        other = self.connect()
        other.sync()
        other.sync()
        other.close()
        sender.client.sync()
