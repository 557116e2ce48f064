# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Upgrades a device: runs upgrade-console on the controller, so that a restart of the module or a
lost ssh connection does not end the task."""

from __future__ import annotations

import time

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure
from ansible.plugins.action import ActionBase

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import (
    documents,
    forecast,
    operations_log,
)
from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import module_log, programs

# Each question redirects the lines of an active run for a moment, so there are few of them.
POLL_SECONDS = 30

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
            result.update(upgrade(console, arguments))
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
            raise AnsibleActionFail("'device' needs 'package': the plan is made from the file")
        if arguments["rows"]:
            raise AnsibleActionFail("'device' predicts a run of all chips, without 'rows'")
        argv = [arguments["fwm"], "plan", "--json", arguments["package"]]
        argv += ["--device", arguments["device"], "--mode", str(arguments["mode"])]
        argv += ["--request-all"] if arguments["request_all"] else []
        document = programs.document_of(argv, programs.QUICK_SECONDS)
        if document["exit"] not in (documents.DONE, documents.NOTHING_TO_DO):
            obstacle = document.get("obstacle", "")
            raise AnsibleActionFail(obstacle or documents.failure(document))
        return forecast.from_plan(document), None

    def _from_log(self, console, arguments):
        if arguments["package"]:
            argv = [arguments["fwm"], "list", "--json", arguments["package"]]
            document = programs.document_of(argv, programs.QUICK_SECONDS)
        else:
            document = console.quick("list")
        if document["exit"] != documents.DONE:
            raise AnsibleActionFail(documents.failure(document))
        try:
            runs, _problem = module_log.read_runs(self, arguments["log"], arguments["unit"])
        except AnsibleConnectionFailure:
            runs = []
        entries = forecast.entries_of(document)
        known = operations_log.versions(runs)
        chips = forecast.from_versions(entries, arguments["rows"], arguments["mode"], known)
        return chips, forecast.package_of(document)


def command_of(arguments):
    """The command and its options for upgrade-console."""
    command = ["upgrade", "--mode", str(arguments["mode"])]
    if arguments["mode"] == 5:
        command.append("--yes")
    if arguments["wait_back"]:
        command.append("--wait-back")
    if arguments["request_all"]:
        command.append("--request-all")
    if arguments["package"]:
        command += ["--package", arguments["package"]]
    return command + arguments["rows"]


def upgrade(console, arguments):
    """The result of the task: one run, and a second one after a lost connection in mode 2, which
    writes only what the first has not written."""
    command = command_of(arguments)
    first = documents.upgrade_result(run_when_idle(console, command, arguments["busy_timeout"]))
    if first["exit"] != documents.CONNECTION_LOST or arguments["mode"] != 2:
        return first
    if not wait_until_idle(console, arguments["lost_timeout"]):
        return first
    second = documents.upgrade_result(console.run(*command))
    return documents.continued(first, second)


def run_when_idle(console, command, seconds):
    """The document of a run, after another client's run if that ends within these seconds."""
    end = time.monotonic() + seconds
    while True:
        document = console.run(*command)
        left = end - time.monotonic()
        if document["exit"] != documents.BUSY or left <= 0:
            return document
        time.sleep(min(POLL_SECONDS, left))


def wait_until_idle(console, seconds):
    """Whether the agent answers and is not busy within these seconds."""
    end = time.monotonic() + seconds
    while True:
        state = documents.state_of(console.quick("status"))
        if state["reachable"] and not state["busy"]:
            return True
        left = end - time.monotonic()
        if left <= 0:
            return False
        time.sleep(min(POLL_SECONDS, left))
