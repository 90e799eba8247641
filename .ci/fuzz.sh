#!/usr/bin/env bash
# Each fuzz target takes its corpus and then inputs of its own without a finding, for 30 s or as an
# option of libFuzzer says:
#
#   fuzz.sh [-runs=N | -max_total_time=SECONDS]
#
# A finding is left in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake -S fuzz -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DVARNEL_HTTPLIB_DIR="${VARNEL_HTTPLIB_DIR:-}" \
    -DVARNEL_JSON_DIR="${VARNEL_JSON_DIR:-}" >/dev/null
cmake --build build/fuzz
mkdir -p build/fuzz/findings

# Longer inputs only meet what is known of the HTTP library: its regular expressions overflow the
# stack.
fuzz() {
    local target=${1#Fuzz} new
    new=$(mktemp -d)
    trap 'rm -rf "$new"' EXIT
    if ! "build/fuzz/$1" "$2" -max_len=4096 -artifact_prefix="build/fuzz/findings/$target-" "$new" \
        "fuzz/corpus/$target" >"build/fuzz/$1.log" 2>&1; then
        tail -n 40 "build/fuzz/$1.log"
        return 1
    fi
    echo "$target: $(tail -n 1 "build/fuzz/$1.log")"
}
export -f fuzz
basename -s .cpp -a fuzz/Fuzz*.cpp |
    xargs -P "$(nproc)" -I TARGET bash -c 'fuzz "$@"' - TARGET "${1:--max_total_time=30}"
