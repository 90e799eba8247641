#!/usr/bin/env bash
# Everything compiles without a warning with g++ (optimised) and with clang++.
set -euo pipefail
cd "$(dirname "$0")/.."

for preset in ci ci-clang; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
done
