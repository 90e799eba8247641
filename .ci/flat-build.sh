#!/usr/bin/env bash
# Compiles the library's sources with the flags of the three dependencies and nothing else, and links
# a program with the objects.
set -euo pipefail
cd "$(dirname "$0")/.."

work=build/flat
rm -rf "$work"
mkdir -p "$work/home"
if [ -n "${VARNEL_HTTPLIB_DIR:-}" ]; then
    flags="-isystem $VARNEL_HTTPLIB_DIR -DCPPHTTPLIB_OPENSSL_SUPPORT -DCPPHTTPLIB_USE_POLL"
    flags+=" -DCPPHTTPLIB_HEADER_MAX_COUNT=1000000"
    libraries=""
else
    flags=$(pkg-config --cflags cpp-httplib)
    libraries=$(pkg-config --libs cpp-httplib)
fi
flags+=" ${VARNEL_JSON_DIR:+-isystem $VARNEL_JSON_DIR}"

sources=("$PWD"/src/*.cpp)
(cd "$work" && g++ -std=c++17 -c "${sources[@]}" $flags)
g++ -std=c++17 -Isrc $flags tests/packaging/host.cpp "$work"/*.o -o "$work/host" $libraries -lssl -lcrypto -pthread
env -i HOME="$PWD/$work/home" "$work/host"
echo "flat-build: works"
