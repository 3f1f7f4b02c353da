# SPDX-License-Identifier: Apache-2.0
"""Compares the property list reader with two others, Python's plistlib and plistutil.

Random property lists, always the same ones, are written by plistlib in both forms. Each file, and
what plistutil makes of it in the other form, is read by dump-property-list and by plistlib. Values
must agree in kind and to the bit.

Usage: PropertyListAgreementTest.py DUMP_PROPERTY_LIST PLISTUTIL
"""

import base64
import datetime
import json
import os
import pathlib
import plistlib
import random
import struct
import subprocess
import sys
import tempfile

COUNT = 150
SEED = 20261121
FORMS = {"xml": plistlib.FMT_XML, "bin": plistlib.FMT_BINARY}

EDGE_INTEGERS = [0, 1, -1, -5, 127, 128, 255, 256, 32767, 32768, 65535, 65536, 2**31 - 1, 2**31,
                 -(2**31), 2**32 - 1, 2**32, 2**53 + 1, 2**63 - 1, 2**63, 2**64 - 1, -(2**63)]
# No negative zero: plistlib takes it for the other one, plistutil 2.2 leaves its sign out.
EDGE_REALS = [0.0, 0.1, 1 / 3, 5.0, -2.5, 1e22, 1e-7, 5e-324, 2.2250738585072014e-308,
              1.7976931348623157e308, 123456789.12345679]
# plistutil 2.2 writes the years before 1000 with fewer than four digits.
EDGE_DATES = [datetime.datetime(1000, 1, 1), datetime.datetime(9999, 12, 31, 23, 59, 59),
              datetime.datetime(2001, 1, 1), datetime.datetime(2000, 2, 29, 23, 59, 59),
              datetime.datetime(1969, 12, 31, 23, 59, 59)]
LETTERS = "abcXYZ 0123456789<>&\"'/\n\täöüß€中文\u00a0\u2028\ufffd\ud7ff\ue000😀𐀀\U0010fffd"


class Values:
    """Makes random values."""

    def __init__(self, generator):
        self.random = generator

    def integer(self):
        return self.random.choice([self.random.choice(EDGE_INTEGERS),
                                   self.random.randint(-(2**63), 2**64 - 1),
                                   self.random.randint(-1000, 1000)])

    def real(self):
        anything = struct.unpack(">d", self.random.randbytes(8))[0]
        finite = anything if anything - anything == 0 else 0.5
        return self.random.choice([self.random.choice(EDGE_REALS), finite, self.random.random()])

    def date(self):
        moment = datetime.datetime(2001, 1, 1)
        moment += datetime.timedelta(seconds=self.random.randint(-2**31, 2**32))
        return self.random.choice([moment, *EDGE_DATES])

    def text(self):
        length = self.random.choice([0, 1, 5, 14, 15, 16, 40, 300])
        letters = self.random.choice(["ab c", LETTERS])
        return "".join(self.random.choice(letters) for _ in range(length))

    def data(self):
        return self.random.randbytes(self.random.choice([0, 1, 2, 3, 14, 15, 100, 1000]))

    def uid(self):
        return plistlib.UID(self.random.choice([0, 255, 256, 2**32 - 1]))

    def boolean(self):
        return self.random.random() < 0.5

    def scalar(self):
        return self.random.choice([self.integer, self.real, self.date, self.text, self.data,
                                   self.uid, self.boolean])()

    def value(self, depth):
        if depth == 0 or self.random.random() < 0.4:
            return self.scalar()
        count = self.random.choice([0, 1, 2, 5, 17])
        if self.random.random() < 0.5:
            return [self.value(depth - 1) for _ in range(count)]
        return {self.text(): self.value(depth - 1) for _ in range(count)}


def as_json(value):
    """What the reader makes of a value of plistlib."""
    if isinstance(value, dict):
        return {key: as_json(member) for key, member in value.items()}
    if isinstance(value, list):
        return [as_json(element) for element in value]
    if isinstance(value, datetime.datetime):
        return value.replace(microsecond=0).isoformat() + "Z"
    if isinstance(value, bytes):
        return base64.b64encode(value).decode("ascii")
    if isinstance(value, plistlib.UID):
        return {"CF$UID": value.data}
    return value


def exactly(value):
    """A text that is equal for equal values of the same kind alone, reals bit by bit."""
    root = as_json(value)
    if isinstance(root, dict) and list(root) == ["CF$UID"] and type(root["CF$UID"]) is int:
        root = root["CF$UID"]
    return json.dumps(root, sort_keys=True)


def without_uids(value):
    """The same value for the XML form, which has a dictionary in place of a UID."""
    if isinstance(value, dict):
        return {key: without_uids(member) for key, member in value.items()}
    if isinstance(value, list):
        return [without_uids(element) for element in value]
    return as_json(value) if isinstance(value, plistlib.UID) else value


def convert(plistutil, source, target, form):
    subprocess.run([plistutil, "-i", source, "-o", target, "-f", form], check=True)
    return target


def write_files(folder, plistutil):
    """Pairs of a file and the value it was made from."""
    files = []
    for index in range(COUNT):
        simple = index % 2 == 0
        value = Values(random.Random(SEED + index)).value(index % 6)
        for form, other in (("xml", "bin"), ("bin", "xml")):
            path = folder / f"{index}.{form}"
            written = without_uids(value) if form == "xml" else value
            path.write_bytes(plistlib.dumps(written, fmt=FORMS[form]))
            converted = convert(plistutil, path, folder / f"{index}.{form}.{other}", other)
            files += [(path, value), (converted, value)]
    return files


def main(dump, plistutil):
    with tempfile.TemporaryDirectory() as name:
        files = write_files(pathlib.Path(name), plistutil)
        output = subprocess.run([dump, *(path for path, _ in files)], check=True,
                                stdout=subprocess.PIPE).stdout.decode("utf-8")
        lines = output.split("\n")[:-1]
        failures = 0 if len(lines) == len(files) else 1
        for (path, value), line in zip(files, lines):
            ours = json.loads(line)
            ours = json.dumps(ours["value"], sort_keys=True) if "value" in ours else line
            readers = {"written": exactly(value),
                       "plistlib": exactly(plistlib.loads(path.read_bytes()))}
            for reader, theirs in readers.items():
                if ours != theirs:
                    failures += 1
                    first = len(os.path.commonprefix([ours, theirs]))
                    around = slice(max(0, first - 100), first + 100)
                    print(f"{path.name}: read {ours[around]!r}\n  {reader}: {theirs[around]!r}")
    print(f"{len(files)} files, {len(lines)} read, {failures} failures")
    return 1 if failures or len(files) != 4 * COUNT else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
