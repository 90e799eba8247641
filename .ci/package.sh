#!/usr/bin/env bash
# Makes the archives and uses each of them from a place of its own: the binary archive compiles and runs a host, the
# source archive configures and builds the library.
set -euo pipefail
cd "$(dirname "$0")/.."

source=$PWD
work=$source/build/package
build=$source/build/package-release # as deep as the other builds, for the compiler cache
rm -rf "$work" "$build"
mkdir -p "$work"/{tgz,source,home}

httplib=-DVARNEL_HTTPLIB_DIR=${VARNEL_HTTPLIB_DIR:-}
json=-DVARNEL_JSON_DIR=${VARNEL_JSON_DIR:-}
cmake --preset release -B "$build" -DCMAKE_INSTALL_PREFIX=/usr "$httplib" "$json"
cmake --build "$build"
(cd "$work" && cpack --config "$build/CPackConfig.cmake" && cpack --config "$build/CPackSourceConfig.cmake")

tar -xzf "$(ls "$work"/varnelbase-*-Linux.tar.gz)" -C "$work/tgz" --strip-components=1
tar -xzf "$(ls "$work"/varnelbase-*-Source.tar.gz)" -C "$work/source" --strip-components=1

pkgconfig=$(dirname "$(find "$work/tgz" -name varnelbase.pc)")
read -ra flags <<<"$(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs varnelbase)"
g++ -std=c++17 tests/packaging/host.cpp -o "$work/host" "${flags[@]}"
env -i HOME="$work/home" LD_LIBRARY_PATH="$(dirname "$pkgconfig")" "$work/host"
env -i HOME="$work/home" "$work/tgz/bin/varnel-emulator" --help >"$work/help"

cmake -S tests/packaging -B "$work/emulator-host" -G Ninja -DWAY=package \
    "-DVarnelBase_ROOT=$work/tgz" "$httplib" "$json"
cmake --build "$work/emulator-host"
env -i HOME="$work/home" "$work/emulator-host/emulator_host"

cmake -S "$work/source" -B "$work/from-source" -G Ninja "$httplib" "$json" -DVARNELBASE_BUILD_EMULATOR=OFF -DVARNELBASE_BUILD_CLI=OFF \
    -DVARNELBASE_BUILD_EXAMPLES=OFF -DVARNELBASE_BUILD_TESTS=OFF
cmake --build "$work/from-source"
echo "package: all of them work"
