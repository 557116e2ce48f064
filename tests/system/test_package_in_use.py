# SPDX-License-Identifier: Apache-2.0
"""The package is replaced or changed while a run upgrades from it."""

import os

from tests.harness import agentcase, netcase, netimage, package, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
KEY = Image("KEY", image_bytes(40_000, "key"), chip_type=2)
CHANGED = "Firmware package was changed during the upgrade."
# The first image takes this long, so that the package can be changed before the second is read.
SLOW_FIRST_IMAGE = "late:word=block,type=1,block=0,delay=3000,count=once"
FIRST_IMAGE = (
    texts.begun(("AUX", "1.0.0"), ("KEY", "1.0.0"))
    + texts.upgraded("AUX", 0, 2, 700)
    + texts.decided("1.1.0", "greater", "KEY", "1.0.0")
)


def foreign():
    """For another model, with other images for the same chips, and a wrong checksum."""
    others = [
        Image(image.name, image.data[::-1], chip_type=image.chip_type) for image in (AUX, KEY)
    ]
    good = package.build(others, model="OTHER")
    return (b"0" if good[:1] != b"0" else b"1") + good[1:]


class TestPackageInUse(netcase.NetCase):
    """Two images; something happens to the package while the first one is written."""

    def begin(self, second="KEY,2,0", **more):
        client = self.start(
            agentcase.chip("AUX", 1),
            agentcase.chip("KEY", 2),
            netcase.CHIP,
            faults=[SLOW_FIRST_IMAGE],
            **{"images": (AUX, KEY), **more},
        )
        client.send(f"UPGRADE||AUX,1,0||{second}")
        client.wait_for("UPGRADELOG||'AUX' Enter 'F/W Update Mode' success.", 30)
        return client

    def test_foreign_package_renamed_into_place(self):
        client = self.begin()
        self.put_bytes(foreign())
        client.expect(FIRST_IMAGE + texts.image("KEY", 1, 2, 40_000) + texts.finished(), 60)
        self.assert_flash({(1, 0): AUX.data, (2, 0): KEY.data})
        client.ask(
            "GETFIRMWARELIST",
            *texts.status_lines("UPGRADEFAIL"),
            "FIRMWARELIST||ERROR:Firmware file checksum error.",
            *texts.closed(),
        )

    def test_foreign_package_copied_over(self):
        """What was written before stays, and the next run starts afresh."""
        client = self.begin()
        with open(agentcase.PACKAGE, "r+b") as file:
            file.write(foreign())
        client.expect(FIRST_IMAGE + texts.log(CHANGED) + texts.package_failed(2, 1), 40)
        client.sync()
        self.assert_flash({(1, 0): AUX.data})
        self.assertIn(f'event=failure text="{CHANGED}"', self.agent.stderr())
        self.assertIn(
            "event=run_finished result=failed reason=package written=1 failed=0 skipped=0 ",
            self.agent.stderr(),
        )
        self.put_package(AUX, KEY)
        client.send("UPGRADE||KEY,2,0")
        client.wait_for("UPGRADESUCCESS", 60)
        self.assert_flash({(1, 0): AUX.data, (2, 0): KEY.data})

    def test_module_image_changed(self):
        """Nothing of it is installed, and no archive is left."""
        images = AUX, netimage.in_package(netimage.image())
        client = self.begin("NET,32,0", mode=5, images=images)
        with open(agentcase.PACKAGE, "r+b") as file:
            file.seek(-1, os.SEEK_END)
            file.write(b"?")
        client.expect(
            texts.begun(("AUX", "1.0.0"), ("NET", "1.0", "FPGA"), mode=5)
            + texts.image("AUX", 0, 2, 700)
            + texts.log(CHANGED)
            + texts.package_failed(2, 1),
            60,
        )
        self.assert_module(None, netcase.OLD_FILES, None)


if __name__ == "__main__":
    agentcase.main()
