# SPDX-License-Identifier: Apache-2.0
"""NET images sent block by block, to the module's reboot."""

import time

from tests.harness import agentcase, module, netcase, netimage, texts

from tests.harness.blocksender import BLOCK_REPLIES, DONE, KEY

IMAGE = netimage.image()
ARCHIVE = IMAGE[netimage.HEAD_SIZE :]


class TestNetBlocksInstall(netcase.NetCase):
    """One install each."""

    def begin(self, **environment):
        self.start_agent(**environment)
        self.send_as = self.sender()
        return self.send_as.client

    def test_whole_install(self):
        """To the module's reboot and back."""
        client = self.begin()
        start = time.monotonic()
        self.send_as.send_all(IMAGE)
        self.finish_blocks(client)
        self.assertGreater(time.monotonic() - start, 2)
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

        def ask_everything():
            for line in ("UPGRADE||MAIN,0,1", "UPGRADE||", "UPGRADEORVALE1G||127.0.0.1"):
                other.ask(line, texts.BUSY)
            for line in ("UPGRADEALL", "GETVERINF"):
                other.send(line)
            other.ask("VERSION", "VERSION||1.15")

        ask_everything()
        self.assertEqual(module.files(), netcase.OLD_FILES)
        client.sync()
        module.release()
        client.expect(texts.net_blocks_installed()[3:] + texts.net_reboots())
        ask_everything()
        self.assert_reboots(*module.INSTALL)
        ask_everything()
        self.assert_installed()

    def test_digest_error(self):
        """Nothing is unpacked, and the next try is heard at once."""
        client = self.begin()
        self.send_as.send_all(netimage.with_head(ARCHIVE, digest="0" * 32))
        client.expect(texts.log("NET package checksum error."))
        self.assertEqual(module.commands(), [module.MD5SUM])
        self.assert_module(ARCHIVE, netcase.OLD_FILES, None)
        client.ask("UPGRADE||", *texts.closed(""))  # a request for nothing, which is not refused
        self.send_as.send_all(IMAGE)
        self.finish_blocks(client, before=[module.MD5SUM])

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

    def test_sender_vanishes(self):
        """It sends the last block and disconnects: the install continues without a client."""
        client = self.begin()
        module.hold(module.UNPACK)
        self.send_as.send_all(IMAGE)
        client.expect(texts.net_blocks_installed()[:3])
        client.close(reset=True)
        module.release()
        self.assert_reboots(*module.INSTALL)
        self.assert_installed()

    def test_every_command_fails(self):
        """Their exit statuses are ignored."""
        client = self.begin(SANDBOX_SUDO_FAIL="mount tar rm reboot")
        self.send_as.send_all(IMAGE)
        client.expect(texts.net_blocks_installed() + texts.net_reboots())
        self.assert_reboots(*module.INSTALL)
        self.assert_module(ARCHIVE, netcase.OLD_FILES, "1.23")


if __name__ == "__main__":
    agentcase.main()
