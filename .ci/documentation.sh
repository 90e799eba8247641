#!/usr/bin/env bash
# Compiles, configures, parses or runs every code block in README.md, docs/ and the other documents.
# Compares the documents with the code: operations, settings, files, links, what a header includes.
#
#   ```cpp    a program, or statements with a `connector` in reach: compiled and linked with both libraries
#   ```cmake  lines of a project that has the target my-application: configured
#   ```json   parsed; in docs/CONFIGURATION.md read as a configuration file
#   ```sh     run in an empty directory, with this clone as "varnelbase" beside it
#   ```text   anything else: output, pictures
#
# A line `<!-- not run: REASON -->` above a ```sh block has it parsed alone. The commands of documents
# about a program are run by that program's tests, which must name the document.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$PWD/build/documentation
rm -rf "$work"
mkdir -p "$work"/{blocks,home,project/third_party}
ln -s "$PWD" "$work/project/third_party/varnelbase"

declare -A testedBy=([docs/CLI.md]=tests/cli/examples.sh [docs/STUDIES.md]=tests/cli/examples.sh [docs/EMULATOR.md]=tests/emulator/program.sh)

fail() {
    echo "$1" >&2
    exit 1
}

# Library and programs that the blocks use.
cmake --preset release -DVARNEL_HTTPLIB_DIR="${VARNEL_HTTPLIB_DIR:-}" \
    -DVARNEL_JSON_DIR="${VARNEL_JSON_DIR:-}" -DCMAKE_INSTALL_LIBDIR=lib >"$work/build.log"
cmake --build --preset release >>"$work/build.log" || fail "the build failed, see $work/build.log"
cmake --install build/release --prefix "$work/prefix" >>"$work/build.log"
export PKG_CONFIG_PATH=$work/prefix/lib/pkgconfig
read -ra flags <<<"$(pkg-config --cflags --libs varnelbase-study varnelbase-client)"
flags+=("-Wl,-rpath,$work/prefix/lib")

for document in *.md docs/*.md; do
    .ci/documentation/cut-blocks.py "$document" "$work/blocks" "${testedBy[$document]:-}"
done

check_cpp() {
    if ! grep -q 'int main(' "$1"; then
        local includes
        includes=$(grep '^#include' "$1" || true)
        { echo "#include <ApiConnector.h>"; echo "#include <ServiceClient.h>"; echo "#include <iostream>"; echo "$includes"
          echo "void Use([[maybe_unused]] VarnelBase::ApiConnector& connector) {"
          grep -v '^#include' "$1"
          echo "}"; echo "int main() {}"; } >"$1.cpp"
    else
        cp "$1" "$1.cpp"
    fi
    g++ -std=c++17 "$1.cpp" -o "$1.program" "${flags[@]}"
}

check_cmake() {
    echo 'int main() {}' >"$work/project/main.cpp"
    { echo "cmake_minimum_required(VERSION 3.24)"; echo "project(Block LANGUAGES CXX)"
      grep -q 'add_executable(my-application' "$1" || echo "add_executable(my-application main.cpp)"
      cat "$1"; } >"$work/project/CMakeLists.txt"
    rm -rf "$work/configured"
    cmake -S "$work/project" -B "$work/configured" -DCMAKE_PREFIX_PATH="$work/prefix" \
        -DVARNEL_HTTPLIB_DIR="${VARNEL_HTTPLIB_DIR:-}" -DVARNEL_JSON_DIR="${VARNEL_JSON_DIR:-}"
}

# The file is read by the library itself, for which the settings must be right as well.
check_json() {
    case $1 in
    *docs_CONFIGURATION.md:*)
        chmod 600 "$1"
        env -i HOME="$work/home" VARNEL_CONFIG="$1" VARNEL_OFFLINE=1 "$work/reader"
        ;;
    *) jq --exit-status . "$1" ;;
    esac
}
g++ -std=c++17 -x c++ - -o "$work/reader" "${flags[@]}" <<'END'
#include <ApiConnector.h>
int main() { VarnelBase::ApiConnector connector; }
END

check_sh() {
    bash -n "$1"
    if [ -e "$1.skip" ]; then return; fi
    local directory=$1.directory
    mkdir "$directory"
    ln -s "$PWD" "$directory/varnelbase"
    (cd "$directory" && env -i HOME="$work/home" PATH="$work/prefix/bin:$PATH" LD_LIBRARY_PATH="$work/prefix/lib" \
        PKG_CONFIG_PATH="$PKG_CONFIG_PATH" bash -euo pipefail "$1")
}

for block in "$work"/blocks/*.{cpp,cmake,json,sh}; do
    [ -e "$block" ] || continue
    echo "$(basename "$block")$([ ! -e "$block.skip" ] || echo " (parsed alone)")"
    "check_${block##*.}" "$block" >"$block.log" 2>&1 </dev/null || { cat "$block.log"; fail "the block fails: $block"; }
done

docs/operations.py --check
.ci/documentation/check-settings.py
.ci/documentation/check-references.py

# Headers that the documents say can be included without an HTTP library.
for header in EnvConfig.h LoginGuide.h TokenStore.h ServiceClient.h Runner.h; do
    if echo "#include <$header>" | g++ -std=c++17 -x c++ -M - "${flags[@]}" | grep -E 'httplib|curl/'; then
        fail "$header includes an HTTP library"
    fi
done
echo "documentation: blocks, references and tables agree with the code"
