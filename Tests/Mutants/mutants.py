#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes small mistakes in copies of the sources, all in one build, and sees which the tests find.

Usage: mutants.py SOURCE BUILD [--count N [--seed N]] [--files FILE...] [--suites PATTERN]

Each mistake, a mutant, is switched on at run time by its number in VEL_MUTANT. A first run notes
which suites reach which mutant; then each mutant meets its suites, the fast ones first, until one
fails. FILEs are parts of names such as Base/ or VELText.cpp. With --count a seed chooses N.
BUILD is a finished build with the tests; what is made is in BUILD/mutants. The helpers that tests
run as processes have the mutants, too; the code of the program that they run stays as it is.

explained.txt, beside this file, says of mutants that no test can find why that is: a line as it is
printed here, without its number, and below it, indented, the reason.
"""

import argparse
import concurrent.futures
import json
import os
import random
import re
import subprocess
import sys
import time
from pathlib import Path

SWITCH = """#pragma once
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
namespace mutants {
// A byte for each mutant, shared by the processes of a suite. Marking one takes no descriptor and
// leaves errno alone: suites run at the limit of descriptors, too.
inline unsigned char* reachedPlaces() {
    const char* const log = std::getenv("VEL_MUTANTS_REACHED");
    if (log == nullptr) {
        return nullptr;
    }
    const int before = errno;
    const int file = ::open(log, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    void* const places = ::ftruncate(file, 100000) == 0
        ? ::mmap(nullptr, 100000, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0) : MAP_FAILED;
    ::close(file);
    errno = before;
    return places == MAP_FAILED ? nullptr : static_cast<unsigned char*>(places);
}
inline bool isOn(int number) {
    static const int chosen = std::getenv("VEL_MUTANT") ? std::atoi(std::getenv("VEL_MUTANT")) : 0;
    static unsigned char* const reached = reachedPlaces();
    if (reached != nullptr) {
        reached[number] = 1;
    }
    return number == chosen;
}
inline const bool isStarted = isOn(0); // before a test takes away all descriptors
}
#define MUTANT(number) (::mutants::isOn(number))
"""
ENDINGS = ("killed", "ran too long", "lived", "is explained")
BOUNDARY = {" < ": " <= ", " <= ": " < ", " > ": " >= ", " >= ": " > "}


def masked(text):
    """The text with comments and literals blanked; places stay."""
    pattern = r'R"(\w*)\(.*?\)\1"|//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\''
    return re.sub(pattern, lambda found: re.sub(r"[^\n]", "_", found.group()), text, flags=re.S)


def split_at(mask, operators):
    """The parts of an expression between operators that are in no bracket, as (start, end)."""
    parts, depth, start, place = [], 0, 0, 0
    while place < len(mask):
        depth += (mask[place] in "([{") - (mask[place] in ")]}")
        found = next((word for word in operators if mask.startswith(word, place)), None)
        if found and depth == 0:
            parts.append((start, place))
            place += len(found)
            start = place
        else:
            place += 1
    return [*parts, (start, len(mask))]


class Source:
    """A source file, its mutants, and the text that has them all."""

    def __init__(self, root, name, numbers):
        self.name, self.numbers, self.mutants = name, numbers, {}
        self.text = (root / name).read_text(encoding="utf-8")
        self.mask = masked(self.text)
        self.edits = []  # (start, end, new text, numbers)

    def add(self, start, kind):
        number = next(self.numbers)
        start += len(self.text[start:]) - len(self.text[start:].lstrip())
        self.mutants[number] = (self.name, self.text.count("\n", 0, start) + 1, kind,
                                self.text[start:self.text.find("\n", start)].strip())
        return number

    def edit(self, start, end, text, numbers):
        if numbers and not any(start < other[1] and other[0] < end for other in self.edits):
            self.edits.append((start, end, text, numbers))
        else:
            for number in numbers:
                del self.mutants[number]

    def operand(self, start, end):
        """An operand with its boundary moved, and the numbers in it."""
        text, mask = self.text[start:end], self.mask[start:end]
        for operator, other in BOUNDARY.items():
            parts = split_at(mask, [operator])
            if len(parts) == 2 and " ? " not in mask:
                number = self.add(start, f"{operator.strip()} became {other.strip()}")
                once = (text[:parts[0][1]] + other + text[parts[1][0]:]).replace("\n", " ")
                return f"(MUTANT({number}) ? ({once}) : ({text}))", [number]
        return text, []

    def condition(self, start, end):
        """A condition: every operand left out, or all negated."""
        mask = self.mask[start:end]
        if " = " in mask or " ? " in mask or not mask.strip():
            return
        for operator, form in (" ||", "(!MUTANT({}) && static_cast<bool>({}))"), \
                              (" &&", "(MUTANT({}) || static_cast<bool>({}))"):
            parts = split_at(mask, [operator])
            if len(parts) > 1:
                break
        else:
            parts, form = [(0, len(mask))], "(MUTANT({}) != static_cast<bool>({}))"
        texts, numbers = [], []
        for first, last in parts:
            text, inner = self.operand(start + first, start + last)
            number = self.add(start + first, "operand left out" if len(parts) > 1 else "negated")
            texts.append(form.format(number, text))
            numbers += [*inner, number]
        self.edit(start, end, operator.join(texts) if len(parts) > 1 else texts[0], numbers)

    def mutate(self):
        mask = self.mask
        for found in re.finditer(r"\b(?:if|while) \(", mask):
            depth, end = 1, found.end()
            while depth:
                depth += (mask[end] == "(") - (mask[end] == ")")
                end += 1
            self.condition(mask.rfind(";", found.end(), end) + 1 or found.end(), end - 1)
        for found in re.finditer(r"\breturn ([^;{}]+);", mask):
            value = found.group(1)
            if value in ("true", "false") or re.search(r" (&&|\|\||[=!<>]=|[<>]) ", value) \
                    or value[0] == "!":
                self.condition(found.start(1), found.end(1))
        call = r"(?<=[;{}]\n)([ ]+)((?:[\w:.\[\]*]|->)+(?:\([^\n]*\)| [|+-]?= [^\n]+));(?=\n)"
        for found in re.finditer(call, mask):
            if not re.match(r"(return|throw|using|delete|case|static_assert)\b|.*\.reserve\(",
                            found.group(2)):
                number = self.add(found.start(2), "left out")
                text = self.text[found.start(2):found.end(2)]
                self.edit(found.start(2), found.end(2), f"if (!MUTANT({number})) {text}", [number])
        for found in re.finditer(r"(?<= [+-] )1\b(?![.'])", mask):
            number = self.add(found.start(), "1 became 0")
            self.edit(found.start(), found.end(), f"(MUTANT({number}) ? 0 : 1)", [number])

    def write(self, path):
        """Writes the text with the mutants; the line of each place stays."""
        text = self.text
        for start, end, new, _ in sorted(self.edits, reverse=True):
            text = text[:start] + new + text[end:]
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f'#include "mutants.h"\n#line 1 "{self.name}"\n{text}', encoding="utf-8")

    def keep(self, isWanted):
        """Leaves out the edits that are not wanted; whether there were any."""
        kept = [edit for edit in self.edits if isWanted(edit)]
        for edit in self.edits:
            if edit not in kept:
                for number in edit[3]:
                    del self.mutants[number]
        dropped, self.edits = len(kept) < len(self.edits), kept
        return dropped

    def drop(self, lines):
        """Leaves out the edits in lines that the compiler does not take; whether there were any."""
        return self.keep(lambda edit: lines.isdisjoint(range(
            self.text.count("\n", 0, edit[0]) + 1, self.text.count("\n", 0, edit[1]) + 2)))


def compile_mutants(source, folder, entries, build):
    """Compiles a source's mutants in place of its objects; the objects' names by the original's."""
    path, objects = folder / "tree" / source.name, {}
    for entry in entries:
        target = folder / "objects" / entry["output"]
        target.parent.mkdir(parents=True, exist_ok=True)
        command = re.sub(r" -MD .*? -o \S+", "", entry["command"]).replace(entry["file"], str(path))
        command += f" -w -I{folder} -o {target}"
        while True:
            source.write(path)
            done = subprocess.run(command, shell=True, cwd=build, capture_output=True, text=True)
            if done.returncode == 0:
                break
            lines = {int(line) for line in re.findall(
                rf"{re.escape(source.name)}:(\d+):", done.stderr)}
            if not source.drop(lines):
                raise RuntimeError(done.stderr)
        objects[entry["output"]] = str(target)
    return objects


def link(program, objects, folder, build):
    """Links a program with the mutants' objects, at its place below the folder."""
    command = subprocess.run(["ninja", "-t", "commands", program], cwd=build, check=True,
                             capture_output=True, text=True).stdout.splitlines()[-1]
    command = command.split(" && ")[1]
    words = [objects.get(word, word) for word in command.split()]
    made = folder / program
    made.parent.mkdir(parents=True, exist_ok=True)
    words[words.index("-o") + 1] = str(made)
    archived = [new for old, new in objects.items()
                if "vel_linux_tools.dir" in old and "libvel_linux_tools.a" in command]
    subprocess.run(" ".join([*words[:words.index("-o")], *archived, *words[words.index("-o"):]]),
                   shell=True, cwd=build, check=True)
    return made


def compile_paths(database, folder, build):
    """Compiles what tells the tests where programs are, for those with the mutants."""
    objects = {}
    for entry in database:
        if not re.match(r"Tests/CMakeFiles/vel_\w+\.dir/.*\.c(pp|xx)\.o$", entry["output"]):
            continue
        text = Path(build, entry["file"]).read_text("utf-8")
        for included in re.findall(r'#include "(/.*\.cpp)"', text): # compiled as one
            text += Path(included).read_text("utf-8")
        if re.search("VEL_(LINUX_TOOLS_DIRECTORY|TASK_HOST)", text):
            target = folder / "objects" / entry["output"]
            target.parent.mkdir(parents=True, exist_ok=True)
            command = re.sub(r" -MD .*? -o \S+", "", entry["command"])
            for program in ("libexec/", "Tests/task-host"):
                command = command.replace(f"{build}/{program}", f"{folder}/{program}")
            command += f" -w -o {target}"  # -w: a precompiled header is for the other places
            subprocess.run(command, shell=True, cwd=build, check=True)
            objects[entry["output"]] = str(target)
    return objects


def suites_of(program):
    listed = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True,
                            text=True).stdout
    return [(str(program), name) for name in re.findall(r"^(\S+)\.(?:\s.*)?$", listed, re.M)]


def run_suites(program, names, build, environment, seconds):
    """The status of suites that run in one process, which has so many seconds of the processor."""
    try:
        return subprocess.run(["prlimit", f"--cpu={int(seconds)}", program, "--gtest_fail_fast",
                               "--gtest_filter=" + ":".join(f"{name}.*" for name in names)],
                              cwd=build / "Tests", env={**os.environ, **environment},
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=60 + 10 * seconds).returncode
    except subprocess.TimeoutExpired:
        return "too long"


def reach(suite, build, folder):
    """A suite's seconds and the numbers of the mutants it reaches; nothing if it fails by itself."""
    program, name = suite
    log = folder / "reached" / name.replace("/", "-")
    log.unlink(missing_ok=True)
    start = time.monotonic()
    if run_suites(program, [name], build, {"VEL_MUTANTS_REACHED": str(log)}, 1000) != 0:
        return None
    data = log.read_bytes() if log.exists() else b""
    return time.monotonic() - start, {number for number, mark in enumerate(data) if mark}, suite


def outcome(number, reached, build):
    """Whether a mutant lived, was killed or ran too long. Of the fast suites, those that reach the
    fewest mutants run first, then the other fast ones, each in one process; the slow ones follow,
    one by one."""
    groups, ending = {}, "lived"
    found = sorted((suite for suite in reached if number in suite[1]), key=lambda it: len(it[1]))
    fast = [suite for suite in found if suite[0] <= 2]
    for suite in found:
        seconds, _, (program, name) = suite
        stage = seconds if seconds > 2 else 0 if suite in fast[:5] else 1
        group = groups.setdefault((stage, program), [10, []])
        group[0] += 3 * seconds
        group[1].append(name)
    for (_, program), (seconds, names) in sorted(groups.items()):
        status = run_suites(program, names, build, {"VEL_MUTANT": str(number)}, seconds)
        if status == "too long":
            ending = "ran too long"
        elif status != 0:
            return "killed"
    return ending


def explained():
    """The mutants that no test can find."""
    lines = (Path(__file__).parent / "explained.txt").read_text(encoding="utf-8").splitlines()
    return {line for line in lines if re.match(r"[^\s#]", line)}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("source", type=Path)
    parser.add_argument("build", type=Path)
    parser.add_argument("--count", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--files", nargs="+",
                        default=["Base/", "Classes/", "Helpers/", "Platform/"])
    parser.add_argument("--suites", default="", help="a pattern of the suites that are run")
    options = parser.parse_args()
    root, build = options.source.resolve(), options.build.resolve()
    folder = build / "mutants"
    (folder / "reached").mkdir(parents=True, exist_ok=True)
    (folder / "mutants.h").write_text(SWITCH)
    database = json.loads(subprocess.run(["ninja", "-t", "compdb"], cwd=build, check=True,
                                         capture_output=True).stdout)
    entries = {}
    for entry in database:
        name = os.path.relpath(os.path.join(build, entry["file"]), root)
        output = r"Linux/CMakeFiles/[\w-]+" if name.startswith("Helpers/") else \
            "vel_(described_|apple_)?objects"
        if re.search(output + r"\.dir/", entry["output"]) and \
                any(part in name for part in options.files):
            entries.setdefault(name, []).append(entry)
    numbers = iter(range(1, 100000))
    sources = [Source(root, name, numbers) for name in sorted(entries)]
    for source in sources:
        source.mutate()
    every = sorted(number for source in sources for number in source.mutants)
    chosen = set(every)
    if options.count:
        chosen = set(random.Random(options.seed).sample(every, min(options.count, len(every))))
        for source in sources:
            source.keep(lambda edit: not chosen.isdisjoint(edit[3]))
    sources = [source for source in sources if source.edits]
    objects = {}
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for made in pool.map(lambda source: compile_mutants(source, folder, entries[source.name],
                                                            build), sources):
            objects.update(made)
        for program in [build / "Tests/task-host", *build.glob("libexec/vel_device_trust/*")]:
            link(os.path.relpath(program, build), objects, folder, build)
        objects.update(compile_paths(database, folder, build))
        suites = [suite for program in ("Tests/vel_tests", "Tests/vel_thread_tests")
                  for suite in suites_of(link(program, objects, folder, build))
                  if re.search(options.suites, suite[1])]
        reached = list(pool.map(lambda suite: reach(suite, build, folder), suites))
        for (_, name), found in zip(suites, reached):
            if found is None:
                print(f"{name} fails without a mutant, and is left out", flush=True)
        reached = sorted(filter(None, reached))
        mutants = {number: place for source in sources for number, place in source.mutants.items()}
        chosen = sorted(chosen.intersection(mutants))  # the compiler has not taken the others
        print(f"{len(every)} mutants, {len(chosen)} are tried, {len(reached)} suites", flush=True)
        known = set().union(*(numbers for _, numbers, _ in reached))
        reasons = explained()
        counts = {}
        for number, ending in zip(chosen, pool.map(lambda it: outcome(it, reached, build), chosen)):
            name, line, kind, text = mutants[number]
            if ending == "lived" and f"{name}: {kind}: {text}" in reasons:
                ending = "is explained"
            of_folder = counts.setdefault(os.path.dirname(name), dict.fromkeys(ENDINGS, 0))
            of_folder[ending] += 1
            if ending in ("lived", "ran too long"):
                print(f"{name}:{line}: {kind}{'' if number in known else ', not reached'}: {text}"
                      f"{'' if ending == 'lived' else ' (ran too long)'}", flush=True)
    counts["in all"] = {ending: sum(of_folder[ending] for of_folder in counts.values())
                        for ending in ENDINGS}
    for folder, endings in counts.items():
        print(f"{folder}: " + ", ".join(f"{count} {ending}" for ending, count in endings.items()))


if __name__ == "__main__":
    sys.exit(main())
