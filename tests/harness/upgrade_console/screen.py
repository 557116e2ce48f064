# SPDX-License-Identifier: Apache-2.0
"""A terminal as far as the program uses one: line ends, cursor up, erase line, erase below."""

import fcntl
import os
import re
import struct
import termios
import threading

SEQUENCE = re.compile(r"\x1b\[(\d*)([A-Za-z])")


class Screen:
    """Reads a pseudo-terminal's master in the background and keeps what one would see."""

    def __init__(self, columns=80, lines=24):
        self.columns, self.lines = columns, lines
        self.master, self.slave = os.openpty()
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))
        self.raw = ""
        self.problems = []
        self._rows, self._row, self._column = [""], 0, 0
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def close(self):
        os.close(self.slave)
        self._thread.join(10)
        os.close(self.master)

    def text(self):
        """What stands on the screen, without the blank lines at its end."""
        return "\n".join(row.rstrip() for row in self._rows).rstrip("\n")

    def _read(self):
        while True:
            try:
                data = os.read(self.master, 65536)
            except OSError:
                return
            if not data:
                return
            text = data.decode(errors="replace")
            self.raw += text
            self._take(text)

    def _take(self, text):
        # The program writes each picture at once, so that no sequence is cut.
        position = 0
        while position < len(text):
            match = SEQUENCE.match(text, position)
            if match:
                self._control(match.group(2), int(match.group(1) or 0))
                position = match.end()
                continue
            self._character(text[position])
            position += 1

    def _control(self, kind, number):
        if kind == "A":
            if number > self._row or number >= self.lines:
                self.problems.append(f"up {number} from line {self._row}")
            self._row = max(0, self._row - number)
        elif kind == "K":
            self._rows[self._row] = ""
        elif kind == "J":
            del self._rows[self._row + 1 :]
            self._rows[self._row] = self._rows[self._row][: self._column]
        elif kind != "m":
            self.problems.append(f"sequence {kind}")

    def _character(self, character):
        if character == "\r":
            self._column = 0
        elif character == "\n":
            self._row += 1
            if self._row == len(self._rows):
                self._rows.append("")
        elif character < " ":
            self.problems.append(repr(character))
        else:
            row = self._rows[self._row].ljust(self._column)
            self._rows[self._row] = row[: self._column] + character + row[self._column + 1 :]
            self._column += 1
            if self._column >= self.columns:
                self.problems.append("a line reaches the edge")
