# SPDX-License-Identifier: Apache-2.0
"""NET images where /data is missing, full, read-only or has the files of another user. Each class
needs a separate sandbox."""

import os

from tests.harness import agentcase, module, netcase, netimage, texts
from tests.harness.blocksender import REFUSED
from tests.harness.package import Image, image_bytes
from tests.system import test_net_resume

# Two thirds of the small /data cannot be compressed away.
BIG_FILE = image_bytes(60_000, "big")
BIG_IMAGE = netimage.image({**netimage.FILES, "usr/share/agent/big": BIG_FILE})
BIG_FILES = {**netcase.NEW_FILES, "usr/share/agent/big": BIG_FILE}
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
PACKAGE_IMAGES = [netimage.in_package(BIG_IMAGE), AUX]
BALLAST = "/data/ballast"
CHIPS = (agentcase.chip("AUX", 1, upgrades_to="1.0.0"), netcase.CHIP)
RUN_START = texts.log("Firmware file checksum ok.") + texts.read_chips(
    ("NET", "1.0", "FPGA"), ("AUX", "1.0.0")
)
RUN_END = texts.image("AUX", 1, 2, 700) + texts.finished()
CREATE_ERROR = texts.log("Start to upgrade NET firmware.", "Create fw_net error, upgrade net fail.")


class PlacesCase(netcase.NetCase):
    """Mode 5, so that a second run writes again."""

    def run_package(self, client, item, first=True):
        client.send("UPGRADE||NET,32,0||AUX,1,0")
        client.expect(texts.started(first) + RUN_START + item + RUN_END, 40)
        client.sync()

    def assert_blocks_refused(self):
        """Every block is refused, and Enter is still answered."""
        self.start_agent()
        sender = self.sender()
        sender.client.sync()
        sender.enter()
        for block in netimage.blocks(BIG_IMAGE)[:2]:
            sender.block(block, REFUSED)
        sender.block(netimage.blocks(BIG_IMAGE)[-1], REFUSED)
        sender.enter()
        self.assertEqual(module.commands(), [])
        self.assert_module(None, netcase.OLD_FILES, None)


class TestNoData(PlacesCase):
    """No /data at all."""

    def test_blocks(self):
        self.assert_blocks_refused()


class TestReadOnly(PlacesCase):
    """A /data that holds a package and cannot be written."""

    def test_blocks(self):
        self.assert_blocks_refused()

    def test_package(self):
        """The next item gets its image anyway."""
        client = self.start(*CHIPS, mode=5)
        self.run_package(client, CREATE_ERROR)
        self.assertEqual(module.commands(), [])
        self.assert_module(None, netcase.OLD_FILES, None)
        self.assert_flash({(1, 0): AUX.data})


class TestOtherUser(netcase.NetCase):
    """A /data with an archive and a version file that only another user may write."""

    def test_blocks(self):
        """The agent is an ordinary user and replaces both."""
        self.assertNotEqual(os.getuid(), 0)
        for path in (netimage.ARCHIVE, netimage.VERSION_FILE):
            with self.assertRaises(PermissionError):
                open(path, "ab")
        self.start_agent()
        self.install_blocks(netimage.image())

    def setUp(self):
        """Without the rest of a module's set-up, which would remove the files."""
        agentcase.AgentCase.setUp(self)
        module.clean(netcase.OLD_FILES, but=(netimage.ARCHIVE, netimage.VERSION_FILE))


class TestFull(PlacesCase):
    """A /data that fills up while the archive is written."""

    def tearDown(self):
        if os.path.exists(BALLAST):
            os.remove(BALLAST)

    @staticmethod
    def leave_free(size):
        """Fills /data until only so many bytes are left."""
        place = os.statvfs("/data")
        module.put(BALLAST, bytes(place.f_bavail * place.f_frsize - size))

    def test_package(self):
        """The digest of the truncated file differs; with free space the next run succeeds."""
        self.put_package(*PACKAGE_IMAGES)
        client = self.start(*CHIPS, mode=5)
        self.leave_free(40_000)
        self.run_package(client, texts.net_item_refused(0, 2))
        self.assertEqual(module.commands(), [module.MD5SUM])
        self.assert_module(b"", netcase.OLD_FILES, None)
        os.remove(BALLAST)
        self.run_package(client, texts.net_item(0, 2), first=False)
        self.assertEqual(module.commands(), [module.MD5SUM] + module.INSTALL)
        self.assert_installed(files=BIG_FILES)

    def test_blocks(self):
        """The block that does not fit is refused until there is free space."""
        self.start_agent()
        sender = self.sender()
        self.leave_free(40_000)
        sender.client.sync()
        sender.enter()
        *blocks, last = netimage.blocks(BIG_IMAGE)
        written = 40_000 // os.statvfs("/data").f_frsize * os.statvfs("/data").f_frsize
        fitting = (written + netimage.HEAD_SIZE) // netimage.BLOCK
        for block in blocks[:fitting]:
            sender.block(block)
        before = module.archive()
        for _ in range(3):
            sender.block(blocks[fitting], REFUSED)
            sender.block(last, REFUSED)
        self.assertEqual(module.archive(), before)
        os.remove(BALLAST)
        for block in blocks[fitting:]:
            sender.block(block)
        sender.send(last)
        self.finish_blocks(sender.client, files=BIG_FILES)

    def test_version_file(self):
        """It is written when the disk is full: the agent reports it and keeps all stored files."""
        module.put(netimage.VERSION_FILE, b"1.00")
        self.put_package(AUX)
        stored = module.content(agentcase.PACKAGE)
        module.hold(module.READ_ONLY)
        self.start_agent()
        sender = self.sender()
        sender.send_all(netimage.image())
        module.wait_for_command(module.READ_ONLY)
        self.leave_free(0)
        module.release()
        sender.client.expect(
            texts.net_blocks_installed(version_written=False) + texts.net_reboots()
        )
        self.assert_installed(version="1.00")
        self.assertEqual(module.content(agentcase.PACKAGE), stored)
        self.assertEqual(sorted(os.listdir("/data")), ["FW.fwm", "ballast", "version"])
        self.connect().sync()

    def test_interrupted_install(self):
        """Without space for its marker it is not completed, and nothing is lost; with space it is
        completed at the next start."""
        archive = netimage.image()[netimage.HEAD_SIZE :]
        module.put(netimage.ARCHIVE, archive)
        module.put(netimage.VERSION_FILE, b"1.00")
        module.put(netimage.MARKER, test_net_resume.marker())
        self.leave_free(0)
        self.start_agent()
        self.assert_log(test_net_resume.given_up("not_writable", "postponed"))
        self.assertEqual(module.commands(), [])
        self.assert_module(archive, netcase.OLD_FILES, "1.00")
        self.assertEqual(module.marker(), test_net_resume.marker())
        self.connect().ask("UPGRADEORVALE1G||127.0.0.1", test_net_resume.NO_PACKAGE)
        self.agent.kill()
        os.remove(BALLAST)
        self.start_agent()
        self.assert_reboots(*module.ALL_AGAIN)
        self.assert_installed()
        self.assert_log(test_net_resume.resumed(), test_net_resume.FINISHED)


if __name__ == "__main__":
    agentcase.main()
