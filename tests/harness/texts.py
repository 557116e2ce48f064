# SPDX-License-Identifier: Apache-2.0
"""The lines of an upgrade, piece by piece, as the console client sees them."""

import decimal
import struct

from .transcript import Maybe

PORT_NAME = "ttyS2"
BUSY = "UPGRADELOG||The device is busy upgrading."


def log(*texts):
    """Log lines. A text with a line end inside gives two."""
    return [line for text in texts for line in f"UPGRADELOG||{text}".split("\r\n")]


def closed(port=PORT_NAME):
    """The device link was closed."""
    return log("Disconnect", f"{port} port is disconnected.")


def started(first=True):
    """An accepted request: close, open. Before the first open there is no port name."""
    return closed("" if first else PORT_NAME) + ["Connect success."]


def progress(position, rows, percent):
    """The overall figure, with two decimals; 100 and more are never shown."""
    overall = (position * 100 + percent) / rows
    if overall >= 100:
        return []
    shown = decimal.Decimal(overall).quantize(decimal.Decimal("0.01"), decimal.ROUND_HALF_UP)
    return [f"PROGRESSVALUE||{shown}"]


def status_lines(word):
    """The two end lines alone."""
    return ["", "DISCONNECTCOM", "", word]


def failed(position=0, rows=1):
    """A run that fails at a row; whether the reset of the progress also logs is left open."""
    return (
        status_lines("UPGRADEFAIL")
        + progress(position, rows, 0)
        + [Maybe(line) for line in log("Erasing...")]
        + closed()
    )


def package_failed(rows=1, position=0):
    """A run that ends because of its package: the progress is set to a finished item."""
    return status_lines("UPGRADEFAIL") + progress(position, rows, 100) + closed()


def succeeded():
    return ["PROGRESSVALUE||0.00"] + status_lines("UPGRADESUCCESS") + closed()


def model_read():
    return log("Firmware file checksum ok.", "Read model name.", "Model Name match.")


def read_bootcode(name, main=None):
    """`main` is "APP" or "Bootcode" for the main MCU at index 0."""
    return log(
        f"Read bootcode information of '{name}'.",
        f"Read the bootcode information of '{name}' success.",
    ) + (log(f"MAIN MCU running in {main}.") if main else [])


def read_info(name):
    return log(
        f"Read the product information of '{name}'.",
        f"Read the product information of '{name}'  success.",
    )


def read_mcu(name, main=None):
    return read_bootcode(name, main) + read_info(name)


def read_fpga(name):
    return log(f"'{name}' model is FPGA, ignore to read bootcode information.")


def reads_done():
    return log("Read all mcu(list) bootcode and product information done.")


def read_version(name, version):
    return log(
        f"Send 'Read FW version' command to '{name}'.",
        f"Read '{name}' version success, version is V{version}",
    )


def read_chips(*chips):
    """All that is read of the chips of a run. Each is a name, a version and, where there is one, a
    kind: "FPGA", or what the main MCU at index 0 runs."""
    first, versions = [], []
    for name, version, *kind in chips:
        first += read_fpga(name) if kind == ["FPGA"] else read_mcu(name, *kind)
        versions += read_version(name, version)
    return first + reads_done() + versions


def begun(*chips, mode=2, first=True):
    """A run until it has read its chips; mode 5 reads no model name."""
    checked = model_read() if mode == 2 else log("Firmware file checksum ok.")
    return started(first) + checked + read_chips(*chips)


def decided(package, word, name, version):
    """The version rule's line; `word` is greater, equal or less."""
    middle = {"greater": "greater than", "equal": "equal to", "less": "less than"}[word]
    end = "will upgrade" if word == "greater" else "will not upgrade"
    return log(f"Firmware version V{package} {middle} the '{name}' version V{version}, {end}.")


def entered(name):
    return log(
        f"Send 'Enter F/W Upgrade Mode' command to '{name}'.",
        f"'{name}' Enter 'F/W Update Mode' success.",
    )


def block_percents(size):
    """The uploader's progress of one image after the first 0: after block 0, then after each full
    block except the last one, in single precision."""
    figures = [255 / size * 100]
    cursor = 512
    while cursor < size:
        single = struct.unpack("f", struct.pack("f", cursor / size * 100))[0]
        figures.append(single)
        cursor += 256
    return figures


def first_block(position, rows, size):
    return (
        progress(position, rows, 0)
        + log("Erasing...")
        + progress(position, rows, block_percents(size)[0])
        + log("Erase success.\r\nWriting...")
    )


def further_blocks(position, rows, size):
    return [
        line for percent in block_percents(size)[1:] for line in progress(position, rows, percent)
    ]


def written(name, position, rows):
    return log(f"Write firmware '{name}' success.") + (
        log("Write all firmware success.") if position == rows - 1 else []
    )


def image(name, position, rows, size):
    """One image that goes through at the first try."""
    return (
        entered(name)
        + first_block(position, rows, size)
        + further_blocks(position, rows, size)
        + written(name, position, rows)
    )


def main_restarted():
    return log(
        "The Main MCU is restarting, please wait.", "Read product ID.", "Upgrade Main MCU success."
    )


def rebooted():
    return log("Send reboot command.", "Start to reboot, please wait.", "Read product ID.")


def virtual_version_set():
    return log(
        "Start to set virtual version.",
        "Set virtual version success.",
        "All firmware upgrade success and systerm run success.",
    )


def nothing_upgraded():
    return log(
        "Ignore to set virtual version.", "All firmware upgrade done, but did not upgrade any mcu."
    )


def finished(written=True):
    """The end of a run without a failure; `written` if there was anything to write."""
    return rebooted() + (virtual_version_set() if written else nothing_upgraded()) + succeeded()


def upgraded(name, position, rows, size, old="1.0.0", new="1.1.0"):
    """One image that is newer than what the chip runs."""
    return decided(new, "greater", name, old) + image(name, position, rows, size)


def one_chip(name, size):
    """A whole run in mode 2 that writes one chip, from its start on."""
    return model_read() + read_chips((name, "1.0.0")) + upgraded(name, 0, 1, size) + finished()


def not_in_list(name, position, rows):
    return progress(position, rows, 100) + log(
        f"No suitable firmware for '{name}' in the firmware package."
    )


def not_in_records(name):
    return log(f"No suitable firmware for '{name}' mcu in the firmware package.")


def package_listed(model="HX-8", version="1.0.5", package_version=6):
    return log(
        "Firmware file checksum ok.",
        f"Firmware package version: {package_version}",
        f"Model Name: {model}",
        f"Version: {version}",
    )


def net_item(position=0, rows=1, version="1.23"):
    """A NET image of a package that is installed."""

    def percent(*values):
        return [line for value in values for line in progress(position, rows, value)]

    return (
        log("Start to upgrade NET firmware.")
        + percent(10)
        + log("NET firmware checksum success.")
        + percent(20, 30, 70, 80, 90)
        + log(f"NET firmware ver{version} upgrade success.")
        + [f"NETVERSION||{version}"]
    )


def net_item_refused(position=0, rows=1):
    """One whose digest does not fit."""
    return (
        log("Start to upgrade NET firmware.")
        + progress(position, rows, 10)
        + log("NET firmware checksum fail, upgrade net fail.")
    )


def net_blocks_installed(version="1.23", version_written=True):
    """What the last block sets off, up to the text that has no line end."""

    def percent(value):
        return [f"PROGRESSVALUE||{value}.00"] + log(f"NET package upgrade {value}%.")

    return (
        log("NET package checksum OK.")
        + percent(30)
        + percent(70)
        + percent(80)
        + log(
            "NET firmware checksum success.",
            "Create version file success" if version_written else "Failed to create version file",
        )
        + [f"NETVERSION||{version}"]
        + percent(90)
        + log(f"NET firmware ver{version} upgrade success.")
    )


def net_reboots():
    """The notice for the sender, and on the same line the one for people."""
    return ["UpgradeDatas||WriteIsUgradingTrueUPGRADELOG||NET ready to reboot after 2 seconds."]
