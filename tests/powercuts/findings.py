# SPDX-License-Identifier: Apache-2.0
"""What a power cut left of an installation: the state of each file, the promises, the table."""

import collections
import dataclasses
import enum

from scripts.lib import results


class FileState(enum.Enum):
    """The content of a file, compared with those before and after the installation."""

    OLD = "old"
    NEW = "new"
    EMPTY = "empty"
    PARTIAL = "partial"
    MISSING = "missing"


def file_state(content, old, new):
    """Each argument is the bytes of a file, or None where there is none."""
    if content == old:
        return FileState.OLD
    if content == new:
        return FileState.NEW
    if content is None:
        return FileState.MISSING
    return FileState.PARTIAL if content else FileState.EMPTY


@dataclasses.dataclass(frozen=True)
class Module:
    """What matters of a module's disk: the files of the archive by name, and the contents of
    archive, package, version file and marker, or None where there is none."""

    files: dict[str, bytes]
    archive: bytes | None = None
    package: bytes | None = None
    version: bytes | None = None
    marker: bytes | None = None


@dataclasses.dataclass(frozen=True)
class Expected:
    """The module before the operation and after it, and the archive during it."""

    old: Module
    new: Module
    archive: bytes | None = None


@dataclasses.dataclass(frozen=True)
class State:
    """The module after one cut."""

    repairable: bool
    files: collections.Counter
    archive: FileState
    package: FileState
    version: FileState
    marker: str

    def all_files(self, state):
        return set(self.files) <= {state}

    @property
    def incomplete(self):
        """How many files are there in part, or not at all."""
        return self.files[FileState.PARTIAL] + self.files[FileState.MISSING]

    @property
    def mixture(self):
        """What the files are, together."""
        if self.all_files(FileState.OLD):
            return "old"
        return "new" if self.all_files(FileState.NEW) else "mixed"


def marker_text(content):
    """The state that a marker describes, or "none"."""
    if content is None:
        return "none"
    for state in ("unpacking", "unpacked"):
        if state.encode() in content.split():
            return state
    return "unreadable"


def classify(found, expected, repairable=True):
    """Compares a module after a cut with what it was and will be."""
    names = expected.old.files.keys() | expected.new.files.keys()
    files = collections.Counter(
        file_state(
            found.files.get(name), expected.old.files.get(name), expected.new.files.get(name)
        )
        for name in names
    )
    return State(
        repairable,
        files,
        file_state(found.archive, None, expected.archive),
        file_state(found.package, expected.old.package, expected.new.package),
        file_state(found.version, expected.old.version, expected.new.version),
        marker_text(found.marker),
    )


WHOLE = (FileState.OLD, FileState.NEW)
# What always holds, and the name of what does not.
PROMISES = {
    "file system not repairable": lambda state: state.repairable,
    "package neither old nor new": lambda state: state.package in WHOLE,
    "version file neither old nor new": lambda state: state.version in WHOLE,
    "version file ahead of the files": lambda state: state.version is not FileState.NEW
    or state.all_files(FileState.NEW),
    "neither archive nor complete files": lambda state: state.mixture != "mixed"
    or state.archive is FileState.NEW,
    "incomplete files without a marker": lambda state: state.mixture != "mixed"
    or state.marker in ("unpacking", "unpacked"),
}


def broken_promises(state):
    """The names of the promises that this state breaks."""
    return [name for name, holds in PROMISES.items() if not holds(state)]


def spread_of(numbers):
    """The smallest and the largest of some numbers, or the only one."""
    low, high = min(numbers), max(numbers)
    return str(low) if low == high else f"{low} to {high}"


HEAD = ("archive", "marker", "files", "of them empty", "missing or partial", "version", "cuts")


def state_table(states):
    """The kinds of states in the order in which they first occur, each with its number of cuts."""
    kinds: dict[tuple, list] = {}
    for state in states:
        archive = "whole" if state.archive is FileState.NEW else state.archive.value
        archive = "none" if state.archive in (FileState.OLD, FileState.MISSING) else archive
        kind = (archive, state.marker, state.mixture, state.version.value)
        kinds.setdefault(kind, []).append(state)
    rows = []
    for (archive, marker, mixture, version), members in kinds.items():
        empty = spread_of([state.files[FileState.EMPTY] for state in members])
        other = spread_of([state.incomplete for state in members])
        rows.append((archive, marker, mixture, empty, other, version, len(members)))
    return results.table(HEAD, rows, right=(3, 4, 6))
