# SPDX-License-Identifier: Apache-2.0
"""Real documents of every command against the command's schema: results, errors, wrong usage."""

import json
import os
import re
import socket
import subprocess
import tempfile
import unittest

import jsonschema

from tests.harness import command, frames
from tests.schemas import documents

PROGRAMS = os.environ["PROGRAMS"]
PACKAGES = os.path.join(documents.ROOT, "tests", "package", "data")
DUMPS = os.path.join(documents.ROOT, "tests", "edid", "data")
DEVICE = os.path.join(documents.ROOT, "tools", "device-simulator", "examples", "six-chips.json")
NAMES = {
    "packages": PACKAGES,
    "good": os.path.join(PACKAGES, "good.fwm"),
    "dumps": DUMPS,
    "device": DEVICE,
}
DONE, FAILED, USAGE, NOTHING, CANNOT_CONNECT, LOST, REFUSED, NOT_TRUSTED = 0, 1, 2, 3, 5, 6, 7, 9
NO_ERROR = (DONE, NOTHING)

# The command line, the exit status, and the id of the error.
CASES = [
    ("fwm info {good}", DONE, None),
    ("fwm info {packages}/checksum-wrong.fwm", REFUSED, "checksum-wrong"),
    ("fwm info net.bin", DONE, None),
    ("fwm info {packages}/bare.fwm", REFUSED, "no-checksum"),
    ("fwm info {packages}/empty.fwm", REFUSED, "not-a-package"),
    ("fwm info {packages}/json-wrong-types.fwm", DONE, None),
    ("fwm info none", FAILED, "file-unreadable"),
    ("fwm info", USAGE, "usage"),
    ("fwm verify {good}", DONE, None),
    ("fwm verify {packages}/net-md5-wrong.fwm", REFUSED, "findings"),
    ("fwm verify net.bin", DONE, None),
    ("fwm verify none", FAILED, "file-unreadable"),
    ("fwm verify signed.fwm", DONE, None),
    ("fwm verify signed.fwm --keys one.pub", DONE, None),
    ("fwm verify {good} --keys one.pub", NOT_TRUSTED, "package-not-signed"),
    (
        "fwm verify {good} --keys one.pub --signature signed.fwm",
        NOT_TRUSTED,
        "package-signature-wrong",
    ),
    ("fwm verify signed.fwm --keys none", USAGE, "usage"),
    ("fwm info signed.fwm --keys one.pub", DONE, None),
    ("fwm info signed.fwm --keys request", USAGE, "usage"),
    ("fwm verify {good} --loud", USAGE, "usage"),
    ("fwm list {good}", DONE, None),
    ("fwm list {packages}/no-magic.fwm", REFUSED, "not-a-package"),
    ("fwm list a b", USAGE, "usage"),
    ("fwm extract {good} -o out", DONE, None),
    ("fwm extract {good} -o {packages}", FAILED, "folder-not-empty"),
    ("fwm extract {good}", USAGE, "usage"),
    ("fwm diff {good} other.fwm", DONE, None),
    ("fwm diff {good} rewritten.fwm", DONE, None),
    ("fwm diff {good} {packages}/version-3.fwm", DONE, None),
    ("fwm diff {good} {good}", NOTHING, None),
    ("fwm diff {good} {packages}/bare.fwm", REFUSED, "no-checksum"),
    ("fwm diff {good}", USAGE, "usage"),
    ("fwm build request/request.json -o FW.fwm", DONE, None),
    ("fwm build odd.json -o odd.fwm", REFUSED, "request-findings"),
    ("fwm build odd.json -o odd.fwm --force", DONE, None),
    ("fwm build hex.json -o hex.fwm --fill-gaps --force", DONE, None),
    ("fwm build short.json -o short.fwm", DONE, None),
    ("fwm build broken.json -o FW.fwm", FAILED, "request-unreadable"),
    ("fwm build wrong.json -o FW.fwm", FAILED, "request-value"),
    ("fwm build request/request.json", USAGE, "usage"),
    ("fwm new -o new.json", DONE, None),
    ("fwm new -o broken.json", FAILED, "output-exists"),
    ("fwm new", USAGE, "usage"),
    ("fwm explain hex.json", DONE, None),
    ("fwm explain broken.json", FAILED, "request-unreadable"),
    ("fwm explain", USAGE, "usage"),
    ("fwm add-net {good} net.bin -o FW.fwm", DONE, None),
    ("fwm add-net {good} {good} -o FW.fwm", REFUSED, "net-image-invalid"),
    ("fwm add-net {good} -o FW.fwm", USAGE, "usage"),
    ("fwm make-net request --net-version 1.24 -o new.bin", DONE, None),
    ("fwm make-net broken.json --net-version 1.24 -o new.bin", FAILED, "not-an-archive"),
    ("fwm make-net request --net-version one -o new.bin", USAGE, "usage"),
    ("fwm make-net request --net-version 1.24 -o request/new.bin", USAGE, "output-in-source"),
    ("fwm plan plan.fwm --device device.json", FAILED, "chip-missing"),
    ("fwm plan plan.fwm --device other.json", REFUSED, "wrong-model"),
    ("fwm plan plan.fwm --rows rows", DONE, None),
    ("fwm plan plan.fwm --rows odd-rows", NOTHING, None),
    ("fwm plan plan.fwm --rows foreign-rows", USAGE, "not-in-package"),
    ("fwm plan {good} --device broken.json", FAILED, "device-unreadable"),
    ("fwm plan {good}", USAGE, "usage"),
    ("fwm", USAGE, "usage"),
    ("fwm lst {good}", USAGE, "usage"),
    ("fwm --help", DONE, None),
    ("fwm list --version", DONE, None),
    ("edid-report {dumps}/v4l-dell-p2415q-hdmi1.4.bin", DONE, None),
    ("edid-report half.bin", DONE, None),
    ("edid-report none", FAILED, "file-unreadable"),
    ("edid-report broken.json", FAILED, "not-an-edid"),
    ("edid-report", USAGE, "usage"),
    ("edid-report --help", DONE, None),
    ("device-check --list", DONE, None),
    ("device-check --port none --write none --yes", FAILED, "file-unreadable"),
    ("device-check --port none", CANNOT_CONNECT, "device-unreachable"),
    ("device-check", USAGE, "usage"),
    ("device-check --help", DONE, None),
    ("device-simulator --device none --pty-link tty", FAILED, "file-unreadable"),
    ("device-simulator --device broken.json --pty-link tty", FAILED, "device-unreadable"),
    ("device-simulator --replay broken.json --pty-link tty", FAILED, "trace-unreadable"),
    ("device-simulator --device {device} --pty-link broken.json", FAILED, "port-not-opened"),
    ("device-simulator --device {device}", USAGE, "usage"),
    ("device-simulator --bash-completion", DONE, None),
]


def image(name, chip, version="1.2.3", mcu_type=1, **more):
    """Of a short request."""
    values = {"name": name, "chip": chip, "version": version, "mcu_type": mcu_type}
    return {**values, "pcb_version": 1, "speciality": "A", "file": "image", **more}


def request(*images, model="MX-88", release="7"):
    return json.dumps({"model": model, "release": release, "images": images})


class TestDocuments(unittest.TestCase):
    maxDiff = None
    folder: str
    documents: documents.Documents

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        cls.documents = documents.Documents()
        cls.make_inputs()

    @classmethod
    def write(cls, name, content):
        with open(os.path.join(cls.folder, name), "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())

    @classmethod
    def read(cls, name):
        with open(os.path.join(cls.folder, name), "rb") as file:
            return file.read()

    @classmethod
    def make(cls, line):
        """Runs a command that must succeed."""
        program, *words = line.format(**NAMES).split()
        program = program if program == "minisign" else os.path.join(PROGRAMS, program)
        command.output(program, *words, cwd=cls.folder)

    @classmethod
    def make_inputs(cls):
        """What the cases need beside the data of other tests."""
        cls.make("fwm extract {good} -o request")
        cls.write("net.bin", cls.read("request/03-NET.bin"))
        written = json.loads(cls.read("request/request.json"))
        cls.write("request/rewritten.json", json.dumps(written, indent=1))
        cls.make("fwm build request/rewritten.json -o rewritten.fwm")

        cls.write("image", "an image" * 40)
        main, aux = image("MAIN-X", "main", "9.2.3", quantity=2), image("AUX", 1, mcu_type=2)
        cls.write("make.json", request(main, aux, model="Other", release="2"))
        cls.make("fwm build make.json -o step.fwm")
        cls.make("fwm make-net request --net-version 1.24 -o newer.bin")
        cls.make("fwm add-net step.fwm newer.bin -o other.fwm")
        cls.write("tiny", bytes(10))
        cls.write("odd.json", request(image("AUX", 1, file="tiny")))
        cls.write("broken.json", "{")
        cls.write("wrong.json", '{"images": [{"name": 5, "note": ""}]}')
        cls.write("image.hex", ":0100000041BE\n:0102000042BB\n:00000001FF\n")
        cls.write("hex.json", request(image("F", "fpga 17", file="image.hex")) + "// one\n")
        cls.write("rows", "MAIN,0,0,1,1,65,1,0,0\n")
        cls.write("odd-rows", "MAIN,0,0,1,2,66,1,0,0\n")
        cls.write("foreign-rows", "NONE,9,0,1,1,65,1,0,0\n")
        chips = [
            {"name": "MAIN", "version": "1.0.0"},
            {"name": "AUX", "chip_type": 2, "chip_index": 0, "version": "1.0"},
        ]
        for name, model in (("device", "MX-88"), ("other", "MX-44")):
            cls.write(
                f"{name}.json", json.dumps({"model": model, "product_id": "P", "chips": chips})
            )
        cls.write("image", bytes(300))
        cls.write("plan.json", request(image("MAIN", "main"), aux))
        cls.make("fwm build plan.json -o plan.fwm")
        # A release for which the checksum has a leading zero, which its text leaves out.
        cls.write("short.json", request(image("MAIN", "main"), release="19"))
        cls.make("fwm build short.json -o short.fwm")
        assert cls.read("short.fwm")[7] == 0
        cls.write("signed.fwm", cls.read(NAMES["good"]))
        cls.make("minisign -W -G -p one.pub -s one.key")
        cls.make("minisign -W -S -s one.key -t release -m signed.fwm")
        cls.write("half.bin", cls.read(f"{DUMPS}/v4l-dell-p2415q-hdmi1.4.bin")[:128])

    def run_case(self, line):
        """The documents of a command line, the exit status, and what was on standard error."""
        program, *words = line.format(**NAMES).split()
        done = command.run(
            os.path.join(PROGRAMS, program), *words, "--json", cwd=self.folder, timeout=60
        )
        return json.loads(done.stdout), done.returncode, done.stderr

    @staticmethod
    def schema_of(line, document):
        """A document without a command, of a program with commands, has the common members only."""
        program = line.split()[0]
        if program != "fwm":
            return program
        return f"fwm-{document['command']}" if document["command"] else documents.COMMON

    def test_every_command(self):
        for line, status, problem in CASES:
            with self.subTest(line):
                document, returned, errors = self.run_case(line)
                self.assertEqual((returned, errors), (status, ""), document)
                self.assertEqual(document["exit"], status)
                error = document["error"]
                self.assertEqual(error["id"] if error else None, problem)
                self.assertEqual(error is None, status in NO_ERROR)
                self.documents.check(self.schema_of(line, document), document)
        self.run_simulator()
        self.run_device_check()
        programs = ("edid-report", "device-check", "device-simulator")
        self.assertEqual(self.documents.unseen(documents.COMMON, "fwm-", *programs), [])

    def run_device_check(self):
        """A device that answers once and closes the connection."""
        answer = frames.frame(frames.REPLY, frames.PRODUCT_ID, b"P")
        with socket.create_server(("127.0.0.1", 0)) as server:
            address = f"127.0.0.1:{server.getsockname()[1]}"
            with subprocess.Popen(
                [os.path.join(PROGRAMS, "device-check"), "--json", "--connect", address],
                stdout=subprocess.PIPE,
                text=True,
            ) as popen:
                with server.accept()[0] as device:
                    self.assertEqual(device.recv(100), frames.host(frames.PRODUCT_ID))
                    device.sendall(answer)
                    self.assertEqual(device.recv(100), frames.host(frames.MODEL_NAME))
                result = popen.communicate(timeout=20)[0]
        self.assertEqual(popen.returncode, LOST)
        document = json.loads(result)
        self.assertEqual(document["error"]["id"], "device-link-lost")
        self.documents.check("device-check", document)

    def run_simulator(self):
        """A run with a host, whose trace is cut."""
        with subprocess.Popen(
            [
                os.path.join(PROGRAMS, "device-simulator"),
                *"--json --pty-link tty --trace /dev/full --device".split(),
                DEVICE,
            ],
            stdout=subprocess.PIPE,
            text=True,
            cwd=self.folder,
        ) as simulator:
            assert simulator.stdout is not None
            ready = simulator.stdout.readline()
            with open(os.path.join(self.folder, "tty"), "r+b", buffering=0) as host:
                host.write(frames.host(frames.MODEL_NAME))
                warning = simulator.stdout.readline()
            simulator.terminate()
            result = simulator.communicate(timeout=20)[0]
        self.assertEqual(simulator.returncode, FAILED)
        for line, name in (
            (ready, "device-simulator-ready"),
            (result, "device-simulator"),
            (warning, "device-simulator-warning"),
        ):
            self.documents.check(name, json.loads(line))

    def test_every_command_has_a_schema(self):
        shown = command.output(os.path.join(PROGRAMS, "fwm"), "--help")
        commands = re.findall(
            r"^  ([a-z-]+) ", shown.split("Subcommands:")[1].split("\n\n")[0], re.M
        )
        self.assertGreater(len(commands), 8)
        self.assertEqual(
            [name for name in documents.names() if name.startswith("fwm-")],
            sorted(f"fwm-{name}" for name in commands),
        )
        for name in commands:
            cases = {status for line, status, _ in CASES if line.split()[:2] == ["fwm", name]}
            self.assertTrue({USAGE} < cases, name)
            self.assertTrue(cases & set(NO_ERROR), name)
            self.assertTrue(cases & {FAILED, REFUSED}, name)

    def test_every_schema_is_one(self):
        for name in documents.names():
            with self.subTest(name):
                jsonschema.Draft202012Validator.check_schema(documents.load(name))

    def test_a_document_that_does_not_fit_is_found(self):
        good = {
            "command": "list",
            "exit": 0,
            "result": "done",
            "error": None,
            "warnings": [],
            "file": "f",
            "model": "m",
            "release": "r",
            "list": [],
        }
        checker = documents.Documents()
        checker.check("fwm-list", good)
        changes: tuple[dict, ...] = (
            {"exit": "0"},
            {"result": "device-busy"},
            {"error": "busy"},
            {"more": 1},
            {"warnings": ["odd"]},
            {"command": "info"},
            {"list": [{}]},
            {"list": [{"two words": 1}]},
            {"model": None},
            {"error": {"id": "nowhere", "text": "t", "advice": "a", "detail": ""}},
            {"warnings": [{"id": "nowhere", "text": "t", "detail": ""}]},
        )
        for change in changes:
            with self.assertRaises(AssertionError, msg=str(change)):
                checker.check("fwm-list", {**good, **change})
        for missing in ("command", "exit", "result", "error", "warnings", "file"):
            with self.assertRaises(AssertionError, msg=missing):
                checker.check("fwm-list", {key: good[key] for key in good if key != missing})

    def test_findings_are_on_the_page(self):
        found = set()
        for name in (
            "Findings.cpp",
            "SchemaCheck.cpp",
            "ContentFindings.cpp",
            "RequestFindings.cpp",
            "BuildCommand.cpp",
        ):
            with open(os.path.join(documents.ROOT, "tools/fwm", name), encoding="utf-8") as file:
                found |= set(
                    re.findall(
                        r'(?:\b(?:error|warning)\(|Severity::\w+, |QStringLiteral\()"'
                        r'([a-z0-9]+(?:-[a-z0-9]+)+)"',
                        file.read(),
                    )
                )
        self.assertGreater(len(found), 20)
        self.assertEqual(
            found | {"extension-missing", "left-half-written", "trace-cut", "verdict-unseen"},
            documents.ids("Warnings and findings"),
        )


if __name__ == "__main__":
    unittest.main()
