#!/usr/bin/env python3
"""Writes the bill of materials of a Debian build directory (SPDX 2.3): every package whose headers were compiled in,
whose archives were linked, or whose shared libraries the programs and the library load.

    sbom.py BUILD-DIRECTORY VERSION     SOURCE_DATE_EPOCH is its date
"""
import datetime
import json
import os
import re
import subprocess
import sys
import uuid
from pathlib import Path

build = Path(sys.argv[1])
version = sys.argv[2]


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def find_compiled_files():
    """The system's headers that the compiler read."""
    paths = {line.strip() for line in run("ninja", "-C", str(build), "-t", "deps").splitlines()}
    return {path for path in paths if path.startswith("/usr/")}


def find_linked_archives():
    return set(re.findall(r"/usr/\S+\.a\b", run("ninja", "-C", str(build), "-t", "commands")))


def find_loaded_libraries():
    needed = set()
    for binary in ("libvarnelbase.so", "cli/varnel", "emulator/varnel-emulator"):
        needed |= set(re.findall(r"=> (/\S+)", run("ldd", str(build / binary))))
    return {path for path in needed if not Path(path).is_relative_to(build)}


def find_packages(paths):
    """Name, version and architecture of the packages that own these files."""
    # Where /lib is a link to /usr/lib, a package may own its file under either name.
    names = {str(Path(path).resolve()) for path in paths}
    names |= {name.removeprefix("/usr") for name in names if name.startswith("/usr/lib")}
    owners = subprocess.run(["dpkg", "--search", *sorted(names)], capture_output=True, text=True).stdout
    packages = {owner for line in owners.splitlines() for owner in line.rsplit(": ", 1)[0].split(", ")}
    form = "${Package} ${Version} ${Architecture}\n"
    return {tuple(line.split()) for line in run("dpkg-query", "--show", f"--showformat={form}", *packages).splitlines()}


def make_identifier(name):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


relations = [
    (find_packages(find_compiled_files()), lambda package: (package, "BUILD_DEPENDENCY_OF", "SPDXRef-varnelbase")),
    (find_packages(find_linked_archives()), lambda package: ("SPDXRef-varnelbase", "STATIC_LINK", package)),
    (find_packages(find_loaded_libraries()), lambda package: ("SPDXRef-varnelbase", "DYNAMIC_LINK", package)),
]
packages = [{
    "SPDXID": "SPDXRef-varnelbase",
    "name": "varnelbase",
    "versionInfo": version,
    "downloadLocation": "NOASSERTION",
    "filesAnalyzed": False,
    "licenseConcluded": "MIT",
    "licenseDeclared": "MIT",
    "copyrightText": "Copyright (c) 2026 the VarnelBase authors",
}]
for name, release, architecture in sorted(set().union(*(found for found, _ in relations))):
    packages.append({
        "SPDXID": make_identifier(name),
        "name": name,
        "versionInfo": release,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": f"pkg:deb/debian/{name.replace('+', '%2B')}@{release.replace('+', '%2B')}?arch={architecture}",
        }],
    })
relationships = [("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-varnelbase")]
for found, relate in relations:
    relationships += sorted(relate(make_identifier(name)) for name, _, _ in found)

created = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
json.dump({
    "spdxVersion": "SPDX-2.3",
    "dataLicense": "CC0-1.0",
    "SPDXID": "SPDXRef-DOCUMENT",
    "name": f"varnelbase-{version}",
    "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, json.dumps(packages))}",
    "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"), "creators": ["Organization: the VarnelBase authors"]},
    "packages": packages,
    "relationships": [dict(zip(("spdxElementId", "relationshipType", "relatedSpdxElement"), relation))
                      for relation in relationships],
}, sys.stdout, indent=2)
print()
