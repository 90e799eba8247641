#!/usr/bin/env python3
"""Prints a guide as Doxygen wants it, whose labels are global: each heading gets one made of the guide's name and its
own, and links name it. Links to files that the site does not have become plain text.

    guide-links.py FILE
"""
import re
import sys
from pathlib import Path

guide = Path(sys.argv[1]).resolve()
root = Path(__file__).resolve().parent.parent


def make_label(path, heading):
    if path == root / "README.md" and not heading:
        return "index"
    words = re.sub(r"[^a-z0-9_ -]", "", heading.lower()).split(" ")
    return "-".join([*path.relative_to(root).with_suffix("").parts, *filter(None, words)])


def rewrite_link(link):
    text, target = link.groups()
    path, _, anchor = target.partition("#")
    linked = (guide.parent / path).resolve() if path else guide
    if re.match(r"[a-z]+:", target) or linked.suffix in (".svg", ".png"):
        return link.group(0)
    if linked.suffix != ".md":
        return text
    return f"[{text}](@ref {make_label(linked, anchor)})"


isCode = False
for line in guide.read_text().splitlines():
    isCode ^= line.lstrip().startswith("```")
    if not isCode:
        heading = re.fullmatch(r"(#+) (.+)", line)
        if heading:
            label = make_label(guide, "" if heading[1] == "#" else heading[2])
            line += f" {{#{'mainpage' if label == 'index' else label}}}"
        line = re.sub(r"\[([^]]+)\]\(([^)\s]+)\)", rewrite_link, line)
    print(line)
