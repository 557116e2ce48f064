# SPDX-License-Identifier: Apache-2.0
"""Takes the kernel out of a bzImage.

The kernel's own decompressor takes most of the time until init when the processor is emulated, so
QEMU gets the ELF file. The layout is that of the Linux x86 boot protocol, 2.08 and later.
"""

import struct

from tests.harness.command import output

SECTOR = 512
MAGIC = b"HdrS"
MAGIC_AT, VERSION_AT, SECTORS_AT, PAYLOAD_AT = 0x202, 0x206, 0x1F1, 0x248
VERSION_WITH_PAYLOAD = 0x0208
# The size of the unpacked kernel follows the compressed data.
SIZE_BYTES = 4
LZ4 = bytes.fromhex("02214c18")


def payload(image):
    """The compressed kernel, and the size of the unpacked one; ValueError if there is none."""
    if len(image) < PAYLOAD_AT + 8 or image[MAGIC_AT : MAGIC_AT + 4] != MAGIC:
        raise ValueError("not a bzImage")
    if struct.unpack_from("<H", image, VERSION_AT)[0] < VERSION_WITH_PAYLOAD:
        raise ValueError("the boot protocol is older than 2.08")
    # 0 stands for 4 in kernels that are older than this field.
    setup_sectors = image[SECTORS_AT] or 4
    offset, length = struct.unpack_from("<II", image, PAYLOAD_AT)
    start = (setup_sectors + 1) * SECTOR + offset
    if length <= SIZE_BYTES or start + length > len(image):
        raise ValueError("the payload is not inside the file")
    content = image[start : start + length]
    return content[:-SIZE_BYTES], struct.unpack("<I", content[-SIZE_BYTES:])[0]


def unpacked(image):
    """The kernel's ELF file; ValueError if it is compressed with something other than LZ4."""
    content, size = payload(image)
    if not content.startswith(LZ4):
        raise ValueError(f"the kernel is not compressed with LZ4: {content[:4].hex()}")
    image = output("lz4", "-d", "-c", input=content, text=False)
    if len(image) != size:
        raise ValueError(f"{len(image)} bytes unpacked instead of {size}")
    return image
