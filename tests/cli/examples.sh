#!/usr/bin/env bash
# Runs every example of the help texts, as the manual page has them, and every block of docs/CLI.md
# that is marked "sh", each against a new emulator in a new directory.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
PATH=$(dirname "$VARNEL"):$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_STATE_HOME=$work/state
count=0
failed=0

run_example() {
    local directory=$work/$((++count))
    mkdir "$directory"
    echo '{"name": "bridge"}' >"$directory/request.json"
    if ! (cd "$directory" && "$VARNEL_EMULATOR" --speed 1000 exec -- bash -euo pipefail -c "$1") \
        >"$directory/log" 2>&1 </dev/null; then
        printf 'fails: %s\n' "$1"
        cat "$directory/log"
        failed=1
    fi
}

# Examples stand between .EX and .EE, one a line.
while read -r line; do
    line=${line//\\-/-}
    line=${line//\\(aq/\'}
    run_example "${line//\\e/\\}"
done < <("$VARNEL" man-page | sed -n '/^\.EX/,/^\.EE/{/^\.E[XE]/d;p}')
helped=$count

block=
while IFS= read -r line; do
    if [[ $line == '```' && -n $block ]]; then
        run_example "$block"
        block=
    elif [[ $line == '```sh' ]]; then
        block=$'\n'
    elif [[ -n $block ]]; then
        block+=$line$'\n'
    fi
done <"$root/docs/CLI.md"

echo "$helped examples in help texts, $((count - helped)) in docs/CLI.md"
[[ $helped -gt 0 && $count -gt $helped && $failed -eq 0 ]]
