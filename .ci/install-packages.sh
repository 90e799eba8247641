#!/usr/bin/env bash
# Installs those of the named Debian packages that are missing, and says before what apt is going to
# change. Without root's rights it runs itself once more with sudo. Where it can't, it says why and ends
# with status 1; after Ctrl-C with 130, once the package manager has left nothing half installed.
#
#   install-packages.sh LIST...     each LIST is a file in .ci/packages: a package a line, and the oldest
#                                   version that will do, if there is one
set -euo pipefail
lists=("$@")
self=$PWD/$0
[[ $0 != /* ]] || self=$0
cd "$(dirname "$0")/packages"

declare -A oldest=()
missing=()
while read -r package version; do
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Version}\n' "$package" 2>/dev/null | sed -n 's/^installed //p;q' || true)
    if [[ -z $installed ]] || { [[ -n $version ]] && dpkg --compare-versions "$installed" lt "$version"; }; then
        missing+=("$package")
        oldest[$package]=$version
    fi
done < <(sort -u "${lists[@]}")
[[ ${#missing[@]} -gt 0 ]] || exit 0

# 2: sudo itself ends with 1 where it refuses.
give_up() {
    printf '%s\n' "$@" >&2
    if [[ -n ${SUDO_USER:-} && $(id -u) -eq 0 ]]; then exit 2; fi
    exit 1
}
byHand=("When that is mended, try again, or install the packages by hand, as root:"
    "    apt-get update && apt-get install --no-install-recommends ${missing[*]}")

command -v apt-get >/dev/null ||
    give_up "These Debian packages are needed, and there is no apt-get here to install them: ${missing[*]}." \
        "Install what your system has in their place, then build with CMake (docs/INSTALL.md)."

if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null ||
        give_up "Packages are missing, which only root can install, and there is no sudo. As root, run:" "${byHand[1]}"
    echo "Packages are missing: asking sudo for the right to install them."
    status=0
    sudo "$self" "${lists[@]}" || status=$?
    case $status in
    0) exit 0 ;;
    1) give_up "sudo does not let $(id -un) install packages, for the reason above. As root, run:" "${byHand[1]}" ;;
    130) exit 130 ;;
    *) exit 1 ;;
    esac
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
interrupted=
apt=
trap 'interrupted=1; [[ -z $apt ]] || kill -INT "$apt" 2>/dev/null || true' INT

# Ctrl-C reaches this script, which passes it on to apt alone: dpkg and the packages' scripts finish.
run_apt() {
    local status=0
    set -m
    LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get "$@" >"$log" 2>&1 </dev/null &
    apt=$!
    set +m
    while true; do
        status=0
        wait "$apt" || status=$?
        kill -0 "$apt" 2>/dev/null || break
    done
    apt=
    if [[ -n $interrupted ]]; then
        echo "Interrupted: apt has stopped, and nothing is half installed." >&2
        exit 130
    fi
    return "$status"
}

# What apt said of the failure, before our own words.
show_reason() {
    grep -E '^(E|W|Err):?' "$log" >&2 || tail -n 5 "$log" >&2
}

run_apt update -o APT::Update::Error-Mode=any || {
    show_reason
    give_up "apt could not fetch the lists of packages, for the reason above: is there a network, and are the" \
        "addresses in /etc/apt/sources.list and /etc/apt/sources.list.d right?" "${byHand[@]}"
}

unknown=()
tooOld=()
for package in "${missing[@]}"; do
    # A name that apt does not know counts as a pattern, which others may match.
    candidate=$(LC_ALL=C apt-cache policy "$package" |
        awk -v header="$package:" '/^[^ ]/ { isIt = $0 == header } isIt && /Candidate:/ { print $2 }')
    if [[ -z $candidate || $candidate == "(none)" ]]; then
        unknown+=("$package")
    elif [[ -n ${oldest[$package]} ]] && dpkg --compare-versions "$candidate" lt "${oldest[$package]}"; then
        tooOld+=("$package $candidate instead of ${oldest[$package]}")
    fi
done
if [[ ${#tooOld[@]} -gt 0 ]]; then
    printf -v reasons '%s, ' "${tooOld[@]}"
    give_up "This system is too old, so nothing was installed: it has ${reasons%, }. Debian 12 and later will do."
fi
[[ ${#unknown[@]} -eq 0 ]] ||
    give_up "apt's sources have no package ${unknown[*]}, so nothing was installed: do they name all of Debian's \"main\"?"

install=(install --no-install-recommends --no-remove "${missing[@]}")
run_apt --assume-no "${install[@]}" || true
grep -q 'newly installed' "$log" || {
    show_reason
    give_up "apt finds no way to install the packages, for the reason above; nothing was changed." "${byHand[@]}"
}
echo "Installing Debian packages: ${missing[*]}"
sed -n '/packages will be upgraded:$/,/^[^ ]/{/^The\|^ /p}; /newly installed/p; /^Need to get/p; /^After this/p' "$log" | sed 's/^/    apt: /'

run_apt --yes "${install[@]}" || {
    show_reason
    dpkg --audit >&2 || true
    give_up "apt could not install the packages, for the reason above." "${byHand[@]}"
}
