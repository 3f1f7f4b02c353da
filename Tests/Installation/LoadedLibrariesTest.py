# SPDX-License-Identifier: Apache-2.0
"""Compares the shared libraries that each program loads at its start with those that it may load.

Usage: LoadedLibrariesTest.py READELF PROGRAM_FOLDER HELPER_FOLDER

Loading libraries is most of the time of a start. Each NEEDED entry counts, but those of the C
library, which every program has.
"""

import re
import subprocess
import sys
from pathlib import Path

EXPECTED = {
    "vel-posture": {"libcrypto", "libexpat"},
    "certificate-subject": {"libcrypto"},
    "code-signature": {"libcrypto"},
    "domain-binding": set(),
    "firewall-state": set(),
    "keychain-contents": {"libp11-kit"},
    "process-listing": set(),
}
LIBC = {"libc", "libm", "ld-linux-x86-64", "ld-linux-aarch64"}


def loaded(readelf, program):
    output = subprocess.run([readelf, "--dynamic", "--wide", program], check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    return set(re.findall(r"\(NEEDED\).*\[([^]]+?)\.so", output)) - LIBC


def main(readelf, program_folder, helper_folder):
    programs = [Path(program_folder, "vel-posture"), *Path(helper_folder).iterdir()]
    actual = {program.name: loaded(readelf, program) for program in programs}
    for name in sorted(actual.keys() | EXPECTED.keys()):
        if actual.get(name) != EXPECTED.get(name):
            print(f"{name} loads {actual.get(name)}, expected {EXPECTED.get(name)}")
    return actual != EXPECTED


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
