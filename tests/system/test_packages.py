# SPDX-License-Identifier: Apache-2.0
"""Packages of every kind, good and broken: what is listed, and what an upgrade says."""

import os
import shutil
import struct
import zlib

from tests.harness import agentcase, framelist, package, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(300, "aux"), chip_type=1)
CHECKSUM_OK = texts.log("Firmware file checksum ok.")
ROW = "UPGRADE||AUX,1,0"


class TestPackages(agentcase.AgentCase):
    """Each package is listed and then used on a fresh agent, with one device."""

    def setUp(self):
        super().setUp()
        self.start_device(agentcase.chip("AUX", 1))
        self.port = ""
        self.start_agent()
        self.client = self.connect()

    def upgrade(self, *lines, seconds=15):
        """One request whose whole transcript is the start, then these lines."""
        self.client.send(ROW)
        self.client.expect(texts.started(first=self.port == "") + list(lines), seconds)
        self.port = texts.PORT_NAME
        self.client.sync()

    def listing(self, reply, before=(), fails=0):
        """One list request; each failure closes the link once the list has been answered."""
        self.client.ask(
            "GETFIRMWARELIST",
            *texts.status_lines("UPGRADEFAIL") * fails,
            *before,
            f"FIRMWARELIST||{reply}",
            *texts.closed(self.port) * fails,
        )
        self.client.sync()

    # Good ones.

    def test_good_package(self):
        self.put_package(AUX)
        self.listing(package.description([AUX]), texts.package_listed())
        self.upgrade(
            *texts.model_read(),
            *texts.read_chips(("AUX", "1.0.0")),
            *texts.decided("1.1.0", "greater", "AUX", "1.0.0"),
            *texts.image("AUX", 0, 1, 300),
            *texts.finished(),
            seconds=40,
        )
        self.assert_flash({(1, 0): AUX.data})

    def test_leading_zeros_of_the_checksum_are_left_out(self):
        """A release text is searched whose checksum has seven digits only."""
        number = 0
        while (
            zlib.crc32(package.body(package.description([AUX], version=f"1.{number}"), [AUX])) >> 28
        ):
            number += 1
        built = package.build([AUX], version=f"1.{number}")
        self.assertEqual(built[7], 0)
        self.put_bytes(built)
        self.listing(
            package.description([AUX], version=f"1.{number}"),
            texts.package_listed(version=f"1.{number}"),
        )

    def test_older_versions_are_listed_and_refused(self):
        for version in (2, 3, 4, 5):
            self.put_package(AUX, package_version=version)
            self.listing(package.description([AUX]), texts.package_listed(package_version=version))
            self.upgrade(
                *CHECKSUM_OK,
                *texts.log("FWM file version error, must greater or equal " "to 6."),
                *texts.package_failed(),
            )
        self.assert_frames()

    def test_bare_form_is_listed_and_refused(self):
        self.put_bytes(package.build_bare([AUX]))
        self.listing(package.description([AUX]), texts.package_listed()[1:])
        self.upgrade(*texts.package_failed())
        self.assert_frames()

    # Broken ones.

    def test_missing(self):
        self.listing("ERROR:Firmware file is not exist.", fails=2)
        self.upgrade(*texts.status_lines("UPGRADEFAIL") * 2, *texts.closed() * 2)
        self.assert_frames()

    def test_unreadable(self):
        os.mkdir(agentcase.PACKAGE)
        self.addCleanup(shutil.rmtree, agentcase.PACKAGE, ignore_errors=True)
        self.listing("ERROR:Faild to open firmware file.", fails=2)
        self.upgrade(*texts.status_lines("UPGRADEFAIL") * 2, *texts.closed() * 2)
        os.rmdir(agentcase.PACKAGE)
        self.assert_frames()

    def test_bad_checksum(self):
        good = package.build([AUX])
        upper = good[:8].upper() if good[:8].upper() != good[:8] else b"ABCDEF01"
        for broken in (
            b"",
            b"x",
            b"12345678",
            good[:-1],
            good + b"x",
            b"0" * 8 + good[8:],
            upper + good[8:],
            good[:400] + b"?" + good[401:],
        ):
            self.put_bytes(broken)
            self.listing("ERROR:Firmware file checksum error.", fails=1)
            self.upgrade(*texts.package_failed())
        self.assert_frames()

    def test_no_magic(self):
        self.put_bytes(package.with_checksum(b"XTU" + package.build([AUX])[11:]))
        self.listing(
            "ERROR:Invalid firmware file", CHECKSUM_OK + texts.log("Invalid firmware file")
        )
        self.upgrade(*CHECKSUM_OK, *texts.log("Invalid firmware file"), *texts.package_failed())
        self.assert_frames()

    def test_shorter_than_its_head(self):
        for body in (b"M", b"MTU", b"MTU\0"):
            self.put_bytes(package.with_checksum(body))
            self.upgrade(*CHECKSUM_OK, *texts.log("Invalid firmware file"), *texts.package_failed())
        self.assert_frames()

    def test_versions_that_never_were(self):
        head_error = CHECKSUM_OK + texts.log("Invalid firmware file, file head error.")
        for version in (0, 1):
            self.put_package(AUX, package_version=version)
            self.listing("", head_error)
            self.upgrade(
                *CHECKSUM_OK,
                *texts.log("Package version error, invalid firmware file"),
                *texts.package_failed(),
            )
        self.assert_frames()

    def mismatch(self):
        """A package whose description is of no use: its model name is empty."""
        self.upgrade(
            *CHECKSUM_OK,
            *texts.log(
                "Read model name.",
                "Firmware Model Name is .\r\nDevice Model Name is HX-8.\r\n"
                "Model Name does not match, upgrade fail.",
            ),
            *texts.failed(),
        )

    def no_firmware(self):
        """The same in mode 5, where no model name is asked for."""
        self.client.ask("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        self.upgrade(
            *CHECKSUM_OK,
            *texts.read_chips(("AUX", "1.0.0")),
            *texts.not_in_list("AUX", 0, 1),
            *texts.finished(written=False),
            seconds=40,
        )
        self.client.ask("UPGRADEMODE||2", "UPGRADELOG||Set UPGRADEMODE to 2")

    def test_version_of_the_future(self):
        self.put_package(AUX, package_version=7)
        self.listing("", CHECKSUM_OK + texts.log("Invalid firmware file, file head error."))
        self.mismatch()
        self.no_firmware()
        self.assert_flash({})

    def test_description_that_does_not_parse(self):
        good = package.description([AUX])
        for text in ("", "{", good[:-1], good.replace(":", ";", 1)):
            self.put_package(AUX, text=text)
            self.listing(
                "", CHECKSUM_OK + texts.log("Firmware package version: 6", "Data struct error!")
            )
            self.mismatch()
        self.assert_frames(*[framelist.MODEL] * 4)

    def test_description_cut_by_the_end_of_the_file(self):
        text = package.description([AUX]).encode()
        self.put_bytes(package.with_checksum(b"MTU\0\6" + struct.pack("<H", 65535) + text[:-9]))
        self.listing(
            "", CHECKSUM_OK + texts.log("Firmware package version: 6", "Data struct error!")
        )
        self.mismatch()

    def test_chips_that_are_not_an_array(self):
        self.put_package(text='{"model":"HX-8","version":"1.0.5","chips":{}}')
        self.listing("", texts.package_listed() + texts.log("Data struct chips error!"))

    def records(self, tail):
        """A package that lists the image, with `tail` in the place of its record."""
        head = package.body(package.description([AUX]), [])
        self.put_bytes(package.with_checksum(head + tail))
        self.upgrade(
            *texts.model_read(),
            *texts.read_chips(("AUX", "1.0.0")),
            *texts.decided("1.1.0", "greater", "AUX", "1.0.0"),
            *texts.not_in_records("AUX"),
            *texts.finished(written=False),
            seconds=40,
        )

    def test_listed_image_without_a_record(self):
        self.records(b"")
        self.assert_flash({})

    def test_record_longer_than_the_file(self):
        record = AUX.record()
        self.records(record[:8] + b"\xff\xff\xff\xff" + record[12:])
        self.assert_flash({})

    def test_record_cut_in_its_head(self):
        other = Image("OTHER", b"abc", chip_type=9).record()
        self.records(other + AUX.record()[:11])
        self.assert_flash({})

    def test_record_of_no_length(self):
        self.records(AUX.record()[:8] + bytes(4) + AUX.record())
        self.assert_flash({})


if __name__ == "__main__":
    agentcase.main()
