# SPDX-License-Identifier: Apache-2.0
"""Runs cases in virtual modules; scripts/module-vm starts it."""

import argparse
import signal
import subprocess
import sys
import time
import unittest

from scripts.lib import results
from tests.vm import (
    case,
    cases_boots,
    cases_day,
    cases_packages,
    cases_quick,
    cases_running,
    machine,
)
from tests.vm.module import VirtualModule

QUICK = (cases_quick,)
ALL = (*QUICK, cases_running, cases_boots, cases_packages, cases_day)

PROCESSORS = {"kvm": "hardware virtualisation", "tcg": "emulated processor"}
# As a shell reports a program that SIGINT has ended.
INTERRUPTED = 130


class Result(unittest.TestResult):
    """Prints a line for each case as it ends, and keeps (case, result, seconds)."""

    def __init__(self):
        super().__init__()
        self.rows = []
        self._begin = 0.0
        self._is_good = True

    def _problem(self, text):
        self._is_good = False
        print(text, file=sys.stderr, flush=True)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._problem(self.failures[-1][1])

    def addError(self, test, err):
        super().addError(test, err)
        self._problem(self.errors[-1][1])
        # A class whose module did not boot has no case that could end.
        if not isinstance(test, unittest.TestCase):
            self.add(str(test))

    def startTest(self, test):
        super().startTest(test)
        self._begin = time.monotonic()
        self._is_good = True

    def stopTest(self, test):
        super().stopTest(test)
        self.add(test.shortDescription() or str(test))

    def add(self, name):
        result = "passed" if self._is_good else "FAILED"
        seconds = time.monotonic() - self._begin
        self.rows.append((name, result, f"{seconds:.0f} s"))
        print(f"{result:6} {seconds:5.0f} s  {name}", flush=True)
        self._begin = time.monotonic()


def selected(modules, words):
    """The cases of modules whose name or description contains one of the words, class by class."""

    def fits(one):
        return not words or any(word in f"{one} {one.shortDescription()}" for word in words)

    suite = unittest.TestSuite()
    for module in modules:
        group: unittest.TestSuite
        for group in unittest.defaultTestLoader.loadTestsFromModule(module):  # type: ignore
            suite.addTest(unittest.TestSuite(one for one in group if fits(one)))
    return suite


def run(modules, words):
    """Runs the cases; returns the rows of the report and whether all passed."""
    result = Result()
    try:
        selected(modules, words).run(result)
    finally:
        # unittest does this at the end of a class, but not when it is interrupted.
        for one in case.ModuleCase.__subclasses__():
            one.doClassCleanups()
    print(f"{result.testsRun} cases, {len(result.failures) + len(result.errors)} failed")
    return result.rows, result.testsRun > 0 and result.wasSuccessful()


def shell():
    """A module for people: root's shell, and the addresses of the console and of the device."""

    class Shell(case.ModuleCase):
        """Never run as a test."""

    try:
        print("The module boots; this takes about a minute.", flush=True)
        Shell.setUpClass()
        module: VirtualModule = Shell.module
        client = Shell.environment.program("upgrade-console")
        print("For another terminal of this machine:")
        print(f"  {client} --host 127.0.0.1 --port {module.machine.console_port} status")
        print(f"  echo status | socat - UNIX-CONNECT:{Shell.simulator.control_path}")
        print("root's shell on the module; exit ends it:", flush=True)
        return subprocess.run(module.ssh_command(), check=False).returncode
    finally:
        Shell.doClassCleanups()


def read_options(arguments=None):
    parser = argparse.ArgumentParser(
        prog="scripts/module-vm",
        description="Boots network modules in virtual machines and runs cases on them.",
    )
    what = parser.add_mutually_exclusive_group(required=True)
    what.add_argument("--quick", action="store_true", help="a boot and two upgrades")
    what.add_argument("--all", action="store_true", help="every case")
    what.add_argument("--shell", action="store_true", help="root's shell in a module")
    parser.add_argument("--arch", choices=tuple(machine.PROGRAMS), default=machine.own())
    parser.add_argument("--record", action="store_true", help="write the table of the results page")
    parser.add_argument(
        "case", nargs="*", help="only the cases whose name or description contains this text"
    )
    parser.add_argument("--print-architecture", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args(arguments)
    options.modules = QUICK if options.quick else ALL
    # Before anything is built.
    if options.shell and options.case:
        parser.error("--shell runs no case")
    if not selected(options.modules, options.case).countTestCases():
        parser.error(
            f"no case has {' or '.join(map(repr, options.case))} in its name or description"
        )
    return options


def main():
    options = read_options()
    if options.print_architecture:
        print(options.arch)
        return 0
    # No end of this program may leave a module running.
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.default_int_handler)
    if options.shell:
        return shell()
    rows, is_good = run(options.modules, options.case)
    if options.record:
        table = results.table(("case", "result", "time"), rows, right=(2,))
        remark = PROCESSORS[case.Environment().accelerator]
        results.record(f"module-vm-{options.arch}", table, remark)
    return 0 if is_good else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        print("interrupted", file=sys.stderr)
        sys.exit(INTERRUPTED)
