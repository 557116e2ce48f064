# SPDX-License-Identifier: Apache-2.0
"""Images for the module itself while the module takes signed packages only."""

from tests.harness import agentcase, module, netcase, netimage, package, signing, texts
from tests.harness.blocksender import ENTER_REPLIES, KEY, REFUSED
from tests.harness.package import Image

IMAGE = netimage.image()
REFUSAL = b"UPGRADELOG||NET package refused, this module takes signed packages only.\r\n"
REFUSED_ENTER = KEY + bytes.fromhex(ENTER_REPLIES[REFUSED])


class TestNetSigned(netcase.NetCase):
    """Blocks are not signed; an image in a package is covered by the package's signature."""

    def setUp(self):
        super().setUp()
        signing.clean()
        self.key = signing.Key("own")

    def begin(self):
        self.start_agent()
        sender = self.sender()
        sender.client.sync()
        return sender

    def assert_nothing_installed(self):
        self.assertEqual(module.commands(), [])
        self.assertEqual(module.version(), None)
        self.assertEqual(module.files(), netcase.OLD_FILES)

    def test_blocks_are_refused(self):
        signing.install(self.key)
        sender = self.begin()
        for _ in range(2):
            sender.send(netimage.enter())
            sender.expect(REFUSAL + REFUSED_ENTER)
            for frame in netimage.blocks(IMAGE):
                sender.block(frame, REFUSED)
        sender.client.sync()
        self.assertEqual(module.archive(), None)
        self.assert_nothing_installed()
        # Without the key the same sender succeeds.
        signing.install()
        sender.send_all(IMAGE)
        self.finish_blocks(sender.client)

    def test_key_that_cannot_be_used(self):
        signing.install(b"not a key")
        sender = self.begin()
        sender.send(netimage.enter())
        path = f"{signing.KEYS}/0.pub"
        line = f"UPGRADELOG||Key file {path} cannot be used, upgrade fail.\r\n"
        sender.expect(line.encode() + REFUSED_ENTER)
        for frame in netimage.blocks(IMAGE):
            sender.block(frame, REFUSED)
        self.assert_nothing_installed()

    def test_image_in_a_signed_package(self):
        signing.install(self.key)
        data = package.build([Image("NET", IMAGE, chip_type=32)])
        self.put_bytes(data)
        client = self.start(netcase.CHIP, mode=5)
        client.send("UPGRADE||NET,32,0")
        client.expect(
            texts.started()
            + texts.log(
                "Firmware file checksum ok.", "Firmware package is not signed, upgrade fail."
            )
            + texts.package_failed()
        )
        self.assert_nothing_installed()
        signing.put(signing.SIGNATURE, self.key.sign(data))
        client.send("UPGRADE||NET,32,0")
        client.wait_for(f"UPGRADELOG||Firmware package signature ok, key {self.key.id}.")
        client.wait_for("UPGRADESUCCESS", 40)
        self.assert_installed()


if __name__ == "__main__":
    agentcase.main()
