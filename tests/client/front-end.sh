#!/usr/bin/env bash
# Runs the example of a front end against the emulator: a list, an execution that ends, its project; and
# what it says when the service refuses.
#
#   front-end.sh FRONT-END EMULATOR
set -euo pipefail

front_end=$1
emulator=$2
HOME=$(mktemp -d)
export HOME
trap 'rm -rf "$HOME"' EXIT
unset XDG_CONFIG_HOME XDG_STATE_HOME "${!VARNEL_@}"

run() { "$emulator" exec --speed 600 -- "$front_end" "$@" 2>"$HOME/errors"; }

run | grep -q '^"sim-bridge" '
mkdir "$HOME/projects"
run sim-bridge "$HOME/projects" >"$HOME/output"
grep -q '^execution "exe-[0-9]*" finished$' "$HOME/output"
grep -q "^$HOME/projects/project.zip: [0-9]* bytes$" "$HOME/output"
grep -q '^progress 1$' "$HOME/errors"
unzip -tq "$HOME/projects/project.zip" >/dev/null

! run nothing "$HOME/projects"
grep -q 'GET /simulations/nothing/inputs: refused with 404' "$HOME/errors"

# The document shows the example as it is.
document=$(dirname "$0")/../../docs/CLIENT.md
awk '/^```cpp$/ && !shown { inside = 1; next } /^```$/ && inside { shown = 1; inside = 0 } inside' "$document" |
    diff - "$(dirname "$0")/../../examples/front-end.cpp"
