# SPDX-License-Identifier: Apache-2.0
"""What is installed in the campaign: the module's files of each version, and its packages."""

import io
import random
import tarfile

from tests.harness import agentcase, netimage, package
from tests.harness.package import image_bytes
from tests.powercuts.findings import Expected, Module

FOLDER = "/srv/module"
FILES = 400
LARGEST_FILE = 24_000
# The versions on the module, one after the other: by package, and then by blocks.
VERSIONS = ("1.00", "1.01", "1.02")
AUX = package.Image("AUX", image_bytes(20_000, "aux"), chip_type=1)
# The simulated device answers for the module, too, which saves the time-outs of its version.
DEVICE = agentcase.device(
    agentcase.chip("AUX", 1), agentcase.chip("NET", netimage.CHIP_TYPE, version="0.1")
)


def files(version):
    """{name: bytes}: sizes and contents depend on the version. A third of each file cannot be
    compressed."""
    choice = random.Random(version)
    made = {}
    for number in range(FILES):
        size = choice.randint(1, LARGEST_FILE)
        text = f"file {number} of version {version}\n".encode() * (size // 20)
        made[f"{number % 20:02d}/{number:03d}"] = text[: size * 2 // 3] + choice.randbytes(
            -(-size // 3)
        )
    return made


def archive(entries, compression=""):
    """A tar archive of {path: bytes}; it changes no folder of the module."""
    output = io.BytesIO()
    with tarfile.open(fileobj=output, mode=f"w:{compression}") as tar:
        for path, content in entries.items():
            entry = tarfile.TarInfo(path.lstrip("/"))
            entry.size = len(content)
            tar.addfile(entry, io.BytesIO(content))
    return output.getvalue()


def image(version):
    """The image for the module with these files."""
    content = archive({f"{FOLDER}/{name}": data for name, data in files(version).items()}, "bz2")
    # Blocks could not carry an archive that ends with their padding.
    assert content[-1] != 0xFF, f"choose another version than {version}"
    return netimage.with_head(content, version)


def firmware(version):
    """The package with that image, and one for a chip."""
    return package.build([netimage.in_package(image(version)), AUX], version=f"1.0.{version[-1]}")


def module(version, package_version):
    """The module that runs `version`, with the package of another version."""
    return Module(files(version), package=firmware(package_version), version=version.encode())


def expectations():
    """{name of a window: Expected}, in the order of the recording."""
    first, second, third = VERSIONS
    return {
        "publication": Expected(module(first, first), module(first, second)),
        "package": Expected(
            module(first, second), module(second, second), image(second)[netimage.HEAD_SIZE :]
        ),
        "blocks": Expected(
            module(second, second), module(third, second), image(third)[netimage.HEAD_SIZE :]
        ),
    }
