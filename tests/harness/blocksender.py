# SPDX-License-Identifier: Apache-2.0
"""Sends a NET image over a console connection, block by block."""

from . import netimage, wait

KEY = b"UpgradeDatas||"
DONE, BAD_CHECKSUM, REFUSED = 0, 1, 3
# The whole answers, with their checksums.
ENTER_REPLIES = {
    DONE: "ab5ba508000000ffff007900d6",
    BAD_CHECKSUM: "ab5ba508000000ffff007901d5",
    REFUSED: "ab5ba508000000ffff007903d3",
}
BLOCK_REPLIES = {
    DONE: "ab5ba508000000ffff017900d5",
    BAD_CHECKSUM: "ab5ba508000000ffff017901d4",
    REFUSED: "ab5ba508000000ffff017903d2",
}


def fragment(payload):
    return KEY + payload + b"\r\n"


class BlockSender:
    """One frame in flight; every byte that comes back is checked."""

    def __init__(self, client):
        self.client = client

    def expect(self, expected, seconds=15):
        """Exactly these bytes since the last time."""
        wait.until(
            lambda: len(self.client.raw) >= len(expected),
            seconds,
            f"answer {expected!r} but {self.client.raw!r}",
        )
        got = self.client.raw
        assert got == expected, f"{got!r} instead of {expected!r}"
        self.client.mark()

    def expect_reply(self, reply, seconds=15):
        self.expect(KEY + bytes.fromhex(reply), seconds)

    def send(self, frame):
        self.client.send_raw(fragment(frame))

    def enter(self, status=DONE, **more):
        self.send(netimage.enter(**more))
        self.expect_reply(ENTER_REPLIES[status])

    def block(self, frame, status=DONE):
        self.send(frame)
        self.expect_reply(BLOCK_REPLIES[status])

    def begin(self, image, count=None):
        """Makes this client the one that is answered, enters, and sends the first blocks: all
        but the last one without a count. Returns the frames that are left."""
        self.client.sync()
        self.enter()
        frames = netimage.blocks(image)
        count = len(frames) - 1 if count is None else count
        for frame in frames[:count]:
            self.block(frame)
        return frames[count:]

    def send_all(self, image):
        """The whole image; what its install says is still to come."""
        (last,) = self.begin(image)
        self.send(last)
