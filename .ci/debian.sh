#!/usr/bin/env bash
# Builds the Debian packages of the last commit from a copy in a new directory, has lintian read them, and uses
# what they contain: a host application is compiled and run, the programs answer. Writes what went into them beside
# them. Takes about 5 minutes.
#
#   debian.sh [DIRECTORY]     where the packages are kept; build/debian unless given
set -euo pipefail
cd "$(dirname "$0")/.."

target=${1:-build/debian}
rm -rf "$target"
mkdir -p "$target"
target=$(cd "$target" && pwd)
.ci/install-packages.sh build debian

fail() {
    echo "debian: $1" >&2
    exit 1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/varnelbase" "$work/home"
git archive HEAD | tar --extract --directory "$work/varnelbase"
version=$(sed -n 's/^project(VarnelBase VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
packaged=$(cd "$work/varnelbase" && dpkg-parsechangelog --show-field Version)
[[ $packaged == "$version" ]] || fail "debian/changelog has version $packaged, CMakeLists.txt $version: write an entry for $version"

(cd "$work/varnelbase" && dpkg-buildpackage --unsigned-source --unsigned-changes --build=binary) >"$target/build.log" 2>&1 ||
    { tail -n 40 "$target/build.log" >&2; fail "dpkg-buildpackage failed; all it wrote is in $target/build.log"; }
lintian --allow-root --fail-on error,warning "$work"/*.changes || fail "lintian found the above"

for package in "$work"/*.deb; do dpkg-deb --extract "$package" "$work/system"; done
libraries=$(dirname "$(find "$work/system" -name 'libvarnelbase.so')")
export PKG_CONFIG_PATH=$libraries/pkgconfig
for host in "host varnelbase" "client_host varnelbase-client"; do
    read -r source package <<<"$host"
    read -ra flags < <(pkg-config --cflags --libs "$package")
    g++ -std=c++17 "tests/packaging/$source.cpp" -o "$work/$source" "${flags[@]}"
    env -i HOME="$work/home" LD_LIBRARY_PATH="$libraries" "$work/$source"
done
{
    cmake -S tests/packaging -B "$work/emulator-host" -G Ninja -DWAY=package "-DVarnelBase_ROOT=$work/system/usr"
    cmake --build "$work/emulator-host" --target emulator_host
} >"$work/log" || { cat "$work/log"; fail "the CMake package does not work, for the reason above"; }
env -i HOME="$work/home" LD_LIBRARY_PATH="$libraries" "$work/emulator-host/emulator_host"
PATH=$work/system/usr/bin:$PATH HOME=$work/home varnel-emulator exec -- varnel simulation list >"$work/list"
grep -q sim-bridge "$work/list" || fail "varnel lists no simulation of varnel-emulator"

SOURCE_DATE_EPOCH=$(cd "$work/varnelbase" && dpkg-parsechangelog --show-field Timestamp) \
    .ci/sbom.py "$work"/varnelbase/obj-* "$version" >"$target/varnelbase-$version.spdx.json"
cp "$work"/*.deb "$work"/*.buildinfo "$work"/*.changes "$target"
for package in "$target"/*.deb; do dpkg-deb --show --showformat '${Package} ${Version} needs ${Depends}\n' "$package"; done
echo "debian: the packages in $target work"
