# SPDX-License-Identifier: Apache-2.0
"""Embeds the library in another project, and runs its hosts in the build tree and installed.

usage: EmbeddingTest.py CONFIGURATION.json [TEST...]

All tests share one build folder: the library is compiled once.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

with open(sys.argv[1], encoding="utf-8") as file:
    CONFIGURATION = json.load(file)
SOURCE = pathlib.Path(CONFIGURATION["source"])
WORK = pathlib.Path(CONFIGURATION["build"]) / "Tests/embedding"
BUILD = WORK / "build"
HELPERS = pathlib.Path("libexec/vel_device_trust")

REQUEST = {"mac": [{"type": "minimumOSVersion", "version": "0"},
                   {"type": "anyProcessRunning",
                    "processes": [{"name": pathlib.Path(os.path.realpath(sys.executable)).name}]}]}
VERDICT = "minimumOSVersion: pass\nanyProcessRunning: pass\nPASSED\n"


def run(*command, status=0):
    ended = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, text=True)
    if ended.returncode != status:
        raise AssertionError(f"{command} ended with {ended.returncode}:\n{ended.stdout}")
    return ended.stdout


def configure(build, *options, language="CXX"):
    run(CONFIGURATION["cmake"], "-S", SOURCE / "Tests/Packages/Embedding", "-B", build, "-G", "Ninja",
        f"-DVEL_DEVICE_TRUST_SOURCE={SOURCE}", "-DFETCHCONTENT_FULLY_DISCONNECTED=ON",
        f"-DFETCHCONTENT_SOURCE_DIR_VEL_DEVICE_TRUST={SOURCE}",
        f"-DCMAKE_CXX_COMPILER={CONFIGURATION['compiler']}", "-DCMAKE_BUILD_TYPE=Debug",
        "-DCMAKE_CXX_FLAGS_DEBUG=", "-DVEL_PRECOMPILE_HEADERS=ON", *options)


def build(*targets):
    run(CONFIGURATION["cmake"], "--build", BUILD, "--target", *targets)


class Embedding(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        WORK.mkdir(parents=True, exist_ok=True)
        cls.request = WORK / "request.json"
        cls.request.write_text(json.dumps(REQUEST), encoding="utf-8")

    def assert_answers(self, host):
        self.assertEqual(run(host, self.request), VERDICT)

    def assert_answers_in_c(self, host):
        result = json.loads(run(host, self.request))
        self.assertEqual([check.get("pass") for check in result["checks"]], [True, True])

    def test_ByFetchContent(self):
        configure(BUILD, "-DEMBEDDING_BY_FETCH_CONTENT=ON")
        # A host's target alone: what it links brings the helper programs.
        shutil.rmtree(BUILD / "_deps/vel_device_trust-build" / HELPERS, ignore_errors=True)
        build("host", "host-in-c")
        self.assert_answers(BUILD / "host")
        self.assert_answers_in_c(BUILD / "host-in-c")

    def test_BySubdirectoryAndStatically(self):
        configure(BUILD, "-DEMBEDDING_BY_FETCH_CONTENT=OFF")
        shutil.rmtree(BUILD / HELPERS, ignore_errors=True)
        build("host")
        self.assert_answers(BUILD / "host")
        shutil.rmtree(BUILD / HELPERS)
        build("static-host")
        self.assert_answers(BUILD / "bin/static-host")

    def test_Installed(self):
        configure(BUILD, "-DEMBEDDING_BY_FETCH_CONTENT=ON")
        build("all")
        first, moved = WORK / "first", WORK / "moved here"
        shutil.rmtree(moved, ignore_errors=True)
        run(CONFIGURATION["cmake"], "--install", BUILD, "--prefix", first)
        first.rename(moved)
        self.assertEqual(
            {path.name for path in moved.iterdir()}, {"bin", "lib", "libexec", "share"})
        self.assert_answers(moved / "bin/host")
        helper = moved / HELPERS / "process-listing"
        helper.write_text("#!/bin/sh\nexit 7\n", encoding="utf-8")
        self.assertIn(str(helper), run(moved / "bin/host", self.request, status=1))

    def test_OnlyTheLibraryAndItsHelpersAreBuilt(self):
        configure(BUILD, "-DEMBEDDING_BY_FETCH_CONTENT=ON")
        targets = {line.split(":")[0] for line in
                   run("ninja", "-C", BUILD, "-t", "targets", "all").splitlines()}
        self.assertIn("vel_device_trust", targets)
        self.assertIn("process-listing", targets)
        self.assertFalse({"vel-posture", "vel_tests", "package"} & targets)
        run("ninja", "-C", BUILD)
        self.assertEqual(list(BUILD.rglob("libvel_device_trust_described*")), [])
        cache = (BUILD / "CMakeCache.txt").read_text(encoding="utf-8")
        self.assertNotIn("CLI11", cache)
        self.assertNotIn("pugixml", cache)

    def test_ProjectInCAlone(self):
        folder = WORK / "c"
        shutil.rmtree(folder, ignore_errors=True)
        configure(folder, "-DEMBEDDING_IN_C=ON")
        self.assertIn("host-in-c:", run("ninja", "-C", folder, "-t", "targets", "all"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *(f"Embedding.test_{name}" for name in sys.argv[2:])])
