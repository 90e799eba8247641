#!/usr/bin/env bash
# Completes command lines with the script that varnel prints for bash: by its function, and as
# somebody types them.
set -euo pipefail
cd "$(mktemp -d)"
trap 'rm -r "$PWD"' EXIT
PATH=$(dirname "$VARNEL"):$(dirname "$VARNEL_EMULATOR"):$PATH
export HOME=$PWD XDG_CACHE_HOME=$PWD/cache
mkdir 'a dir'
touch 'one file.har'
source <(varnel completion bash)
failed=0

complain() {
    printf '%s\n  offers   %s\n  expected %s\n' "$@"
    failed=1
}

# expect LINE COMPLETIONS: what is offered for the last word of the line, which may be empty.
expect() {
    read -ra COMP_WORDS <<<"$1"
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _varnel
    [[ "${COMPREPLY[*]}" == "$2" ]] || complain "$1" "${COMPREPLY[*]}" "$2"
}

# expect_typed LINE WORDS: the words that the line has when it is typed and ended by Tab and Enter.
expect_typed() {
    local typed shown
    typed='PS1=; source <(varnel completion bash)
varnel() { if [[ $1 == complete ]]; then command varnel "$@"; else printf "<%s>" "" "$@"; fi; }
'$1$'\t\nexit\n'
    shown=$(script -qec 'bash --norc -i' /dev/null <<<"$typed" | grep -ao '<><.*>' || true)
    [[ $shown == "<>$2" ]] || complain "$1" "$shown" "<>$2"
}

expect 'varnel sim' 'simulation'
expect 'varnel simulation ' 'list show delete inputs'
expect 'varnel simulation inputs ' 'get set'
expect 'varnel --environment local user s' 'show set-role'
expect 'varnel simulation list --l' '--limit'
expect 'varnel version -o j' 'json jsonl'
expect 'varnel user list --limit ' ''
expect 'varnel completion ' 'bash zsh fish'
expect 'varnel config set apiP' 'apiPort'
expect 'varnel help simulation inputs ' 'get set'
expect 'varnel trace -- compge' 'compgen'
expect 'varnel man' ''
expect 'varnel --offline simulation show ' '' # nobody answers
expect_typed 'varnel trace --to one' '<trace><--to><one file.har>'
expect_typed 'varnel agent send --data @one' '<agent><send><--data><@one>' # has no such option
expect_typed 'varnel execution start x --data @one' '<execution><start><x><--data><@one file.har>'
expect_typed 'varnel project generate -O a' '<project><generate><-O><a dir/>'

# Identifiers come from the service, and for a minute from what it said last.
export -f expect complain _varnel
varnel-emulator exec -- bash -c '
    failed=0
    expect "varnel simulation show sim-b" "sim-bridge"
    expect "varnel execution watch sim-bridge " "exe-1 exe-2"
    expect "varnel user delete --yes usr-" "usr-1 usr-2"
    export VARNEL_API_PORT=1 VARNEL_TOKEN=
    expect "varnel simulation show sim-b" ""
    exit $failed' || failed=1
[[ $(find cache -name 'identifiers-*' | wc -l) -eq 3 ]] || complain cache "$(find cache)" '3 files'
exit $failed
