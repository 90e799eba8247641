#!/usr/bin/env bash
# Runs ./demo and ./test in new minimal installations of Debian, as root and as a user with sudo, and prints
# a table of what came out. Needs root and takes about 30 minutes.
#
#   systems.sh [SUITE:USER...]      USER: root or user
set -euo pipefail
cd "$(dirname "$0")/.."

[[ $# -gt 0 ]] || set -- bookworm:root bookworm:user trixie:root trixie:user sid:root
logs=$PWD/build/systems
mkdir -p "$logs"
failed=0
format='%-10s %-5s %-9s %-9s %-12s %-6s %s\n'
printf "$format" suite user g++ CMake cpp-httplib demo test
for system in "$@"; do
    log=$logs/$system.log
    if ! { echo "who=${system#*:}"; cat; } <<'END' | .ci/in-new-debian.sh "${system%:*}" >"$log" 2>&1; then failed=1; fi
home=/root
if [[ $who == user ]]; then
    { apt-get update && apt-get install --yes sudo && useradd --create-home user; } >/log 2>&1 || { cat /log; exit 1; }
    echo 'user ALL=(ALL:ALL) NOPASSWD: ALL' >/etc/sudoers.d/user
    home=/home/user
fi
cp -r /varnelbase "$home/varnelbase"
chown -R "$who" "$home/varnelbase"
run() { su "$who" -c "cd $home/varnelbase && $1"; }

demo=ok
test=ok
run ./demo || demo=FAILED
run ./test >/test.log 2>&1 || test=FAILED
cat /test.log
count=$(grep -E 'tests passed' /test.log || true)
skipped=$(grep -c 'Skipped   ' /test.log || true)
version() { dpkg-query -W -f '${Version}' "$1" | sed 's/^[0-9]*://; s/[+-].*//'; }
printf 'RESULT %s %s %s %s %s, %s, %s skipped\n' "$(version g++)" "$(version cmake)" \
    "$(version libcpp-httplib-dev)" "$demo" "$test" "${count:-no tests}" "$skipped"
[[ $demo == ok && $test == ok ]]
END
    read -r compiler cmake httplib demo test < <(sed -n 's/^RESULT //p' "$log") || demo="not reached, see $log"
    printf "$format" "${system%:*}" "${system#*:}" "${compiler:-}" "${cmake:-}" "${httplib:-}" "$demo" "${test:-}"
done
[[ $failed -eq 0 ]] || echo "What failed is in $logs." >&2
exit "$failed"
