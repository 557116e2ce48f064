# SPDX-License-Identifier: Apache-2.0
"""A device that stays silent, in real time. One long run each, so this file runs beside others."""

import os
import time

from tests.harness import agentcase, framelist, frames, texts
from tests.harness.package import Image, image_bytes
from tests.harness.transcript import Maybe

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
MAIN = Image("MAIN", image_bytes(300, "main"))
DECIDED = texts.decided("1.1.0", "greater", "AUX", "1.0.0")
END = texts.finished()


def read_all():
    return texts.model_read() + texts.read_chips(("AUX", "1.0.0"))


class TestSilence(agentcase.AgentCase):
    """One chip; the fault is the test."""

    def begin(self, *faults, request="UPGRADE||AUX,1,0", chips=(agentcase.chip("AUX", 1),)):
        client = self.start(*chips, images=(MAIN, AUX), faults=faults)
        client.send(request)
        return client

    def test_model(self):
        """The answer arrives when the run has failed and has no effect."""
        client = self.begin(
            "silent:word=model-name,count=twice",
            "late:word=model-name,skip=2,delay=15000,count=once",
        )
        client.expect(
            texts.started()
            + texts.log(
                "Firmware file checksum ok.",
                "Read model name.",
                "Read model name fail, retry 1.",
                "Read model name fail, retry 2.",
                "Read model name fail, upgrade fail, exit.",
            )
            + texts.failed(),
            45,
        )
        time.sleep(20)  # the time in which nothing may happen
        client.sync()
        self.assert_frames(*[framelist.MODEL] * 3)

    def test_main_bootcode(self):
        client = self.begin(
            "silent:word=bootcode",
            request="UPGRADE||MAIN,0,0||AUX,1,0",
            chips=(agentcase.chip("MAIN"), agentcase.chip("AUX", 1)),
        )
        ask = texts.log("Read bootcode information of 'MAIN'.")
        fail = "Read the bootcode information of 'MAIN' fail, {}."
        client.expect(
            texts.started()
            + texts.model_read()
            + ask
            + texts.log(fail.format("retry 1"))
            + ask
            + texts.log(fail.format("retry 2"))
            + ask
            + texts.log(fail.format("check the next mcu"), fail.format("exit upgrade"))
            + texts.failed(0, 2),
            45,
        )
        client.sync()
        self.assert_frames(framelist.MODEL, *[framelist.bootcode(0)] * 3)

    def test_last_version(self):
        """An MCU without a version counts as V0.0.0 and gets its image."""
        client = self.begin(
            "silent:word=version,type=1",
            chips=(agentcase.chip("KEY", 2), agentcase.chip("AUX", 1)),
            request="UPGRADE||KEY,2,0||AUX,1,0",
        )
        ask = texts.log("Send 'Read FW version' command to 'AUX'.")
        fail = "Read the version information of 'AUX' fail, {}."
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_mcu("KEY")
            + texts.read_mcu("AUX")
            + texts.reads_done()
            + texts.read_version("KEY", "1.0.0")
            + ask
            + texts.log(fail.format("retry 1"))
            + ask
            + texts.log(fail.format("retry 2"))
            + ask
            + texts.log(
                fail.format("check the next mcu"), "Read all mcu(list) version information done."
            )
            + texts.not_in_list("KEY", 0, 2)
            + texts.decided("1.1.0", "greater", "AUX", "0.0.0")
            + texts.image("AUX", 1, 2, 700)
            + END,
            80,
        )

    def test_middle_mcu(self):
        """Three silent reads give an MCU up, not the run."""
        client = self.begin(
            "silent:word=product-info,type=2",
            chips=(agentcase.chip("KEY", 2), agentcase.chip("AUX", 1)),
            request="UPGRADE||KEY,2,0||AUX,1,0",
        )
        ask = texts.log("Read the product information of 'KEY'.")
        fail = "Read the product information of 'KEY' fail, {}."
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_bootcode("KEY")
            + ask
            + texts.log(fail.format("retry 1"))
            + ask
            + texts.log(fail.format("retry 2"))
            + ask
            + texts.log(fail.format("check the next mcu"))
            + texts.read_mcu("AUX")
            + texts.reads_done()
            + texts.read_version("KEY", "1.0.0")
            + texts.read_version("AUX", "1.0.0")
            + texts.not_in_list("KEY", 0, 2)
            + DECIDED
            + texts.image("AUX", 1, 2, 700)
            + END,
            80,
        )

    def test_enter(self):
        """Refused once, then silent: the time-out still counts."""
        client = self.begin("refuse:word=enter,count=once", "silent:word=enter,skip=1,count=once")
        send = texts.log("Send 'Enter F/W Upgrade Mode' command to 'AUX'.")
        fail = "'AUX' Enter F/W Update Mode fail, retry {}."
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + send
            + texts.log(fail.format(1))
            + send
            + texts.log(fail.format(2))
            + texts.image("AUX", 0, 1, 700)
            + END,
            80,
        )

    def test_blocks(self):
        """A block that is not received, an acknowledgement that is lost, and a corrupted one."""
        client = self.begin(
            "silent-block:block=0,count=once",
            "lose-reply:word=block,block=1,count=once",
            "bad-checksum:word=block,block=2,count=once",
        )
        again = texts.log("F/W update timeout, retry 1.")
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + texts.entered("AUX")
            + texts.first_block(0, 1, 700)
            + again
            + texts.further_blocks(0, 1, 700)[:1]
            + again
            + texts.further_blocks(0, 1, 700)[1:]
            + again
            + texts.written("AUX", 0, 1)
            + END,
            100,
        )
        client.sync()
        self.assert_flash({(1, 0): AUX.data})

    def test_reboot(self):
        client = self.begin("silent:word=reboot")
        repeated = [Maybe(line) for line in texts.log("Send reboot command.")]
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + texts.image("AUX", 0, 1, 700)
            + texts.log("Send reboot command.", "Reboot fail, retry 1.")
            + repeated
            + texts.log("Reboot fail, retry 2.")
            + repeated
            + texts.log("Reboot systerm fail.")
            + texts.failed(1, 1),
            60,
        )
        client.sync()
        self.assertEqual(self.simulator.host_frames()[-3:], [framelist.REBOOT] * 3)

    def test_no_return(self):
        client = self.begin("no-return-after-reboot")
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + texts.image("AUX", 0, 1, 700)
            + texts.rebooted()
            + texts.log(
                "Read product ID fail, retry 1.",
                "Read product ID fail, retry 2.",
                "Systerm run fail.",
            )
            + texts.failed(1, 1),
            80,
        )
        client.sync()
        self.assertEqual(self.simulator.host_frames()[-3:], [framelist.PRODUCT_ID] * 3)

    def test_main_does_not_return(self):
        client = self.begin(
            "silent:word=product-id", chips=(agentcase.chip("MAIN"),), request="UPGRADE||MAIN,0,0"
        )
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_chips(("MAIN", "1.0.0", "APP"))
            + texts.decided("1.1.0", "greater", "MAIN", "1.0.0")
            + texts.image("MAIN", 0, 1, 300)
            + texts.log(
                "The Main MCU is restarting, please wait.",
                "Read product ID.",
                "Read product ID fail, retry 1.",
                "Read product ID fail, retry 2.",
                "Main MCU run fail.",
            )
            + texts.failed(0, 1),
            80,
        )
        client.sync()
        self.assertEqual(self.simulator.host_frames()[-3:], [framelist.PRODUCT_ID] * 3)

    def expect_success_after_a_retry(self, client):
        """The whole run, whose first read of the model name failed."""
        client.expect(
            texts.started()
            + texts.log(
                "Firmware file checksum ok.",
                "Read model name.",
                "Read model name fail, retry 1.",
                "Model Name match.",
            )
            + read_all()[len(texts.model_read()) :]
            + DECIDED
            + texts.image("AUX", 0, 1, 700)
            + END,
            60,
        )

    def test_half_reply(self):
        """The beginning of a reply is forgotten when the command is sent again."""
        client = self.begin("silent:word=model-name,count=once")
        self.simulator.wait_for_frames(1)
        whole = frames.frame(frames.REPLY, frames.MODEL_NAME, b"HX-8")
        os.write(agentcase.MASTER, whole[:8])
        self.expect_success_after_a_retry(client)

    def test_corrupted_reply(self):
        """After a bad checksum the correct byte completes the reply; without it, the retry does."""
        client = self.begin(
            "bad-checksum:word=model-name,count=once", "silent:word=bootcode,count=once"
        )
        self.simulator.wait_for_frames(3, 20)
        corrupted = frames.frame(frames.REPLY, frames.BOOTCODE, bytes([1, 0, 1, 0, 1, 0, 1]))
        os.write(agentcase.MASTER, corrupted[:-1] + b"\0\1" + corrupted[-1:])
        self.expect_success_after_a_retry(client)


if __name__ == "__main__":
    agentcase.main()
