#!/usr/bin/env bash
# Compares what goes over the wire with the noted bytes, for each release of cpp-httplib whose
# directory (that holds httplib.h) is given; without one, for $VARNEL_HTTPLIB_DIR or Debian's package.
#
#     .ci/wire-compatibility.sh [--note] [DIRECTORY]...
#
# With --note, what the release does is noted. CXX is the compiler.
set -euo pipefail
cd "$(dirname "$0")/.."

noted=tests/wire/wire.expected
work=build/wire
mkdir -p "$work/home"
isNoting=no
if [ "${1:-}" = --note ]; then isNoting=yes; shift; fi
if [ $# = 0 ]; then set -- "${VARNEL_HTTPLIB_DIR:-debian}"; fi
json=()
if [ -n "${VARNEL_JSON_DIR:-}" ]; then json=("-isystem$VARNEL_JSON_DIR"); fi

status=0
for directory in "$@"; do
    if [ "$directory" = debian ]; then
        read -ra flags <<<"$(pkg-config --cflags --libs cpp-httplib)"
        release=$(pkg-config --modversion cpp-httplib)-debian
    else
        flags=("-isystem$directory" -DCPPHTTPLIB_OPENSSL_SUPPORT)
        release=$(sed -n 's/^#define CPPHTTPLIB_VERSION "\(.*\)"/\1/p' "$directory/httplib.h")
    fi
    objects=$work/$release
    rm -rf "$objects"
    mkdir "$objects"
    for source in src/*.cpp tests/wire/wire_capture.cpp; do
        ${CXX:-g++} -std=c++17 -Isrc "${json[@]}" "${flags[@]}" -c "$source" -o "$objects/$(basename "$source").o" &
        if [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; then wait -n; fi
    done
    wait
    ${CXX:-g++} "$objects"/*.o -o "$work/capture" "${flags[@]}" -lssl -lcrypto -pthread
    env -i HOME="$PWD/$work/home" "$work/capture" >"$work/$release.txt"
    if [ $isNoting = yes ]; then cp "$work/$release.txt" "$noted"; fi
    if diff "$noted" "$work/$release.txt" >"$work/$release.diff"; then
        echo "$release: as noted"
    else
        echo "$release: differs from $noted"
        sed 's/^/    /' "$work/$release.diff"
        status=1
    fi
done
exit $status
