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
AUX_CHIP, KEY_CHIP = agentcase.chip("AUX", 1), agentcase.chip("KEY", 2)


def reads(*names):
    """Mode 5: both reads of the MCUs, then all versions."""
    chips = [(name, "1.0", "FPGA") if name == "NET" else (name, "1.0.0") for name in names]
    return texts.begun(*chips, mode=5)


class TestNetPackage(netcase.NetCase):
    """One run each."""

    def test_between_mcu_images(self):
        """The unpacking outlasts every command's time-out, and all other clients are served."""
        client = self.start(AUX_CHIP, netcase.CHIP, KEY_CHIP, images=(AUX, NET, KEY), mode=5)
        client.send("UPGRADE||AUX,1,0||NET,32,0||KEY,2,0")
        module.hold(module.UNPACK)
        client.wait_for("PROGRESSVALUE||43.33", 30)
        module.wait_for_command(module.UNPACK)
        other = self.connect()
        for _ in range(11):
            other.ask("UPGRADE||AUX,1,0", texts.BUSY)
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
            + texts.finished(),
            40,
        )
        client.sync()
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed()
        self.assert_flash({(1, 0): AUX.data, (2, 0): KEY.data})
        self.assert_frames(
            *framelist.reads((1, 0), (32, 0), (2, 0)),
            *framelist.image(1, 0, 700),
            *framelist.image(2, 0, 300),
            *framelist.end(),
        )

    def test_version_that_the_device_does_not_know(self):
        """The module gets its image."""
        client = self.start(AUX_CHIP, images=(NET,))
        client.send("UPGRADEALL")
        ask = "Send 'Read FW version' command to 'NET'."
        fail = "Read the version information of 'NET' fail, {}."
        client.expect(
            texts.package_listed()
            + texts.started()
            + texts.model_read()
            + texts.read_fpga("NET")
            + texts.reads_done()
            + [
                line
                for outcome in ("retry 1", "retry 2", "check the next mcu")
                for line in texts.log(ask, fail.format(outcome))
            ]
            + texts.log("Read all mcu(list) version information done.")
            + texts.decided("1.23.0", "greater", "NET", "0.0.0")
            + texts.net_item()
            + texts.finished(),
            80,
        )
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed()

    def test_sudo_is_not_allowed(self):
        """Without a digest nothing is installed."""
        client = self.start(
            netcase.CHIP,
            images=(NET,),
            mode=5,
            environment={"SANDBOX_SUDO_FAIL": "md5sum mount tar rm reboot"},
        )
        client.send("UPGRADE||NET,32,0")
        client.expect(reads("NET") + texts.net_item_refused() + texts.rebooted()[:2])
        self.assertEqual(module.commands(), [module.MD5SUM])
        self.assert_module(NET_IMAGE[netimage.HEAD_SIZE :], netcase.OLD_FILES, None)

    def test_package_made_by_the_tools(self):
        """A folder becomes an image, the image a part of a package, the package an upgrade."""
        folder, image = "/tmp/rootfs", "/tmp/net.bin"
        for name, content in netimage.FILES.items():
            module.put(os.path.join(folder, name), content)
        self.put_package(AUX)
        fwm = os.environ["FWM_PROGRAM"]
        subprocess.run([fwm, "make-net", folder, "--net-version", "2.07", "-o", image], check=True)
        subprocess.run(
            [fwm, "add-net", agentcase.PACKAGE, image, "-o", agentcase.PACKAGE], check=True
        )
        client = self.start(AUX_CHIP, netcase.CHIP, mode=5)
        client.send("UPGRADE||NET,32,0||AUX,1,0")
        client.expect(
            reads("NET", "AUX")
            + texts.net_item(0, 2, "2.07")
            + texts.image("AUX", 1, 2, 700)
            + texts.finished(),
            40,
        )
        self.assertEqual(module.commands(), module.INSTALL)
        self.assert_installed("2.07")
        wait.until(lambda: self.simulator.status()["virtual_version"] == 5)


if __name__ == "__main__":
    agentcase.main()
