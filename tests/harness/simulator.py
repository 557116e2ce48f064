# SPDX-License-Identifier: Apache-2.0
"""Starts device-simulator and talks to its control channel."""

import json
import os
import re
import socket

from .process import Process


class Simulator(Process):
    """One run of the simulator. `where` is its port option: --fd, --pty-link or --listen."""

    def __init__(self, program, folder, device, where, faults=(), options=(), pass_fds=()):
        self.folder = folder
        os.makedirs(folder, exist_ok=True)
        self.device_file = os.path.join(folder, "device.json")
        self.trace_file = os.path.join(folder, "trace")
        self.control_path = os.path.join(folder, "control")
        self.flash_folder = os.path.join(folder, "flash")
        with open(self.device_file, "w", encoding="ascii") as file:
            json.dump(device, file)
        command = [
            program,
            "--device",
            self.device_file,
            "--trace",
            self.trace_file,
            "--control",
            self.control_path,
            "--save-flash",
            self.flash_folder,
        ]
        command += [*where, *options]
        for fault in faults:
            command += ["--fault", fault]
        super().__init__("device-simulator", command, stdout=-1, pass_fds=pass_fds)
        assert self.popen.stdout is not None
        first = self.popen.stdout.readline().decode().split(None, 1)
        if first[:1] != ["ready"]:
            self._finish()
            raise AssertionError(f"the simulator did not start\n{self.report()}")
        self.address = first[1].strip()

    def control(self, line):
        """Sends one control line and returns the text after its "ok"."""
        with socket.socket(socket.AF_UNIX) as client:
            client.settimeout(10)
            client.connect(self.control_path)
            client.sendall(line.encode() + b"\n")
            answer = client.makefile().readline().rstrip("\n")
        assert answer == "ok" or answer.startswith("ok "), f"{line}: {answer}"
        return answer[3:]

    def device(self):
        """The device file that it was started with."""
        with open(self.device_file, encoding="ascii") as file:
            return json.load(file)

    def status(self):
        return json.loads(self.control("status"))

    def chip(self, chip_type, chip_index):
        """The state of one chip."""
        for chip in self.status()["chips"]:
            if (chip["chip_type"], chip["chip_index"]) == (chip_type, chip_index):
                return chip
        raise KeyError((chip_type, chip_index))

    def flash(self, chip_type, chip_index):
        """The raw blocks of one chip, padding included; None when it was never written."""
        self.control(f"flash save {self.flash_folder}")
        ending = f"-{chip_type}-{chip_index}.bin"
        for name in os.listdir(self.flash_folder):
            if name.endswith(ending):
                with open(os.path.join(self.flash_folder, name), "rb") as file:
                    return file.read()
        return None

    def trace(self):
        """All trace lines so far, without their times and bytes: (kind, text)."""
        with open(self.trace_file, encoding="utf-8") as file:
            lines = file.read().splitlines()
        return [re.findall(r"^[\d.]+ (\S+) +(.*?)(?: \| [0-9a-f]*)?$", line)[0] for line in lines]

    def host_frames(self, merge_blocks=True):
        """What the host sent, decoded, in order; a row of blocks becomes one entry."""
        frames: list[str] = []
        for kind, text in self.trace():
            if kind != "host":
                continue
            if merge_blocks and text.startswith("7901 block"):
                text = re.sub(r" block=.*", "", text)
                if frames and frames[-1].startswith(text):
                    count = int(frames[-1].rsplit(" x", 1)[1])
                    frames[-1] = f"{text} x{count + 1}"
                    continue
                text += " x1"
            frames.append(text)
        return frames
