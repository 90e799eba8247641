#!/bin/sh
# Runs a test that needs a provider from Debian's packages: with-packages.sh FOLDER 'PACKAGE...' COMMAND...
# They are unpacked into the folder, with what they need, and not installed: as a service such a provider
# would listen on every address, with a password that everybody knows. Where they are not to be had
# the test is skipped (77), in automation (CI=true) it fails.
set -eu
folder=$1 packages=$2
shift 2
# shellcheck disable=SC2046,SC2086 # lists of words
unpack() (
    mkdir -p "$folder" && cd "$folder" &&
        apt-get download -qq $( (echo $packages && apt-get install --simulate --no-install-recommends $packages |
            awk '$1 == "Inst" { print $2 }') | tr ' ' '\n' | sort -u) &&
        for package in *.deb; do dpkg-deb --extract "$package" . && rm "$package" || return; done &&
        touch unpacked
)
if ! [ -e "$folder/unpacked" ] && ! unpack; then
    echo "skipped: these packages could not be fetched: $packages: apt-get update"
    if [ "${CI:-}" = true ]; then exit 1; fi
    exit 77
fi
export PACKAGES_ROOT="$folder"
exec "$@"
