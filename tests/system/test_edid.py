# SPDX-License-Identifier: Apache-2.0
"""An EDID dump in a line of text, and its report to the client that sent it."""

import glob
import os

from tests import ROOT
from tests.harness import agentcase, module

DUMPS = os.path.join(ROOT, "tests", "edid", "data", "*.bin")


def fields(dump):
    """The emitted fields of a dump's reviewed report."""
    lines = module.content(dump.replace(".bin", ".report")).decode().splitlines()
    first = lines.index("signalEDID") + 1
    return [line.strip()[1:-1] for line in lines[first : lines.index("lines")]]


class TestEdid(agentcase.AgentCase):
    def test_every_dump(self):
        self.start_agent()
        client, other = self.connect(), self.connect()
        other.sync()
        dumps = sorted(glob.glob(DUMPS))
        self.assertGreater(len(dumps), 20)
        for dump in dumps:
            with self.subTest(os.path.basename(dump)):
                request = "PARSEEDID||" + module.content(dump).hex(" ").upper()
                client.ask(request, "PARSEEDIDRESULT||" + "".join(fields(dump)))
        client.sync()
        other.sync()


if __name__ == "__main__":
    agentcase.main()
