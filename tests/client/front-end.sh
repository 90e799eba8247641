#!/usr/bin/env bash
# Runs the example of a front end against the emulator: a list, an execution that ends, its project; and
# what it says when the service refuses.
#
#   front-end.sh FRONT-END EMULATOR
front_end=$1
emulator=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
# shellcheck source=tests/support/emulator.sh
source "$root/tests/support/emulator.sh"

run() { "$emulator" exec --speed 600 -- "$front_end" "$@" 2>errors; }

run | grep -q '^"sim-bridge" '
mkdir projects
run sim-bridge projects >output
grep -q '^execution "exe-[0-9]*" finished$' output
grep -q "^projects/project.zip: [0-9]* bytes$" output
grep -q '^progress 1$' errors
unzip -tq projects/project.zip >/dev/null

! run nothing projects
grep -q 'GET /simulations/nothing/inputs: refused with 404' errors

# The document shows the example as it is.
awk '/^```cpp$/ && !shown { inside = 1; next } /^```$/ && inside { shown = 1; inside = 0 } inside' "$root/docs/CLIENT.md" |
    diff - "$root/examples/front-end.cpp"
