# SPDX-License-Identifier: Apache-2.0
"""The base of the tests of put and deploy: a folder stands for the module's /data."""

import json
import os
import tempfile

from tests.harness.package import Image, build, description, image_bytes
from tests.harness.upgrade_console.fake_agent import FAIL, listing
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
        with open(path, "wb") as file:
            file.write(data)

    def content(self):
        with open(self.module_package(), "rb") as file:
            return file.read()

    def sessions(self):
        with open(self.data + ".log", encoding="utf-8") as file:
            return [json.loads(line) for line in file]

    def listed(self, _agent):
        """What an agent lists, by the file that the module has."""
        if not os.path.exists(self.module_package()):
            return [FAIL, b"FIRMWARELIST||ERROR:Firmware file is not exist.\r\n"]
        version = "1.0.5" if self.content() == NEW else "1.0.4"
        return [listing(json.loads(description(IMAGES, version=version)))]

    def run_put(self, *arguments, command="put", answers=None, **more):
        return self.with_agent(
            {"GETFIRMWARELIST": self.listed, **(answers or {})},
            command,
            "--sftp",
            SFTP,
            *arguments,
            self.file,
            **more,
        )

    def failure(self, *arguments, **more):
        """The status and the cause; the module's package is as it was, with nothing beside it."""
        result = self.run_put("--json", *arguments, **more)
        document = json.loads(result.stdout)
        self.assertEqual(document["exit"], result.returncode)
        self.assertEqual((self.content(), os.listdir(self.data)), (OLD, ["FW.fwm"]))
        self.assertNotEqual(document["error"]["text"], "")
        return result.returncode, document["error"]["id"], document["error"].get("detail", "")
