# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Results of tasks, from the JSON documents of upgrade-console and fwm. Pure functions."""

from __future__ import annotations

# Exit statuses of upgrade-console and fwm.
DONE = 0
NOTHING_TO_DO = 3
BUSY = 4
CANNOT_CONNECT = 5
CONNECTION_LOST = 6

WRITTEN = "updated"
CURRENT = "up-to-date"


def sentence(error):
    """The cause, the detail and the advice of an `error` of a document, as one text."""
    if not error:
        return "the program gives no reason"
    detail = f": {error['detail']}" if error.get("detail") else ""
    cause = f"{error['text']}{detail}".rstrip(".")
    advice = f" {error['advice']}" if error.get("advice") else ""
    return f"{cause}.{advice}"


def chip_name(chip):
    """A chip as people read it: its name, with type and index where they are known."""
    if chip["chip_type"] is None or chip["chip_index"] is None:
        return chip["name"]
    return f"{chip['name']} ({chip['chip_type']},{chip['chip_index']})"


def _failed_chips(document):
    """Each cause of failed chips, after the chips that it is about."""
    causes: dict[str, list[str]] = {}
    for chip in document.get("mcus", []):
        if chip["error"]:
            causes.setdefault(sentence(chip["error"]), []).append(chip_name(chip))
    return [f"{', '.join(names)}: {cause}" for cause, names in causes.items()]


def failure(document):
    """Why a document reports a failure: of the whole command, unless it is the cause of a chip, and
    of each failed chip."""
    error = document.get("error")
    ids = [chip["error"]["id"] for chip in document.get("mcus", []) if chip["error"]]
    parts = [] if error and error["id"] in ids else [sentence(error)]
    for other in document.get("errors", []):
        parts.append(sentence(other))
    for finding in document.get("findings", []):
        if finding["severity"] == "error":
            parts.append(f"{finding['text']} (offset {finding['offset']}, {finding['id']}).")
    parts += _failed_chips(document)
    parts += document.get("likely_state", [])
    return " ".join(parts)


def _chip(entry):
    """A chip of a document in the words of the task's result."""
    return {
        "name": entry["name"],
        "chip_type": entry["chip_type"],
        "chip_index": entry["chip_index"],
        "decision": entry["result"],
        "version_before": entry["old_version"],
        "version_after": _version_after(entry),
        "version_package": entry["new_version"],
        "seconds": entry["seconds"],
        "retries": entry["retries"],
        "problem": entry["error"],
    }


def _version_after(entry):
    """The version that the chip has now; empty where that is not known."""
    if entry["result"] == WRITTEN:
        return entry["new_version"]
    if entry["result"] in ("failed", "unknown"):
        return ""
    return entry["old_version"]


def upgrade_result(document):
    """The result of a task from the document of an upgrade."""
    status = document["exit"]
    chips = [_chip(entry) for entry in document.get("mcus", [])]
    failed = status not in (DONE, NOTHING_TO_DO)
    net_version = document.get("net_version", "")
    return {
        "changed": bool(net_version) or any(chip["decision"] == WRITTEN for chip in chips),
        "failed": failed,
        "msg": failure(document) if failed else document.get("summary", ""),
        "outcome": document["result"],
        "exit": status,
        "problem": document["error"],
        "chips": chips,
        "package": document.get("package"),
        "started": document.get("started", ""),
        "duration": document.get("seconds", 0),
        "rebooted": document.get("rebooted", False),
        "verdict_seen": document.get("verdict_seen", not failed),
        "net_version": net_version,
        "summary": document.get("summary", ""),
    }


def continued(first, second):
    """One result of two runs of the same upgrade, the second after the first was lost. What the
    first has written, the second finds up to date."""
    before = {
        (chip["name"], chip["chip_type"], chip["chip_index"]): chip for chip in first["chips"]
    }
    merged = dict(second)
    chips = []
    for chip in second["chips"]:
        earlier = before.get((chip["name"], chip["chip_type"], chip["chip_index"]))
        if earlier and earlier["decision"] == WRITTEN and chip["decision"] == CURRENT:
            chip = dict(earlier)
        chips.append(chip)
    merged["chips"] = chips or first["chips"]
    merged["changed"] = first["changed"] or second["changed"]
    merged["started"] = first["started"] or second["started"]
    merged["duration"] = first["duration"] + second["duration"]
    if merged["changed"] and merged["outcome"] == "nothing-to-do":
        merged["outcome"] = "done"
        merged["exit"] = DONE
    return merged


def version_lines(chips, key):
    """The versions of chips, one line for each, for the difference of a task."""
    return "".join(f"{chip_name(chip)} {chip[key] or 'not known'}\n" for chip in chips)


def upgrade_diff(chips):
    """What a task shows as its difference."""
    return {
        "before_header": "versions before",
        "after_header": "versions after",
        "before": version_lines(chips, "version_before"),
        "after": version_lines(chips, "version_after"),
    }


def state_of(document):
    """The state of a module from the document of `upgrade-console status`. A module that cannot be
    reached is a state, too."""
    reachable = bool(document.get("reachable", False))
    return {
        "reachable": reachable,
        "agent_version": document.get("agent_version", ""),
        "busy": document.get("busy", False) if reachable else None,
        "package": document.get("package"),
        "package_problem": document.get("package_problem"),
        "problem": document.get("error"),
    }
