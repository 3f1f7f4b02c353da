#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compiles and runs the programs in Documentation/host-developer.md against the built library.

usage: SnippetsTest.py ROOT LIBRARY CXX CC   LIBRARY: the shared library, a file
"""
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

FENCE = re.compile(r"^```(cpp|c|python)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
# The outcome differs from machine to machine, what was asked does not.
EXPECTED = [
    ("cpp", "minimumOSVersion", None),
    ("c", "minimumOSVersion", None),
    ("python", "minimumOSVersion", None),
    ("cpp", "officeHours", "Nobody knows what time it is."),
]


def command_for(language, source, folder, root, library, compilers):
    if language == "python":
        return [sys.executable, str(source)]
    program = folder / source.stem
    standard = "-std=c++20" if language == "cpp" else "-std=c99"
    subprocess.run(
        [compilers[language], standard, "-Wall", "-Wextra", "-Werror",
         f"-I{root}/include", str(source), str(library), "-o", str(program)],
        check=True)
    return [str(program)]


def main():
    root, library = Path(sys.argv[1]), Path(sys.argv[2])
    compilers = {"cpp": sys.argv[3], "c": sys.argv[4]}
    document = (root / "Documentation" / "host-developer.md").read_text(encoding="utf-8")
    snippets = FENCE.findall(document)
    if [language for language, _ in snippets] != [language for language, _, _ in EXPECTED]:
        sys.exit(f"the document has other programs: {[language for language, _ in snippets]}")
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "libvel_device_trust.so.1").symlink_to(library)
        environment = dict(os.environ, LD_LIBRARY_PATH=f"{folder}:{library.parent}",
                           PYTHONPATH=str(root / "Python"), PYTHONDONTWRITEBYTECODE="1")
        for number, ((language, text), (_, check, error)) in enumerate(zip(snippets, EXPECTED)):
            source = folder / f"snippet{number}.{language if language != 'python' else 'py'}"
            source.write_text(text, encoding="utf-8")
            command = command_for(
                language, source, folder, root, library, compilers)
            output = subprocess.run(
                command, env=environment, check=True, stdout=subprocess.PIPE).stdout
            entries = json.loads(output)["checks"]
            if len(entries) != 1 or entries[0]["type"] != check or entries[0].get("error") != error:
                sys.exit(f"program {number} ({language}) printed {output!r}")
            print(f"program {number} ({language}): {output.decode().strip()}")


main()
