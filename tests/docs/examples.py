# SPDX-License-Identifier: Apache-2.0
"""The examples of the protocol pages, as values."""

import json
import re

from tests import ROOT
from tests.harness import files

# The images that <NAME FROM-TO> stands for.
IMAGES = {
    "MAIN": bytes(k % 251 for k in range(300)),
    "AUX": bytes(255 - k % 251 for k in range(600)),
}


def page(name):
    return files.text(ROOT, "docs", "reference", name)


def blocks(text, kind):
    """(the words after the kind, the lines) of each fenced block of one kind."""
    found = re.findall(rf"^```{kind}(?: ([^\n]*))?\n(.*?)^```$", text, re.M | re.S)
    return [(words.split(), content.splitlines()) for words, content in found]


def device(text):
    """The device file of a page."""
    ((_, lines),) = [block for block in blocks(text, "json") if block[0] == ["device"]]
    return json.loads("\n".join(lines))


def span(match, images):
    """The bytes that <NAME FROM-TO> or <BYTE x COUNT> stands for."""
    name, first, last, byte, count = match.groups()
    if byte:
        return bytes([int(byte, 16)] * int(count)).hex()
    piece = images[name][int(first) : int(last) + 1]
    assert len(piece) == int(last) + 1 - int(first), match.group(0)
    return piece.hex()


def frame(text, images=None):
    """The bytes of a frame as a page writes it."""
    text = re.sub(
        r"<(?:([A-Z]+) (\d+)-(\d+)|([0-9a-f]{2}) x (\d+))>",
        lambda match: span(match, images or IMAGES),
        text,
    )
    return bytes.fromhex(text)


def conversation(lines):
    """("host" or "device" or "wait", bytes) of each line; an answer of nothing has no bytes."""
    for line in lines:
        who, _, rest = line.partition(";")[0].strip().partition(" ")
        assert who in ("host", "device", "wait"), line
        yield who, b"" if rest.strip() in ("", "nothing") else frame(rest)


def dump(path):
    """A file's bytes as PARSEEDID takes them."""
    return files.content(ROOT, path).hex(" ").upper()


def raw(text, images):
    """Bytes with \\r, \\n, and hexadecimal between braces."""
    pieces = re.split(r"\{(.*?)\}", text)
    return b"".join(
        frame(piece, images)
        if number % 2
        else piece.replace("\\r", "\r").replace("\\n", "\n").encode("latin-1")
        for number, piece in enumerate(pieces)
    )


def session(lines, images=None):
    """(client, ">" or "<", bytes) of each line of a session."""
    for line in lines:
        if line.startswith("--"):
            continue
        number, mark, text = re.findall(r"^(\d?)(>>?|<<?)(?: (.*))?$", line)[0]
        text = re.sub(r"<dump (\S+)>", lambda match: dump(match.group(1)), text or "")
        content = raw(text, images) if len(mark) == 2 else text.encode("latin-1") + b"\r\n"
        yield int(number or 1), mark[0], content
