# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Reads the agent's log of operations on a module, over the task's connection."""

from __future__ import annotations

import shlex

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import operations_log

# Enough for several runs of a device with many chips.
LINES = 2000
EVENTS = "event=(run_|mcu_)"

OPTIONS = {
    "log": {"type": "str", "default": "journal"},
    "unit": {"type": "str", "default": "upgrade-agent"},
}


def read_runs(action, log, unit):
    """(runs, problem): every run in the log, the oldest first, and why the log cannot be read or an
    empty text. `log` is 'journal', 'none' or the path of a file."""
    if log == "none":
        return [], ""
    if log == "journal":
        command = f"journalctl --unit={shlex.quote(unit)} --output=json --no-pager --quiet"
        command += f" --lines={LINES} --grep={shlex.quote(EVENTS)}"
    else:
        command = f"tail -n {LINES} -- {shlex.quote(log)}"
    # pylint: disable-next=protected-access
    done = action._low_level_execute_command(command, sudoable=True)
    # journalctl ends with 1 if no entry matches.
    if done["rc"] != 0 and not (
        log == "journal" and done["rc"] == 1 and not done["stderr"].strip()
    ):
        return [], f"the log cannot be read: {done['stderr'].strip() or done['stdout'].strip()}"
    read = operations_log.journal_lines if log == "journal" else operations_log.plain_lines
    return operations_log.runs(read(done["stdout"])), ""
