# SPDX-License-Identifier: Apache-2.0
"""Faults of the device: silence, refusals, useless and late replies, a line that is unplugged; each
at another command of the run, with the real time-outs."""

import os
import time

from tests.harness import agentcase, chain, framelist, frames, table, texts, wait
from tests.harness.chain import NEW, OLD
from tests.harness.package import Image, image_bytes

KEY = Image("KEY", image_bytes(300, "key"), chip_type=2)
# The frames of a run, and where each command of the main MCU is in them; the blocks of an image are
# one entry.
FRAMES = [
    framelist.MODEL,
    *framelist.mcu(1),
    *framelist.mcu(0),
    framelist.version(1),
    framelist.version(0),
    *framelist.image(1, 0, 700),
    *framelist.image(0, 0, 1000),
    framelist.PRODUCT_ID,
    framelist.REBOOT,
    framelist.PRODUCT_ID,
    framelist.virtual(5),
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


def attempts(step):
    """The frames of a run that ends with three attempts of the command."""
    return with_retries(step, 2)[: PLACES[step] + 3]


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
        self.assert_frames(*attempts(step))
        self.simulator.control("fault clear")
        self.assert_next_run(client, step, attempts(step))

    def assert_next_run(self, client, step, before):
        """An upgrade after one that failed at a step; a forced one if all images were written."""
        versions = chain.versions_when_given_up(step)
        mode = 2 if versions == (OLD, OLD) else 5
        self.assert_whole_run(client, False, mode, *versions)
        self.assert_frames(*before, *(FRAMES if mode == 2 else FRAMES[1:]))

    def test_no_version(self):
        """An MCU without a version counts as V0.0.0 and gets its image."""
        fail = "Read the version information of 'MAIN' fail, check the next mcu."
        known, unknown = (texts.decided(NEW, "greater", "MAIN", old)[0] for old in (OLD, "0.0.0"))
        rest = [unknown if line == known else line for line in chain.rest("version")[1:]]
        self.finish(
            self.begin("silent:word=version,type=0"),
            chain.until("version")
            + chain.retries("version", 2)
            + texts.log(fail, "Read all mcu(list) version information done.")
            + rest,
            with_retries("version", 2),
        )

    def test_no_product_information(self):
        """Three silent reads give an MCU up, not the run."""
        chips = agentcase.chip("KEY", 2), agentcase.chip("AUX", 1)
        faults = ["silent:word=product-info,type=2"]
        client = self.start(*chips, images=(chain.MAIN, chain.AUX), faults=faults)
        client.send("UPGRADE||KEY,2,0||AUX,1,0")
        ask = "Read the product information of 'KEY'."
        fail = "Read the product information of 'KEY' fail, {}."
        outcomes = ("retry 1", "retry 2", "check the next mcu")
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_bootcode("KEY")
            + [line for outcome in outcomes for line in texts.log(ask, fail.format(outcome))]
            + texts.read_mcu("AUX")
            + texts.reads_done()
            + texts.read_version("KEY", OLD)
            + texts.read_version("AUX", OLD)
            + texts.not_in_list("KEY", 0, 2)
            + texts.decided(NEW, "greater", "AUX", OLD)
            + texts.image("AUX", 1, 2, 700)
            + texts.finished(),
            80,
        )

    def test_image_given_up(self):
        """Three refusals of a block end an attempt, three attempts the image; the run continues."""
        faults = ["refuse-block:block=1"]
        client = self.start(agentcase.chip("AUX", 1), images=(chain.AUX,), faults=faults)
        client.send("UPGRADE||AUX,1,0")
        fail = "'AUX' F/W update fail, retry 1.", "'AUX' F/W update fail, retry 2."
        tried = (
            texts.entered("AUX")
            + texts.first_block(0, 1, 700)
            + texts.further_blocks(0, 1, 700)[:1]
            + block_failed(1, 2)
        )
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_chips(("AUX", OLD))
            + texts.decided(NEW, "greater", "AUX", OLD)
            + [line for end in (*fail, "'AUX' F/W Update fail.") for line in tried + texts.log(end)]
            + texts.finished(written=False),
            60,
        )
        client.sync()

    def test_virtual_version_refused(self):
        end = (
            "Set virtual version fail.",
            "All firmware upgrade done, but set virtual version fail.",
        )
        self.finish(
            self.begin("refuse:word=set-virtual-version"),
            chain.until("set_virtual_version") + texts.log(*end) + texts.succeeded(),
            FRAMES,
        )

    def test_late_after_the_end(self):
        """A reply that arrives when the run has failed has no effect."""
        client = self.begin(
            "silent:word=model-name,count=twice",
            "late:word=model-name,skip=2,delay=15000,count=once",
        )
        client.expect(chain.until("model_name") + chain.given_up("model_name"), 45)
        time.sleep(20)  # the time in which nothing may happen
        client.sync()
        self.assert_frames(*attempts("model_name"))

    def finish_after_a_retry(self, client):
        """The whole run, whose first read of the model name failed."""
        step = "model_name"
        expected = chain.until(step) + chain.retries(step) + chain.rest(step)
        self.finish(client, expected, with_retries(step, 1))

    def test_half_reply(self):
        """The beginning of a reply is forgotten when the command is sent again."""
        client = self.begin("silent:word=model-name,count=once")
        self.simulator.wait_for_frames(1)
        whole = frames.frame(frames.REPLY, frames.MODEL_NAME, b"HX-8")
        os.write(agentcase.MASTER, whole[:8])
        self.finish_after_a_retry(client)

    def test_corrupted_reply(self):
        """After a bad checksum the correct byte completes the reply; without it, the retry does."""
        client = self.begin(
            "bad-checksum:word=model-name,count=once", "silent:word=bootcode,count=once"
        )
        self.simulator.wait_for_frames(3, 20)
        corrupted = frames.frame(frames.REPLY, frames.BOOTCODE, bytes([1, 0, 1, 0, 1, 0, 1]))
        os.write(agentcase.MASTER, corrupted[:-1] + b"\0\1" + corrupted[-1:])
        self.finish_after_a_retry(client)

    def test_duplicate_replies(self):
        """The replies after the images; the second one may arrive when the run has ended."""
        words = ("product-id", "reboot", "set-virtual-version")
        client = self.begin(*(f"duplicate:word={word}" for word in words))
        self.finish(client, chain.until(""), FRAMES)

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

    def test_late_enter_reply(self):
        """It comes while a block's acknowledgement is awaited, and is not taken for one."""
        client = self.begin(
            "late:word=enter,type=0,delay=33000,count=once",
            "silent:word=block,type=0,block=1,count=once",
        )
        first_block = chain.until("first_block")[len(chain.until("enter")) :]
        self.finish(
            client,
            chain.until("enter")
            + chain.retries("enter")
            + first_block
            + SHOWN[:1]
            + block_failed(1)
            + SHOWN[1:]
            + chain.rest("last_acknowledgement"),
            [frame.replace(" x4", " x5") for frame in with_retries("enter", 1)],
        )

    def test_late_reply_of_another_row(self):
        """A late reply does not count for the next row, which is asked the same: it echoes the chip
        that it is for."""
        client = self.start(
            agentcase.chip("AUX", 1),
            agentcase.chip("KEY", 2, version="0.9.0"),
            images=(chain.AUX, KEY),
            faults=[
                "late:word=version,type=1,delay=12000,count=once",
                "silent:word=version,type=2,count=once",
            ],
        )
        client.send("UPGRADE||AUX,1,0||KEY,2,0")
        client.expect(
            texts.started()
            + texts.model_read()
            + texts.read_mcu("AUX")
            + texts.read_mcu("KEY")
            + texts.reads_done()
            + texts.read_version("AUX", OLD)[:1]
            + texts.log("Read the version information of 'AUX' fail, retry 1.")
            + texts.read_version("AUX", OLD)
            + texts.read_version("KEY", "0.9.0")[:1]
            + texts.log("Read the version information of 'KEY' fail, retry 1.")
            + texts.read_version("KEY", "0.9.0")
            + texts.decided(NEW, "greater", "AUX", OLD)
            + texts.image("AUX", 0, 2, 700)
            + texts.decided(NEW, "greater", "KEY", "0.9.0")
            + texts.image("KEY", 1, 2, 300)
            + texts.finished(),
            60,
        )
        client.sync()
        self.assert_flash({(1, 0): chain.AUX.data, (2, 0): KEY.data})

    def test_unplugged(self):
        client = self.run_until("bootcode")
        self.simulator.control("link off")
        self.simulator.control("fault clear")
        client.expect(chain.given_up("bootcode"), 40)
        client.sync()
        received = FRAMES[: PLACES["bootcode"] + 1]
        self.assert_frames(*received)
        self.simulator.control("link on")
        self.assert_next_run(client, "bootcode", received)

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

    def test_changed_in_mid_run(self):
        """Faults come, go and follow each other while the run awaits a reply."""
        client = self.run_until("model_name")
        control = self.simulator.control
        self.assertEqual(control("fault list"), chain.FAULTS["model_name"])
        control("fault clear")
        self.assertEqual(control("fault list"), "")
        for fault in (
            "refuse:word=bootcode,type=0,count=once",
            "silent:word=set-virtual-version,count=once",
            "lose-reply:word=reboot",
        ):
            control(f"fault add {fault}")
        self.assertEqual(
            control("fault list").split()[1:],
            ["silent:word=set-virtual-version,count=once", "lose-reply:word=reboot"],
        )
        between = chain.until("reboot")[len(chain.until("bootcode")) :]
        client.expect(
            texts.log("Read model name fail, retry 1.")
            + chain.until("bootcode")[len(chain.until("model_name")) :]
            + chain.retries("bootcode")
            + between,
            60,
        )
        wait.until(lambda: self.simulator.status()["reboots"] == 1, 10, "reboot")
        # The device reboots, but its reply is lost; the next command finds it running.
        control("fault clear")
        control("fault add refuse:word=set-virtual-version,count=once")
        client.expect(
            texts.log("Reboot fail, retry 1.", "Send reboot command.")
            + chain.until("set_virtual_version")[len(chain.until("reboot")) :]
            + texts.log(
                "Set virtual version fail.",
                "All firmware upgrade done, but set virtual version fail.",
            )
            + texts.succeeded(),
            60,
        )
        client.sync()
        self.assert_flash({(1, 0): chain.AUX.data, (0, 0): chain.MAIN.data})
        self.assertEqual(self.simulator.status()["virtual_version"], 0)
        self.assertEqual(self.simulator.status()["reboots"], 2)


if __name__ == "__main__":
    agentcase.main()
