# shellcheck shell=bash disable=SC2034,SC2154 # what it shares with whoever sources it
# For tests of programs to source: a directory of the test's own, nobody's settings, and emulators that are
# the program `emulator`.
set -euo pipefail
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
unset XDG_CONFIG_HOME XDG_STATE_HOME "${!VARNEL_@}"
export HOME=$work
cd "$work"

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# start [ARGUMENT]...: an emulator, whose address is then in `url` and whose process is `pid`; what else it prints
# comes from descriptor 5
start() {
    rm -f first-line && mkfifo first-line
    "$emulator" "$@" >first-line 2>errors & pid=$!
    exec 5<first-line
    read -r url <&5 || fail "the emulator does not start: $(cat errors)"
}
