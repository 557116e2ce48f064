# SPDX-License-Identifier: Apache-2.0
"""Firmware for the network module itself, out of a package."""

import os
import subprocess

from tests.harness import agentcase, framelist, module, netcase, netimage, texts, wait
from tests.harness.package import Image, image_bytes

NET_IMAGE = netimage.image()
NET = netimage.in_package(NET_IMAGE)
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
KEY = Image("KEY", image_bytes(300, "key"), chip_type=2)
# Most devices do not answer for the module; this one does, which saves half a minute.
MODULE_CHIP = agentcase.chip("NET", 32, version="1.0")
AUX_CHIP, KEY_CHIP = agentcase.chip("AUX", 1), agentcase.chip("KEY", 2)
END = texts.finished()
END_FRAMES = [framelist.REBOOT, framelist.PRODUCT_ID, framelist.virtual(5)]
TWO_ROWS = "UPGRADE||NET,32,0||AUX,1,0"


def reads(*names):
    """Mode 5: both reads of the MCUs, then all versions."""
    chips = [(name, "1.0", "FPGA") if name == "NET" else (name, "1.0.0") for name in names]
    return texts.started() + texts.log("Firmware file checksum ok.") + texts.read_chips(*chips)


class TestNetPackage(netcase.NetCase):
    """One run each."""

    def begin(self, *images, request, chips=(AUX_CHIP, MODULE_CHIP, KEY_CHIP), mode=5):
        client = self.start(*chips, images=images, mode=mode)
        client.send(request)
        return client

    def test_alone(self):
        client = self.begin(NET, request="UPGRADE||NET,32,0")
        client.expect(reads("NET") + texts.net_item() + END, 40)
        client.sync()
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed()
        self.assert_frames(framelist.version(32), *END_FRAMES)

    def test_between_mcu_images(self):
        """The unpacking outlasts every command's time-out, and all other clients are served."""
        client = self.begin(AUX, NET, KEY, request="UPGRADE||AUX,1,0||NET,32,0||KEY,2,0")
        module.hold(module.UNPACK)
        client.wait_for("PROGRESSVALUE||43.33", 30)
        module.wait_for_command(module.UNPACK)
        other = self.connect()
        for _ in range(11):
            other.ask("UPGRADE||AUX,1,0", netcase.BUSY)
            other.closed.wait(1)  # the time that the unpacking takes
        other.close()
        client.send("VERSION")
        client.wait_for("VERSION||1.15")
        module.release()
        client.expect(
            reads("AUX", "NET", "KEY")
            + texts.image("AUX", 0, 3, 700)
            + texts.net_item(1, 3)[:-5]
            + ["VERSION||1.15"]
            + texts.net_item(1, 3)[-5:]
            + texts.image("KEY", 2, 3, 300)
            + END,
            40,
        )
        client.sync()
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed()
        self.assert_flash({(1, 0): AUX.data, (2, 0): KEY.data})
        self.assert_frames(
            *framelist.mcu(1),
            *framelist.mcu(2),
            framelist.version(1),
            framelist.version(32),
            framelist.version(2),
            *framelist.image(1, 0, 700),
            *framelist.image(2, 0, 300),
            *END_FRAMES,
        )

    def test_version_that_the_device_does_not_know(self):
        """The module gets its image."""
        client = self.begin(NET, request="UPGRADEALL", chips=(AUX_CHIP,), mode=2)
        ask = texts.log("Send 'Read FW version' command to 'NET'.")
        fail = "Read the version information of 'NET' fail, {}."
        client.expect(
            texts.package_listed()
            + texts.started()
            + texts.model_read()
            + texts.read_fpga("NET")
            + texts.reads_done()
            + ask
            + texts.log(fail.format("retry 1"))
            + ask
            + texts.log(fail.format("retry 2"))
            + ask
            + texts.log(
                fail.format("check the next mcu"), "Read all mcu(list) version information done."
            )
            + texts.decided("1.23.0", "greater", "NET", "0.0.0")
            + texts.net_item()
            + END,
            80,
        )
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed()

    def test_every_command_fails(self):
        """Their exit statuses are ignored; the device's reboot still ends the run."""
        self.put_package(NET)
        self.start_device(MODULE_CHIP)
        self.start_agent(SANDBOX_SUDO_FAIL="mount tar rm")
        client = self.connect()
        client.ask("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        client.send("UPGRADE||NET,32,0")
        client.expect(reads("NET") + texts.net_item() + END, 40)
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_module(NET_IMAGE[netimage.HEAD_SIZE :], netcase.OLD_FILES, "1.23")

    def test_sudo_is_not_allowed(self):
        """Without a digest nothing is installed."""
        self.put_package(NET)
        self.start_device(MODULE_CHIP)
        self.start_agent(SANDBOX_SUDO_FAIL="md5sum mount tar rm reboot")
        client = self.connect()
        client.ask("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        client.send("UPGRADE||NET,32,0")
        client.expect(reads("NET") + texts.net_item_refused() + texts.rebooted()[:2])
        self.assertEqual(module.commands(), [module.MD5SUM])
        self.assert_module(NET_IMAGE[netimage.HEAD_SIZE :], netcase.OLD_FILES, None)

    def assert_refused(self, image, archive):
        """The item is given up, the next one gets its image once, and nothing is unpacked."""
        client = self.begin(netimage.in_package(image), AUX, request=TWO_ROWS)
        client.expect(
            reads("NET", "AUX")
            + texts.net_item_refused(0, 2)
            + texts.image("AUX", 1, 2, 700)
            + END,
            40,
        )
        client.sync()
        self.assertEqual(module.commands(), [module.MD5SUM])
        self.assert_module(archive, netcase.OLD_FILES, None)
        self.assert_frames(
            *framelist.mcu(1),
            framelist.version(32),
            framelist.version(1),
            *framelist.image(1, 0, 700),
            *END_FRAMES,
        )

    def test_damaged_archive(self):
        damaged = NET_IMAGE[:-1] + bytes([NET_IMAGE[-1] ^ 1])
        self.assert_refused(damaged, damaged[netimage.HEAD_SIZE :])

    def test_upper_case_digest(self):
        archive = NET_IMAGE[netimage.HEAD_SIZE :]
        self.assert_refused(
            netimage.with_head(archive, digest=netimage.md5(archive).upper()), archive
        )

    def test_image_of_61_bytes(self):
        self.assert_refused(NET_IMAGE[:61], b"")

    def test_image_of_10_bytes(self):
        self.assert_refused(NET_IMAGE[:10], b"")

    def test_last_row_is_refused(self):
        """The device is rebooted once."""
        client = self.begin(netimage.in_package(NET_IMAGE + b"x"), request="UPGRADE||NET,32,0")
        client.expect(
            reads("NET") + texts.net_item_refused() + texts.finished(written=False),
            40,
        )
        self.assert_frames(framelist.version(32), framelist.REBOOT, framelist.PRODUCT_ID)

    def test_archive_cannot_be_created(self):
        os.mkdir(netimage.ARCHIVE)
        client = self.begin(NET, AUX, request=TWO_ROWS)
        client.expect(
            reads("NET", "AUX")
            + texts.log("Start to upgrade NET firmware.", "Create fw_net error, upgrade net fail.")
            + texts.image("AUX", 1, 2, 700)
            + END,
            40,
        )
        self.assertEqual(module.commands(), [])

    def test_version_file_cannot_be_written(self):
        """The install counts as done."""
        os.mkdir(netimage.VERSION_FILE)
        client = self.begin(NET, request="UPGRADE||NET,32,0")
        client.expect(
            reads("NET") + texts.net_item() + texts.log("Failed to create version file") + END, 40
        )
        self.assertEqual(module.commands(), module.INSTALL)
        self.assertEqual(module.files(), netcase.NEW_FILES)

    def test_package_made_by_the_tools(self):
        """A folder becomes an image, the image a part of a package, the package an upgrade."""
        folder, image = "/tmp/rootfs", "/tmp/net.bin"
        for name, content in netimage.FILES.items():
            path = os.path.join(folder, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(content)
        self.put_package(AUX)
        fwm = os.environ["FWM_PROGRAM"]
        subprocess.run([fwm, "make-net", folder, "--net-version", "2.07", "-o", image], check=True)
        subprocess.run(
            [fwm, "add-net", agentcase.PACKAGE, image, "-o", agentcase.PACKAGE], check=True
        )
        self.start_device(AUX_CHIP, MODULE_CHIP)
        self.start_agent()
        client = self.connect()
        client.ask("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        client.send(TWO_ROWS)
        client.expect(
            reads("NET", "AUX")
            + texts.net_item(0, 2, "2.07")
            + texts.image("AUX", 1, 2, 700)
            + END,
            40,
        )
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed("2.07")
        wait.until(lambda: self.simulator.status()["virtual_version"] == 5)


if __name__ == "__main__":
    agentcase.main()
