# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
# The module's part. The controller's part is the action plugin of the same name.

from __future__ import annotations

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

import glob
import json
import os
import shutil
import uuid

from ansible.module_utils.basic import AnsibleModule

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import documents

SIGNATURE = ".minisig"
# The name of a copy until it is complete, after the name of the package.
COPY = ".fleet-"


def digest(module, path):
    """The SHA-256 of a file, None if there is none."""
    return module.sha256(path) if os.path.isfile(path) else None


def fwm(module, *arguments):
    """The document of fwm."""
    argv = [module.get_bin_path(module.params["module_fwm"], required=False), *arguments]
    if argv[0] is None:
        module.fail_json(
            msg=f"{module.params['module_fwm']} is not installed on the module. "
            "Install the package upgrade-agent-tools there."
        )
    status, output, errors = module.run_command(argv)
    try:
        return json.loads(output)
    except ValueError:
        module.fail_json(
            msg=f"fwm ended with status {status} and without a JSON document: {errors.strip()}"
        )


def compare(module):
    """What the module has now."""
    dest = module.params["dest"]
    package = None
    if os.path.isfile(dest):
        document = fwm(module, "list", "--json", dest)
        if document["exit"] == documents.DONE:
            package = {"model": document["model"], "version": document["release"]}
    module.exit_json(
        changed=False,
        package=package,
        sha256=digest(module, dest),
        signature_sha256=digest(module, dest + SIGNATURE),
    )


def stage(module, source, target):
    """Copies a file to the folder of the package, to the disk and readable for the agent."""
    shutil.copyfile(source, target)
    os.chmod(target, 0o644)
    with open(target, "rb") as file:
        os.fsync(file.fileno())


def check(module, package):
    """The copy is the file of the controller, and the module's agent will take it."""
    params = module.params
    for path, wanted in (
        (package, params["_sha256"]),
        (package + SIGNATURE, params["_signature_sha256"]),
    ):
        if digest(module, path) != wanted:
            module.fail_json(
                msg="The copy on the module differs from the file of the controller. Check the "
                "module's disk and that the file does not change, and try again. The module's "
                "package is as it was."
            )
    arguments = ["verify", "--json", package]
    if glob.glob(os.path.join(glob.escape(params["module_keys"]), "*.pub")):
        arguments += ["--keys", params["module_keys"]]
    document = fwm(module, *arguments)
    if document["exit"] != documents.DONE:
        module.fail_json(
            msg=f"The package is refused on the module: {documents.failure(document)} "
            "The module's package is as it was."
        )


def rename(dest, package):
    """Publishes the copies: the signature first, so that the new package is never without it."""
    if os.path.exists(package + SIGNATURE):
        os.rename(package + SIGNATURE, dest + SIGNATURE)
        os.rename(package, dest)
    else:
        os.rename(package, dest)
        if os.path.exists(dest + SIGNATURE):
            os.unlink(dest + SIGNATURE)
    folder = os.open(os.path.dirname(dest), os.O_RDONLY)
    try:
        os.fsync(folder)
    finally:
        os.close(folder)


def publish(module):
    """Checks the copies and makes them the module's package."""
    params = module.params
    dest = params["dest"]
    package = f"{dest}{COPY}{uuid.uuid4().hex}"
    try:
        for old in glob.glob(glob.escape(dest + COPY) + "*"):
            os.unlink(old)
        stage(module, params["src"], package)
        if params["_signature"]:
            stage(module, params["_signature"], package + SIGNATURE)
        check(module, package)
        rename(dest, package)
    except OSError as error:
        module.fail_json(msg=f"{error.filename or dest}: {error.strerror}")
    finally:
        for path in (package, package + SIGNATURE):
            if os.path.exists(path):
                os.unlink(path)
    module.exit_json(changed=True)


def main():
    """The module's part of the task: '_step' is what the controller's part asks for."""
    module = AnsibleModule(
        argument_spec={
            "src": {"type": "path", "required": True},
            "dest": {"type": "path", "default": "/data/FW.fwm"},
            "module_keys": {"type": "path", "default": "/etc/upgrade-agent/keys", "no_log": False},
            "module_fwm": {"type": "str", "default": "fwm"},
            "_step": {"type": "str", "choices": ["compare", "publish"], "default": "compare"},
            "_signature": {"type": "path"},
            "_sha256": {"type": "str"},
            "_signature_sha256": {"type": "str"},
        },
        supports_check_mode=True,
    )
    if module.params["_step"] == "publish" and not module.check_mode:
        publish(module)
    compare(module)


if __name__ == "__main__":
    main()
