# SPDX-License-Identifier: Apache-2.0
"""The examples of the protocol pages, and the package that they are about."""

from tests.docs import examples

from .package import Image

CONSOLE = examples.page("console-protocol.md")
MCU = examples.page("mcu-protocol.md")
PACKAGE = (
    Image("MAIN", examples.IMAGES["MAIN"]),
    Image("AUX", examples.IMAGES["AUX"], chip_type=1, mcu_type=2, speciality="B"),
    Image("FPGA", b"F" * 300, chip_type=17, version=(3, 1, 0)),
)

blocks, conversation = examples.blocks, examples.conversation
device, session = examples.device, examples.session
