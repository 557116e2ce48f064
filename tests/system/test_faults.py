# SPDX-License-Identifier: Apache-2.0
"""Faults of the device: silence, refusals, useless and late replies, a line that is unplugged; each
at another command of the run, with the real time-outs."""


from tests.harness import agentcase, chain, framelist, frames, table, texts, wait
from tests.harness.chain import OLD

# The frames of a run, and where each command of the main MCU is in them; the blocks of an image are
# one entry.
FRAMES = [
    framelist.MODEL,
    *framelist.reads((1, 0), (0, 0)),
    *framelist.image(1, 0, 700),
    *framelist.image(0, 0, 1000),
    framelist.PRODUCT_ID,
    *framelist.end(),
]
PLACES = {
    "model_name": 0,
    "bootcode": 3,
    "product_info": 4,
    "version": 6,
    "enter": 9,
    "product_id_of_main": 11,
    "reboot": 12,
    "product_id_of_system": 13,
    "set_virtual_version": 14,
}


def with_retries(step, times):
    """The run's frames with a command sent again so many times; without a step, blocks."""
    if step in PLACES:
        place = PLACES[step]
        return FRAMES[:place] + [FRAMES[place]] * times + FRAMES[place:]
    return [frame.replace("type=0 index=0 x4", f"type=0 index=0 x{4 + times}") for frame in FRAMES]


def block_failed(*numbers):
    return texts.log(*(f"F/W update timeout, retry {number}." for number in numbers))


SHOWN = texts.further_blocks(1, 2, len(chain.MAIN.data))

# The faults, the command that is repeated, and how often.
RETRIED = {
    "silent_once": (["silent:word=product-info,type=0,count=once"], "product_info", 1),
    "silent_twice": (["silent:word=reboot,count=twice"], "reboot", 2),
    # A main MCU that refuses is still starting: it is asked again at the usual time.
    "refused_once": (["refuse:word=product-id,count=once"], "product_id_of_main", 1),
    "enter_refused_once": (["refuse:word=enter,type=0,count=once"], "enter", 1),
    "refused_twice": (["refuse:word=version,type=0,count=twice"], "version", 2),
    "bootcode_refused_twice": (["refuse:word=bootcode,type=0,count=twice"], "bootcode", 2),
    # The time-out counts after a refusal, too.
    "refused_then_silent": (
        ["refuse:word=enter,type=0,count=once", "silent:word=enter,type=0,skip=1,count=once"],
        "enter",
        2,
    ),
    # A reply without its data counts as a refusal.
    "short_reply": (["short:word=product-info,type=0,bytes=3,count=once"], "product_info", 1),
    "short_version_reply": (["short:word=version,type=0,bytes=1,count=once"], "version", 1),
    "bad_checksum": (["bad-checksum:word=version,type=0,count=once"], "version", 1),
    "wrong_word": (["wrong-word:word=bootcode,type=0,as=version,count=once"], "bootcode", 1),
}
# The faults, and what is said from the wait for the first block's acknowledgement on.
BLOCKS = {
    # A block that is not received, an acknowledgement that is lost, and a corrupted one.
    "blocks": (
        [
            "silent-block:type=0,block=0,count=once",
            "lose-reply:word=block,type=0,block=1,count=once",
            "bad-checksum:word=block,type=0,block=2,count=once",
        ],
        block_failed(1) + SHOWN[:1] + block_failed(1) + SHOWN[1:] + block_failed(1),
    ),
    "blocks_refused": (
        ["refuse-block:type=0,block=0,count=twice", "refuse-block:type=0,block=3,count=once"],
        block_failed(1, 2) + SHOWN + block_failed(1),
    ),
}
# The fault, the command that fails three times, and what is said from its first failure on.
GIVEN_UP = {
    **{
        f"{step}_given_up": (chain.FAULTS[step], step, chain.given_up(step))
        for step in chain.GIVEN_UP
    },
    "refused_three_times": (
        "refuse:word=bootcode,type=0,count=three-times",
        "bootcode",
        chain.given_up("bootcode"),
    ),
    "model_name_refused": (
        "refuse:word=model-name",
        "model_name",
        chain.retries("model_name", 2)
        + texts.log("Read model name error, upgrade fail. ForcedUpgrade mode is required.")
        + texts.failed(0, 2),
    ),
}


@table.cases("check_retried", RETRIED)
@table.cases("check_blocks", BLOCKS)
@table.cases("check_given_up", GIVEN_UP)
class TestFaults(chain.TwoChips):
    """The fault is the test; the run goes through unless the test says otherwise."""

    def begin(self, *faults):
        chips = agentcase.chip("AUX", 1), agentcase.chip("MAIN")
        client = self.start(*chips, images=(chain.AUX, chain.MAIN), faults=faults)
        client.send(chain.REQUEST)
        return client

    def finish(self, client, expected, host_frames):
        client.expect(expected, 100)
        client.sync()
        self.assert_flash({(1, 0): chain.AUX.data, (0, 0): chain.MAIN.data})
        self.assert_frames(*host_frames)

    def check_retried(self, faults, step, times):
        """Nothing differs until the agent waits for the step's reply."""
        expected = chain.until(step) + chain.retries(step, times) + chain.rest(step)
        self.finish(self.begin(*faults), expected, with_retries(step, times))

    def check_blocks(self, faults, said):
        expected = chain.until("first_block") + said + chain.rest("last_acknowledgement")
        self.finish(self.begin(*faults), expected, with_retries("blocks", 3))

    def check_given_up(self, fault, step, said):
        """The run fails; without the fault the next one succeeds."""
        client = self.begin(fault)
        client.expect(chain.until(step) + said, 100)
        client.sync()
        self.simulator.control("fault clear")
        # A forced one if all images were written.
        versions = chain.versions_when_given_up(step)
        mode = 2 if versions == (OLD, OLD) else 5
        self.assert_whole_run(client, False, mode, *versions)
        attempts = with_retries(step, 2)[: PLACES[step] + 3]
        self.assert_frames(*attempts, *(FRAMES if mode == 2 else FRAMES[1:]))

    def test_late_after_the_retry(self):
        """The first reply comes while another command's is awaited."""
        ask = texts.read_info("MAIN")[:1]
        host_frames = with_retries("bootcode", 1)
        host_frames.insert(host_frames.index(framelist.info(0)), framelist.info(0))
        self.finish(
            self.begin(
                "late:word=bootcode,type=0,delay=13000,count=once",
                "silent:word=product-info,type=0,count=once",
            ),
            chain.until("bootcode")
            + texts.log("Read the bootcode information of 'MAIN' fail, retry 1.")
            + texts.read_bootcode("MAIN", "APP")
            + ask
            + texts.log("Read the product information of 'MAIN' fail, retry 1.")
            + ask
            + chain.rest("product_info"),
            host_frames,
        )

    def test_unplugged_and_plugged_in(self):
        """The image continues with the lost block."""
        client = self.run_until("middle_block")
        self.simulator.control("link off")
        self.simulator.control("fault clear")
        client.expect(block_failed(1), 20)
        # The agent sends the line before the next attempt.
        block = len(frames.block(0, 0, 2, bytes(256)))
        wait.until(lambda: self.simulator.status()["lost_bytes"] == block, 10, "lost block")
        self.simulator.control("link on")
        # The device received the block before the link was cut, and again after it was restored.
        self.finish(
            client,
            block_failed(2) + chain.rest("middle_block"),
            with_retries("blocks", 1),
        )


if __name__ == "__main__":
    agentcase.main()
