#!/usr/bin/env bash
# Installs those of the named Debian packages that are missing and says so before it does. Where it
# can't, it prints the line to run and exits with status 1.
#
#   install-packages.sh LIST...     each LIST is a file in .ci/packages, one package a line
set -euo pipefail
cd "$(dirname "$0")/packages"

missing=()
while read -r package; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ $status == installed ]] || missing+=("$package")
done < <(sort -u "$@")
[[ ${#missing[@]} -gt 0 ]] || exit 0

as_root=()
[[ $(id -u) -eq 0 ]] || ! command -v sudo >/dev/null || as_root=(sudo)
update=("${as_root[@]}" apt-get update)
install=("${as_root[@]}" apt-get install --yes --no-install-recommends "${missing[@]}")

give_up() {
    echo "$1 Run this line, then try again:" >&2
    echo "    ${update[*]} && ${install[*]}" >&2
    exit 1
}

command -v apt-get >/dev/null || give_up "Debian's packages can't be installed here: no apt-get."
[[ $(id -u) -eq 0 || ${#as_root[@]} -gt 0 ]] || give_up "Only root can install packages: become root."

echo "Installing Debian packages: ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
export DEBIAN_FRONTEND=noninteractive
if ! "${update[@]}" >"$log" 2>&1 || ! "${install[@]}" >>"$log" 2>&1; then
    tail -n 5 "$log" >&2
    give_up "The packages could not be installed."
fi
