# SPDX-License-Identifier: Apache-2.0
"""What an agent says during runs, as lists of bytes."""

from tests.harness.upgrade_console.lines import FAIL, SUCCESS, log, logs, progress

START = [
    *logs("Disconnect", "ttyS2 port is disconnected."),
    b"Connect success.\r\n",
    log("Firmware file checksum ok."),
]
MODEL = logs("Read model name.", "Model Name match.")
NAMES = ("MAIN", "AUX 1")


def reads(versions):
    """The reads of mode 2; a dictionary of names and the versions they run."""
    lines = []
    for name in versions:
        lines += logs(
            f"Read bootcode information of '{name}'.",
            f"Read the bootcode information of '{name}' success.",
            f"Read the product information of '{name}'.",
            f"Read the product information of '{name}'  success.",
        )
    lines.append(log("Read all mcu(list) bootcode and product information done."))
    for name, version in versions.items():
        lines += logs(
            f"Send 'Read FW version' command to '{name}'.",
            f"Read '{name}' version success, version is V{version}",
        )
    return lines + [log("Read all mcu(list) version information done.")]


def greater(name, new, old):
    return log(f"Firmware version V{new} greater than the '{name}' version V{old}, will upgrade.")


def equal(name, new, old):
    return log(f"Firmware version V{new} equal to the '{name}' version V{old}, will not upgrade.")


def enter(name):
    return logs(
        f"Send 'Enter F/W Upgrade Mode' command to '{name}'.",
        f"'{name}' Enter 'F/W Update Mode' success.",
    )


def write(name, row, rows, blocks=10):
    """One image, all of it acknowledged."""
    lines = enter(name) + [progress(row * 100 / rows), log("Erasing...")]
    for block in range(1, blocks):
        lines.append(progress((row * 100 + block * 100 / blocks) / rows))
        if block == 1:
            lines.append(log("Erase success.\r\nWriting..."))
    return lines + [log(f"Write firmware '{name}' success.")]


REBOOT = logs("Send reboot command.", "Start to reboot, please wait.", "Read product ID.")
VIRTUAL = [
    *logs("Start to set virtual version.", "Set virtual version success."),
    log("All firmware upgrade success and systerm run success."),
    progress(0),
]


def until_aux():
    """MAIN is updated, and AUX 1 is next."""
    begin = START + MODEL + reads({"MAIN": "1.0.0", "AUX 1": "2.0"})
    main = [greater("MAIN", "1.1.0", "1.0.0"), *write("MAIN", 0, 2)]
    return [*begin, *main, greater("AUX 1", "2.1.0", "2.0.0")]


def full_run():
    """Both MCUs are updated."""
    done = [log("Write all firmware success."), *REBOOT, *VIRTUAL, SUCCESS]
    return until_aux() + write("AUX 1", 1, 2) + done


def idle_run():
    """Nothing is older than the package."""
    begin = START + MODEL + reads({"MAIN": "1.1.0", "AUX 1": "2.1"})
    decisions = [equal("MAIN", "1.1.0", "1.1.0"), equal("AUX 1", "2.1.0", "2.1.0")]
    end = logs(
        "Ignore to set virtual version.",
        "All firmware upgrade done, but did not upgrade any mcu.",
    )
    return [*begin, *decisions, *REBOOT, *end, progress(0), SUCCESS]


def half_failed_run():
    """The second MCU does not take its image, three times."""
    timeouts = logs("F/W update timeout, retry 1.", "F/W update timeout, retry 2.")
    lines = until_aux()
    attempt = enter("AUX 1") + timeouts
    for retry in (1, 2):
        lines += attempt + [log(f"'AUX 1' F/W update fail, retry {retry}.")]
    return lines + attempt + [log("'AUX 1' F/W Update fail."), *REBOOT, *VIRTUAL, SUCCESS]


def wrong_model_run():
    text = (
        "Firmware Model Name is HX-8.\r\nDevice Model Name is HX-4.\r\n"
        "Model Name does not match, upgrade fail."
    )
    return START + [log("Read model name."), log(text), FAIL, progress(0), log("Erasing...")]


# What upgrade prints about full_run(), masked.
FULL_TABLE = """\
MCU    Old    New    Result   Seconds
MAIN   1.0.0  1.1.0  updated #
AUX 1  2.0    2.1.0  updated #

2 MCUs updated.
Host 127.0.0.1, package HX-8 7, started #, took #.
"""
