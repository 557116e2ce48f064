# SPDX-License-Identifier: Apache-2.0
"""The frames of an upgrade in the words of the simulator's trace."""

MODEL = "F903 model-name"
PRODUCT_ID = "F802 product-id"
REBOOT = "7902 reboot"
# The first chip type that has nothing but a version.
FPGA = 17


def _chip(word, chip_type, chip_index):
    return f"{word} type={chip_type} index={chip_index}"


def bootcode(chip_type, chip_index=0):
    return _chip("F900 bootcode", chip_type, chip_index)


def info(chip_type, chip_index=0):
    return _chip("F901 product-info", chip_type, chip_index)


def mcu(chip_type, chip_index=0):
    """Both reads of one MCU."""
    return [bootcode(chip_type, chip_index), info(chip_type, chip_index)]


def version(chip_type, chip_index=0):
    return _chip("F902 version", chip_type, chip_index)


def reads(*places):
    """All that is read of chips: both reads of each MCU, then all versions."""
    mcus = [frame for place in places if place[0] < FPGA for frame in mcu(*place)]
    return mcus + [version(*place) for place in places]


def enter(chip_type, chip_index=0):
    return _chip("7900 enter", chip_type, chip_index)


def image(chip_type, chip_index, size):
    """Enter, then all blocks."""
    blocks = -(-size // 256)
    return [enter(chip_type, chip_index), f"{_chip('7901 block', chip_type, chip_index)} x{blocks}"]


def virtual(number):
    return f"7905 set-virtual-version data={number:02x}"


def end(number=5):
    """The end of a run that has written an image."""
    return [REBOOT, PRODUCT_ID, virtual(number)]
