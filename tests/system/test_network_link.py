# SPDX-License-Identifier: Apache-2.0
"""An upgrade over the device's own network port."""

import socket
import time

from tests.harness import agentcase, framelist, texts, wait
from tests.harness.package import Image, image_bytes
from tests.harness.transcript import Maybe

ADDRESS = ("127.0.0.1", 6752)
LISTEN = ("--listen", "127.0.0.1:6752")
REQUEST = "UPGRADEORVALE1G||127.0.0.1"
CONNECTED = texts.log("Device connected.") + texts.package_listed()
MAIN = Image("MAIN", image_bytes(1000, "main"))
CHIP = agentcase.chip("MAIN", 0, 1)
RUN = texts.one_chip("MAIN", 1000)
# Whether the reset of the progress also logs is left open.
ERASING = [Maybe(line) for line in texts.log("Erasing...")]
FRAMES = [
    framelist.MODEL,
    *framelist.reads((0, 1)),
    *framelist.image(0, 1, 1000),
    *framelist.end(),
]
ASKED = texts.log("Firmware file checksum ok.", "Read model name.")


class TestNetworkLink(agentcase.AgentCase):
    """The main MCU at index 1, which is what such a request upgrades."""

    def begin(self, *faults, where=LISTEN):
        return self.start(CHIP, images=(MAIN,), where=where, faults=faults)

    def assert_serial_works(self, client):
        """A whole upgrade of a second device, on the serial line."""
        self.start_device(CHIP)
        client.send("UPGRADE||MAIN,0,1")
        client.expect(texts.started() + RUN, 40)
        client.sync()
        self.assert_flash({(0, 1): MAIN.data})
        self.assert_frames(*FRAMES)

    def test_whole_upgrade_then_the_serial_line(self):
        client = self.begin()
        client.send(REQUEST)
        # Over the network nothing is said when the link is closed.
        client.expect(CONNECTED + RUN[: -len(texts.closed())], 40)
        client.sync()
        self.assert_flash({(0, 1): MAIN.data})
        self.assert_frames(*FRAMES)
        self.assert_serial_works(client)

    def test_refused_host(self):
        """Nothing is said and nothing is busy."""
        client = self.begin(where=None)
        client.send(REQUEST)
        client.sync()
        time.sleep(1)  # the time in which nothing may happen
        client.sync()
        self.assert_serial_works(client)

    def test_damaged_package(self):
        """It fails when it is listed, which closes the link, and again when the run begins."""
        client = self.begin()
        self.put_bytes(b"garbage")
        client.send(REQUEST)
        client.expect(
            texts.log("Device connected.")
            + texts.status_lines("UPGRADEFAIL") * 2
            + texts.closed("")
        )
        client.sync()
        self.put_package(MAIN)
        self.assert_serial_works(client)

    def test_silent_device(self):
        client = self.begin("silent:word=model-name")
        client.send(REQUEST)
        client.expect(
            CONNECTED
            + ASKED
            + texts.log(
                "Read model name fail, retry 1.",
                "Read model name fail, retry 2.",
                "Read model name fail, upgrade fail, exit.",
            )
            + self.network_failed(),
            45,
        )
        # What may be the run's last line may also come later than the others.
        client.ask("HEARTBEAT", *ERASING, "HEARTBEAT")
        self.assert_frames(*[framelist.MODEL] * 3)

    @staticmethod
    def network_failed():
        return texts.status_lines("UPGRADEFAIL") + texts.progress(0, 1, 0) + ERASING

    def test_device_hangs_up_in_mid_run(self):
        """The run ends through its time-outs, and the agent takes the next request. The second
        retry already finds the serial line in place, which is not open."""
        self.put_package(MAIN)
        with socket.create_server(ADDRESS) as server:
            self.start_agent()
            client = self.connect()
            client.send(REQUEST)
            device, _ = server.accept()
            wait.until(lambda: device.recv(4096), what="frame of the agent")
            device.close()
        client.expect(
            CONNECTED
            + ASKED
            + texts.log("Read model name fail, retry 1.", "Read model name fail, retry 2.")
            + texts.closed("")
            + texts.log("Read model name fail, upgrade fail, exit.")
            + self.network_failed()
            + texts.closed(""),
            45,
        )
        client.sync()
        self.assert_serial_works(client)


if __name__ == "__main__":
    agentcase.main()
