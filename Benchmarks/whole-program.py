#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures runs of vel-posture from start to end, and other programs in the same run for comparison.

usage: whole-program.py [FOLDER [RUNS]]     (default: build/release 201)

FOLDER is a build or an installation: bin/vel-posture, libexec/vel_device_trust/.

1. A request with one "minimumOSVersion" entry, compared with /bin/true.
2. Five questions (process, version, firewall, disks; and, in a second run, identity), compared with a
   shell script that asks bare tools the same: five-questions.sh.

Wall time: medians of alternating runs. Peak resident memory and loaded shared libraries (the
loader counts): read as the process exits, without its children.
Exit status: 0; 1 when a limit is passed; 2 when the program does not answer.
"""

import ctypes
import json
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ONE_CHECK = b'{"mac":[{"type":"minimumOSVersion","version":"1.0"}]}'
FOUR_CHECKS = json.dumps({"mac": [
    {"type": "anyProcessRunning", "processes": [{"name": "sample-agent"}]},
    {"type": "minimumOSVersion", "version": "12"},
    {"type": "localFirewall"},
    {"type": "fullDiskEncryption"},
]}).encode()
RATIO_LIMIT = 1.2
PEAK_LIMIT_KIB = 12 * 1024
PTRACE_TRACEME, PTRACE_CONT, PTRACE_SETOPTIONS = 0, 7, 0x4200
PTRACE_O_TRACEEXIT, EXIT_STOP = 0x40, signal.SIGTRAP | 6 << 8


def ptrace(request, pid=0, data=0):
    call = ctypes.CDLL(None, use_errno=True).ptrace
    call.restype = ctypes.c_long
    call.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]
    if call(request, pid, None, data) == -1:
        raise OSError(ctypes.get_errno(), "ptrace")


def redirections(request, output):
    return [(request, 0), (output, 1)]


def wall_time(command, request, output):
    """Milliseconds from start to end."""
    os.lseek(request, 0, os.SEEK_SET)
    actions = [(os.POSIX_SPAWN_DUP2, *pair) for pair in redirections(request, output)]
    start = time.perf_counter_ns()
    pid = os.posix_spawn(command[0], command, os.environ, file_actions=actions)
    os.waitpid(pid, 0)
    return (time.perf_counter_ns() - start) / 1e6


def at_exit(command, request, output):
    """Peak resident KiB and the mapped libraries, from the process as it exits.

    The kernel's own count for a waited child is of no use: it begins with this script's memory.
    """
    os.lseek(request, 0, os.SEEK_SET)
    pid = os.fork()
    if pid == 0:
        try:
            for source, target in redirections(request, output):
                os.dup2(source, target)
            ptrace(PTRACE_TRACEME)
            os.execv(command[0], command)
        finally:
            os._exit(127)
    peak, libraries = 0, []
    traced = False
    while True:
        _, status = os.waitpid(pid, 0)
        if not os.WIFSTOPPED(status):
            return peak, libraries
        passed_on = os.WSTOPSIG(status)
        if not traced:
            traced = True
            passed_on = 0
            ptrace(PTRACE_SETOPTIONS, pid, PTRACE_O_TRACEEXIT)
        elif status >> 8 == EXIT_STOP:
            passed_on = 0
            peak = peak_of(Path(f"/proc/{pid}/status").read_text())
            libraries = libraries_of(Path(f"/proc/{pid}/maps").read_text())
        ptrace(PTRACE_CONT, pid, passed_on)


def peak_of(status):
    return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmHWM:"))


def libraries_of(maps):
    paths = {line.split(maxsplit=5)[5] for line in maps.splitlines() if "/" in line}
    return sorted(Path(path).name for path in paths if ".so" in Path(path).name)


class Subject:
    """Commands that belong together, with what they read, and the times that they took."""

    def __init__(self, name, *commands):
        self.name = name
        self.commands = commands
        self.times = []
        self.input = tempfile.TemporaryFile()

    def reading(self, request):
        self.input.write(request)
        self.input.flush()
        return self

    def take_time(self, output):
        self.times.append(sum(
            wall_time(command, self.input.fileno(), output) for command in self.commands))

    def median(self):
        return statistics.median(self.times)

    def footprint(self, output):
        try:
            return max(at_exit(command, self.input.fileno(), output) for command in self.commands)
        except OSError as failure:
            print(f"whole-program: {failure}", file=sys.stderr)
            return None, []

    def answers(self, count):
        self.input.seek(0)
        run = subprocess.run(self.commands[0], stdin=self.input, stdout=subprocess.PIPE, check=False)
        try:
            return len(json.loads(run.stdout)["checks"]) == count
        except (ValueError, KeyError):
            return False


def measure(title, subjects, runs):
    """Times the subjects in turns and prints a line for each. The peak of the first one in KiB."""
    peaks = []
    with open(os.devnull, "wb") as null:
        for _ in range(runs):
            for subject in subjects:
                subject.take_time(null.fileno())
        print(f"{title:20}{'wall ms (quartiles)':>26}{'peak KiB':>12}{'shared libraries':>18}")
        for subject in subjects:
            lower, median, upper = statistics.quantiles(subject.times, n=4)
            peak, libraries = subject.footprint(null.fileno())
            peaks.append(peak)
            spread = f"{median:.2f} [{lower:.2f}, {upper:.2f}]"
            print(f"{subject.name:20}{spread:>26}{peak or '-':>12}{len(libraries) or '-':>18}")
            print(f"    {' '.join(libraries)}")
    return peaks[0]


def main():
    here = Path(__file__).resolve().parent
    folder = Path(sys.argv[1] if len(sys.argv) > 1 else here.parent / "build/release")
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 201
    program = str(folder / "bin/vel-posture")
    one = Subject("vel-posture", [program, "check", "-"]).reading(ONE_CHECK)
    five = Subject("vel-posture", [program, "check", "-"], [program, "identity"])
    five.reading(FOUR_CHECKS)
    script = Subject("five-questions.sh", [str(here / "five-questions.sh"),
                                           str(folder / "libexec/vel_device_trust")])
    if not os.access(program, os.X_OK) or not one.answers(1) or not five.answers(4):
        print(f"whole-program: {program} does not answer the requests", file=sys.stderr)
        return 2
    measure("One check", [one, Subject("true", ["/bin/true"])], runs)
    peak = measure("Five questions", [five, script], runs)
    ratio = five.median() / script.median()
    within = ratio <= RATIO_LIMIT and (peak is None or peak < PEAK_LIMIT_KIB)
    print(f"Five questions / shell script: {ratio:.2f} (at most {RATIO_LIMIT}); peak {peak} KiB "
          f"(below {PEAK_LIMIT_KIB}): {'within the limits' if within else 'OVER A LIMIT'}")
    return 0 if within else 1


if __name__ == "__main__":
    sys.exit(main())
