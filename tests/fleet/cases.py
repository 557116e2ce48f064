# SPDX-License-Identifier: Apache-2.0
"""Runs the cases of rollouts, some at the same time, each in a private network."""

import argparse
import os
import subprocess
import sys
import threading
import time
import unittest

from tests import ROOT
from tests.fleet import test_mistakes, test_rollout, test_simulated, test_tutorial
from tests.harness import files

PRIVATE_NETWORK = os.path.join(ROOT, "scripts", "lib", "private-network")
LOGS = os.path.join(ROOT, "build", "check", "fleet")
# How many characters of a failed case's output are shown.
END = 3000
# Every wait in a case has a shorter limit.
LIMIT_S = 1800


def cases():
    """The names of all cases."""
    # The device that dies takes longest: the agent waits for it.
    classes: list[type[unittest.TestCase]] = [test_rollout.TestRollout, test_rollout.TestOthers]
    classes += [test_mistakes.TestMistakes, test_tutorial.TestTutorial]
    classes += [test_simulated.TestSimulated]
    names = [
        f"{case.__module__}.{case.__qualname__}.{name}"
        for case in classes
        for name in unittest.defaultTestLoader.getTestCaseNames(case)
    ]
    return sorted(names, key=lambda name: "device_dies" not in name)


def parse_arguments():
    parser = argparse.ArgumentParser(prog="scripts/check fleet", description=__doc__)
    parser.add_argument("--list", action="store_true", help="list the cases")
    parser.add_argument("--jobs", type=int, default=3, help="cases at the same time (3)")
    parser.add_argument("word", nargs="*", help="only cases with one of these words in the name")
    return parser.parse_args()


def run_case(case):
    """Runs one case; returns whether it passed, and its output."""
    done = subprocess.run(
        [PRIVATE_NETWORK, sys.executable, "-B", "-m", "unittest", case],
        cwd=ROOT,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        errors="replace",
        timeout=LIMIT_S,
        check=False,
    )
    return done.returncode == 0, done.stdout


class Cases:
    """The cases that are left, and the results of the others."""

    def __init__(self, names):
        self._names = list(names)
        self._lock = threading.Lock()
        self.failed = []

    def work(self):
        """Runs cases until none is left."""
        while True:
            with self._lock:
                if not self._names:
                    return
                case = self._names.pop(0)
            begin = time.monotonic()
            try:
                passed, output = run_case(case)
            except subprocess.TimeoutExpired as problem:
                passed, output = False, str(problem)
            with self._lock:
                seconds = time.monotonic() - begin
                result = "passed" if passed else "FAILED"
                print(f"{result}  {seconds:6.1f} s  {case.rsplit('.', 1)[1]}", flush=True)
                if not passed:
                    self.failed.append(case)
                    print(self._keep(case, output), flush=True)

    @staticmethod
    def _keep(case, output):
        """Writes what a failed case has printed into a file; returns its end, with the file."""
        log = os.path.join(LOGS, case.rsplit(".", 1)[1] + ".log")
        files.write(log, output)
        return f"{output[-END:]}\n(all of it: {os.path.relpath(log, ROOT)})"


def main():
    options = parse_arguments()
    names = [
        case for case in cases() if not options.word or any(word in case for word in options.word)
    ]
    if options.list or not names:
        print(*(case.rsplit(".", 1)[1] for case in names or cases()), sep="\n")
        return 0 if options.list else 2
    work = Cases(names)
    workers = [threading.Thread(target=work.work) for _ in range(options.jobs)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    print(f"{len(names) - len(work.failed)} of {len(names)} cases passed")
    return 1 if work.failed else 0


if __name__ == "__main__":
    sys.exit(main())
