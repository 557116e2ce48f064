# SPDX-License-Identifier: Apache-2.0
"""What happens in one run of the soak test, made from the seed and the run's number alone."""

import dataclasses
import random

from tests.harness import package

# Waits of the agent in seconds: a command, Enter F/W Update Mode, a block.
COMMAND, ENTER, BLOCK = 10, 30, 15
# What a run may cost: most are short, some take their time, quick ones end within a minute.
QUICK, SHORT, LONG = 42, 60, 240
LONG_SHARE = 0.06

MAIN, FPGA, FPGA2, NET = 0, 17, 18, 32
AUX = (1, 2, 3, 4)
SIZES = (256, 257, 511, 512, 513)
# An image of less than a block gets no verdict: the run's guard ends each of its three tries.
TINY, GUARD = 255, 60
READS = {
    "bootcode": COMMAND,
    "product-info": COMMAND,
    "version": COMMAND,
    "model-name": COMMAND,
    "enter": ENTER,
    "block": BLOCK,
    "reboot": COMMAND,
    "product-id": COMMAND,
    "set-virtual-version": COMMAND,
}


@dataclasses.dataclass
class Image:
    """An image of the package; `seed` makes its bytes."""

    name: str
    chip_type: int
    size: int
    seed: str
    version: tuple
    mcu_type: int = 1
    pcb_version: int = 1
    speciality: str = "A"
    good: bool = True  # of a NET image: its digest fits

    def packed(self, data):
        """The image with these bytes, as the package builder takes it."""
        key = self.mcu_type, self.pcb_version, self.speciality, self.version
        return package.Image(self.name, data, self.chip_type, 1, *key)


@dataclasses.dataclass
class Event:
    """An event at a certain time during the run."""

    seconds: float
    kind: str
    argument: str = ""


@dataclasses.dataclass
class Scenario:
    """A device, a package, a request, and everything that goes wrong on the way."""

    run: int
    mode: int
    request: str
    chips: list
    images: list
    package: str
    device: dict
    rows: list
    faults: list = dataclasses.field(default_factory=list)
    events: list = dataclasses.field(default_factory=list)
    cost: float = 0.0
    expected: dict | None = None

    @property
    def is_calm(self):
        """Nothing goes wrong, so that the outcome of each row is known."""
        return not self.faults and not self.events


def make(seed, run, quick=False):
    """The run of that number; the same arguments always give the same run."""
    rng = random.Random(f"{seed}/{run}")
    budget = QUICK if quick else LONG if rng.random() < LONG_SHARE else SHORT
    scenario = _undisturbed(rng, run, budget == LONG)
    if scenario.package == "good":
        _add_troubles(rng, scenario, budget)
    if scenario.is_calm:
        scenario.expected = _expected(scenario)
    return scenario


# The device, the package and the request.


def _undisturbed(rng, run, is_long):
    everything = rng.random() < 0.2
    types = sorted(
        rng.sample((MAIN, *AUX, FPGA, FPGA2), rng.choice((1, 1, 2, 2, 3, 4))),
        key=lambda _: rng.random(),
    )
    if rng.random() < 0.08:
        types.append(NET)
    chips, images = [], []
    for chip_type in types:
        chip, own = _chip_and_images(rng, run, chip_type, everything)
        chips.append(chip)
        images += own
    rng.shuffle(images)
    if is_long and images and rng.random() < 0.1:
        images[0].size = rng.randrange(1, TINY + 1)
    rows = [(chip["name"], chip["chip_type"], chip["chip_index"]) for chip in chips]
    if everything:
        rows = [(image.name, image.chip_type, 1) for image in images]
    request = (
        "UPGRADEALL"
        if everything
        else "UPGRADE||" + "||".join(",".join(map(str, row)) for row in rows)
    )
    package = rng.choices(("good", "checksum", "version", "missing", "model"), (90, 3, 3, 2, 2))[0]
    mode = rng.choice((2, 2, 2, 5, 5))
    if package == "model" and mode == 5:
        package = "good"  # mode 5 does not ask for the model
    device = {
        "answer_ms": rng.choice((0, 0, 1, 3, 10)),
        "erase_ms": rng.choice((0, 0, 100, 1500)),
        "restart_ms": rng.choice((300, 300, 2000)),
        "reboot_ms": rng.choice((300, 300, 2000, 6000)),
    }
    scenario = Scenario(run, mode, request, chips, images, package, device, rows)
    scenario.cost = 12 + sum(_cost_of(image, device) for image in images)
    return scenario


def _cost_of(image, device):
    blocks = image.size / 256 + 1
    if image.size <= TINY and image.chip_type != NET:
        return 3 * (GUARD + 2)
    restart = COMMAND + 1 if image.chip_type == MAIN else 0
    return 1.5 + device["erase_ms"] / 1000 + blocks * (0.004 + device["answer_ms"] / 1000) + restart


def _version(rng):
    return (rng.randrange(3), rng.randrange(4), rng.randrange(10))


def _chip_and_images(rng, run, chip_type, everything):
    """A chip, and the images that the package has for it: mostly one that fits."""
    name = {MAIN: "MAIN", FPGA: "FPGA", FPGA2: "FPGA2", NET: "NET"}.get(
        chip_type, f"AUX{chip_type}"
    )
    running = _version(rng)
    newer = (running[0], running[1] + 1, rng.randrange(10))
    version = rng.choices((newer, running, _version(rng)), (70, 15, 15))[0]
    chip = {
        "name": name,
        "chip_type": chip_type,
        "chip_index": int(everything),
        "mcu_type": rng.randrange(1, 4),
        "pcb_version": rng.randrange(1, 4),
        "speciality": rng.choice("AB"),
        "version": ".".join(map(str, running)),
        "upgrades_to": ".".join(map(str, version)),
    }
    if chip_type == MAIN and rng.random() < 0.05:
        chip["bootcode"] = True
    size = rng.choice(
        (
            rng.choice(SIZES),
            rng.randrange(256, 4000),
            rng.randrange(256, 4000),
            rng.randrange(4000, 30000),
        )
    )
    image = Image(name, chip_type, size, f"{run}-{name}", version)
    if chip_type < FPGA:
        image = dataclasses.replace(
            image,
            mcu_type=chip["mcu_type"],
            pcb_version=chip["pcb_version"],
            speciality=chip["speciality"],
        )
    if chip_type == NET:
        chip["version"] = chip["upgrades_to"] = "1.0"
        return chip, [dataclasses.replace(image, version=(1, 23, 0), good=rng.random() < 0.7)]
    fate = rng.random()
    if fate < 0.06 and not everything:
        return chip, []
    # No chip has such a PCB, so this image fits none, even if a reply is taken for another one's.
    other = dataclasses.replace(image, pcb_version=image.pcb_version + 5, seed=image.seed + "-b")
    if fate < 0.12 and chip_type < FPGA:
        return chip, [other]
    if fate < 0.20 and chip_type < FPGA and not everything:
        return chip, [other, image]
    return chip, [image]


# What goes wrong.


def _add_troubles(rng, scenario, budget):
    """Faults and events, as many as the budget of seconds allows."""
    for _ in range(rng.choice((0, 1, 1, 2, 2, 3, 4) if budget < LONG else (3, 4, 5))):
        trouble, cost = rng.choice(
            (
                _lost,
                _lost,
                _corrupt,
                _corrupt,
                _harmless,
                _late,
                _busy,
                _reset,
                _reset,
                _refused,
                _noise,
                _unplug,
                _clients,
                _clients,
                _clients,
                _slow_device,
                _far,
                _package,
            )
        )(rng, scenario, budget)
        if trouble is None or scenario.cost + cost > budget:
            continue
        scenario.cost += cost
        if isinstance(trouble, dict):
            scenario.device.update(trouble)
        elif isinstance(trouble, str):
            scenario.faults.append(trouble)
        else:
            scenario.events += trouble


def _word(rng, scenario, *without):
    words = [word for word in READS if word not in without]
    if scenario.mode == 5 and "model-name" in words:
        words.remove("model-name")
    return rng.choice(words + ["block"] * 3 if "block" not in without else words)


def _at(rng, scenario, word):
    """Where a fault strikes: a chip, and for a block its number."""
    image = rng.choice(scenario.images) if scenario.images else None
    if word == "block" and image:
        number = rng.choice((0, (image.size - 1) // 256, rng.randrange(image.size // 256 + 1)))
        return f",type={image.chip_type},block={number}"
    if word in ("bootcode", "product-info", "version", "enter"):
        return f",type={rng.choice(scenario.chips)['chip_type']}"
    return ""


def _fault(rng, scenario, name, word, more="", count=None):
    count = count or rng.choice(("once", "once", "once", "twice", "three-times"))
    times = {"once": 1, "twice": 2, "three-times": 3}[count]
    return f"{name}:word={word}{_at(rng, scenario, word)}{more},count={count}", times


def _lost(rng, scenario, _budget):
    word = _word(rng, scenario)
    fault, times = _fault(rng, scenario, rng.choice(("silent", "lose-reply")), word)
    return fault, times * READS[word]


def _corrupt(rng, scenario, _budget):
    word = _word(rng, scenario)
    name = rng.choice(("bad-checksum", "wrong-word", "wrong-address", "short", "other-form"))
    fault, times = _fault(rng, scenario, name, word)
    return fault, times * READS[word]


def _harmless(rng, scenario, _budget):
    """A reply that comes twice, in pieces, after an echo, or after noise."""
    name = rng.choice(("duplicate", "echo", "split", "noise", "merge"))
    word = _word(rng, scenario)
    # Acknowledgements carry no number: the second one of a block that was sent once counts for the
    # next block, unless both come in one piece.
    other = {"duplicate": "split", "split": "duplicate"}.get(name)
    if word == "block" and any(
        fault.startswith(f"{other}:word=block") for fault in scenario.faults
    ):
        return None, 0
    fault, times = _fault(rng, scenario, name, word)
    return fault, times * READS[word] if name in ("merge", "noise") else 0.5


def _late(rng, scenario, budget):
    """A late reply. It may be overtaken by that to the next try; but that of a block comes before
    the block is sent again, since much later it would count for another block."""
    word = _word(rng, scenario)
    if budget == LONG and word != "block" and rng.random() < 0.5:
        delay = READS[word] * 1000 + rng.randrange(500, 4000)
    else:
        delay = rng.randrange(200, 8000)
    fault, _ = _fault(rng, scenario, "late", word, f",delay={delay}", count="once")
    return fault, delay / 1000 + (READS[word] if delay > READS[word] * 1000 else 0)


def _busy(rng, scenario, _budget):
    """The device is busy for longer than it may take for a block. It then answers each of the
    block's sends, one after the other."""
    sends = rng.choice((1, 1, 1, 2))
    delay = 1000 * BLOCK * sends + rng.randrange(500, 4000)
    fault, _ = _fault(rng, scenario, "busy", "block", f",delay={delay}", count="once")
    return fault, delay / 1000


def _reset(rng, scenario, _budget):
    """The device dies in mid-image and comes back."""
    if not scenario.images:
        return None, 0
    where = _at(rng, scenario, "block")
    return f"die-at-block:delay={rng.randrange(300, 4000)}{where},count=once", BLOCK + 2


def _refused(rng, scenario, _budget):
    fault, times = _fault(rng, scenario, "refuse", _word(rng, scenario, "reboot"))
    return fault, times * 3


def _noise(rng, scenario, _budget):
    """Random bytes on the line."""
    count = rng.choice((1, 16, 300, 5000))
    return [Event(rng.uniform(0.2, 0.8 * scenario.cost), "noise", str(count))], BLOCK


def _unplug(rng, scenario, _budget):
    start = rng.uniform(0.1, 0.6 * scenario.cost)
    length = rng.uniform(0.3, 8)
    return ([Event(start, "unplug"), Event(start + length, "plug")], length + BLOCK)


def _clients(rng, scenario, _budget):
    """Clients that leave, come, ask, or send nonsense."""
    kind = rng.choice(("reset", "close", "take-over", "busy", "list", "nonsense"))
    return [Event(rng.uniform(0.05, 0.8 * scenario.cost), kind, str(rng.randrange(1 << 30)))], 0


def _package(rng, scenario, _budget):
    """Another package under the name, or in the file itself."""
    kind = rng.choice(("replace", "overwrite"))
    return [Event(rng.uniform(0.05, 0.8 * scenario.cost), kind)], 0


def _slow_device(rng, _scenario, _budget):
    return {rng.choice(("restart_ms", "reboot_ms")): rng.randrange(8000, 24000)}, 2 * COMMAND


def _far(rng, scenario, budget):
    """Only for long runs: a device that fails permanently, for some time, or with one command."""
    if budget < LONG:
        return None, 0
    if rng.random() < 0.3:
        return "no-return-after-reboot:count=once", 5 * COMMAND
    if rng.random() < 0.5:
        return [Event(rng.uniform(0.1, 0.6 * scenario.cost), "unplug")], 6 * ENTER
    word = _word(rng, scenario)
    return f"silent:word={word}{_at(rng, scenario, word)}", 4 * READS[word]


# What a run without troubles must come to.


def _expected(scenario):
    """{name: result} of each row by the rules for undisturbed runs, or None."""
    if scenario.package != "good" or any(chip.get("bootcode") for chip in scenario.chips):
        return None
    images: dict = {}
    for image in scenario.images:
        images.setdefault(image.chip_type, []).append(image)
    return {
        chip["name"]: _expected_row(chip, images.get(chip["chip_type"], []), scenario.mode)
        for chip in scenario.chips
    }


def _expected_row(chip, images, mode):
    if chip["chip_type"] == NET:
        return "1" if images[0].good else "2"
    fitting = fitting_images(chip, images)
    if not fitting:
        return "2"
    running = tuple(int(number) for number in chip["version"].split("."))
    if mode == 2 and fitting[0].version <= running:
        return "3"
    return "2" if fitting[0].size <= TINY else "1"


def fitting_images(chip, images):
    """Those images that are for this chip; an FPGA takes any of its type."""
    own = [image for image in images if image.chip_type == chip["chip_type"]]
    if chip["chip_type"] >= FPGA:
        return own
    wanted = (chip["mcu_type"], chip["pcb_version"], chip["speciality"])
    return [
        image for image in own if (image.mcu_type, image.pcb_version, image.speciality) == wanted
    ]
