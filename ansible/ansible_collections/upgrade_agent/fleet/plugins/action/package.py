# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Puts a package on a module: checks it on the controller, copies it over the task's connection,
and runs the module's part, which checks the copy and renames it."""

from __future__ import annotations

import hashlib
import os

from ansible.plugins.action import ActionBase
from ansible.utils.hashing import secure_hash

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import documents
from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import programs

MODULE = "upgrade_agent.fleet.package_copy"
# What the module's part needs of the options.
FORWARDED = ("dest", "module_keys", "module_fwm")

OPTIONS = {
    **programs.CONSOLE_OPTIONS,
    "src": {"type": "path", "required": True},
    "dest": {"type": "path", "default": "/data/FW.fwm"},
    "sha256": {"type": "str"},
    "keys": {"type": "path"},
    "module_keys": {"type": "path", "default": "/etc/upgrade-agent/keys"},
    "fwm": {"type": "str", "default": "fwm"},
    "module_fwm": {"type": "str", "default": "fwm"},
}


def sha256_of(path):
    """The SHA-256 of a file in hexadecimal digits, None if there is no such file."""
    if not os.path.exists(path):
        return None
    return secure_hash(path, hash_func=hashlib.sha256)


def verified(arguments, source):
    """The SHA-256 of the package and of its signature file or None, when the controller's check has
    passed."""
    digests = sha256_of(source), sha256_of(source + ".minisig")
    if arguments["sha256"] and arguments["sha256"].lower() != digests[0]:
        raise programs.TaskFailure(
            f"{source} is not the package that is wanted: its SHA-256 is {digests[0]}, "
            f"not {arguments['sha256'].lower()}. It may have been replaced."
        )
    argv = [arguments["fwm"], "verify", "--json", source]
    if arguments["keys"]:
        argv += ["--keys", arguments["keys"]]
    document = programs.document_of(argv, programs.QUICK_SECONDS)
    if document["exit"] != documents.DONE:
        raise programs.TaskFailure(
            f"The package is refused on the controller: {documents.failure(document)}"
        )
    return digests


def description(arguments, source):
    """Model and version of the package."""
    argv = [arguments["fwm"], "list", "--json", source]
    document = programs.document_of(argv, programs.QUICK_SECONDS)
    if document["exit"] != documents.DONE:
        raise programs.TaskFailure(documents.failure(document))
    return {"model": document["model"], "version": document["release"]}


def difference(before, after):
    """What the task shows as its difference."""

    def text(state):
        package = state["package"] or {"model": "", "version": ""}
        return (
            f"model: {package['model']}\nversion: {package['version']}\n"
            f"sha256: {state['sha256'] or ''}\nsignature: {state['signature_sha256'] or ''}\n"
        )

    return {
        "before_header": "package before",
        "after_header": "package after",
        "before": text(before) if before["sha256"] else "",
        "after": text(after),
    }


class ActionModule(ActionBase):
    """The controller's part of the module `package`."""

    TRANSFERS_FILES = True
    _supports_check_mode = True
    _supports_async = False

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        del tmp
        _checked, arguments = self.validate_argument_spec(OPTIONS)
        source = self._find_needle("files", arguments["src"])
        if arguments["keys"]:
            arguments["keys"] = self._find_needle("files", arguments["keys"])
        digest, signature = verified(arguments, source)
        wanted = {
            "sha256": digest,
            "signature_sha256": signature,
            "package": description(arguments, source),
        }
        forwarded = {name: arguments[name] for name in FORWARDED}
        before = self._module_part({**forwarded, "state": "compared"}, task_vars)
        changed = (before["sha256"], before["signature_sha256"]) != (digest, signature)
        result.update(
            wanted,
            changed=changed,
            dest=arguments["dest"],
            signed=signature is not None,
            before={name: before[name] for name in ("package", "sha256", "signature_sha256")},
        )
        if self._task.diff and changed:
            result["diff"] = difference(before, wanted)
        if not changed:
            return result
        console = programs.console_of(arguments, task_vars)
        refuse_while_busy(console)
        if not self._task.check_mode:
            self._publish(forwarded, source, wanted, task_vars)
            check_listed(console, wanted["package"])
        return result

    def _module_part(self, arguments, task_vars):
        """Runs the module's part; its failure is the task's."""
        done = self._execute_module(module_name=MODULE, module_args=arguments, task_vars=task_vars)
        if done.get("failed"):
            raise programs.TaskFailure(done.get("msg", "the module's part failed"))
        return done

    def _publish(self, forwarded, source, wanted, task_vars):
        """Copies the files and lets the module's part check and rename them."""
        folder = self._connection._shell.tmpdir  # made by the first part
        if folder is None:
            folder = self._make_tmp_path()
        copies = {"src": self._connection._shell.join_path(folder, "FW.fwm")}
        self._transfer_file(source, copies["src"])
        if wanted["signature_sha256"]:
            copies["signature"] = copies["src"] + ".minisig"
            self._transfer_file(source + ".minisig", copies["signature"])
        self._fixup_perms2([folder, *copies.values()])
        digests = {name: wanted[name] for name in ("sha256", "signature_sha256")}
        arguments = {**forwarded, **copies, **digests, "state": "published"}
        try:
            self._module_part(arguments, task_vars)
        finally:
            self._remove_tmp_path(folder)


def refuse_while_busy(console):
    """A package is not replaced while a run is active, or while that is not known."""
    document = console.quick("status")
    if document["exit"] != documents.DONE:
        raise programs.TaskFailure(documents.failure(document))
    if document["busy"]:
        raise programs.TaskFailure(
            "The device is busy with an upgrade, so its package is not replaced. "
            "Wait for its end and try again."
        )


def check_listed(console, package):
    """The agent lists the package that was put there."""
    document = console.quick("status")
    problem = document.get("error") or document.get("package_problem")
    if problem:
        raise programs.TaskFailure(
            f"The agent does not take the new package: {documents.sentence(problem)}"
        )
    listed = {name: document["package"][name] for name in ("model", "version")}
    if listed != package:
        raise programs.TaskFailure(
            f"The agent lists another package than the one that was copied, {listed}. Check that "
            "ssh and the agent's port lead to the same module, and that no client replaces it."
        )
