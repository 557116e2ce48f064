# SPDX-License-Identifier: Apache-2.0
"""The documents of every command against their schemas: results, errors, wrong usage, events."""

import json
import os
import re
import subprocess
import unittest

from tests.harness import frames, wait
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import (
    BUSY,
    CLOSE,
    PACKAGE,
    ROWS,
    FakeAgent,
    listing,
    log,
    progress,
)
from tests.harness.upgrade_console.module import Module, answer, image
from tests.harness.upgrade_console.program import (
    BUSY_CODE,
    DOCUMENTS,
    DONE,
    FAILED,
    LOST,
    NO_RUN,
    PROGRAM,
    REFUSED,
    USAGE,
    check_output,
)
from tests.harness.upgrade_console.putcase import SFTP, PutTest
from tests.schemas import documents

DUMP = os.environ["EDID_DUMP"]
FULL = runs.full_run()
BEFORE_REBOOT = FULL[: FULL.index(log("Start to reboot, please wait.")) + 1]
NET_VERSION = [b"NETVERSION||1.23\r\n"]
DESCRIPTION = listing(PACKAGE)[listing(PACKAGE).index(b"FIRMWARELIST") :]
NET_RUN = "UPGRADEORVALE1G||10.0.0.7"
PUT = ["put", "--sftp", SFTP, "{package}"]
DEPLOY = ["deploy", "--sftp", SFTP, "{package}"]


def attached(lines):
    return {"UPGRADE||": [BUSY], "GETFIRMWARELIST": [DESCRIPTION, *lines]}


# The command line, the answers of the agent, the exit status, and the id of the problem.
CASES = [
    (["ping"], {}, DONE, None),
    (["ping"], {"HEARTBEAT": [CLOSE]}, LOST, "connection-lost"),
    (["version"], {}, DONE, None),
    (["version"], {"VERSION": []}, LOST, "no-sign-of-life"),
    (["status"], {}, DONE, None),
    (
        ["status"],
        {"GETFIRMWARELIST": [b"FIRMWARELIST||ERROR:Firmware file is not exist.\r\n"]},
        DONE,
        None,
    ),
    (["status"], {"HEARTBEAT": [CLOSE]}, LOST, "connection-lost"),
    (["list"], {}, DONE, None),
    (
        ["list"],
        {"GETFIRMWARELIST": [b"FIRMWARELIST||ERROR:Firmware file checksum error.\r\n"]},
        REFUSED,
        "package-damaged",
    ),
    (["upgrade"], {ROWS: FULL[:-1] + NET_VERSION + FULL[-1:]}, DONE, None),
    (["upgrade"], {ROWS: runs.half_failed_run()}, FAILED, "image-not-written"),
    (["upgrade"], {ROWS: BEFORE_REBOOT + [CLOSE]}, LOST, "connection-lost"),
    (["upgrade", "--wait-back"], {ROWS: BEFORE_REBOOT + [CLOSE]}, DONE, None),
    (["upgrade"], {"UPGRADE||": [BUSY]}, BUSY_CODE, "busy"),
    (["upgrade", "MAIN,0"], {}, USAGE, "rows-refused"),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: FULL}, DONE, None),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: runs.wrong_model_run()[:-2]}, REFUSED, "wrong-model"),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: runs.half_failed_run()}, FAILED, "image-not-written"),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: BEFORE_REBOOT + [CLOSE]}, LOST, "connection-lost"),
    (["attach"], attached(FULL[:-1] + NET_VERSION + FULL[-1:]), DONE, None),
    (["attach"], attached(runs.half_failed_run()), FAILED, "image-not-written"),
    (["attach"], attached(BEFORE_REBOOT + [CLOSE]), LOST, "connection-lost"),
    (["attach", "--wait-back"], attached(BEFORE_REBOOT + [CLOSE]), DONE, None),
    (["attach"], {}, NO_RUN, "no-run"),
    (PUT, {}, DONE, None),
    (PUT, {"UPGRADE||": [BUSY]}, BUSY_CODE, "busy"),
    (DEPLOY, {ROWS: FULL[:-1] + NET_VERSION + FULL[-1:]}, DONE, None),
    (DEPLOY, {ROWS: runs.half_failed_run()}, FAILED, "image-not-written"),
    (DEPLOY, {ROWS: BEFORE_REBOOT + [CLOSE]}, LOST, "connection-lost"),
    (DEPLOY + ["--wait-back"], {ROWS: BEFORE_REBOOT + [CLOSE]}, DONE, None),
    (["edid", DUMP], {"PARSEEDID||*": [b"PARSEEDIDRESULT||DEL,Name,HDMI,1\r\n"]}, DONE, None),
    (["edid", "none"], {}, FAILED, "file-unreadable"),
    (["send-net", "{net}"], {}, DONE, None),
    (["send-net", "--wait-back", "{net}"], {"going down": []}, DONE, None),
    (["send-net", "{net}"], {"UPGRADE||": [BUSY]}, BUSY_CODE, "busy"),
    (["send-net", "{net}"], {"HEARTBEAT": [b"HEARTBEAT\r\n", CLOSE]}, LOST, "connection-lost"),
    (["shell"], {}, DONE, None),
    (["shell"], {"VERSION": [CLOSE]}, LOST, "connection-lost"),
    (
        ["watch"],
        {"HEARTBEAT": [b"HEARTBEAT\r\n", log("x"), progress(3), answer(frames.BLOCK), CLOSE]},
        LOST,
        "connection-lost",
    ),
]


class TestSchemas(PutTest):
    """Real documents."""

    def setUp(self):
        super().setUp()
        self.net = os.path.join(os.path.dirname(self.data), "net.bin")
        self.write(self.net, image(b"archive" * 100))

    def run_case(self, option, arguments, answers):
        answers = dict(answers)
        fragments = Module()
        if answers.pop("going down", None) is not None:
            fragments = Module(install=Module().install + [CLOSE])
        if "PARSEEDID||*" in answers:
            with open(DUMP, "rb") as dump:
                answers["PARSEEDID||" + dump.read(256).hex(" ")] = answers.pop("PARSEEDID||*")
        if arguments[0] in ("put", "deploy"):
            answers.setdefault("GETFIRMWARELIST", self.listed)
        names = {"{package}": self.file, "{net}": self.net}
        return self.with_agent(
            answers,
            option,
            *[names.get(word, word) for word in arguments],
            fragments=fragments,
            stdin="VERSION\n",
            timeout="2",
        )

    def test_every_command(self):
        for arguments, answers, status, problem in CASES:
            for option in ("--json", "--json-progress"):
                with self.subTest(option=option, arguments=arguments, problem=problem):
                    result = self.run_case(option, arguments, answers)
                    document = json.loads(
                        result.stdout if option == "--json" else result.stdout.splitlines()[-1]
                    )
                    self.assertEqual(
                        (document["exit"], result.returncode), (status, status), result.stdout
                    )
                    error = document["error"]
                    self.assertEqual(error["id"] if error else None, problem)
                    self.assertEqual(document["command"], arguments[0])
        self.talk_of_a_shell()
        self.rare_events()
        self.assertEqual(DOCUMENTS.unseen("upgrade-console-"), [])

    def talk_of_a_shell(self):
        """Every kind of reply."""
        said = [b"VERSION||1.15\r\n", progress(3), answer(frames.BLOCK)]
        result = self.with_agent({"VERSION": said}, "--json", "shell", stdin="VERSION\n")
        self.assertEqual(result.returncode, DONE)
        watched = {"HEARTBEAT": [b"HEARTBEAT\r\n", *said, CLOSE]}
        for option in ("--json", "--json-progress"):
            self.assertEqual(self.with_agent(watched, option, "watch").returncode, LOST)

    def rare_events(self):
        """What only a slow device or a slow copy shows."""
        late = runs.START + [log("Read model name."), 4.5, *runs.wrong_model_run()[5:]]
        result = self.with_agent({ROWS: late}, "--json-progress", "upgrade", timeout="30")
        self.assertEqual(result.returncode, REFUSED)
        self.set_fault("slow")
        with FakeAgent({"GETFIRMWARELIST": self.listed}) as agent:
            program = self.start_program(
                agent.port, "--json-progress", "put", "--sftp", SFTP, self.file
            )
            wait.until(lambda: "copying" in program.stdout(), 20)
            self.write(self.data + ".go", b"")
            self.assertEqual(program.popen.wait(20), DONE, program.report())
        check_output(["--json-progress"], program.stdout())

    def test_wrong_usage_of_every_command(self):
        for command in self.commands():
            result = self.run_alone(command, "--bogus", "--json")
            document = json.loads(result.stdout)
            self.assertEqual((result.returncode, result.stderr), (USAGE, ""))
            self.assertEqual((document["command"], document["error"]["id"]), (command, "usage"))
        for arguments in ((), ("pong",)):
            document = json.loads(self.run_alone("--json", *arguments).stdout)
            self.assertIsNone(document["command"])
            self.assertEqual(document["exit"], USAGE)

    def test_help_and_version(self):
        for arguments in (["--help"], ["--version"], ["-h"], ["-v"], ["--bash-completion"]):
            for words in (["--json", *arguments], [*arguments, "--json"]):
                document = json.loads(self.run_alone(*words).stdout)
                self.assertEqual((document["exit"], document["command"]), (DONE, None))
                self.assertNotEqual(document["text"], "")
        for command in self.commands():
            for words in ([command, "-h"], ["-h", command], [command, "--version"]):
                document = json.loads(self.run_alone(*words, "--json").stdout)
                self.assertEqual(document["exit"], DONE)

    @staticmethod
    def commands():
        shown = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True, check=True)
        part = shown.stdout.split("Subcommands:")[1].split("\n\n")[0]
        return re.findall(r"^  ([a-z-]+) ", part, re.M)

    def test_every_command_has_a_schema_and_cases(self):
        commands = self.commands()
        self.assertGreater(len(commands), 12)
        schemas = [
            name.removeprefix("upgrade-console-")
            for name in documents.names()
            if name.startswith("upgrade-console-")
        ]
        self.assertEqual(
            sorted(name for name in schemas if not name.startswith("event-")), sorted(commands)
        )
        for command in commands:
            problems = {problem for words, _, _, problem in CASES if words[0] == command}
            self.assertTrue(problems - {None}, command)
            self.assertTrue(None in problems or command == "watch", command)


if __name__ == "__main__":
    unittest.main()
