# SPDX-License-Identifier: Apache-2.0
"""A program under test, with its standard error kept for the failure report."""

import os
import re
import subprocess
import tempfile

# How a sanitizer's report begins.
_SANITIZER_REPORT = re.compile(r"(ERROR: |WARNING: )\w+Sanitizer|: runtime error: ")


class Process:
    """Runs a program until stop() or kill(); its standard error goes to a file, or where `stderr`
    says."""

    def __init__(self, name, command, stderr=None, **popen):
        self.name = name
        self.command = command
        self._stderr = tempfile.TemporaryFile()
        self.popen = subprocess.Popen(command, stderr=stderr or self._stderr, **popen)

    @property
    def alive(self):
        return self.popen.poll() is None

    def stderr_bytes(self, start=0):
        """All it has written so far, from a byte on."""
        size = os.fstat(self._stderr.fileno()).st_size
        return os.pread(self._stderr.fileno(), max(size - start, 0), start)

    def stderr(self):
        return self.stderr_bytes().decode(errors="replace")

    def has_sanitizer_report(self):
        """Whether it was built with a sanitizer that found something."""
        return bool(_SANITIZER_REPORT.search(self.stderr()))

    def stop(self):
        """Asks it to end, and waits; returns its exit status."""
        if self.alive:
            self.popen.terminate()
        return self._finish()

    def kill(self):
        """Ends it as a power cut would."""
        if self.alive:
            self.popen.kill()
        return self._finish()

    def _finish(self):
        try:
            status = self.popen.wait(10)
        except subprocess.TimeoutExpired:
            self.popen.kill()
            status = self.popen.wait(10)
        if self.popen.stdout:
            self.popen.stdout.close()
        return status

    def peak_memory(self):
        """The largest resident memory so far, in bytes."""
        with open(f"/proc/{self.popen.pid}/status", encoding="ascii") as file:
            peak = next(line for line in file if line.startswith("VmHWM:"))
        return int(peak.split()[1]) * 1024

    def forget(self):
        """Drops what it wrote; only after this nothing can be reported any more."""
        self._stderr.close()

    def report(self):
        state = "running" if self.alive else f"ended with {self.popen.returncode}"
        return f"--- {self.name} ({state}), standard error:\n{self.stderr()}"
