# SPDX-License-Identifier: Apache-2.0
"""The reader of the agent's standard error stops reading: the agent continues, and later reports
how many lines were lost."""

import os
import re
import select
import socket
import tty

from tests.harness import agentcase, wait
from tests.harness.agent import Agent
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(20_000, "aux"), chip_type=1)
LOST = re.compile(
    r"^agent\.service: (\d+) lines of the log were lost: standard error was not read$", re.MULTILINE
)
WHOLE_LINE = re.compile(r"agent\.[a-z.]+: .*|successfully send command_jumpTokeyboardMCU")
# With every debug line on, far more than a pipe, a socket or the agent keeps.
FLOOD = b"x\r" * 20_000


class TestLogReader(agentcase.AgentCase):
    """One kind of standard error each."""

    def start_with(self, read_end, write_end):
        self.read_end = read_end
        self.stack.callback(os.close, read_end)
        self.agent = self.keep(Agent({"stderr": write_end}, QT_LOGGING_RULES="agent.*.debug=true"))
        os.close(write_end)
        self.agent.wait_until_it_listens()

    def read_until(self, found, text=""):
        """What comes until the whole of it satisfies `found`."""

        def all_there():
            nonlocal text
            while select.select([self.read_end], [], [], 0)[0]:
                text += os.read(self.read_end, 65_536).decode().replace("\r\n", "\n")
            return found(text)

        wait.until(all_there, 60, "lines of the log")
        return text

    def check(self):
        """Line by line while it is read; a run while it is not; and then again."""
        client = self.connect()
        client.ask("VERSION", "VERSION||1.15")
        before = self.read_until(lambda text: 'parseData: "VERSION"' in text)
        self.assertIn("agent.operations: event=listening port=35353\n", before)

        flood = self.connect()
        flood.send_raw(FLOOD)
        flood.send("HEARTBEAT")
        flood.wait_for("HEARTBEAT", 60)
        self.put_package(AUX)
        self.start_device(agentcase.chip("AUX", 1))
        client.mark()
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADESUCCESS", 60)
        self.assert_flash({(1, 0): AUX.data})

        # Nothing else is written now, and the count comes anyway.
        text = self.read_until(LOST.search)
        self.assertEqual(len(LOST.findall(text)), 1)
        self.assertGreater(int(LOST.findall(text)[0]), 1000)
        self.connect().ask("VERSION", "VERSION||1.15")
        text = self.read_until(lambda text: 'parseData: "VERSION"' in LOST.split(text, 1)[-1], text)
        for line in text.splitlines()[:-1]:
            self.assertRegex(line, WHOLE_LINE)

    def test_pipe(self):
        self.start_with(*os.pipe())
        self.check()

    def test_socket(self):
        """As the journal's."""
        reader, writer = socket.socketpair()
        self.start_with(reader.detach(), writer.detach())
        self.check()

    def test_terminal(self):
        reader, writer = os.openpty()
        tty.setraw(writer)
        self.start_with(reader, writer)
        self.check()


if __name__ == "__main__":
    agentcase.main()
