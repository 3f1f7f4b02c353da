#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""Tries a request on many described Macs with the workers of a Dask cluster.

    fleet.py --scheduler ADDRESS REQUEST < machines.ndjson > answers.ndjson

Reads machine descriptions, one per line, and writes the answer of "vel-posture what-if" to each, in
the same order. Each worker runs the program on a block of lines; if a worker goes away, another one
answers its blocks. Exit status: the highest one of the program.
"""

import argparse
import collections
import itertools
import json
import subprocess
import sys
import tempfile

from distributed import Client


def answer(program, request, first, lines):
    """The status of the program and its answers to a block whose first line has the number `first`."""
    with tempfile.NamedTemporaryFile() as file:
        file.write(request)
        file.flush()
        ended = subprocess.run([program, "what-if", file.name, "--machines", "-"],
                               input=b"".join(lines), stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, check=False)
    answers = ended.stdout.splitlines(keepends=True)
    if ended.returncode not in (0, 1, 2) or len(answers) != len(lines):
        raise RuntimeError(f"{program} ended with status {ended.returncode}: "
                           + ended.stderr.decode(errors="replace"))
    return ended.returncode, [numbered(line, first) for line in answers]


def numbered(line, first):
    """An answer; that to a bad line has the line's number in the block."""
    if line.startswith(b'{"error":'):
        value = json.loads(line)
        value["line"] += first - 1
        line = json.dumps(value, separators=(",", ":"), ensure_ascii=False).encode() + b"\n"
    return line


def answers_in_order(client, arguments, request, source):
    """What `answer` returns for each block. A few blocks at a time are under way, so that memory does
    not grow with the fleet."""
    workers = len(client.scheduler_info()["workers"])
    under_way = collections.deque()
    first = 1
    for lines in iter(lambda: list(itertools.islice(source, arguments.block)), []):
        under_way.append(client.submit(answer, arguments.program, request, first, lines, pure=False))
        first += len(lines)
        if len(under_way) >= 4 * max(workers, 1):
            yield under_way.popleft().result()
    while under_way:
        yield under_way.popleft().result()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("request", metavar="REQUEST")
    parser.add_argument("--scheduler", required=True, metavar="ADDRESS")
    parser.add_argument("--program", default="vel-posture", help="its path on the workers")
    parser.add_argument("--block", type=int, default=500, help="lines for one run of the program")
    arguments = parser.parse_args()
    with open(arguments.request, "rb") as file:
        request = file.read()
    worst = 0
    with Client(arguments.scheduler) as client:
        for status, answers in answers_in_order(client, arguments, request, sys.stdin.buffer):
            worst = max(worst, status)
            sys.stdout.buffer.writelines(answers)
            sys.stdout.buffer.flush()
    return worst


if __name__ == "__main__":
    sys.exit(main())
