#!/usr/bin/env python3
"""Checks that docs/CONFIGURATION.md has every setting and variable that the library reads, and no other."""

import pathlib
import re
import sys

DOCUMENT = pathlib.Path("docs/CONFIGURATION.md").read_text()
SOURCES = "".join(path.read_text() for path in sorted(pathlib.Path("src").iterdir()))
SETTINGS = re.findall(r'\{"(\w+)", "(VARNEL_[A-Z_]+)"', pathlib.Path("src/KnownSettings.h").read_text())

problems = ["lacks %s, %s" % setting for setting in SETTINGS if "\n| `%s` | `%s` |" % setting not in DOCUMENT]
problems += ["lacks " + name
             for name in sorted(set(re.findall(r'(?:ReadVariable|getenv)\("([A-Z_]+)"', SOURCES)))
             if "`%s`" % name not in DOCUMENT]
problems += ["tells of %s, which nothing reads" % name
             for name in sorted(set(re.findall(r"VARNEL_[A-Z_]+", DOCUMENT)))
             if '"%s"' % name not in SOURCES]
if not SETTINGS:
    problems.append("cannot be compared: no setting was found in src/KnownSettings.h")
if problems:
    sys.exit("\n".join("docs/CONFIGURATION.md " + problem for problem in problems))
