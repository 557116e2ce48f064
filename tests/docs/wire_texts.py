# SPDX-License-Identifier: Apache-2.0
"""Every text of the agent, from the tables that its programs are built with."""

import json
import os

from tests.harness.command import output

# What a console client can get. The others are statuses, reports and words of the log.
SENT = ("build", "console", "engine", "key", "net", "signing", "upload", "version")


def tables():
    """Subsystem -> {id: text}, with line ends written as in the source."""
    return {
        subsystem: {
            name: text.replace("\r", "\\r").replace("\n", "\\n") for name, text in texts.items()
        }
        for subsystem, texts in json.loads(output(os.environ["PRINT_TEXTS"])).items()
    }


def all_texts():
    """Text -> the ids of those that have it."""
    found: dict = {}
    for subsystem, texts in tables().items():
        if subsystem not in SENT:
            continue
        for name, text in texts.items():
            found.setdefault(text, []).append(f"{subsystem}.{name}")
    return found
