#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lets one system call fail in each process of the program and of its helpers.

Usage: SystemCallSweepTest.py SOURCE PROGRAM HELPER_FOLDER [RUNS]

strace makes the n-th call of a kind fail, for every n, or for as many cases as RUNS says, which a
fixed seed chooses. Nothing may pass then that does not pass otherwise, a helper may print no line
that it does not print otherwise, and nothing may crash. Each case is printed before it runs, so that
one that hangs is seen. Status 77: skipped.
"""

import concurrent.futures
import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path

ERRORS = {
    "openat": ["ENOENT", "EMFILE"], "read": ["EIO"], "pread64": ["EIO"], "write": ["EIO"],
    "newfstatat": ["ENOENT", "EIO"], "statx": ["EIO"], "statfs": ["EIO"], "access": ["EACCES"],
    "getdents64": ["EIO"], "readlink": ["EACCES"], "readlinkat": ["EACCES"], "lseek": ["EIO"],
    "clone": ["EAGAIN"], "clone3": ["EAGAIN"], "vfork": ["EAGAIN"], "execve": ["ENOENT"],
    "wait4": ["ECHILD"], "waitid": ["ECHILD"], "poll": ["ENOMEM"], "ppoll": ["ENOMEM"],
    "pipe2": ["EMFILE"], "dup2": ["EBUSY"], "fcntl": ["EINVAL"], "pidfd_open": ["EMFILE"],
    "memfd_create": ["EMFILE"], "socket": ["EMFILE"], "connect": ["ECONNREFUSED"],
    "sendmsg": ["ENOBUFS"], "recvmsg": ["ENOBUFS"], "mmap": ["ENOMEM"],
    "mprotect": ["ENOMEM"],
}
# The loader's first memory: without it a process ends before main.
FIRST = {"mmap": 2}
# What turns all the same, by the names of the sweep, of the call and of what is printed.
EXPECTED = {
    # Here the call fails in both runs of nft, which then leaves the same rules out of both lists.
    ("an open firewall", "recvmsg"): {"Firewall is enabled. (State = 1)"},
}
CRASH = re.compile(r"killed by SIG(SEGV|ABRT|BUS|FPE|ILL|SYS|TRAP)")
# What helpers print in place of a YES.
NO_LINES = {"Firewall is disabled. (State = 0)", "end 0"}


def run(command, log, options):
    """Runs a command under strace; a list with "--" has its strace after that."""
    place = command.index("--") + 1 if "--" in command else 0
    strace = ["strace", "-f", "-q", "-o", str(log), *options]
    return subprocess.run([*command[:place - 1 if place else 0], *strace, *command[place:]],
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL)


def passed(run_result):
    """What passes: of a result document the positions of its entries, else the lines printed."""
    text = run_result.stdout.decode("utf-8", "replace")
    if run_result.returncode not in (0, 1):
        return set()
    if not text.startswith("{"):
        return set(text.splitlines()) - NO_LINES
    result = json.loads(text)
    found = {str(position) for position, entry in enumerate(result.get("checks", []))
             if entry.get("pass") is True}
    if result.get("pass") is True or run_result.returncode == 0:
        found.add("the verdict")
    return found


def counts(log):
    """The most calls of each kind that one process makes."""
    most = Counter()
    calls = Counter(re.findall(r"^(\d+) +(\w+)\(", log.read_text(errors="replace"), re.M))
    for (_, call), number in calls.items():
        most[call] = max(most[call], number)
    return most


def cases_of(name, command, log):
    healthy = run(command, log, ["-e", "trace=" + ",".join(ERRORS)])
    if CRASH.search(log.read_text(errors="replace")):
        raise AssertionError(f"{name} crashes without a fault")
    expected = passed(healthy)
    print(f"{name}: status {healthy.returncode}, passes {sorted(expected)}")
    return [(name, command, expected, call, error, number)
            for call, most in sorted(counts(log).items())
            for error in ERRORS[call] for number in range(FIRST.get(call, 1), most + 1)]


def fault_of(case, log):
    """Runs a case; the text of what is wrong, if anything is."""
    name, command, expected, call, error, number = case
    label = f"{name}: {call} number {number} fails with {error}"
    print(label, flush=True)
    result = run(command, log, ["-e", f"trace={call}",
                                "-e", f"inject={call}:error={error}:when={number}"])
    crash = CRASH.search(log.read_text(errors="replace"))
    turned = passed(result) - expected - EXPECTED.get((name, call), set())
    if crash or turned:
        return f"{label}: {crash.group() if crash else f'{sorted(turned)} turned'}"
    return None


def made_commands(folder, source, program, helpers):
    """Name and command of each sweep; what they need is made in the folder."""
    examples = source / "Examples"
    request = json.loads((examples / "Requests/all-checks.json").read_text())
    request["mac"].append({"type": "minimumOSVersion", "version": "1"})
    request["mac"].append({"type": "anyProcessRunning", "processes": [
        {"name": "sleep", "signingCertificateSubjectOU": "TEAM42"}]})
    (folder / "request.json").write_text(json.dumps(request))
    check = [program, "check", "--format", "json"]
    commands = {"this machine": [*check, folder / "request.json"]}
    for machine in "compliant", "firewall-off", "unencrypted":
        commands[f"the Mac {machine}"] = [*check, "--machine", examples / f"Machines/{machine}.json",
                                          examples / "Requests/posture.json"]

    for process, name in (7, "agent"), (8, "other"):
        (folder / f"proc/{process}").mkdir(parents=True)
        (folder / f"proc/{process}/stat").write_text(
            f"{process} ({name}) S 1 42 42 0 -1 4194304 1 2 3 4 250 61 0 0 20 0 1 0 12345 1000 200 "
            "18446744073709551615 1 1 0\n")
    commands["the process list"] = [helpers / "process-listing", "-axc", "--proc", folder / "proc"]
    commands["no domain"] = [helpers / "domain-binding", "-show", "-xml", "--bus",
                             "unix:path=/nonexistent"]
    commands["the keychain"] = [helpers / "keychain-contents"]

    firewall = [helpers / "firewall-state", "--getglobalstate", "--bus", "unix:path=/nonexistent"]
    chain = "table {} t {{\nchain i {{\ntype filter hook input priority 0\npolicy {}\n{}\n}}\n}}\n"
    rulesets = {"no firewall": "", "a firewall": chain.format("inet", "drop", "tcp dport 22 accept"),
                "a firewall for one family": chain.format("ip", "drop", ""),
                "an open firewall": chain.format("inet", "drop", "accept")}
    if subprocess.run(["unshare", "-n", "nft", "list", "ruleset"], capture_output=True).returncode:
        print("firewalls are skipped: needs root, nft and network namespaces")
        rulesets = {}
    for name, ruleset in rulesets.items():
        commands[name] = ["unshare", "-n", "sh", "-e", "-c", f"echo '{ruleset}' | nft -f -\nexec "
                          '"$@"', "sh", "--", *firewall]
    return commands


def signature_commands(folder, helpers):
    """The commands about a process that is signed, which runs, and the process."""
    agent = folder / "agent"
    shutil.copy("/bin/sleep", agent)
    for name in "agent", "other":
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-keyout", f"{name}.key", "-subj",
                        f"/CN={name}/OU=TEAM42", "-out", f"{name}.pem"],
                       cwd=folder, check=True, capture_output=True)
        (folder / f"signers-of-{name}").mkdir()
        shutil.copy(folder / f"{name}.pem", folder / f"signers-of-{name}")
    subprocess.run(["openssl", "cms", "-sign", "-binary", "-in", agent, "-signer", "agent.pem",
                    "-inkey", "agent.key", "-outform", "DER", "-out", "agent.p7s"],
                   cwd=folder, check=True, capture_output=True)
    subprocess.run(["openssl", "x509", "-in", "agent.pem", "-outform", "DER", "-out", "agent.der"],
                   cwd=folder, check=True)
    process = subprocess.Popen([agent, "infinity"])
    # Says whether the certificate was handed over, and which.
    extract = ["sh", "-c", f'file=$(mktemp -p {folder})\n"$@" 3<>"$file" && echo accepted\n'
               '[ ! -s "$file" ] || sha256sum <"$file"', "sh", "--", helpers / "code-signature",
               "--display", "--extract-certificates", str(process.pid), "--signers"]
    return {"a trusted signer": [*extract, folder / "signers-of-agent"],
            "another signer": [*extract, folder / "signers-of-other"],
            "a subject": ["sh", "-c", f'"$@" 3<{folder}/agent.der', "sh", "--",
                          helpers / "certificate-subject", "x509", "-inform", "DER", "-in",
                          "codesign0", "-subject", "-noout"]}, process


def main(source, program, helpers, runs=None):
    if subprocess.run(["sh", "-c", "strace -o /dev/null true"], capture_output=True).returncode:
        print("skipped: strace is missing or may not trace here")
        return 77
    os.umask(0o022)  # the signers must be their owner's alone
    with tempfile.TemporaryDirectory() as made:
        folder = Path(made)
        commands = made_commands(folder, Path(source).resolve(), Path(program), Path(helpers))
        signatures, process = signature_commands(folder, Path(helpers))
        try:
            cases = [case for name, command in {**commands, **signatures}.items()
                     for case in cases_of(name, [str(word) for word in command], folder / "log")]
            if runs:
                cases = random.Random(1).sample(cases, int(runs))
            with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
                logs = [folder / f"log-{number}" for number in range(len(cases))]
                faults = [fault for fault in pool.map(fault_of, cases, logs) if fault]
        finally:
            process.kill()
            process.wait()
    print("\n".join([f"{len(cases)} runs, {len(faults)} wrong", *faults]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
