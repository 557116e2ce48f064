# SPDX-License-Identifier: Apache-2.0
"""Fills the folder that a test finds as its /data: read_only or other_user, FOLDER."""

import os
import shutil
import sys

from tests.harness import module, package
from tests.system.test_net_places import PACKAGE_IMAGES

OTHER_USER = 65534


def read_only(folder):
    """A package; the folder is mounted so that it cannot be written."""
    module.put(os.path.join(folder, "FW.fwm"), package.build(PACKAGE_IMAGES))


def other_user(folder):
    """The files that an agent of another user has left."""
    shutil.rmtree(folder, ignore_errors=True)
    for name, content in (("sysupdate.tar.bz2", b"old archive"), ("version", b"1.00")):
        path = os.path.join(folder, name)
        module.put(path, content)
        os.chmod(path, 0o444)
        # Without root's rights it is a file that its own user may not write, which is the same.
        if os.getuid() == 0:
            os.chown(path, OTHER_USER, OTHER_USER)


if __name__ == "__main__":
    {"read_only": read_only, "other_user": other_user}[sys.argv[1]](sys.argv[2])
