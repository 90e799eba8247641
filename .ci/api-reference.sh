#!/usr/bin/env bash
# Writes the site to build/api-reference/html: the guides, and the reference of the public headers. A declaration
# without a comment is an error, and so are a link that leads nowhere within the site, and an operation whose comment
# does not tell the request, the gate and the exceptions that docs/OPERATIONS.md has for it.
set -euo pipefail
cd "$(dirname "$0")/.."

rm -rf build/api-reference
mkdir -p build
doxygen

# As root, linkchecker becomes a user who may not be able to enter this clone.
site=$(mktemp -d)
trap 'rm -rf "$site"' EXIT
cp -r build/api-reference/html "$site"
chmod -R a+rX "$site"
(cd "$site" && linkchecker --no-status --output=csv html/index.html >log 2>warnings) || true
grep -q '^# Stopped checking' "$site/log" || { cat "$site/warnings"; exit 1; }
# Doxygen makes links of the addresses that stand as examples in code, too.
if grep -v '^#\|^urlname;\|^https\?:' "$site/log"; then
    echo "api-reference: these links lead nowhere" >&2
    exit 1
fi

declare -A phrases=(
    ["exactly 200"]="status is not 200"
    ["exactly 200, an envelope"]="status is not 200"
    ["exactly 201"]="status is not 201"
    ["any response"]="whatever the status"
    ["ignored"]="Does not report whether"
)
# The comment above a declaration, as one line.
describe() {
    awk -v name="$1" '/^ *\/\/\// { sub(/^ *\/\/\/ */, ""); text = text " " $0; next }
                      index($0, " " name "(") { print text; exit }
                      { text = "" }' src/ApiConnector.h
}

operations=0
while IFS='|' read -r _ operation _ _ verb path gate _; do
    name=$(sed 's/[` ]//g; s/(.*//' <<<"$operation")
    gate=$(sed 's/^ *//; s/ *$//' <<<"$gate")
    comment=$(describe "$name")
    for part in "${verb// /} $(sed 's/[` ]//g; s/?.*//' <<<"$path")" "${phrases[$gate]}" "@throws"; do
        if [[ $comment != *"$part"* ]]; then
            echo "the comment of $name does not say: $part" >&2
            exit 1
        fi
    done
    operations=$((operations + 1))
done < <(sed -n '/^| Operation | Offline/,/^$/p' docs/OPERATIONS.md | tail -n +3 | grep '^|')
if [ $operations != 17 ]; then
    echo "docs/OPERATIONS.md has $operations operations instead of 17" >&2
    exit 1
fi
echo "api-reference: complete, in build/api-reference/html"
