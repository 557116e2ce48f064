#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the golden packages of the tests, each named by what is wrong with it.

It shares no code with the program under test: the layout is put together by hand here and the
checksum is zlib's. `make_golden.py DIR` writes the files; with `--check` it compares them instead
and fails when one differs.
"""
import hashlib
import json
import pathlib
import struct
import sys
import zlib


def pcb(name, version="1", speciality="A", vers=("1", "2", "3"), **more):
    entry = {"name": name, "pcb_version": version, "speciality": speciality}
    entry.update(zip(("ver1", "ver2", "ver3"), vers))
    entry.update(more)
    return entry


def chip(name, chip_type, quantity, mcus):
    return {
        "name": name,
        "chip_type": str(chip_type),
        "chip_quanity": str(quantity),
        "mcus": [{"mcu_type": str(m), "pcbs": pcbs} for m, pcbs in mcus],
    }


def description(*chips, model="MX-88", version="1.0.12"):
    return json.dumps(
        {"model": model, "version": version, "chips": list(chips)}, separators=(",", ":")
    ).encode()


def record(chip_type, quantity, mcu, pcb_version, speciality, vers, image, length=None):
    return (
        bytes([chip_type, quantity, mcu, pcb_version, speciality, *vers])
        + struct.pack("<I", len(image) if length is None else length)
        + image
    )


def checksummed(body):
    return (b"%x" % zlib.crc32(body)).ljust(8, b"\0") + body


def head(text, version, length_form, length):
    """Magic, version, and the description with its length."""
    size = struct.pack(length_form, len(text) if length is None else length)
    return b"MTU" + struct.pack(">H", version) + size + text


def current(text, records=b"", version=6, length=None):
    return checksummed(head(text, version, "<H", length) + records)


def long_form(text, records=b"", version=2, length=None):
    return checksummed(head(text, version, "<I", length) + records)


def bare(text, version=6, length=None):
    return head(text, version, "<I", length)


def net_image(version=b"1.23", archive=b"BZh9 not really an archive", md5=None):
    digest = hashlib.md5(archive).hexdigest().encode() if md5 is None else md5
    return version + b"\0" + digest + bytes(25) + archive


# No chip takes an image of fewer than 256 bytes as complete.
MAIN_IMAGE = bytes(range(256)) + bytes(range(20))
FPGA_IMAGE = bytes(range(256)) + b"\xff" * 7
MAIN = chip("MAIN", 1, 1, [(1, [pcb("MAIN-A")])])


def main_record(versions=(1, 2, 3), image=MAIN_IMAGE, length=None):
    return record(0, 1, 1, 1, ord("A"), versions, image, length)


MAIN_RECORD = main_record()
FPGA = chip("FPGA", 18, 1, [(0, [pcb("FPGA", "0", "", ("2", "0", "0"))])])
FPGA_RECORD = record(17, 1, 0, 0, 0, (2, 0, 0), FPGA_IMAGE)
NET = chip("NET", 33, 1, [(0, [pcb("NET", "0", "", ("1", "23", "00"))])])


def net_record(image):
    return record(32, 1, 0, 0, 0, (1, 23, 0), image)


def with_net(image):
    return current(description(MAIN, NET), MAIN_RECORD + net_record(image))


def narrow_checksum():
    """The first release text that gives a checksum of seven digits."""
    release = 0
    while True:
        package = current(description(MAIN, version="1.0.%d" % release), MAIN_RECORD)
        if package[7] == 0 and package[6] != 0:
            return package
        release += 1


WRONG_TYPES = {
    "model": 5,
    "version": None,
    "chips": [
        7,
        {"mcus": "x"},
        {
            "chip_type": 3,
            "mcus": [[], {"pcbs": {}}, {"pcbs": [1, {"name": {}, "ver1": [], "speciality": 65}]}],
        },
    ],
}


def golden():
    good = current(
        description(MAIN, FPGA, NET), MAIN_RECORD + FPGA_RECORD + net_record(net_image())
    )
    upper_digest = hashlib.md5(b"BZh9 not really an archive").hexdigest().upper().encode()
    letters = current(description(MAIN), MAIN_RECORD)
    assert any(c in b"abcdef" for c in letters[:8])
    plain = description(MAIN)
    flipped = bytearray(current(plain, MAIN_RECORD))
    flipped[-1] ^= 1
    main_twice = chip("MAIN", 1, 1, [(1, [pcb("MAIN-A"), pcb("MAIN-A")])])
    return {
        "good": good,
        "good-checksum-of-seven-digits": narrow_checksum(),
        "good-no-images": current(description()),
        "good-numbers-above-255": current(
            description(
                chip("BIG", 257, 300, [(258, [pcb("BIG", "259", "Z", ("256", "511", "1"))])])
            ),
            record(0, 44, 2, 3, ord("Z"), (0, 255, 1), b"x" * 256),
        ),
        "empty": b"",
        "checksum-text-only": b"00000000",
        "one-byte-after-the-checksum": checksummed(b"M"),
        "no-magic": checksummed(b"This is not a package file"),
        "head-cut-in-version": checksummed(b"MTU\0"),
        "head-cut-in-json-length": checksummed(b"MTU\0\x06\x02"),
        "version-0": current(plain, MAIN_RECORD, version=0),
        "version-1": current(plain, MAIN_RECORD, version=1),
        "version-2": long_form(plain, MAIN_RECORD),
        "version-2-claims-4-gib-of-json": long_form(plain, length=0xFFFFFFFF),
        "version-3": current(plain, MAIN_RECORD, version=3),
        "version-5": current(plain, MAIN_RECORD, version=5),
        "version-7": current(plain, MAIN_RECORD, version=7),
        "version-bytes-swapped": current(plain, MAIN_RECORD, version=0x0600),
        "bare": bare(plain),
        "bare-cut-in-head": b"MTU\0\x06\x02\0",
        "bare-claims-4-gib-of-json": bare(plain, length=0xFFFFFFFF),
        "checksum-in-uppercase": letters[:8].upper() + letters[8:],
        "checksum-wrong": bytes(flipped),
        "checksum-padded-with-zero": b"0" + narrow_checksum()[:7] + narrow_checksum()[8:],
        "json-longer-than-file": current(plain, length=60000),
        "json-not-json": current(b'{"model": MX}'),
        "json-a-list": current(b"[1,2]"),
        "json-empty": current(b""),
        "json-chips-an-object": current(b'{"model":"MX-88","version":"1","chips":{}}'),
        "json-chips-missing": current(b'{"model":"MX-88","version":"1"}'),
        "json-lists-under-one-key-twice": current(
            b'{"model":"MX-88","version":"1","chips":[],"chips":[{"mcus":[]}]}'
        ),
        "json-nested-too-deep": current(b'{"chips":' + b"[" * 2000 + b"]" * 2000 + b"}"),
        "json-wrong-types": current(json.dumps(WRONG_TYPES).encode()),
        "record-header-cut": current(plain, MAIN_RECORD + b"\0\1\1\1A"),
        "record-cut": current(plain, MAIN_RECORD[:-1]),
        "record-claims-4-gib": current(plain, main_record(image=b"abc", length=0xFFFFFFFF)),
        "record-of-length-0": current(plain, main_record(image=b"")),
        "record-twice": current(description(main_twice), MAIN_RECORD + MAIN_RECORD),
        "record-missing": current(description(MAIN, FPGA), MAIN_RECORD),
        "record-of-other-version": current(plain, main_record((1, 2, 4))),
        "entry-missing": current(plain, MAIN_RECORD + FPGA_RECORD),
        "net-md5-in-uppercase": with_net(net_image(md5=upper_digest)),
        "net-md5-wrong": with_net(net_image(md5=b"0" * 32)),
        "net-shorter-than-its-head": with_net(net_image()[:40]),
        "net-without-archive": with_net(net_image(archive=b"")),
    }


def main(arguments):
    check = "--check" in arguments
    folder = pathlib.Path([a for a in arguments if a != "--check"][0])
    packages = golden()
    wrong = []
    for name, package in packages.items():
        path = folder / (name + ".fwm")
        if not check:
            path.write_bytes(package)
        elif not path.exists() or path.read_bytes() != package:
            wrong.append(path.name)
    wrong += sorted(p.name for p in folder.glob("*.fwm") if p.stem not in packages)
    if wrong:
        sys.exit("golden packages that are not what the generator makes: " + ", ".join(wrong))


if __name__ == "__main__":
    main(sys.argv[1:])
