# SPDX-License-Identifier: Apache-2.0
"""Lists the test functions of modules, one per line: MODULE CLASS.FUNCTION.

usage: python3 -B -m tests.harness.cases MODULE...

Fails if a module cannot be loaded.
"""

import sys
import unittest


def cases(module):
    """The names of a module's test functions, in the order in which unittest runs them."""
    loader = unittest.TestLoader()
    found = list(flat(loader.loadTestsFromName(module)))
    if loader.errors:
        raise ImportError("\n".join(map(str, loader.errors)))
    return [f"{type(test).__name__}.{test.id().rpartition('.')[2]}" for test in found]


def flat(suite):
    """The tests of a suite and of all suites in it."""
    for entry in suite:
        if isinstance(entry, unittest.TestSuite):
            yield from flat(entry)
        else:
            yield entry


def main(modules):
    try:
        lines = [f"{module} {case}" for module in modules for case in cases(module)]
    except ImportError as error:
        return str(error)
    print(*lines, sep="\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
