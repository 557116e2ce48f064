# SPDX-License-Identifier: Apache-2.0
"""Packages of every kind, good and broken: what is listed, and what an upgrade says."""

from tests.harness import agentcase, package, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(300, "aux"), chip_type=1)
GOOD = package.build([AUX])
DESCRIPTION = package.description([AUX])
CHECKSUM_OK = texts.log("Firmware file checksum ok.")
NO_PACKAGE = texts.log("Invalid firmware file")


def listing(reply, before=(), fails=0, port=texts.PORT_NAME):
    """What is said when the package is listed; each failure closes the link after the answer."""
    return [
        *texts.status_lines("UPGRADEFAIL") * fails,
        *before,
        f"FIRMWARELIST||{reply}",
        *texts.closed(port) * fails,
    ]


# Packages that no run takes: the answer to the list, and what a run says before it fails.
REFUSED = {
    "one byte": (b"x", listing("ERROR:Firmware file checksum error.", fails=1), []),
    "checksum": (GOOD + b"x", listing("ERROR:Firmware file checksum error.", fails=1), []),
    "no magic": (
        package.with_checksum(b"XTU" + GOOD[11:]),
        listing("ERROR:Invalid firmware file", CHECKSUM_OK + NO_PACKAGE),
        CHECKSUM_OK + NO_PACKAGE,
    ),
    "version 1": (
        package.build([AUX], package_version=1),
        listing("", CHECKSUM_OK + texts.log("Invalid firmware file, file head error.")),
        CHECKSUM_OK + texts.log("Package version error, invalid firmware file"),
    ),
    "version 5": (
        package.build([AUX], package_version=5),
        listing(DESCRIPTION, texts.package_listed(package_version=5)),
        CHECKSUM_OK + texts.log("FWM file version error, must greater or equal to 6."),
    ),
    "bare": (package.build_bare([AUX]), listing(DESCRIPTION, texts.package_listed()[1:]), []),
}


class TestPackages(agentcase.AgentCase):
    """Each package is listed and then used on a fresh agent, with one device."""

    def setUp(self):
        super().setUp()
        self.start_device(agentcase.chip("AUX", 1))
        self.start_agent()
        self.client = self.connect()

    def upgrade(self, *lines, first=True):
        """One request whose whole transcript is the start, then these lines."""
        self.client.send("UPGRADE||AUX,1,0")
        self.client.expect([*texts.started(first), *lines], 40)
        self.client.sync()

    def test_good_package(self):
        self.put_package(AUX)
        self.client.ask("GETFIRMWARELIST", *listing(DESCRIPTION, texts.package_listed()))
        self.upgrade(*texts.one_chip("AUX", 300))
        self.assert_flash({(1, 0): AUX.data})

    def test_missing(self):
        self.client.ask(
            "GETFIRMWARELIST",
            *listing("ERROR:Firmware file is not exist.", fails=2, port=""),
        )
        self.upgrade(*texts.status_lines("UPGRADEFAIL") * 2, *texts.closed() * 2)
        self.assert_frames()

    def test_refused(self):
        first = True
        for name, (content, listed, said) in REFUSED.items():
            with self.subTest(name):
                self.put_bytes(content)
                self.upgrade(*said, *texts.package_failed(), first=first)
                self.client.ask("GETFIRMWARELIST", *listed)
                first = False
        self.assert_frames()

    def test_description_that_does_not_parse(self):
        """It is of no use: its model name is empty."""
        self.put_package(AUX, text=DESCRIPTION[:-1])
        data_error = texts.log("Firmware package version: 6", "Data struct error!")
        self.client.ask("GETFIRMWARELIST", *listing("", CHECKSUM_OK + data_error))
        self.upgrade(
            *CHECKSUM_OK,
            *texts.log(
                "Read model name.",
                "Firmware Model Name is .\r\nDevice Model Name is HX-8.\r\n"
                "Model Name does not match, upgrade fail.",
            ),
            *texts.failed(),
        )

    def test_record_longer_than_the_file(self):
        record = AUX.record()
        head = package.body(DESCRIPTION, []) + record[:8]
        self.put_bytes(package.with_checksum(head + b"\xff\xff\xff\xff" + record[12:]))
        self.upgrade(
            *texts.model_read(),
            *texts.read_chips(("AUX", "1.0.0")),
            *texts.decided("1.1.0", "greater", "AUX", "1.0.0"),
            *texts.not_in_records("AUX"),
            *texts.finished(written=False),
        )
        self.assert_flash({})


if __name__ == "__main__":
    agentcase.main()
