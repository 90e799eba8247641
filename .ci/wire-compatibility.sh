#!/usr/bin/env bash
# Compares what goes over the wire, and what becomes of odd answers, with what is noted, for each release
# of cpp-httplib whose directory (that holds httplib.h) is given; without one, for $VARNEL_HTTPLIB_DIR or
# Debian's package.
#
#     .ci/wire-compatibility.sh [DIRECTORY]...
#
# CXX is the compiler.
set -euo pipefail
cd "$(dirname "$0")/.."

work=build/wire
rm -rf "$work"
mkdir -p "$work/home"
if [ $# = 0 ]; then set -- "${VARNEL_HTTPLIB_DIR:-debian}"; fi
printf '#include "%s"\n' "$PWD"/src/*.cpp "$PWD/tests/wire/wire_capture.cpp" >"$work/all.cpp"

# Prints a row of the table; the exit status says whether all of it is as noted.
check() {
    local release flavour=plain flags
    if [ "$1" = debian ]; then
        flavour="split"
        release=$(pkg-config --modversion cpp-httplib)
        read -ra flags <<<"$(pkg-config --cflags --libs cpp-httplib)"
    else
        release=$(sed -n 's/^#define CPPHTTPLIB_VERSION "\(.*\)"/\1/p' "$1/httplib.h")
        flags=("-isystem$1" -DCPPHTTPLIB_OPENSSL_SUPPORT -DCPPHTTPLIB_USE_POLL
            -DCPPHTTPLIB_HEADER_MAX_COUNT=1000000)
    fi
    local capture=$work/$release-$flavour
    ${CXX:-g++} -std=c++17 -Isrc ${VARNEL_JSON_DIR:+"-isystem$VARNEL_JSON_DIR"} "$work/all.cpp" -o "$capture" \
        "${flags[@]}" -lssl -lcrypto -pthread &&
        env -i HOME="$PWD/$work/home" "$capture" >"$capture.txt"
    local verdict isNoted=0
    verdict=$(tests/wire/compare.sh "$release" $flavour <"$capture.txt") || isNoted=1
    printf '%-8s %-6s %s\n' "$release" $flavour "$verdict"
    return $isNoted
}

jobs=()
status=0
for directory in "$@"; do
    if [ ${#jobs[@]} -ge "$(nproc)" ]; then
        wait "${jobs[0]}" || status=1
        jobs=("${jobs[@]:1}")
    fi
    check "$directory" &
    jobs+=($!)
done
for job in "${jobs[@]}"; do wait "$job" || status=1; done
exit $status
