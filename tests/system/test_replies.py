# SPDX-License-Identifier: Apache-2.0
"""Replies that come in an odd shape, but come: the run is the same as ever."""

from tests.harness import agentcase, frames, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
WHOLE_RUN = (
    texts.started()
    + texts.model_read()
    + texts.read_mcu("AUX")
    + texts.reads_done()
    + texts.read_version("AUX", "1.0.0")
    + texts.decided("1.1.0", "greater", "AUX", "1.0.0")
    + texts.image("AUX", 0, 1, 700)
    + texts.rebooted()
    + texts.virtual_version_set()
    + texts.succeeded()
)
# Useless replies: an unknown word, a frame of the host, a wrong address, a bad checksum of another
# reply, impossible lengths.
USELESS = {
    "host-frame": frames.host(frames.MODEL_NAME).hex(),
    "other-word": frames.status(0x1234, 0).hex(),
    "start-byte-and-no-more": "005b00",
    "address": "5b5b00",
    "length-0": "5b5ba50000" + "00" * 2000,
    "length-4": "5b5ba50400" + "00" * 9,
    "length-ffff": "5b5ba5ffff",
    "bare-escape": frames.frame(frames.REPLY, 0xFFFF).hex(),
}


class TestOddReplies(agentcase.AgentCase):
    """Each fault meets every command of one whole run."""

    def run_with(self, *faults):
        client = self.start(agentcase.chip("AUX", 1), images=(AUX,), faults=faults)
        client.send("UPGRADE||AUX,1,0")
        client.expect(WHOLE_RUN, 60)
        client.sync()
        self.assert_flash({(1, 0): AUX.data})
        blocks = [frame for frame in self.simulator.host_frames(False) if "block=" in frame]
        self.assertEqual(len(blocks), 3)

    def test_single_bytes(self):
        self.run_with("split:delay=1")

    def test_echo_of_the_host(self):
        self.run_with("echo")

    def test_late_but_in_time(self):
        self.run_with("late:delay=900")

    def test_duplicates(self):
        self.run_with(
            *(
                f"duplicate:word={word}"
                for word in ("model-name", "bootcode", "product-info", "version", "enter", "block")
            )
        )

    def test_ordinary_form_of_the_enter_reply(self):
        self.run_with("other-form:word=enter")

    def test_noise_host_frame(self):
        self.run_with(f"noise:hex={USELESS['host-frame']}")

    def test_noise_other_word(self):
        self.run_with(f"noise:hex={USELESS['other-word']}")

    def test_noise_start_byte_and_no_more(self):
        self.run_with(f"noise:hex={USELESS['start-byte-and-no-more']}")

    def test_noise_address(self):
        self.run_with(f"noise:hex={USELESS['address']}")

    def test_noise_length_0(self):
        self.run_with(f"noise:hex={USELESS['length-0']}")

    def test_noise_length_4(self):
        self.run_with(f"noise:hex={USELESS['length-4']}")

    def test_noise_length_ffff(self):
        self.run_with(f"noise:hex={USELESS['length-ffff']}")

    def test_noise_bare_escape(self):
        self.run_with(f"noise:hex={USELESS['bare-escape']}")


if __name__ == "__main__":
    agentcase.main()
