# SPDX-License-Identifier: Apache-2.0
"""Runs Examples/Fleet on 2,000 machines, on this machine's loopback, and GNU parallel.

Usage: FleetTest.py SOURCE PROGRAM [TEST...]

Every way has to give what one process of the program gives, line by line.
"""

import concurrent.futures
import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE, PROGRAM = pathlib.Path(sys.argv[1]), sys.argv[2]
REQUEST = SOURCE / "Examples/Requests/all-checks.json"
FLEET = SOURCE / "Examples/Fleet/fleet.py"
MACHINES = 2000
# On a worker with the variable HELD, while there is the file `hold`, the program never answers: it
# says that it has been asked, and waits.
WRAPPER = """#!/bin/sh
if [ -n "$HELD" ] && [ -e '{hold}' ]; then touch '{asked}'; exec sleep 600; fi
exec '{program}' "$@"
"""


def machine_lines():
    descriptions = [json.loads(path.read_text(encoding="utf-8"))
                    for path in sorted((SOURCE / "Examples/Machines").glob("*.json"))]
    lines = []
    for number in range(MACHINES):
        machine = {**descriptions[number % len(descriptions)], "name": f"machine {number}"}
        lines.append("no machine" if number == 1234 else json.dumps(machine))
    return ("\n".join(lines) + "\n").encode()


LINES = machine_lines()


def run(command, **options):
    return subprocess.run([str(word) for word in command], input=LINES, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=600, check=False, **options)


def wait_for(path):
    while not path.exists() or path.stat().st_size == 0 and path.suffix == ".json":
        time.sleep(0.05)


class Cluster(contextlib.ExitStack):
    """A scheduler and workers of Dask, processes of their own on the loopback interface."""

    def __enter__(self):
        super().__enter__()
        self.folder = pathlib.Path(self.enter_context(tempfile.TemporaryDirectory()))
        self.file = self.folder / "scheduler.json"
        self.start("dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard",
                   "--no-show", "--scheduler-file", self.file)
        wait_for(self.file)
        with open(self.file, encoding="utf-8") as file:
            self.address = json.load(file)["address"]
        return self

    def start(self, module, *arguments, environment=None):
        process = subprocess.Popen(
            [sys.executable, "-m", f"distributed.cli.{module}", *map(str, arguments)],
            cwd=self.folder, env={**os.environ, **(environment or {})}, start_new_session=True,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.callback(self.end, process)
        return process

    def start_worker(self, **environment):
        return self.start("dask_worker", self.address, "--host", "127.0.0.1", "--no-nanny",
                          "--nthreads", "1", "--no-dashboard", environment=environment)

    @staticmethod
    def end(process):
        """With the processes that it has started."""
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()


def without_numbers(answers):
    """The lines; of answers to bad lines, whose numbers count from the start of a block, the start."""
    return [line.split(b',"line":')[0] for line in answers.splitlines()]


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.alone = run([PROGRAM, "what-if", REQUEST, "--machines", "-"])
        assert cls.alone.returncode == 2 and cls.alone.stdout.count(b"\n") == MACHINES

    def fleet_command(self, cluster, program):
        # As few lines as leave work for both workers.
        return [sys.executable, FLEET, "--scheduler", cluster.address, "--program", program,
                "--block", "50", REQUEST]

    def assert_same(self, ended):
        self.assertEqual(ended.returncode, 2, ended.stderr.decode())
        self.assertEqual(ended.stdout.splitlines(), self.alone.stdout.splitlines())

    def test_Dask(self):
        with Cluster() as cluster:
            program, hold = cluster.folder / "program", cluster.folder / "hold"
            asked = cluster.folder / "asked"
            program.write_text(WRAPPER.format(program=PROGRAM, hold=hold, asked=asked),
                               encoding="utf-8")
            program.chmod(0o755)
            job = self.fleet_command(cluster, program)
            first = cluster.start_worker(HELD="1")
            cluster.start_worker()
            with self.subTest("two workers"):
                self.assert_same(run(job))
            with self.subTest("a worker ends in between"), \
                    concurrent.futures.ThreadPoolExecutor() as pool:
                hold.touch()
                ended = pool.submit(run, job)
                while not asked.exists():
                    if ended.done():  # by the second worker alone: the first was not there yet
                        ended = pool.submit(run, job)
                    time.sleep(0.05)
                cluster.end(first)  # which has a block that it will never answer
                self.assert_same(ended.result())

    def test_Parallel(self):
        ended = run(["parallel", "--pipe", "--keep-order", "--block", "100k", "-j", "2",
                     PROGRAM, "what-if", REQUEST, "--machines", "-"])
        self.assertEqual(without_numbers(ended.stdout), without_numbers(self.alone.stdout))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *(f"Fleet.test_{name}" for name in sys.argv[3:])])
