# SPDX-License-Identifier: Apache-2.0
"""NET images sent block by block, to the module's reboot."""

import os
import time

from tests.harness import agentcase, module, netcase, netimage, texts, wait
from tests.harness.blocksender import BLOCK_REPLIES, DONE, KEY, REFUSED

IMAGE = netimage.image()
ARCHIVE = IMAGE[netimage.HEAD_SIZE :]
DIGEST_ERROR = texts.log("NET package checksum error.")


class TestNetBlocksInstall(netcase.NetCase):
    """One install each."""

    def begin(self, **environment):
        self.start_agent(**environment)
        self.send_as = self.sender()
        return self.send_as.client

    def assert_done(self, commands=None):
        self.assertEqual(module.commands(), (commands or module.INSTALL) + [module.REBOOT])
        self.assert_installed()

    def test_whole_install(self):
        """To the module's reboot and back."""
        client = self.begin()
        start = time.monotonic()
        self.send_as.send_all(IMAGE)
        client.expect(texts.net_blocks_installed() + texts.net_reboots())
        module.wait_for_command(module.REBOOT)
        self.assertGreater(time.monotonic() - start, 2)
        self.assert_done()
        self.agent.cut_power()
        self.start_agent()
        back = self.sender()
        back.client.sync()
        back.send(b"RebootDone")
        back.expect(KEY + bytes.fromhex(BLOCK_REPLIES[DONE]) + KEY + b"WriteIsUgradingFalse")
        back.enter()

    def test_others_meanwhile(self):
        """The lines before a long command arrive before its end, every client is answered, and no
        upgrade starts until the reboot."""
        client = self.begin()
        self.put_package(netimage.in_package(IMAGE))
        module.hold(module.UNPACK)
        self.send_as.send_all(IMAGE)
        client.expect(texts.net_blocks_installed()[:3])
        module.wait_for_command(module.UNPACK)
        other = self.connect()
        busy = ["UPGRADE||MAIN,0,1", "UPGRADE||", "UPGRADEORVALE1G||127.0.0.1"]

        def ask_everything():
            for line in busy:
                other.ask(line, netcase.BUSY)
            for line in ("UPGRADEALL", "GETVERINF"):
                other.send(line)
            other.ask("VERSION", "VERSION||1.15")

        ask_everything()
        self.assertEqual(module.files(), netcase.OLD_FILES)
        client.sync()
        module.release()
        client.expect(texts.net_blocks_installed()[3:] + texts.net_reboots())
        ask_everything()
        module.wait_for_command(module.REBOOT)
        ask_everything()
        self.assert_done()

    def test_digest_error(self):
        """Nothing is unpacked, and the next try is heard at once."""
        client = self.begin()
        self.send_as.send_all(netimage.with_head(ARCHIVE, digest="0" * 32))
        client.expect(DIGEST_ERROR)
        self.assertEqual(module.commands(), [module.MD5SUM])
        self.assert_module(ARCHIVE, netcase.OLD_FILES, None)
        client.send("UPGRADE||")
        client.expect(texts.closed(""))  # a request for nothing, which is not refused
        self.send_as.send_all(IMAGE)
        self.finish_blocks(client)
        self.assert_done([module.MD5SUM] + module.INSTALL)

    def test_upper_case_digest(self):
        client = self.begin()
        self.send_as.send_all(netimage.with_head(ARCHIVE, digest=netimage.md5(ARCHIVE).upper()))
        client.expect(DIGEST_ERROR)
        self.assertEqual(module.commands(), [module.MD5SUM])

    def test_archive_that_ends_like_padding(self):
        """Its last byte looks like padding, unless it is in a block without padding."""
        client = self.begin()
        image = netimage.with_head(ARCHIVE + b"\xff")
        self.send_as.send_all(image)
        client.expect(DIGEST_ERROR)
        self.assertEqual(module.archive(), ARCHIVE)
        frames = netimage.blocks(image)
        self.send_as.begin(image)
        self.send_as.block(netimage.block(len(frames) - 1, image[256 * (len(frames) - 1) :]))
        self.send_as.send(netimage.block(len(frames), b"\xff" * 256, last=True))
        self.finish_blocks(client)
        self.assert_done([module.MD5SUM] + module.INSTALL)

    def test_notice_in_the_archive(self):
        """The word of the notice is cut in two by the end of a block."""
        client = self.begin()
        content = ARCHIVE[:300] + b"RebootDone" + ARCHIVE[300:]
        image = netimage.with_head(content)
        place = netimage.HEAD_SIZE + 305
        self.send_as.begin(image, 1)
        for number, piece in enumerate((image[256:place], image[place : place + 200]), 1):
            self.send_as.block(netimage.block(number, piece))
        self.assertEqual(module.archive(), content[:505])
        client.sync()

    def test_last_block_again(self):
        """After a failure there is nothing that it could belong to."""
        client = self.begin()
        image = netimage.with_head(ARCHIVE, digest="0" * 32)
        (last,) = self.send_as.begin(image)
        self.send_as.send(last)
        client.expect(DIGEST_ERROR)
        self.send_as.block(last, REFUSED)
        self.assertEqual(module.commands(), [module.MD5SUM])

    def test_last_block_of_padding(self):
        client = self.begin()
        frames = netimage.blocks(IMAGE)
        self.send_as.begin(IMAGE, len(frames) - 1)
        self.send_as.block(netimage.block(len(frames) - 1, IMAGE[256 * (len(frames) - 1) :]))
        self.send_as.send(netimage.block(len(frames), b"\xff" * 256, last=True))
        self.finish_blocks(client)
        self.assert_done()

    def test_short_last_block(self):
        """Without padding; the rest of the block before it has no part in it."""
        client = self.begin()
        frames = netimage.blocks(IMAGE)
        self.send_as.begin(IMAGE)
        tail = IMAGE[256 * (len(frames) - 1) :]
        self.send_as.send(netimage.block(len(frames) - 1, tail, last=True))
        self.finish_blocks(client)
        self.assert_done()

    def test_answers_that_are_lost(self):
        """Every block comes twice, as from a sender that hears nothing."""
        client = self.begin()
        client.sync()
        self.send_as.enter()
        *blocks, last = netimage.blocks(IMAGE)
        for block in blocks:
            self.send_as.block(block)
            self.send_as.block(block)
        self.send_as.send(last)
        self.finish_blocks(client)
        self.assert_done()

    def test_sender_vanishes(self):
        """It sends the last block and disconnects: the install continues without a client."""
        client = self.begin()
        module.hold(module.UNPACK)
        self.send_as.send_all(IMAGE)
        client.expect(texts.net_blocks_installed()[:3])
        client.close(reset=True)
        module.release()
        module.wait_for_command(module.REBOOT)
        self.assert_done()

    def test_version_file_cannot_be_written(self):
        client = self.begin()
        os.mkdir(netimage.VERSION_FILE)
        self.send_as.send_all(IMAGE)
        client.expect(texts.net_blocks_installed(version_written=False) + texts.net_reboots())
        module.wait_for_command(module.REBOOT)
        self.assertEqual(module.files(), netcase.NEW_FILES)

    def test_every_command_fails(self):
        """Their exit statuses are ignored."""
        client = self.begin(SANDBOX_SUDO_FAIL="mount tar rm reboot")
        self.send_as.send_all(IMAGE)
        self.finish_blocks(client)
        self.assertEqual(module.commands(), module.INSTALL + [module.REBOOT])
        self.assert_module(ARCHIVE, netcase.OLD_FILES, "1.23")

    def test_reboot_that_never_comes(self):
        """A module that may not be rebooted takes requests again after a minute."""
        client = self.begin(SANDBOX_SUDO_FAIL="reboot")
        self.send_as.send_all(IMAGE)
        self.finish_blocks(client)

        def free():
            client.mark()
            client.send("UPGRADE||")
            client.send("HEARTBEAT")
            client.wait_for("HEARTBEAT")
            return netcase.BUSY not in client.lines

        self.assertFalse(free())
        wait.until(free, 90, "idle agent")
        # The last lines of the accepted request follow the heartbeat.
        client.wait_for(texts.closed("")[-1])
        self.send_as.client.mark()
        self.send_as.enter()


if __name__ == "__main__":
    agentcase.main()
