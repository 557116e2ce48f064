# SPDX-License-Identifier: Apache-2.0
"""An EDID dump in a line of text, and its report to the client that sent it."""

import glob
import os

from tests.harness import agentcase

DUMPS = os.path.join(os.path.dirname(__file__), "..", "edid", "data")
ERROR = "PARSEEDID||ERROR:PARSEEDID parameter command."
HEADER_ERROR = "PARSEEDIDRESULT||EDID data header error !"


def request(dump, separator=" "):
    return "PARSEEDID||" + separator.join(f"{byte:02X}" for byte in dump)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def fields(dump_file):
    """The emitted fields of a dump's reviewed report."""
    with open(dump_file[: -len(".bin")] + ".report", encoding="utf-8") as file:
        lines = file.read().splitlines()
    first = lines.index("signalEDID") + 1
    return [line.strip()[1:-1] for line in lines[first : lines.index("lines")]]


class TestEdid(agentcase.AgentCase):
    def setUp(self):
        super().setUp()
        self.start_agent()
        self.client = self.connect()

    def test_every_dump(self):
        other = self.connect()
        other.sync()
        dumps = sorted(glob.glob(os.path.join(DUMPS, "*.bin")))
        self.assertGreater(len(dumps), 20)
        for dump in dumps:
            with self.subTest(os.path.basename(dump)):
                self.client.ask(request(read(dump)), "PARSEEDIDRESULT||" + "".join(fields(dump)))
        self.client.sync()
        other.sync()

    def test_header_error(self):
        self.client.ask(request(bytes(256)), HEADER_ERROR)
        self.client.sync()

    def test_fields(self):
        """Only the first 256 count; a field that is not a hexadecimal number is 0, and between two
        blanks there is an empty field."""
        dump = read(os.path.join(DUMPS, "v4l-lg-oled-c9-hdmi.bin"))
        report = "PARSEEDIDRESULT||" + "".join(
            fields(os.path.join(DUMPS, "v4l-lg-oled-c9-hdmi.bin"))
        )
        self.client.ask(request(dump) + " 12 HEARTBEAT", report)
        self.client.ask(request(dump).replace("||00 FF", "||zz 1FF", 1), report)
        self.client.ask(request(dump).replace("||00 FF", "|| 0 0xFF", 1), report)
        self.client.ask(request(dump, "  "), HEADER_ERROR)
        self.client.sync()

    def test_argument_errors(self):
        good = request(bytes(256))
        for line in ("PARSEEDID", "PARSEEDID||", good[:-3], good + "||", "PARSEEDID " + good):
            with self.subTest(line[:20]):
                expected = HEADER_ERROR if line.startswith("PARSEEDID P") else ERROR
                self.client.ask(line, expected)
        self.client.sync()


if __name__ == "__main__":
    agentcase.main()
