# SPDX-License-Identifier: Apache-2.0
"""Applies the changes of tests/mutations/mutations.toml, each of which a test must detect.

Works in a copy of the sources with a separate build tree, both in build/mutations. The named
tests must pass there without a change; after each change at least one of them must fail. The exit
status is 1 when a change was not detected, did not compile, or its text was not found.
"""

import argparse
import dataclasses
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import tomllib

from scripts.lib import lint

ROOT = lint.ROOT
LIST = "tests/mutations/mutations.toml"
WORK = os.path.join(ROOT, "build", "mutations")

# How long the tests of one change may take, in seconds. A change after which they do not end is
# detected, too.
LONGEST_TESTS = 180


@dataclasses.dataclass
class Mutation:
    """One change of a source file."""

    name: str
    file: str
    breaks: str
    tests: str
    old: str
    new: str

    def changed(self, text):
        """The file's text after the change, or None when the change does not fit."""
        return text.replace(self.old, self.new) if text.count(self.old) == 1 else None


def read_list(path):
    with open(path, "rb") as file:
        return [Mutation(**entry) for entry in tomllib.load(file)["mutation"]]


def misfits(mutations, root):
    """The names of the changes whose text does not occur exactly once, or that change nothing."""
    return [
        mutation.name
        for mutation in mutations
        if mutation.changed(text_of(root, mutation.file)) in (None, text_of(root, mutation.file))
    ]


def text_of(root, name):
    with open(os.path.join(root, name), encoding="utf-8") as file:
        return file.read()


class Copy:
    """A copy of the sources, and its build tree."""

    def __init__(self, work):
        self.source = os.path.join(work, "source")
        self.tree = os.path.join(work, "tree")
        self.log = os.path.join(work, "log")
        os.makedirs(self.log, exist_ok=True)

    def update(self):
        """Makes the copy equal to the working tree. Files that are equal already keep their time,
        so that a second run compiles little."""
        names = set(lint.tracked())
        for folder, _, files in os.walk(self.source):
            for file in files:
                path = os.path.join(folder, file)
                if os.path.relpath(path, self.source) not in names:
                    os.remove(path)
        for name in names:
            original, copy = os.path.join(ROOT, name), os.path.join(self.source, name)
            if not (os.path.isfile(copy) and bytes_of(copy) == bytes_of(original)):
                os.makedirs(os.path.dirname(copy), exist_ok=True)
                shutil.copy(original, copy)

    def configure(self):
        """Few sources are compiled together, since a change compiles those again."""
        command = ["cmake", "--preset", "debug", "-B", self.tree, "-DAGENT_BENCH=OFF"]
        command += ["-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=4"]
        command += ["-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g0"]
        self.run("configure", command, check=True)

    def names(self, regex):
        """The tests that match."""
        command = ["ctest", "--test-dir", self.tree, "-R", regex, "--show-only=json-v1"]
        shown = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        return [test["name"] for test in json.loads(shown)["tests"]]

    def programs(self, regex):
        """The test programs of the tests that match: FOLDER_tests of FOLDER_TOPIC."""
        names = self.names(regex)
        return sorted(
            folder + "_tests"
            for folder in self.folders()
            if any(name.startswith(folder + "_") for name in names)
        )

    def folders(self):
        command = ["cmake", "--build", self.tree, "--target", "help"]
        shown = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        return re.findall(r"^(\w+)_tests: phony$", shown, re.M)

    def build(self, name, programs):
        command = ["cmake", "--build", self.tree, "-j", str(os.cpu_count()), "--target", *programs]
        return self.run(name + "-build", command).returncode == 0

    def failed_tests(self, name, regex, seconds=None):
        """The tests that fail, in words; None when all of them pass."""
        command = ["ctest", "--test-dir", self.tree, "--output-on-failure", "-j8", "-R", regex]
        done = self.run(name + "-test", command, seconds)
        if done is None:
            return "no end"
        failed = re.findall(r"^\s*\d+ - (\S+) \(", done.stdout, re.M)
        return ", ".join(failed) or (None if done.returncode == 0 else "ctest fails")

    def run(self, name, command, seconds=None, check=False):
        """Runs a command with its output in a log; None when it takes longer than `seconds`."""
        with subprocess.Popen(
            command,
            cwd=self.source,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            errors="replace",
            start_new_session=True,
        ) as process:
            try:
                output, _ = process.communicate(timeout=seconds)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                output, _ = process.communicate()
                return None
            finally:
                with open(os.path.join(self.log, name), "w", encoding="utf-8") as file:
                    file.write(output or "")
        if check and process.returncode:
            sys.exit(f"mutations: {command[0]} fails:\n{output}")
        return subprocess.CompletedProcess(command, process.returncode, output)


def bytes_of(path):
    with open(path, "rb") as file:
        return file.read()


def try_mutation(copy, mutation):
    """Whether the change was detected, and by what."""
    path = os.path.join(copy.source, mutation.file)
    original = text_of(copy.source, mutation.file)
    try:
        with open(path, "w", encoding="utf-8") as file:
            file.write(mutation.changed(original))
        if not copy.build(mutation.name, copy.programs(mutation.tests)):
            return False, "does not compile"
        failed = copy.failed_tests(mutation.name, mutation.tests, LONGEST_TESTS)
    finally:
        with open(path, "w", encoding="utf-8") as file:
            file.write(original)
    return failed is not None, failed or "NOT DETECTED"


def check_unchanged(copy, mutations):
    """Ends the program when a named test fails without a change, or no test has the name."""
    names = set()
    for mutation in mutations:
        matching = copy.names(mutation.tests)
        if not matching:
            sys.exit(f"mutations: no test matches '{mutation.tests}' of {mutation.name}")
        names.update(matching)
    regex = f"^({'|'.join(sorted(names))})$"
    if not copy.build("unchanged", copy.programs(regex)):
        sys.exit(f"mutations: the sources do not compile, see {copy.log}/unchanged-build")
    failed = copy.failed_tests("unchanged", regex)
    if failed is not None:
        sys.exit(f"mutations: without a change these fail: {failed}")


def main():
    parser = argparse.ArgumentParser(prog="scripts/check mutations --", description=__doc__)
    parser.add_argument("--list", action="store_true", help="only print what each change breaks")
    parser.add_argument("--texts", action="store_true", help="only check that each change fits")
    parser.add_argument("names", nargs="*", metavar="NAME", help="only these (REGEX)")
    options = parser.parse_args()

    mutations = [
        mutation
        for mutation in read_list(os.path.join(ROOT, LIST))
        if not options.names or any(re.search(name, mutation.name) for name in options.names)
    ]
    if not mutations:
        sys.exit("mutations: no change has such a name")
    if options.list:
        for mutation in mutations:
            print(f"{mutation.name:<36} {mutation.breaks}")
        return 0
    wrong = misfits(mutations, ROOT)
    for name in wrong:
        print(f"{LIST}: the text of '{name}' does not occur once, or stays the same")
    if wrong or options.texts:
        return 1 if wrong else 0

    copy = Copy(WORK)
    copy.update()
    copy.configure()
    check_unchanged(copy, mutations)
    detected = 0
    for mutation in mutations:
        begin = time.monotonic()
        found, by = try_mutation(copy, mutation)
        detected += found
        print(f"{mutation.name:<36} {time.monotonic() - begin:4.0f} s  {by}", flush=True)
    print(f"{detected} of {len(mutations)} detected")
    return 0 if detected == len(mutations) else 1


if __name__ == "__main__":
    sys.exit(main())
