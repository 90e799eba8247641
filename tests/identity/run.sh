#!/bin/sh
# Runs one file of sign-in tests: run.sh FILE. Installs the test provider's packages first. Where
# Node or its packages are not to be had the tests are skipped (77), in automation (CI=true) they fail.
set -eu
cd "$(dirname "$0")"
skip() {
    echo "sign-in tests: $1"
    if [ "${CI:-}" = true ]; then exit 1; fi
    exit 77
}
node -e 'process.exit(parseInt(process.versions.node) < 18 ? 1 : 0)' || skip 'no node (18 or later): apt-get install nodejs npm'
if ! cmp -s package-lock.json node_modules/.installed; then
    npm ci --silent --no-audit --no-fund || skip 'npm ci failed'
    cp package-lock.json node_modules/.installed
fi
if [ "$1" = chromium.test.mjs ] && ! command -v chromedriver >/dev/null; then
    skip 'no Chromium: apt-get install chromium chromium-driver'
fi
exec node --test "$1"
