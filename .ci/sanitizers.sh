#!/usr/bin/env bash
# The tests pass under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset asan >/dev/null
cmake --build --preset asan
ctest --preset asan
