# SPDX-License-Identifier: Apache-2.0
"""Times of programs, taken in turns, and the tables of Documentation/costs.md. For the scripts here."""

import os
import re
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
PAGE = ROOT / "Documentation/costs.md"
# What five-questions.sh asks, as requests: one start of the program answers both.
FIVE_QUESTIONS = [HERE / "four-checks.json", ROOT / "Examples/Requests/identity.json"]


class Failure(Exception):
    pass


class Subject:
    """Commands that belong together, and the milliseconds that each of their runs took.

    answers: patterns that must occur in what they print, or in the file `written` that they write.
    every:   it takes part in one round out of so many.
    """

    def __init__(self, name, *commands, answers=(), written=None, every=1):
        self.name = name
        self.commands = commands
        self.answers = answers
        self.written = written
        self.every = every
        self.times = []

    def check(self):
        """Raises Failure unless it answers."""
        text = ""
        for command in self.commands:
            try:
                text += subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, check=False).stdout.decode()
            except OSError as failure:
                raise Failure(f"{self.name}: {failure}") from failure
        if self.written:
            text += self.written.read_text()
        for answer in self.answers:
            if not re.search(answer, text):
                raise Failure(f"{self.name}: no {answer} in its answer: {text}")

    def take_time(self, null):
        streams = [(os.POSIX_SPAWN_DUP2, null, stream) for stream in (0, 1, 2)]
        start = time.perf_counter_ns()
        for command in self.commands:
            os.waitpid(os.posix_spawn(command[0], command, os.environ, file_actions=streams), 0)
        self.times.append((time.perf_counter_ns() - start) / 1e6)

    def median(self):
        return statistics.median(self.times)

    def peak(self):
        """KiB of the largest process, children included."""
        with tempfile.NamedTemporaryFile("r") as report:
            for command in self.commands:
                subprocess.run(["/usr/bin/time", "--quiet", "-a", "-o", report.name, "-f", "%M", *command],
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, check=False)
            return max(map(int, report.read().split()))


def take_turns(subjects, rounds):
    """Times the subjects in turns, after a run of each that must answer."""
    for subject in subjects:
        subject.check()
    null = os.open(os.devnull, os.O_RDWR)
    for number in range(rounds):
        for subject in subjects:
            if number % subject.every == 0:
                subject.take_time(null)
    os.close(null)


def table(columns, rows):
    """In Markdown; all columns but the first are numbers."""
    lines = ["| " + " | ".join(map(str, line)) + " |\n" for line in [columns, *rows]]
    lines.insert(1, "|---|" + "---:|" * (len(columns) - 1) + "\n")
    return "".join(lines)


def record(title, text):
    """Writes the text between the two marks of that title on the page."""
    start, end = f"<!-- {title} -->\n", f"<!-- end of {title} -->\n"
    page = PAGE.read_text()
    PAGE.write_text(page[:page.index(start) + len(start)] + "\n" + text + "\n" + page[page.index(end):])
