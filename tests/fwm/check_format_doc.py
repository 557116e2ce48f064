#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds docs/reference/fwm-format.md against fwm and against zlib, md5sum and struct.

usage: check_format_doc.py FWM DOCUMENT

The packer here is written from the document alone.
"""
import json
import pathlib
import re
import struct
import sys
import tempfile
import zlib

from tests.harness import command


def example(document, name):
    found = re.search(r"<!-- example: %s -->\n```\w+\n(.*?)\n```" % name, document, re.S)
    assert found, "no example of the %s" % name
    return found.group(1)


def from_dump(text):
    data = bytearray()
    for line in text.splitlines():
        offset, *values = line.split()
        assert int(offset, 16) == len(data), "wrong offset in " + line
        data += bytes(int(value, 16) for value in values)
    return bytes(data)


def pack(request, folder):
    records = b""
    for chip in json.loads(request)["chips"]:
        for mcu in chip["mcus"]:
            for pcb in mcu["pcbs"]:
                image = (folder / pcb["fw_file"]).read_bytes()
                keys = "chip_type chip_quanity mcu_type pcb_version speciality ver1 ver2 ver3"
                records += bytes(int(pcb["in_" + key]) for key in keys.split())
                records += struct.pack("<I", len(image)) + image
    body = b"MTU" + struct.pack(">H", 6) + struct.pack("<H", len(request)) + request + records
    return (b"%x" % zlib.crc32(body)).ljust(8, b"\0") + body


def main(fwm, document):
    text = pathlib.Path(document).read_text()
    request = example(text, "request").encode()
    package = from_dump(example(text, "package"))
    net = from_dump(example(text, "network module image"))

    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "main.bin").write_bytes(b"MAINCODE")
        (folder / "request.json").write_bytes(request)
        (folder / "net.bin").write_bytes(net)

        def run(*arguments):
            return command.output(fwm, *arguments, cwd=folder)

        assert pack(request, folder) == package, "the packer gives another package"
        run("build", "request.json", "-o", "FW.fwm", "--force")
        assert (folder / "FW.fwm").read_bytes() == package, "fwm builds another package"
        found = command.run(fwm, "verify", "--json", "FW.fwm", cwd=folder).stdout
        # The image of the example is too short for a chip; nothing else is wrong.
        assert [one["id"] for one in json.loads(found)["findings"]] == ["image-short"], found

        assert run("list", "FW.fwm").strip() == example(text, "firmware list")

        for fact in (
            "package of %d bytes" % len(package),
            "has %d bytes" % len(request),
            "checksum `%s`" % package[:8].decode(),
            "At 0x%x the record" % (15 + len(request)),
            "`%02x %02x`" % (package[13], package[14]),
        ):
            assert fact in text, "the document does not say: " + fact

        short = example(text, "short request")
        (folder / "short.json").write_text(short)
        (folder / "main.hex").write_text(":10000000" + "00" * 16 + "F0\n:00000001FF\n")
        (folder / "fpga.bin").write_bytes(b"FPGACODE")
        long = json.loads(run("explain", "short.json"))
        assert [chip["chip_type"] for chip in long["chips"]] == ["1", "18"]
        (folder / "main.bin").write_bytes(bytes(16))
        compact = json.dumps(long, sort_keys=True, separators=(",", ":")).encode()
        run("build", "short.json", "-o", "short.fwm", "--force")
        expected = pack(compact.replace(b"main.hex", b"main.bin"), folder)
        built = (folder / "short.fwm").read_bytes()
        assert built[13:].replace(b"main.hex", b"main.bin") == expected[13:]

        digest = command.output("md5sum", input="archive").split()[0].encode()
        assert net == b"1.23\0" + digest + bytes(25) + b"archive"
        run("add-net", "FW.fwm", "net.bin", "-o", "with-net.fwm")
        merged = (folder / "with-net.fwm").read_bytes()
        assert merged.endswith(
            bytes([32, 1, 0, 0, 0, 1, 23, 0]) + struct.pack("<I", len(net)) + net
        )
        assert merged[:8].rstrip(b"\0") == b"%x" % zlib.crc32(merged[8:])
        length = struct.unpack_from("<H", merged, 13)[0]
        chips = json.loads(merged[15 : 15 + length])["chips"]
        chip = example(text, "network module chip")
        assert chips[-1] == json.loads(chip) and chip.encode() in merged[15 : 15 + length]


if __name__ == "__main__":
    main(*sys.argv[1:])
