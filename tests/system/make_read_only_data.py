# SPDX-License-Identifier: Apache-2.0
"""Fills the folder that a test finds as a /data that cannot be written: FOLDER."""

import os
import sys

from tests.harness import module, package
from tests.system.test_net_places import PACKAGE_IMAGES


def main():
    module.put(os.path.join(sys.argv[1], "FW.fwm"), package.build(PACKAGE_IMAGES))


if __name__ == "__main__":
    main()
