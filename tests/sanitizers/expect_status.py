# SPDX-License-Identifier: Apache-2.0
"""Runs a program that must end with a status: STATUS PROGRAM [ARGUMENT]..."""

import subprocess
import sys


def main():
    expected, command = int(sys.argv[1]), sys.argv[2:]
    status = subprocess.run(command, check=False).returncode
    print(f"ended with {status}, expected {expected}")
    return 0 if status == expected else 1


if __name__ == "__main__":
    sys.exit(main())
