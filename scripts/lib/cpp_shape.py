# SPDX-License-Identifier: Apache-2.0
"""Finds the functions of a C++ file, their lengths and their nesting.

It does not use a compiler: it replaces comments and texts by blanks, then counts braces. The text
before a brace determines what it opens. That is exact enough for the code of this project.
"""

import dataclasses
import re


@dataclasses.dataclass
class Shape:
    """One function or lambda."""

    start: int
    lines: int
    nesting: int
    is_lambda: bool


@dataclasses.dataclass
class _Block:
    kind: str
    start: int
    deepest: int = 0


_SKIPPED = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'|^[ \t]*#(?:[^\n\\]|\\\n|\\.)*",
    re.S | re.M,
)
_TABLE = re.compile(r"// clang-format off.*?// clang-format on", re.S)
_SCOPE = re.compile(r"\b(namespace|class|struct|union|enum|extern)\b")
_CONTROL = re.compile(r"(\)|\belse|\bdo|\btry|:|\bconst|\bnoexcept|\boverride|\bmutable|^)\s*$")
_LAMBDA = re.compile(
    r"\[[^\[\]]*\]\s*(\((?:[^()]|\([^()]*\))*\))?\s*"
    r"(mutable\s*|noexcept\s*)*(->[\w\s:<>*&]+)?\s*$"
)


def _blank(match):
    return re.sub(r"[^\n]", " ", match.group(0))


def _kind(head, outer):
    """What a brace opens, from the text since the last end of a statement and the outer block."""
    if _LAMBDA.search(head):
        return "lambda"
    if outer in ("function", "lambda", "control"):
        is_local_type = _SCOPE.search(head) and not re.search(r"\)\s*$", head)
        return "scope" if is_local_type else "control" if _CONTROL.search(head) else "list"
    if outer == "list":
        return "list"
    if _SCOPE.search(head) and not re.search(r"\)\s*(const|noexcept|override|final|\s)*$", head):
        return "scope"
    return "function" if "(" in head and not re.search(r"=\s*$", head) else "list"


def functions(text):
    """Every function and lambda of a file. Lines count from the opening to the closing brace, both
    included, without the lines of tables in which clang-format is switched off."""
    tables = [
        (text.count("\n", 0, found.start()) + 1, text.count("\n", 0, found.end()) + 1)
        for found in _TABLE.finditer(text)
    ]
    code = _SKIPPED.sub(_blank, text)
    shapes: list[Shape] = []
    stack: list = []
    head, line = "", 1
    for character in code:
        if character == "{":
            outer = stack[-1].kind if stack else "scope"
            stack.append(_Block(_kind(head, outer), line))
            _deepen(stack)
            head = ""
        elif character == "}":
            if stack:
                block = stack.pop()
                if block.kind in ("function", "lambda"):
                    shapes.append(_shape(block, line, tables))
            head = ""
        elif character == ";":
            head = ""
        else:
            head += character
        line += character == "\n"
    return sorted(shapes, key=lambda shape: shape.start)


def _deepen(stack):
    """Records in the innermost function how many control blocks are open inside it."""
    depth = 0
    for block in reversed(stack):
        if block.kind == "control":
            depth += 1
        elif block.kind in ("function", "lambda"):
            block.deepest = max(block.deepest, depth)
            return


def _shape(block, end, tables):
    lines = end - block.start + 1
    lines -= sum(last - first + 1 for first, last in tables if block.start <= first and last <= end)
    return Shape(block.start, lines, block.deepest, block.kind == "lambda")
