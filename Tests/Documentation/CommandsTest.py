#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the commands in the console blocks of README.md and compares what they print.

A line "$ COMMAND" begins a command; the lines after it are its output on a terminal that is wide enough.
"./dev run" stands for the built program.

usage: CommandsTest.py ROOT PROGRAM
"""
import re
import shlex
import subprocess
import sys
from pathlib import Path

BLOCK = re.compile(r"^```console\n(.*?)^```$", re.MULTILINE | re.DOTALL)
COMMAND = re.compile(r"^\$ (.+)\n((?:(?!\$ ).*\n)*)", re.MULTILINE)


def words_of(command, program):
    if command.startswith("./dev run "):
        return [program, *shlex.split(command.removeprefix("./dev run ")), "--format", "text"]
    return shlex.split(command)


def main():
    root, program = Path(sys.argv[1]), sys.argv[2]
    blocks = BLOCK.findall((root / "README.md").read_text(encoding="utf-8"))
    commands = [command for block in blocks for command in COMMAND.findall(block)]
    if len(commands) < 3:
        sys.exit(f"README.md has only {len(commands)} commands")
    failed = False
    for command, expected in commands:
        printed = subprocess.run(words_of(command, program), cwd=root, check=False,
                                 stdout=subprocess.PIPE).stdout.decode()
        print(f"{'ok' if printed == expected else 'differs'}: {command}")
        if printed != expected:
            print(printed)
            failed = True
    sys.exit(1 if failed else 0)


main()
