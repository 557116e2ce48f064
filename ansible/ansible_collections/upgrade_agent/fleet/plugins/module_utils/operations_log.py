# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""The runs and the versions of the chips, from the agent's log of operations. Pure functions."""

from __future__ import annotations

import json
import re
from datetime import datetime, timezone

CATEGORY = "agent.operations: "
PAIR = re.compile(r'([a-z_]+)=("(?:[^"\\]|\\.)*"|\S+)')
ESCAPE = re.compile(r"\\(?:u([0-9a-fA-F]{4})|(.))")
ESCAPED = {"n": "\n", "r": "\r", "t": "\t"}


def _plain(value):
    """A value without its quotes and escapes."""
    if not value.startswith('"'):
        return value

    def character(match):
        if match.group(1):
            return chr(int(match.group(1), 16))
        return ESCAPED.get(match.group(2), match.group(2))

    return ESCAPE.sub(character, value[1:-1])


def event_of(line):
    """The keys and values of one line, or None for a line of another category."""
    _before, found, pairs = line.partition(CATEGORY)
    if not found:
        return None
    event = {key: _plain(value) for key, value in PAIR.findall(pairs)}
    return event if "event" in event else None


def journal_lines(text):
    """(time, line) of each entry of `journalctl --output=json`; other lines are skipped."""
    for entry in text.splitlines():
        try:
            fields = json.loads(entry)
            message = fields["MESSAGE"]
            if isinstance(message, list):  # bytes that are not text
                message = bytes(message).decode("utf-8", "replace")
            seconds = int(fields["__REALTIME_TIMESTAMP"]) / 1e6
        except (ValueError, KeyError, TypeError):
            continue
        yield datetime.fromtimestamp(seconds, timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"), message


def plain_lines(text):
    """(empty time, line) of each line of a log file."""
    for line in text.splitlines():
        yield "", line


def _number(text, kind=int):
    try:
        return kind(text)
    except (TypeError, ValueError):
        return None


def _chip(event):
    written = event["event"] == "mcu_finished" and event.get("result") == "written"
    skipped = event["event"] == "mcu_skipped"
    return {
        "name": event.get("name", ""),
        "chip_type": _number(event.get("chip_type")),
        "chip_index": _number(event.get("chip_index")),
        "result": event.get("result") or event.get("reason", ""),
        "version": event.get("new", "") if written else event.get("old", "") if skipped else "",
    }


def runs(lines):
    """Every run of the lines, the oldest first. Without an end its result is 'unfinished'."""
    found = []
    for time, line in lines:
        event = event_of(line)
        if event is None:
            continue
        kind = event["event"]
        if kind == "run_started":
            found.append(
                {
                    "started": time,
                    "finished": "",
                    "mode": _number(event.get("mode")),
                    "client": event.get("address", ""),
                    "result": "unfinished",
                    "reason": "",
                    "seconds": None,
                    "chips": [],
                }
            )
        elif not found:
            continue
        elif kind in ("mcu_finished", "mcu_skipped"):
            found[-1]["chips"].append(_chip(event))
        elif kind == "run_finished":
            found[-1].update(
                finished=time,
                result=event.get("result", ""),
                reason=event.get("reason", ""),
                seconds=_number(event.get("seconds"), float),
            )
    return found


def versions(found):
    """The last known version of each chip of these runs. After a failed image it has none."""
    known: dict[tuple, dict] = {}
    for run in found:
        for chip in run["chips"]:
            key = (chip["chip_type"], chip["chip_index"])
            if chip["result"] == "failed":
                known.pop(key, None)
            elif chip["version"]:
                known[key] = {
                    "name": chip["name"],
                    "chip_type": chip["chip_type"],
                    "chip_index": chip["chip_index"],
                    "version": chip["version"],
                }
    return [known[key] for key in sorted(known, key=str)]
