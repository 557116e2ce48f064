# SPDX-License-Identifier: Apache-2.0
"""JSON documents of the programs against their schemas in docs/reference/schemas.

A schema lets unknown members pass, as its readers do. The tests do not: what a document has, its
schema and the pages must name, and what a schema names, some document must have.
"""

import json
import os
import re

import jsonschema

from tests import ROOT

FOLDER = os.path.join(ROOT, "docs", "reference", "schemas")
COMMON = "document"
KEY = re.compile(r"[a-z][a-z0-9]*(_[a-z0-9]+)*")


def names():
    return sorted(name.removesuffix(".json") for name in os.listdir(FOLDER))


def load(name):
    """A schema that needs no other file."""
    with open(os.path.join(FOLDER, f"{name}.json"), encoding="utf-8") as file:
        schema = json.load(file)
    if schema.get("$ref") == f"{COMMON}.json":
        del schema["$ref"]
        schema["allOf"] = [load(COMMON)]
    return schema


def ids(heading):
    """The ids in the tables of a section of docs/reference/problems.md."""
    with open(os.path.join(ROOT, "docs", "reference", "problems.md"), encoding="utf-8") as file:
        section = file.read().split(f"\n## {heading}\n")[1].split("\n## ")[0]
    return set(re.findall(r"^\| `([a-z0-9-]+)` \|", section, re.M))


def members(schema):
    """The members that a schema names, by name; none where it is not about an object."""
    found = dict(schema.get("properties", {}))
    for part in schema.get("allOf", []):
        found |= members(part)
    return found


def places(schema, where=""):
    """Every member that a schema names, as a path."""
    for name, inner in schema.get("properties", {}).items():
        yield f"{where}.{name}"
        yield from places(inner, f"{where}.{name}")
    if "items" in schema:
        yield from places(schema["items"], f"{where}[]")


class Documents:
    """Checks documents, and keeps which members of the schemas they had."""

    def __init__(self):
        self.seen = {}

    def check(self, name, document):
        """Raises an AssertionError when a document does not fit the schema of this name."""
        schema = load(name)
        validator = jsonschema.Draft202012Validator(schema)
        errors = [
            f"{error.json_path}: {error.message}" for error in validator.iter_errors(document)
        ]
        assert not errors, f"{name}: {errors}\n{document}"
        self._walk(name, schema, document, "")
        self._check_ids(document)

    def unseen(self, *prefixes):
        """The members that schemas with such names have and no document had."""
        return [
            f"{name}{place}"
            for name in names()
            if name.startswith(prefixes)
            for place in places(self._own(name))
            if place not in self.seen.get(name, set())
        ]

    @staticmethod
    def _own(name):
        return {key: value for key, value in load(name).items() if key != "allOf"}

    def _walk(self, name, schema, value, where):
        if isinstance(value, dict):
            known = members(schema)
            for key, inner in value.items():
                place = f"{where}.{key}"
                assert KEY.fullmatch(key), f"{name}: {place} is not in snake_case"
                assert key in known, f"{name}: the schema does not have {place}"
                self.seen.setdefault(name, set()).add(place)
                self.seen.setdefault(COMMON, set()).add(place)
                self._walk(name, known[key], inner, place)
        elif isinstance(value, list):
            for inner in value:
                self._walk(name, schema.get("items", {}), inner, f"{where}[]")

    @staticmethod
    def _check_ids(document):
        error = document.get("error")
        if error:
            assert error["id"] in ids("Every problem"), error
        for one in document.get("warnings", []) + document.get("errors", []):
            assert one["id"] in ids("Warnings and findings"), one
