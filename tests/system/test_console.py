# SPDX-License-Identifier: Apache-2.0
"""How bytes on the console become lines, and what each line is answered."""

from tests.harness import agentcase, console, texts, wait

UNKNOWN = "UPGRADELOG||Unknow command."
NO_PACKAGE = texts.status_lines("UPGRADEFAIL") * 2
CLOSED_TWICE = texts.closed("") * 2
# An idle agent's reply to each request; an upgrade without rows only closes the link.
REPLIES = {
    "HEARTBEAT": ["HEARTBEAT"],
    "  VERSION\t": ["VERSION||1.15"],
    "hello": [UNKNOWN],
    "UP GRADE MODE||05": ["UPGRADELOG||Set UPGRADEMODE to 05"],
    "UPGRADEMODE||3": ["UPGRADELOG||ERROR:UPGRADEMODE parameter error"],
    "UPGRADE||MAIN,0": texts.closed(""),
    "UPGRADEALL": NO_PACKAGE + CLOSED_TWICE,
    "GETVERINF": NO_PACKAGE + CLOSED_TWICE,
    "GETFIRMWARELIST": [
        *NO_PACKAGE,
        "FIRMWARELIST||ERROR:Firmware file is not exist.",
        *CLOSED_TWICE,
    ],
    "UPGRADEORVALE1G||1.2.3": [UNKNOWN],
    "UPGRADEORVALE1G||1.2.3.4": ["UPGRADELOG||Firmware file does not exist."],
    "PARSEEDID||00": ["PARSEEDID||ERROR:PARSEEDID parameter command."],
}


class TestConsole(agentcase.AgentCase):
    """One idle agent without a package and without a serial port."""

    def setUp(self):
        super().setUp()
        self.start_agent()
        self.client = self.connect()

    def test_every_request(self):
        """The client that asks is answered, and no other."""
        other = self.connect()
        for line, reply in REPLIES.items():
            with self.subTest(line):
                self.client.ask(line, *reply)
        self.client.sync()
        self.assertEqual(other.raw, b"")

    def test_half_line_after_whole_ones(self):
        self.client.send_raw(b"VERSION\r\nHEARTBEAT\rVER")
        self.client.expect(["VERSION||1.15", "HEARTBEAT"])
        self.client.send_raw(b"SION\r\n")
        self.client.expect(["VERSION||1.15"])

    def test_two_upgrades_in_one_segment(self):
        """The second request meets the first one's run; when that has ended, a third is taken."""
        self.client.send_raw(b"UPGRADE||MAIN,0,1\r\nUPGRADE||MAIN,0,1\r\n")
        self.client.wait_for("UPGRADEFAIL", count=2)
        self.assertEqual(self.client.lines[0], texts.BUSY)
        self.client.mark()
        self.client.send("UPGRADE||MAIN,0,1")
        self.client.wait_for("UPGRADEFAIL", count=2)
        self.assertNotIn(texts.BUSY, self.client.lines)

    def test_endless_line(self):
        """Three megabytes without an end cost no more than the limit of one."""
        before = self.agent.memory()
        for _ in range(3 * 1024):
            self.client.send_raw(b"x" * 1024)
        self.client.wait_for(UNKNOWN)
        self.client.mark()
        self.client.send_raw(b"\rVERSION\r\n")
        self.client.wait_for("VERSION||1.15")
        self.assertLess(self.agent.memory() - before, 16 * 1024 * 1024)

    def test_ipv6_client(self):
        client = console.Console("::1")
        client.sync()
        client.close()

    def test_clients_come_and_go(self):
        """Two hundred requests whose clients are gone before the reply."""
        self.client.sync()
        before = self.agent.descriptors()
        for _ in range(200):
            client = console.Console()
            client.send("GETFIRMWARELIST")
            client.close(reset=True)
        self.client.send("VERSION")
        self.client.wait_for("VERSION||1.15")
        wait.until(lambda: self.agent.descriptors() <= before + 2, what="closed sockets")


if __name__ == "__main__":
    agentcase.main()
