#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Builds the API reference and compares it with the headers: every warning of Doxygen is an error,
and it contains everything that a public header exports.

usage: APIReferenceTest.py DOXYGEN ROOT FOLDER VERSION
"""
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

EXPORTS = (
    re.compile(r"^class VEL_EXPORT (\w+)", re.MULTILINE),
    re.compile(r'^extern (?:"C" )?VEL_EXPORT const \w+(?: ?\*)?(?: ?const)? ?(\w+);', re.MULTILINE),
    re.compile(r"^(?:\[\[nodiscard\]\] )?VEL_EXPORT [^;{]*?\b(\w+)\(", re.MULTILINE),
)


def exported_names(root):
    names = {}
    for header in sorted((root / "include").glob("*/*.h")):
        text = header.read_text(encoding="utf-8")
        found = [name for expression in EXPORTS for name in expression.findall(text)]
        marks = len(re.findall(r"VEL_EXPORT (?!__attribute__)", text))
        if marks != len(found):
            sys.exit(f"{header.name}: {marks} exports, but this test only finds {found}")
        names.update(dict.fromkeys(found, header.name))
    return names


def documented_names(tag_file):
    tree = ElementTree.parse(tag_file)
    return {name.text for name in tree.iterfind("./compound/name")} | {
        name.text for name in tree.iterfind("./compound/member/name")
    }


def main():
    doxygen, root, folder, version = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3]), sys.argv[4]
    folder.mkdir(parents=True, exist_ok=True)
    environment = dict(os.environ, VEL_VERSION=version, VEL_DOCS_DIRECTORY=str(folder))
    command = [doxygen, "Documentation/Doxyfile"]
    if subprocess.run(command, cwd=root, env=environment, check=False).returncode != 0:
        sys.exit("the API reference has errors")

    exported = exported_names(root)
    if len(exported) < 10:
        sys.exit(f"only {len(exported)} exports were found in the public headers")
    missing = sorted(exported.keys() - documented_names(folder / "vel_device_trust.tag"))
    for name in missing:
        print(f"{exported[name]}: {name} is not in the API reference; does the header say @file?")
    sys.exit(1 if missing else 0)


main()
