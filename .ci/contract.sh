#!/usr/bin/env bash
# Has two programs that others wrote read the emulator's description and send whatever they think up, to
# find answers that it does not describe. It takes minutes and two packages from PyPI, so .ci/run leaves it
# out; the tests hold each described answer against the description.
set -euo pipefail
cd "$(dirname "$0")/.."

.ci/install-packages.sh build contract
tools=$PWD/build/contract
[[ -x $tools/bin/schemathesis ]] || {
    python3 -m venv "$tools"
    "$tools/bin/pip" install --quiet schemathesis==4.32.5 openapi-spec-validator==0.9.0
}
cmake --preset dev >/dev/null
cmake --build --preset dev --target varnel-emulator
"$tools/bin/openapi-spec-validator" emulator/openapi.json

work=$(mktemp -d)
mkfifo "$work/line"
build/dev/emulator/varnel-emulator --port 0 --speed 0 >"$work/line" &
trap 'kill $! 2>/dev/null || true; rm -rf "$work"' EXIT
read -r url <"$work/line"
# What steers the emulator would change what the other operations answer.
"$tools/bin/schemathesis" run "$url/_local/openapi.json" --max-examples 50 --exclude-path-regex '^/_local/' \
    --phases examples,coverage,fuzzing --no-color
