#!/usr/bin/env bash
# Runs the study in examples/ against the emulator and draws docs/study.svg from its results.
#
#   draw-study.sh VARNEL VARNEL-EMULATOR
set -euo pipefail
varnel=$(realpath "$1")
emulator=$(realpath "$2")
docs=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$docs/../examples/bridge.study.json" "$work"
cd "$work"
"$emulator" exec --speed 1000 -- sh -c '
    "$0" study run bridge.study.json --quiet >counts
    "$0" study plot bridge.study.json --x /span --y /results/peak --by /load -O "$1"' "$varnel" "$docs/study.svg"
