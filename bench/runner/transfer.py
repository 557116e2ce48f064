# SPDX-License-Identifier: Apache-2.0
"""Images on the serial line: time, processor, memory."""

import contextlib
import os
import struct
import sys

from bench.runner import process_state
from bench.runner.figures import MIB, Sample
from bench.runner.packages import AUX, BLOCK, write_package
from bench.runner.programs import (
    AGENT_PORT,
    DEVICES,
    PACKAGE,
    QT_PORT,
    SERIAL_DEVICE,
    Console,
    Failure,
    Responder,
    agent,
    line_load,
    program,
    qt_server,
)

DEVICE = os.path.join(DEVICES, "six-chips.json")
CHIP = ("1", "0")
ROW = "AUX,1,0"
BAUD = 57600
XMODEM_BLOCK = 1024
WARM_UP = 64
PACED_WARM_UP = 4
PACED_TRANSFERS = 5
PROCESSOR_LATENCY = "/dev/cpu_dma_latency"
HEARTBEAT_PAUSE = 500


def paced(blocks):
    """A responder's arguments for a line of the device's speed."""
    return ["--blocks", blocks, "--warm-up", PACED_WARM_UP, "--baud", BAUD]


def unpaced(blocks):
    """A responder's arguments for a line as fast as the machine."""
    return ["--blocks", blocks, "--warm-up", WARM_UP]


def by_agent(arguments, blocks, seen_of=None):
    """Lets a new agent write one image; returns what the responder measured."""
    write_package(PACKAGE, (AUX, blocks * BLOCK))
    with agent() as server:
        before = process_state.resident(server.pid)
        process_state.forget_peak(server.pid)
        with Responder(
            *arguments, "--sender", server.pid, device=DEVICE
        ) as responder, Console() as console:
            console.upgrade(ROW)
            seen = responder.result()
            seen["growth"] = process_state.peak(server.pid) - before - blocks * BLOCK
            if seen_of:
                seen_of(console)
    return seen


def by_reference(name, arguments, blocks):
    """Lets a reference sender write the same number of blocks."""
    command = [program(name), SERIAL_DEVICE, *CHIP, blocks]
    with Responder(*arguments, device=DEVICE, command=command) as responder:
        return responder.result()


def by_sx(size):
    """Lets sx send a file of the size; it needs no program of the device."""
    blocks = size // XMODEM_BLOCK
    path = "/tmp/image.bin"
    with open(path, "wb") as file:
        file.write(os.urandom(size))
    with Responder(
        "--blocks", blocks, "--warm-up", WARM_UP, "--stdio", command=["sx", "-k", "-q", path]
    ) as responder:
        return responder.result()


@contextlib.contextmanager
def processors_awake():
    """Keeps every processor from sleeping, if the system allows it. At the line's own speed a
    sleeping processor is woken three times for each block, which takes a virtual machine a tenth
    of a millisecond each time, for every sender."""
    with contextlib.ExitStack() as held:
        try:
            latency = held.enter_context(open(PROCESSOR_LATENCY, "wb", buffering=0))
            # Microseconds to wake up in; they hold for as long as the file is open.
            latency.write(struct.pack("=i", 0))
        except OSError as problem:
            print(f"processors may sleep: {problem}", file=sys.stderr)
        yield


def efficiency(seen):
    """Wire time of the blocks over their actual time."""
    return Sample(seen["wire_ns"], seen["actual_ns"])


def middle(samples):
    """The median of an odd number of samples."""
    return sorted(samples, key=lambda sample: sample.figure)[len(samples) // 2]


def median_efficiency(seen):
    """The efficiency with the median turnaround for every block."""
    return Sample(seen["wire_ns"], seen["wire_ns"] + seen["counted"] * seen["p50_ns"])


def middle_of(seen, value):
    """The median of one value of an odd number of transfers."""
    return sorted(value(one) for one in seen)[len(seen) // 2]


def against_qt(own, qt):
    """Compares the agent's transfers with those of the QSerialPort sender on the same line."""

    def cpu(one):
        return one["cpu_ns"] / one["counted"]

    return {
        "efficiency": Sample(
            middle([efficiency(seen) for seen in own]).figure,
            middle([efficiency(seen) for seen in qt]).figure,
        ),
        "turnaround": Sample(
            middle_of(own, lambda one: one["p50_ns"]), middle_of(qt, lambda one: one["p50_ns"])
        ),
        "cpu": Sample(middle_of(own, cpu), middle_of(qt, cpu)),
    }


def measure_transfer(scale):
    """The line's own speed, in short transfers by turns: a machine that takes the processor away
    for some milliseconds, which is a tenth of a block, delays one transfer only."""
    blocks = max(int(20 * scale), 2) + PACED_WARM_UP
    line = paced(blocks)
    whole = [*line, "--whole-replies"]
    with processors_awake():
        turns = [
            (
                by_agent(line, blocks),
                by_reference("poll-sender", line, blocks),
                by_reference("qt-sender", line, blocks),
                by_agent(whole, blocks),
                by_reference("qt-sender", whole, blocks),
            )
            for _ in range(PACED_TRANSFERS)
        ]
    own, poll, qt, own_whole, qt_whole = zip(*turns)
    samples = {
        "transfer": middle([efficiency(seen) for seen in own]),
        "transfer-all": Sample(
            sum(seen["wire_ns"] for seen in own), sum(seen["actual_ns"] for seen in own)
        ),
        "transfer-median": middle([median_efficiency(seen) for seen in own]),
        "transfer-poll": middle([efficiency(seen) for seen in poll]),
    }
    samples |= {f"line-{key}": sample for key, sample in against_qt(own, qt).items()}
    samples |= {
        f"line-{key}-whole": sample for key, sample in against_qt(own_whole, qt_whole).items()
    }
    return samples


def measure_turnaround(scale):
    """The sender's own time between two blocks."""
    blocks = max(int(8192 * scale), 4 * WARM_UP)
    seen = by_agent(unpaced(blocks), blocks)
    qt = by_reference("qt-sender", unpaced(blocks), blocks)
    limit = by_reference("poll-sender", unpaced(blocks), blocks)
    xmodem = by_sx(max(int(4096 * scale), 4 * WARM_UP) * XMODEM_BLOCK)
    return {
        "turnaround-p50-qt": Sample(seen["p50_ns"], qt["p50_ns"]),
        "turnaround-p50-sx": Sample(seen["p50_ns"], xmodem["p50_ns"]),
        "turnaround-p50-poll": Sample(seen["p50_ns"], limit["p50_ns"]),
        "turnaround-p99-qt": Sample(seen["p99_ns"], qt["p99_ns"]),
        "cpu-block-qt": Sample(seen["cpu_ns"] / seen["counted"], qt["cpu_ns"] / qt["counted"]),
        "upgrade-growth": Sample(seen["growth"] / MIB),
    }


def heartbeats_while_writing(arguments, blocks, seconds, port=AGENT_PORT):
    """The p99 of a server's heartbeat while the agent sends the image, which must outlast the
    measurement."""
    write_package(PACKAGE, (AUX, blocks * BLOCK))
    with agent() as sender, Responder(
        *arguments, "--sender", sender.pid, device=DEVICE
    ) as device, Console() as console:
        console.upgrade(ROW)
        console.read_until("Erase success.")
        load = line_load(port, seconds=seconds, pause=HEARTBEAT_PAUSE)
        if device.process.poll() is not None:
            raise Failure("the image was written before the heartbeats ended")
    return load["p99_ns"]


def measure_heartbeats_while_writing(scale):
    """A console client's waiting time while the engine writes, against an idle engine."""
    seconds = max(3 * scale, 0.3)
    blocks_on_wire = int(seconds * 25) + 40
    most_blocks = 65536
    with agent() as server:
        rest = line_load(server.port, seconds=seconds, pause=HEARTBEAT_PAUSE)["p99_ns"]
    at_line_speed = heartbeats_while_writing(paced(blocks_on_wire), blocks_on_wire, seconds)
    at_full_speed = heartbeats_while_writing(unpaced(most_blocks), most_blocks, seconds / 3)
    # Another program's heartbeats: what the machine does while any program writes an image.
    with qt_server():
        other_rest = line_load(QT_PORT, seconds=seconds, pause=HEARTBEAT_PAUSE)["p99_ns"]
        other = heartbeats_while_writing(paced(blocks_on_wire), blocks_on_wire, seconds, QT_PORT)
    return {
        "heartbeat-writing": Sample(at_line_speed, rest),
        "heartbeat-writing-other": Sample(other, other_rest),
        "heartbeat-unpaced": Sample(at_full_speed, rest),
    }
