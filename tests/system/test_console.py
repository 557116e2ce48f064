# SPDX-License-Identifier: Apache-2.0
"""How bytes on the console become lines, and what each line is answered."""

import os

from tests.harness import agentcase, console, texts, wait

UNKNOWN = "UPGRADELOG||Unknow command."
MODE_ERROR = "UPGRADELOG||ERROR:UPGRADEMODE parameter error"
EDID_ERROR = "PARSEEDID||ERROR:PARSEEDID parameter command."


class TestConsole(agentcase.AgentCase):
    """One idle agent without a package and without a serial port."""

    def setUp(self):
        super().setUp()
        self.start_agent()
        self.client = self.connect()

    def arrives(self, raw):
        """Sends bytes and makes sure that the agent has read them by themselves."""
        self.client.send_raw(raw)
        other = self.connect()
        other.sync()
        other.sync()
        other.close()

    def test_simple_commands(self):
        self.client.ask("HEARTBEAT", "HEARTBEAT")
        self.client.ask("VERSION", "VERSION||1.15")
        self.client.ask("hello", UNKNOWN)
        self.client.ask("heartbeat", UNKNOWN)
        self.client.ask("UPGRADE", UNKNOWN)

    def test_line_in_two_segments(self):
        self.arrives(b"HEART")
        self.assertEqual(self.client.raw, b"")
        self.client.send_raw(b"BEAT\r\n")
        self.client.expect(["HEARTBEAT"])
        self.client.sync()

    def test_line_end_in_two_segments(self):
        self.arrives(b"HEARTBEAT\r")
        self.client.expect(["HEARTBEAT"])
        self.client.send_raw(b"\n")
        self.client.sync()

    def test_bytes_one_by_one(self):
        for byte in b"VERSION":
            self.arrives(bytes([byte]))
        self.client.send_raw(b"\r\n")
        self.client.expect(["VERSION||1.15"])

    def test_bare_line_feed_ends_a_line(self):
        self.client.send_raw(b"HEARTBEAT\n")
        self.client.expect(["HEARTBEAT"])

    def test_line_feeds_do_not_separate(self):
        self.client.send_raw(b"HEARTBEAT\nVERSION\n")
        self.client.expect(["HEARTBEAT"])
        self.client.sync()

    def test_carriage_returns_separate(self):
        self.client.send_raw(b"HEARTBEAT\rVERSION\r")
        self.client.expect(["HEARTBEAT", "VERSION||1.15"])
        self.client.send_raw(b"VERSION\r\nHEARTBEAT\r\n\r\n \r\n")
        self.client.expect(["VERSION||1.15", "HEARTBEAT"])
        self.client.sync()

    def test_half_line_after_whole_ones(self):
        self.arrives(b"VERSION\r\nHEARTBEAT\rVER")
        self.client.expect(["VERSION||1.15", "HEARTBEAT"])
        self.client.send_raw(b"SION\r\n")
        self.client.expect(["VERSION||1.15"])

    def test_matching_is_by_containment(self):
        self.client.ask("xxHEARTBEATyy", "HEARTBEAT")
        self.client.ask("H EART BEAT", "HEARTBEAT")
        self.client.ask("VERSION HEARTBEAT", "HEARTBEAT")
        self.client.ask("  VERSION\t", "VERSION||1.15")

    def test_upgrade_mode(self):
        self.client.ask("UP GRADE MODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        self.client.ask("UPGRADEMODE||2", "UPGRADELOG||Set UPGRADEMODE to 2")
        self.client.ask("UPGRADEMODE||05", "UPGRADELOG||Set UPGRADEMODE to 05")
        self.client.ask("UPGRADEMODE||+5", "UPGRADELOG||Set UPGRADEMODE to +5")
        for wrong in ("3", "5||1", "", "five", "2.0", "1"):
            self.client.ask(f"UPGRADEMODE||{wrong}", MODE_ERROR)
        self.client.ask("UPGRADEMODE", UNKNOWN)

    def test_upgrade_without_rows(self):
        """No reply and no run; only the link is closed, as before every upgrade."""
        for line in ("UPGRADE||", "UPGRADE||MAIN,0", "UPGRADE||MAIN", "UPGRADE||||,"):
            self.client.ask(line, *texts.closed(""))
        self.client.sync()

    def test_upgrade_all_without_package(self):
        twice = texts.status_lines("UPGRADEFAIL") * 2 + texts.closed("") * 2
        for line in ("UPGRADEALL", "GETVERINF"):
            self.client.ask(line, *twice)
        self.client.sync()

    def test_firmware_list_without_package(self):
        self.client.ask(
            "GETFIRMWARELIST",
            *texts.status_lines("UPGRADEFAIL") * 2,
            "FIRMWARELIST||ERROR:Firmware file is not exist.",
            *texts.closed("") * 2,
        )
        self.client.sync()

    def test_network_module_argument_errors(self):
        for wrong in (
            "UPGRADEORVALE1G",
            "UPGRADEORVALE1G||",
            "UPGRADEORVALE1G||1.2.3",
            "UPGRADEORVALE1G||1.2.3.4.5",
        ):
            self.client.ask(wrong, UNKNOWN)
        self.client.ask("UPGRADEORVALE1G||1.2.3.4", "UPGRADELOG||Firmware file does not exist.")

    def test_edid_argument_errors(self):
        short = " ".join(["00"] * 255)
        for wrong in (
            "PARSEEDID",
            "PARSEEDID HEARTBEAT",
            "PARSEEDID||00||00",
            "PARSEEDID||",
            f"PARSEEDID||{short}",
        ):
            self.client.ask(wrong, EDID_ERROR)

    def test_two_upgrades_in_one_segment(self):
        """The second request meets the first one's run; when that has ended, a third is taken."""
        self.client.send_raw(b"UPGRADE||MAIN,0,1\r\nUPGRADE||MAIN,0,1\r\n")
        busy = "UPGRADELOG||The device is busy upgrading."
        self.client.wait_for("UPGRADEFAIL", count=2)
        self.assertEqual(self.client.lines[0], busy)
        self.client.mark()
        self.client.send("UPGRADE||MAIN,0,1")
        self.client.wait_for("UPGRADEFAIL", count=2)
        self.assertNotIn(busy, self.client.lines)

    def test_reply_goes_to_the_asking_client(self):
        other = self.connect()
        self.client.ask("VERSION", "VERSION||1.15")
        other.ask("HEARTBEAT", "HEARTBEAT")
        self.assertEqual(self.client.raw, b"")

    def test_ipv6_client(self):
        other = console.Console("::1")
        other.sync()
        other.close()

    def test_garbage(self):
        every_byte = bytes(range(256)).replace(b"\r", b"").replace(b"\n", b"")
        for line in (b"\0", every_byte, b"\xff\xfe\xc3\x28", b"||||", b"||", b"a\0b"):
            with self.subTest(line=line):
                self.client.send_raw(line + b"\r\n")
                self.client.expect([UNKNOWN])
        self.arrives(b"UpgradeDatas||\r\n")
        self.client.sync()

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

    def test_neighbours_leave_together(self):
        """Two clients leave at once; the third keeps its half line."""
        others = [self.connect() for _ in range(2)]
        last = self.connect()
        for client in (*others, last):
            client.sync()
        last.send_raw(b"VER")
        self.client.sync()
        for client in others:
            client.close()
        self.client.sync()
        last.send_raw(b"SION\r\n")
        last.expect(["VERSION||1.15"])
        for _ in range(3):
            new = self.connect()
            new.sync()
            last.sync()
            new.close()

    def test_many_clients(self):
        clients = [self.connect() for _ in range(100)]
        for client in clients:
            client.send("VERSION")
        for client in clients:
            client.expect(["VERSION||1.15"])


class TestSecondAgent(agentcase.AgentCase):
    """A second agent cannot have the port; it says nothing and lives on."""

    def test_second_agent(self):
        first = self.start_agent()
        second = self.start_agent()
        client = self.connect()
        client.sync()
        self.assertTrue(second.alive)
        first.kill()
        self.assertTrue(second.alive)


class TestStart(agentcase.AgentCase):
    """The agent starts whatever is missing around it."""

    def test_without_data(self):
        self.assertFalse(os.path.exists("/dev/ttyS2"))
        self.start_agent()
        self.connect().ask("VERSION", "VERSION||1.15")


if __name__ == "__main__":
    agentcase.main()
