# SPDX-License-Identifier: Apache-2.0
"""The program under test."""

import enum
import json
import os
import re
import subprocess
import tempfile
import unittest

from tests.harness.process import Process
from tests.harness.upgrade_console.fake_agent import ROWS, FakeAgent
from tests.schemas import documents

PROGRAM = os.environ["UPGRADE_CONSOLE"]
DOCUMENTS = documents.Documents()


# The exit statuses.
Exit = enum.IntEnum(
    "Exit", "DONE FAILED USAGE NOTHING BUSY CANNOT LOST REFUSED NO_RUN NOT_TRUSTED", start=0
)


def masked(text):
    """Times differ from run to run."""
    text = re.sub(
        r"(Host .*), started \d{4}(-\d\d){2} \d\d(:\d\d){2}, took \d+:\d\d",
        r"\1, started #, took #",
        text,
    )
    text = re.sub(r"%, \d+:\d\d(, (at least )?\d+:\d\d left)?$", "%, #", text, flags=re.MULTILINE)
    return re.sub(r" +\d+\.\d$", " #", text, flags=re.MULTILINE)


def check_document(document):
    """A document, or an event of JSON lines, against its schema."""
    event = document.get("event", "result")
    if event != "result":
        name = f"upgrade-console-event-{event}"
    elif document["command"] is None:
        name = documents.COMMON
    else:
        name = f"upgrade-console-{document['command']}"
    DOCUMENTS.check(name, document)


def check_output(arguments, stdout):
    """Every JSON document of every test fits its schema."""
    if "--json-progress" in arguments:
        for line in stdout.splitlines():
            check_document(json.loads(line))
    elif "--json" in arguments:
        check_document(json.loads(stdout))


class Background(Process):
    """The program while a test goes on; what it writes goes to files."""

    def __init__(self, port, *arguments, **popen):  # pylint: disable=super-init-not-called
        self.name = "upgrade-console"
        self.command = [PROGRAM, "--host", "127.0.0.1", "--port", str(port), *arguments]
        self._stdout, self._stderr = tempfile.TemporaryFile(), tempfile.TemporaryFile()
        outputs: dict = {"stdout": self._stdout, "stderr": self._stderr}
        self.popen = subprocess.Popen(self.command, **{**outputs, **popen})

    def stdout(self):
        """All it has written so far."""
        size = os.fstat(self._stdout.fileno()).st_size
        return os.pread(self._stdout.fileno(), size, 0).decode()

    def close(self):
        """Ends it if it still runs, and closes its files."""
        self.kill()
        self._stdout.close()
        self._stderr.close()


def done(command, **more):
    """The document of a command that succeeded."""
    begin = {"command": command, "result": "done", "exit": 0, "error": None, "warnings": []}
    return begin | more


def results(document):
    return [mcu["result"] for mcu in document["mcus"]]


class ProgramTest(unittest.TestCase):
    """Runs the program; every run is bounded."""

    maxDiff = None

    # How long the program waits for an answer that comes, however busy the machine is, and for one
    # that does not come in the tests that wait for that.
    ANSWERED, UNANSWERED = "60", "2"

    def run_alone(self, *arguments, stdin=""):
        result = subprocess.run(
            [PROGRAM, *arguments],
            input=stdin,
            capture_output=True,
            text=True,
            timeout=240,
            check=False,
        )
        check_output(arguments, result.stdout)
        return result

    def run_program(self, port, *arguments, stdin="", timeout=ANSWERED):
        options = ("--host", "127.0.0.1", "--port", str(port), "--timeout", timeout)
        return self.run_alone(*options, *arguments, stdin=stdin)

    def start_program(self, port, *arguments, **popen):
        background = Background(port, *arguments, **popen)
        self.addCleanup(background.close)
        return background

    def with_agent(self, answers, *arguments, cut=None, fragments=None, **more):
        with FakeAgent(answers, cut, fragments) as agent:
            result = self.run_program(agent.port, *arguments, **more)
            self.agent = agent
        return result

    def upgrade(self, run, *arguments, answers=None, **more):
        """An upgrade of all MCUs, to which the agent answers with a run."""
        return self.with_agent({ROWS: run, **(answers or {})}, "upgrade", *arguments, **more)

    def document(self, result):
        """The one JSON document on standard output."""
        document = json.loads(result.stdout)
        self.assertEqual(document["exit"], result.returncode, result.stdout)
        return document

    def assert_ends(self, program, status):
        """Waits for the end of a program in the background."""
        self.assertEqual(program.popen.wait(60), status, program.report())

    def assert_output(self, result, status, stdout, stderr=""):
        """All of it, without the times in tables."""
        self.assertEqual((masked(result.stdout), result.stderr), (stdout, stderr))
        self.assertEqual(result.returncode, status)

    def assert_failure(self, result, status, problem):
        """The exit status, and the id of the problem in the document, which is returned."""
        document = self.document(result)
        error = document["error"]
        self.assertEqual((result.returncode, error and error["id"]), (status, problem))
        return document
