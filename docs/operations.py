#!/usr/bin/env python3
"""Writes the tables of operations in README.md and docs/OPERATIONS.md from the code.

    docs/operations.py            writes both tables
    docs/operations.py --check    fails if a table differs, or names each file that lacks an operation
                                  and each comment in src/ApiConnector.h that says something else

Method and path come from the client's table. Arguments, offline value, body and gate come from the
connector, whose own paths must agree with it.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# In docs/OPERATIONS.md, in README.md, and in the comment of the operation.
GATES = {
    "Exactly200": ("exactly 200", "offline, status is not 200", "the status is not 200"),
    "Exactly201": ("exactly 201", "offline, status is not 201", "the status is not 201"),
    "AnyResponse": ("any response", "offline", "whatever the status"),
    "Ignored": ("ignored", "returns nothing", "Does not report whether it succeeded"),
    "Project": ("exactly 200, an envelope", "offline, status is not 200", "the status is not 200"),
}


def read(path):
    return (ROOT / path).read_text()


def read_operations():
    """Name, method and target of every operation, in the order of the client's table."""
    table = re.search(r"ServiceOperations\{\{(.*?)\}\};", read("client/OperationTable.h"), re.S).group(1)
    return re.findall(r'\{"(\w+)",\s*"(\w+)",\s*"([^"]+)"', table)


def normalize_path(expression):
    """A concatenation in C++ as a target with its arguments in braces."""
    parts = re.findall(r'"([^"]*)"|std::to_string\((\w+)\)|(\w+)', expression)
    return "".join(literal or "{%s}" % (number or text) for literal, number, text in parts)


def read_connector(name):
    """Arguments, path, offline value, body and gate as the connector's function has them."""
    function = re.search(r"^\w+ ApiConnector::%s\((.*?)\) \{\n(.*?)^\}" % name, read("src/ApiConnector.cpp"), re.S | re.M)
    if not function:
        sys.exit("src/ApiConnector.cpp has no operation " + name)
    parameters, code = function.groups()
    offline = re.search(r"IsOffline\(\)\) \{ return ?(.*?); \}", code).group(1)
    version = re.search(r'OfflineVersion = "(.*)"', read("src/OfflineVersion.h")).group(1)
    path = re.search(r"const std::string path =\s*(.*?);", code, re.S)
    literal = re.search(r'(?:Get|PostJson)\((?:client, )?"([^"]+)"', code)
    members = re.findall(r'\{"(\w+)", \w+\}', code)
    argument = re.search(r"(?:PostJson|PatchJson)\([^;]*?, (\w+)\)", code)
    gate = re.search(r"\b(Exactly20[01]|AnyResponse|Ignored)\(", code)
    return {
        "arguments": re.findall(r"(\w+)(?:,|$)", parameters),
        "path": normalize_path(path.group(1)) if path else literal.group(1),
        "offline": {"json()": "null", "": "nothing", "json::array({OfflineVersion})": '`["%s"]`' % version}[offline],
        "body": "`{%s}`" % ",".join('"%s"' % member for member in members) if members
        else "`%s`" % argument.group(1) if argument else "",
        "gate": gate.group(1) if gate else "Project",
    }


def make_tables():
    short = ["| Operation | Request | Null when |", "|---|---|---|"]
    full = ["| Operation | Offline | Body | Verb | Path | Gate |", "|---|---|---|---|---|---|"]
    for name, method, target in read_operations():
        found = read_connector(name)
        if found["path"] != target:
            sys.exit("%s: src/ApiConnector.cpp sends %s, client/OperationTable.h %s" % (name, found["path"], target))
        call = "`%s(%s)`" % (name, ", ".join(found["arguments"]))
        gate, null, _ = GATES[found["gate"]]
        if found["offline"].startswith("`["):
            null = null.replace("offline, ", "")
        short.append("| %s | %s `%s` | %s |" % (call, method, target.split("?")[0], null))
        full.append("| %s | %s | %s | %s | `%s` | %s |" % (call, found["offline"], found["body"], method, target, gate))
    return {"README.md": short, "docs/OPERATIONS.md": full}


def find_gaps():
    """What does not have each operation: programs, tests and benchmarks, or the comments of the connector."""
    operations = read_operations()
    names = [operation[0] for operation in operations]
    for path, pattern in {
        "tests/support/Operations.h": r"c\.(\w+)\(",
        "tests/client/OperationCases.h": r'^    \{"(\w+)"',
        "benchmarks/Operations.cpp": r'^        \{"(\w+)"',
    }.items():
        found = re.findall(pattern, read(path), re.M)
        at = next((i for i, name in enumerate(names) if found[i : i + 1] != [name]), None)
        if at is not None:
            yield "%s: operation %d is not %s, as in client/OperationTable.h" % (path, at + 1, names[at])
    commands = "".join(source.read_text() for source in ROOT.glob("cli/commands/*.cpp"))
    description = read("emulator/openapi.json")
    header = read("src/ApiConnector.h")
    for name, method, target in operations:
        if '"%s"' % name not in commands:
            yield "cli/commands/ has no command for " + name
        if '"operationId": "%s"' % (name[0].lower() + name[1:]) not in description:
            yield "emulator/openapi.json does not describe " + name
        comment = re.search(r"((?: *///.*\n)*) *\w+ %s\(" % name, header)
        text = " ".join(re.sub(r" *///", "", comment.group(1) if comment else "").split())
        for phrase in [method + " " + target.split("?")[0], GATES[read_connector(name)["gate"]][2], "@throws"]:
            if phrase not in text:
                yield "src/ApiConnector.h: the comment of %s does not say: %s" % (name, phrase)


def main():
    is_check = sys.argv[1:] == ["--check"]
    for path, table in make_tables().items():
        marks = re.compile(r"(<!-- operations: written by docs/operations.py -->\n).*?(<!-- end -->)", re.S)
        text = read(path)
        written = marks.sub(lambda found: "\n".join([found.group(1), *table, "", found.group(2)]), text)
        if "<!-- operations:" not in text:
            sys.exit("%s has no place for the table of operations" % path)
        if written == text:
            continue
        if is_check:
            sys.exit("%s: the table of operations differs from the code: run docs/operations.py" % path)
        (ROOT / path).write_text(written)
    if is_check:
        sys.exit("\n".join(find_gaps()) or None)


main()
