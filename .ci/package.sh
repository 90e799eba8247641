#!/usr/bin/env bash
# Makes the packages and uses each of them from a place of its own: the Debian package and the binary
# archive compile and run a host, the source archive configures and builds the library.
set -euo pipefail
cd "$(dirname "$0")/.."

source=$PWD
work=$source/build/package
build=$source/build/package-release # as deep as the other builds, for the compiler cache
rm -rf "$work" "$build"
mkdir -p "$work"/{deb,tgz,source,home}

httplib=-DVARNEL_HTTPLIB_DIR=${VARNEL_HTTPLIB_DIR:-}
json=-DVARNEL_JSON_DIR=${VARNEL_JSON_DIR:-}
cmake --preset release -B "$build" -DCMAKE_INSTALL_PREFIX=/usr "$httplib" "$json"
cmake --build "$build"
(cd "$work" && cpack --config "$build/CPackConfig.cmake" && cpack --config "$build/CPackSourceConfig.cmake")

dpkg-deb --info "$work"/varnelbase_*.deb
dpkg-deb --contents "$work"/varnelbase_*.deb
dpkg-deb --extract "$work"/varnelbase_*.deb "$work/deb"
mkdir "$work/deb/moved"
mv "$work/deb/usr" "$work/deb/moved"
tar -xzf "$(ls "$work"/varnelbase-*-Linux.tar.gz)" -C "$work/tgz" --strip-components=1
tar -xzf "$(ls "$work"/varnelbase-*-Source.tar.gz)" -C "$work/source" --strip-components=1

# What the package says it needs must be what is installed here, or the hosts below prove nothing.
dpkg-deb --field "$work"/varnelbase_*.deb Depends | tr ',' '\n' | sed 's/^ *//' | while read -r name relation; do
    version=$(dpkg-query --show --showformat='${Version}' "$name")
    if [ -n "$relation" ]; then
        read -r operator bound <<<"$(tr -d '()' <<<"$relation")"
        dpkg --compare-versions "$version" "$operator" "$bound"
    fi
done

for prefix in "$work/deb/moved/usr" "$work/tgz"; do
    pkgconfig=$(dirname "$(find "$prefix" -name varnelbase.pc)")
    read -ra flags <<<"$(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs varnelbase)"
    g++ -std=c++17 tests/packaging/host.cpp -o "$prefix/host" "${flags[@]}"
    env -i HOME="$work/home" LD_LIBRARY_PATH="$(dirname "$pkgconfig")" "$prefix/host"
    env -i HOME="$work/home" "$prefix/bin/varnel-emulator" --help >"$work/help"
done

cmake -S tests/packaging -B "$work/emulator-host" -G Ninja -DWAY=package \
    "-DVarnelBase_ROOT=$work/tgz" "$httplib" "$json"
cmake --build "$work/emulator-host"
env -i HOME="$work/home" "$work/emulator-host/emulator_host"

cmake -S "$work/source" -B "$work/from-source" -G Ninja "$httplib" "$json" -DVARNELBASE_BUILD_EMULATOR=OFF -DVARNELBASE_BUILD_CLI=OFF \
    -DVARNELBASE_BUILD_EXAMPLES=OFF -DVARNELBASE_BUILD_TESTS=OFF
cmake --build "$work/from-source"
echo "package: all of them work"
