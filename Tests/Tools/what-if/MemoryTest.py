# SPDX-License-Identifier: Apache-2.0
"""Tries a request on many described Macs: the program's memory must not grow with their number.

Usage: MemoryTest.py PROGRAM [LINES]
"""

import json
import resource
import subprocess
import sys
import tempfile

REQUEST = b'{"mac": [{"type": "minimumOSVersion", "version": "14.3"}]}'
FEW = 2_000
LIMIT = 64 * 1024  # KiB
GROWTH = 1024  # KiB: 25 bytes a line


def memory(program, lines):
    """The most memory that the program has used so far, in KiB."""
    with tempfile.TemporaryFile() as machines, tempfile.NamedTemporaryFile() as request:
        request.write(REQUEST)
        request.flush()
        for number in range(lines):
            machines.write(b'{"name":"machine %d","productVersion":"14.%d","mounts":null}\n'
                           % (number, number % 7))
        machines.seek(0)
        ended = subprocess.run(
            [program, "what-if", request.name, "--machines", "-", "--summary", "json"],
            stdin=machines, stdout=subprocess.PIPE, check=False)
    summary = json.loads(ended.stdout)
    assert ended.returncode == 1 and summary["machines"] == lines, summary
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss


def main(program, lines=40_000):
    few, many = memory(program, FEW), memory(program, int(lines))
    print(f"{few} KiB for {FEW} lines, {many} KiB for {lines}")
    return 0 if many <= LIMIT and many - few <= GROWTH else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
