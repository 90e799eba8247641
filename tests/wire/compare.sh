#!/usr/bin/env bash
# Compares what wire-capture prints (standard input) with what is noted in wire.expected, and names the
# titles under which it differs as wire.exceptions allow this release, "split" or "plain".
#
#     wire-capture | compare.sh 0.18.7 split
set -euo pipefail
cd "$(dirname "$0")"

output=$(cat)
[ -n "$output" ] || { echo "nothing to compare"; exit 1; }

differing=$(awk '
    FNR == 1 { file++ }
    !/^ / { title = $0; titles[title] }
    { text[file, title] = text[file, title] "\n" $0 }
    END { for (title in titles) if (text[1, title] != text[2, title]) print title }
' wire.expected - <<<"$output" | sort)

allowed=$(sed '/^#/d' wire.exceptions | while read -r from to flavour title; do
    if printf '%s\n' "$from" "$1" "$to" | sort -CV && [[ $flavour == any || $flavour == "$2" ]]; then
        echo "$title"
    fi
done | sort)

surprises=$(comm -23 <(echo "$differing") <(echo "$allowed"))
if [ -n "$surprises" ]; then
    echo "not as noted:"
    sed 's/^/    /' <<<"$surprises"
    diff wire.expected - <<<"$output"
elif [ -n "$differing" ]; then
    echo "as noted, but for:"
    sed 's/^/    /' <<<"$differing"
else
    echo "as noted"
fi
