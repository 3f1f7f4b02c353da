#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What runs of vel-posture and its helpers cost from start to end, beside others in the same run.

usage: whole-program.py [--record] [FOLDER [RUNS]]     (default: build/bench 201)

FOLDER is a build with the benchmarks. Each row of the table is one measurement beside the least
that its work can cost: see `rows`. Medians of runs taken in turns; peak memory is that of the
largest process. --record writes the table into Documentation/costs.md.
Exit status: 0; 1 when a limit is passed; 2 when a program does not answer.
"""

import json
import sys
import tempfile
from pathlib import Path
from typing import NamedTuple

from timing import FIVE_QUESTIONS, HERE, ROOT, Failure, Subject, record, table, take_turns

ONE_CHECK = {"mac": [{"type": "minimumOSVersion", "version": "1.0"}]}
PEAK_LIMIT_KIB = 12 * 1024


class Row(NamedTuple):
    subject: Subject
    floor: Subject
    limit: float
    # What the subject's children cost: those of `floor`, by two runs with and without them.
    with_children: Subject = None

    def time(self):
        children = self.with_children.median() - self.floor.median() if self.with_children else 0
        return self.subject.median() - children

    def ratio(self):
        return self.time() / self.floor.median()


def rows(build, folder):
    check = [str(build / "bin/vel-posture"), "check", "--format", "json"]
    one = folder / "one-check.json"
    one.write_text(json.dumps(ONE_CHECK))
    floor = str(build / "Benchmarks/vel_floor")
    helpers = build / "libexec/vel_device_trust"

    def helper(name, *arguments):
        return [str(helpers / name), *arguments]

    listing = helper("process-listing", "-axc")
    keychain = helper("keychain-contents")
    firewall = helper("firewall-state", "--getglobalstate")
    domain = helper("domain-binding", "-show", "-xml")
    return [
        Row(Subject("one check", [*check, str(one)], answers=['"pass":true']),
            Subject("/bin/true", ["/bin/true"]), 3.3),
        Row(Subject("five questions in one start", [*check, *map(str, FIVE_QUESTIONS)],
                    answers=['"type":"fullDiskEncryption"', '"device_id"']),
            Subject("five-questions.sh", [str(HERE / "five-questions.sh"), str(helpers)]), 0.5),
        Row(Subject("process-listing", listing, answers=[r"\d python3"]),
            Subject("its system calls", [floor, "processes"]), 1.6),
        Row(Subject("firewall-state, no rules, without its children", [*firewall, "--nft", floor],
                    answers=["State = 0"]),
            Subject("its system calls", [floor, "firewall"], answers=["State = 0"]), 1.6,
            Subject("its system calls with children", [floor, "firewall", floor])),
        Row(Subject("all seven checks", [*check, str(ROOT / "Examples/Requests/all-checks.json")],
                    answers=['"type":"perDeviceCertificatePresent"']),
            Subject("the helpers that they run", firewall, keychain, listing, domain, keychain), 1.1),
    ]


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--record"]
    build = Path(arguments[0] if arguments else ROOT / "build/bench").resolve()
    runs = int(arguments[1]) if len(arguments) > 1 else 201
    with tempfile.TemporaryDirectory(prefix="vel_whole_program.") as folder:
        measured = rows(build, Path(folder))
        try:
            for row in measured:
                take_turns([one for one in (row.subject, row.floor, row.with_children) if one], runs)
        except Failure as failure:
            print(f"whole-program: {failure}", file=sys.stderr)
            return 2
        peaks = [row.subject.peak() for row in measured]
    text = table(["From start to end", "ms", "beside", "ms", "ratio", "at most", "peak KiB"],
                 [[row.subject.name, f"{row.time():.2f}", row.floor.name, f"{row.floor.median():.2f}",
                   f"{row.ratio():.2f}", row.limit, f"{peak:,}"] for row, peak in zip(measured, peaks)])
    print(text)
    if "--record" in sys.argv:
        record("times", text)
    over = [row.subject.name for row in measured if row.ratio() > row.limit]
    if peaks[1] > PEAK_LIMIT_KIB:
        over.append(f"peak of {measured[1].subject.name}, at most {PEAK_LIMIT_KIB} KiB")
    print("whole-program: " + (f"OVER A LIMIT: {', '.join(over)}" if over else "within the limits"))
    return 1 if over else 0


if __name__ == "__main__":
    sys.exit(main())
