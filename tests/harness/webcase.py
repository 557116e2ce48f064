# SPDX-License-Identifier: Apache-2.0
"""The base of the tests of upgrade-web with a scripted agent."""

import os
import tempfile
import unittest

import jsonschema

from tests.schemas import documents

from . import module, web
from .upgrade_console.fake_agent import FakeAgent


class WebCase(unittest.TestCase):
    """A server with an agent that is not busy."""

    maxDiff = None
    options: tuple = ()
    # Of the agent, by request.
    answers: dict = {}

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.agent = FakeAgent(self.answers)
        self.addCleanup(self.agent.stop)
        self.prepare()
        self.server = web.WebServer(self.folder, self.agent.port, *self.options)
        self.addCleanup(self.server.forget)
        self.addCleanup(lambda: self.assertEqual(self.server.stop(), 0, self.server.report()))
        self.package = self.server.package

    def prepare(self):
        pass

    def put(self, content):
        module.put(self.package, content)

    def stored(self):
        return module.content(self.package)

    def watch(self):
        """A viewer that has the first picture."""
        events = self.enterContext(web.Events(self.server))
        events.until("snapshot")
        return events

    def assert_follows_schema(self, name, document):
        schema = documents.load(f"upgrade-web-{name}")
        jsonschema.Draft202012Validator(schema).validate(document)
        self.assertEqual(set(document) - set(documents.members(schema)), set())

    def leftovers(self):
        return sorted(set(os.listdir(self.folder)) - {"FW.fwm", "keys", "password"})
