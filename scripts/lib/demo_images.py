# SPDX-License-Identifier: Apache-2.0
"""Makes the images of the demonstration and the request that puts them into a package."""

import json
import os
import random
import sys

# name, chip type, MCU type, version, bytes
IMAGES = [
    ("MAIN", 0, 1, (1, 1, 0), 96 * 1024 + 17),
    ("AUX1", 1, 2, (1, 1, 0), 48 * 1024),
    ("AUX2", 2, 3, (2, 4, 1), 40 * 1024 + 300),
    ("KEY", 3, 4, (1, 0, 0), 24 * 1024),
    ("FPGA", 17, 0, (3, 2, 0), 200 * 1024 + 1),
]


def chip(folder, name, chip_type, mcu_type, version, size):
    """One chip of the request; its image is written beside it."""
    with open(os.path.join(folder, f"{name}.bin"), "wb") as file:
        file.write(random.Random(name).randbytes(size))
    first, second, third = (str(number) for number in version)
    pcb = {
        "name": name,
        "pcb_version": "1",
        "speciality": "A",
        "ver1": first,
        "ver2": second,
        "ver3": third,
        "fw_file": f"{name}.bin",
        "in_chip_type": str(chip_type),
        "in_chip_quanity": "1",
        "in_mcu_type": str(mcu_type),
        "in_pcb_version": "1",
        "in_speciality": "65",
        "in_ver1": first,
        "in_ver2": second,
        "in_ver3": third,
    }
    return {
        "name": name,
        "chip_type": str(chip_type + 1),
        "chip_quanity": "1",
        "mcus": [{"mcu_type": str(mcu_type), "pcbs": [pcb]}],
    }


def write(folder, images=tuple(IMAGES)):
    """Writes the images, and the request as request.json."""
    request = {
        "model": "HX-8",
        "version": "1.0.5",
        "chips": [chip(folder, *image) for image in images],
    }
    with open(os.path.join(folder, "request.json"), "w", encoding="ascii") as file:
        json.dump(request, file, indent=1)


if __name__ == "__main__":
    write(sys.argv[1])
