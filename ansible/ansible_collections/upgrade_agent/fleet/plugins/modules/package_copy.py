#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers

DOCUMENTATION = r"""
module: package_copy
short_description: The part of M(upgrade_agent.fleet.package) that runs on the module
version_added: 1.15.0
description:
  - Reports the package on a module, or checks copied files and makes them the module's package.
  - Use M(upgrade_agent.fleet.package), which copies the files first.
options:
  state:
    description:
      - C(compared) reports what the module has.
      - C(published) checks the copies and renames them.
    type: str
    choices: [compared, published]
    default: compared
  dest:
    description: The package on the module.
    type: path
    default: /data/FW.fwm
  src:
    description: The copy of the package on the module.
    type: path
  signature:
    description: The copy of its signature file on the module, if there is one.
    type: path
  sha256:
    description: The SHA-256 that the copy of the package must have.
    type: str
  signature_sha256:
    description: The SHA-256 that the copy of the signature file must have.
    type: str
  module_keys:
    description: The folder of the module's keys.
    type: path
    default: /etc/upgrade-agent/keys
  module_fwm:
    description: The program C(fwm) on the module.
    type: str
    default: fwm
notes:
  - Supports C(check_mode).
seealso:
  - module: upgrade_agent.fleet.package
author:
  - The upgrade-agent maintainers (@upgrade-agent)
"""

EXAMPLES = r"""
- name: Report the package of the module
  upgrade_agent.fleet.package_copy:
    state: compared
"""

RETURN = r"""
package:
  description: Model and version of the package; null if there is none that can be read.
  returned: with I(state=compared)
  type: dict
  sample: {"model": "HX-8", "version": "1.0.5"}
sha256:
  description: SHA-256 of the package; null without one.
  returned: with I(state=compared)
  type: str
signature_sha256:
  description: SHA-256 of its signature file; null without one.
  returned: with I(state=compared)
  type: str
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
        (package, params["sha256"]),
        (package + SIGNATURE, params["signature_sha256"]),
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
        if params["signature"]:
            stage(module, params["signature"], package + SIGNATURE)
        check(module, package)
        rename(dest, package)
    except PermissionError as error:
        module.fail_json(
            msg=f"{error.filename or dest}: {error.strerror}. Connect as root or as a member of "
            "the group upgrade-agent, or become root. The module's package is as it was."
        )
    except OSError as error:
        module.fail_json(msg=f"{error.filename or dest}: {error.strerror}")
    finally:
        for path in (package, package + SIGNATURE):
            if os.path.exists(path):
                os.unlink(path)
    module.exit_json(changed=True)


def main():
    """The module's part of the task."""
    module = AnsibleModule(
        argument_spec={
            "state": {
                "type": "str",
                "choices": ["compared", "published"],
                "default": "compared",
            },
            "dest": {"type": "path", "default": "/data/FW.fwm"},
            "src": {"type": "path"},
            "signature": {"type": "path"},
            "sha256": {"type": "str"},
            "signature_sha256": {"type": "str"},
            "module_keys": {"type": "path", "default": "/etc/upgrade-agent/keys", "no_log": False},
            "module_fwm": {"type": "str", "default": "fwm"},
        },
        required_if=[("state", "published", ("src", "sha256"))],
        supports_check_mode=True,
    )
    if module.params["state"] == "published" and not module.check_mode:
        publish(module)
    compare(module)


if __name__ == "__main__":
    main()
