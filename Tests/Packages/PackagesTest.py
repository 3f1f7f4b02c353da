# SPDX-License-Identifier: Apache-2.0
"""Tests of the Debian packages that ./dev package has built, as files and unpacked into one folder.

usage: PackagesTest.py CONFIGURATION.json [TEST...]
"""

import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

with open(sys.argv[1], encoding="utf-8") as file:
    CONFIGURATION = json.load(file)
SOURCE = pathlib.Path(CONFIGURATION["source"])
BUILD = pathlib.Path(CONFIGURATION["build"])
PACKAGES = BUILD / "packages"
HELPERS = "usr/libexec/vel_device_trust"
PAGES = "usr/share/doc/vel-device-trust"
LINK = re.compile(r"!?\[[^\]]*\]\(([^()\s]+)\)")

# By package, all that its field Depends names, without versions.
DEPENDENCIES = {
    "libvel-device-trust1": {"libc6", "libexpat1", "libgcc-s1", "libp11-kit0", "libssl3", "libstdc++6",
                             "libsystemd0", "libudev1", "libutf8proc2"},
    "libvel-device-trust1-dbgsym": {"libvel-device-trust1"},
    "libvel-device-trust-dev": {"libc6", "libexpat1", "libgcc-s1", "libssl3", "libstdc++6",
                                "libutf8proc2", "libvel-device-trust1", "nlohmann-json3-dev"},
    "libvel-device-trust-dev-dbgsym": {"libvel-device-trust-dev"},
    "vel-posture": {"libc6", "libexpat1", "libssl3", "libvel-device-trust1"},
    "vel-posture-dbgsym": {"vel-posture"},
    "python3-vel-device-trust": {"libvel-device-trust1", "python3"},
    "vel-device-trust-doc": set(),
}


def run(*command, status=0, environment=None, folder=None):
    ended = subprocess.run(
        [str(word) for word in command], cwd=folder, env={**os.environ, **(environment or {})},
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if ended.returncode != status:
        raise AssertionError(f"{command} ended with {ended.returncode}:\n"
                             f"{ended.stdout}\n{ended.stderr}")
    return ended.stdout


def field(file, name):
    return run("dpkg-deb", "--field", file, name).strip()


def anchors_of(page):
    """As a reader of Markdown makes them from the headings outside code."""
    text = re.sub(r"^```.*?^```$", "", page.read_text(encoding="utf-8"), flags=re.M | re.S)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
            for heading in re.findall(r"^#+ +(.*?) *#*$", text, re.M)}


class Packages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.files = {field(file, "Package"): file for file in PACKAGES.glob("*.deb")}
        cls.temporary = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.temporary.name)
        for file in cls.files.values():
            run("dpkg-deb", "--extract", file, cls.root)
        cls.libraries = next(cls.root.glob("usr/lib/*/libvel_device_trust.so.1")).parent
        cls.library = (cls.libraries / "libvel_device_trust.so.1").resolve()
        cls.environment = {"LD_LIBRARY_PATH": str(cls.libraries)}

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def test_Dependencies(self):
        found = {}
        for name, file in self.files.items():
            found[name] = {re.match(r"[a-z0-9.+-]+", it).group()
                           for it in field(file, "Depends").split(", ") if it}
        self.assertEqual(found, DEPENDENCIES)
        for name in ("python3-vel-device-trust", "vel-device-trust-doc"):
            self.assertEqual(field(self.files[name], "Architecture"), "all")

    def test_Checksums(self):
        for name, file in self.files.items():
            control = self.root / f"control of {name}"
            run("dpkg-deb", "--control", file, control)
            run("md5sum", "--check", "--quiet", control / "md5sums", folder=self.root)
            self.assertNotRegex((control / "md5sums").read_text(encoding="utf-8"), "  /", name)

    def test_SymbolsOfTheLibrary(self):
        control = self.root / "control"
        run("dpkg-deb", "--control", self.files["libvel-device-trust1"], control)
        first, *lines = (control / "symbols").read_text(encoding="utf-8").splitlines()
        self.assertEqual(first, "libvel_device_trust.so.1 libvel-device-trust1 #MINVER#")
        listed = dict(line.split() for line in lines)
        dynamic = run("nm", "--dynamic", "--defined-only", "--with-symbol-versions", self.library)
        exported = {line.split()[-1].replace("@@", "@") for line in dynamic.splitlines()}
        exported = {name if "@" in name else f"{name}@{name}" for name in exported}
        self.assertEqual(set(listed), exported)
        self.assertEqual(set(listed.values()), {"1.0.0"})

    def test_PackageOfAHostDependsOnTheLibrary(self):
        folder = self.root / "host"
        (folder / "debian").mkdir(parents=True)
        (folder / "debian/control").write_text(
            "Source: host\nMaintainer: A Host <host@host.example>\n\n"
            "Package: host\nArchitecture: any\nDescription: host\n", encoding="utf-8")
        host = folder / "host"
        run("cc", "-std=c99", "-I", self.root / "usr/include", SOURCE / "Examples/Hosts/c/host.c",
            "-o", host, "-L", self.libraries, "-lvel_device_trust")
        unpacked = folder / "library"
        run("dpkg-deb", "--raw-extract", self.files["libvel-device-trust1"], unpacked)
        printed = run("dpkg-shlibdeps", "-O", f"-S{unpacked}", host, folder=folder)
        self.assertIn("libvel-device-trust1 (>= 1.0.0)", printed)

    def test_DebugSymbols(self):
        programs = [self.library, self.root / "usr/bin/vel-posture",
                    *(self.root / HELPERS).iterdir()]
        for program in programs:
            identity = re.search(r"Build ID: ([0-9a-f]+)", run("readelf", "-n", program)).group(1)
            symbols = self.root / f"usr/lib/debug/.build-id/{identity[:2]}/{identity[2:]}.debug"
            self.assertNotIn(".debug_info", run("readelf", "-SW", program), program)
            self.assertIn(".debug_info", run("readelf", "-SW", symbols), program)

    def test_LinksInPages(self):
        pages = sorted((self.root / PAGES).rglob("*.md"))
        self.assertGreater(len(pages), 15)
        broken = []
        for page in pages:
            for target in LINK.findall(page.read_text(encoding="utf-8")):
                if re.match(r"[a-z]+:", target):
                    continue
                name, _, anchor = target.partition("#")
                file = page.parent / name if name else page
                if not file.exists() or anchor and anchor not in anchors_of(file):
                    broken.append(f"{page.relative_to(self.root / PAGES)}: {target}")
        self.assertEqual(broken, [])

    def test_ManualPage(self):
        page = next(self.root.glob("usr/share/man/man1/vel-posture.1.gz"))
        text = run("gzip", "-dc", page)
        types = re.findall(r"^\.It Cm (\w+)$", text.split(".Sh CHECKS")[1].split(".Sh ")[0], re.M)
        catalogue = json.loads(run(self.root / "usr/bin/vel-posture", "catalogue", "--format", "json"))
        self.assertEqual(sorted(types), sorted(catalogue))
        named = re.findall(rf"^\.It Pa /({PAGES}/\S+)", text, re.M)
        self.assertGreater(len(named), 3)
        self.assertEqual([name for name in named if not (self.root / name).exists()], [])

    def test_RecipesAreRunnable(self):
        recipes = self.root / PAGES / "Examples/RollOut"
        for name in ("vel-posture-report", "management/json-object", "management/result-element"):
            self.assertTrue(os.access(recipes / name, os.X_OK), name)
        installed, source = ({path.relative_to(folder) for path in folder.rglob("*")}
                             for folder in (recipes, SOURCE / "Examples/RollOut"))
        self.assertEqual(installed, source)

    def test_PythonModule(self):
        module = self.root / "usr/lib/python3/dist-packages"
        environment = {**self.environment, "PYTHONPATH": str(module)}
        run("/usr/bin/python3", "-B", SOURCE / "Tests/Python/ModuleTest.py", environment=environment)

    def test_NothingNamesTheBuild(self):
        for path in self.root.rglob("*"):
            if path.is_file() and not path.is_symlink():
                content = path.read_bytes()
                self.assertFalse([it for it in (SOURCE, BUILD) if str(it).encode() in content], path)

    def test_BinaryInterface(self):
        """Any difference has to be accepted: see Documentation/packaging.md."""
        if run("dpkg", "--print-architecture").strip() != "amd64":
            self.skipTest("the stored description is that of amd64")
        stored = SOURCE / "cmake/libvel_device_trust.abi"
        described = self.root / "now.abi"
        described.write_text(run(SOURCE / "cmake/debian/describe-abi",
                                 BUILD / "lib/libvel_device_trust.so.1"), encoding="utf-8")
        self.assertEqual(run("abidiff", stored, described), "")
        self.assertNotIn(str(SOURCE), stored.read_text(encoding="utf-8"))

    def test_BinaryInterfaceThatChangedIsReported(self):
        stored = SOURCE / "cmake/libvel_device_trust.abi"
        changed = self.root / "changed.abi"
        for pattern, replacement, status, report in (
                (r" *<(elf-symbol name='vel_version'[^\n]*|"
                 r"function-decl name='vel_version'.*?</function-decl)>\n", "", 12,
                 r"1 Removed function:\n\n  \[D\] 'function const char\* vel_version"),
                (r"(class-decl name='VELPostureCheckRunner' size-in-bits=)'\d+'", r"\1'1024'", 4,
                 r"type size changed from \d+ to 1024"),
                (r"vtable-offset='2'", "vtable-offset='3'", 12,
                 r"runCheckWithParameters\(\) const changed from 2 to 3")):
            text, count = re.subn(pattern, replacement, stored.read_text(encoding="utf-8"), flags=re.S)
            self.assertGreater(count, 0, pattern)
            changed.write_text(text, encoding="utf-8")
            self.assertRegex(run("abidiff", stored, changed, status=status), report)


class BillOfMaterials(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.document = json.loads(
            (PACKAGES / "vel-device-trust.spdx.json").read_text(encoding="utf-8"))
        cls.packages = {it["SPDXID"]: it for it in cls.document["packages"]}
        cls.related = {(it["spdxElementId"].removeprefix("SPDXRef-Package-"), it["relationshipType"],
                        it["relatedSpdxElement"].removeprefix("SPDXRef-Package-"))
                       for it in cls.document["relationships"]}

    def test_Form(self):
        """What SPDX 2.3 requires of a document, and of the elements that it has."""
        self.assertEqual(set(self.document), {
            "spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo",
            "packages", "relationships"})
        self.assertEqual(self.document["spdxVersion"], "SPDX-2.3")
        self.assertEqual(self.document["dataLicense"], "CC0-1.0")
        self.assertEqual(self.document["SPDXID"], "SPDXRef-DOCUMENT")
        self.assertRegex(self.document["documentNamespace"], r"^https://[^#]+$")
        self.assertRegex(self.document["creationInfo"]["created"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        for creator in self.document["creationInfo"]["creators"]:
            self.assertRegex(creator, "^(Person|Organization|Tool): .+")
        self.assertEqual(len(self.packages), len(self.document["packages"]))
        for identity, package in self.packages.items():
            self.assertRegex(identity, r"^SPDXRef-[A-Za-z0-9.-]+$")
            for name in ("name", "versionInfo", "downloadLocation", "licenseConcluded",
                         "licenseDeclared", "copyrightText"):
                self.assertTrue(package[name], identity)
            self.assertIs(package["filesAnalyzed"], False)
            self.assertRegex(package["supplier"], "^(Person|Organization): .+")
            for reference in package["externalRefs"]:
                self.assertEqual(reference["referenceCategory"], "PACKAGE-MANAGER")
                self.assertEqual(reference["referenceType"], "purl")
                self.assertRegex(reference["referenceLocator"], r"^pkg:deb/[\w.%/-]+@[\w.%~-]+\?arch=\w+$")
        known = {*self.packages, "SPDXRef-DOCUMENT"}
        for relation in self.document["relationships"]:
            self.assertEqual(set(relation),
                             {"spdxElementId", "relationshipType", "relatedSpdxElement"})
            self.assertIn(relation["spdxElementId"], known)
            self.assertIn(relation["relatedSpdxElement"], known)
            self.assertIn(relation["relationshipType"], {
                "DESCRIBES", "DYNAMIC_LINK", "STATIC_LINK", "DEPENDS_ON", "BUILD_DEPENDENCY_OF",
                "OTHER"})

    def test_DescribesThePackages(self):
        files = {path.name: path for path in PACKAGES.glob("*.deb")}
        own = {it["packageFileName"]: it for it in self.document["packages"]
               if "packageFileName" in it}
        self.assertEqual(set(own), set(files))
        for name, package in own.items():
            self.assertEqual(package["checksums"], [{
                "algorithm": "SHA256",
                "checksumValue": hashlib.sha256(files[name].read_bytes()).hexdigest()}])
            self.assertEqual(package["licenseConcluded"], "Apache-2.0")
            self.assertEqual(package["versionInfo"], field(files[name], "Version"))
            self.assertIn(("SPDXRef-DOCUMENT", "DESCRIBES", package["name"]), self.related)

    def test_NamesWhatIsInThem(self):
        for name, dependencies in DEPENDENCIES.items():
            named = {other for one, kind, other in self.related
                     if one == name and kind in {"DYNAMIC_LINK", "DEPENDS_ON"}}
            if not name.endswith("-dbgsym"):
                self.assertEqual(
                    {other.replace("-2b-", "+") for other in named}, dependencies, name)
        compiled_in = {(one, other) for one, kind, other in self.related if kind == "STATIC_LINK"}
        everywhere = {"nlohmann-json3-dev", "libstdc-2b--2b--12-dev"}
        for name, others in (
                ("libvel-device-trust1", {"libutf8proc-dev", "libgcc-12-dev"}),
                ("vel-posture", {"libcli11-dev", "libpugixml-dev", "libutf8proc-dev", "libgcc-12-dev"}),
                ("libvel-device-trust-dev", set())):
            self.assertEqual({other for one, other in compiled_in if one == name},
                             everywhere | others, name)
        built_with = {one for one, kind, _ in self.related if kind == "BUILD_DEPENDENCY_OF"}
        self.assertTrue({"libssl-dev", "libexpat1-dev", "libp11-kit-dev", "libc6-dev"} <= built_with)

    def test_VersionsAreThoseOfTheBuildMachine(self):
        for package in self.document["packages"]:
            if "packageFileName" not in package:
                installed = run("dpkg-query", "--show", "--showformat=${Version}\n", package["name"])
                self.assertEqual(package["versionInfo"], installed.splitlines()[0])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
