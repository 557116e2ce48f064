# SPDX-License-Identifier: Apache-2.0
"""Checks the rules for the sources. Each finding is one line, FILE:LINE: WHAT."""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

from scripts.lib import cpp_shape, lint_words

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
ARCHITECTURE = os.path.join(ROOT, "ARCHITECTURE.md")


def layers(top):
    """Who may include whom: a folder may include itself and what is above it in the tables of
    ARCHITECTURE.md, one of which is about `top`. One entry is a single file."""
    with open(ARCHITECTURE, encoding="utf-8") as file:
        table = file.read().split("## Folders", 1)[1].split("\n## ", 1)[0]
    return re.findall(rf"^\| `{top}/([\w/-]+)` \|", table, re.M)


LAYERS = layers("src")
TOOL_LAYERS = layers("tools")
# What a program decides and a library for several programs does not know: options, terminal, files
# by name, processes, and the end of the program.
PROGRAM_HEADERS = re.compile(
    r"CLI/|Q(File|SaveFile|Dir|Temporary\w+|Process|CoreApplication"
    r"|SocketNotifier|Settings)$|bytes/(AtomicFile|FileSource)\.h$"
    r"|common/(?!CommandOutcome|ExitCodes|PackageRows|Problems)"
    r"|(unistd|termios|stdio|stdlib|signal|cstdio|cstdlib|csignal)(\.h)?$"
    r"|sys/|editline/"
)
LIBRARIES_OF_PROGRAMS = {"client"}
# Folders that know neither object nor socket, port, timer or file.
PURE_LAYERS = {"protocol", "package", "planning"}
IMPURE_HEADERS = re.compile(
    r"Q(Object|Timer|Thread|File|SaveFile|Dir|Process|Tcp\w+|Udp\w+|Local\w+"
    r"|SerialPort\w*|Network\w+|CoreApplication)$"
    r"|bytes/(AtomicFile|FileSource)\.h$|(platform|runtime)/"
)
# What of the engine others may include.
ENGINE_INTERFACE = {
    "engine/ControlCenter.h",
    "engine/report/RunEvent.h",
    "engine/report/RunEvents.h",
    "engine/report/RunReporter.h",
    "engine/report/EngineTexts.h",
    "engine/runs/RunClaim.h",
}
# What no tool may include: the agent's own face.
NOT_FOR_TOOLS = {"console", "monitoring", "main"}
# Which tool no other one may include: what a device file says is in tools/device-description.
NOT_FOR_OTHER_TOOLS = {"device-simulator"}

FILE_LINES = 499
FUNCTION_LINES = 59
LAMBDA_LINES = 9
NESTING = 4

# Where classes have a limit, and the two faces that have a slot or signal for each request.
CLASS_FOLDERS = ("src/",)
FACES = {"ControlCenter", "WorkerCOM"}
CLASS_METHODS = 25
CLASS_MEMBERS = 12

SPELLING_SKIP = (
    "tests/console/seeds/",
    "tests/edid/data/",
    "tests/edid/seeds/",
    "tests/package/data/",
)


def tracked(*patterns):
    """The files of the project, in a clone and in an unpacked archive alike."""
    listed = subprocess.run(
        ["git", "ls-files", "-co", "--exclude-standard", "--", *patterns],
        cwd=ROOT,
        capture_output=True,
        text=True,
        check=False,
    )
    if listed.returncode == 0:
        names = listed.stdout.splitlines()
    else:
        names = [
            os.path.relpath(os.path.join(folder, name), ROOT)
            for folder, _, files in os.walk(ROOT)
            for name in files
            if "/build/" not in folder + "/" and "/.git/" not in folder + "/"
        ]
        endings = tuple(pattern.lstrip("*") for pattern in patterns)
        names = [name for name in names if name.endswith(endings) or not patterns]
    return sorted(name for name in names if os.path.isfile(os.path.join(ROOT, name)))


def text_of(name):
    with open(os.path.join(ROOT, name), encoding="utf-8", errors="replace") as file:
        return file.read()


def production():
    return [name for name in tracked("*.cpp", "*.h") if name.startswith(("src/", "tools/"))]


def layer_of(path):
    """The layer of a file of src, by its folder or, where one is listed, its name."""
    stem = os.path.splitext(path)[0]
    return stem if stem in LAYERS else path.split("/")[0]


def tool_include_problem(folder, header):
    """The same for a file of this folder of tools."""
    included = header.split("/")[0]
    if included in NOT_FOR_TOOLS:
        return f"a tool may not include {header}"
    if folder not in TOOL_LAYERS:
        return f"{folder} is not in the table of ARCHITECTURE.md"
    if included in NOT_FOR_OTHER_TOOLS and included != folder:
        return f"{folder} may not include {header}"
    if included in TOOL_LAYERS and TOOL_LAYERS.index(included) > TOOL_LAYERS.index(folder):
        return f"{folder} may not include {header}: it stands above"
    if folder in LIBRARIES_OF_PROGRAMS and PROGRAM_HEADERS.match(header):
        return f"{folder} may not include {header}: that is for programs"
    return None


def include_problem(name, header):
    """What is wrong with one include line, or nothing."""
    top, _, inner = name.partition("/")
    folder = header.split("/")[0]
    is_ours = "/" in header and folder in {layer.split("/")[0] for layer in LAYERS}
    if top == "tools":
        return tool_include_problem(inner.split("/")[0], header)
    layer = layer_of(inner)
    if layer not in LAYERS:
        return f"{layer} is not in the table of ARCHITECTURE.md"
    if layer in PURE_LAYERS and IMPURE_HEADERS.match(header):
        return f"{layer} is pure and may not include {header}"
    if "/" in header and not is_ours and not header.startswith(("sys/", "netinet/")):
        return f"{header} is neither ours nor the system's"
    if header.startswith("engine/") and layer != "engine" and header not in ENGINE_INTERFACE:
        return f"{header} is not part of the engine's interface"
    if is_ours and LAYERS.index(layer_of(header)) > LAYERS.index(layer):
        return f"{layer} may not include {header}: it stands above"
    return None


def check_includes():
    """Who includes whom."""
    for name in production():
        for number, line in enumerate(text_of(name).splitlines(), 1):
            found = re.match(r'\s*#\s*include\s*[<"]([^>"]+)[>"]', line)
            problem = include_problem(name, found.group(1)) if found else None
            if problem:
                yield f"{name}:{number}: {problem}"


def check_sizes():
    """Files, functions, lambdas, nesting. Tables that the formatter leaves alone do not count."""
    for name in production():
        text = text_of(name)
        lines = text.count("\n")
        if lines > FILE_LINES:
            yield f"{name}:{lines}: file of {lines} lines, at most {FILE_LINES}"
        for shape in cpp_shape.functions(text):
            limit = LAMBDA_LINES if shape.is_lambda else FUNCTION_LINES
            if shape.lines > limit:
                what = "lambda" if shape.is_lambda else "function"
                yield f"{name}:{shape.start}: {what} of {shape.lines} lines, at most {limit}"
            if shape.nesting > NESTING:
                yield f"{name}:{shape.start}: nesting of {shape.nesting}, at most {NESTING}"


def run_tool(tool, arguments, names):
    """Runs a checker over files; its lines are the findings."""
    if shutil.which(tool) is None:
        yield f"{tool}: is missing; install the package '{tool}'"
        return
    done = subprocess.run(
        [tool, *arguments, *names],
        cwd=ROOT,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
    )
    if done.returncode != 0:
        yield from done.stdout.splitlines() or [f"{tool}: ended with {done.returncode}"]


def class_sizes(headers):
    """(header, line, class, methods, members) of every class in these files, by cppcheck."""
    names = {os.path.join(ROOT, name): name for name in headers}
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(folder, "all.cpp")
        with open(source, "w", encoding="utf-8") as file:
            file.writelines(f'#include "{path}"\n' for path in names)
        subprocess.run(
            [
                "cppcheck",
                "--quiet",
                "--dump",
                "--std=c++17",
                "--library=qt",
                "-I" + os.path.join(ROOT, "src"),
                source,
            ],
            cwd=ROOT,
            check=True,
            stderr=subprocess.DEVNULL,
        )
        dump = xml.etree.ElementTree.parse(source + ".dump")
    tokens = {token.attrib["id"]: token for token in dump.iterfind("dump/tokenlist/token")}
    for scope in dump.iter("scope"):
        if scope.get("type") in ("Class", "Struct"):
            begin = tokens[scope.attrib["bodyStart"]]
            name = names.get(os.path.join(ROOT, begin.attrib["file"]))
            if name is not None:
                lists = [scope.find(kind) for kind in ("functionList", "varlist")]
                yield (
                    name,
                    int(begin.attrib["linenr"]),
                    scope.get("className"),
                    *(0 if entries is None else len(entries) for entries in lists),
                )


def check_classes():
    """How much a class may hold."""
    if shutil.which("cppcheck") is None:
        yield "cppcheck: is missing; install the package 'cppcheck'"
        return
    headers = [name for name in tracked("*.h") if name.startswith(CLASS_FOLDERS)]
    sizes = list(class_sizes(headers))
    found = {what for _, _, what, _, _ in sizes}
    if not FACES <= found:
        yield f"{', '.join(sorted(FACES - found))}: cppcheck finds no such class"
    for name, line, what, methods, members in sizes:
        if methods > CLASS_METHODS and what not in FACES:
            yield f"{name}:{line}: {what} has {methods} methods, at most {CLASS_METHODS}"
        if members > CLASS_MEMBERS:
            yield f"{name}:{line}: {what} has {members} members, at most {CLASS_MEMBERS}"


def check_format():
    """C++ as clang-format would write it."""
    yield from run_tool("clang-format", ["--dry-run", "-Werror"], tracked("*.cpp", "*.h"))


def check_python():
    """Python as black would write it, and what flake8 and mypy find."""
    names = tracked("*.py")
    yield from run_tool("black", ["--quiet", "--diff", "--check"], names)
    yield from run_tool("flake8", [], names)
    yield from run_tool("mypy", ["--no-error-summary"], names)


def check_shell():
    """Shell scripts."""
    scripts = [
        name for name in tracked() if re.match(r"#!.*\b(ba)?sh\b", text_of(name).split("\n", 1)[0])
    ]
    yield from run_tool("shellcheck", ["-x"], scripts + tracked("*.sh"))


def check_spelling():
    """Spelling, except of the words of the console protocol."""
    names = [
        name
        for name in tracked()
        if not name.startswith(SPELLING_SKIP) and not re.search(r"\.(bin|fwm|png|svg|hex)$", name)
    ]
    yield from run_tool("codespell", ["--ignore-words", ".codespell-ignore"], names)


def check_words():
    """Phrases to avoid; scripts/lib/lint-words.txt lists them."""
    phrases = lint_words.load()
    for name in tracked():
        if lint_words.is_checked(name):
            yield from lint_words.findings(name, text_of(name), phrases)


def check_cppcheck():
    """What can be wrong with C++ without a compiler; what is left out stands in a list."""
    yield from run_tool(
        "cppcheck",
        [
            "--quiet",
            "--error-exitcode=1",
            "--std=c++17",
            "--enable=warning,performance,portability",
            "--library=qt",
            "--inline-suppr",
            "--suppressions-list=.cppcheck-suppressions",
            "-Isrc",
            "-Itools",
        ],
        tracked("*.cpp"),
    )


def check_steps():
    """The engine's step has one writer."""
    writers = [
        f"{name}:{number}: {line.strip()}"
        for name in tracked("src/engine/*.cpp")
        for number, line in enumerate(text_of(name).splitlines(), 1)
        if re.search(r"\bm_step\s*=[^=]|\bm_step\s*\{", line)
    ]
    if len(writers) != 1:
        yield from writers or ["src/engine: nothing sets the step"]


CHECKS = {
    "includes": check_includes,
    "steps": check_steps,
    "sizes": check_sizes,
    "classes": check_classes,
    "format": check_format,
    "python": check_python,
    "shell": check_shell,
    "spelling": check_spelling,
    "words": check_words,
    "cppcheck": check_cppcheck,
}


def main():
    """Runs the named checks; the exit status is 1 when one of them has findings."""
    parser = argparse.ArgumentParser(
        prog="scripts/check lint --", description=__doc__.splitlines()[0]
    )
    parser.add_argument(
        "checks", nargs="*", metavar="CHECK", help=f"all when none is named: {', '.join(CHECKS)}"
    )
    wanted = parser.parse_args().checks or list(CHECKS)
    unknown = [name for name in wanted if name not in CHECKS]
    if unknown:
        parser.error(f"there is no check {unknown[0]!r}; there are {', '.join(CHECKS)}")
    findings = [finding for name in wanted for finding in CHECKS[name]()]
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
