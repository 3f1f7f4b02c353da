# SPDX-License-Identifier: Apache-2.0
"""Installs the build into an empty folder, moves it, and uses it there as hosts do.

Usage: InstallationTest.py CONFIGURATION.json [TEST...]

CONFIGURATION holds the paths of the build. The test Install makes the installation that the others
use.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

with open(sys.argv[1], encoding="utf-8") as file:
    CONFIGURATION = json.load(file)
SOURCE = pathlib.Path(CONFIGURATION["source"])
BUILD = pathlib.Path(CONFIGURATION["build"])
LIBRARY_FOLDER = CONFIGURATION["libraryFolder"]
PREFIX = BUILD / "Tests/installation/moved here"
WORK = BUILD / "Tests/installation/hosts"
HELPERS = pathlib.Path("libexec/vel_device_trust")
PAGES = pathlib.Path("share/doc/vel-device-trust")
MODULE = pathlib.Path("share/vel_device_trust/python")
SCRIPTS = {path.name for path in (SOURCE / "Examples").rglob("*")
           if path.is_file() and os.access(path, os.X_OK) and path.name != "update-results"}

REQUEST = {"mac": [{"type": "minimumOSVersion", "version": "0"},
                   {"type": "anyProcessRunning",
                    "processes": [{"name": pathlib.Path(os.path.realpath(sys.executable)).name}]}]}
VERDICT = "minimumOSVersion: pass\nanyProcessRunning: pass\nPASSED\n"

HOST_PROJECT = """cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES {language})
find_package(vel_device_trust 1.0 CONFIG REQUIRED COMPONENTS {component})
add_executable(host {source})
target_link_libraries(host PRIVATE vel_device_trust::{target})
"""


def run(*command, status=0, environment=None, folder=None):
    """What the command printed; fails unless it ends with `status` and says nothing else."""
    ended = subprocess.run(
        [str(word) for word in command], cwd=folder, env={**os.environ, **(environment or {})},
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)
    if ended.returncode != status:
        raise AssertionError(f"{command} ended with {ended.returncode}:\n"
                             f"{ended.stdout}\n{ended.stderr}")
    return ended.stdout


def empty(folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    return folder


def request_file(folder):
    path = folder / "request.json"
    path.write_text(json.dumps(REQUEST), encoding="utf-8")
    return path


def configure_and_build(source, build):
    run(CONFIGURATION["cmake"], "-S", source, "-B", build, "-G", "Ninja", "-Wno-dev",
        f"-DCMAKE_PREFIX_PATH={PREFIX}",
        f"-DCMAKE_CXX_COMPILER={CONFIGURATION['compiler']}")
    run(CONFIGURATION["cmake"], "--build", build)
    return build / "host"


def package_configuration():
    return {"PKG_CONFIG_PATH": str(PREFIX / LIBRARY_FOLDER / "pkgconfig")}


def python_module():
    return {"PYTHONPATH": str(PREFIX / MODULE), "LD_LIBRARY_PATH": str(PREFIX / LIBRARY_FOLDER)}


def needed_libraries(program):
    return re.findall(r"\(NEEDED\).*\[(.*)\]", run(CONFIGURATION["readelf"], "-d", program))


class Installation(unittest.TestCase):
    maxDiff = None

    def assert_answers(self, printed):
        """The result document passes, with both checks."""
        result = json.loads(printed)
        self.assertEqual([check.get("pass") for check in result["checks"]], [True, True])
        self.assertIs(result["pass"], True)

    def install_static_host(self, language, name):
        """A host with the archive, beside the installed program: where it looks for helpers."""
        folder = empty(WORK / f"static-{name}")
        (folder / "CMakeLists.txt").write_text(HOST_PROJECT.format(
            language=language, component="static", target="vel_device_trust_static",
            source=SOURCE / f"Examples/Hosts/{name}/host.{name}"), encoding="utf-8")
        host = configure_and_build(folder, folder / "build")
        self.assertNotIn("libvel_device_trust.so.1", needed_libraries(host))
        return shutil.copy(host, PREFIX / f"bin/static-host-{name}"), request_file(folder)

    def test_Install(self):
        first = empty(BUILD / "Tests/installation/first")
        shutil.rmtree(PREFIX, ignore_errors=True)
        mask = os.umask(0)
        run(CONFIGURATION["cmake"], "--install", BUILD, "--prefix", first)
        os.umask(mask)
        first.rename(PREFIX)
        programs = {PREFIX / "bin", PREFIX / HELPERS}
        for path in PREFIX.rglob("*"):
            # Whether a library is executable differs between distributions.
            if not path.is_symlink() and ".so." not in path.name:
                executable = path.is_dir() or path.parent in programs or path.name in SCRIPTS
                mode = path.stat().st_mode & 0o777
                self.assertEqual(oct(mode), oct(0o755 if executable else 0o644), path)

    def test_HostInCppByFindPackage(self):
        folder = empty(WORK / "cpp")
        host = configure_and_build(SOURCE / "Examples/Hosts/cpp", folder)
        self.assertIn("libvel_device_trust.so.1", needed_libraries(host))
        self.assertEqual(run(host, request_file(folder)), VERDICT)

    def test_HostInCByFindPackage(self):
        folder = empty(WORK / "c-find-package")
        (folder / "CMakeLists.txt").write_text(HOST_PROJECT.format(
            language="C", component="", target="vel_device_trust",
            source=SOURCE / "Examples/Hosts/c/host.c"), encoding="utf-8")
        host = configure_and_build(folder, folder / "build")
        self.assert_answers(run(host, request_file(folder)))

    def test_HostInCByPackageConfiguration(self):
        folder = empty(WORK / "c")
        for path in (SOURCE / "Examples/Hosts/c").iterdir():
            shutil.copy(path, folder)
        run("make", "host", folder=folder, environment=package_configuration())
        self.assertIn("libvel_device_trust.so.1", needed_libraries(folder / "host"))
        libraries = {"LD_LIBRARY_PATH": str(PREFIX / LIBRARY_FOLDER)}
        self.assert_answers(run(folder / "host", request_file(folder), environment=libraries))

    def test_ConstantsInC(self):
        folder = empty(WORK / "constants")
        (folder / "host.c").write_text("""#include <stdio.h>
            #include <vel_device_trust/vel_device_trust_c.h>
            int main(void) {
                printf("%.1f %s|%s %s %s %s %s %s", vel_device_trustVersionNumber,
                       vel_device_trustVersionString, vel_version(), kIDParams, kMacSerialNumberKey,
                       kDeviceIDKey, kVELPostureCheckErrorDomain, kUnlocalizedDescriptionKey);
                return 0;
            }""", encoding="utf-8")
        words = run("pkg-config", "--cflags", "--libs", "vel_device_trust",
                    environment=package_configuration())
        run("sh", "-c", f"cc -std=c99 -Wall -Wextra -Wpedantic -Werror -o host host.c {words}",
            folder=folder)
        printed = run(folder / "host",
                      environment={"LD_LIBRARY_PATH": str(PREFIX / LIBRARY_FOLDER)})
        self.assertRegex(
            printed, r"^1\.0 vel_device_trust ([0-9.]+)\|\1 identity_params device_serial_number "
            r"device_id com\.vel\.posturecheck com\.vel\.posturecheck\.unlocalized-description$")

    def test_HostInPython(self):
        printed = run(sys.executable, "-B", SOURCE / "Examples/Hosts/python/host.py",
                      request_file(empty(WORK / "python")), environment=python_module())
        self.assertEqual(printed, VERDICT)

    def test_PythonModule(self):
        run(sys.executable, "-B", SOURCE / "Tests/Python/ModuleTest.py", environment=python_module())

    def test_DescribedHostInCpp(self):
        configure_and_build(SOURCE / "Examples/Hosts/described", empty(WORK / "described-cpp"))
        test = WORK / "described-cpp/host_test"
        self.assertEqual([name for name in needed_libraries(test) if "vel_device" in name],
                         ["libvel_device_trust_described.so.1"])
        self.assertEqual(run(test), "passed\n")

    def test_DescribedHostInC(self):
        folder = empty(WORK / "described-c")
        for path in (SOURCE / "Examples/Hosts/described").iterdir():
            shutil.copy(path, folder)
        run("make", "host_test", folder=folder, environment=package_configuration())
        libraries = {"LD_LIBRARY_PATH": str(PREFIX / LIBRARY_FOLDER)}
        self.assertEqual(run(folder / "host_test", environment=libraries), "passed\n")

    def test_DescribedHostInPython(self):
        library = PREFIX / LIBRARY_FOLDER / "libvel_device_trust_described.so.1"
        ended = subprocess.run([sys.executable, SOURCE / "Examples/Hosts/described/host_test.py"],
                               env={**os.environ, "VEL_DEVICE_TRUST_LIBRARY": str(library)},
                               stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertRegex(ended.stderr, r"Ran 3 tests in .*\n\nOK\n")

    def test_DescribedHostWithBothLibraries(self):
        folder = empty(WORK / "both")
        names = ["vel_device_trust", "vel_device_trust_described"]
        for first, second in (names, names[::-1]):
            run("cc", "-o", f"first-{first}", SOURCE / "Examples/Hosts/described/host_test.c",
                f"-I{PREFIX}/include", f"-L{PREFIX / LIBRARY_FOLDER}", "-Wl,--no-as-needed",
                f"-l{first}", f"-l{second}", f"-Wl,-rpath,{PREFIX / LIBRARY_FOLDER}", folder=folder)
            self.assertIn("libvel_device_trust.so.1", needed_libraries(folder / f"first-{first}"))
            self.assertEqual(run(folder / f"first-{first}"), "passed\n")

    def test_StaticHostInCpp(self):
        host, request = self.install_static_host("CXX", "cpp")
        self.assertEqual(run(host, request), VERDICT)

    def test_StaticHostInC(self):
        host, request = self.install_static_host("C", "c")
        self.assert_answers(run(host, request))

    def test_StaticHostByPackageConfiguration(self):
        folder = empty(WORK / "static-pkg-config")
        words = run("pkg-config", "--static", "--cflags", "--libs", "vel_device_trust",
                    environment=package_configuration())
        words = words.replace("-lvel_device_trust", "-l:libvel_device_trust.a")
        run("sh", "-c", f"cc -o host '{SOURCE}/Examples/Hosts/c/host.c' {words}", folder=folder)
        self.assertNotIn("libvel_device_trust.so.1", needed_libraries(folder / "host"))
        host = shutil.copy(folder / "host", PREFIX / "bin/static-host-pkg-config")
        self.assert_answers(run(host, request_file(folder)))

    def test_ProgramRunsItsOwnHelpers(self):
        folder = empty(WORK / "program")
        for part in ("bin/vel-posture", str(HELPERS)):
            (folder / part).parent.mkdir(parents=True)
            shutil.copytree(PREFIX / part, folder / part) if (PREFIX / part).is_dir() else (
                shutil.copy(PREFIX / part, folder / part))
        program, request = folder / "bin/vel-posture", request_file(folder)
        self.assert_answers(run(program, "check", request, "--format", "json"))

        helper = folder / HELPERS / "process-listing"
        helper.write_text("#!/bin/sh\nexit 7\n", encoding="utf-8")
        check = json.loads(run(program, "check", request, "--format", "json", status=1))["checks"][1]
        self.assertRegex(check["error"], "7")
        self.assertIn(str(helper), check["error"])

    def test_NothingNamesTheBuild(self):
        places = [str(SOURCE).encode(), str(BUILD).encode()]
        for path in PREFIX.rglob("*"):
            if path.is_file() and not path.name.startswith("static-host"):
                content = path.read_bytes()
                self.assertFalse([place for place in places if place in content], path)
        for path in [PREFIX / "bin/vel-posture", *(PREFIX / HELPERS).iterdir(),
                     PREFIX / LIBRARY_FOLDER / "libvel_device_trust.so.1",
                     PREFIX / LIBRARY_FOLDER / "libvel_device_trust_described.so.1"]:
            self.assertNotRegex(run(CONFIGURATION["readelf"], "-d", path), "RPATH|RUNPATH")

    def test_Files(self):
        for name in ("bin/vel-posture", "include/vel_device_trust/vel_device_trust.h",
                     "include/vel_device_trust/vel_device_trust_c.h",
                     "include/vel_device_trust/module.modulemap",
                     "include/vel_device_trust_described/vel_device_trust_described.h",
                     "include/vel_device_trust_described/vel_device_trust_described_c.h",
                     f"{LIBRARY_FOLDER}/libvel_device_trust.so",
                     f"{LIBRARY_FOLDER}/libvel_device_trust_described.so", "share/man/man1/vel-posture.1",
                     "share/bash-completion/completions/vel-posture",
                     "share/zsh/site-functions/_vel-posture",
                     "share/fish/vendor_completions.d/vel-posture.fish",
                     "share/vel_device_trust/schemas/request.schema.json",
                     MODULE / "vel_device_trust/__init__.py", MODULE / "vel_device_trust/py.typed",
                     PAGES / "Documentation/checks.md", PAGES / "Documentation/host-developer.md",
                     PAGES / "Examples/RollOut/systemd/vel-posture.timer",
                     PAGES / "LICENSE", PAGES / "THIRD-PARTY-NOTICES"):
            self.assertTrue((PREFIX / name).is_file(), name)
        headers = {path.name for path in (SOURCE / "include/vel_device_trust").iterdir()}
        self.assertEqual({path.name for path in (PREFIX / "include/vel_device_trust").iterdir()},
                         headers)
        helpers = {path.name for path in (BUILD / HELPERS).iterdir()}
        self.assertEqual({path.name for path in (PREFIX / HELPERS).iterdir()}, helpers)
        self.assertGreaterEqual(len(helpers), 6)

    def test_AnotherMajorVersionIsRefused(self):
        folder = empty(WORK / "version")
        (folder / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(host LANGUAGES C)\n"
            "foreach(version 0.9 1.0 1.99 2.0)\n"
            "find_package(vel_device_trust ${version} QUIET CONFIG)\n"
            'message(STATUS "${version} ${vel_device_trust_FOUND}")\nendforeach()\n'
            "find_package(vel_device_trust 1 QUIET CONFIG COMPONENTS dynamic)\n"
            'message(STATUS "dynamic ${vel_device_trust_FOUND}")\n', encoding="utf-8")
        printed = run(CONFIGURATION["cmake"], "-S", folder, "-B", folder / "build",
                      f"-DCMAKE_PREFIX_PATH={PREFIX}")
        self.assertEqual(re.findall(r"-- (.*) ([01])$", printed, re.MULTILINE),
                         [("0.9", "0"), ("1.0", "1"), ("1.99", "0"), ("2.0", "0"),
                          ("dynamic", "0")])

    def test_MissingDependencyIsNoErrorWhereTheLibraryIsOptional(self):
        folder = empty(WORK / "missing-dependency")
        (folder / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(host LANGUAGES CXX)\n"
            "find_package(vel_device_trust 1.0 QUIET CONFIG)\n"
            'message(STATUS "found ${vel_device_trust_FOUND}")\n', encoding="utf-8")
        printed = run(CONFIGURATION["cmake"], "-S", folder, "-B", folder / "build",
                      f"-DCMAKE_PREFIX_PATH={PREFIX}",
                      f"-DCMAKE_CXX_COMPILER={CONFIGURATION['compiler']}",
                      "-DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON")
        self.assertIn("-- found 0\n", printed)

    def test_DestinationFolder(self):
        folder = empty(WORK / "destination")
        run(CONFIGURATION["cmake"], "--install", BUILD, "--prefix", "/opt/somewhere",
            environment={"DESTDIR": str(folder)})
        self.assertEqual([path.name for path in folder.iterdir()], ["opt"])
        installed, moved = (
            {path.relative_to(root) for path in root.rglob("*")
             if not path.name.startswith("static-host")}
            for root in (folder / "opt/somewhere", PREFIX))
        self.assertEqual(installed, moved)
        shutil.rmtree(folder)

    def test_ModuleForClang(self):
        if not CONFIGURATION["clang"]:
            self.skipTest("there is no clang on this machine")
        folder = empty(WORK / "module")
        host = folder / "host.c"
        host.write_text("#pragma clang module import vel_device_trust_c\n"
                        "int main(void) { return vel_version() == 0; }\n", encoding="utf-8")
        run(CONFIGURATION["clang"], "-std=c99", "-Wall", "-Wextra", "-Werror", "-fmodules",
            f"-fmodules-cache-path={folder / 'cache'}", "-I", PREFIX / "include",
            host, "-o", folder / "host", "-L", PREFIX / LIBRARY_FOLDER, "-lvel_device_trust",
            f"-Wl,-rpath,{PREFIX / LIBRARY_FOLDER}")
        run(folder / "host")

    def test_ModuleOfTheFramework(self):
        """The module map of the framework, as the Mac lays it out, read for that system."""
        if not CONFIGURATION["clang"]:
            self.skipTest("there is no clang on this machine")
        folder = empty(WORK / "framework")
        framework = folder / "vel_device_trust.framework"
        shutil.copytree(PREFIX / "include/vel_device_trust", framework / "Headers")
        (framework / "Modules").mkdir()
        shutil.copy(SOURCE / "cmake/framework.modulemap", framework / "Modules/module.modulemap")
        host = folder / "host.c"
        host.write_text("#pragma clang module import vel_device_trust\n"
                        "const char *version(void) { return vel_version(); }\n", encoding="utf-8")
        run(CONFIGURATION["clang"], "-target", "arm64-apple-macos12", "-ffreestanding", "-std=c99",
            "-Wall", "-Wextra", "-Werror", "-fmodules", f"-fmodules-cache-path={folder / 'cache'}",
            "-F", folder, "-fsyntax-only", host)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *(f"Installation.test_{name}" for name in sys.argv[2:])])
