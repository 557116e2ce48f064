# SPDX-License-Identifier: Apache-2.0
"""One fault of each kind, each at another command of the run; and faults that come and go."""

from tests.harness import agentcase, chain, framelist, frames, texts, wait
from tests.harness.chain import NEW, OLD
from tests.harness.package import Image, image_bytes

KEY = Image("KEY", image_bytes(300, "key"), chip_type=2)
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
ASK_VERSION = texts.read_version("MAIN", OLD)[:1]
VERSION_FAIL = "Read the version information of 'MAIN' fail, {}."
BOOTCODE_FAIL = "Read the bootcode information of 'MAIN' fail, {}."
BLOCK_FAIL = "F/W update timeout, retry {}."


def repeated(frame, times):
    """The run's frames with one of them, where it comes first, sent again."""
    place = FRAMES.index(frame)
    return FRAMES[:place] + [frame] * times + FRAMES[place:]


def with_block_repeated(host_frames):
    """The main MCU's image has four blocks; one of them was sent twice."""
    return [frame.replace("type=0 index=0 x4", "type=0 index=0 x5") for frame in host_frames]


class TestFaultKinds(chain.TwoChips):
    """The kind is the test; the run goes through unless it says otherwise."""

    def begin(self, *faults):
        client = self.start(
            agentcase.chip("AUX", 1),
            agentcase.chip("MAIN"),
            images=(chain.AUX, chain.MAIN),
            faults=faults,
        )
        client.send(chain.REQUEST)
        return client

    def finish(self, client, expected, host_frames):
        client.expect(expected, 100)
        client.sync()
        self.assert_flash({(1, 0): chain.AUX.data, (0, 0): chain.MAIN.data})
        self.assert_frames(*host_frames)

    def check(self, step, faults, said, host_frames):
        """Nothing differs until the agent waits for the step's reply; then it reports the fault."""
        self.finish(self.begin(*faults), chain.until(step) + said + chain.rest(step), host_frames)

    def test_silent_once(self):
        self.check(
            "product_info",
            ["silent:word=product-info,type=0,count=once"],
            texts.log(
                "Read the product information of 'MAIN' fail, retry 1.",
                "Read the product information of 'MAIN'.",
            ),
            repeated(framelist.info(0), 1),
        )

    def test_silent_twice(self):
        self.check(
            "reboot",
            ["silent:word=reboot,count=twice"],
            texts.log(
                "Reboot fail, retry 1.",
                "Send reboot command.",
                "Reboot fail, retry 2.",
                "Send reboot command.",
            ),
            repeated(framelist.REBOOT, 2),
        )

    def test_refused_once(self):
        """A main MCU that refuses is still starting: it is asked again at the usual time."""
        self.check(
            "product_id_of_main",
            ["refuse:word=product-id,count=once"],
            texts.log("Read product ID fail, retry 1."),
            repeated(framelist.PRODUCT_ID, 1),
        )

    def test_refused_twice(self):
        self.check(
            "version",
            ["refuse:word=version,type=0,count=twice"],
            texts.log(VERSION_FAIL.format("retry 1"))
            + ASK_VERSION
            + texts.log(VERSION_FAIL.format("retry 2"))
            + ASK_VERSION,
            repeated(framelist.version(0), 2),
        )

    def test_refused_three_times(self):
        """Without the main MCU's bootcode information there is no upgrade."""
        client = self.begin("refuse:word=bootcode,type=0,count=three-times")
        ask = texts.read_bootcode("MAIN")[:1]
        client.expect(
            chain.until("bootcode")
            + texts.log(BOOTCODE_FAIL.format("retry 1"))
            + ask
            + texts.log(BOOTCODE_FAIL.format("retry 2"))
            + ask
            + texts.log(
                BOOTCODE_FAIL.format("check the next mcu"), BOOTCODE_FAIL.format("exit upgrade")
            )
            + texts.failed(1, 2)
        )
        client.sync()
        asked = [framelist.MODEL, *framelist.mcu(1), *[framelist.bootcode(0)] * 3]
        self.assert_frames(*asked)
        self.assert_whole_run(client, False, 2, OLD, OLD)
        self.assert_frames(*asked, *FRAMES)

    def test_short_reply(self):
        self.check(
            "product_info",
            ["short:word=product-info,type=0,bytes=3,count=once"],
            texts.log(
                "Read the product information of 'MAIN' fail, retry 1.",
                "Read the product information of 'MAIN'.",
            ),
            repeated(framelist.info(0), 1),
        )

    def test_bad_checksum(self):
        self.check(
            "version",
            ["bad-checksum:word=version,type=0,count=once"],
            texts.log(VERSION_FAIL.format("retry 1")) + ASK_VERSION,
            repeated(framelist.version(0), 1),
        )

    def test_wrong_command_word(self):
        self.check(
            "bootcode",
            ["wrong-word:word=bootcode,type=0,as=version,count=once"],
            texts.log(BOOTCODE_FAIL.format("retry 1"), "Read bootcode information of 'MAIN'."),
            repeated(framelist.bootcode(0), 1),
        )

    def test_late_after_the_retry(self):
        """The first reply comes while another command's is awaited."""
        ask = texts.read_info("MAIN")[:1]
        host_frames = repeated(framelist.bootcode(0), 1)
        host_frames.insert(host_frames.index(framelist.info(0)), framelist.info(0))
        self.finish(
            self.begin(
                "late:word=bootcode,type=0,delay=13000,count=once",
                "silent:word=product-info,type=0,count=once",
            ),
            chain.until("bootcode")
            + texts.log(BOOTCODE_FAIL.format("retry 1"))
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
        shown = texts.further_blocks(1, 2, len(chain.MAIN.data))
        size = len(chain.MAIN.data)
        written = (
            texts.entered("MAIN")
            + texts.first_block(1, 2, size)
            + shown[:1]
            + texts.log(BLOCK_FAIL.format(1))
            + shown[1:]
        )
        self.finish(
            client,
            chain.until("enter")
            + texts.log("'MAIN' Enter F/W Update Mode fail, retry 1.")
            + written
            + chain.rest("last_acknowledgement"),
            with_block_repeated(repeated(framelist.enter(0), 1)),
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

    def test_duplicate_replies(self):
        """The replies after the images; the second one may arrive when the run has ended."""
        self.check(
            "",
            [f"duplicate:word={word}" for word in ("product-id", "reboot", "set-virtual-version")],
            [],
            FRAMES,
        )

    def test_unplugged(self):
        client = self.run_until("bootcode")
        self.simulator.control("link off")
        self.simulator.control("fault clear")
        ask = texts.read_bootcode("MAIN")[:1]
        client.expect(
            texts.log(BOOTCODE_FAIL.format("retry 1"))
            + ask
            + texts.log(BOOTCODE_FAIL.format("retry 2"))
            + ask
            + texts.log(
                BOOTCODE_FAIL.format("check the next mcu"), BOOTCODE_FAIL.format("exit upgrade")
            )
            + texts.failed(1, 2),
            40,
        )
        client.sync()
        heard = [framelist.MODEL, *framelist.mcu(1), framelist.bootcode(0)]
        self.assert_frames(*heard)
        self.simulator.control("link on")
        self.assert_whole_run(client, False, 2, OLD, OLD)
        self.assert_frames(*heard, *FRAMES)

    def test_unplugged_and_plugged_in(self):
        """The image continues with the lost block."""
        client = self.run_until("middle_block")
        self.simulator.control("link off")
        self.simulator.control("fault clear")
        client.expect(texts.log(BLOCK_FAIL.format(1)), 20)
        # The agent sends the line before the next attempt.
        block = len(frames.block(0, 0, 2, bytes(256)))
        wait.until(lambda: self.simulator.status()["lost_bytes"] == block, 10, "lost block")
        self.simulator.control("link on")
        # The device received the block before the link was cut, and again after it was restored.
        self.finish(
            client,
            texts.log(BLOCK_FAIL.format(2)) + chain.rest("middle_block"),
            with_block_repeated(FRAMES),
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
        ask = texts.read_bootcode("MAIN")[:1]
        between = chain.until("reboot")[len(chain.until("bootcode")) :]
        client.expect(
            texts.log("Read model name fail, retry 1.")
            + chain.until("bootcode")[len(chain.until("model_name")) :]
            + texts.log(BOOTCODE_FAIL.format("retry 1"))
            + ask
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
