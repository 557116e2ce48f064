# SPDX-License-Identifier: Apache-2.0
"""docs/reference/console-protocol.md against the real agent: each session, byte for byte."""

from tests.harness import agentcase, netimage, pages, wait
from tests.harness.package import build

NET = netimage.with_head(bytes(k % 251 for k in range(300)))
# Every silence of a run ends within this time.
LONGEST_SILENCE = 20


class TestSessions(agentcase.AgentCase):
    """Each kind of session has a separate sandbox."""

    def hold(self, kind, **device):
        found = [
            lines for words, lines in pages.blocks(pages.CONSOLE, "session") if words == [kind]
        ]
        self.assertTrue(found)
        for lines in found:
            with self.subTest(lines[0]):
                self.start_agent()
                if device:
                    self.start_page_device(**device)
                self.talk(pages.session(lines, {"NET": NET}))
                self.agent.stop()

    def start_page_device(self, index=0, where=None, version="1.0.0"):
        device = pages.device(pages.MCU)
        chips = device.pop("chips")
        chips[0].update(chip_index=index, version=version)
        self.start_device(*chips, where=where, **device)

    def talk(self, steps):
        clients, expected = {}, {}
        for number, direction, content in steps:
            if number not in clients:
                clients[number] = self.connect()
                expected[number] = b""
            client = clients[number]
            if direction == ">":
                client.send_raw(content)
                continue
            expected[number] += content
            self.await_bytes(client, expected[number])
        for number, client in clients.items():
            client.send("HEARTBEAT")
            self.await_bytes(client, expected[number] + b"HEARTBEAT\r\n")

    def await_bytes(self, client, expected):
        """Everything that the client got is this, and it has come."""
        wait.until(
            lambda: len(client.raw) >= len(expected) or not expected.startswith(client.raw),
            LONGEST_SILENCE,
            f"{expected[-60:]!r} but {client.raw[-60:]!r}",
        )
        self.assertEqual(client.raw[: len(expected)].decode("latin-1"), expected.decode("latin-1"))

    def test_every_session_is_held(self):
        kinds = {word for words, _ in pages.blocks(pages.CONSOLE, "session") for word in words}
        self.assertEqual(
            {f"test_{kind.replace('-', '_')}" for kind in kinds},
            {name for name in dir(self) if name.startswith("test_")}
            - {"test_every_session_is_held"},
        )

    def test_idle(self):
        self.hold("idle")

    def test_package(self):
        self.put_package(*pages.PACKAGE)
        self.hold("package")

    def test_damaged_package(self):
        self.put_bytes(build(pages.PACKAGE)[:-1])
        self.hold("damaged-package")

    def test_indented_package(self):
        text = '{\r\n  "model": "HX-8", "version": "1.0.5", "chips": []\r\n}\r\n'
        self.put_bytes(build((), text=text))
        self.hold("indented-package")

    def test_run(self):
        self.put_package(*pages.PACKAGE)
        self.hold("run", index=0)

    def test_silent(self):
        self.put_package(*pages.PACKAGE)
        self.hold("silent")

    def test_network(self):
        self.put_package(*pages.PACKAGE)
        self.hold("network", index=1, where=("--listen", "127.0.0.1:6752"), version="1.1.0")

    def test_blocks(self):
        self.hold("blocks")


if __name__ == "__main__":
    agentcase.main()
