#!/usr/bin/env bash
# clang-tidy finds nothing in the library, the programs and the examples.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset tidy >/dev/null
git ls-files '*.cpp' ':!tests' ':!fuzz' ':!benchmarks' |
    xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p build/tidy 2> >(grep -v 'warnings generated\|^Suppressed\|^Use -' >&2)
