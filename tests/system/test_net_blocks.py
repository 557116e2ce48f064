# SPDX-License-Identifier: Apache-2.0
"""Every answer to the blocks of a NET image that comes over the console."""

from tests.harness import agentcase, module, netcase, netimage, texts, wait
from tests.harness.blocksender import BLOCK_REPLIES, DONE, ENTER_REPLIES, REFUSED, fragment
from tests.harness.package import image_bytes

# Long enough for ten blocks; nothing of it is ever unpacked here.
CONTENT = image_bytes(2400, "archive")
IMAGE = netimage.with_head(CONTENT)
BLOCKS = netimage.blocks(IMAGE)


class TestNetBlocks(netcase.NetCase):
    """One agent each, no device."""

    def setUp(self):
        super().setUp()
        self.start_agent()
        self.send_as = self.sender()
        self.send_as.client.sync()

    def enter_and_create(self):
        self.send_as.enter()
        self.send_as.block(BLOCKS[0])

    def assert_archive(self, size):
        """As many bytes of the archive, and no command so far."""
        self.assertEqual(module.archive(), CONTENT[:size])
        self.assertEqual(module.commands(), [])

    def test_every_block_is_answered(self):
        self.send_as.enter()
        for number, block in enumerate(BLOCKS[:-1]):
            self.send_as.block(block)
            self.assert_archive(194 + 256 * number)

    def test_who_is_answered(self):
        """The client that sent the last request; a fragment is not a request."""
        sender = self.sender()
        sender.send(netimage.enter())
        self.send_as.expect_reply(ENTER_REPLIES[DONE])
        sender.client.sync()
        sender.block(BLOCKS[0])
        self.send_as.client.sync()
        sender.send(BLOCKS[1])
        self.send_as.expect_reply(BLOCK_REPLIES[DONE])
        self.assertEqual((sender.client.raw, self.send_as.client.raw), (b"", b""))
        self.assert_archive(194 + 256)

    def test_no_client_is_answered(self):
        """A client that never sent a request gets no answers, but its blocks are written."""
        self.agent.kill()
        self.start_agent()
        sender = self.sender()
        sender.send(BLOCKS[0])
        wait.until(lambda: module.archive() == CONTENT[:194], what="block 0 in the file")
        sender.client.sync()
        sender.block(BLOCKS[1])
        self.assert_archive(194 + 256)

    def test_sender_vanishes_and_comes_back(self):
        """In the middle of a frame; it starts again."""
        self.enter_and_create()
        self.send_as.block(BLOCKS[1])
        self.send_as.client.send_raw(fragment(BLOCKS[2])[:100])
        self.send_as.client.close(reset=True)
        back = self.sender()
        self.assertEqual(len(back.begin(IMAGE)), 1)
        self.assert_archive(194 + 256 * (len(BLOCKS) - 2))

    def test_sender_comes_back_and_goes_on(self):
        """Nothing is lost between two connections: the next block may follow."""
        self.enter_and_create()
        self.send_as.client.close()
        back = self.sender()
        back.client.sync()
        back.block(BLOCKS[0])  # its answer may have been lost
        back.block(BLOCKS[1])
        self.assert_archive(194 + 256)

    def test_while_the_engine_is_at_work(self):
        """Both write the same archive, so the one that came second is refused."""
        self.put_package(netimage.in_package(IMAGE))
        self.start_device(agentcase.chip("MAIN"), faults=["silent:word=model-name"])
        self.enter_and_create()
        self.send_as.client.send("UPGRADE||MAIN,0,1")
        self.send_as.client.expect(
            texts.started() + texts.log("Firmware file checksum ok.", "Read model name.")
        )
        self.send_as.enter(REFUSED)
        for block in (BLOCKS[1], BLOCKS[0], BLOCKS[-1]):
            self.send_as.block(block, REFUSED)
        self.assert_archive(194)


if __name__ == "__main__":
    agentcase.main()
