#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Verifies that the relative links of all Markdown files have a target, including the anchor, and that
the paths of the source tree that these files name exist.

usage: LinksTest.py ROOT
"""
import os
import re
import sys
from pathlib import Path
from urllib.parse import unquote

LINK = re.compile(r"!?\[[^\]]*\]\(([^()\s]+)\)")
CODE = re.compile(r"`([^`\n]+)`")
HEADING = re.compile(r"^#+ +(.*?) *#*$")
NOT_OURS = {"build", ".git"}


def markdown_files(root):
    for folder, folders, files in os.walk(root):
        folders[:] = sorted(name for name in folders if name not in NOT_OURS)
        yield from (Path(folder) / name for name in sorted(files) if name.endswith(".md"))


def lines_of(path):
    """Number, text and whether it is code, of every line."""
    in_code = False
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        is_fence = line.lstrip().startswith("```")
        in_code = in_code != is_fence
        yield number, line, in_code or is_fence


def anchors_of(path):
    anchors = set()
    for _, line, is_code in lines_of(path):
        heading = None if is_code else HEADING.match(line)
        if heading:
            text = re.sub(r"[^\w\- ]", "", heading.group(1).lower())
            anchors.add(text.replace(" ", "-"))
    return anchors


class Links:
    def __init__(self, root):
        self.root = root
        self.folders = tuple(
            sorted(f"{entry.name}/" for entry in root.iterdir()
                   if entry.is_dir() and entry.name not in NOT_OURS)
        )
        self.failures = []
        self.checked = 0

    def fail(self, path, number, what):
        self.failures.append(f"{path.relative_to(self.root)}:{number}: {what}")

    def check_link(self, path, number, target):
        if re.match(r"[a-z]+:", target):
            return
        self.checked += 1
        name, _, anchor = unquote(target).partition("#")
        file = (path.parent / name) if name else path
        if not file.exists():
            self.fail(path, number, f"no such file: {target}")
        elif anchor and anchor not in anchors_of(file):
            self.fail(path, number, f"no such heading: {target}")

    def check_path(self, path, number, text):
        """A path relative to the root of the tree; a word in capitals matches any name. A line and a
        column may follow: "file.json:5:53"."""
        self.checked += 1
        name = re.sub(r"(:\d+){1,2}$", "", text.rstrip("/").split("#")[0])
        pattern = re.sub(r"\b[A-Z]{2,}\b(?![a-z])", "*", name)
        if not any(self.root.glob(pattern)):
            self.fail(path, number, f"no such path: {text}")

    def check_map(self, path, number, line):
        """The first column of a map of folders."""
        for text in CODE.findall(line.split("|")[1]):
            self.check_path(path, number, text)

    def check_file(self, path):
        in_map = False
        for number, line, is_code in lines_of(path):
            in_map = line.startswith("|") and (in_map or line.startswith("| Folder "))
            if in_map:
                self.check_map(path, number, line)
            if is_code:
                words = line.split()
            else:
                words = [word for text in CODE.findall(line) for word in text.split()]
                for target in LINK.findall(line):
                    self.check_link(path, number, target)
            for word in words:
                if word.startswith(self.folders):
                    self.check_path(path, number, word.rstrip(".,;:)"))


def main():
    links = Links(Path(sys.argv[1]).resolve())
    files = list(markdown_files(links.root))
    for path in files:
        links.check_file(path)
    print(f"{len(files)} documents, {links.checked} links and paths")
    for failure in links.failures:
        print(failure)
    if links.checked < 40:
        sys.exit(f"only {links.checked} links: is this the source tree?")
    sys.exit(1 if links.failures else 0)


main()
