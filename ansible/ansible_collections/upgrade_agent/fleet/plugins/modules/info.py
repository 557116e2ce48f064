#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
# The code is in the action plugin of the same name, since it runs on the controller.

DOCUMENTATION = r"""
module: info
short_description: Report the state of a network module and its device
version_added: 1.15.0
description:
  - Asks the upgrade agent of a module for its version, whether it is busy with an upgrade, and its
    package.
  - Reads the last run and the versions of the chips from the agent's log of operations on the
    module, because the agent itself does not report them.
  - Changes nothing. A module that cannot be reached is reported as C(reachable=false) and does not
    fail the task; assert what you need.
extends_documentation_fragment:
  - upgrade_agent.fleet.console
options:
  log:
    description:
      - Where the agent's log is on the module.
      - C(journal) reads it with C(journalctl); the user of the connection must be permitted to read
        the journal, as root or as a member of the group C(systemd-journal).
      - The path of a file reads its last 2000 lines. C(none) reads no log and needs no connection.
    type: str
    default: journal
  unit:
    description: The agent's systemd unit.
    type: str
    default: upgrade-agent
notes:
  - Each question redirects the lines of an active run from its own client for a moment. Ask a busy
    module once a minute at most.
  - Supports C(check_mode).
seealso:
  - module: upgrade_agent.fleet.upgrade
author:
  - The upgrade-agent maintainers (@upgrade-agent)
"""

EXAMPLES = r"""
- name: Ask the agent
  upgrade_agent.fleet.info:
  register: module

- name: Require a module that is ready for an upgrade
  ansible.builtin.assert:
    that:
      - module.reachable
      - not module.busy
      - module.package_problem is none

- name: Read the log from a file
  upgrade_agent.fleet.info:
    log: /var/log/upgrade-agent.log
"""

RETURN = r"""
reachable:
  description: Whether the agent answers.
  returned: success
  type: bool
agent_version:
  description: Version of the agent; empty if it cannot be reached.
  returned: success
  type: str
  sample: "1.15"
busy:
  description: Whether an upgrade is active; null if the agent cannot be reached.
  returned: success
  type: bool
package:
  description: The package on the module; null if it has none that can be used.
  returned: success
  type: dict
  sample: {"model": "HX-8", "version": "1.0.5", "chips": 3}
package_problem:
  description: Null, or why no upgrade is possible from the package, with C(id), C(text), C(advice)
    and C(detail).
  returned: success
  type: dict
problem:
  description: Null, or why the agent cannot be reached, in the same form.
  returned: success
  type: dict
last_run:
  description: The last run in the agent's log; null if it has none.
  returned: success
  type: dict
  contains:
    started:
      description: When it began, UTC; empty if the log has no times.
      type: str
    finished:
      description: When it ended; empty if the log has no times, or no end of the run.
      type: str
    mode:
      description: The upgrade mode, 2 or 5.
      type: int
    client:
      description: Address of the client that started it.
      type: str
    result:
      description: C(success), C(failed), or C(unfinished) if the log has no end of the run.
      type: str
    reason:
      description: Why it failed, as the agent's log has it.
      type: str
    seconds:
      description: Its duration.
      type: float
    chips:
      description: The chips in the order of the run, with C(name), C(chip_type), C(chip_index),
        C(result) and C(version).
      type: list
      elements: dict
versions:
  description: The versions that the chips had after the runs in the log.
  returned: success
  type: list
  elements: dict
  sample: [{"name": "MAIN", "chip_type": 0, "chip_index": 0, "version": "1.1.0"}]
log_problem:
  description: Why the log could not be read; otherwise empty.
  returned: success
  type: str
"""
