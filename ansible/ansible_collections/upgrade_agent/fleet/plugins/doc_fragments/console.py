# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""The options of every task that asks a module's agent."""

from __future__ import annotations


class ModuleDocFragment:  # pylint: disable=too-few-public-methods
    """Documentation that several modules share."""

    DOCUMENTATION = r"""
options:
  host:
    description:
      - Address of the module's agent, as the controller reaches it.
      - The default is C(ansible_host), or the name in the inventory.
    type: str
  port:
    description: TCP port of the agent.
    type: int
    default: 35353
  timeout:
    description:
      - Seconds without data from the agent after which it counts as lost.
    type: int
    default: 60
  upgrade_console:
    description: The program C(upgrade-console) on the controller.
    type: str
    default: upgrade-console
notes:
  - C(upgrade-console) and C(fwm) must be installed on the controller, with the Debian package
    C(upgrade-agent-tools). They make every connection to the agent, so the controller must be in
    the network that the module's firewall permits.
"""
