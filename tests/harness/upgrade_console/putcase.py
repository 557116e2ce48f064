# SPDX-License-Identifier: Apache-2.0
"""The base of the tests of put and deploy: a folder stands for the module's /data."""

import json
import os
import tempfile

from tests.harness import module
from tests.harness.package import Image, build, description, image_bytes
from tests.harness.upgrade_console.fake_agent import FakeAgent
from tests.harness.upgrade_console.lines import FAIL, listed, listing
from tests.harness.upgrade_console.program import ProgramTest

SFTP = os.path.join(os.path.dirname(os.path.realpath(__file__)), "fake_sftp.py")
IMAGES = [
    Image("MAIN", image_bytes(3000, 1)),
    Image("AUX 1", image_bytes(5000, 2), 1, version=(2, 1, 0)),
]
OLD = build(IMAGES, version="1.0.4")
NEW = build(IMAGES, version="1.0.5")


class PutTest(ProgramTest):
    """A module with a folder for its data."""

    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory())
        self.data = os.path.join(folder, "data")
        os.mkdir(self.data)
        # A name that a shell or sftp would take apart.
        self.file = os.path.join(folder, 'new *[1] "package".fwm')
        self.write(self.file, NEW)
        self.write(self.module_package(), OLD)
        os.environ["FAKE_SFTP_ROOT"] = self.data
        self.set_fault("")

    def set_fault(self, fault):
        os.environ["FAKE_SFTP_FAULT"] = fault

    def module_package(self):
        return os.path.join(self.data, "FW.fwm")

    def write(self, path, data):
        module.put(path, data)

    def content(self):
        return module.content(self.module_package())

    def assert_on_module(self, package, *names):
        """The package, and the names of the other files."""
        self.assertEqual(self.content(), package)
        self.assertEqual(sorted(os.listdir(self.data)), ["FW.fwm", *names])

    def sessions(self):
        with open(self.data + ".log", encoding="utf-8") as file:
            return [json.loads(line) for line in file]

    def listed(self, _agent):
        """What an agent lists, by the file that the module has."""
        if not os.path.exists(self.module_package()):
            return [FAIL, listed("ERROR:Firmware file is not exist.")]
        version = "1.0.5" if self.content() == NEW else "1.0.4"
        return [listing(json.loads(description(IMAGES, version=version)))]

    def run_put(self, *arguments, command="put", answers=None, rows=(), **more):
        answers = {"GETFIRMWARELIST": self.listed, **(answers or {})}
        words = (command, "--sftp", SFTP, *arguments, self.file, *rows)
        return self.with_agent(answers, *words, **more)

    def start_put(self, *arguments, command="put", answers=None, **more):
        """In the background: the program and its agent."""
        answers = {"GETFIRMWARELIST": self.listed, **(answers or {})}
        agent = self.enterContext(FakeAgent(answers))
        words = (command, "--sftp", SFTP, *arguments, self.file)
        return self.start_program(agent.port, *words, **more), agent

    def failure(self, *arguments, **more):
        """The status and the cause; the module's package is as it was, with nothing beside it."""
        document = self.document(self.run_put("--json", *arguments, **more))
        self.assert_on_module(OLD)
        error = document["error"]
        self.assertNotEqual(error["text"], "")
        return document["exit"], error["id"], error.get("detail", "")
