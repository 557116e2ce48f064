# SPDX-License-Identifier: Apache-2.0
"""Fills the folder that a test finds as a /data that cannot be written: FOLDER."""

import os
import sys

from tests.harness import package
from tests.system.test_net_places import PACKAGE_IMAGES


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "FW.fwm"), "wb") as file:
        file.write(package.build(PACKAGE_IMAGES))


if __name__ == "__main__":
    main()
