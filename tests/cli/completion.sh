#!/usr/bin/env bash
# Completes command lines in this very bash with the script that varnel prints.
set -euo pipefail
cd "$(mktemp -d)"
trap 'rm -r "$PWD"' EXIT
touch 'a file.har'
source <("$VARNEL" completion bash)
failed=0

# expect LINE COMPLETIONS: what is offered for the last word of the line, which may be empty.
expect() {
    read -ra COMP_WORDS <<<"$1"
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    $(complete -p varnel | sed 's/.*-F \([^ ]*\).*/\1/') || true
    if [[ "${COMPREPLY[*]}" != "$2" ]]; then
        printf '%s\n  offers   %s\n  expected %s\n' "$1" "${COMPREPLY[*]}" "$2"
        failed=1
    fi
}

expect 'varnel sim' 'simulation'
expect 'varnel simulation ' 'list show delete inputs'
expect 'varnel simulation inputs ' 'get set'
expect 'varnel --environment local user s' 'show set-role'
expect 'varnel user show list ' ''
expect 'varnel simulation list --l' '--limit'
expect 'varnel version -o j' 'json jsonl'
expect 'varnel user list --limit ' ''
expect 'varnel completion ' 'bash zsh fish'
expect 'varnel trace --to a' 'a file.har'
expect 'varnel trace -- compge' 'compgen'
expect 'varnel man' ''
exit $failed
