# SPDX-License-Identifier: Apache-2.0
"""Compares what the schemas accept with what the library accepts, over mutations of full documents.

Usage: AgreementTest.py DOCUMENT_VERDICTS
"""

import copy
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from schemas import ROOT, Schemas, parse

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLES = ROOT / "Examples"

# What every value is replaced by: each type of JSON, and values at the edges of the formats.
REPLACEMENTS = [None, True, False, 0, 1, -1, 0.5, -0.5, 2**31 - 1, 2**31, -(2**31), -(2**31) - 1,
                2**63, 2**64 - 1, 10**30, "", "text", "AAAA", "AA==", "A", "2026-01-15T12:00:00Z",
                [], [None], ["text"], [{}], {}, {"text": "text"}, {"base64": "AAAA"},
                {"unreadable": True}]

# Where schema and reader differ: document, what the schema says, what the reader says. A schema
# does not know how a number is written, nor the calendar, nor how deep containers nest. That "$"
# matches before a last line break is a habit of Python's expressions alone.
MACHINE_DIFFERENCES = [
    ('{"date": "2026-02-30T12:00:00Z"}', True, "date is not an RFC 3339 time"),
    ('{"date": "2026-01-15T12:00:00Z\\n"}', True, "date is not an RFC 3339 time"),
    ('{"tools": [{"command": ["/a"], "status": 1.0}]}', True,
     "tools[0].status is not an integer"),
    ('{"tools": [{"command": ["/a"], "status": -0}]}', True,
     "tools[0].status is not an integer"),
    ('{"keychain": {"identitiesStatus": 1e2}}', True,
     "keychain.identitiesStatus is not an integer of 32 bits"),
    ('{"preferences": {"user": {"a": {"b": ' + "[" * 600 + "]" * 600 + "}}}}", True,
     "arrays and objects are nested deeper than 512 at byte 546"),
]

# Errors that say that the request is wrong, not the machine.
REQUEST_ERRORS = re.compile(
    r"Unknown posture check type: .*"
    r'|Required parameter "\w+" missing from check type "\w+"\.'
    r"|Process name missing from process running check\."
    r"|Invalid version type in OS version check\."
    r"|[\w\[\].]+ is not (a string|an array|an object)"
    r"|the request is not an object", re.DOTALL)

# On the Mac in good order: the library looks at a parameter only where it comes to need it.
REQUEST_DIFFERENCES = [
    {"mac": [{"type": "joinedToDomain", "names": ["*", 7]}]},
    {"mac": [{"type": "anyProcessRunning", "processes": [{"name": "SampleAgent"}, {}]}]},
    {"mac": [{"type": "anyProcessRunning",
              "processes": [{"name": "none", "signingCertificateSubjectOU": 7}]}]},
]


def containers(value, path=()):
    """Every object and list in a value, by its path."""
    if isinstance(value, (dict, list)):
        yield path
        members = value.items() if isinstance(value, dict) else enumerate(value)
        for key, member in members:
            yield from containers(member, (*path, key))


def at(value, path):
    for key in path:
        value = value[key]
    return value


def mutations(document):
    """The document, and copies of it that differ in one place."""
    yield document
    yield from REPLACEMENTS
    for path in containers(document):
        container = at(document, path)
        keys = list(container) if isinstance(container, dict) else range(len(container))

        def changed(change):
            mutation = copy.deepcopy(document)
            change(at(mutation, path))
            return mutation

        for key in keys:
            yield changed(lambda part: part.pop(key))
            for value in REPLACEMENTS:
                yield changed(lambda part: part.__setitem__(key, value))
        for value in (None, "text", {}):
            if isinstance(container, dict):
                yield changed(lambda part: part.__setitem__("unknown key", value))
            else:
                yield changed(lambda part: part.append(value))
        # Each object with the keys of the next one in addition, which may exclude each other.
        objects = [key for key in keys if isinstance(container[key], dict)]
        for key, other in zip(objects, objects[1:]):
            union = {**container[other], **container[key]}
            yield changed(lambda part: part.__setitem__(key, union))


def properties_of(schema):
    """The names of all properties that a schema has, and those of an object's text keys."""
    names = set()
    for part in [schema, *schema.get("$defs", {}).values()]:
        for name, property_ in part.get("properties", {}).items():
            names |= {name} | properties_of(property_)
    return names


def keys_of(value):
    if isinstance(value, dict):
        return set(value).union(*map(keys_of, value.values()))
    return set().union(*map(keys_of, value)) if isinstance(value, list) else set()


class Agreement(unittest.TestCase):
    program = None
    schemas = Schemas()

    def answers(self, texts, *arguments):
        run = subprocess.run([self.program, *arguments], input="\n".join(texts) + "\n", check=True,
                             stdout=subprocess.PIPE, encoding="utf-8")
        answers = run.stdout.splitlines()
        self.assertEqual(len(answers), len(texts))
        return [parse(answer) for answer in answers]

    def compare(self, documents, schema, objections):
        """Holds that the schema refuses exactly what the library objects to."""
        refused = 0
        for document, objection in zip(documents, objections):
            refused += objection is not None
            if self.schemas.accepts(schema, document) != (objection is None):
                self.fail(f"{json.dumps(document)}\nlibrary: {objection}\n"
                          f"schema: {self.schemas.defects(schema, document)}")
        self.assertGreater(refused, 100)
        self.assertGreater(len(documents) - refused, 100)
        print(f"{schema}: {len(documents)} documents, {refused} refused", file=sys.stderr)


class MachineDescriptions(Agreement):
    full = parse((HERE / "full-machine.json").read_text("utf-8"))

    def test_the_full_description_has_every_key(self):
        schema = parse((ROOT / "Documentation/schemas/machine-description.schema.json").read_text())
        self.assertEqual(properties_of(schema) - keys_of(self.full), set())

    def test_schema_and_reader_agree(self):
        documents = list(mutations(self.full))
        objections = self.answers(map_json(documents), "machine")
        self.assertIsNone(objections[0])
        self.compare(documents, "machine-description", objections)

    def test_the_differences_are_these(self):
        texts = [text for text, _, _ in MACHINE_DIFFERENCES]
        objections = self.answers(texts, "machine")
        for (text, accepted, objection), found in zip(MACHINE_DIFFERENCES, objections):
            with self.subTest(text[:100]):
                self.assertEqual(found, objection)
                self.assertEqual(self.schemas.accepts("machine-description", parse(text)), accepted)


class Requests(Agreement):
    full = parse((EXAMPLES / "Requests" / "all-checks.json").read_text("utf-8"))
    identity = parse((EXAMPLES / "Requests" / "identity.json").read_text("utf-8"))

    def machine_that_looks_at_everything(self):
        """The Mac in good order, but for a domain and a signer that match nothing."""
        text = (EXAMPLES / "Machines" / "compliant.json").read_text("utf-8")
        for old, new in (("corp.sample.test", "corp.other.example"), ("OU=TEAM42", "OU=OTHER7")):
            self.assertIn(old, text)
            text = text.replace(old, new)
        return text

    def objection(self, result):
        """What the library finds wrong with the request, if anything."""
        if "error" in result and "checks" not in result:
            self.assertRegex(result["error"], REQUEST_ERRORS)
            return result["error"]
        errors = [check["error"] for check in result.get("checks", []) if "error" in check]
        return next(filter(REQUEST_ERRORS.fullmatch, errors), None)

    def test_schema_and_library_agree(self):
        both = {**self.full, **self.identity}
        documents = [*mutations(self.full), *mutations(self.identity), *mutations(both)]
        with tempfile.TemporaryDirectory() as folder:
            machine = pathlib.Path(folder) / "machine.json"
            machine.write_text(self.machine_that_looks_at_everything(), "utf-8")
            results = self.answers(map_json(documents), "request", machine)
        self.compare(documents, "request", list(map(self.objection, results)))
        for document, result in zip(documents, results):
            self.assertEqual(len(self.schemas.kinds_of_result(result)), 1, json.dumps(document))

    def test_the_differences_are_these(self):
        results = self.answers(map_json(REQUEST_DIFFERENCES), "request",
                               EXAMPLES / "Machines" / "compliant.json")
        for document, result in zip(REQUEST_DIFFERENCES, results):
            with self.subTest(json.dumps(document)):
                self.assertIsNone(self.objection(result))
                self.assertFalse(self.schemas.accepts("request", document))


def map_json(documents):
    return [json.dumps(document) for document in documents]


if __name__ == "__main__":
    Agreement.program = sys.argv.pop(1)
    unittest.main()
