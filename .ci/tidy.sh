#!/usr/bin/env bash
# clang-tidy finds nothing in the library, the programs and the examples.
set -euo pipefail
cd "$(dirname "$0")/.."

# tidy BUILD-DIRECTORY CHECKS: over the files named on stdin
tidy() {
    xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p "$1" --checks="$2" \
        2> >(grep -v 'warnings\? generated\|^Suppressed\|^Use -' >&2)
}

# The analyzer looks into the functions of the file itself alone. All other checks read whatever is
# included, which takes most of their time: they get the sources of a program as one, and no tests, of which
# one is an example.
cmake --preset tidy >/dev/null
git ls-files '*.cpp' ':!tests' ':!fuzz' ':!benchmarks' |
    tidy build/tidy '-*,clang-analyzer-*,-clang-analyzer-optin.performance.Padding'

cmake --preset tidy -B build/tidy-unity -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 \
    -DVARNELBASE_BUILD_TESTS=OFF >/dev/null
jq -r '.[].file' build/tidy-unity/compile_commands.json | sort -u |
    tidy build/tidy-unity '-clang-analyzer-*,-bugprone-suspicious-include'
