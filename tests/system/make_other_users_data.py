# SPDX-License-Identifier: Apache-2.0
"""Fills the folder that a test finds as a /data in which an agent of another user has left its
files: FOLDER."""

import os
import shutil
import sys

from tests.harness import module

OTHER_USER = 65534


def main():
    folder = sys.argv[1]
    shutil.rmtree(folder, ignore_errors=True)
    for name, content in (("sysupdate.tar.bz2", b"old archive"), ("version", b"1.00")):
        path = os.path.join(folder, name)
        module.put(path, content)
        os.chmod(path, 0o444)
        # Without root's rights it is a file that its own user may not write, which is the same.
        if os.getuid() == 0:
            os.chown(path, OTHER_USER, OTHER_USER)


if __name__ == "__main__":
    main()
