# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Writes the report of a rollout while it runs."""

DOCUMENTATION = r"""
name: report
type: aggregate
short_description: Report of a rollout as JSON, CSV and HTML
version_added: 1.15.0
description:
  - Writes C(report.json), C(report.csv), C(report.html) and C(remaining.txt) into a folder while
    the rollout runs, so that an interrupted rollout has them, too. Each failure is written at once,
    other results as long as writing takes at most a twentieth of the time.
  - C(remaining.txt) has the modules that are not complete. C(--limit @FOLDER/remaining.txt)
    continues the rollout with them.
  - A report in the folder is continued, and the modules that the run does not contain keep their
    entries. Use one folder for each rollout.
  - The report of check mode is in the folder C(check) inside of it.
  - Plays with the variable C(upgrade_agent_rollout=true) are reported, as in the playbook
    C(upgrade_agent.fleet.rollout). Each batch of C(serial) is a wave.
requirements:
  - enable it in C(callbacks_enabled)
options:
  directory:
    description: The folder of the report. It is created if it does not exist.
    default: rollout-report
    type: path
    env:
      - name: UPGRADE_AGENT_REPORT_DIR
    ini:
      - section: callback_upgrade_agent_report
        key: directory
"""

import csv
import io
import json
import os
import time
from datetime import datetime, timezone

from ansible.errors import AnsibleError
from ansible.plugins.callback import CallbackBase

from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import report_page, rollout

COLLECTION = "upgrade_agent.fleet."
# Waits for ssh, and fails where there is none.
REACH = ("ansible.builtin.wait_for_connection", "wait_for_connection")


def now():
    """The time, UTC."""
    return datetime.now(timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")


def replace(path, text):
    """Writes a file that is complete at any time."""
    with open(path + ".new", "w", encoding="utf-8", newline="") as file:
        file.write(text)
    os.replace(path + ".new", path)


def csv_text(document):
    """The CSV file."""
    output = io.StringIO()
    csv.writer(output, lineterminator="\n").writerows(rollout.table(document))
    return output.getvalue()


class CallbackModule(CallbackBase):
    """Collects the results and writes the files."""

    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "upgrade_agent.fleet.report"
    CALLBACK_NEEDS_ENABLED = True

    def __init__(self):
        super().__init__()
        self._rollout = rollout.Rollout()
        self._pace = rollout.Pace()
        self._begun = False
        self._active = False
        self._check_mode = False

    def v2_playbook_on_play_start(self, play):
        """A batch of a play begins."""
        variables = play.get_variable_manager().get_vars(play=play)
        self._active = bool(variables.get("upgrade_agent_rollout", False))
        if not self._active:
            return
        if not self._begun:
            self._begun = True
            self._check_mode = variables["ansible_check_mode"]
            self._rollout = rollout.Rollout(self._earlier())
        self._rollout.begin_wave(
            now(),
            variables["ansible_play_batch"],
            variables["ansible_play_hosts_all"],
            self._check_mode,
        )
        self._write()

    def v2_runner_on_start(self, host, task):
        """A task begins for a module."""
        if self._active:
            self._rollout.step(host.get_name(), task.get_name(), now())

    def v2_runner_on_ok(self, result):
        """A task ended well."""
        if not self._active:
            return
        name = result._host.get_name()  # pylint: disable=protected-access
        action = result._task.action  # pylint: disable=protected-access
        values = result._result  # pylint: disable=protected-access
        if action == COLLECTION + "package":
            self._rollout.packaged(name, values)
        elif action == COLLECTION + "upgrade":
            self._rollout.upgraded(name, values, now())
        elif action == COLLECTION + "info":
            self._rollout.checked(name)
        else:
            return
        if self._pace.allows(time.monotonic()):
            self._write()

    def v2_runner_on_failed(self, result, ignore_errors=False):
        """A task failed."""
        if not self._active or ignore_errors:
            return
        name = result._host.get_name()  # pylint: disable=protected-access
        step = result._task.get_name()  # pylint: disable=protected-access
        values = result._result  # pylint: disable=protected-access
        if result._task.action in REACH:  # pylint: disable=protected-access
            self._rollout.unreachable(name, values, step, now())
        else:
            self._rollout.failed(name, values, step, now())
        self._write()

    def v2_runner_on_unreachable(self, result):
        """ssh does not reach a module."""
        if not self._active:
            return
        name = result._host.get_name()  # pylint: disable=protected-access
        step = result._task.get_name()  # pylint: disable=protected-access
        self._rollout.unreachable(name, result._result, step, now())
        self._write()

    def v2_playbook_on_stats(self, stats):
        """The playbook ended."""
        if not self._begun:
            return
        self._rollout.end(now())
        self._write()
        path = os.path.join(self._directory(), "report.html")
        self._display.display(f"Report of the rollout: {path}")
        if self._rollout.remaining() and not self._check_mode:
            path = os.path.join(self._directory(), "remaining.txt")
            self._display.display(f"Not complete; continue with: --limit @{path}")

    def _directory(self):
        """The folder of the report; check mode has its own, so that it replaces no results."""
        directory = self.get_option("directory")
        return os.path.join(directory, "check") if self._check_mode else directory

    def _earlier(self):
        """The report that the folder has."""
        path = os.path.join(self._directory(), "report.json")
        if not os.path.exists(path):
            return None
        try:
            with open(path, encoding="utf-8") as file:
                document = json.load(file)
        except (OSError, ValueError) as error:
            raise AnsibleError(f"{path} is not a report of a rollout: {error}") from error
        if document.get("form") != rollout.FORM:
            raise AnsibleError(f"{path} is not a report of this version; use another folder")
        return document

    def _write(self):
        begin = time.monotonic()
        directory = self._directory()
        os.makedirs(directory, exist_ok=True)
        document = self._rollout.document()
        text = json.dumps(document, indent=1, ensure_ascii=False) + "\n"
        replace(os.path.join(directory, "report.json"), text)
        replace(os.path.join(directory, "report.csv"), csv_text(document))
        replace(os.path.join(directory, "report.html"), report_page.page(document))
        remaining = "".join(f"{name}\n" for name in self._rollout.remaining())
        replace(os.path.join(directory, "remaining.txt"), remaining)
        self._pace.written(begin, time.monotonic())
