# SPDX-License-Identifier: Apache-2.0
"""Runs the recipes in Examples/RollOut and the tables in Documentation/rolling-out.md.

Usage: RollOutTest.py CONFIGURATION.json TEST

CONFIGURATION holds the paths of the build.
"""

import json
import os
import pathlib
import re
import shutil
import sys
import unittest

import Sandbox
from Sandbox import read_json, run

CONFIGURATION = read_json(sys.argv[1])
SOURCE = pathlib.Path(CONFIGURATION["source"])
BUILD = pathlib.Path(CONFIGURATION["build"])
RECIPES = SOURCE / "Examples/RollOut"
PAGE = SOURCE / "Documentation/rolling-out.md"
REQUEST = pathlib.Path("/etc/vel_device_trust/request.json")
RESULT = pathlib.Path("/var/lib/vel_device_trust/result.json")
SCRATCH = BUILD / "Tests/RollOut/sandbox"
SYSTEM_PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"


def rows(*heading):
    """The rows of the page's table with this heading."""
    found = []
    inside = False
    for line in PAGE.read_text(encoding="utf-8").splitlines():
        cells = [cell.strip() for cell in line.strip("|").split(" | ")] if line[:1] == "|" else []
        if cells == list(heading):
            inside = True
        elif inside and not cells:
            break
        elif inside and not set(line) <= set("|- "):
            found.append(cells)
    if not found:
        raise AssertionError(f"no table has the heading {heading}")
    return found


class Machine:
    """What the checks find in the sandbox: every source that a Linux check has."""

    FIREWALL = "add table inet f; add chain inet f i { type filter hook input priority 0; policy drop; }"
    CLIENT = ("[sssd]\ndomains = corp.sample.test\nconfig_file_version = 2\nservices = nss, pam\n\n"
              "[domain/corp.sample.test]\nad_domain = corp.sample.test\n"
              "krb5_realm = CORP.SAMPLE.TEST\nid_provider = ad\nrealmd_tags = manages-system\n")
    AGENT = "/var/agent/SampleAgent"  # in a folder that only its user may enter
    SERVICES = {
        # Started is what listens, so that no check comes before it does.
        "rollout-bus.service": "[Unit]\nDefaultDependencies=no\n[Service]\nType=notify\n"
                               "RuntimeDirectory=dbus\nExecStart=dbus-daemon --system --nofork --nopidfile\n",
        "rollout-agent.service": "[Unit]\nDefaultDependencies=no\n[Service]\nUser=daemon\n"
                                 f"Type=exec\nExecStart={AGENT} 600\n",
    }

    def __init__(self):
        self.keys = SCRATCH / "keys"
        self.keys.mkdir()
        run("nft", self.FIREWALL)
        client = pathlib.Path("/etc/sssd/sssd.conf")
        client.parent.mkdir(exist_ok=True)
        client.write_text(self.CLIENT, encoding="utf-8")
        client.chmod(0o600)
        self.issue("ca", "/CN=Sample Root")
        self.issue("agent", "/CN=Sample Agent/O=Sample Corp/OU=TEAM42", "-CA", "ca.pem", "-CAkey", "ca.key")
        self.issue("device", "/CN=Sample Device/O=Sample Corp", "-CA", "ca.pem", "-CAkey", "ca.key")
        self.sign_agent()
        self.fill_keychain()
        self.write_request()

    def openssl(self, *words):
        return run("openssl", *words, cwd=self.keys)

    def issue(self, name, subject, *more):
        self.openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                     "-days", "30", "-subj", subject, "-keyout", f"{name}.key", "-out", f"{name}.pem",
                     *more)

    def sign_agent(self):
        pathlib.Path(self.AGENT).parent.mkdir()
        shutil.copy("/bin/sleep", self.AGENT)
        self.openssl("cms", "-sign", "-binary", "-in", self.AGENT, "-signer", "agent.pem", "-inkey",
                     "agent.key", "-certfile", "ca.pem", "-outform", "DER", "-out", self.AGENT + ".p7s")
        os.chmod(self.AGENT + ".p7s", 0o644)
        run("chown", "-R", "daemon:", pathlib.Path(self.AGENT).parent)
        os.chmod(pathlib.Path(self.AGENT).parent, 0o700)
        signers = pathlib.Path("/etc/vel_device_trust/signers")
        signers.mkdir()
        shutil.copy(self.keys / "ca.pem", signers)
        (signers / "ca.pem").chmod(0o644)

    def fill_keychain(self):
        database = pathlib.Path("/etc/vel-nss")
        database.mkdir()
        self.openssl("pkcs12", "-export", "-in", "device.pem", "-inkey", "device.key", "-name", "device",
                     "-passout", "pass:", "-out", "device.p12")
        run("certutil", "-N", "--empty-password", "-d", f"sql:{database}")
        run("pk12util", "-i", self.keys / "device.p12", "-W", "", "-d", f"sql:{database}")
        for file in database.iterdir():
            file.chmod(0o644)
        module = next(pathlib.Path("/usr/lib").glob("*/libsoftokn3.so"))
        modules = pathlib.Path("/etc/pkcs11/modules")
        modules.mkdir(parents=True)
        (modules / "nss.module").write_text(
            f"module: {module}\nx-init-reserved: configdir='sql:{database}' certPrefix='' keyPrefix='' "
            "secmod='' flags=readOnly\n", encoding="utf-8")

    def write_request(self):
        print_of = self.openssl("x509", "-in", "device.pem", "-noout", "-fingerprint", "-sha1")
        root = self.openssl("x509", "-in", "ca.pem", "-outform", "DER", "-out", "ca.der")
        root = self.openssl("base64", "-A", "-in", "ca.der")
        REQUEST.write_text(json.dumps({"mac": [
            {"type": "localFirewall"},
            {"type": "fullDiskEncryption"},
            {"type": "certificatePresent", "sha1": print_of.split("=")[1].strip().replace(":", "")},
            {"type": "minimumOSVersion", "version": "0"},
            {"type": "anyProcessRunning", "processes": [{"name": "SampleAgent"}]},
            {"type": "anyProcessRunning", "processes": [
                {"name": "SampleAgent", "signingCertificateSubjectOU": "TEAM42"}]},
            {"type": "joinedToDomain", "names": ["corp.sample.test"]},
            {"type": "perDeviceCertificatePresent", "cert": root},
        ]}), encoding="utf-8")


def answers(path):
    """What each entry of a result says, in order."""
    return [check.get("error", check.get("pass")) for check in read_json(path)["checks"]]


def case(name, options=()):
    """A service with these options that runs the request."""
    return (f"[Service]\nType=oneshot\nStandardOutput=file:{SCRATCH}/{name}.json\n"
            f"StandardError=file:{SCRATCH}/{name}.errors\nSuccessExitStatus=1\n"
            f"ExecStart=vel-posture check {REQUEST} --format json\n" + "".join(
                f"{option}\n" for option in options))


class RollOut(unittest.TestCase):
    maxDiff = None

    def reference_is_complete(self, reference):
        """Every check of the prepared machine passes, but for the disk, which is this machine's."""
        self.assertEqual(reference[:1] + reference[2:], [True] * 7, reference)
        self.assertIsInstance(reference[1], bool)

    def install_service(self):
        shutil.copy(RECIPES / "vel-posture-report", "/usr/local/bin")
        shutil.copy(RECIPES / "systemd/vel-posture.service", "/etc/systemd/system")
        shutil.copy(RECIPES / "systemd/vel-posture.timer", "/etc/systemd/system")

    def verify_units(self, *names):
        printed = run("sh", "-c", 'systemd-analyze verify --man=no "$@" 2>&1', "sh",
                      *[f"/etc/systemd/system/{name}" for name in names])
        self.assertNotIn("vel-posture", printed)

    def boot_cases(self, cases, *services):
        """Boots the prepared machine, runs the cases and services, and returns each case's answers."""
        for name, text in cases.items():
            Sandbox.write_unit(f"{name}.service", text)
        printed = Sandbox.boot(Machine.SERVICES, [f"{name}.service" for name in cases] + list(services))
        for name in cases:
            errors = SCRATCH / f"{name}.errors"
            self.assertGreater((SCRATCH / f"{name}.json").stat().st_size, 0,
                               f"{name}: {printed}{errors.read_text(encoding='utf-8')}")
        return {name: answers(SCRATCH / f"{name}.json") for name in cases}

    def test_UnitsAreValid(self):
        self.install_service()
        self.verify_units("vel-posture.service", "vel-posture.timer")
        exposure = run("systemd-analyze", "security", "--offline=yes", "--threshold=30",
                       "/etc/systemd/system/vel-posture.service")
        self.assertIn("Overall exposure level", exposure)

    def test_ServiceAnswersAsRootDoes(self):
        Machine()
        self.install_service()
        found = self.boot_cases({"plain": case("plain")}, "vel-posture.service")
        self.reference_is_complete(found["plain"])
        self.assertEqual(answers(RESULT), found["plain"])
        self.assertEqual(oct(RESULT.stat().st_mode), "0o100640")
        self.assertEqual(oct(RESULT.parent.stat().st_mode), "0o40750")

    def test_OptionsThatChangeAnswers(self):
        Machine()
        table = rows("Option", "Check that is affected", "Why")
        options = [row[0].strip("`") for row in table]
        cases = {"plain": case("plain")}
        cases.update({f"option{number}": case(f"option{number}", [option])
                      for number, option in enumerate(options)})
        found = self.boot_cases(cases)
        self.reference_is_complete(found["plain"])
        types = [entry["type"] for entry in read_json(REQUEST)["mac"]]
        for number, (option, affected, _) in enumerate(table):
            differing = {types[index] for index, answer in enumerate(found[f"option{number}"])
                         if answer != found["plain"][index]}
            with self.subTest(option=option):
                self.assertEqual(differing, set(re.findall(r"`(\w+)`", affected)))

    def test_RightsOfEachCheck(self):
        Machine()
        table = rows("Check", "root", "Other user", "Other user with", "Reason")
        cases = {"plain": case("plain"), "user": case("user", ["User=nobody"])}
        for number, row in enumerate(table):
            if row[3] != "-":
                capabilities = " ".join(re.findall(r"`(\w+)`", row[3]))
                cases[f"capable{number}"] = case(f"capable{number}", [
                    "User=nobody", f"AmbientCapabilities={capabilities}"])
        found = self.boot_cases(cases)
        self.reference_is_complete(found["plain"])
        types = [entry["type"] for entry in read_json(REQUEST)["mac"]]
        self.assertEqual([re.match(r"`(\w+)`", row[0]).group(1) for row in table], types)
        for number, row in enumerate(table):
            expected = found["plain"][number]
            with self.subTest(check=row[0]):
                self.assertEqual(row[1], "yes")
                self.assertEqual(row[2], "yes" if found["user"][number] == expected else "no")
                self.assertEqual(row[3] == "-", row[2] == "yes")
                if row[3] != "-":
                    self.assertEqual(found[f"capable{number}"][number], expected)

    def test_ReportReplacesTheResultInOneStep(self):
        self.install_service()
        RESULT.parent.mkdir()
        for text, status, expected in (('{"mac": [{"type": "minimumOSVersion", "version": "0"}]}', 0, True),
                                       ('{"mac": [{"type": "minimumOSVersion", "version": "99"}]}', 0, False),
                                       ('{"mac": 7}', 2, "mac is not an array")):
            REQUEST.write_text(text, encoding="utf-8")
            run("vel-posture-report", REQUEST, RESULT, status=status)
            result = read_json(RESULT)
            self.assertEqual(result.get("error", result.get("pass")), expected)
        # A run that fails leaves no earlier pass behind.
        RESULT.write_text('{"pass": true}', encoding="utf-8")
        run("vel-posture-report", "/etc/missing.json", RESULT, status=2)
        self.assertEqual(read_json(RESULT), {"error": "vel-posture ended with status 2"})
        program = pathlib.Path("/usr/local/bin/vel-posture")
        program.write_text('#!/bin/sh\nprintf \'{"pass": tr\'\nkill -KILL $$\n', encoding="utf-8")
        program.chmod(0o755)
        run("vel-posture-report", REQUEST, RESULT, status=2)
        self.assertEqual(read_json(RESULT), {"error": "vel-posture ended with status 137"})
        self.assertEqual([path.name for path in RESULT.parent.iterdir()], [RESULT.name])

    def test_Cron(self):
        self.install_service()
        text = (RECIPES / "cron/vel-posture").read_text(encoding="utf-8")
        settings = dict(re.findall(r'^(\w+)="?([^"\n]*)"?$', text, re.MULTILINE))
        entry, = re.findall(r"^[0-9*].*$", text, re.MULTILINE)
        minute, hour, day, month, weekday, user, command = entry.split(None, 6)
        self.assertIn(int(minute), range(60))
        self.assertEqual([hour, day, month, weekday, user], ["*", "*", "*", "*", "root"])
        self.assertNotIn("%", command, "cron ends a line there")
        shutil.copy(RECIPES / "request.json", REQUEST)
        run("sh", "-c", re.search(r"^#   (install .*)$", text, re.MULTILINE).group(1))
        run(settings["SHELL"], "-c", command, cwd="/", env={
            "HOME": "/root", "LOGNAME": "root", "SHELL": settings["SHELL"], "PATH": settings["PATH"]})
        self.assertEqual([check["title"] for check in read_json(RESULT)["checks"]],
                         ["Firewall", "Disk encryption", "Operating system"])
        self.assertEqual(oct(RESULT.parent.stat().st_mode), "0o40750")

    def play(self, *more, status=0):
        environment = {"PATH": SYSTEM_PATH, "HOME": "/var/tmp", "LC_ALL": "C.UTF-8",
                       "ANSIBLE_LOCAL_TEMP": "/var/tmp/ansible", "ANSIBLE_REMOTE_TMP": "/var/tmp/ansible",
                       "ANSIBLE_LOCALHOST_WARNING": "False", "ANSIBLE_NOCOLOR": "1"}
        return run("ansible-playbook", "-i", "localhost,", "--connection", "local", *more,
                   RECIPES / "ansible/site.yml", env=environment, cwd="/", status=status)

    @unittest.skipUnless(shutil.which("ansible-playbook"), "ansible is not installed (package ansible-core)")
    def test_Ansible(self):
        self.assertRegex(self.play(), r"localhost +: ok=\d+ +changed=[1-9]")
        self.assertEqual(read_json(REQUEST), read_json(RECIPES / "request.json"))
        self.assertEqual([check["title"] for check in read_json(RESULT)["checks"]],
                         ["Firewall", "Disk encryption", "Operating system"])
        for name in ("vel-posture.service", "vel-posture.timer"):
            self.assertEqual((pathlib.Path("/etc/systemd/system") / name).read_bytes(),
                             (RECIPES / "systemd" / name).read_bytes())
        self.assertRegex(self.play(), r"localhost +: ok=\d+ +changed=0 ")

        request = SCRATCH / "request.json"
        request.write_text('{"Mac": []}', encoding="utf-8")
        variables = {"vel_posture_request": str(request)}
        self.assertIn('"msg": "did not pass"', self.play("--extra-vars", json.dumps(variables)))
        variables["vel_posture_required"] = True
        printed = self.play("--extra-vars", json.dumps(variables), status=2)
        self.assertIn("the host did not pass", printed)
        request.write_text('{"mac": [{"type": "minimumOSVersion", "version": "0"}]}', encoding="utf-8")
        self.assertIn('"msg": "passed"', self.play("--extra-vars", json.dumps(variables)))

    def test_Wrappers(self):
        def printed(name, text):
            REQUEST.write_text(text, encoding="utf-8")
            return run(RECIPES / "management" / name, env={"PATH": SYSTEM_PATH})

        entry = '{"type": "minimumOSVersion", "version": "%s"}'
        both = '{"mac": [%s, %s, {"type": "a<b&\\"c"}]}' % (entry % "99", entry % "0")
        for text, element, document in (
                ('{"mac": [%s]}' % (entry % "0"), "passed",
                 {"verdict": "passed", "minimumOSVersion": "pass"}),
                (both, "failed: minimumOSVersion, a&lt;b&amp;\"c",
                 {"verdict": "failed", "minimumOSVersion": "fail", "a<b&\"c": "error"}),
                ('{"mac": []}', "unknown", {"verdict": "unknown"}),
                ('{"Mac": [%s]}' % (entry % "0"), "unknown", {"verdict": "unknown"}),
                ('{"identity_params": ["device_id"]}', "unknown", {"verdict": "unknown"}),
                ('{"mac": 7}', "unknown", {"verdict": "unknown"}),
                ("", "unknown", {"verdict": "unknown"})):
            with self.subTest(request=text):
                self.assertEqual(printed("result-element", text), f"<result>{element}</result>\n")
                lines = printed("json-object", text)
                self.assertEqual(lines.count("\n"), 1)
                self.assertEqual(json.loads(lines), document)

    def test_Prometheus(self):
        if "prometheus" not in run("vel-posture", "check", "--help"):
            self.skipTest("this build of vel-posture has no --format prometheus")
        folder = pathlib.Path("/var/lib/prometheus/node-exporter")
        folder.mkdir(parents=True, exist_ok=True)
        self.install_service()
        shutil.copy(RECIPES / "request.json", REQUEST)
        Sandbox.write_unit("vel-posture.service.d/textfile.conf",
                           (RECIPES / "prometheus/textfile.conf").read_text(encoding="utf-8"))
        self.verify_units("vel-posture.service")
        printed = Sandbox.boot({}, ["vel-posture.service"])
        self.assertTrue((folder / "vel_posture.prom").exists(), printed)
        metrics = (folder / "vel_posture.prom").read_text(encoding="utf-8")
        for check in read_json(REQUEST)["mac"]:
            self.assertIn(check["type"], metrics)


def main():
    try:
        if not Sandbox.inside():
            Sandbox.enter()
        Sandbox.set_up(SCRATCH, BUILD, CONFIGURATION["cmake"])
    except Sandbox.Impossible as error:
        print(f"SKIPPED: {error}")
        return
    try:
        unittest.main(argv=[sys.argv[0], f"RollOut.test_{sys.argv[2]}"], module=sys.modules[__name__])
    except Sandbox.Impossible as error:
        print(f"SKIPPED: {error}")


if __name__ == "__main__":
    main()
