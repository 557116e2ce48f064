# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Upgrades a device: runs upgrade-console on the controller, so that a restart of the module or a
lost ssh connection does not end the task."""

from __future__ import annotations

from ansible.errors import AnsibleConnectionFailure
from ansible.plugins.action import ActionBase

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import (
    documents,
    forecast,
    operations_log,
)
from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import module_log, programs, runs

OPTIONS = {
    **programs.CONSOLE_OPTIONS,
    "rows": {"type": "list", "elements": "str", "default": []},
    "mode": {"type": "int", "default": 2, "choices": [2, 5]},
    "request_all": {"type": "bool", "default": False},
    "package": {"type": "path"},
    "device": {"type": "path"},
    "wait_back": {"type": "bool", "default": True},
    "busy_timeout": {"type": "int", "default": 0},
    "lost_timeout": {"type": "int", "default": 1800},
    "fwm": {"type": "str", "default": "fwm"},
    **module_log.OPTIONS,
}


class ActionModule(ActionBase):
    """The controller's part of the module `upgrade`."""

    TRANSFERS_FILES = False
    _supports_check_mode = True
    _supports_async = False

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        del tmp
        _checked, arguments = self.validate_argument_spec(
            OPTIONS, mutually_exclusive=[("rows", "request_all")]
        )
        for name in ("package", "device"):
            if arguments[name]:
                arguments[name] = self._find_needle("files", arguments[name])
        console = programs.console_of(arguments, task_vars)
        if self._task.check_mode:
            result.update(self._forecast(console, arguments))
        else:
            result.update(runs.upgrade(console, arguments))
        if self._task.diff and result.get("chips"):
            result["diff"] = documents.upgrade_diff(result["chips"])
        return result

    def _forecast(self, console, arguments):
        """The result in check mode."""
        if arguments["device"]:
            chips, package = self._plan(arguments)
        else:
            chips, package = self._from_log(console, arguments)
        return {
            "changed": forecast.writes(chips),
            "msg": forecast.summary(chips),
            "summary": forecast.summary(chips),
            "outcome": "predicted",
            "exit": documents.DONE,
            "problem": None,
            "chips": chips,
            "package": package,
            "started": "",
            "duration": 0,
            "rebooted": False,
            "verdict_seen": False,
            "net_version": "",
        }

    @staticmethod
    def _plan(arguments):
        if not arguments["package"]:
            raise programs.TaskFailure("'device' needs 'package': the plan is made from the file")
        if arguments["rows"]:
            raise programs.TaskFailure("'device' predicts a run of all chips, without 'rows'")
        argv = [arguments["fwm"], "plan", "--json", arguments["package"]]
        argv += ["--device", arguments["device"], "--mode", str(arguments["mode"])]
        argv += ["--request-all"] if arguments["request_all"] else []
        document = programs.document_of(argv, programs.QUICK_SECONDS)
        if document["exit"] not in (documents.DONE, documents.NOTHING_TO_DO):
            obstacle = document.get("obstacle", "")
            raise programs.TaskFailure(obstacle or documents.failure(document))
        return forecast.from_plan(document), None

    def _from_log(self, console, arguments):
        if arguments["package"]:
            argv = [arguments["fwm"], "list", "--json", arguments["package"]]
            document = programs.document_of(argv, programs.QUICK_SECONDS)
        else:
            document = console.quick("list")
        if document["exit"] != documents.DONE:
            raise programs.TaskFailure(documents.failure(document))
        try:
            found, _problem = module_log.read_runs(self, arguments["log"], arguments["unit"])
        except AnsibleConnectionFailure:
            found = []
        entries = forecast.entries_of(document)
        known = operations_log.versions(found)
        chips = forecast.from_versions(entries, arguments["rows"], arguments["mode"], known)
        return chips, forecast.package_of(document)
