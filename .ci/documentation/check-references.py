#!/usr/bin/env python3
"""Checks that what the documents refer to exists: linked files, linked headings, and files in backticks."""

import pathlib
import re
import subprocess
import sys

TRACKED = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"],
                         check=True, capture_output=True, text=True).stdout.split()
DIRECTORIES = {parent for path in TRACKED for parent in map(str, pathlib.Path(path).parents)}
TOP = {path.split("/")[0] for path in TRACKED}


def list_anchors(document):
    """The names that headings get as targets of links."""
    headings = re.findall(r"^#+ (.+)$", re.sub(r"```.*?```", "", document.read_text(), flags=re.S), re.M)
    return [re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings]


def check(document):
    text = document.read_text()
    for link in re.findall(r"\]\(([^):\s]+)\)", text):
        path, _, anchor = link.partition("#")
        target = document.parent / path if path else document
        if not target.exists():
            yield "links to %s, which does not exist" % link
        elif anchor and anchor not in list_anchors(target):
            yield "links to %s, but there is no such heading" % link
    for path in re.findall(r"`([\w.-]+/[\w./-]*)(?: [^`]*)?`", text):
        if path.split("/")[0] in TOP and path.rstrip("/") not in TRACKED and path.rstrip("/") not in DIRECTORIES:
            yield "names %s, which does not exist" % path


problems = ["%s %s" % (path, problem)
            for path in TRACKED if path.endswith(".md") and pathlib.Path(path).exists()
            for problem in check(pathlib.Path(path))]
if problems:
    sys.exit("\n".join(problems))
