# SPDX-License-Identifier: Apache-2.0
"""Refusals and useless replies, which are answered at once."""

from tests.harness import agentcase, framelist, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
MODEL_RETRIES = texts.log("Read model name fail, retry 1.", "Read model name fail, retry 2.")
END = texts.finished()
DECIDED = texts.decided("1.1.0", "greater", "AUX", "1.0.0")


def read_all():
    return texts.model_read() + texts.read_chips(("AUX", "1.0.0"))


class TestRefusals(agentcase.AgentCase):
    """One chip; the fault is the test."""

    def begin(self, *faults):
        client = self.start(agentcase.chip("AUX", 1), images=(AUX,), faults=faults)
        client.send("UPGRADE||AUX,1,0")
        return client

    def test_model_name_refused_permanently(self):
        client = self.begin("refuse:word=model-name")
        start = texts.log("Firmware file checksum ok.", "Read model name.")
        end = texts.log("Read model name error, upgrade fail. ForcedUpgrade mode is required.")
        client.expect(texts.started() + start + MODEL_RETRIES + end + texts.failed())
        client.sync()
        self.assert_frames(*[framelist.MODEL] * 3)
        self.simulator.control("fault clear")
        client.send("UPGRADE||AUX,1,0")
        client.expect(
            texts.started(first=False) + read_all() + DECIDED + texts.image("AUX", 0, 1, 700) + END,
            40,
        )
        self.assert_flash({(1, 0): AUX.data})

    def test_bootcode_refused_twice(self):
        client = self.begin("refuse:word=bootcode,count=twice")
        ask = texts.log("Read bootcode information of 'AUX'.")
        fail = "Read the bootcode information of 'AUX' fail, retry {}."
        client.expect(
            texts.started()
            + texts.model_read()
            + ask
            + texts.log(fail.format(1))
            + ask
            + texts.log(fail.format(2))
            + texts.read_chips(("AUX", "1.0.0"))
            + DECIDED
            + texts.image("AUX", 0, 1, 700)
            + END,
            40,
        )

    def test_short_version_reply(self):
        """A reply without its numbers counts as a refusal."""
        client = self.begin("short:word=version,bytes=1,count=once")
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_mcu("AUX")
            + texts.reads_done()
            + texts.log(
                "Send 'Read FW version' command to 'AUX'.",
                "Read the version information of 'AUX' fail, retry 1.",
            )
            + texts.read_version("AUX", "1.0.0")
            + DECIDED
            + texts.image("AUX", 0, 1, 700)
            + END,
            40,
        )

    def test_enter_refused_once(self):
        client = self.begin("refuse:word=enter,count=once")
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + texts.log(
                "Send 'Enter F/W Upgrade Mode' command to 'AUX'.",
                "'AUX' Enter F/W Update Mode fail, retry 1.",
            )
            + texts.image("AUX", 0, 1, 700)
            + END,
            40,
        )

    def test_blocks_refused(self):
        """Twice at the first block, once at the last one."""
        client = self.begin("refuse-block:block=0,count=twice", "refuse-block:block=2,count=once")
        again = "F/W update timeout, retry {}."
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + texts.entered("AUX")
            + texts.first_block(0, 1, 700)
            + texts.log(again.format(1), again.format(2))
            + texts.further_blocks(0, 1, 700)
            + texts.log(again.format(1))
            + texts.written("AUX", 0, 1)
            + END,
            40,
        )
        client.sync()
        self.assert_flash({(1, 0): AUX.data})
        self.assertEqual(self.simulator.host_frames()[-4], "7901 block type=1 index=0 x6")

    def test_image_given_up(self):
        """Three refusals of a block end an attempt, three attempts the image; the run continues."""
        client = self.begin("refuse-block:block=1")
        tried = (
            texts.entered("AUX")
            + texts.first_block(0, 1, 700)
            + texts.further_blocks(0, 1, 700)[:1]
            + texts.log("F/W update timeout, retry 1.", "F/W update timeout, retry 2.")
        )
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + tried
            + texts.log("'AUX' F/W update fail, retry 1.")
            + tried
            + texts.log("'AUX' F/W update fail, retry 2.")
            + tried
            + texts.log("'AUX' F/W Update fail.")
            + texts.finished(written=False),
            60,
        )
        client.sync()

    def test_virtual_version_refused(self):
        client = self.begin("refuse:word=set-virtual-version")
        client.expect(
            texts.started()
            + read_all()
            + DECIDED
            + texts.image("AUX", 0, 1, 700)
            + texts.rebooted()
            + texts.log(
                "Start to set virtual version.",
                "Set virtual version fail.",
                "All firmware upgrade done, but set virtual version fail.",
            )
            + texts.succeeded(),
            40,
        )


if __name__ == "__main__":
    agentcase.main()
