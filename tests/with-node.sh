#!/bin/sh
# Runs a test that needs Node in its folder, with the packages that package.json names: with-node.sh FOLDER COMMAND...
# Where they are not to be had the test is skipped (77), in automation (CI=true) it fails.
set -eu
folder=$(realpath "$1")
cd "$(dirname "$0")"
shift
skip() {
    echo "skipped: $1"
    if [ "${CI:-}" = true ]; then exit 1; fi
    exit 77
}
node -e 'process.exit(parseInt(process.versions.node) < 18 ? 1 : 0)' || skip 'no node (18 or later): apt-get install nodejs npm'
if ! cmp -s package-lock.json node_modules/.installed; then
    npm ci --silent --no-audit --no-fund || skip 'npm could not fetch the packages of package.json: connect to the network'
    cp package-lock.json node_modules/.installed
fi
cd "$folder"
exec "$@"
