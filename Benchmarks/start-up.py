#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What one run of vel-posture costs from start to end, beside /bin/true in the same run.

usage: start-up.py [PROGRAM [RUNS]]     (default: build/release/bin/vel-posture 201)

The request has one "minimumOSVersion" entry. Wall time: median of runs taken in turns. Peak
resident memory and loaded shared libraries (the loader counts): read as the process exits.
Exit status: 0; 2 when the program does not answer the request.
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

REQUEST = b'{"mac":[{"type":"minimumOSVersion","version":"1.0"}]}'
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


def answers(command, request):
    os.lseek(request, 0, os.SEEK_SET)
    run = subprocess.run(command, stdin=request, stdout=subprocess.PIPE, check=False)
    try:
        return len(json.loads(run.stdout)["checks"]) == 1
    except (ValueError, KeyError):
        return False


def main():
    root = Path(__file__).resolve().parent.parent
    program = sys.argv[1] if len(sys.argv) > 1 else str(root / "build/release/bin/vel-posture")
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 201
    commands = [[program, "check", "-"], ["/bin/true"]]
    with tempfile.TemporaryFile() as file, open(os.devnull, "wb") as null:
        file.write(REQUEST)
        file.flush()
        request, output = file.fileno(), null.fileno()
        if not os.access(program, os.X_OK) or not answers(commands[0], request):
            print(f"start-up: {program} does not answer the request", file=sys.stderr)
            return 2
        times = [[] for _ in commands]
        for _ in range(runs):
            for index, command in enumerate(commands):
                times[index].append(wall_time(command, request, output))
        print(f"{'':14}{'wall ms (quartiles)':>26}{'peak KiB':>12}{'shared libraries':>18}")
        for command, taken in zip(commands, times):
            lower, median, upper = statistics.quantiles(taken, n=4)
            try:
                peak, libraries = at_exit(command, request, output)
            except OSError as failure:
                print(f"start-up: {failure}", file=sys.stderr)
                peak, libraries = "-", []
            spread = f"{median:.2f} [{lower:.2f}, {upper:.2f}]"
            count = len(libraries) or "-"
            print(f"{Path(command[0]).name:14}{spread:>26}{peak:>12}{count:>18}")
            print(f"    {' '.join(libraries)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
