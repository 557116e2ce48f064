# SPDX-License-Identifier: Apache-2.0
"""One upgrade of two chips, cut where it awaits a reply: at each kind of command."""

from . import texts, wait
from .agentcase import AgentCase, chip
from .package import Image, image_bytes

AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
MAIN = Image("MAIN", image_bytes(1000, "main"))
PLACES = {"AUX": (1, 0), "MAIN": (0, 0)}
REQUEST = "UPGRADE||AUX,1,0||MAIN,0,0"
OLD, NEW = "1.0.0", "1.1.0"

# The fault that keeps each command of the main MCU from being answered.
FAULTS = {
    "model_name": "silent:word=model-name",
    "bootcode": "silent:word=bootcode,type=0",
    "product_info": "silent:word=product-info,type=0",
    "version": "silent:word=version,type=0",
    "enter": "silent:word=enter,type=0",
    "first_block": "lose-reply:word=block,type=0,block=0",
    "middle_block": "silent:word=block,type=0,block=2",
    "last_block": "silent:word=block,type=0,block=3",
    "last_acknowledgement": "lose-reply:word=block,type=0,block=3",
    "product_id_of_main": "silent:word=product-id",
    "reboot": "silent:word=reboot",
    "product_id_of_system": "silent:word=product-id,skip=1",
    "set_virtual_version": "silent:word=set-virtual-version",
}


def _decided(name, version):
    return texts.decided(NEW, "greater" if version != NEW else "equal", name, version)


def main_image():
    return texts.image("MAIN", 1, 2, len(MAIN.data))


def main_image_blocks():
    """What is said while the blocks go out, until the last one is awaited."""
    size = len(MAIN.data)
    return texts.first_block(1, 2, size) + texts.further_blocks(1, 2, size)


def pieces():
    """A run in mode 2 of chips that run the old version: each command with the lines from
    the reply before it to the wait for its reply; the lines after the last reply have no name."""
    model, main = texts.model_read(), texts.read_bootcode("MAIN", "APP")
    info, version = texts.read_info("MAIN"), texts.read_version("MAIN", OLD)
    enter, percents = texts.entered("MAIN"), texts.further_blocks(1, 2, len(MAIN.data))
    restart, reboot = texts.main_restarted(), texts.rebooted()
    virtual = texts.virtual_version_set()
    return {
        "model_name": texts.started() + model[:2],
        "bootcode": model[2:] + texts.read_mcu("AUX") + main[:1],
        "product_info": main[1:] + info[:1],
        "version": info[1:] + texts.reads_done() + texts.read_version("AUX", OLD) + version[:1],
        "enter": (
            version[1:]
            + _decided("AUX", OLD)
            + texts.image("AUX", 0, 2, len(AUX.data))
            + _decided("MAIN", OLD)
            + enter[:1]
        ),
        "first_block": enter[1:] + texts.first_block(1, 2, len(MAIN.data)),
        "middle_block": percents,
        "last_block": [],
        "last_acknowledgement": [],
        "product_id_of_main": texts.written("MAIN", 1, 2) + restart[:2],
        "reboot": restart[2:] + reboot[:1],
        "product_id_of_system": reboot[1:],
        "set_virtual_version": virtual[:1],
        "": virtual[1:] + texts.succeeded(),
    }


def until(step):
    """What is said until the step's reply is awaited."""
    said = []
    for name, lines in pieces().items():
        said += lines
        if name == step:
            return said
    raise KeyError(step)


def rest(step):
    """The lines from the step's reply on."""
    return until("")[len(until(step)) :]


# Each command of the main MCU: how its failure is reported, and whether the command is announced
# again when it is repeated.
_FAILURES = {
    "model_name": ("Read model name fail, {}.", False),
    "bootcode": ("Read the bootcode information of 'MAIN' fail, {}.", True),
    "product_info": ("Read the product information of 'MAIN' fail, {}.", True),
    "version": ("Read the version information of 'MAIN' fail, {}.", True),
    "enter": ("'MAIN' Enter F/W Update Mode fail, {}.", True),
    "product_id_of_main": ("Read product ID fail, {}.", False),
    "reboot": ("Reboot fail, {}.", True),
    "product_id_of_system": ("Read product ID fail, {}.", False),
    "set_virtual_version": ("Set virtual version fail, {}.", False),
}
# What ends the run when a command has failed three times, and the row that the progress is set to.
GIVEN_UP = {
    "model_name": (0, "Read model name fail, upgrade fail, exit."),
    "bootcode": (
        1,
        "Read the bootcode information of 'MAIN' fail, check the next mcu.",
        "Read the bootcode information of 'MAIN' fail, exit upgrade.",
    ),
    "product_info": (
        1,
        "Read the product information of 'MAIN' fail, check the next mcu.",
        "Read the product information of 'MAIN' fail, exit upgrade.",
    ),
    "product_id_of_main": (1, "Main MCU run fail."),
    "reboot": (2, "Reboot systerm fail."),
    "product_id_of_system": (2, "Systerm run fail."),
    "set_virtual_version": (2, "Set virtual version fail, upgrade fail."),
}


def retries(step, times=1):
    """What is said of so many failed attempts, until the next one's reply is awaited."""
    failure, announced = _FAILURES[step]
    command = until(step)[-1:] if announced else []
    said = []
    for number in range(1, times + 1):
        said += texts.log(failure.format(f"retry {number}")) + command
    return said


def given_up(step):
    """What is said when the step's third attempt fails, too, from the first failure on."""
    row, *last = GIVEN_UP[step]
    return retries(step, 2) + texts.log(*last) + texts.failed(row, 2)


def versions_when_given_up(step):
    """What AUX and MAIN run then."""
    return (NEW, NEW) if list(FAULTS).index(step) > list(FAULTS).index("version") else (OLD, OLD)


def whole_run(first, mode, aux, main):
    """A run without retries. Each version is the one that the chip runs; None for a main MCU
    whose image was never finished."""
    said = texts.started(first)
    said += texts.model_read() if mode == 2 else texts.log("Firmware file checksum ok.")
    said += texts.read_mcu("AUX") + texts.read_mcu("MAIN", "APP" if main else "Bootcode")
    if not main:
        said += texts.log(
            "'MAIN' product information flag is valid, start to upgrade main mcu " "first."
        )
        said += _decided("MAIN", "0.0.0") if mode == 2 else []
        said += main_image() + texts.main_restarted()
    said += (
        texts.reads_done()
        + texts.read_version("AUX", aux)
        + texts.read_version("MAIN", main or NEW)
    )
    said += _decided("AUX", aux) if mode == 2 else []
    said += texts.image("AUX", 0, 2, len(AUX.data)) if mode == 5 or aux != NEW else []
    if main:
        said += _decided("MAIN", main) if mode == 2 else []
        said += main_image() + texts.main_restarted() if mode == 5 or main != NEW else []
    return said + texts.finished()


class TwoChips(AgentCase):
    """Runs the chain up to a step, and checks the flash against the transcript."""

    def run_until(self, step):
        """Returns when the agent waits for the step's reply, the device has received the command
        and the client has received the expected lines."""
        client = self.start(chip("AUX", 1), chip("MAIN"), images=(AUX, MAIN), faults=[FAULTS[step]])
        client.send(REQUEST)
        client.expect(until(step), 60)
        wait.until(
            lambda: any(kind == "fault" for kind, _ in self.simulator.trace()),
            15,
            "fault of the device",
        )
        self.assertEqual(client.lines, [])
        self.assert_reported(until(step))
        return client

    def assert_reported(self, lines):
        """Whatever was reported as written is in the flash."""
        for image in (AUX, MAIN):
            if f"UPGRADELOG||Write firmware '{image.name}' success." in lines:
                self.assert_holds(PLACES[image.name], image.data)

    def assert_whole_run(self, client, first, mode, aux, main):
        """An upgrade that goes through; then the device holds the package."""
        if mode != 2:
            client.ask(f"UPGRADEMODE||{mode}", f"UPGRADELOG||Set UPGRADEMODE to {mode}")
        client.send(REQUEST)
        client.expect(whole_run(first, mode, aux, main), 60)
        client.sync()
        self.assert_flash({PLACES[image.name]: image.data for image in (AUX, MAIN)})
