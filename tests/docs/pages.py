# SPDX-License-Identifier: Apache-2.0
"""The project's pages: which there are, and where what they name leads."""

import os
import re

from tests import ROOT
from tests.harness import command, files

FOREIGN = re.compile(r"[a-z][a-z0-9+.-]*:", re.I)  # a scheme: another place than this repository
LINK = re.compile(r"!?\[(?:[^\[\]]|\[[^\]]*\])*\]\(\s*<?([^)\s>]+)>?(?:\s+\"[^\"]*\")?\s*\)")
REFERENCE = re.compile(r"^\s{0,3}\[[^\]]+\]:\s*<?(\S+?)>?\s*$")
HEADING = re.compile(r"^#{1,6}\s+(.*?)\s*#*$")
FENCE = re.compile(r"^\s*(```+|~~~+)")
CODE = re.compile(r"(`+)(.+?)\1")
# A place in the repository named in passing, without wildcards and stand-ins.
PLACE = re.compile(
    r"(?<![\w./-])(?:docs|src|tools|tests|scripts|bench|cmake|packaging|fuzz)/[\w./+-]*\w"
)


def names(root=ROOT):
    """All Markdown files and man pages that belong to the project."""
    listed = command.run("git", "ls-files", "-co", "--exclude-standard", cwd=root)
    found = listed.stdout.splitlines() if listed.returncode == 0 else files.below(root)
    return sorted(
        name
        for name in found
        if re.search(r"\.md$|(^|/)man/[^/]+\.[1-8]$", name)
        and not name.startswith("build/")
        and os.path.isfile(os.path.join(root, name))
    )


def read(name, root=ROOT):
    return files.text(root, name)


def lines_outside_fences(text):
    """(number, line) of everything that is not in a fenced block."""
    fence = None
    for number, line in enumerate(text.splitlines(), 1):
        mark = FENCE.match(line)
        if fence:
            if mark and mark.group(1).startswith(fence) and not line.strip().strip("`~"):
                fence = None
            continue
        if mark:
            fence = mark.group(1)
            continue
        yield number, line


def plain(heading):
    """A heading as it is shown: without the marks of code, emphasis and links."""
    heading = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading)
    return re.sub(r"[`*]", "", heading)


def anchors(text):
    """The anchors that a page's headings make; a second heading of one name gets a number."""
    found: dict[str, int] = {}
    for _, line in lines_outside_fences(text):
        heading = HEADING.match(line)
        if not heading:
            continue
        slug = re.sub(r"[^\w\- ]", "", plain(heading.group(1)).lower()).replace(" ", "-")
        found[slug] = found.get(slug, 0) + 1
    return {
        slug if number == 0 else f"{slug}-{number}"
        for slug, count in found.items()
        for number in range(count)
    }


def without_code(line):
    return CODE.sub(lambda code: " " * len(code.group(0)), line)


def links(text):
    """(line number, target) of every link that stays in the repository."""
    for number, line in lines_outside_fences(text):
        targets = LINK.findall(without_code(line))
        reference = REFERENCE.match(line)
        for target in targets + ([reference.group(1)] if reference else []):
            if not FOREIGN.match(target):
                yield number, target


def dead_link(name, target, root):
    """What is wrong with one link, or nothing."""
    path, _, anchor = target.partition("#")
    place = os.path.normpath(os.path.join(os.path.dirname(name), path)) if path else name
    if place.startswith(("..", "/")):
        return f"{target} leads out of the repository"
    if not os.path.exists(os.path.join(root, place)):
        return f"{target}: there is no {place}"
    if anchor and place.endswith(".md") and anchor not in anchors(read(place, root)):
        return f"{target}: {place} has no such heading"
    return None


def places(name, text):
    """(line number, path) of the repository's files that are named in passing."""
    if not name.endswith(".md"):
        text = text.replace("\\", "")
        for number, line in enumerate(text.splitlines(), 1):
            for path in PLACE.findall(line):
                yield number, path
        return
    for number, line in lines_outside_fences(text):
        for _, code in CODE.findall(line):
            if PLACE.fullmatch(code.rstrip("/")):
                yield number, code.rstrip("/")


def is_place(path, root):
    """A file, a folder, or the name that a header and a source file share."""
    return any(os.path.exists(os.path.join(root, path + ending)) for ending in ("", ".h", ".cpp"))


def pages_of_ours(root):
    return {os.path.basename(name) for name in names(root) if not name.endswith(".md")}


def dead_man_references(name, text, root):
    """(line number, what) of each reference to a page of one of the project's programs that is
    missing."""
    ours = {page.rsplit(".", 1)[0] for page in pages_of_ours(root)}
    folder = os.path.join(root, "tools")
    if os.path.isdir(folder):
        ours |= {tool for tool in os.listdir(folder) if os.path.isdir(os.path.join(folder, tool))}
    for number, line in enumerate(text.replace("\\", "").splitlines(), 1):
        for program, section in re.findall(r"([\w-]+)[ ]?\((\d)\)", line):
            if program in ours and f"{program}.{section}" not in pages_of_ours(root):
                yield number, f"there is no page {program}({section})"


def findings(root=ROOT):
    """One line for each thing that leads nowhere."""
    for name in names(root):
        text = read(name, root)
        if name.endswith(".md"):
            for number, target in links(text):
                problem = dead_link(name, target, root)
                if problem:
                    yield f"{name}:{number}: {problem}"
        else:
            for number, problem in dead_man_references(name, text, root):
                yield f"{name}:{number}: {problem}"
        for number, path in places(name, text):
            if not is_place(path, root):
                yield f"{name}:{number}: there is no {path}"
