# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Reports the state of a module: asks its agent from the controller, and reads the agent's log."""

from __future__ import annotations

from ansible.errors import AnsibleConnectionFailure
from ansible.plugins.action import ActionBase

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import documents, operations_log
from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import module_log, programs

ASKED = (documents.DONE, documents.CANNOT_CONNECT, documents.CONNECTION_LOST)


class ActionModule(ActionBase):
    """The controller's part of the module `info`."""

    TRANSFERS_FILES = False
    _supports_check_mode = True
    _supports_async = False

    def run(self, tmp=None, task_vars=None):
        result: dict = super().run(tmp, task_vars)
        del tmp
        _checked, arguments = self.validate_argument_spec(
            {
                **programs.CONSOLE_OPTIONS,
                **module_log.OPTIONS,
            }
        )
        document = programs.console_of(arguments, task_vars).quick("status")
        if document["exit"] not in ASKED:
            raise programs.TaskFailure(documents.failure(document))
        result.update(documents.state_of(document), changed=False)
        try:
            runs, problem = module_log.read_runs(self, arguments["log"], arguments["unit"])
        except AnsibleConnectionFailure as error:
            runs, problem = [], f"the log cannot be read: {error.message}"
        result["last_run"] = runs[-1] if runs else None
        result["versions"] = operations_log.versions(runs)
        result["log_problem"] = problem
        return result
