#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
# The code is in the action plugin of the same name, since it runs on the controller.

DOCUMENTATION = r"""
module: package
short_description: Put a firmware package on a network module
version_added: 1.15.0
description:
  - Puts a package (FWM) and the signature file beside it on a module, as the package from which the
    agent upgrades the device.
  - The package is checked on the controller with C(fwm verify), copied over the connection,
    compared and checked again on the module with the module's own keys, and then renamed. The
    module has either the previous package or the complete new one at any time.
  - If the package has no signature file, an old one on the module is removed.
  - A package is not replaced while the device is busy with an upgrade.
extends_documentation_fragment:
  - upgrade_agent.fleet.console
options:
  src:
    description:
      - The package on the controller. Its signature file is C(SRC.minisig), if that exists.
    type: path
    required: true
  dest:
    description: The package on the module.
    type: path
    default: /data/FW.fwm
  sha256:
    description:
      - The SHA-256 that the package must have. A rollout sets it, so that every module gets the
        same package even if I(src) is replaced meanwhile.
    type: str
  keys:
    description:
      - Trusted keys on the controller, a public-key file or a folder of them. With it, a package
        that is not signed by one of them is refused before anything is copied.
    type: path
  module_keys:
    description: The folder of the module's keys.
    type: path
    default: /etc/upgrade-agent/keys
  fwm:
    description: The program C(fwm) on the controller.
    type: str
    default: fwm
  module_fwm:
    description: The program C(fwm) on the module.
    type: str
    default: fwm
notes:
  - The module needs Python 3 and C(fwm), which is in the Debian package C(upgrade-agent-tools). The
    user of the connection must be permitted to write the folder of I(dest), as root or as a member
    of the group C(upgrade-agent).
  - Supports C(check_mode) and C(diff).
seealso:
  - module: upgrade_agent.fleet.upgrade
author:
  - The upgrade-agent maintainers (@upgrade-agent)
"""

EXAMPLES = r"""
- name: Put a package on the module
  upgrade_agent.fleet.package:
    src: FW.fwm

- name: Put only a package that is signed with one of our keys
  upgrade_agent.fleet.package:
    src: FW.fwm
    keys: keys/
"""

RETURN = r"""
changed:
  description: Whether the package or its signature file was replaced.
  returned: always
  type: bool
dest:
  description: The package on the module.
  returned: success
  type: str
sha256:
  description: SHA-256 of the package.
  returned: success
  type: str
signature_sha256:
  description: SHA-256 of the signature file; null without one.
  returned: success
  type: str
signed:
  description: Whether a signature file belongs to the package.
  returned: success
  type: bool
package:
  description: Model and version of the package.
  returned: success
  type: dict
  sample: {"model": "HX-8", "version": "1.0.5"}
before:
  description: What the module had before, with C(package), C(sha256) and C(signature_sha256), each
    null if there was none.
  returned: success
  type: dict
"""
