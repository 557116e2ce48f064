# SPDX-License-Identifier: Apache-2.0
"""Every text that the agent can send, read out of its source, in the source's own spelling."""

import json
import os
import re
import subprocess

LITERAL = r'"((?:[^"\\]|\\.)*)"'
# One or more literals behind each other are one text.
LITERALS = rf"({LITERAL}(?:\s*{LITERAL})*)"

# Where the texts are. Console requests and the names of the engine's own messages go the other way
# or nowhere.
CONSTANTS = ["src/engine/report/EngineTexts.h", "src/package/BuildTexts.h", "src/upload/UploadTexts.h",
             "src/protocol/ConsoleTexts.h", "src/netupgrade/NetTexts.h"]
NOT_SENT = {
    "src/protocol/ConsoleTexts.h": ["// Requests", "// First elements of the engine's messages"],
}
# Pieces of a line, and words that the agent only reads.
PIECES = {"src/protocol/ConsoleTexts.h": {"||", r"\r\n", "RebootDone"}}
TABLE = "src/engine/steps/StepTable.cpp"
VERSION_LINES = "src/planning/CandidateWalk.cpp"


def joined(match):
    return "".join(re.findall(LITERAL, match))


def sections(source):
    """The source cut at its one-line comments: (comment, code)."""
    parts = re.split(r"^(// .*)$", source, flags=re.M)
    yield "", parts[0]
    yield from zip(parts[1::2], parts[2::2])


def constants(root, path):
    with open(os.path.join(root, path), encoding="utf-8") as file:
        source = file.read()
    texts = []
    for comment, code in sections(source):
        if comment.strip() in NOT_SENT.get(path, []):
            continue
        code = re.sub(r"/\*.*?\*/", "", code, flags=re.S)
        code = re.sub(r'operator""_text|^#.*$', "", code, flags=re.M)
        # What stands between two literals is written with a place for it.
        code = re.sub(r'"\) \+ \w+ \+ QStringLiteral\("', "%1", code)
        texts += [joined(found.group(1)) for found in re.finditer(LITERALS, code)]
    return [text for text in texts if text and text not in PIECES.get(path, set())]


def table_texts():
    """Those of the step table, from the program that prints it."""
    program = os.environ["PRINT_STATES"]
    return json.loads(subprocess.run([program, "--texts"], capture_output=True, text=True,
                                     check=True).stdout)


def version_texts(root):
    with open(os.path.join(root, VERSION_LINES), encoding="utf-8") as file:
        source = file.read()
    words = source.split("words[] = {", 1)[1].split("};", 1)[0]
    return re.findall(LITERAL, words)


def all_texts(root):
    """Text -> the files that have it."""
    found = {}
    for path in CONSTANTS:
        for text in constants(root, path):
            found.setdefault(text, []).append(path)
    for text in table_texts():
        found.setdefault(text, []).append(TABLE)
    for text in version_texts(root):
        found.setdefault(text, []).append(VERSION_LINES)
    return found
