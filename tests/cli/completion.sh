#!/usr/bin/env bash
# Completes command lines in bash, zsh and fish with the scripts that varnel prints for them.
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
    printf '%s: %s\n  offers   %s\n  expected %s\n' "$@"
    failed=1
}

# What bash, and what fish offers for the last word of a line, which may be empty.
offer_bash() {
    read -ra COMP_WORDS <<<"$1"
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _varnel
    echo "${COMPREPLY[*]}"
}
offer_fish() {
    fish --no-config -c 'varnel completion fish | source; complete -C $argv[1]' "$1" | cut -f 1 | sort
}

# expect LINE OFFERS: the same from both, in whatever order.
expect() {
    local shell offered
    for shell in bash fish; do
        offered=$(offer_$shell "$1" | tr ' ' '\n' | sort | paste -sd ' ')
        [[ $offered == "$2" ]] || complain $shell "$1" "$offered" "$2"
    done
}

# The last word of each line that is typed and ended by Tab and Enter, as the program would see it.
type_bash() {
    {
        echo 'PS1=; source <(varnel completion bash)'
        echo 'varnel() { if [[ $1 == complete ]]; then command varnel "$@"; else printf "<%s>" "" "$@"; echo; fi; }'
        printf '%s\t\n' "$@"
        echo exit
    } | script -qec 'bash --norc -i' /dev/null | grep -ao '<><.*>'
}
type_zsh() {
    zsh -f -c '
        zmodload zsh/zpty
        await() { shown=; while [[ $shown != *$1* ]] && zpty -r shell part; do shown+=$part; done }
        zpty shell zsh -f -i
        zpty -w shell "PS1=; autoload -Uz compinit; compinit -u -D; source <(varnel completion zsh)
            varnel() { [[ \$1 == complete ]] && command varnel \"\$@\" || print -r \"<><\${(j:><:)@}>\" }
            bindkey \"^I\" complete-word; print rea\"\"dy"
        await ready
        for line; do
            zpty -w -n shell "$line"$'\''\t\n'\''
            await "<>"
            print -r -- "$shown" | grep -ao "<><.*>"
        done' zsh "$@"
}
type_fish() {
    local line offered
    for line; do
        offered=$(offer_fish "$line")
        echo "<${offered:-${line##* }}>"
    done
}

expect 'varnel simulation ' 'delete inputs list show'
expect 'varnel simulation inputs ' 'get set'
expect 'varnel --environment local user s' 'set-role show'
expect 'varnel version -o j' 'json jsonl'
expect 'varnel user list --limit ' ''
expect 'varnel completion ' 'bash fish zsh'
expect 'varnel help simulation inputs ' 'get set'
expect 'varnel man' ''
expect 'varnel --offline simulation show ' '' # nobody answers

# Lines, and what each one's last word becomes in every shell.
declare -A completed=(
    ['varnel sim']='simulation'
    ['varnel simulation list --l']='--limit'
    ['varnel config set apiP']='apiPort'
    ['varnel trace --to one']='one file.har'
    ['varnel trace --to=one']='--to=one file.har'
    ['varnel user list --output=ta']='--output=table'
    ['varnel agent send --data @one']='@one' # has no such option
    ['varnel execution start x --data @one']='@one file.har'
    ['varnel execution start x --data @one\ f']='@one file.har'
    ['varnel execution start x --data @a']='@a dir/'
    ['varnel execution start x --data=@one']='--data=@one file.har'
    ['varnel execution start x --data=@a']='--data=@a dir/'
    ['varnel project generate -O a']='a dir/'
    ['varnel trace -- varnel-em']='varnel-emulator'
    ['varnel trace -- ls one']='one file.har'
)
for shell in bash zsh fish; do
    mapfile -t words < <(type_$shell "${!completed[@]}")
    i=0
    for line in "${!completed[@]}"; do
        word=${words[i++]:-}
        expected=${completed[$line]}
        [[ $shell != zsh ]] || expected=${expected%/} # it takes the slash back where the line ends
        [[ $word == *"<$expected>" ]] || complain $shell "$line" "$word" "<$expected>"
    done
done

# Identifiers come from the service, and for a minute from what it said last.
export -f expect complain _varnel offer_bash offer_fish
varnel-emulator exec -- bash -c '
    failed=0
    expect "varnel simulation show sim-b" "sim-bridge"
    expect "varnel execution watch sim-bridge " "exe-1 exe-2"
    expect "varnel user delete --yes usr-" "usr-1 usr-2"
    asked=$(curl -s "$VARNEL_EMULATOR_URL/_local/requests" | jq .total)
    [[ $asked -eq 3 ]] || complain service "each list twice" "$asked requests" "3 requests"
    export VARNEL_API_PORT=1 VARNEL_TOKEN=
    expect "varnel simulation show sim-b" ""
    exit $failed' || failed=1
[[ $(find cache -name 'identifiers-*' | wc -l) -eq 3 ]] || complain cache '' "$(find cache)" '3 files'
exit $failed
