#!/usr/bin/env bash
# Each fuzz target takes its corpus and then inputs of its own without a finding, for 30 s or as an
# option of libFuzzer says. Findings are left in build/fuzz.
#
#   fuzz.sh [-runs=N | -max_total_time=SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."

cmake -S fuzz -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
    -DVARNEL_HTTPLIB_DIR="${VARNEL_HTTPLIB_DIR:-}" -DVARNEL_JSON_DIR="${VARNEL_JSON_DIR:-}" >/dev/null
cmake --build build/fuzz

# fuzz TARGET OPTION
fuzz() {
    export FUZZ_TARGET=$1 HOME
    HOME=$(mktemp -d -p /dev/shm)
    mkdir "$HOME/new"
    umask 077
    local status=0
    # Longer status lines only meet the HTTP library's regular expressions, which overflow the stack.
    build/fuzz/fuzz-targets "$2" -max_len=4096 -artifact_prefix="build/fuzz/$1-" "$HOME/new" \
        "fuzz/corpus/$1" >"build/fuzz/$1.log" 2>&1 || status=$?
    rm -rf "$HOME"
    if [[ $status -ne 0 ]]; then tail -n 40 "build/fuzz/$1.log"; fi
    echo "$1: $(tail -n 1 "build/fuzz/$1.log")"
    return "$status"
}
export -f fuzz
find fuzz/corpus -mindepth 1 -type d -printf '%f\n' |
    xargs -P "$(nproc)" -I TARGET bash -c 'fuzz "$@"' - TARGET "${1:--max_total_time=30}"
