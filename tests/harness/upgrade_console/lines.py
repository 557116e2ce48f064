# SPDX-License-Identifier: Apache-2.0
"""What the agent sends: its lines as bytes."""

import json


def log(text):
    return f"UPGRADELOG||{text}\r\n".encode("latin-1")


def logs(*texts):
    return [log(text) for text in texts]


def progress(percent):
    return f"PROGRESSVALUE||{percent:.2f}\r\n".encode()


SUCCESS = b"\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n"
FAIL = b"\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n"
BUSY = log("The device is busy upgrading.")


def chip(name, chip_type, version):
    """One chip of a package description; `chip_type` as in rows."""
    ver1, ver2, ver3 = version.split(".")
    version = {"ver1": ver1, "ver2": ver2, "ver3": ver3}
    mcu = {
        "mcu_type": "4",
        "pcbs": [{"name": name, "pcb_version": "1", "speciality": "A"} | version],
    }
    return {"chip_type": str(chip_type + 1), "chip_quanity": "1", "mcus": [mcu]}


def package(*chips, model="HX-8"):
    return {"model": model, "version": "7", "chips": chips}


PACKAGE = package(chip("MAIN", 0, "1.1.0"), chip("AUX 1", 1, "2.1.0"))


def listed(text):
    """The line with the package, or with the reason why it cannot be used."""
    return f"FIRMWARELIST||{text}\r\n".encode()


def listing(description):
    return (
        log("Firmware file checksum ok.")
        + log("Firmware package version: 6")
        + log("Model Name: HX-8")
        + log("Version: 7")
        + listed(json.dumps(description))
    )


def after(lines, text, *more):
    """The lines up to the first one with a text, and more."""
    found = next(number for number, line in enumerate(lines) if text.encode() in line)
    return [*lines[: found + 1], *more]
