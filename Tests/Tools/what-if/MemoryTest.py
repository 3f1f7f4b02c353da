# SPDX-License-Identifier: Apache-2.0
"""Tries a request on 200,000 described Macs and compares the memory of the program with its limit.

Usage: MemoryTest.py PROGRAM
"""

import json
import resource
import subprocess
import sys
import tempfile

LINES = 200_000
LIMIT = 64 * 1024  # KiB
REQUEST = b'{"mac": [{"type": "minimumOSVersion", "version": "14.3"}]}'


def main(program):
    with tempfile.TemporaryFile() as machines, tempfile.NamedTemporaryFile() as request:
        request.write(REQUEST)
        request.flush()
        for number in range(LINES):
            machines.write(b'{"name":"machine %d","productVersion":"14.%d","mounts":null}\n'
                           % (number, number % 7))
        machines.seek(0)
        ended = subprocess.run(
            [program, "what-if", request.name, "--machines", "-", "--summary", "json"],
            stdin=machines, stdout=subprocess.PIPE, check=False)
    summary = json.loads(ended.stdout)
    assert ended.returncode == 1 and summary["machines"] == LINES, summary
    used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    print(f"{used} KiB for {LINES} lines")
    return 0 if used <= LIMIT else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
