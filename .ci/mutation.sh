#!/usr/bin/env bash
# Installs what mutation.py needs, and runs it with the same arguments.
set -euo pipefail
cd "$(dirname "$0")/.."
.ci/install-packages.sh build test ci
exec .ci/mutation.py "$@"
