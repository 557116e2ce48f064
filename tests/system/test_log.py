# SPDX-License-Identifier: Apache-2.0
"""The log of operations: every line of whole runs."""

import os
from unittest import mock

from tests.harness import agentcase, journal, netcase, netimage
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(1000, "main"))
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1, mcu_type=2)
KEY = Image("KEY", image_bytes(300, "key"), chip_type=2, mcu_type=3, version=(1, 0, 0))
MAIN_CHIP = agentcase.chip("MAIN")
AUX_CHIP = agentcase.chip("AUX", 1, mcu_type=2)
NET = netimage.in_package(netimage.image())

# A name that wants to be a line.
NAME = 'N"\n<0>event=run'
UPGRADE = r"""
event=client_connected address=127.0.0.1 port=0 clients=1
event=run_started address=127.0.0.1 port=0 kind=serial link=ttyS2 mode=2 mcus=4
event=retry name=AUX attempt=1 text="Read the version information of 'AUX' fail, retry 1."
event=mcu_started name=MAIN chip_type=0 chip_index=0 old=1.0.0 new=1.1.0 bytes=1000
event=mcu_finished name=MAIN chip_type=0 chip_index=0 old=1.0.0 new=1.1.0 result=written seconds=T
event=mcu_skipped name="N\"\n<0>event=run" chip_type=9 chip_index=0 old=1.0.0 reason=no_firmware
event=mcu_skipped name=KEY chip_type=2 chip_index=0 old=1.0.0 new=1.0.0 reason=not_newer
event=mcu_started name=AUX chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 bytes=700
event=retry name=AUX attempt=1 text="'AUX' Enter F/W Update Mode fail, retry 1."
event=retry name=AUX attempt=2 text="'AUX' Enter F/W Update Mode fail, retry 2."
event=mcu_finished name=AUX chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 result=written seconds=T
event=device_restarting
event=run_finished result=success written=2 failed=0 skipped=2 seconds=T
"""
ENTER_FAILED = """\
event=retry name=AUX attempt=1 text="'AUX' Enter F/W Update Mode fail, retry 1."
event=retry name=AUX attempt=2 text="'AUX' Enter F/W Update Mode fail, retry 2."
event=failure name=AUX text="'AUX' Enter F/W Update Mode fail."
"""
REFUSED = f"""
event=client_connected address=127.0.0.1 port=0 clients=1
event=client_connected address=127.0.0.1 port=1 clients=2
event=run_started address=127.0.0.1 port=1 kind=serial link=ttyS2 mode=5 mcus=1
event=mcu_started name=AUX chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 bytes=700
{ENTER_FAILED}\
event=retry name=AUX attempt=1 text="'AUX' F/W update fail, retry 1."
{ENTER_FAILED}\
event=retry name=AUX attempt=2 text="'AUX' F/W update fail, retry 2."
{ENTER_FAILED}\
event=failure name=AUX text="'AUX' F/W Update fail."
event=mcu_finished name=AUX chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 result=failed seconds=T
event=device_restarting
event=run_finished result=success written=0 failed=1 skipped=0 seconds=T
"""
NO_PACKAGE = """\
event=run_started address=127.0.0.1 port=0 kind=serial link=ttyS2 mode=5 mcus=2
event=failure text="ERROR:Firmware file checksum error."
event=run_finished result=failed reason=package written=0 failed=0 skipped=0 seconds=T
event=run_started address=127.0.0.1 port=0 kind=serial link=ttyS2 mode=5 mcus=1
event=failure text="ERROR:Firmware file is not exist."
event=run_finished result=failed reason=package written=0 failed=0 skipped=0 seconds=T
event=client_disconnected address=127.0.0.1 port=1 clients=1
"""
NETWORK = """
event=client_connected address=127.0.0.1 port=0 clients=1
event=run_started address=127.0.0.1 port=0 kind=network link=127.0.0.1 mode=2 mcus=1
event=mcu_started name=MAIN chip_type=0 chip_index=1 old=1.0.0 new=1.1.0 bytes=1000
event=mcu_finished name=MAIN chip_type=0 chip_index=1 old=1.0.0 new=1.1.0 result=written seconds=T
event=device_restarting
event=run_finished result=success written=1 failed=0 skipped=0 seconds=T
"""
MODULE_PACKAGE = f"""
event=client_connected address=127.0.0.1 port=0 clients=1
event=run_started address=127.0.0.1 port=0 kind=serial link=ttyS2 mode=5 mcus=1
event=mcu_started name=NET chip_type=32 chip_index=0 old=1.0 new=1.23.0 bytes={len(NET.data)}
event=install_started version=1.23
event=install_finished version=1.23 result=success seconds=T
event=mcu_finished name=NET chip_type=32 chip_index=0 old=1.0 new=1.23.0 result=written seconds=T
event=device_restarting
event=run_finished result=success written=1 failed=0 skipped=0 seconds=T
"""
MODULE_BLOCKS = """
event=client_connected address=127.0.0.1 port=0 clients=1
event=run_started address=127.0.0.1 port=0 kind=net_blocks
event=install_started version=1.23
event=install_finished version=1.23 result=success seconds=T
event=run_finished result=success written=1 failed=0 skipped=0 seconds=T
"""
IN_JOURNAL = """sh -c 'env JOURNAL_STREAM=$(stat -L -c %d:%i /proc/self/fd/2) "$@"' -"""


class TestLog(netcase.NetCase):
    """One sandbox each: the whole of standard error is compared."""

    def start_agent(self, **environment):
        """The probe has disconnected before another client connects."""
        super().start_agent(**environment)
        journal.wait_for_lines(self.agent, len(journal.start()))

    def connect(self):
        client = super().connect()
        self.clients = [*getattr(self, "clients", []), client]
        client.sync()
        return client

    def assert_log(self, text):
        """Exactly these lines, after those of every start."""
        expected = journal.start() + text.strip().splitlines()
        journal.wait_for_lines(self.agent, len(expected))
        self.assertEqual(journal.lines(self.agent, self.clients), expected)

    def upgrade(self, client, request, word="UPGRADESUCCESS"):
        """A run, up to the last line that it says."""
        client.mark()
        client.send(request)
        client.wait_for(word, 60)

    def test_upgrade(self):
        """Retries, a row that is up to date, and one with a name that wants to be a line."""
        client = self.start(
            MAIN_CHIP,
            AUX_CHIP,
            agentcase.chip("KEY", 2, mcu_type=3),
            agentcase.chip("NONE", 9),
            images=(MAIN, AUX, KEY),
            faults=(
                "refuse:word=version,type=1,count=once",
                "refuse:word=enter,type=1,count=twice",
            ),
        )
        self.upgrade(client, f"UPGRADE||MAIN,0,0||{NAME},9,0||KEY,2,0||AUX,1,0")
        self.assert_log(UPGRADE)
        self.assert_flash({(0, 0): MAIN.data, (1, 0): AUX.data})

    def test_failed_runs_and_several_clients(self):
        """An image that is refused throughout, a package that is damaged, none at all."""
        first = self.start(
            MAIN_CHIP, AUX_CHIP, images=(MAIN, AUX), mode=5, faults=("refuse:word=enter,type=1",)
        )
        second = self.connect()
        self.upgrade(second, "UPGRADE||AUX,1,0")
        self.assert_log(REFUSED)
        self.put_bytes(b"nonsense" * 100)
        self.upgrade(first, "UPGRADE||AUX,1,0||MAIN,0,0", "UPGRADEFAIL")
        os.remove(agentcase.PACKAGE)
        self.upgrade(first, "UPGRADE||AUX,1,0", "UPGRADEFAIL")
        second.close()
        self.assert_log(REFUSED + NO_PACKAGE)

    def test_network(self):
        client = self.start(
            agentcase.chip("MAIN", 0, 1), images=(MAIN,), where=("--listen", "127.0.0.1:6752")
        )
        self.upgrade(client, "UPGRADEORVALE1G||127.0.0.1")
        self.assert_log(NETWORK)

    def test_module_image_in_a_package(self):
        client = self.start(netcase.CHIP, images=(NET,), mode=5)
        self.upgrade(client, "UPGRADE||NET,32,0")
        self.assert_log(MODULE_PACKAGE)

    def test_module_image_in_blocks(self):
        self.start_agent()
        self.install_blocks(netimage.image())
        self.assert_log(MODULE_BLOCKS)

    def test_priorities_in_the_journal(self):
        """Standard error is what JOURNAL_STREAM names."""
        with mock.patch.dict(os.environ, AGENT_WRAPPER=IN_JOURNAL):
            self.start_agent(QT_LOGGING_RULES="agent.console.debug=true")
        self.connect().ask("VERSION", "VERSION||1.15")
        lines = self.agent.stderr().splitlines()
        self.assertEqual(
            [line[:3] for line in lines],
            ["<7>" if "agent.console: " in line else "<6>" for line in lines],
        )
        self.assertIn("<6>agent.operations: event=listening port=35353", lines)
        self.assertIn('<7>agent.console: parseData: "VERSION"', lines)

    def test_off_by_rule(self):
        super().start_agent(QT_LOGGING_RULES="agent.operations.info=false")
        client = super().connect()
        client.ask("VERSION", "VERSION||1.15")
        client.sync()
        self.assertEqual(self.agent.stderr(), "")


if __name__ == "__main__":
    agentcase.main()
