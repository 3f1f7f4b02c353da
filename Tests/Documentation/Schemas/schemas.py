# SPDX-License-Identifier: Apache-2.0
"""The project's JSON Schemas, and where a document goes against one."""

import json
import pathlib
import sys

from jsonschema import Draft202012Validator

ROOT = pathlib.Path(__file__).resolve().parents[3]
FOLDER = ROOT / "Documentation" / "schemas"
SUFFIX = ".schema.json"
RESULT_KINDS = ("result", "identity-result", "error-result")

# Documents may nest as deep as the library reads them.
sys.setrecursionlimit(20000)


def refuse_constant(name):
    raise ValueError(f"{name} is no JSON")


def parse(text):
    """The value of a JSON text, without what Python takes beyond JSON."""
    return json.loads(text, parse_constant=refuse_constant)


def load_all():
    """Each schema by the name of its file."""
    return {path.name.removesuffix(SUFFIX): parse(path.read_text("utf-8"))
            for path in sorted(FOLDER.glob("*" + SUFFIX))}


def pointer_to(path):
    return "".join("/" + str(part).replace("~", "~0").replace("/", "~1") for part in path)


class Schemas:
    """Validators of all schemas."""

    def __init__(self):
        self.validators = {name: Draft202012Validator(schema)
                           for name, schema in load_all().items()}

    def accepts(self, name, document):
        return self.validators[name].is_valid(document)

    def defects(self, name, document):
        """Each place of the document that the schema refuses, a JSON pointer, and the reason."""
        return [(pointer_to(error.absolute_path), error.message)
                for error in self.validators[name].iter_errors(document)]

    def kinds_of_result(self, document):
        """The schemas of results that take the document: it should be exactly one."""
        return [name for name in RESULT_KINDS if self.accepts(name, document)]
