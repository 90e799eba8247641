#!/usr/bin/env bash
# Puts figures into the tables of a document, with when and on what they were taken:
#
#   docs/record-figures.sh FIGURES DOCUMENT
#
# FIGURES has a line for each: name, value and goal, separated by tabs; the goal may be empty.
set -euo pipefail

taken="Taken on $(date -u +%F): $(nproc) processors with a load average of $(cut -d ' ' -f 1 /proc/loadavg),"
taken+=" g++ $(g++ -dumpfullversion)"
for library in cpp-httplib nlohmann_json libcurl; do
    taken+=", $library $(pkg-config --modversion "$library")"
done
recorded=$(awk -f "${BASH_SOURCE%.sh}.awk" -v taken="$taken." "$1" "$2")
printf '%s\n' "$recorded" >"$2"
