# SPDX-License-Identifier: Apache-2.0
"""Replies that come in an odd shape, but come: the run is the same as ever."""

from tests.harness import agentcase, frames, table, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
WHOLE_RUN = texts.started() + texts.one_chip("AUX", 700)
# Useless replies: a frame of the host, impossible lengths, an escape without
# a word.
USELESS = {
    "host_frame": frames.host(frames.MODEL_NAME).hex(),
    "length_0": "5b5ba50000" + "00" * 2000,
    "length_ffff": "5b5ba5ffff",
    "bare_escape": frames.frame(frames.REPLY, 0xFFFF).hex(),
}


COMMANDS = ("model-name", "bootcode", "product-info", "version", "enter", "block")
FAULTS = {
    "single_bytes": ["split:delay=1"],
    "echo_of_the_host": ["echo"],
    "late_but_in_time": ["late:delay=900"],
    "duplicates": [f"duplicate:word={word}" for word in COMMANDS],
    "ordinary_form_of_the_enter_reply": ["other-form:word=enter"],
    **{f"noise_{what}": [f"noise:hex={bytes_}"] for what, bytes_ in USELESS.items()},
}


@table.cases("run_with", FAULTS)
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


if __name__ == "__main__":
    agentcase.main()
