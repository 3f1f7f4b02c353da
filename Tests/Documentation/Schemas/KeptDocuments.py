# SPDX-License-Identifier: Apache-2.0
"""Validates the documents that the tests have kept while they ran.

Usage: KeptDocuments.py clear|validate FOLDER

"clear" empties the folder before the tests run. "validate" holds every document in it against its
schema: a result against exactly one of the three schemas for results. Some of the tests may have run
alone and kept none; but where the folder has the file "whole-run", which a test of the keeping
leaves, there must be documents of every kind.
"""

import pathlib
import shutil
import sys
from collections import Counter

from schemas import RESULT_KINDS, Schemas, parse

MARKER = "whole-run"
OTHER_KINDS = ("machine-description", "envelope", "explained-result", "diagnosis", "lint-findings",
               "log-line", "what-if-line", "what-if-summary")


def kind_of(schemas, path, document):
    """The one schema that the document follows, and no defects; or nothing, and its defects."""
    for kind in OTHER_KINDS:
        if path.name.startswith(kind + "-"):
            defects = schemas.defects(kind, document)
            return (kind if not defects else None), defects
    matching = schemas.kinds_of_result(document)
    if len(matching) == 1:
        return matching[0], []
    return None, [(kind, schemas.defects(kind, document)) for kind in RESULT_KINDS]


def validate(folder):
    schemas = Schemas()
    counts = Counter()
    failures = 0
    for path in sorted(folder.glob("*.json")):
        kind, defects = kind_of(schemas, path, parse(path.read_bytes().decode("utf-8")))
        counts[kind] += 1
        if kind is None:
            failures += 1
            print(f"{path}: follows no schema, or several:", *defects, sep="\n  ")
    print("validated:", dict(counts))
    if (folder / MARKER).exists():
        for kind in (*RESULT_KINDS, *OTHER_KINDS):
            if not counts[kind]:
                failures += 1
                print(f"no document of the kind {kind} was kept")
    return failures


def main(command, folder):
    if command == "clear":
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        return 0
    return 1 if validate(folder) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], pathlib.Path(sys.argv[2])))
