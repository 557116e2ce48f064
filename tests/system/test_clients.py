# SPDX-License-Identifier: Apache-2.0
"""Several clients around one run: who gets its lines, and what is refused while it lasts."""

import contextlib
import socket

from tests.harness import agentcase, console, framelist, package, texts, transcript, wait
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(10000, "aux"), chip_type=1)
REQUEST = "UPGRADE||AUX,1,0"
WHOLE_RUN = texts.started() + texts.one_chip("AUX", 10000)


class TestClients(agentcase.AgentCase):
    """The device answers slowly, so that there is time during a run."""

    def setUp(self):
        super().setUp()
        self.client = self.start(agentcase.chip("AUX", 1), images=(AUX,), answer_ms=25)

    def begin(self):
        """Starts the run and waits until the image is on its way."""
        self.client.send(REQUEST)
        self.client.wait_for("Writing...")

    def assert_whole_run(self, lines):
        self.assertEqual(
            transcript.compare(lines, WHOLE_RUN), "equal", transcript.side_by_side(lines, WHOLE_RUN)
        )
        self.assert_flash({(1, 0): AUX.data})
        self.assertEqual(self.simulator.host_frames()[-1], framelist.virtual(5))

    def test_last_requester_gets_the_rest(self):
        other = self.connect()
        self.begin()
        other.send("HEARTBEAT")
        other.wait_for("UPGRADESUCCESS", 40)
        other.wait_for(texts.closed()[1])
        self.assertEqual(other.lines[0], "HEARTBEAT")
        self.assert_whole_run(self.client.lines + other.lines[1:])
        self.client.mark()
        self.client.sync()

    def test_requests_in_mid_run(self):
        other = self.connect()
        self.begin()
        listed = f"FIRMWARELIST||{package.description([AUX])}"
        broken = "FIRMWARELIST||ERROR:Firmware file checksum error."
        for line in (
            "UPGRADE||MAIN,0,0",
            "UPGRADEALL",
            "GETVERINF",
            "UPGRADEORVALE1G||127.0.0.1",
            "GETFIRMWARELIST",
        ):
            other.send(line)
        other.wait_for(listed)
        self.put_bytes(b"garbage")
        other.send("GETFIRMWARELIST")
        other.wait_for(broken)
        other.send("HEARTBEAT")
        other.wait_for("HEARTBEAT")
        self.assertNotIn("UPGRADESUCCESS", other.lines)
        other.wait_for("UPGRADESUCCESS", 40)
        other.wait_for(texts.closed()[1])
        replies = [
            line for line in other.lines if line in (texts.BUSY, listed, broken, "HEARTBEAT")
        ]
        self.assertEqual(replies, [texts.BUSY, texts.BUSY, listed, broken, "HEARTBEAT"])
        self.assert_whole_run(
            self.client.lines + [line for line in other.lines if line not in replies]
        )

    def test_list_every_few_milliseconds(self):
        """Reading the package beside a run disturbs neither."""
        other = self.connect()
        self.begin()
        end = self.repeat(lambda: other.send("GETFIRMWARELIST"), 0.005)
        other.wait_for("UPGRADELOG||Start to reboot, please wait.", 40)
        end()
        other.wait_for("UPGRADESUCCESS", 40)
        other.wait_for(texts.closed()[1])
        listed = f"FIRMWARELIST||{package.description([AUX])}"
        self.assertGreater(other.lines.count(listed), 20)
        self.assert_whole_run(self.client.lines + [line for line in other.lines if line != listed])

    def test_requester_leaves(self):
        self.begin()
        self.client.close(reset=True)
        wait.until(lambda: framelist.virtual(5) in self.simulator.host_frames(), 40)
        self.assert_flash({(1, 0): AUX.data})
        other = self.connect()
        other.send("VERSION")
        other.wait_for("VERSION||1.15")
        # Who asks while the run ends gets what is left of it, and nothing else.
        rest = texts.virtual_version_set() + texts.succeeded()
        self.assertEqual([line for line in other.lines if line not in rest], ["VERSION||1.15"])
        wait.until(lambda: self.free(other), what="idle agent")

    @staticmethod
    def free(client):
        """Asks for an upgrade of nothing, which is refused only while a run is on."""
        client.mark()
        client.send("UPGRADE||")
        client.send("HEARTBEAT")
        client.wait_for("HEARTBEAT")
        return texts.BUSY not in client.lines

    def test_client_that_never_reads(self):
        """A client sends requests and reads no answer, until it is disconnected or the run ends;
        the run and the other clients are not affected."""
        stalled = socket.create_connection(("127.0.0.1", console.PORT))
        self.addCleanup(stalled.close)
        stalled.setblocking(False)
        self.begin()

        def ask_until_done():
            with contextlib.suppress(BlockingIOError, ConnectionError):
                for _ in range(100):
                    stalled.send(b"GETFIRMWARELIST\r\n")
            self.client.send("HEARTBEAT")
            return framelist.virtual(5) in self.simulator.host_frames()

        wait.until(ask_until_done, 40, "end of the run")
        self.client.mark()
        self.client.send("VERSION")
        self.client.wait_for("VERSION||1.15")
        self.assert_flash({(1, 0): AUX.data})


class TestAroundTheEnd(agentcase.AgentCase):
    """Requests that meet the end of a run: it has one verdict, and nothing else looks like it."""

    VERDICTS = ("UPGRADESUCCESS", "UPGRADEFAIL")

    def test_requests_around_many_ends(self):
        """Each request for an upgrade is refused, or begins a run that has exactly one verdict."""
        client = self.start(agentcase.chip("AUX", 1), images=(AUX,), model="OTHER")
        end = self.repeat(lambda: client.send(f"GETFIRMWARELIST\r\n{REQUEST}"))
        client.wait_for("UPGRADEFAIL", 60, count=50)
        rounds = end()
        client.wait_for(f"FIRMWARELIST||{package.description([AUX])}", 30, count=rounds)
        begun = "UPGRADELOG||Read model name."
        wait.until(
            lambda: client.lines.count(begun) + client.lines.count(texts.BUSY) == rounds
            and client.lines.count(begun) == client.lines.count("UPGRADEFAIL"),
            what="an answer to each request",
        )
        client.sync_among_others()
        events = [line for line in client.lines if line == begun or line in self.VERDICTS]
        self.assertEqual(events, [begun, "UPGRADEFAIL"] * client.lines.count(begun))

    def test_lists_around_the_end(self):
        """A list of a package that is broken by now ends like a failed run, so it has to wait until
        the run's own verdict is out."""
        client = self.start(agentcase.chip("AUX", 1), images=(AUX,))
        for _ in range(2):
            self.put_package(AUX)
            client.mark()
            client.send(REQUEST)
            client.wait_for("UPGRADELOG||Start to reboot, please wait.", 40)
            self.put_bytes(b"garbage")
            end = self.repeat(lambda: client.send("GETFIRMWARELIST"))
            client.wait_for("UPGRADEFAIL", 40)
            end()
            verdicts = [line for line in client.lines if line in self.VERDICTS]
            self.assertEqual(verdicts[0], "UPGRADESUCCESS")
            self.assertNotIn("UPGRADESUCCESS", verdicts[1:])
            client.sync_among_others()


if __name__ == "__main__":
    agentcase.main()
