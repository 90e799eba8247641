#!/usr/bin/env python3
"""Cuts the code blocks out of a document: DIRECTORY/FILE:LINE.LANGUAGE for each.

    cut-blocks.py DOCUMENT DIRECTORY [RUNNER]

A block of `sh` that is not to be run gets a file beside it, with ".skip" behind its name: it stands
below a line `<!-- not run: REASON -->`, or RUNNER, a test of the document's program, runs it.
"""

import pathlib
import re
import sys

LANGUAGES = ["cpp", "cmake", "json", "sh", "text"]


def cut(document, directory, runner):
    problems = []
    block = None
    skip = None
    is_after_blank = False
    is_in_list = False
    for number, line in enumerate(pathlib.Path(document).read_text().splitlines(), 1):
        fence = re.match(r"( *)```(.*)", line)
        if block and fence:
            block["file"].write_text("".join(text + "\n" for text in block["lines"]))
            block = None
        elif block:
            block["lines"].append(line[block["indent"]:])
        elif fence:
            indent, language = fence.groups()
            if language not in LANGUAGES:
                problems.append('%d: a block in "%s", which is not checked' % (number, language))
            file = directory / ("%s:%d.%s" % (document.replace("/", "_"), number, language))
            block = {"file": file, "indent": len(indent), "lines": []}
            reason = "run by " + runner if language == "sh" and runner else skip
            if reason:
                pathlib.Path(str(file) + ".skip").write_text(reason)
            skip = None
        elif re.fullmatch(r"<!-- not run: .+ -->", line):
            skip = line
        else:
            if line.startswith("    ") and is_after_blank and not is_in_list and not runner:
                problems.append("%d: an indented block: put it between ``` lines" % number)
            if re.match(r" *([-*]|[0-9]+\.) ", line):
                is_in_list = True
            elif line and not line.startswith(" "):
                is_in_list = False
        is_after_blank = not line
    if block:
        problems.append("a block without an end")
    return problems


def main():
    document, directory = sys.argv[1], pathlib.Path(sys.argv[2])
    runner = sys.argv[3] if len(sys.argv) > 3 else ""
    if runner and pathlib.Path(document).name not in pathlib.Path(runner).read_text():
        sys.exit("%s does not run %s" % (runner, document))
    problems = cut(document, directory, runner)
    if problems:
        sys.exit("\n".join(document + ":" + problem for problem in problems))


main()
