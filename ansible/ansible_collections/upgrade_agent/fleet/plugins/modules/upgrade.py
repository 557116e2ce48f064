#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
# The code is in the action plugin of the same name, since it runs on the controller.

DOCUMENTATION = r"""
module: upgrade
short_description: Upgrade a device from the package on its network module
version_added: 1.15.0
description:
  - Upgrades the chips of a device from the package on its module, waits for the end of the run, and
    returns what happened to each chip.
  - The client of the run is C(upgrade-console) on the controller. A lost ssh connection does not
    affect the task, and a module that restarts at the end of the run is waited for.
  - The run belongs to the agent. If the controller stops, the run continues to its end; the next
    upgrade in mode 2 writes only what is still older than the package.
  - B(The device reboots at the end of every run, even if nothing was written.)
extends_documentation_fragment:
  - upgrade_agent.fleet.console
options:
  rows:
    description:
      - The chips, each as C(NAME,CHIP-TYPE,CHIP-INDEX) or as a name from the package.
      - Without it, every chip of the package.
    type: list
    elements: str
    default: []
  mode:
    description:
      - C(2) writes only to chips that are older than the package.
      - C(5) writes every image that fits. It compares neither the device's model nor any version,
        and changes something in each run.
    type: int
    choices: [2, 5]
    default: 2
  request_all:
    description: The agent makes the rows, for devices that use a chip's quantity as its index.
    type: bool
    default: false
  package:
    description:
      - A copy of the package on the controller. The run is refused if the module has another
        package, and check mode makes its prediction from this file.
    type: path
  device:
    description:
      - A description of the device on the controller, as C(fwm plan) reads it. With it, check mode
        predicts the result of each chip exactly. Needs I(package).
    type: path
  wait_back:
    description: Wait for a module that restarts at the end of the run, five minutes at most.
    type: bool
    default: true
  busy_timeout:
    description:
      - Seconds to wait for the end of another client's run. C(0) fails at once.
    type: int
    default: 0
  lost_timeout:
    description:
      - If the agent is lost during a run in mode 2, seconds to wait until it answers and is not
        busy. The upgrade is then requested once more, and the result is that of both runs.
      - In mode 5 the task fails, because a second run would write everything again.
    type: int
    default: 1800
  fwm:
    description: The program C(fwm) on the controller.
    type: str
    default: fwm
  log:
    description:
      - For check mode, where the agent's log is on the module. See M(upgrade_agent.fleet.info).
    type: str
    default: journal
  unit:
    description: The agent's systemd unit.
    type: str
    default: upgrade-agent
notes:
  - Supports C(check_mode). It predicts from I(device), or otherwise from the versions in the
    agent's log; C(changed) is true if a chip would be written or if its version is not known.
  - Supports C(diff).
seealso:
  - module: upgrade_agent.fleet.package
author:
  - The upgrade-agent maintainers (@upgrade-agent)
"""

EXAMPLES = r"""
- name: Upgrade everything that is older than the package
  upgrade_agent.fleet.upgrade:
    package: FW.fwm

- name: Write two chips in any case
  upgrade_agent.fleet.upgrade:
    rows: ["MAIN,0,0", "AUX 1"]
    mode: 5

- name: Wait up to half an hour for another client's run
  upgrade_agent.fleet.upgrade:
    busy_timeout: 1800
"""

RETURN = r"""
changed:
  description: Whether an image was written; in check mode, whether one may be written.
  returned: always
  type: bool
outcome:
  description:
    - The result of the run, as C(upgrade-console) names it, such as C(done), C(nothing-to-do),
      C(failed), C(busy), C(cannot-connect), C(connection-lost), C(package-refused) or
      C(not-trusted). In check mode C(predicted).
  returned: always
  type: str
exit:
  description: Exit status of C(upgrade-console).
  returned: always
  type: int
problem:
  description: Null, or the cause of the failure with C(id), C(text), C(advice) and C(detail).
  returned: always
  type: dict
chips:
  description: The chips in the order of the rows.
  returned: always
  type: list
  elements: dict
  contains:
    name:
      description: Name of the chip.
      type: str
    chip_type:
      description: Its type.
      type: int
    chip_index:
      description: Its index.
      type: int
    decision:
      description:
        - C(updated), C(up-to-date), C(package-older), C(no-fit), C(failed), C(not-reached) or
          C(unknown). In check mode also C(would-write).
      type: str
    version_before:
      description: Version before the run; empty if it is not known.
      type: str
    version_after:
      description: Version after the run; empty if it is not known.
      type: str
    version_package:
      description: Version in the package; empty if it is not known.
      type: str
    seconds:
      description: Duration; null if nothing was sent to the chip.
      type: float
    retries:
      description: Everything that was repeated for the chip.
      type: int
    problem:
      description: Null, or why the chip failed, in the form of I(problem).
      type: dict
package:
  description: Model and version of the package.
  returned: when the agent reported it
  type: dict
  sample: {"model": "HX-8", "version": "1.0.5"}
started:
  description: When the run was requested, UTC.
  returned: always
  type: str
duration:
  description: Seconds of the run.
  returned: always
  type: float
rebooted:
  description: Whether the device was seen to reboot.
  returned: always
  type: bool
verdict_seen:
  description: False if the module restarted before the agent had sent the result; it is then
    derived from what was acknowledged before.
  returned: always
  type: bool
net_version:
  description: Version of the module's own firmware, if the run installed it; otherwise empty.
  returned: always
  type: str
summary:
  description: The result in one sentence.
  returned: always
  type: str
"""
