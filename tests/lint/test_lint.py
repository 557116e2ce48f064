# SPDX-License-Identifier: Apache-2.0
"""The lint script finds what it is there to find."""

import os
import re
import shutil
import tempfile
import unittest
from unittest import mock

from scripts.lib import lint
from tests import ROOT
from tests.harness import files


class TestIncludes(unittest.TestCase):
    """The direction of includes."""

    def test_allowed(self):
        for name, header in (
            ("src/engine/ControlCenter.cpp", "links/CoreCOMQ.h"),
            ("src/engine/ControlCenter.cpp", "engine/ControlCenter.h"),
            ("src/links/WorkerCOM.cpp", "engine/ControlCenter.h"),
            ("src/protocol/Reply.cpp", "QByteArray"),
            ("src/bytes/Crc32.cpp", "libdeflate.h"),
            ("src/links/CoreCOMQ.cpp", "sys/ioctl.h"),
            ("src/engine/runs/UpgradeRun.cpp", "engine/report/RunRows.h"),
            ("src/console/ConsoleEvents.h", "engine/report/RunEvent.h"),
            ("src/main/main.cpp", "console/TCPServer.h"),
            ("src/monitoring/OperationsLog.cpp", "console/TCPServer.h"),
            ("tools/client/UpgradeRows.h", "common/PackageRows.h"),
            ("tools/client/AgentConnection.h", "QTcpSocket"),
            ("tools/upgrade-console/RunCommand.h", "client/WaitBack.h"),
            ("tools/upgrade-console/PutCommand.cpp", "fwm/Findings.h"),
            ("tools/device-simulator/Fault.cpp", "protocol/CommandWords.h"),
            ("tools/device-simulator/Fault.cpp", "device-simulator/Fault.h"),
            ("tools/fwm/PlanRows.cpp", "device-description/DeviceDescription.h"),
        ):
            self.assertIsNone(lint.include_problem(name, header), (name, header))

    def test_forbidden(self):
        for name, header in (
            ("src/protocol/Reply.cpp", "bytes/Crc32.h"),
            ("src/links/CoreCOMQ.cpp", "engine/ControlCenter.h"),
            ("src/links/CoreCOMQ.cpp", "links/WorkerCOM.h"),
            ("src/engine/ControlCenter.cpp", "console/TCPServer.h"),
            ("src/console/TCPServer.cpp", "monitoring/OperationsLog.h"),
            ("src/engine/ControlCenter.cpp", "links/WorkerCOM.h"),
            ("src/planning/VersionRule.cpp", "QFile"),
            ("src/package/NetMerge.cpp", "bytes/AtomicFile.h"),
            ("src/planning/ProductCommand.cpp", "platform/Log.h"),
            ("src/protocol/Reply.h", "QObject"),
            ("src/newfolder/Thing.cpp", "QByteArray"),
            ("src/console/TCPServer.cpp", "engine/steps/StepMachine.h"),
            ("src/engine/ControlCenter.cpp", "elsewhere/Thing.h"),
            ("tools/client/Messages.cpp", "upgrade-console/Bars.h"),
            ("tools/client/PackageCopy.cpp", "QFile"),
            ("tools/client/UpgradeModel.cpp", "unistd.h"),
            ("tools/client/UpgradeRows.cpp", "CLI/CLI.hpp"),
            ("tools/client/UpgradeRows.cpp", "common/Output.h"),
            ("tools/common/Output.cpp", "client/Causes.h"),
            ("tools/newtool/main.cpp", "QByteArray"),
            ("tools/device-simulator/Fault.cpp", "console/TCPServer.h"),
            ("tools/fwm/PlanRows.cpp", "device-simulator/SimulatedDevice.h"),
        ):
            self.assertIsNotNone(lint.include_problem(name, header), (name, header))


class TestClasses(unittest.TestCase):
    """How much a class may hold."""

    HEADER = """#pragma once
class Face : public QObject
{
    Q_OBJECT

public:
    explicit Face(int number);
    ~Face() override;
    int number() const { return m_number; }

public slots:
    void take(int number);

signals:
    void taken();

private:
    struct Pair
    {
        int first = 0;
        int second = 0;
    };
    int m_number = 0;
    std::function<void(int)> m_sink;
    Pair m_pair;
};
"""

    def test_counts(self):
        with tempfile.NamedTemporaryFile("w", suffix=".h", encoding="utf-8") as file:
            file.write(self.HEADER)
            file.flush()
            sizes = sorted(lint.class_sizes([file.name]))
        self.assertEqual([size[1:] for size in sizes], [(3, "Face", 5, 3), (19, "Pair", 0, 2)])

    def test_limits(self):
        faces = [("a.h", 1, name, 99, 2) for name in lint.FACES]
        for methods, members, findings in ((25, 12, 0), (26, 12, 1), (25, 13, 1), (26, 13, 2)):
            sizes = faces + [("a.h", 9, "Part", methods, members)]
            with mock.patch.object(lint, "class_sizes", return_value=sizes):
                self.assertEqual(len(list(lint.check_classes())), findings)

    def test_nothing_found(self):
        with mock.patch.object(lint, "class_sizes", return_value=[]):
            self.assertEqual(len(list(lint.check_classes())), 1)


class TestLayers(unittest.TestCase):
    """The layers are the table of ARCHITECTURE.md."""

    def test_order(self):
        self.assertEqual(lint.LAYERS[0], "protocol")
        self.assertEqual(lint.LAYERS[-1], "main")
        self.assertLess(lint.LAYERS.index("engine"), lint.LAYERS.index("links/WorkerCOM"))
        _, folders, _ = next(os.walk(os.path.join(ROOT, "src")))
        self.assertEqual({layer.split("/")[0] for layer in lint.LAYERS}, set(folders))


class TestShapes(unittest.TestCase):
    """Functions, lambdas and nesting."""

    def shapes(self, text):
        return [
            (shape.start, shape.lines, shape.nesting, shape.is_lambda)
            for shape in lint.cpp_shape.functions(text)
        ]

    def test_functions(self):
        self.assertEqual(self.shapes("int f(int a)\n{\n    return a;\n}\n"), [(2, 3, 0, False)])
        self.assertEqual(
            self.shapes("namespace n {\nclass C\n{\n    int f() const { return 1; }\n" "};\n}\n"),
            [(4, 1, 0, False)],
        )
        self.assertEqual(self.shapes("C::C(int a) : B(a), m_a(a)\n{\n}\n"), [(2, 2, 0, False)])
        self.assertEqual(
            self.shapes("const int t[] = {\n1,\n2};\nstruct S\n{\n int a = 1;\n};\n"), []
        )

    def test_texts_and_comments_have_no_braces(self):
        text = 'void f()\n{\n    g("{{{"); // {{\n    h(\'{\'); /* { */\n    k(R"({{)");\n}\n'
        self.assertEqual(self.shapes(text), [(2, 5, 0, False)])
        self.assertEqual(
            self.shapes("void f()\n{\n    g(1'000'000);\n    if (a) {\n    }\n}\n"),
            [(2, 5, 1, False)],
        )

    def test_nesting(self):
        text = (
            "void f()\n{\n  for (;;) {\n    if (a) {\n      while (b) {\n        do {\n"
            "          switch (c) {\n          }\n        } while (d);\n      }\n    }\n"
            "    else {\n      x = {1, {2}};\n    }\n  }\n}\n"
        )
        self.assertEqual(self.shapes(text), [(2, 15, 5, False)])

    def test_lambdas(self):
        text = (
            "void f()\n{\n    connect(a, [this, b](int c) {\n        if (c) {\n        }\n"
            "    });\n    sort([] { return 1; });\n}\n"
        )
        self.assertEqual(self.shapes(text), [(2, 7, 0, False), (3, 4, 1, True), (7, 1, 0, True)])

    def test_tables_do_not_count(self):
        text = (
            "void f()\n{\n    // clang-format off\n    static const int t[] = {\n        1,\n"
            "    };\n    // clang-format on\n    g(t);\n}\n"
        )
        self.assertEqual(self.shapes(text), [(2, 3, 0, False)])


class TestChecks(unittest.TestCase):
    """Each check reports through its tool, and says when the tool is missing."""

    def test_missing_tool(self):
        self.assertEqual(
            list(lint.run_tool("no-such-tool", [], [])),
            ["no-such-tool: is missing; install the package 'no-such-tool'"],
        )

    def test_failing_tool(self):
        self.assertEqual(
            list(lint.run_tool("sh", ["-c", "echo a; echo b; exit 1"], [])), ["a", "b"]
        )
        self.assertEqual(list(lint.run_tool("false", [], [])), ["false: ended with 1"])
        self.assertEqual(list(lint.run_tool("true", [], [])), [])

    def test_python(self):
        """A finding of each tool, and none in a file without one."""
        sources = {
            "good.py": '"""A module."""\n\nNAME = "a"\n',
            "style.py": "NAME = 'a'\n",
            "unused.py": "import os\n",
            "types_.py": "def length():\n    return len(1)\n",
            "missing.py": "import nowhere\n\nnowhere.run()\n",
        }
        with tempfile.TemporaryDirectory() as folder:
            for name in ("pyproject.toml", ".flake8"):
                shutil.copy(os.path.join(ROOT, name), folder)
            for name, content in sources.items():
                files.write(os.path.join(folder, name), content)
            with mock.patch.object(lint, "ROOT", folder):
                findings = list(lint.check_python())
        for wanted in (
            r'^\+NAME = "a"$',
            "^unused.py:1:1: F401 'os' imported but unused$",
            "^types_.py:2: error: Argument 1 to .len.",
            "^missing.py:1: error: Cannot find implementation .* named .nowhere.",
        ):
            self.assertTrue(any(re.search(wanted, line) for line in findings), findings)
        self.assertFalse(any("good.py" in line for line in findings), findings)

    def test_size_limits(self):
        long_text = "void f()\n{\n" + "    g();\n" * 600 + "}\n"
        self.enterContext(mock.patch.object(lint, "production", lambda: ["src/x.cpp"]))
        self.enterContext(mock.patch.object(lint, "text_of", lambda name: long_text))
        found = list(lint.check_sizes())
        self.assertEqual(
            found,
            [
                "src/x.cpp:603: file of 603 lines, at most 499",
                "src/x.cpp:2: function of 602 lines, at most 59",
            ],
        )


if __name__ == "__main__":
    unittest.main()
