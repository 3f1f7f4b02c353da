# SPDX-License-Identifier: Apache-2.0
"""Tests the JSON Schemas themselves: their form, the examples, documents that they must refuse."""

import unittest

from jsonschema import Draft202012Validator
from schemas import FOLDER, RESULT_KINDS, ROOT, SUFFIX, Schemas, load_all, parse

EXAMPLES = ROOT / "Examples"
# Which schema the files of a folder of the examples follow.
EXAMPLE_FOLDERS = {"Requests": ("request",), "Machines": ("machine-description",),
                   "Results": RESULT_KINDS, "Results/Requests": RESULT_KINDS,
                   "RollOut": ("request",), "Tests": ("policy-test",)}
# The one that shows what the library answers to wrong parameters, and where the schema refuses it.
WRONG_EXAMPLES = {"Requests/minimum-os-version.json": {"/mac/3/version", "/mac/4"}}
CONDITIONS = ("if", "then", "else", "not", "anyOf", "contains")


def read(path):
    return parse(path.read_text("utf-8"))


def parts_of(schema, place="", conditional=False):
    """Every subschema with its place and whether it only states a condition."""
    yield place, schema, conditional
    for keyword, value in schema.items():
        inside = conditional or keyword in CONDITIONS
        here = f"{place}/{keyword}"
        if keyword in ("properties", "$defs", "dependentSchemas"):
            for name, part in value.items():
                yield from parts_of(part, f"{here}/{name}", inside)
        elif keyword in ("allOf", "anyOf", "oneOf"):
            for index, part in enumerate(value):
                yield from parts_of(part, f"{here}/{index}", inside)
        elif keyword in ("items", "additionalProperties", "if", "then", "else", "not", "contains"):
            if isinstance(value, dict):
                yield from parts_of(value, here, inside)


def resolve(schema, part):
    while "$ref" in part:
        target = schema
        for name in part["$ref"].removeprefix("#/").split("/"):
            target = target[name]
        part = {**target, **{key: value for key, value in part.items() if key != "$ref"}}
    return part


class FormOfTheSchemas(unittest.TestCase):
    def test_there_are_these_schemas(self):
        self.assertEqual(list(load_all()), ["diagnosis", "envelope", "error-result",
                                            "explained-result", "identity-result", "lint-findings",
                                            "log-line", "machine-description", "policy-test",
                                            "request", "result", "what-if-line",
                                            "what-if-summary"])
        others = {path.name for path in FOLDER.iterdir() if not path.name.endswith(SUFFIX)}
        self.assertEqual(others, {"README.md"})

    def test_each_is_a_schema(self):
        for name, schema in load_all().items():
            with self.subTest(name):
                self.assertEqual(schema["$schema"], "https://json-schema.org/draft/2020-12/schema")
                Draft202012Validator.check_schema(schema)
                self.assertEqual(schema["$id"], f"urn:vel_device_trust:schema:{name}")

    def test_every_keyword_is_known(self):
        known = set(Draft202012Validator.VALIDATORS) | {
            "$schema", "$id", "$defs", "title", "description", "examples", "default",
            "contentEncoding", "then", "else"}
        for name, schema in load_all().items():
            for place, part, _ in parts_of(schema):
                self.assertLessEqual(set(part), known, name + place)

    def test_every_property_has_a_title_and_a_description(self):
        for name, schema in load_all().items():
            for place, part, conditional in parts_of(schema):
                for key, property_ in part.get("properties", {}).items():
                    if conditional:
                        continue
                    for keyword in ("title", "description"):
                        with self.subTest(f"{name}{place}/properties/{key}"):
                            self.assertIn(keyword, resolve(schema, property_))

    def test_examples_and_defaults_follow_their_schema(self):
        count = 0
        for name, schema in load_all().items():
            for place, part, _ in parts_of(schema):
                validator = Draft202012Validator({**part, "$defs": schema.get("$defs", {})})
                samples = part.get("examples", []) + [
                    part[key] for key in ("default",) if key in part]
                for sample in samples:
                    count += 1
                    with self.subTest(f"{name}{place}"):
                        validator.validate(sample)
        self.assertGreater(count, 20)


class Examples(unittest.TestCase):
    schemas = Schemas()

    def test_every_example_follows_exactly_one_of_its_schemas(self):
        files = list(EXAMPLES.rglob("*.json"))
        self.assertGreater(len(files), 40)
        for path in files:
            name = str(path.relative_to(EXAMPLES))
            with self.subTest(name):
                self.check(path, WRONG_EXAMPLES.get(name, set()))

    def check(self, path, expected):
        kinds = EXAMPLE_FOLDERS[str(path.parent.relative_to(EXAMPLES))]
        document = read(path)
        defects = {kind: self.schemas.defects(kind, document) for kind in kinds}
        matching = [{place for place, _ in defects[kind]} for kind in kinds]
        self.assertEqual(matching.count(expected), 1, defects)


class InvalidDocuments(unittest.TestCase):
    """The table of documents that each schema refuses, and where."""

    schemas = Schemas()
    table = read(ROOT / "Tests" / "Documentation" / "Schemas" / "InvalidDocuments.json")

    def test_every_schema_has_a_table(self):
        self.assertEqual(sorted(self.table), sorted(load_all()))

    def test_each_is_refused_at_its_place_alone(self):
        for name, rows in self.table.items():
            for row in rows:
                defects = self.schemas.defects(name, row["document"])
                with self.subTest(f"{name}: {row['document']}"):
                    self.assertEqual({place for place, _ in defects}, {row["place"]}, defects)


if __name__ == "__main__":
    unittest.main()
