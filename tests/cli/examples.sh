#!/usr/bin/env bash
# Runs every example of the help texts, as the manual page has them, and every block of docs/CLI.md and
# docs/STUDIES.md that is marked "sh", each against a new emulator in a new directory.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
PATH=$(dirname "$VARNEL"):$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_STATE_HOME=$work/state
count=0
failed=0

# What the examples of studies begin with: a study that is described, or has been run.
prepare_study() {
    local run='varnel study run bridge.study.json &&'
    [[ $1 != *'study points'* && $1 != *'study record'* ]] || run='varnel study points bridge.study.json >points &&'
    [[ $1 == *'study init'* ]] || cp "$root/examples/bridge.study.json" "$2"
    [[ $1 != *'study init'* && $1 != *'study plan'* ]] || run=
    printf '{"id": "exe-1", "state": "finished", "results": {"peak": 1}}' >"$2/execution.json"
    echo "$run"
}

run_example() {
    local directory=$work/$((++count))
    mkdir "$directory"
    echo '{"name": "bridge"}' >"$directory/request.json"
    local before=
    [[ $1 != *'varnel study'* ]] || before=$(prepare_study "$1" "$directory")
    if ! (cd "$directory" && "$VARNEL_EMULATOR" --speed 1000 exec -- bash -euo pipefail -c "$before $1") \
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
skip=
while IFS= read -r line; do
    if [[ $line == '```' && -n $block ]]; then
        [[ -n $skip ]] || run_example "$block"
        block=
        skip=
    elif [[ $line == '```sh' ]]; then
        block=$'\n'
    elif [[ -n $block ]]; then
        block+=$line$'\n'
    elif [[ $line == '<!-- not run: '* ]]; then
        skip=1
    fi
done < <(cat "$root/docs/CLI.md" "$root/docs/STUDIES.md")

echo "$helped examples in help texts, $((count - helped)) in docs/CLI.md and docs/STUDIES.md"
[[ $helped -gt 0 && $count -gt $helped && $failed -eq 0 ]]
