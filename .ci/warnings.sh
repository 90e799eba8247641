#!/usr/bin/env bash
# Everything compiles without a warning with clang++, and all but the tests with g++, optimised. With
# g++ the tests are compiled by ./test, for which warnings are errors where CI is true.
set -euo pipefail
cd "$(dirname "$0")/.."

for preset in ci ci-clang; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
done
