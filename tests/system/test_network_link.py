# SPDX-License-Identifier: Apache-2.0
"""An upgrade over the device's own network port."""

import socket
import time

from tests.harness import agentcase, framelist, module, netcase, netimage, texts, wait
from tests.harness.blocksender import REFUSED
from tests.harness.package import Image, image_bytes
from tests.harness.transcript import Maybe

ADDRESS = ("127.0.0.1", 6752)
LISTEN = ("--listen", "127.0.0.1:6752")
REQUEST = "UPGRADEORVALE1G||127.0.0.1"
CONNECTED = texts.log("Device connected.") + texts.package_listed()
MAIN = Image("MAIN", image_bytes(1000, "main"))
CHIP = agentcase.chip("MAIN", 0, 1)
WRITTEN = (
    texts.decided("1.1.0", "greater", "MAIN", "1.0.0")
    + texts.image("MAIN", 0, 1, 1000)
    + texts.rebooted()
    + texts.virtual_version_set()
)
READ = texts.model_read() + texts.read_chips(("MAIN", "1.0.0"))
# Over the network nothing is said when the link is closed.
OVER = ["PROGRESSVALUE||0.00"] + texts.status_lines("UPGRADESUCCESS")
# Whether the reset of the progress also logs is left open.
ERASING = [Maybe(line) for line in texts.log("Erasing...")]
FRAMES = [
    framelist.MODEL,
    *framelist.mcu(0, 1),
    framelist.version(0, 1),
    *framelist.image(0, 1, 1000),
    framelist.REBOOT,
    framelist.PRODUCT_ID,
    framelist.virtual(5),
]
ASKED = texts.log("Firmware file checksum ok.", "Read model name.")


class TestNetworkLink(netcase.NetCase):
    """The main MCU at index 1, which is what such a request upgrades."""

    def begin(self, *faults, where=LISTEN, **more):
        self.put_package(MAIN)
        self.start_device(CHIP, where=where, faults=faults, **more)
        self.start_agent()
        return self.connect()

    def assert_serial_works(self, client, first=False):
        """A whole upgrade of a second device, on the serial line."""
        self.start_device(CHIP)
        client.send("UPGRADE||MAIN,0,1")
        client.expect(texts.started(first) + READ + WRITTEN + texts.succeeded(), 40)
        client.sync()
        self.assert_flash({(0, 1): MAIN.data})
        self.assert_frames(*FRAMES)

    def test_whole_upgrade_then_the_serial_line(self):
        client = self.begin()
        client.send(REQUEST)
        client.expect(CONNECTED + READ + WRITTEN + OVER, 40)
        client.sync()
        self.assert_flash({(0, 1): MAIN.data})
        self.assert_frames(*FRAMES)
        self.assert_serial_works(client, first=True)

    def test_twice_and_in_mode_5(self):
        client = self.begin()
        client.ask("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        for version in ("1.0.0", "1.1.0"):
            client.send(REQUEST)
            client.expect(
                CONNECTED
                + texts.log("Firmware file checksum ok.")
                + texts.read_chips(("MAIN", version))
                + texts.image("MAIN", 0, 1, 1000)
                + texts.rebooted()
                + texts.virtual_version_set()
                + OVER,
                40,
            )
            client.sync()
        self.assertEqual(self.simulator.chip(0, 1)["images_written"], 2)

    def test_requests_in_mid_run(self):
        """Nothing replaces a run that is at work."""
        client = self.begin("late:word=model-name,delay=3000")
        client.send(REQUEST)
        client.expect(CONNECTED + ASKED)
        for line in (REQUEST, "UPGRADE||MAIN,0,1", "UPGRADE||"):
            client.ask(line, netcase.BUSY)
        for line in ("UPGRADEALL", "GETVERINF"):
            client.send(line)
        client.sync()
        client.expect((READ + WRITTEN + OVER)[2:], 40)
        client.sync()
        self.assert_flash({(0, 1): MAIN.data})
        self.assert_frames(*FRAMES)

    def test_blocks_in_mid_run(self):
        client = self.begin("silent:word=model-name")
        client.send(REQUEST)
        client.expect(CONNECTED + ASKED)
        sender = self.sender()
        sender.client.sync()
        sender.enter(REFUSED)
        sender.block(netimage.blocks(netimage.image())[0], REFUSED)
        self.assertIsNone(module.archive())

    def test_refused_host(self):
        """Nothing is said and nothing is busy."""
        client = self.begin(where=None)
        client.send(REQUEST)
        client.sync()
        time.sleep(1)  # the time in which nothing may happen
        client.sync()
        self.assert_serial_works(client, first=True)

    def test_serial_request_overtakes(self):
        """Both in one read: whether or not the connection is there by then, the run is on the
        serial line."""
        client = self.begin()
        network = self.simulator
        del self.simulator  # start_device() does not stop it
        self.start_device(CHIP)
        client.send_raw(f"{REQUEST}\r\nUPGRADE||MAIN,0,1\r\n".encode())
        opened = [Maybe("UPGRADELOG||Device connected.")]
        client.expect(
            opened
            + [Maybe(line) for line in texts.closed("")]
            + opened
            + ["Connect success."]
            + opened
            + ASKED[:1]
            + opened
            + ASKED[1:]
            + opened
            + (READ + WRITTEN + texts.succeeded())[2:],
            40,
        )
        client.sync()
        self.assert_flash({(0, 1): MAIN.data})
        self.assert_frames(*FRAMES)
        self.simulator = network
        self.assert_frames()

    def test_no_package(self):
        self.start_agent()
        self.connect().ask(REQUEST, "UPGRADELOG||Firmware file does not exist.")

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
        self.assert_serial_works(client, first=True)

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
        self.assert_serial_works(client, first=True)


if __name__ == "__main__":
    agentcase.main()
