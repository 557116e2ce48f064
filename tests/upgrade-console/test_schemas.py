# SPDX-License-Identifier: Apache-2.0
"""The documents of every command against their schemas: results, errors, wrong usage, events."""

import json
import os
import re
import subprocess
import unittest

from tests.harness import frames, wait
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import CLOSE, ROWS
from tests.harness.upgrade_console.lines import BUSY, PACKAGE, after, listed, log, progress
from tests.harness.upgrade_console.module import Module, answer, image
from tests.harness.upgrade_console.program import DOCUMENTS, PROGRAM, Exit, check_output
from tests.harness.upgrade_console.putcase import SFTP, PutTest
from tests.schemas import documents

DUMP = os.environ["EDID_DUMP"]
FULL = runs.full_run()
WITH_NET = [*FULL[:-1], b"NETVERSION||1.23\r\n", FULL[-1]]
HALF = runs.half_failed_run()
LOST_RUN = after(FULL, "Start to reboot", CLOSE)
NET_RUN = "UPGRADEORVALE1G||10.0.0.7"
PUT = ["put", "--sftp", SFTP, "{package}"]
DEPLOY = ["deploy", "--sftp", SFTP, "{package}"]


def attached(lines):
    return {"UPGRADE||": [BUSY], "GETFIRMWARELIST": [listed(json.dumps(PACKAGE)), *lines]}


def with_package(text):
    return {"GETFIRMWARELIST": [listed(text)]}


# The command line, the answers of the agent, the exit status, and the id of the problem.
CASES = [
    (["ping"], {}, Exit.DONE, None),
    (["ping"], {"HEARTBEAT": [CLOSE]}, Exit.LOST, "connection-lost"),
    (["version"], {}, Exit.DONE, None),
    (["version"], {"VERSION": []}, Exit.LOST, "no-sign-of-life"),
    (["status"], {}, Exit.DONE, None),
    (["status"], with_package("ERROR:Firmware file is not exist."), Exit.DONE, None),
    (["status"], {"HEARTBEAT": [CLOSE]}, Exit.LOST, "connection-lost"),
    (["list"], {}, Exit.DONE, None),
    (
        ["list"],
        with_package("ERROR:Firmware file checksum error."),
        Exit.REFUSED,
        "package-damaged",
    ),
    (["upgrade"], {ROWS: WITH_NET}, Exit.DONE, None),
    (["upgrade"], {ROWS: HALF}, Exit.FAILED, "image-not-written"),
    (["upgrade"], {ROWS: LOST_RUN}, Exit.LOST, "connection-lost"),
    (["upgrade", "--wait-back"], {ROWS: LOST_RUN}, Exit.DONE, None),
    (["upgrade"], {"UPGRADE||": [BUSY]}, Exit.BUSY, "busy"),
    (["upgrade", "MAIN,0"], {}, Exit.USAGE, "rows-refused"),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: FULL}, Exit.DONE, None),
    (
        ["net-upgrade", "10.0.0.7"],
        {NET_RUN: runs.wrong_model_run()[:-2]},
        Exit.REFUSED,
        "wrong-model",
    ),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: HALF}, Exit.FAILED, "image-not-written"),
    (["net-upgrade", "10.0.0.7"], {NET_RUN: LOST_RUN}, Exit.LOST, "connection-lost"),
    (["attach"], attached(WITH_NET), Exit.DONE, None),
    (["attach"], attached(HALF), Exit.FAILED, "image-not-written"),
    (["attach"], attached(LOST_RUN), Exit.LOST, "connection-lost"),
    (["attach", "--wait-back"], attached(LOST_RUN), Exit.DONE, None),
    (["attach"], {}, Exit.NO_RUN, "no-run"),
    (PUT, {}, Exit.DONE, None),
    (PUT, {"UPGRADE||": [BUSY]}, Exit.BUSY, "busy"),
    (DEPLOY, {ROWS: WITH_NET}, Exit.DONE, None),
    (DEPLOY, {ROWS: HALF}, Exit.FAILED, "image-not-written"),
    (DEPLOY, {ROWS: runs.idle_run()}, Exit.NOTHING, None),
    (DEPLOY, {ROWS: runs.wrong_model_run()}, Exit.REFUSED, "wrong-model"),
    (DEPLOY, {ROWS: LOST_RUN}, Exit.LOST, "connection-lost"),
    (DEPLOY + ["--wait-back"], {ROWS: LOST_RUN}, Exit.DONE, None),
    (["edid", DUMP], {"PARSEEDID||*": [b"PARSEEDIDRESULT||DEL,Name,HDMI,1\r\n"]}, Exit.DONE, None),
    (["edid", "none"], {}, Exit.FAILED, "file-unreadable"),
    (["send-net", "{net}"], {}, Exit.DONE, None),
    (["send-net", "--wait-back", "{net}"], {"going down": []}, Exit.DONE, None),
    (["send-net", "{net}"], {"UPGRADE||": [BUSY]}, Exit.BUSY, "busy"),
    (["send-net", "{net}"], {"HEARTBEAT": [b"HEARTBEAT\r\n", CLOSE]}, Exit.LOST, "connection-lost"),
    (["shell"], {}, Exit.DONE, None),
    (["shell"], {"VERSION": [CLOSE]}, Exit.LOST, "connection-lost"),
    (
        ["watch"],
        {"HEARTBEAT": [b"HEARTBEAT\r\n", log("x"), progress(3), answer(frames.BLOCK), CLOSE]},
        Exit.LOST,
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
        words = [option, *(names.get(word, word) for word in arguments)]
        more = {"fragments": fragments, "stdin": "VERSION\n", "timeout": self.UNANSWERED}
        return self.with_agent(answers, *words, **more)

    def test_every_command(self):
        for arguments, answers, status, problem in CASES:
            for option in ("--json", "--json-progress"):
                with self.subTest(option=option, arguments=arguments, problem=problem):
                    result = self.run_case(option, arguments, answers)
                    if option == "--json-progress":
                        result.stdout = result.stdout.splitlines()[-1]
                    document = self.assert_failure(result, status, problem)
                    self.assertEqual(document["command"], arguments[0])
        self.talk_of_a_shell()
        self.rare_events()
        self.assertEqual(DOCUMENTS.unseen("upgrade-console-"), [])

    def talk_of_a_shell(self):
        """Every kind of reply."""
        said = [b"VERSION||1.15\r\n", progress(3), answer(frames.BLOCK)]
        result = self.with_agent({"VERSION": said}, "--json", "shell", stdin="VERSION\n")
        self.assertEqual(result.returncode, Exit.DONE)
        watched = {"HEARTBEAT": [b"HEARTBEAT\r\n", *said, CLOSE]}
        for option in ("--json", "--json-progress"):
            self.assertEqual(self.with_agent(watched, option, "watch").returncode, Exit.LOST)

    def rare_events(self):
        """What only a slow device or a slow copy shows."""
        late = runs.START + [log("Read model name."), 4.5, *runs.wrong_model_run()[5:]]
        result = self.with_agent({ROWS: late}, "--json-progress", "upgrade", timeout="30")
        waits = [line for line in map(json.loads, result.stdout.splitlines()) if "waited" in line]
        found = {(one["limit"], one["attempt"], one["attempts"]) for one in waits}
        self.assertEqual(found, {(10, 1, 3)})
        self.assertEqual(result.returncode, Exit.REFUSED)
        self.set_fault("slow-put")
        program, _ = self.start_put("--json-progress")
        wait.until(lambda: "copying" in program.stdout(), 20)
        self.write(self.data + ".go", b"")
        self.assert_ends(program, Exit.DONE)
        check_output(["--json-progress"], program.stdout())

    def test_wrong_usage_of_every_command(self):
        for command in self.commands():
            result = self.run_alone(command, "--bogus", "--json")
            document = self.assert_failure(result, Exit.USAGE, "usage")
            self.assertEqual((document["command"], result.stderr), (command, ""))
        for arguments in ((), ("pong",)):
            result = self.run_alone("--json", *arguments)
            self.assertIsNone(self.assert_failure(result, Exit.USAGE, "usage")["command"])

    def test_help_and_version(self):
        for arguments in (["--help"], ["--version"], ["-h"], ["-v"], ["--bash-completion"]):
            for words in (["--json", *arguments], [*arguments, "--json"]):
                document = self.document(self.run_alone(*words))
                self.assertEqual((document["exit"], document["command"]), (Exit.DONE, None))
                self.assertNotEqual(document["text"], "")
        for command in self.commands():
            for words in ([command, "-h"], ["-h", command], [command, "--version"]):
                document = self.document(self.run_alone(*words, "--json"))
                self.assertEqual(document["exit"], Exit.DONE)

    @staticmethod
    def commands():
        shown = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True, check=True)
        part = shown.stdout.split("Subcommands:")[1].split("\n\n")[0]
        return re.findall(r"^  ([a-z-]+) ", part, re.M)

    def test_every_command_has_a_schema_and_cases(self):
        commands = self.commands()
        self.assertGreater(len(commands), 12)
        pattern = re.compile(r"upgrade-console-(?!event-)(.+)")
        schemas = [match[1] for match in map(pattern.fullmatch, documents.names()) if match]
        self.assertEqual(schemas, sorted(commands))
        for command in commands:
            problems = {problem for words, _, _, problem in CASES if words[0] == command}
            self.assertTrue(problems - {None}, command)
            self.assertTrue(None in problems or command == "watch", command)


if __name__ == "__main__":
    unittest.main()
