#!/usr/bin/env bash
# Writes the site to build/api-reference/html: the guides, and the reference of the public headers. A declaration
# without a comment is an error, and so is a link that leads nowhere within the site.
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
# Doxygen also turns example addresses in code into links.
if grep -v '^#\|^urlname;\|^https\?:' "$site/log"; then
    echo "api-reference: these links lead nowhere" >&2
    exit 1
fi
echo "api-reference: complete, in build/api-reference/html"
