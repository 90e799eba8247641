#!/usr/bin/env bash
# Makes a release of the last commit: checks it, sets the version, dates the changelog, builds the source archive
# and the Debian packages twice, lists what went into them, compares the interface with the last release's, commits and
# tags. It works in clones: until everything has passed, this one stays as it is. Nothing is pushed.
#
#   release.sh VERSION [--dry-run]     --dry-run: neither .ci/run, which takes 40 minutes, nor commit and tag here
#
# The files of the release are in build/releases/VERSION afterwards. Takes about 15 minutes besides .ci/run.
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
    echo "release: $1" >&2
    exit 1
}

version=${1:-}
mode=${2:-}
[[ $# -le 2 && $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ && ( -z $mode || $mode == --dry-run ) ]] ||
    fail "pass a version such as 1.2.0, and --dry-run to change nothing here"
last=$({ git describe --tags --abbrev=0 --match 'v*' 2>/dev/null || true; } | cut -c 2-)
[[ $(printf '%s\n' "$last" "$version" | sort -V | tail -n 1) != "$last" ]] ||
    fail "$version is not newer than the last release, $last"
[[ -z $(git status --porcelain) ]] || fail "some changes are not committed: commit or remove them"
[[ -n $(sed -n '/^## Unreleased$/,/^## [0-9]/{/^- /p}' CHANGELOG.md) ]] || fail "CHANGELOG.md has nothing under Unreleased"
.ci/install-packages.sh build debian release

source=$PWD
target=$source/build/releases/$version
rm -rf "$target"
mkdir -p "$target"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "== version and changelogs"
git clone --quiet . "$work/varnelbase"
cd "$work/varnelbase"
git config user.name "$(git -C "$source" config user.name)"
git config user.email "$(git -C "$source" config user.email)"
sed -i "s/^\(project(VarnelBase VERSION\) [0-9.]*/\1 $version/" CMakeLists.txt
sed -i "s/^## Unreleased$/&\n\n## $version, $(date -u +%F)/" CHANGELOG.md
cat - <(sed -n '/) unstable; /,$p' debian/changelog) >"$work/changelog" <<END
varnelbase ($version) unstable; urgency=medium

  * Release $version: see CHANGELOG.md.

 -- $(sed -n 's/^Maintainer: //p' debian/control)  $(date -uR)

END
mv "$work/changelog" debian/changelog
git commit --quiet --all --message "Release $version"
git tag --annotate "v$version" --message "VarnelBase $version"
git --no-pager show --stat --oneline

if [[ -z $mode ]]; then
    .ci/run
else
    echo "== .ci/run: left out, as this is a dry run"
fi

echo "== source archive and packages, built twice"
export CCACHE_DISABLE=1 # the second build compiles again
# build DIRECTORY: from a clone in a place of its own
build() {
    git clone --quiet --branch "v$version" . "$work/clone-of-$1" 2>"$work/log" || { cat "$work/log"; return 1; }
    mkdir "$work/$1"
    git archive --prefix="varnelbase-$version/" "v$version" | gzip -n9 >"$work/$1/varnelbase-$version.tar.gz"
    "$work/clone-of-$1/.ci/debian.sh" "$work/$1/packages"
    mv "$work/$1"/packages/*.{deb,spdx.json} "$work/$1"
}
build first
TZ=Pacific/Auckland LC_ALL=C build second
rm -r "$work/second/packages"
mv "$work/first/packages" "$work/packages"
diffoscope --exclude-directory-metadata=recursive "$work/first" "$work/second" || fail "two builds differ, as shown above"
echo "the bytes are the same"

echo "== bill of materials"
tools=$source/build/sbom-tools
[[ -x $tools/bin/pyspdxtools ]] || { python3 -m venv "$tools" && "$tools/bin/pip" install --quiet spdx-tools==0.8.5; }
"$tools/bin/pyspdxtools" --infile "$work/first/varnelbase-$version.spdx.json" --version SPDX-2.3
echo "valid: $(jq '.packages | length - 1' "$work/first/varnelbase-$version.spdx.json") packages were used"

echo "== interface"
# build_library TAG: with what abidiff reads
build_library() {
    git worktree add --quiet "$work/$1" "$1"
    cmake -S "$work/$1" -B "$work/$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_UNITY_BUILD=ON -DVARNELBASE_BUILD_TESTS=OFF >"$work/log"
    cmake --build "$work/$1/build" --target varnelbase >>"$work/log" || { cat "$work/log"; return 1; }
}
if [[ -z $last ]]; then
    echo "nothing to compare with: this is the first release"
else
    build_library "v$last"
    build_library "v$version"
    status=0
    abidiff --headers-dir1 "$work/v$last/src" --headers-dir2 "$work/v$version/src" \
        "$work/v$last/build/libvarnelbase.so" "$work/v$version/build/libvarnelbase.so" >"$work/first/interface.txt" || status=$?
    cat "$work/first/interface.txt"
    # Bits of abidiff's status: 1 and 2: it failed; 4: something changed; 8: programs that were linked before break.
    (((status & 3) == 0)) || fail "abidiff failed"
    (((status & 8) == 0)) || [[ ${version%%.*} != "${last%%.*}" ]] ||
        fail "programs linked with $last would break: fix that, or release $((${version%%.*} + 1)).0.0"
fi

(cd "$work/first" && sha256sum -- * >SHA256SUMS)
cp "$work"/first/* "$target"
if [[ -z $mode ]]; then
    cd "$source"
    git fetch --quiet "$work/varnelbase" "refs/tags/v$version:refs/tags/v$version"
    git merge --quiet --ff-only "v$version"
    echo "Committed and tagged; publish with: git push --follow-tags"
else
    echo "A dry run: nothing is committed or tagged here."
fi
echo "The release is in $target."
