#!/usr/bin/env bash
# Installs what is missing, configures a preset and builds it. Whatever is in the way gets a sentence that
# says what to do; nothing is installed or built then.
#
#   build-preset.sh PRESET "LIST..." [TARGET...]     each LIST is a file in .ci/packages
set -euo pipefail
trap 'exit 130' INT # CMake catches Ctrl-C and would count as failed
cd -P "$(dirname "$0")/.."
preset=$1
read -ra lists <<<"$2"
shift 2
folder=build/$preset

fail() {
    printf '%s\n' "$1" >&2
    exit 1
}

me=$(id -un)
for place in "$PWD" "$PWD/build" "$PWD/$folder"; do
    [[ -e $place ]] || continue
    owner=$(stat -c %U "$place")
    [[ $place == "$PWD" || -O $place ]] ||
        fail "$place belongs to $owner, not to $me: remove it, as $owner (rm -r $place), then try again."
    [[ -w $place ]] || fail "$me cannot write to $place: copy this clone to a place of your own and build there."
done
if [[ -e $folder/CMakeCache.txt ]]; then
    source=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$folder/CMakeCache.txt")
    [[ $source -ef . ]] ||
        fail "$PWD/$folder was made for the clone in ${source:-another place}: remove it (rm -r $PWD/$folder), then try again."
fi

.ci/install-packages.sh "${lists[@]}"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
cmake --preset "$preset" >"$log" 2>&1 || {
    cat "$log" >&2
    fail "CMake ($(command -v cmake)) could not configure $PWD/$folder, for the reason above. If it does not help to mend
that, remove the folder (rm -r $PWD/$folder) and try again."
}
cmake --build --preset "$preset" ${1:+--target} "$@" ||
    fail "Building $PWD/$folder failed, for the reason above; what was built so far is kept for the next try."
