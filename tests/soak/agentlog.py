# SPDX-License-Identifier: Apache-2.0
"""What the engine reported, read from the agent's log, which does not depend on the clients."""

import re

LOGGING = {"QT_LOGGING_RULES": "agent.console.debug=true"}
# Qt 6 writes the name of the list's type first.
_MESSAGE = re.compile(r"agent\.console: TCPServermessage : (?:QList)?\((.*)\)$")
_TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')


class AgentLog:
    """The messages of one run, as lists of texts."""

    def __init__(self, agent):
        self._agent = agent
        self._place = len(agent.stderr_bytes())
        self.messages = []

    def read(self):
        """Takes what has come since the last time; returns all messages of the run."""
        new = self._agent.stderr_bytes(self._place)
        new = new[: new.rfind(b"\n") + 1]
        self._place += len(new)
        for line in new.decode(errors="replace").splitlines():
            found = _MESSAGE.search(line)
            if found:
                self.messages.append(_TEXT.findall(found.group(1)))
        return self.messages

    @property
    def statuses(self):
        """The values of "APPSTATUS", one for each end."""
        return [one[1] for one in self.messages if one[0] == "APPSTATUS"]

    @property
    def lines(self):
        """The log lines for people."""
        return [
            one[0]
            for one in self.messages
            if one[0] not in ("APPSTATUS", "UPGRADERESULT", "ConnectSuccess", "NETVERSION")
        ]

    def results(self, name):
        """All results that a row of that name was given: "1" written, "2" failed, "3" not newer."""
        return [
            one[2]
            for one in self.messages
            if one[0] == "UPGRADERESULT" and len(one) == 3 and one[1].split(",")[0] == name
        ]
