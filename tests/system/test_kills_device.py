# SPDX-License-Identifier: Apache-2.0
"""The device is killed while its reply is awaited. It comes back at once, and the run continues
through a retry; or it comes back when the run has failed."""

from tests.harness import agentcase, chain, table, texts
from tests.harness.chain import NEW, OLD

ASK_BOOTCODE = texts.read_bootcode("MAIN")[:1]
ASK_INFO = texts.read_info("MAIN")[:1]
ASK_VERSION = texts.read_version("MAIN", OLD)[:1]
SEND_ENTER = texts.entered("MAIN")[:1]
SEND_REBOOT = texts.rebooted()[:1]
BLOCK_FAIL = "F/W update timeout, retry {}."
ENTER_FAIL = "'MAIN' Enter F/W Update Mode fail, retry {}."
BOOTCODE_FAIL = "Read the bootcode information of 'MAIN' fail, {}."
INFO_FAIL = "Read the product information of 'MAIN' fail, {}."
MODEL_FAIL = "Read model name fail, {}."
PRODUCT_ID_FAIL = "Read product ID fail, {}."
VIRTUAL_FAIL = "Set virtual version fail, {}."

# A device that lost power is no longer in update mode: it refuses the block when it is sent
# again, and the image starts again.
IMAGE_AGAIN = (
    texts.log(BLOCK_FAIL.format(1), BLOCK_FAIL.format(2), "'MAIN' F/W update fail, retry 1.")
    + texts.entered("MAIN")
    + chain.main_image_blocks()
)

# What the retry says, until the reply that was awaited has come.
RETRIES = {
    "model_name": texts.log(MODEL_FAIL.format("retry 1")),
    "bootcode": texts.log(BOOTCODE_FAIL.format("retry 1")) + ASK_BOOTCODE,
    "product_info": texts.log(INFO_FAIL.format("retry 1")) + ASK_INFO,
    "version": texts.log("Read the version information of 'MAIN' fail, retry 1.") + ASK_VERSION,
    "enter": texts.log(ENTER_FAIL.format(1)) + SEND_ENTER,
    "first_block": IMAGE_AGAIN,
    "middle_block": IMAGE_AGAIN,
    "last_block": IMAGE_AGAIN,
    "last_acknowledgement": IMAGE_AGAIN,
    "product_id_of_main": texts.log(PRODUCT_ID_FAIL.format("retry 1")),
    "reboot": texts.log("Reboot fail, retry 1.") + SEND_REBOOT,
    "product_id_of_system": texts.log(PRODUCT_ID_FAIL.format("retry 1")),
    "set_virtual_version": texts.log(VIRTUAL_FAIL.format("retry 1")),
}
# From these on, what is left of the run is the same.
CONTINUES_AT = {
    step: "last_acknowledgement" for step in ("first_block", "middle_block", "last_block")
}

# What the run says of a device that does not come back, and its versions when it is gone.
ENDS = {
    "model_name": (
        OLD,
        OLD,
        texts.log(
            MODEL_FAIL.format("retry 1"),
            MODEL_FAIL.format("retry 2"),
            MODEL_FAIL.format("upgrade fail, exit"),
        )
        + texts.failed(0, 2),
    ),
    "bootcode": (
        OLD,
        OLD,
        texts.log(BOOTCODE_FAIL.format("retry 1"))
        + ASK_BOOTCODE
        + texts.log(BOOTCODE_FAIL.format("retry 2"))
        + ASK_BOOTCODE
        + texts.log(
            BOOTCODE_FAIL.format("check the next mcu"), BOOTCODE_FAIL.format("exit upgrade")
        )
        + texts.failed(1, 2),
    ),
    "product_info": (
        OLD,
        OLD,
        texts.log(INFO_FAIL.format("retry 1"))
        + ASK_INFO
        + texts.log(INFO_FAIL.format("retry 2"))
        + ASK_INFO
        + texts.log(INFO_FAIL.format("check the next mcu"), INFO_FAIL.format("exit upgrade"))
        + texts.failed(1, 2),
    ),
    "product_id_of_main": (
        NEW,
        NEW,
        texts.log(
            PRODUCT_ID_FAIL.format("retry 1"),
            PRODUCT_ID_FAIL.format("retry 2"),
            "Main MCU run fail.",
        )
        + texts.failed(1, 2),
    ),
    "reboot": (
        NEW,
        NEW,
        texts.log("Reboot fail, retry 1.")
        + SEND_REBOOT
        + texts.log("Reboot fail, retry 2.")
        + SEND_REBOOT
        + texts.log("Reboot systerm fail.")
        + texts.failed(2, 2),
    ),
    "product_id_of_system": (
        NEW,
        NEW,
        texts.log(
            PRODUCT_ID_FAIL.format("retry 1"),
            PRODUCT_ID_FAIL.format("retry 2"),
            "Systerm run fail.",
        )
        + texts.failed(2, 2),
    ),
    "set_virtual_version": (
        NEW,
        NEW,
        texts.log(
            VIRTUAL_FAIL.format("retry 1"),
            VIRTUAL_FAIL.format("retry 2"),
            VIRTUAL_FAIL.format("upgrade fail"),
        )
        + texts.failed(2, 2),
    ),
}


@table.cases("kill_while_awaiting", {step: (step,) for step in RETRIES})
@table.cases("kill_permanently", {f"{step}_permanently": (step,) for step in ENDS})
class TestKilledDevice(chain.TwoChips):
    """The step that is awaited is the test. The device comes back with empty flash files, so
    the second upgrade is a forced one."""

    def kill_while_awaiting(self, step):
        """It comes back at once: the run succeeds."""
        client = self.run_until(step)
        chips, more = self.kill_device()
        self.start_device(*chips, **more)
        rest = RETRIES[step] + chain.rest(CONTINUES_AT.get(step, step))
        client.expect(rest, 90)
        client.sync()
        self.assert_reported(rest)
        self.assertEqual(self.simulator.status()["virtual_version"], 5)
        self.assert_whole_run(client, False, 5, NEW, NEW)

    def kill_permanently(self, step):
        """It comes back when the run has failed."""
        client = self.run_until(step)
        chips, more = self.kill_device()
        aux, main, end = ENDS[step]
        client.expect(end, 90)
        client.sync()
        self.start_device(*chips, **more)
        self.assert_whole_run(client, False, 5, aux, main)
        self.assertEqual(self.simulator.status()["violations"], 0)


if __name__ == "__main__":
    agentcase.main()
