# SPDX-License-Identifier: Apache-2.0
"""docs/reference/console-protocol.md against the real agent: each session, byte for byte."""

from tests.harness import agentcase, netimage, pages, table, wait
from tests.harness.package import build

NET = netimage.with_head(bytes(k % 251 for k in range(300)))
# Every silence of a run ends within this time.
LONGEST_SILENCE = 20
LISTEN = "--listen", "127.0.0.1:6752"
PACKAGE = build(pages.PACKAGE)
INDENTED = '{\r\n  "model": "HX-8", "version": "1.0.5", "chips": []\r\n}\r\n'
# The package of each kind of session, and the device.
SESSIONS: dict[str, tuple] = {
    "idle": (),
    "package": (PACKAGE,),
    "damaged_package": (PACKAGE[:-1],),
    "indented_package": (build((), text=INDENTED),),
    "run": (PACKAGE, {"index": 0}),
    "silent": (PACKAGE,),
    "network": (PACKAGE, {"index": 1, "where": LISTEN, "version": "1.1.0"}),
    "blocks": (),
}


@table.cases("hold", {kind: (kind, *more) for kind, more in SESSIONS.items()})
class TestSessions(agentcase.AgentCase):
    """Each kind of session has a separate sandbox."""

    def hold(self, kind, package=None, device=None):
        if package:
            self.put_bytes(package)
        words = [kind.replace("_", "-")]
        found = [lines for kinds, lines in pages.blocks(pages.CONSOLE, "session") if kinds == words]
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
        self.assertEqual({kind.replace("-", "_") for kind in kinds}, set(SESSIONS))


if __name__ == "__main__":
    agentcase.main()
