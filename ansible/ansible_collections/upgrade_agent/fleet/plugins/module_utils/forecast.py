# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""What an upgrade would write, for check mode. Pure functions."""

from __future__ import annotations

WOULD_WRITE = "would-write"
UNKNOWN = "unknown"
# The results that `fwm plan` predicts, as decisions of a task that writes nothing.
PLANNED = {"updated": WOULD_WRITE}


def version_number(text):
    """A version as a tuple of three numbers, or None."""
    parts = (text or "").split(".")
    if not 2 <= len(parts) <= 3 or not all(part.isdigit() for part in parts):
        return None
    return tuple(int(part) for part in parts + ["0"] * (3 - len(parts)))


def entries_of(document):
    """The firmware list of `fwm list` or of `upgrade-console list`, in one form."""
    entries = document.get("list")
    return document["package"]["images"] if entries is None else entries


def _rows_of(entries, rows):
    """(name, chip type, chip index) of each row: those named, or every chip of the package."""
    every: list[tuple] = []
    for entry in entries:
        for index in range(max(entry["chip_quantity"], 1)):
            row = (entry["chip"], entry["chip_type"], index)
            if row[1:] not in [other[1:] for other in every]:
                every.append(row)
    if not rows:
        return every
    wanted: list[tuple] = []
    for text in rows:
        fields = [field.strip() for field in text.split(",")]
        if len(fields) == 3 and fields[1].isdigit() and fields[2].isdigit():
            wanted.append((fields[0], int(fields[1]), int(fields[2])))
        else:
            name = text.replace(" ", "")
            wanted += [row for row in every if row[0].replace(" ", "") == name]
    return wanted


def _decision(known, offered, mode):
    """What a run in this mode decides for a chip with the known version, or UNKNOWN where the
    package has several images and not all of them lead to the same decision."""
    if mode == 5:
        return WOULD_WRITE
    if known is None or not offered:
        return UNKNOWN
    decisions = {
        WOULD_WRITE if new > known else "up-to-date" if new == known else "package-older"
        for new in offered
    }
    return decisions.pop() if len(decisions) == 1 else UNKNOWN


def from_versions(entries, rows, mode, versions):
    """The chips of an upgrade, predicted from the versions that the module's log has."""
    known = {(chip["chip_type"], chip["chip_index"]): chip["version"] for chip in versions}
    chips = []
    for name, chip_type, index in _rows_of(entries, rows):
        offered = [entry["version"] for entry in entries if entry["chip_type"] == chip_type]
        before = known.get((chip_type, index), "")
        numbers = {version_number(text) for text in offered}
        decision = _decision(version_number(before), numbers, mode)
        newest = max(offered, key=version_number, default="")
        chips.append(_chip(name, chip_type, index, decision, before, newest))
    return chips


def from_plan(document):
    """The chips of an upgrade, predicted by `fwm plan` from a description of the device."""
    chips = []
    for row in document.get("rows", []):
        fields = row["row"].split(",")
        numbers = [int(text) if text.strip().isdigit() else None for text in fields[1:3]]
        before = ".".join(fields[6:9]) if len(fields) >= 9 and all(fields[6:9]) else ""
        decision = PLANNED.get(row["result"], row["result"])
        new = row.get("image", {}).get("version", before)
        chips.append(_chip(row["name"], numbers[0], numbers[1], decision, before, new))
    return chips


def _chip(name, chip_type, chip_index, decision, before, offered):
    return {
        "name": name,
        "chip_type": chip_type,
        "chip_index": chip_index,
        "decision": decision,
        "version_before": before,
        "version_after": offered if decision in (WOULD_WRITE, UNKNOWN) else before,
        "version_package": offered,
        "seconds": None,
        "retries": 0,
        "problem": None,
    }


def writes(chips):
    """Whether an upgrade may write something: what is not known counts."""
    return any(chip["decision"] in (WOULD_WRITE, UNKNOWN) for chip in chips)


def summary(chips):
    """The prediction in one sentence."""
    known = sum(chip["decision"] == WOULD_WRITE for chip in chips)
    unknown = sum(chip["decision"] == UNKNOWN for chip in chips)
    text = f"{known} of {len(chips)} chips would be written"
    return f"{text}, and the versions of {unknown} are not known." if unknown else f"{text}."


def package_of(document):
    """Model and version of the package of `fwm list` or `upgrade-console list`."""
    if "package" in document:
        return {key: document["package"][key] for key in ("model", "version")}
    return {"model": document["model"], "version": document["release"]}
