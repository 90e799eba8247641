#!/usr/bin/env bash
# Builds and runs a host application that gets the library in each of the ways that are offered, and
# checks that wrong ways are refused. VARNEL_HTTPLIB_DIR and VARNEL_JSON_DIR choose plain headers.
set -euo pipefail
cd "$(dirname "$0")/.."

source=$PWD
host=$source/tests/packaging
work=$source/build/consumers
rm -rf "$work"
mkdir -p "$work/home"
work=$(cd "$work" && pwd -P)

httplib=-DVARNEL_HTTPLIB_DIR=${VARNEL_HTTPLIB_DIR:-}
json=-DVARNEL_JSON_DIR=${VARNEL_JSON_DIR:-}

fail() {
    echo "consumers: $1" >&2
    exit 1
}

# Runs a host without the settings of whoever runs this script.
run_host() {
    echo "runs: ${1#"$work"/}"
    env -i HOME="$work/home" LD_LIBRARY_PATH="${2:-}" "$1" >"$work/output" || fail "$1 failed"
}

# build_host NAME WAY [CMAKE ARGUMENT]...
build_host() {
    local name=$1 way=$2
    shift 2
    echo "== $name"
    cmake --no-warn-unused-cli -S "$host" -B "$work/$name" -G Ninja -DCMAKE_BUILD_TYPE=Release -DWAY="$way" \
        -DVARNELBASE_SOURCE="$source" "$@" >"$work/$name.log" || fail "configuring $name failed"
    cmake --build "$work/$name" >>"$work/$name.log" || { cat "$work/$name.log"; fail "$name failed"; }
    run_host "$work/$name/host"
    local other
    for other in client_host study_host host_with_own_httplib; do
        if [ -x "$work/$name/$other" ]; then run_host "$work/$name/$other"; fi
    done
}

# must_refuse WHAT PATTERN COMMAND...: the command fails, and one line tells the reason.
must_refuse() {
    local what=$1 pattern=$2
    shift 2
    echo "== refused: $what"
    if "$@" >"$work/refusal" 2>&1; then fail "$what was accepted"; fi
    if ! tr '\n' ' ' <"$work/refusal" | tr -s ' ' | grep -q "$pattern"; then
        cat "$work/refusal"
        fail "the refusal of $what does not say: $pattern"
    fi
}

# Installed, and then moved to another place.
for kind in shared static; do
    prefix=$work/$kind-prefix
    shared=$([ $kind = shared ] && echo ON || echo OFF)
    echo "== install $kind"
    build=$source/build/consumers-$kind # as deep as the other builds, for the compiler cache
    rm -rf "$build"
    cmake --preset release -B "$build" -DBUILD_SHARED_LIBS="$shared" \
        -DVARNELBASE_BUILD_EMULATOR=OFF -DVARNELBASE_BUILD_CLI=OFF -DVARNELBASE_BUILD_EXAMPLES=OFF \
        -DCMAKE_INSTALL_LIBDIR=lib "$httplib" "$json" >"$work/$kind.log"
    cmake --build "$build" >>"$work/$kind.log" || { cat "$work/$kind.log"; fail "$kind failed"; }
    cmake --install "$build" --prefix "$work/first-prefix" >>"$work/$kind.log"
    mv "$work/first-prefix" "$prefix"

    build_host "find_package-$kind" package "-DVarnelBase_ROOT=$prefix" "$httplib" "$json"

    echo "== pkg-config-$kind"
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
    read -ra flags <<<"$(pkg-config --cflags --libs varnelbase)"
    g++ -std=c++17 "$host/host.cpp" -o "$work/pkg-config-$kind" "${flags[@]}"
    run_host "$work/pkg-config-$kind" "$prefix/lib"
    read -ra clientFlags <<<"$(pkg-config --cflags --libs varnelbase-client)"
    g++ -std=c++17 "$host/client_host.cpp" -o "$work/pkg-config-client-$kind" "${clientFlags[@]}"
    run_host "$work/pkg-config-client-$kind" "$prefix/lib"
    read -ra studyFlags <<<"$(pkg-config --cflags --libs varnelbase-study)"
    g++ -std=c++17 "$host/study_host.cpp" -o "$work/pkg-config-study-$kind" "${studyFlags[@]}"
    run_host "$work/pkg-config-study-$kind" "$prefix/lib"
done

foreign=$(nm -D --defined-only -C "$work/shared-prefix/lib/libvarnelbase.so" |
    grep -Ev ' A VARNELBASE_| VarnelBase::(ApiConnector|AuthHandler|EnvConfig|GuidedLogin|TokenStore|LibraryBuiltWithAnother)::') || true
[ -z "$foreign" ] || fail "the shared library exports more than its public classes and the guard: $foreign"

build_host add_subdirectory subdirectory "$httplib" "$json"
build_host FetchContent fetch "$httplib" "$json"
build_host parent-with-httplib parent "-DOWN_HTTPLIB_DIR=${VARNEL_HTTPLIB_DIR:-}" "$json"
grep -q "VarnelBase uses cpp-httplib .* by target" "$work/parent-with-httplib.log" ||
    fail "the parent project's own httplib was not used"

# Headers of other releases and sizes than the library's, and other macros.
mkdir -p "$work/other-httplib" "$work/other-json/nlohmann" "$work/other-size/nlohmann"
sed 's/define CPPHTTPLIB_VERSION ".*"/define CPPHTTPLIB_VERSION "0.11.99"/' \
    "${VARNEL_HTTPLIB_DIR:-/usr/include}/httplib.h" \
    >"$work/other-httplib/httplib.h"
cat >"$work/other-json/nlohmann/json.hpp" <<'END'
#include_next <nlohmann/json.hpp>
#undef NLOHMANN_JSON_VERSION_PATCH
#define NLOHMANN_JSON_VERSION_PATCH 99
END
sed 's/^ *value_t m_type = value_t::null;/& long more[2] = {};/' \
    "${VARNEL_JSON_DIR:-/usr/include}/nlohmann/json.hpp" >"$work/other-size/nlohmann/json.hpp"
must_refuse "another cpp-httplib in find_package" "was built with cpp-httplib .* VARNEL_HTTPLIB_DIR" \
    cmake -S "$host" -B "$work/refused" -DWAY=package "-DVarnelBase_ROOT=$work/shared-prefix" \
    "-DVARNEL_HTTPLIB_DIR=$work/other-httplib"

# must_refuse_host WHAT PATTERN FLAG...: compiling or linking fails, with one line that tells the reason.
must_refuse_host() {
    local what=$1 pattern=$2
    shift 2
    must_refuse "$what" "$pattern" g++ -std=c++17 "${includes[@]}" "$host/host.cpp" "${flags[@]}" "$@" \
        -o "$work/refused-host"
    [ "$(grep -cE 'error: [^l]|undefined reference' "$work/refusal")" = 1 ] || {
        cat "$work/refusal"
        fail "$what gives more than one line"
    }
}
if [[ " ${flags[*]} " == *" -DCPPHTTPLIB_USE_POLL "* ]]; then otherPoll=-U; else otherPoll=-D; fi
for name in httplib json; do
    includes=(-I"$work/other-$name")
    must_refuse_host "another $name" "included here is of another release than the one"
done
includes=(-I"$work/other-size")
must_refuse_host "another size of json" "LibraryBuiltWithAnother::JsonDiagnosticsAndSize<0,"
includes=()
must_refuse_host "JSON_DIAGNOSTICS" "LibraryBuiltWithAnother::JsonDiagnosticsAndSize<1," -DJSON_DIAGNOSTICS=1
must_refuse_host "_GLIBCXX_DEBUG" "LibraryBuiltWithAnother::GlibcxxDebug<true>" -D_GLIBCXX_DEBUG
must_refuse_host "no CPPHTTPLIB_OPENSSL_SUPPORT" "needs CPPHTTPLIB_OPENSSL_SUPPORT" -UCPPHTTPLIB_OPENSSL_SUPPORT
must_refuse_host "another CPPHTTPLIB_USE_POLL" "LibraryBuiltWithAnother::UsePoll" ${otherPoll}CPPHTTPLIB_USE_POLL
must_refuse_host "another CPPHTTPLIB_HEADER_MAX_COUNT" "LibraryBuiltWithAnother::HeaderMaxCount" \
    -UCPPHTTPLIB_HEADER_MAX_COUNT -DCPPHTTPLIB_HEADER_MAX_COUNT=50

# The package managers' files know the parts that CMake builds.
for part in $(sed -n 's/^option(VARNELBASE_BUILD_\([A-Z]*\) .*PROJECT_IS_TOP_LEVEL.*/\1/p' CMakeLists.txt); do
    grep -q "[_\"]$part\"" conanfile.py || fail "conanfile.py neither offers nor leaves out VARNELBASE_BUILD_$part"
done
for feature in $(jq -r '.features | keys[]' vcpkg.json); do
    grep -q "^option(VARNELBASE_BUILD_${feature^^} " CMakeLists.txt || fail "vcpkg.json offers $feature, which CMake does not know"
done
echo "consumers: all of them run"
