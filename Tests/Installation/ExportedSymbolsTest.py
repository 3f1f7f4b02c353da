# SPDX-License-Identifier: Apache-2.0
"""Compares what the shared library exports with the list of what it is meant to export.

Usage: ExportedSymbolsTest.py NM LIBRARY LIST...

A line of a LIST is a symbol's name as C++ writes it, and its version. Names that stand for several
symbols (the kinds of a constructor or destructor) are there several times. Two long types are
written as the headers name them, whatever the release of their library: std::string, VELValue.

On a Mac, whose standard library has other names and no versions, names are compared without the
types of arguments.
"""

import collections
import pathlib
import re
import subprocess
import sys

STRING = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"
MAC = sys.platform == "darwin"
VALUE = re.compile(
    r"nlohmann::(json_abi\w*::)?basic_json<std::map, std::vector, std::string, bool, long, "
    r"unsigned long, double, std::allocator, nlohmann::(json_abi\w*::)?adl_serializer, "
    r"std::vector<unsigned char, std::allocator<unsigned char> >(, void)? ?>")


def exported(nm, library):
    options = ["-gU", "--demangle"] if MAC else [
        "--dynamic", "--defined-only", "--demangle", "--with-symbol-versions"]
    output = subprocess.run([nm, *options, library], check=True, stdout=subprocess.PIPE,
                            text=True).stdout
    names = []
    for line in output.splitlines():
        _, kind, name = line.split(" ", 2)
        if kind != "A":  # the version itself
            names.append(comparable(VALUE.sub("VELValue", name.replace(STRING, "std::string"))))
    return collections.Counter(names)


def comparable(name):
    return re.sub(r"[(\[@].*", "", name).removeprefix("_") if MAC else name


def meant(paths):
    lines = [line.strip() for path in paths
             for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines()]
    return collections.Counter(comparable(line) for line in lines if line and not line.startswith("#"))


def main():
    nm, library, *paths = sys.argv[1:]
    found, expected = exported(nm, library), meant(paths)
    for name, count in sorted((found - expected).items()):
        print(f"exported, but not listed: {name} ({count})")
    for name, count in sorted((expected - found).items()):
        print(f"listed, but not exported: {name} ({count})")
    if found != expected:
        return 1
    print(f"{sum(found.values())} symbols")
    return 0


if __name__ == "__main__":
    sys.exit(main())
