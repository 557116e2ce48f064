# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""Runs upgrade-console and fwm on the controller and reads their JSON documents."""

from __future__ import annotations

import json
import os
import subprocess

from ansible.errors import AnsibleActionFail

# Every command except a run answers within the time-outs of the programs; this is above their sum.
QUICK_SECONDS = 600


class TaskFailure(AnsibleActionFail):
    """A failure whose cause is known, so that Ansible shows the message and no exception."""

    def __init__(self, message):
        super().__init__(message)
        self.result.pop("exception", None)


def document_of(argv, seconds=None):
    """The document of a program that was given --json. The program reports its own failures in it;
    this raises TaskFailure if there is no document."""
    name = argv[0]
    try:
        done = subprocess.run(
            argv,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            timeout=seconds,
            check=False,
            env={**os.environ, "LC_ALL": "C.UTF-8"},
        )
    except FileNotFoundError as error:
        raise TaskFailure(
            f"{name} is not installed on the controller. Install the package upgrade-agent-tools."
        ) from error
    except OSError as error:
        raise TaskFailure(f"{name} cannot be started: {error.strerror}") from error
    except subprocess.TimeoutExpired as error:
        raise TaskFailure(f"{name} did not end within {seconds} seconds") from error
    try:
        document = json.loads(done.stdout)
        document["exit"], document["result"]  # pylint: disable=pointless-statement
    except (ValueError, KeyError, TypeError) as error:
        detail = done.stderr.decode("utf-8", "replace").strip()
        raise TaskFailure(
            f"{name} ended with status {done.returncode} and without a JSON document: {detail}"
        ) from error
    return document


class Console:
    """upgrade-console with the address of one module."""

    def __init__(self, program, host, port, timeout):
        self._argv = [program, "--json", "--no-progress", "--host", host, "--port", str(port)]
        self._argv += ["--timeout", str(timeout)]

    def quick(self, *arguments):
        """The document of a command that is not a run."""
        return document_of([*self._argv, *arguments], QUICK_SECONDS)

    def run(self, *arguments):
        """The document of a run, which takes as long as the device needs; the program ends when the
        agent shows no sign of life."""
        return document_of([*self._argv, *arguments])


CONSOLE_OPTIONS: dict = {
    "host": {"type": "str"},
    "port": {"type": "int", "default": 35353},
    "timeout": {"type": "int", "default": 60},
    "upgrade_console": {"type": "str", "default": "upgrade-console"},
}


def console_of(arguments, task_vars):
    """The console client for a task's module: the address of the inventory, if none is given."""
    host = arguments["host"] or task_vars.get("ansible_host") or task_vars["inventory_hostname"]
    return Console(arguments["upgrade_console"], str(host), arguments["port"], arguments["timeout"])
