# SPDX-License-Identifier: Apache-2.0
"""Every answer to the blocks of a NET image that comes over the console."""

import os

from tests.harness import agentcase, frames, module, netcase, netimage, texts, wait
from tests.harness.blocksender import (
    BAD_CHECKSUM,
    BLOCK_REPLIES,
    DONE,
    ENTER_REPLIES,
    KEY,
    REFUSED,
    fragment,
)
from tests.harness.package import image_bytes

# Long enough for ten blocks; nothing of it is ever unpacked here.
CONTENT = image_bytes(2400, "archive")
IMAGE = netimage.with_head(CONTENT)
BLOCKS = netimage.blocks(IMAGE)
SILENT_DEVICE = ["silent:word=model-name"]


def with_bad_checksum(frame):
    return frame[:-1] + bytes([frame[-1] ^ 0xFF])


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

    def test_either_start_byte(self):
        data = [IMAGE[place : place + 256] for place in (0, 256, 512)]
        self.send_as.enter(start=frames.REPLY)
        self.send_as.block(netimage.block(0, data[0], start=frames.REPLY))
        self.send_as.block(netimage.block(1, data[1], start=frames.HOST))
        self.send_as.block(netimage.block(2, data[2], start=frames.REPLY))
        self.assert_archive(194 + 512)

    def test_bad_checksum(self):
        """It is reported for every command, and the next frame is answered."""
        self.send_as.send(with_bad_checksum(netimage.enter()))
        self.send_as.expect_reply(ENTER_REPLIES[BAD_CHECKSUM])
        self.enter_and_create()
        self.send_as.block(with_bad_checksum(BLOCKS[1]), BAD_CHECKSUM)
        self.send_as.send(with_bad_checksum(frames.host(frames.REBOOT)))
        self.send_as.expect(
            KEY
            + frames.frame(
                0xAB, 0xFFFF, frames.REBOOT.to_bytes(2, "little") + bytes([BAD_CHECKSUM])
            )
        )
        self.send_as.block(BLOCKS[1])
        self.assert_archive(194 + 256)

    def test_enter_for_others(self):
        for chip_type, chip_index in ((0x1F, 0), (0x20, 1), (0, 0), (0xFF, 0xFF)):
            self.send_as.enter(REFUSED, chip_type=chip_type, chip_index=chip_index)
        for data in (b"", b"\x20", b"\x20\0\0"):
            self.send_as.send(frames.host(frames.ENTER, data))
            self.send_as.expect_reply(ENTER_REPLIES[REFUSED])
        self.send_as.enter()

    def test_archive_cannot_be_created(self):
        os.mkdir(netimage.ARCHIVE)
        self.send_as.enter()
        self.send_as.block(BLOCKS[0], REFUSED)
        self.send_as.block(BLOCKS[1], REFUSED)
        os.rmdir(netimage.ARCHIVE)
        self.enter_and_create()
        self.assert_archive(194)

    def test_repeated_blocks(self):
        """The answer was lost, the block comes again: it is in the file once."""
        self.send_as.enter()
        for block in BLOCKS[:4]:
            self.send_as.block(block)
            self.send_as.block(block)
        self.send_as.block(BLOCKS[3])
        self.assert_archive(194 + 3 * 256)

    def test_numbers_are_not_checked(self):
        """Blocks 0, 7 and 3, in the order of their coming."""
        self.enter_and_create()
        self.send_as.block(BLOCKS[7])
        self.send_as.block(BLOCKS[3])
        in_file = [IMAGE[number * 256 :][:256] for number in (7, 3)]
        self.assertEqual(module.archive(), CONTENT[:194] + b"".join(in_file))

    def test_equal_data_in_different_blocks(self):
        """Only the same frame is a repetition."""
        self.enter_and_create()
        for number in (1, 2):
            self.send_as.block(netimage.block(number, bytes(256)))
        self.assertEqual(module.archive(), CONTENT[:194] + bytes(512))

    def test_block_0_starts_again(self):
        self.send_as.enter()
        for block in BLOCKS[:5] + BLOCKS[:2]:
            self.send_as.block(block)
        self.assert_archive(194 + 256)

    def test_block_0_with_the_last_flag(self):
        """It is still the header and ends nothing."""
        self.send_as.enter()
        self.send_as.block(netimage.block(0, IMAGE[:256], last=True))
        self.send_as.block(BLOCKS[1])
        self.assert_archive(194 + 256)

    def test_without_block_0(self):
        self.send_as.enter()
        self.send_as.block(BLOCKS[5], REFUSED)
        self.send_as.block(BLOCKS[-1], REFUSED)
        self.assertIsNone(module.archive())
        self.assertEqual(module.commands(), [])

    def test_short_frames(self):
        """Too short for the block's head or, in block 0, for the image's head."""
        self.send_as.enter()
        for data in (b"", b"\x20", b"\x20\0\0\0"):
            self.send_as.send(frames.host(frames.BLOCK, data))
            self.send_as.expect_reply(BLOCK_REPLIES[REFUSED])
        self.send_as.block(netimage.block(0, b""), REFUSED)
        self.send_as.block(netimage.block(0, IMAGE[:61]), REFUSED)
        self.assertIsNone(module.archive())
        self.send_as.block(netimage.block(0, IMAGE[:62]))
        self.send_as.block(netimage.block(1, CONTENT[:1]))
        self.send_as.block(netimage.block(2, CONTENT[1:400]))
        self.assert_archive(400)

    def test_useless_bytes(self):
        """They get no answer, and the frame after them is answered."""
        for junk in (
            b"",
            bytes(300),
            b"\x5a",
            b"\x5a\x5b\x00",
            b"\x5a\x00\xa5",
            b"\x5a\x5b\xa5\x04\x00",
            b"\xab" * 20,
        ):
            with self.subTest(junk=junk):
                self.assert_silent(self.send_as, junk + b"\0")
                self.send_as.enter()

    def test_wrong_address(self):
        wrong = bytearray(netimage.enter())
        wrong[2], wrong[-1] = 0xA4, (wrong[-1] + 1) & 0xFF
        self.assert_silent(self.send_as, bytes(wrong))
        self.send_as.enter()

    def test_two_frames_in_one_fragment(self):
        self.send_as.send(netimage.enter() + b"\r\n" + BLOCKS[0] + BLOCKS[1])
        self.send_as.expect(
            b"".join(
                KEY + bytes.fromhex(reply)
                for reply in (ENTER_REPLIES[DONE], BLOCK_REPLIES[DONE], BLOCK_REPLIES[DONE])
            )
        )
        self.assert_archive(194 + 256)

    def test_frame_in_two_fragments(self):
        self.send_as.enter()
        self.assert_silent(self.send_as, BLOCKS[0][:100])
        self.send_as.block(BLOCKS[0][100:])
        self.assert_archive(194)

    def test_fragment_in_two_reads(self):
        """The agent takes it for a line with an unknown command."""
        raw = fragment(netimage.enter())
        self.send_as.client.send_raw(raw[:20])
        other = self.connect()
        other.sync()
        other.sync()
        self.send_as.client.send_raw(raw[20:])
        self.send_as.client.expect(["UPGRADELOG||Unknow command."])
        self.send_as.enter()

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

    def test_reboot_done(self):
        """The notice acknowledges the last block and ends the upgrade for the sender."""
        for payload in (b"RebootDone", b"..RebootDone..", BLOCKS[0] + b"RebootDone"):
            self.send_as.send(payload)
            self.send_as.expect(
                KEY + bytes.fromhex(BLOCK_REPLIES[DONE]) + KEY + b"WriteIsUgradingFalse"
            )
        self.send_as.block(BLOCKS[1], REFUSED)  # block 0 was never forwarded

    def test_while_the_engine_is_at_work(self):
        """Both write the same archive, so the one that came second is refused."""
        self.put_package(netimage.in_package(IMAGE))
        self.start_device(agentcase.chip("MAIN"), faults=SILENT_DEVICE)
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
