# SPDX-License-Identifier: Apache-2.0
"""Documents of upgrade-console, each valid for its schema."""

import functools

import jsonschema

from tests.schemas import documents as schemas

PROBLEM = {
    "id": "image-not-written",
    "text": "an image could not be written, after three attempts",
    "advice": "Leave the device on and run the upgrade again.",
    "detail": "",
}
LOST = {
    "id": "no-sign-of-life",
    "text": "the agent does not answer any more",
    "advice": "Check the network.",
    "detail": "60 s",
}


def chip(name, chip_type, result, old="1.0.0", new="1.1.0", **more):
    """An entry of `mcus`."""
    entry = {
        "name": name,
        "chip_type": chip_type,
        "chip_index": 0,
        "old_version": old,
        "new_version": new,
        "result": result,
        "retries": 0,
        "seconds": 12.5 if result in ("updated", "failed") else None,
        "error": PROBLEM if result == "failed" else None,
    }
    return {**entry, **more}


@functools.cache
def validator(name):
    """What checks documents of this name."""
    return jsonschema.Draft202012Validator(schemas.load(name))


def valid(name, document):
    """The document, which its schema must accept."""
    validator(name).validate(document)
    return document


def outcome(command, status, result, error=None):
    """What every document has."""
    return {
        "command": command,
        "exit": status,
        "result": result,
        "error": error,
        "warnings": [],
    }


def upgrade(status, result, chips, **more):
    """The document of an upgrade that began."""
    document = {
        **outcome("upgrade", status, result),
        "host": "192.0.2.1",
        "mode": 2,
        "package": {"model": "HX-8", "version": "1.0.5"},
        "started": "2026-03-02T14:07:31Z",
        "seconds": 40.5,
        "summary": "In one sentence.",
        "rebooted": True,
        "mcus": chips,
    }
    return valid("upgrade-console-upgrade", {**document, **more})


def refused(status, result, error):
    """The document of an upgrade that did not begin."""
    return valid("upgrade-console-upgrade", outcome("upgrade", status, result, error))


def status(**more):
    """The document of `status`."""
    document = {
        **outcome("status", 0, "done"),
        "reachable": True,
        "host": "192.0.2.1",
        "agent_version": "1.15",
        "busy": False,
        "package": {"model": "HX-8", "version": "1.0.5", "chips": 2},
        "package_problem": None,
        "last_result": None,
    }
    return valid("upgrade-console-status", {**document, **more})


def unreachable():
    """The document of `status` without an answer of the agent."""
    document = outcome("status", 5, "cannot-connect", LOST)
    return valid("upgrade-console-status", {**document, "reachable": False, "host": "192.0.2.1"})
