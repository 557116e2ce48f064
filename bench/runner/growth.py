# SPDX-License-Identifier: Apache-2.0
"""How time and memory grow with images, rows and packages; what a whole upgrade's time is."""

import os
import statistics
import sys
import time

from bench.runner import process_state
from bench.runner.figures import MIB
from bench.runner.packages import AUX, BLOCK, read_at_each_list, write_package
from bench.runner.programs import AGENT_PORT, PACKAGE, Console, Responder, agent, program, times
from bench.runner.transfer import BAUD, DEVICE, by_agent, processors_awake, unpaced
from tests.harness import package

KIB = 1024
IMAGE_SIZES = [64 * KIB, 256 * KIB, MIB, 4 * MIB, 16 * MIB]
ROW_COUNTS = [1, 10, 50, 100, 200]
PACKAGE_SIZES = [MIB, 16 * MIB, 256 * MIB, 1024 * MIB]
ROUNDS = 5

# Qt's timers are coarse: they may be a twentieth of their time early.
EARLIEST = 0.95

# A whole upgrade: the images of the example device, in the order of its rows.
WHOLE_IMAGE = 64 * BLOCK
WHOLE_CHIPS = [
    (package.Image("MAIN", b"", chip_type=0, mcu_type=1), 0),
    (AUX, 0),
    (AUX, 1),
    (
        package.Image(
            "KEY", b"", chip_type=2, mcu_type=3, pcb_version=2, speciality="B", version=(2, 0, 5)
        ),
        0,
    ),
    (package.Image("FPGA", b"", chip_type=17, mcu_type=0, version=(3, 2, 0)), 0),
    (package.Image("FPGA2", b"", chip_type=18, mcu_type=0, version=(1, 4, 0)), 0),
]
BITS_PER_BYTE = 10


def note(text):
    """Shows the progress."""
    print(text, file=sys.stderr, flush=True)


def by_image_size():
    """Blocks of small and large images, on a line without a speed limit."""
    lines = []
    for size in IMAGE_SIZES:
        note(f"image of {size // KIB} KiB")
        seen = [by_agent(unpaced(size // BLOCK), size // BLOCK) for _ in range(ROUNDS)]
        lines.append(
            {
                "image_kib": size // KIB,
                "us_per_block": statistics.median(
                    one["actual_ns"] / one["counted"] / 1e3 for one in seen
                ),
                "cpu_us_per_block": statistics.median(
                    one["cpu_ns"] / one["counted"] / 1e3 for one in seen
                ),
                "growth_less_image_mib": statistics.median(one["growth"] / MIB for one in seen),
            }
        )
    return lines


def rows_run(count):
    """Seconds until every row of a run is read and found up to date."""
    up_to_date = package.Image("AUX", b"", chip_type=1, mcu_type=2, version=(1, 0, 0))
    write_package(PACKAGE, (up_to_date, BLOCK))
    with agent() as server, Responder(device=DEVICE), Console() as console:
        before = process_state.resident(server.pid)
        process_state.forget_peak(server.pid)
        start = time.monotonic()
        console.upgrade(*["AUX,1,0"] * count, mode=2)
        console.read_until("Start to reboot")
        used = time.monotonic() - start
        refused = console.text.count(b"will not upgrade")
        if refused != count:
            raise ValueError(f"{refused} rows of {count} were up to date")
        return used, process_state.peak(server.pid) - before


def by_rows():
    """Runs with few rows and many; each row needs three commands and their replies."""
    lines = []
    for count in ROW_COUNTS:
        note(f"{count} rows")
        runs = [rows_run(count) for _ in range(ROUNDS)]
        lines.append(
            {
                "rows": count,
                "us_per_row": statistics.median(used * 1e6 / count for used, _ in runs),
                "growth_mib": statistics.median(grown / MIB for _, grown in runs),
            }
        )
    return lines


def by_package_size():
    """The check of small and large packages. Their images are holes, which cost no memory."""
    lines = []
    for size in PACKAGE_SIZES:
        note(f"package of {size // MIB} MiB")
        write_package(PACKAGE, (AUX, size), has_content=False)
        read_at_each_list(PACKAGE)
        with agent() as server:
            before = process_state.resident(server.pid)
            process_state.forget_peak(server.pid)
            spans = times(
                program("round-trips"),
                "--port",
                str(AGENT_PORT),
                "--silence",
                "1000",
                "--count",
                str(ROUNDS),
                "--request",
                "GETFIRMWARELIST",
            )
            grown = process_state.peak(server.pid) - before
        lines.append(
            {
                "package_mib": size // MIB,
                "ms": statistics.median(spans) * 1e3,
                "ms_per_mib": statistics.median(spans) * 1e3 / (size / MIB),
                "growth_mib": grown / MIB,
            }
        )
    os.remove(PACKAGE)
    return lines


def demanded_waits():
    """The waits of a whole upgrade that the protocol requires, in seconds."""
    images = len(WHOLE_CHIPS)
    return {
        f"{images} pauses of 0.2 s before an image's first block": 0.2 * images * EARLIEST,
        f"{images - 1} pauses of 1 s after an image, the main MCU's apart": 1.0
        * (images - 1)
        * EARLIEST,
        f"{images} times 0.3 s in which the device erases its flash": 0.3 * images,
        "10 s before the restarted main MCU is asked for the first time": 10.0 * EARLIEST,
        "10 s before the rebooted device is asked for the first time": 10.0 * EARLIEST,
    }


def whole_upgrade():
    """Six chips at the line's speed, from the request to the last reply."""
    note("a whole upgrade of six chips")
    images = {image.name: (image, WHOLE_IMAGE) for image, _ in WHOLE_CHIPS}
    write_package(PACKAGE, *images.values())
    rows = [f"{image.name},{image.chip_type},{index}" for image, index in WHOLE_CHIPS]
    with processors_awake(), agent(), Console() as console, Responder(
        "--baud", BAUD, device=DEVICE
    ) as responder:
        start = time.monotonic()
        console.upgrade(*rows)
        text = console.read_until("UPGRADESUCCESS", "UPGRADEFAIL")
        actual = time.monotonic() - start
        seen = responder.finish()
    if "UPGRADEFAIL" in text or seen["blocks"] != len(rows) * WHOLE_IMAGE // BLOCK:
        raise ValueError(f"the upgrade failed: {text[-500:]}")
    sent = seen["host_bytes"] + seen["device_bytes"]
    parts = {
        f"{sent} bytes on the wire, both ways": sent * BITS_PER_BYTE / BAUD,
        **demanded_waits(),
    }
    bound = sum(parts.values())
    return {
        "parts": parts,
        "bound_s": bound,
        "actual_s": actual,
        "bound_over_actual": bound / actual,
    }


def format_lines(lines):
    """A table of dictionaries with the same keys."""
    rows = [list(lines[0])] + [
        [f"{value:.3f}" if isinstance(value, float) else str(value) for value in line.values()]
        for line in lines
    ]
    widths = [max(map(len, column)) for column in zip(*rows)]
    return "\n".join(
        "  ".join(cell.rjust(width) for cell, width in zip(row, widths)) for row in rows
    )


def format_whole(whole):
    """Where a whole upgrade's time goes."""
    parts = "\n".join(f"{seconds:8.3f} s  {what}" for what, seconds in whole["parts"].items())
    return (
        f"{parts}\n{whole['bound_s']:8.3f} s  lower bound"
        f"\n{whole['actual_s']:8.3f} s  actual time, bound / actual = "
        f"{whole['bound_over_actual']:.4f}"
    )


PARTS = {
    "images": (by_image_size, format_lines),
    "rows": (by_rows, format_lines),
    "packages": (by_package_size, format_lines),
    "whole_upgrade": (whole_upgrade, format_whole),
}


def measure_all():
    """Measures everything and prints each part at once; takes a few minutes."""
    result = {}
    for name, (measure, form) in PARTS.items():
        result[name] = measure()
        print(form(result[name]) + "\n", flush=True)
    return result
