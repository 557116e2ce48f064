# SPDX-License-Identifier: Apache-2.0
"""The log of operations: every line of whole runs."""

import os

from tests.harness import agentcase, journal, netcase, netimage
from tests.harness.agent import Agent
from tests.harness.package import Image, image_bytes

MAIN = Image("MAIN", image_bytes(1000, "main"))
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1, mcu_type=2)
KEY = Image("KEY", image_bytes(300, "key"), chip_type=2, mcu_type=3, version=(1, 0, 0))
MAIN_CHIP = agentcase.chip("MAIN")
AUX_CHIP = agentcase.chip("AUX", 1, 0, mcu_type=2)
KEY_CHIP = agentcase.chip("KEY", 2, 0, mcu_type=3)
NONE_CHIP = agentcase.chip("NONE", 9, 0)


def mcu(event, name, chip_type, versions, chip_index=0):
    old, new = versions
    words = [
        f"event={event}",
        f"name={name}",
        f"chip_type={chip_type}",
        f"chip_index={chip_index}",
        f"old={old}",
    ] + ([f"new={new}"] if new else [])
    return " ".join(words)


def written(name, chip_type, versions, size, chip_index=0):
    return [
        mcu("mcu_started", name, chip_type, versions, chip_index) + f" bytes={size}",
        mcu("mcu_finished", name, chip_type, versions, chip_index) + " result=written seconds=T",
    ]


def run_started(rest, client=0):
    return [f"event=run_started address=127.0.0.1 port={client} {rest}"]


def run_finished(result, written_rows, failed, skipped):
    return [
        f"event=run_finished result={result} written={written_rows} failed={failed} "
        f"skipped={skipped} seconds=T"
    ]


RESTARTING = ["event=device_restarting"]


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

    def came(self, number, clients=1):
        return [f"event=client_connected address=127.0.0.1 port={number} clients={clients}"]

    def assert_log(self, *parts):
        """Exactly these lines, after those of every start."""
        expected = journal.start() + [line for part in parts for line in part]
        journal.wait_for_lines(self.agent, len(expected))
        self.assertEqual(journal.lines(self.agent, self.clients), expected)

    def upgrade(self, client, request, word="UPGRADESUCCESS"):
        """A run, up to the last line that it says."""
        client.mark()
        client.send(request)
        client.wait_for(word, 60)

    def test_upgrade(self):
        """Retries, a row that is up to date, and one with a name that wants to be a line."""
        name = 'N"\n<0>agent.operations:event=run_finished'
        client = self.start(
            MAIN_CHIP,
            AUX_CHIP,
            KEY_CHIP,
            NONE_CHIP,
            images=(MAIN, AUX, KEY),
            faults=(
                "refuse:word=version,type=1,count=once",
                "refuse:word=enter,type=1,count=twice",
            ),
        )
        self.upgrade(client, f"UPGRADE||MAIN,0,0||{name},9,0||KEY,2,0||AUX,1,0")
        enter = (
            "event=retry name=AUX attempt={0} text=\"'AUX' Enter F/W Update Mode fail, retry {0}.\""
        )
        quoted = '"N\\"\\n<0>agent.operations:event=run_finished"'
        started, finished = written("AUX", 1, ("1.0.0", "1.1.0"), 700)
        self.assert_log(
            self.came(0),
            run_started("kind=serial link=ttyS2 mode=2 mcus=4"),
            [
                "event=retry name=AUX attempt=1 "
                "text=\"Read the version information of 'AUX' fail, retry 1.\""
            ],
            written("MAIN", 0, ("1.0.0", "1.1.0"), 1000),
            [
                mcu("mcu_skipped", quoted, 9, ("1.0.0", None)) + " reason=no_firmware",
                mcu("mcu_skipped", "KEY", 2, ("1.0.0", "1.0.0")) + " reason=not_newer",
                started,
                enter.format(1),
                enter.format(2),
                finished,
            ],
            RESTARTING,
            run_finished("success", 2, 0, 2),
        )
        self.assert_flash({(0, 0): MAIN.data, (1, 0): AUX.data})

    def test_failed_runs_and_several_clients(self):
        """An image that is refused throughout, a package that is damaged, none at all."""
        first = self.start(
            MAIN_CHIP, AUX_CHIP, images=(MAIN, AUX), mode=5, faults=("refuse:word=enter,type=1",)
        )
        second = self.connect()
        self.upgrade(second, "UPGRADE||AUX,1,0")
        enter = [
            f"event=retry name=AUX attempt={attempt} "
            f"text=\"'AUX' Enter F/W Update Mode fail, retry {attempt}.\""
            for attempt in (1, 2)
        ]
        enter += ["event=failure name=AUX text=\"'AUX' Enter F/W Update Mode fail.\""]
        again = [
            "event=retry name=AUX attempt={0} text=\"'AUX' F/W update fail, retry {0}.\"".format(
                attempt
            )
            for attempt in (1, 2)
        ]
        started, _ = written("AUX", 1, ("1.0.0", "1.1.0"), 700)
        failed = started.replace("mcu_started", "mcu_finished").replace(
            "bytes=700", "result=failed seconds=T"
        )
        log = [
            self.came(0),
            self.came(1, 2),
            run_started("kind=serial link=ttyS2 mode=5 mcus=1", 1),
            [started],
            enter,
            again[:1],
            enter,
            again[1:],
            enter,
            ["event=failure name=AUX text=\"'AUX' F/W Update fail.\"", failed],
            RESTARTING,
            run_finished("success", 0, 1, 0),
        ]
        self.assert_log(*log)

        self.put_bytes(b"nonsense" * 100)
        self.upgrade(first, "UPGRADE||AUX,1,0||MAIN,0,0", "UPGRADEFAIL")
        os.remove(agentcase.PACKAGE)
        self.upgrade(first, "UPGRADE||AUX,1,0", "UPGRADEFAIL")
        second.close()
        for rows, text in ((2, "Firmware file checksum error"), (1, "Firmware file is not exist")):
            log += [
                run_started(f"kind=serial link=ttyS2 mode=5 mcus={rows}"),
                [
                    f'event=failure text="ERROR:{text}."',
                    "event=run_finished result=failed reason=package written=0 failed=0 skipped=0 "
                    "seconds=T",
                ],
            ]
        self.assert_log(*log, ["event=client_disconnected address=127.0.0.1 port=1 clients=1"])

    def test_network(self):
        self.put_package(Image("MAIN", MAIN.data))
        self.start_device(agentcase.chip("MAIN", 0, 1), where=("--listen", "127.0.0.1:6752"))
        self.start_agent()
        client = self.connect()
        self.upgrade(client, "UPGRADEORVALE1G||127.0.0.1")
        self.assert_log(
            self.came(0),
            run_started("kind=network link=127.0.0.1 mode=2 mcus=1"),
            written("MAIN", 0, ("1.0.0", "1.1.0"), 1000, 1),
            RESTARTING,
            run_finished("success", 1, 0, 0),
        )

    def test_module_image_in_a_package(self):
        net = netimage.in_package(netimage.image())
        client = self.start(agentcase.chip("NET", 32, version="1.0"), images=(net,), mode=5)
        self.upgrade(client, "UPGRADE||NET,32,0")
        started, finished = written("NET", 32, ("1.0", "1.23.0"), len(net.data))
        self.assert_log(
            self.came(0),
            run_started("kind=serial link=ttyS2 mode=5 mcus=1"),
            [
                started,
                "event=install_started version=1.23",
                "event=install_finished version=1.23 result=success seconds=T",
                finished,
            ],
            RESTARTING,
            run_finished("success", 1, 0, 0),
        )

    def test_module_image_in_blocks(self):
        self.start_agent()
        sender = self.sender()
        sender.send_all(netimage.image())
        self.finish_blocks(sender.client)
        self.assert_log(
            self.came(0),
            run_started("kind=net_blocks"),
            [
                "event=install_started version=1.23",
                "event=install_finished version=1.23 result=success seconds=T",
            ],
            run_finished("success", 1, 0, 0),
        )

    def test_module_image_in_blocks_with_a_wrong_digest(self):
        self.start_agent()
        sender = self.sender()
        image = netimage.image()
        sender.send_all(image[:-1] + bytes([image[-1] ^ 1]))
        sender.client.expect(["UPGRADELOG||NET package checksum error."])
        self.assert_log(
            self.came(0),
            run_started("kind=net_blocks"),
            [
                "event=install_started version=1.23",
                "event=install_finished version=1.23 result=failed seconds=T",
                "event=run_finished result=failed written=0 failed=1 skipped=0 seconds=T",
            ],
        )

    def test_port_is_taken(self):
        self.start_agent()
        second = Agent()
        self.processes.append(second)
        self.stack.callback(second.kill)
        journal.wait_for_lines(second, 2)
        self.assertEqual(
            journal.lines(second),
            journal.start()[:1]
            + ['event=not_listening port=35353 reason="The bound address is already in use"'],
        )
        self.assertTrue(second.alive)

    def test_priorities_in_the_journal(self):
        """Standard error is what JOURNAL_STREAM names."""
        script = "/tmp/agent-in-journal"
        with open(script, "w", encoding="ascii") as file:
            file.write(
                "#!/bin/sh\n"
                "JOURNAL_STREAM=$(stat -L -c %d:%i /proc/self/fd/2)\n"
                f"export JOURNAL_STREAM\nexec {os.environ['AGENT_PROGRAM']}\n"
            )
        os.chmod(script, 0o755)
        program = os.environ["AGENT_PROGRAM"]
        self.addCleanup(os.environ.__setitem__, "AGENT_PROGRAM", program)
        os.environ["AGENT_PROGRAM"] = script
        self.start_agent(QT_LOGGING_RULES="agent.console.debug=true")
        client = self.connect()
        client.ask("VERSION", "VERSION||1.15")
        lines = self.agent.stderr().splitlines()
        self.assertEqual(
            [line[:3] for line in lines],
            ["<7>" if "agent.console: " in line else "<6>" for line in lines],
        )
        self.assertIn("<6>agent.operations: event=listening port=35353", lines)
        self.assertIn('<7>agent.console: parseData: "VERSION"', lines)
        second = Agent()
        self.processes.append(second)
        self.stack.callback(second.kill)
        journal.wait_for_lines(second, 2)
        self.assertEqual([line[:3] for line in second.stderr().splitlines()], ["<6>", "<4>"])

    def test_off_by_rule(self):
        super().start_agent(QT_LOGGING_RULES="agent.operations.info=false")
        client = super().connect()
        client.ask("VERSION", "VERSION||1.15")
        client.sync()
        self.assertEqual(self.agent.stderr(), "")


if __name__ == "__main__":
    agentcase.main()
