# SPDX-License-Identifier: Apache-2.0
"""The package is replaced or changed while a run upgrades from it."""

import os

from tests.harness import agentcase, netcase, netimage, package, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
KEY = Image("KEY", image_bytes(40_000, "key"), chip_type=2)
CHIPS = (agentcase.chip("AUX", 1), agentcase.chip("KEY", 2))
ROWS = "UPGRADE||AUX,1,0||KEY,2,0"
CHANGED = "Firmware package was changed during the upgrade."
# The first image takes this long, so that the package can be changed before the second is read.
SLOW_FIRST_IMAGE = "late:word=block,type=1,block=0,delay=3000,count=once"
READS = texts.model_read() + texts.read_chips(("AUX", "1.0.0"), ("KEY", "1.0.0"))
FIRST_IMAGE = texts.decided("1.1.0", "greater", "AUX", "1.0.0") + texts.image("AUX", 0, 2, 700)
SECOND_DECIDED = texts.decided("1.1.0", "greater", "KEY", "1.0.0")


def foreign():
    """For another model, with other images for the same chips, and a wrong checksum."""
    others = [
        Image(image.name, image.data[::-1], chip_type=image.chip_type) for image in (AUX, KEY)
    ]
    good = package.build(others, model="OTHER")
    return (b"0" if good[:1] != b"0" else b"1") + good[1:]


class TestPackageInUse(netcase.NetCase):
    """Two images; something happens to the package while the first one is written."""

    def begin(self, rows=ROWS, mode=2, images=(AUX, KEY)):
        client = self.start(
            *CHIPS,
            agentcase.chip("NET", 32, version="1.0"),
            images=images,
            mode=mode,
            faults=[SLOW_FIRST_IMAGE],
        )
        client.send(rows)
        client.wait_for("UPGRADELOG||'AUX' Enter 'F/W Update Mode' success.", 30)
        return client

    def assert_ends_well(self, client):
        client.expect(
            texts.started()
            + READS
            + FIRST_IMAGE
            + SECOND_DECIDED
            + texts.image("KEY", 1, 2, 40_000)
            + texts.finished(),
            60,
        )
        self.assert_flash({(1, 0): AUX.data, (2, 0): KEY.data})

    def assert_fails_at_second(self, client):
        """What was written before stays, and the next run starts afresh."""
        client.expect(
            texts.started()
            + READS
            + FIRST_IMAGE
            + SECOND_DECIDED
            + texts.log(CHANGED)
            + texts.package_failed(2, 1),
            40,
        )
        client.sync()
        self.assert_flash({(1, 0): AUX.data})
        self.assertIn(f'event=failure text="{CHANGED}"', self.agent.stderr())
        self.assertRegex(
            self.agent.stderr(),
            "event=run_finished result=failed reason=package " "written=1 failed=0 skipped=0 ",
        )
        self.put_package(AUX, KEY)
        client.send("UPGRADE||KEY,2,0")
        client.wait_for("UPGRADESUCCESS", 60)
        self.assert_flash({(1, 0): AUX.data, (2, 0): KEY.data})

    def test_foreign_package_renamed_into_place(self):
        client = self.begin()
        self.put_bytes(foreign())
        self.assert_ends_well(client)
        client.ask(
            "GETFIRMWARELIST",
            *texts.status_lines("UPGRADEFAIL"),
            "FIRMWARELIST||ERROR:Firmware file checksum error.",
            *texts.closed(),
        )

    def test_removed(self):
        client = self.begin()
        os.remove(agentcase.PACKAGE)
        self.assert_ends_well(client)

    def test_foreign_package_copied_over(self):
        client = self.begin()
        with open(agentcase.PACKAGE, "r+b") as file:
            file.write(foreign())
        self.assert_fails_at_second(client)

    def test_last_byte_changed(self):
        client = self.begin()
        with open(agentcase.PACKAGE, "r+b") as file:
            file.seek(-1, os.SEEK_END)
            file.write(bytes([KEY.data[-1] ^ 1]))
        self.assert_fails_at_second(client)

    def test_cut(self):
        client = self.begin()
        os.truncate(agentcase.PACKAGE, os.path.getsize(agentcase.PACKAGE) - 1)
        self.assert_fails_at_second(client)

    def test_module_image_changed(self):
        """Nothing of it is installed, and no archive is left."""
        client = self.begin(
            "UPGRADE||AUX,1,0||NET,32,0", 5, (AUX, netimage.in_package(netimage.image()))
        )
        with open(agentcase.PACKAGE, "r+b") as file:
            file.seek(-1, os.SEEK_END)
            file.write(b"?")
        client.expect(
            texts.started()
            + texts.log("Firmware file checksum ok.")
            + texts.read_chips(("AUX", "1.0.0"), ("NET", "1.0", "FPGA"))
            + texts.image("AUX", 0, 2, 700)
            + texts.log(CHANGED)
            + texts.package_failed(2, 1),
            60,
        )
        self.assert_module(None, netcase.OLD_FILES, None)


if __name__ == "__main__":
    agentcase.main()
